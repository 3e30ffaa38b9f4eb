#include "studio/componenttree.h"

#include "engine/base/tdataset.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/studioutils.h"

#include <QHeaderView>

namespace {
constexpr int kComponentRole = Qt::UserRole + 1;
}

TComponentTree::TComponentTree(QWidget* parent) : QTreeWidget(parent) {
    setColumnCount(1);
    header()->hide();
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setIconSize(QSize(16, 16));
    connect(this, &QTreeWidget::itemSelectionChanged, this, &TComponentTree::ItemsSelected);
}

void TComponentTree::SetDesigner(IDesigner* designer) {
    if (m_designer == designer) return;
    if (m_designer) disconnect(m_designer, nullptr, this, nullptr);
    m_designer = designer;
    if (m_designer) {
        connect(m_designer, &IDesigner::componentAdded, this, &TComponentTree::Rebuild);
        connect(m_designer, &IDesigner::componentRemoved, this, &TComponentTree::RemoveItem);
        connect(m_designer, &IDesigner::selectionChanged, this, &TComponentTree::DesignerSelectionChanged);
        connect(m_designer, &IDesigner::propertyChanged, this, &TComponentTree::PropertyChanged);
    }
    Rebuild();
}

TComponent* TComponentTree::ComponentOf(const QTreeWidgetItem* item) const {
    return item ? static_cast<TComponent*>(item->data(0, kComponentRole).value<QObject*>()) : nullptr;
}

QTreeWidgetItem* TComponentTree::NewItem(TComponent* c, QTreeWidgetItem* parent) {
    auto* item = new QTreeWidgetItem(parent);
    item->setText(0, c->GetName());
    item->setToolTip(0, ComponentCaption(c));
    item->setIcon(0, parent ? ComponentIcon(c->metaObject()) : QIcon(QStringLiteral(":/studio/icons/datamodule.svg")));
    item->setData(0, kComponentRole, QVariant::fromValue(static_cast<QObject*>(c)));
    m_items.insert(c, item);
    return item;
}

void TComponentTree::Rebuild() {
    m_syncing = true;
    clear();
    m_items.clear();
    TComponent* root = m_designer ? m_designer->Root() : nullptr;
    if (root) {
        QTreeWidgetItem* top = NewItem(root, nullptr);
        addTopLevelItem(top);
        QList<TField*> fields;
        for (TComponent* c : root->Components()) {
            auto* f = qobject_cast<TField*>(c);
            if (f && f->DataSet()) fields.append(f);
            else NewItem(c, top);
        }
        for (TField* f : fields) {
            QTreeWidgetItem* dataset = m_items.value(f->DataSet());
            NewItem(f, dataset ? dataset : top);
        }
        expandAll();
    }
    m_syncing = false;
    DesignerSelectionChanged();
}

void TComponentTree::RemoveItem(TComponent* c) {
    QTreeWidgetItem* item = m_items.value(c);
    if (!item) return;
    m_syncing = true;
    // Fields go before their dataset; anything still below the item goes with it.
    QList<QTreeWidgetItem*> going{item};
    for (int i = 0; i < going.size(); ++i)
        for (int k = 0; k < going[i]->childCount(); ++k) going.append(going[i]->child(k));
    for (QTreeWidgetItem* gone : going) m_items.remove(ComponentOf(gone));
    delete item;
    m_syncing = false;
}

void TComponentTree::PropertyChanged(TComponent* c, const QString& propertyName) {
    if (propertyName != QLatin1String("Name")) return;
    if (QTreeWidgetItem* item = m_items.value(c)) {
        item->setText(0, c->GetName());
        item->setToolTip(0, ComponentCaption(c));
    }
}

void TComponentTree::ItemsSelected() {
    if (m_syncing || !m_designer) return;
    QList<TComponent*> selection;
    for (QTreeWidgetItem* item : selectedItems()) {
        TComponent* c = ComponentOf(item);
        if (c && c != m_designer->Root()) selection.append(c);
    }
    m_syncing = true;
    m_designer->SetSelection(selection);
    m_syncing = false;
}

void TComponentTree::DesignerSelectionChanged() {
    if (m_syncing || !m_designer) return;
    m_syncing = true;
    clearSelection();
    const QList<TComponent*> selection = m_designer->Selection();
    QTreeWidgetItem* current = nullptr;
    for (TComponent* c : selection)
        if (QTreeWidgetItem* item = m_items.value(c)) {
            item->setSelected(true);
            if (!current) current = item;
        }
    if (!current && selection.isEmpty()) current = topLevelItem(0);
    if (current) {
        setCurrentItem(current, 0, QItemSelectionModel::NoUpdate);
        scrollToItem(current);
    }
    m_syncing = false;
}
