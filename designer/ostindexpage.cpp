// The designer's Indexes page: the list of the table's indexes and fulltext
// indexes with the engine's figures for each, and Add, Edit and Delete
// through the index definition dialog. What the edits do is
// TIndexesPageCore's.
#include "designer/osttabledesigner.h"

#include "engine/ostdataset.h"
#include "indexdef/ostnewindexdlg.h"

#include <QAction>
#include <QHeaderView>
#include <QPainter>
#include <QPainterPath>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

enum TIndexColumn { icName, icDescription, icOptions, icKeySize, icPageSize, icCapacity, icCount };

// Four icons told apart by shape and colour: a key for the primary index, a
// gear-like grey disc for the engine's own, a blue bar chart for ordinary
// indexes and green lines of text for fulltext indexes.
QIcon IndexIcon(TIndexListRow::TIcon kind) {
    static QIcon icons[4];
    QIcon& icon = icons[kind];
    if (!icon.isNull()) return icon;
    QPixmap pm(16, 16);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    switch (kind) {
    case TIndexListRow::iiPrimary: {
        p.setPen(QPen(QColor(120, 88, 0), 1.2));
        p.setBrush(QColor(232, 186, 40));
        p.drawEllipse(QRectF(1.5, 4.5, 7, 7));
        QPainterPath bit;
        bit.addRect(QRectF(8, 7, 7, 2));
        bit.addRect(QRectF(11.5, 9, 1.5, 2.5));
        bit.addRect(QRectF(13.5, 9, 1.5, 3));
        p.drawPath(bit.simplified());
        p.setBrush(Qt::white);
        p.drawEllipse(QRectF(3.5, 6.5, 2.5, 2.5));
        break;
    }
    case TIndexListRow::iiSystem:
        p.setPen(QPen(QColor(90, 90, 90), 1.2));
        p.setBrush(QColor(170, 170, 170));
        p.drawEllipse(QRectF(2, 2, 12, 12));
        p.setBrush(Qt::white);
        p.drawEllipse(QRectF(5.5, 5.5, 5, 5));
        break;
    case TIndexListRow::iiIndex:
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(40, 100, 200));
        p.drawRect(QRectF(2, 9, 3, 5));
        p.drawRect(QRectF(6.5, 5, 3, 9));
        p.drawRect(QRectF(11, 2, 3, 12));
        break;
    case TIndexListRow::iiFulltext:
        p.setPen(QPen(QColor(30, 130, 60), 1.6, Qt::SolidLine, Qt::RoundCap));
        for (int y : {3, 7, 11}) p.drawLine(QPointF(2, y + 0.5), QPointF(y == 11 ? 9 : 14, y + 0.5));
        p.setPen(QPen(QColor(30, 130, 60), 1.3));
        p.drawEllipse(QRectF(9.5, 9.5, 4, 4));
        break;
    }
    icon = QIcon(pm);
    return icon;
}

} // namespace

