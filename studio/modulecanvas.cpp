#include "studio/modulecanvas.h"

#include "engine/base/tdataset.h"
#include "studio/designintf/componenteditor.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/studioclipboard.h"
#include "studio/studioutils.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QRubberBand>
#include <QTimer>
#include <memory>

namespace {

constexpr int kLabelGap = 2;
constexpr int kGridOrigin = 16;
constexpr int kGridStep = 64;
constexpr int kMargin = 48;
constexpr int kHandle = 5;
constexpr int kDotSpacing = 8;

// Keeps a component editor alive for as long as the menu showing its verbs.
class TEditorHolder : public QObject {
public:
    TEditorHolder(QObject* parent, std::unique_ptr<TComponentEditor> editor)
        : QObject(parent), m_editor(std::move(editor)) {}
    TComponentEditor* Editor() const { return m_editor.get(); }

private:
    std::unique_ptr<TComponentEditor> m_editor;
};

QPixmap GridTile() {
    QPixmap tile(kDotSpacing, kDotSpacing);
    tile.fill(Qt::white);
    QPainter p(&tile);
    p.setPen(QColor(0xc8, 0xcc, 0xd2));
    p.drawPoint(0, 0);
    return tile;
}

} // namespace

TModuleCanvas::TModuleCanvas(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setAutoFillBackground(false);
    setMouseTracking(false);
    m_rubberBand = new QRubberBand(QRubberBand::Rectangle, this);
}

TModuleCanvas::~TModuleCanvas() = default;

void TModuleCanvas::SetDesigner(IDesigner* designer) {
    if (m_designer == designer) return;
    if (m_designer) disconnect(m_designer, nullptr, this, nullptr);
    m_designer = designer;
    m_drag = TDrag::None;
    m_rubberBand->hide();
    if (m_designer) {
        connect(m_designer, &IDesigner::componentAdded, this, &TModuleCanvas::ModuleChanged);
        // Sent while the component still exists: measure once it is gone.
        connect(m_designer, &IDesigner::componentRemoved, this,
                [this] { QTimer::singleShot(0, this, &TModuleCanvas::ModuleChanged); });
        connect(m_designer, &IDesigner::propertyChanged, this, &TModuleCanvas::ModuleChanged);
        connect(m_designer, &IDesigner::componentsChanged, this, &TModuleCanvas::ModuleChanged);
        connect(m_designer, &IDesigner::selectionChanged, this, qOverload<>(&QWidget::update));
    }
    ModuleChanged();
}

void TModuleCanvas::ModuleChanged() {
    UpdateExtent();
    update();
}

void TModuleCanvas::SetPlacingClass(const QMetaObject* cls) {
    m_placing = cls;
    setCursor(cls ? Qt::CrossCursor : Qt::ArrowCursor);
}

QList<TComponent*> TModuleCanvas::ShownComponents() const {
    QList<TComponent*> shown;
    if (!m_designer || !m_designer->Root()) return shown;
    for (TComponent* c : m_designer->Root()->Components()) {
        auto* f = qobject_cast<TField*>(c);
        if (!f || !f->DataSet()) shown.append(c);
    }
    return shown;
}

QRect TModuleCanvas::IconRect(const TComponent* c) const {
    return c ? QRect(c->DesignLeft(), c->DesignTop(), kIconSize, kIconSize) : QRect();
}

QRect TModuleCanvas::ItemRect(const TComponent* c) const {
    if (!c) return QRect();
    const QRect icon = IconRect(c);
    const QFontMetrics fm = fontMetrics();
    const int w = fm.horizontalAdvance(c->GetName()) + 4;
    const QRect label(icon.center().x() + 1 - w / 2, icon.bottom() + 1 + kLabelGap, w, fm.height());
    return icon.united(label);
}

TComponent* TModuleCanvas::ComponentAt(const QPoint& pos) const {
    const QList<TComponent*> shown = ShownComponents();
    for (auto it = shown.crbegin(); it != shown.crend(); ++it) // painted last, on top
        if (ItemRect(*it).contains(pos)) return *it;
    return nullptr;
}

bool TModuleCanvas::IsSelected(const TComponent* c) const {
    return m_designer && m_designer->Selection().contains(const_cast<TComponent*>(c));
}

