// The component tree: the module at the top, its components below it in the
// module's order, and the persistent fields of a dataset under the dataset.
// Selecting items selects the components in the designer and the other way
// round; selecting the module item clears the designer's selection.
#pragma once

#include "studio/designintf/designer.h"

#include <QHash>
#include <QPointer>
#include <QTreeWidget>

class TComponent;

class TComponentTree : public QTreeWidget {
    Q_OBJECT
public:
    explicit TComponentTree(QWidget* parent = nullptr);

    void SetDesigner(IDesigner* designer);
    IDesigner* Designer() const { return m_designer; }

    QTreeWidgetItem* ItemOf(const TComponent* c) const { return m_items.value(c); }
    TComponent* ComponentOf(const QTreeWidgetItem* item) const;

public slots:
    void Rebuild();

private slots:
    void ItemsSelected();
    void DesignerSelectionChanged();
    void PropertyChanged(TComponent* c, const QString& propertyName);
    void RemoveItem(TComponent* c);

private:
    QTreeWidgetItem* NewItem(TComponent* c, QTreeWidgetItem* parent);

    QPointer<IDesigner> m_designer;
    QHash<const TComponent*, QTreeWidgetItem*> m_items;
    bool m_syncing = false;
};