void TOstTableDesigner::CreateIndexesPage() {
    m_indexesPage = new QWidget;
    m_indexToolBar = new QToolBar;
    m_indexToolBar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    auto action = [this](const QString& caption, const QString& hint, const QKeySequence& key,
                         void (TOstTableDesigner::*slot)()) {
        QAction* a = m_indexToolBar->addAction(caption);
        a->setIconText(caption); // the buttons show "Add..." as written
        a->setToolTip(QStringLiteral("%1 (%2)").arg(hint, key.toString(QKeySequence::NativeText)));
        a->setStatusTip(hint);
        a->setShortcut(key);
        // The keys work while the Indexes page has the focus, not on the other pages.
        a->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        m_indexesPage->addAction(a);
        connect(a, &QAction::triggered, this, slot);
        // The buttons are tab stops, for users of the keyboard.
        if (auto* button = qobject_cast<QToolButton*>(m_indexToolBar->widgetForAction(a)))
            button->setFocusPolicy(Qt::StrongFocus);
        return a;
    };
    m_newIndexAct = action(QStringLiteral("Add..."), QStringLiteral("Add an index to the table"),
                           QKeySequence(Qt::Key_Insert), &TOstTableDesigner::NewIndexActExecute);
    m_editIndexAct = action(QStringLiteral("Edit..."), QStringLiteral("Modify the selected index."),
                            QKeySequence(Qt::Key_F2), &TOstTableDesigner::EditIndexActExecute);
    m_deleteIndexAct = action(QStringLiteral("Delete"), QStringLiteral("Delete the selected index"),
                              QKeySequence(Qt::Key_Delete), &TOstTableDesigner::DeleteIndexActExecute);

    m_indexList = new QTreeWidget;
    m_indexList->setColumnCount(icCount);
    m_indexList->setHeaderLabels({QStringLiteral("Name"), QStringLiteral("Description"), QStringLiteral("Options"),
                                  QStringLiteral("Key Size"), QStringLiteral("Page Size"), QStringLiteral("Capacity")});
    for (int c : {icKeySize, icPageSize, icCapacity})
        m_indexList->headerItem()->setTextAlignment(c, Qt::AlignRight | Qt::AlignVCenter);
    m_indexList->setRootIsDecorated(false);
    m_indexList->setUniformRowHeights(true);
    m_indexList->setAllColumnsShowFocus(true);
    m_indexList->setSelectionMode(QAbstractItemView::SingleSelection);
    m_indexList->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_indexList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_indexList->setSortingEnabled(false);
    m_indexList->header()->setSectionsClickable(false);
    m_indexList->header()->setStretchLastSection(false);
    m_indexList->setColumnWidth(icName, 150);
    m_indexList->setColumnWidth(icOptions, 120);
    for (int c : {icKeySize, icPageSize, icCapacity}) m_indexList->setColumnWidth(c, 80);
    m_indexList->header()->setSectionResizeMode(icDescription, QHeaderView::Stretch);
    // The selection stays visible while another control has the focus.
    QPalette palette = m_indexList->palette();
    palette.setColor(QPalette::Inactive, QPalette::Highlight, palette.color(QPalette::Active, QPalette::Highlight));
    palette.setColor(QPalette::Inactive, QPalette::HighlightedText,
                     palette.color(QPalette::Active, QPalette::HighlightedText));
    m_indexList->setPalette(palette);
    connect(m_indexList, &QTreeWidget::itemSelectionChanged, this, [this] { IndexActUpdate(); });
    connect(m_indexList, &QTreeWidget::itemDoubleClicked, this, [this] { EditIndexActExecute(); });
    // Enter on the list edits the selected index, as a double click does.
    auto* enter = new QAction(m_indexList);
    enter->setShortcuts({QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    enter->setShortcutContext(Qt::WidgetShortcut);
    m_indexList->addAction(enter);
    connect(enter, &QAction::triggered, this, &TOstTableDesigner::EditIndexActExecute);

    auto* layout = new QVBoxLayout(m_indexesPage);
    layout->addWidget(m_indexToolBar);
    layout->addWidget(m_indexList, 1);
    m_pages->addTab(m_indexesPage, QStringLiteral("Indexes"));
    IndexActUpdate();
}

// ---------------------------------------------------------------- the list

void TOstTableDesigner::UpdateIndexListView(const TCollectionItem* select) {
    m_indexList->clear();
    m_indexRows.clear();
    if (m_core->Table()) m_indexRows = m_indexesCore->Rows();
    QTreeWidgetItem* selected = nullptr;
    for (int i = 0; i < m_indexRows.size(); ++i) {
        const TIndexListRow& row = m_indexRows[i];
        auto* item = new QTreeWidgetItem(m_indexList);
        item->setIcon(icName, IndexIcon(row.Icon));
        item->setText(icName, row.Caption);
        item->setText(icDescription, row.Description);
        item->setText(icOptions, row.Options);
        item->setText(icKeySize, row.KeySize);
        item->setText(icPageSize, row.PageSize);
        item->setText(icCapacity, row.Capacity);
        for (int c : {icKeySize, icPageSize, icCapacity}) item->setTextAlignment(c, Qt::AlignRight | Qt::AlignVCenter);
        item->setData(icName, Qt::UserRole, i);
        if (select && row.Def() == select) selected = item;
    }
    if (selected) {
        m_indexList->setCurrentItem(selected);
        selected->setSelected(true);
        m_indexList->scrollToItem(selected);
        if (m_pages->currentWidget() == m_indexesPage) m_indexList->setFocus();
    }
    IndexActUpdate();
}

TIndexListRow TOstTableDesigner::SelectedIndexRow() const {
    const QList<QTreeWidgetItem*> selected = m_indexList->selectedItems();
    if (selected.isEmpty()) return {};
    const int i = selected.first()->data(icName, Qt::UserRole).toInt();
    return i >= 0 && i < m_indexRows.size() ? m_indexRows[i] : TIndexListRow();
}

bool TOstTableDesigner::IsValidIndexName(const TCollectionItem* def, const QString& name) const {
    return m_indexesCore->IsValidIndexName(def, name);
}

void TOstTableDesigner::IndexActUpdate() {
    const TIndexListRow row = SelectedIndexRow();
    const bool editable = row.Def() && !row.IsSystem();
    m_editIndexAct->setEnabled(editable);
    m_deleteIndexAct->setEnabled(editable);
    m_newIndexAct->setEnabled(!m_core->ReadOnlyView());
}

// ---------------------------------------------------------------- actions

void TOstTableDesigner::NewIndexActExecute() {
    Guarded([this] {
        if (m_core->ReadOnlyView() || !m_core->AllowEditIndexes()) return;
        TIndexDefinition dialog(this);
        dialog.setFont(font());
        dialog.SetTable(m_core->WorkingTable());
        dialog.SetAllowFileExt(false);
        dialog.SetEditableStringLength(false);
        // An invalid name brings the dialog back with everything entered.
        while (dialog.exec() == QDialog::Accepted) {
            if (!m_indexesCore->IsValidIndexName(nullptr, dialog.IndexName())) {
                ShowErrorMsg(m_indexesCore->InvalidIndexNameMessage(dialog.IndexName()));
                continue;
            }
            UpdateIndexListView(m_indexesCore->AddIndex(dialog.Core()));
            break;
        }
        m_core->UpdateDirtyFlags();
        UpdateActions();
    });
}

void TOstTableDesigner::EditIndexActExecute() {
    Guarded([this] {
        const TIndexListRow row = SelectedIndexRow();
        if (!row.Def() || row.IsSystem() || !m_core->AllowEditIndexes()) return;
        TIndexDefinition dialog(this);
        dialog.setFont(font());
        dialog.SetTable(m_core->WorkingTable());
        dialog.SetAllowFileExt(false);
        dialog.SetEditableStringLength(false);
        m_indexesCore->LoadDialog(dialog.Core(), row);
        dialog.UpdateControls();
        if (dialog.exec() == QDialog::Accepted && m_indexesCore->EditIndex(row, dialog.Core()))
            UpdateIndexListView(row.Def());
        m_core->UpdateDirtyFlags();
        UpdateActions();
    });
}

void TOstTableDesigner::DeleteIndexActExecute() {
    Guarded([this] {
        const TIndexListRow row = SelectedIndexRow();
        if (!row.Def() || row.IsSystem() || !m_core->AllowEditIndexes()) return;
        if (m_indexesCore->DeleteIndex(row)) UpdateIndexListView(nullptr);
        m_core->UpdateDirtyFlags();
        UpdateActions();
    });
}