QPoint TModuleCanvas::NextFreePosition() const {
    const QList<TComponent*> shown = ShownComponents();
    const int labelHeight = fontMetrics().height() + kLabelGap;
    const int available = parentWidget() ? std::max(width(), parentWidget()->width()) : width();
    const int columns = std::max(1, (available - kGridOrigin) / kGridStep);
    for (int cell = 0;; ++cell) {
        const QPoint pos(kGridOrigin + (cell % columns) * kGridStep, kGridOrigin + (cell / columns) * kGridStep);
        // The icon, a name as wide as the cell, and some room around them.
        const QRect wanted = QRect(pos.x() - kGridStep / 4, pos.y(), kGridStep / 2 + kIconSize, kIconSize + labelHeight)
                                 .adjusted(-4, -4, 4, 4);
        bool free = true;
        for (const TComponent* c : shown)
            if (ItemRect(c).intersects(wanted)) {
                free = false;
                break;
            }
        if (free) return pos;
    }
}

TComponent* TModuleCanvas::PlaceComponent(const QMetaObject* cls, const QPoint& pos) {
    if (!m_designer || !cls) return nullptr;
    TComponent* created = nullptr;
    RunReported(this, [&] {
        created = m_designer->CreateComponent(cls, m_designer->Root(), std::max(0, pos.x()), std::max(0, pos.y()), 0, 0);
    });
    if (created) {
        m_designer->SelectComponent(created);
        emit componentPlaced(created);
    }
    return created;
}

TComponent* TModuleCanvas::PlaceAtFreePosition(const QMetaObject* cls) { return PlaceComponent(cls, NextFreePosition()); }

void TModuleCanvas::MoveSelection(int dx, int dy) {
    if (!m_designer || (dx == 0 && dy == 0)) return;
    const QList<TComponent*> shown = ShownComponents();
    QList<TComponent*> moving;
    for (TComponent* c : SelectedComponents(m_designer))
        if (shown.contains(c)) moving.append(c);
    if (moving.isEmpty()) return;
    const QString text = moving.size() == 1 ? QStringLiteral("Move %1").arg(moving[0]->GetName())
                                            : QStringLiteral("Move %1 components").arg(moving.size());
    m_designer->BeginUndoGroup(text);
    RunReported(this, [&] {
        for (TComponent* c : moving) {
            const int left = std::max(0, c->DesignLeft() + dx), top = std::max(0, c->DesignTop() + dy);
            m_designer->SetProperty(c, QStringLiteral("DesignInfo"), PackDesignInfo(left, top));
        }
    });
    m_designer->EndUndoGroup();
}

int AddComponentVerbs(QMenu* menu, IDesigner* designer, TComponent* c, QWidget* errorOwner) {
    static const char kHolderName[] = "ostVerbEditor";
    delete menu->findChild<QObject*>(QLatin1String(kHolderName), Qt::FindDirectChildrenOnly);
    if (!c) return 0;
    auto* holder = new TEditorHolder(menu, GetComponentEditor(c, designer));
    holder->setObjectName(QLatin1String(kHolderName));
    TComponentEditor* editor = holder->Editor();
    int verbs = 0;
    RunReported(errorOwner, [&] { verbs = editor ? editor->GetVerbCount() : 0; });
    for (int i = 0; i < verbs; ++i) {
        QString verb;
        if (!RunReported(errorOwner, [&] { verb = editor->GetVerb(i); })) continue;
        if (verb == QLatin1String("-")) {
            menu->addSeparator();
            continue;
        }
        QAction* action = menu->addAction(verb);
        RunReported(errorOwner, [&] { editor->PrepareItem(i, action); });
        QObject::connect(action, &QAction::triggered, holder, [designer, editor, errorOwner, i, verb] {
            RunReported(errorOwner, [&] {
                if (designer) designer->RunVerb(QString(verb).remove(u'&').remove(QStringLiteral("...")),
                                                [&] { editor->ExecuteVerb(i); });
                else editor->ExecuteVerb(i);
            });
        });
    }
    return verbs;
}

