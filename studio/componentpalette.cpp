#include "studio/componentpalette.h"

#include "studio/designintf/designintf.h"
#include "studio/packageloader.h"

#include <QButtonGroup>
#include <QEvent>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QStyle>
#include <QTabWidget>
#include <QToolButton>

namespace {

constexpr int kButtonIcon = 28;

QIcon ArrowIcon() {
    const QIcon themed = QIcon::fromTheme(QStringLiteral("edit-select"));
    return themed.isNull() ? QIcon(QStringLiteral(":/studio/icons/pointer.svg")) : themed;
}

} // namespace

TComponentPalette::TComponentPalette(QWidget* parent) : QWidget(parent) {
    m_arrow = new QToolButton(this);
    m_arrow->setObjectName(QStringLiteral("arrow"));
    m_arrow->setIcon(ArrowIcon());
    m_arrow->setIconSize(QSize(kButtonIcon, kButtonIcon));
    m_arrow->setCheckable(true);
    m_arrow->setChecked(true);
    m_arrow->setAutoRaise(true);
    m_arrow->setToolTip(QStringLiteral("Select"));
    m_tabs = new QTabWidget(this);
    m_tabs->setDocumentMode(true);
    m_group = new QButtonGroup(this);
    m_group->setExclusive(true);
    m_group->addButton(m_arrow);
    connect(m_group, &QButtonGroup::buttonClicked, this,
            [this](QAbstractButton* b) { ButtonClicked(static_cast<QToolButton*>(b)); });

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addWidget(m_arrow, 0, Qt::AlignBottom);
    layout->addWidget(m_tabs, 1);
    Rebuild();
}

void TComponentPalette::Rebuild() {
    ResetSelection();
    for (QToolButton* b : m_classes.keys()) m_group->removeButton(b);
    m_classes.clear();
    while (m_tabs->count() > 0) {
        QWidget* page = m_tabs->widget(0);
        m_tabs->removeTab(0);
        delete page;
    }
    for (const QString& pageName : PalettePages()) {
        auto* page = new QWidget;
        auto* row = new QHBoxLayout(page);
        row->setContentsMargins(2, 2, 2, 2);
        row->setSpacing(2);
        for (const QMetaObject* cls : PaletteClasses(pageName)) {
            auto* b = new QToolButton(page);
            const QString name = QString::fromLatin1(cls->className());
            b->setObjectName(name);
            b->setIcon(ComponentIcon(cls));
            b->setIconSize(QSize(kButtonIcon, kButtonIcon));
            b->setToolTip(name);
            b->setCheckable(true);
            b->setAutoRaise(true);
            b->installEventFilter(this);
            m_group->addButton(b);
            m_classes.insert(b, cls);
            row->addWidget(b);
        }
        row->addStretch(1);
        m_tabs->addTab(page, pageName);
    }
    const QString start = TPackageLoader::FirstPackagePage();
    SetCurrentPage(start.isEmpty() ? PalettePages().value(0) : start);
}

QStringList TComponentPalette::Pages() const {
    QStringList pages;
    for (int i = 0; i < m_tabs->count(); ++i) pages.append(m_tabs->tabText(i));
    return pages;
}

QString TComponentPalette::CurrentPage() const { return m_tabs->tabText(m_tabs->currentIndex()); }

void TComponentPalette::SetCurrentPage(const QString& page) {
    const int index = Pages().indexOf(page);
    if (index >= 0) m_tabs->setCurrentIndex(index);
}

QList<QToolButton*> TComponentPalette::Buttons(const QString& page) const {
    const int index = Pages().indexOf(page);
    return index < 0 ? QList<QToolButton*>() : m_tabs->widget(index)->findChildren<QToolButton*>(Qt::FindDirectChildrenOnly);
}

QToolButton* TComponentPalette::Button(const QString& className) const {
    for (auto it = m_classes.cbegin(); it != m_classes.cend(); ++it)
        if (QLatin1String(it.value()->className()) == className) return it.key();
    return nullptr;
}

void TComponentPalette::ResetSelection() {
    m_arrow->setChecked(true);
    if (!m_selected) return;
    m_selected = nullptr;
    emit classSelected(nullptr);
}

void TComponentPalette::ButtonClicked(QToolButton* button) {
    const QMetaObject* cls = m_classes.value(button);
    if (cls == m_selected) return;
    m_selected = cls;
    emit classSelected(cls);
}

bool TComponentPalette::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseButtonDblClick && static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        if (const QMetaObject* cls = m_classes.value(qobject_cast<QToolButton*>(watched))) {
            ResetSelection();
            emit createRequested(cls);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}