QMenu* TModuleCanvas::CreateContextMenu(QWidget* parent) {
    auto* menu = new QMenu(parent);
    const QList<TComponent*> selection = SelectedComponents(m_designer);
    if (selection.size() == 1 && AddComponentVerbs(menu, m_designer, selection[0], this) > 0) menu->addSeparator();
    if (selection.size() == 1 && qobject_cast<TDataSet*>(selection[0])) {
        menu->addAction(QStringLiteral("View &Data"), this, &TModuleCanvas::dataRequested);
        menu->addSeparator();
    }
    const bool any = !selection.isEmpty();
    QAction* cut = menu->addAction(QStringLiteral("Cu&t"), this, [this] { RunReported(this, [&] { CutSelection(m_designer); }); });
    QAction* copy = menu->addAction(QStringLiteral("&Copy"), this, [this] { RunReported(this, [&] { CopySelection(m_designer); }); });
    QAction* paste = menu->addAction(QStringLiteral("&Paste"), this, [this] { RunReported(this, [&] { PasteComponents(m_designer); }); });
    QAction* del = menu->addAction(QStringLiteral("&Delete"), this, [this] { RunReported(this, [&] { DeleteSelection(m_designer); }); });
    cut->setEnabled(any);
    copy->setEnabled(any);
    paste->setEnabled(m_designer && CanPaste());
    del->setEnabled(any);
    return menu;
}

void TModuleCanvas::EditComponent(TComponent* c) {
    if (!m_designer || !c) return;
    RunReported(this, [&] {
        auto editor = GetComponentEditor(c, m_designer);
        if (editor && editor->GetVerbCount() > 0)
            m_designer->RunVerb(QString(editor->GetVerb(0)).remove(u'&').remove(QStringLiteral("...")), [&] { editor->Edit(); });
        else if (editor)
            editor->Edit();
    });
}

QSize TModuleCanvas::sizeHint() const { return minimumSize().expandedTo(QSize(400, 300)); }

void TModuleCanvas::UpdateExtent() {
    QRect extent(0, 0, 1, 1);
    for (const TComponent* c : ShownComponents()) extent = extent.united(ItemRect(c));
    setMinimumSize(extent.right() + kMargin, extent.bottom() + kMargin);
}

// ---------------------------------------------------------------- painting

void TModuleCanvas::paintEvent(QPaintEvent* event) {
    QPainter p(this);
    static const QPixmap tile = GridTile();
    p.drawTiledPixmap(event->rect(), tile, event->rect().topLeft());
    if (!m_designer) return;
    const QList<TComponent*> selection = m_designer->Selection();
    const bool single = selection.size() == 1;
    for (const TComponent* c : ShownComponents()) {
        const bool selected = selection.contains(const_cast<TComponent*>(c));
        const QPoint offset = (m_drag == TDrag::Moving && selected) ? m_dragOffset : QPoint();
        DrawItem(p, c, offset, selected, single);
    }
}

void TModuleCanvas::DrawItem(QPainter& p, const TComponent* c, const QPoint& offset, bool selected, bool single) {
    const QRect icon = IconRect(c).translated(offset);
    const QRect item = ItemRect(c).translated(offset);
    p.drawPixmap(icon, ComponentIcon(c->metaObject()).pixmap(kIconSize, kIconSize));
    p.setPen(palette().color(QPalette::Text));
    p.drawText(QRect(item.left(), icon.bottom() + 1 + kLabelGap, item.width(), item.bottom() - icon.bottom()),
               Qt::AlignHCenter | Qt::AlignTop, c->GetName());
    if (!selected) return;
    // Handles at the icon's corners: black for the only selected component, grey for one of several.
    const QRect frame = icon.adjusted(-3, -3, 3, 3);
    p.setPen(Qt::NoPen);
    p.setBrush(single ? QColor(Qt::black) : QColor(Qt::gray));
    for (const QPoint& corner : {frame.topLeft(), frame.topRight(), frame.bottomLeft(), frame.bottomRight()})
        p.drawRect(QRect(corner - QPoint(kHandle / 2, kHandle / 2), QSize(kHandle, kHandle)));
}

// ---------------------------------------------------------------- mouse and keys

void TModuleCanvas::mousePressEvent(QMouseEvent* event) {
    setFocus(Qt::MouseFocusReason);
    if (!m_designer || event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
    const QPoint pos = event->position().toPoint();
    if (m_placing) {
        const QMetaObject* cls = m_placing;
        SetPlacingClass(nullptr);
        if (!PlaceComponent(cls, pos)) emit placingCancelled();
        return;
    }
    m_pressPos = pos;
    m_dragOffset = QPoint();
    const bool ctrl = event->modifiers() & Qt::ControlModifier;
    if (TComponent* c = ComponentAt(pos)) {
        QList<TComponent*> selection = m_designer->Selection();
        if (ctrl) {
            if (!selection.removeAll(c)) selection.append(c);
            m_designer->SetSelection(selection);
            m_drag = TDrag::None;
            return;
        }
        if (!selection.contains(c)) m_designer->SelectComponent(c);
        m_drag = TDrag::Pending;
        return;
    }
    m_selectionAtPress = ctrl ? m_designer->Selection() : QList<TComponent*>();
    if (!ctrl) m_designer->SelectComponent(nullptr);
    m_drag = TDrag::RubberBand;
    m_rubberBand->setGeometry(QRect(pos, QSize()));
}

QPoint TModuleCanvas::ClampedDragOffset(const QPoint& offset) const {
    // No selected icon goes left of or above the canvas.
    int minLeft = offset.x(), minTop = offset.y();
    for (const TComponent* c : SelectedComponents(m_designer)) {
        minLeft = std::max(minLeft, -c->DesignLeft());
        minTop = std::max(minTop, -c->DesignTop());
    }
    return QPoint(minLeft, minTop);
}

void TModuleCanvas::mouseMoveEvent(QMouseEvent* event) {
    const QPoint pos = event->position().toPoint();
    switch (m_drag) {
    case TDrag::Pending:
        if ((pos - m_pressPos).manhattanLength() < QApplication::startDragDistance()) return;
        m_drag = TDrag::Moving;
        [[fallthrough]];
    case TDrag::Moving:
        m_dragOffset = ClampedDragOffset(pos - m_pressPos);
        update();
        return;
    case TDrag::RubberBand: {
        const QRect band = QRect(m_pressPos, pos).normalized();
        m_rubberBand->setGeometry(band);
        m_rubberBand->setVisible(band.width() > 1 || band.height() > 1);
        return;
    }
    case TDrag::None: return QWidget::mouseMoveEvent(event);
    }
}

void TModuleCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || m_drag == TDrag::None) return QWidget::mouseReleaseEvent(event);
    FinishDrag(event->position().toPoint());
}

void TModuleCanvas::FinishDrag(const QPoint& pos) {
    const TDrag drag = m_drag;
    m_drag = TDrag::None;
    if (!m_designer) return;
    if (drag == TDrag::Moving) {
        const QPoint offset = ClampedDragOffset(pos - m_pressPos);
        m_dragOffset = QPoint();
        MoveSelection(offset.x(), offset.y());
        update();
    } else if (drag == TDrag::RubberBand) {
        m_rubberBand->hide();
        const QRect band = QRect(m_pressPos, pos).normalized();
        QList<TComponent*> selection = m_selectionAtPress;
        if (band.width() > 1 || band.height() > 1)
            for (TComponent* c : ShownComponents())
                if (band.intersects(IconRect(c)) && !selection.contains(c)) selection.append(c);
        m_designer->SetSelection(selection);
    }
}

void TModuleCanvas::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return QWidget::mouseDoubleClickEvent(event);
    m_drag = TDrag::None;
    if (TComponent* c = ComponentAt(event->position().toPoint())) EditComponent(c);
}

void TModuleCanvas::keyPressEvent(QKeyEvent* event) {
    if (!m_designer) return QWidget::keyPressEvent(event);
    const int step = (event->modifiers() & Qt::ControlModifier) ? 8 : 1;
    switch (event->key()) {
    case Qt::Key_Left: MoveSelection(-step, 0); break;
    case Qt::Key_Right: MoveSelection(step, 0); break;
    case Qt::Key_Up: MoveSelection(0, -step); break;
    case Qt::Key_Down: MoveSelection(0, step); break;
    case Qt::Key_Delete: RunReported(this, [&] { DeleteSelection(m_designer); }); break;
    case Qt::Key_Escape:
        if (m_placing) {
            SetPlacingClass(nullptr);
            emit placingCancelled();
        } else if (m_drag != TDrag::None) {
            m_drag = TDrag::None;
            m_rubberBand->hide();
            update();
        } else {
            m_designer->SelectComponent(nullptr);
        }
        break;
    default: return QWidget::keyPressEvent(event);
    }
}

void TModuleCanvas::contextMenuEvent(QContextMenuEvent* event) {
    if (!m_designer) return;
    TComponent* c = ComponentAt(event->pos());
    if (c && !IsSelected(c)) m_designer->SelectComponent(c);
    if (!c) m_designer->SelectComponent(nullptr);
    std::unique_ptr<QMenu> menu(CreateContextMenu(this));
    menu->exec(event->globalPos());
}
