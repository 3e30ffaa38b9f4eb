// The General page's column list: one row per column of the working table,
// the actions that add, delete, move and key columns, and the column
// property editor beside the list. Every structural action asks the core's
// edit guard first and has the dirty flags recomputed after it.
#include "designer/core/ostcolumnpropscore.h"
#include "designer/osttabledesigner.h"

#include "designer/ostcolumnpropseditor.h"
#include "engine/ostdataset.h"

#include <QAction>
#include <QHeaderView>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

enum TListColumn { lcPosition, lcName, lcType, lcSize, lcNulls, lcCount };

QIcon KeyIcon() {
    static const QIcon icon = [] {
        QPixmap pm(16, 16);
        pm.fill(Qt::transparent);
        QPainter p(&pm);
        p.setRenderHint(QPainter::Antialiasing);
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
        return QIcon(pm);
    }();
    return icon;
}

// Rows without the key keep their numbers where the keyed rows have them.
QIcon NoIcon() {
    static const QIcon icon = [] {
        QPixmap pm(16, 16);
        pm.fill(Qt::transparent);
        return QIcon(pm);
    }();
    return icon;
}

QIcon CheckIcon() {
    static const QIcon icon = [] {
        QPixmap pm(16, 16);
        pm.fill(Qt::transparent);
        QPainter p(&pm);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(QColor(30, 130, 60), 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.drawPolyline(QPolygonF({QPointF(3, 8.5), QPointF(6.5, 12), QPointF(13, 4)}));
        return QIcon(pm);
    }();
    return icon;
}

} // namespace

QWidget* TOstTableDesigner::CreateColumnsPanel() {
    auto* panel = new QWidget;
    m_columnToolBar = new QToolBar(panel);
    m_columnToolBar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    auto action = [this](const QString& caption, const QString& hint, void (TOstTableDesigner::*slot)()) {
        QAction* a = m_columnToolBar->addAction(caption);
        a->setToolTip(hint);
        a->setStatusTip(hint);
        connect(a, &QAction::triggered, this, slot);
        return a;
    };
    m_newColumnAct =
        action(QStringLiteral("Add"), QStringLiteral("Add a new column beyond the current position"),
               &TOstTableDesigner::NewColumnActExecute);
    m_deleteColumnAct = action(QStringLiteral("Delete"), QStringLiteral("Delete the selected column"),
                               &TOstTableDesigner::DeleteColumnActExecute);
    m_moveColumnUpAct = action(QStringLiteral("Up"), QStringLiteral("Move the selected column up"),
                               &TOstTableDesigner::MoveColumnUpActExecute);
    m_moveColumnDownAct = action(QStringLiteral("Down"), QStringLiteral("Move the selected column down"),
                                 &TOstTableDesigner::MoveColumnDownActExecute);
    m_primaryKeyAct =
        action(QStringLiteral("Key"), QStringLiteral("Selected columns will be added to the primary key"),
               &TOstTableDesigner::PrimaryKeyBtnClick);
    m_primaryKeyAct->setIcon(KeyIcon());

    m_columnList = new QTreeWidget(panel);
    m_columnList->setColumnCount(lcCount);
    m_columnList->setHeaderLabels({QString(), QStringLiteral("Column Name"), QStringLiteral("Data Type"),
                                   QStringLiteral("Size"), QStringLiteral("Nulls")});
    m_columnList->headerItem()->setTextAlignment(lcSize, Qt::AlignRight | Qt::AlignVCenter);
    m_columnList->setRootIsDecorated(false);
    m_columnList->setUniformRowHeights(true);
    m_columnList->setAllColumnsShowFocus(true);
    m_columnList->setSelectionMode(QAbstractItemView::SingleSelection);
    m_columnList->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_columnList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_columnList->header()->setStretchLastSection(false);
    m_columnList->setColumnWidth(lcPosition, 52);
    m_columnList->setColumnWidth(lcName, 160);
    m_columnList->setColumnWidth(lcType, 110);
    m_columnList->setColumnWidth(lcSize, 60);
    m_columnList->setColumnWidth(lcNulls, 48);
    m_columnList->header()->setSectionResizeMode(lcName, QHeaderView::Stretch);
    connect(m_columnList, &QTreeWidget::itemSelectionChanged, this, [this] { ColumnListViewSelectItem(); });

    auto* layout = new QVBoxLayout(panel);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(m_columnToolBar);
    layout->addWidget(m_columnList, 1);
    return panel;
}

// ---------------------------------------------------------------- the list

TOstFieldDef* TOstTableDesigner::GetFieldDef(const QTreeWidgetItem* item) const {
    // Rows stand in table order; a column whose type was changed is a new
    // definition at the same place.
    const int row = item ? m_columnList->indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(item)) : -1;
    TOstFieldDefs& columns = m_core->Columns();
    return row >= 0 && row < columns.Count() ? columns[row] : nullptr;
}

QTreeWidgetItem* TOstTableDesigner::SelectedItem() const {
    QTreeWidgetItem* current = m_columnList->currentItem();
    if (current && current->isSelected()) return current;
    const QList<QTreeWidgetItem*> selected = m_columnList->selectedItems();
    return selected.isEmpty() ? nullptr : selected.first();
}

void TOstTableDesigner::EditColumnListViewItem(QTreeWidgetItem* item, int position, const TOstFieldDef* def) {
    item->setText(lcPosition, QString::number(position + 1));
    item->setIcon(lcPosition, m_core->ColumnIsPrimaryIndex(def->GetName()) ? KeyIcon() : NoIcon());
    item->setText(lcName, def->GetName());
    item->setText(lcType, GetDataTypeName(def->GetDataTypeOst()));
    item->setText(lcSize, def->GetSize() == 0 ? QString() : QString::number(def->GetSize()));
    item->setTextAlignment(lcSize, Qt::AlignRight | Qt::AlignVCenter);
    const bool nulls = def->GetNullable() && def->GetDataTypeOst() != dtAutoInc;
    item->setIcon(lcNulls, nulls ? CheckIcon() : QIcon());
}

void TOstTableDesigner::UpdateColumnsListView(const TOstFieldDef* select) {
    // The editor lets go while the list is rebuilt.
    m_columnPropertyEditor->OnChange = nullptr;
    m_columnPropertyEditor->SetFieldDefList(nullptr);
    m_columnPropertyEditor->SetFieldDef(nullptr);

    m_fillingList = true;
    m_columnList->setUpdatesEnabled(false);
    m_columnList->clear();
    TOstFieldDefs& columns = m_core->Columns();
    QTreeWidgetItem* selected = nullptr;
    for (int i = 0; i < columns.Count(); ++i) {
        auto* item = new QTreeWidgetItem(m_columnList);
        EditColumnListViewItem(item, i, columns[i]);
        if (columns[i] == select) selected = item;
    }
    m_columnList->setCurrentItem(selected);
    if (!selected) m_columnList->clearSelection();
    m_columnList->setUpdatesEnabled(true);
    m_fillingList = false;

    m_columnPropertyEditor->SetFieldDefList(&columns);
    m_columnPropertyEditor->OnChange = [this](TColumnPropertyEditor* editor) {
        Guarded([&] { ColumnPropertyEditorChangeValue(editor); });
    };
    UpdateColumnDefEditor();
    CheckSelectedItemVisible();
    UpdateActions();
}

void TOstTableDesigner::RenumberColumns() {
    m_columnList->setUpdatesEnabled(false);
    for (int i = 0; i < m_columnList->topLevelItemCount(); ++i)
        m_columnList->topLevelItem(i)->setText(lcPosition, QString::number(i + 1));
    m_columnList->setUpdatesEnabled(true);
    m_core->UpdateDirtyFlags();
}

void TOstTableDesigner::CheckSelectedItemVisible() {
    if (QTreeWidgetItem* item = SelectedItem()) m_columnList->scrollToItem(item);
}

void TOstTableDesigner::SelectRow(int row) {
    QTreeWidgetItem* item = m_columnList->topLevelItem(row);
    m_columnList->setCurrentItem(item);
}

void TOstTableDesigner::SelectColumns(const QList<int>& positions) {
    m_pages->setCurrentWidget(m_generalPage);
    m_columnList->clearSelection();
    bool first = true;
    for (int position : positions) {
        QTreeWidgetItem* item = m_columnList->topLevelItem(position);
        if (!item) continue;
        if (first) m_columnList->setCurrentItem(item);
        item->setSelected(true);
        first = false;
    }
    CheckSelectedItemVisible();
}

void TOstTableDesigner::ColumnListViewSelectItem() {
    if (m_fillingList) return;
    UpdateColumnDefEditor();
    UpdateActions();
}

void TOstTableDesigner::UpdateColumnDefEditor() {
    TOstFieldDef* def = GetFieldDef(SelectedItem());
    m_columnPropertyEditor->SetFieldDef(def);
    // "Create Index" shows whether the column has an index of its own,
    // "Add to Fulltext Index" whether a fulltext index holds it.
    m_columnCreateIndex = m_core->ColumnHasOwnIndex(def);
    m_columnInFulltext = m_core->ColumnInFulltextIndex(def);
    m_columnPropertyEditor->Core().SetCreateIndex(m_columnCreateIndex);
    m_columnPropertyEditor->Core().SetAddToFulltextIndex(m_columnInFulltext);
    m_editedColumnName = def ? def->GetName() : QString();
}

void TOstTableDesigner::ColumnPropertyEditorChangeValue(TColumnPropertyEditor* editor) {
    QTreeWidgetItem* item = SelectedItem();
    const TOstFieldDef* def = editor->FieldDef();
    if (item && def) {
        if (def->GetName() != m_editedColumnName && m_core->ColumnIsPrimaryIndex(m_editedColumnName))
            m_core->ColumnRenamed(m_editedColumnName, def->GetName());
        // A second rename of the same column starts from this name.
        m_editedColumnName = def->GetName();
        // The two index boxes edit the same definitions as the Indexes page
        // when the user switched them: "Create Index" gives the column an
        // index of its own or takes it away, "Add to Fulltext Index" puts it
        // into the fulltext index or out of it.
        bool indexesChanged = false;
        const bool createIndex = editor->Core().CreateIndex();
        if (createIndex != m_columnCreateIndex) {
            m_columnCreateIndex = createIndex;
            indexesChanged = createIndex ? m_core->AddColumnIndex(def) != nullptr : m_core->RemoveColumnIndex(def) > 0;
            // The box shows what the column has now.
            m_columnCreateIndex = m_core->ColumnHasOwnIndex(def);
            if (m_columnCreateIndex != editor->Core().Controls().CreateIndex || m_columnCreateIndex != createIndex)
                editor->Core().SetCreateIndex(m_columnCreateIndex);
        }
        const bool fulltext = editor->Core().AddToFulltextIndex();
        if (fulltext != m_columnInFulltext) {
            try {
                indexesChanged = (fulltext ? m_core->AddColumnToFulltextIndex(def) != nullptr
                                           : m_core->RemoveColumnFromFulltextIndex(def) > 0) ||
                                 indexesChanged;
                m_columnInFulltext = fulltext;
            } catch (const EOstTableDesigner& e) {
                editor->Core().SetAddToFulltextIndex(false);
                ShowErrorMsg(e.Message());
            }
        }
        if (indexesChanged) UpdateIndexListView(nullptr);
        EditColumnListViewItem(item, m_columnList->indexOfTopLevelItem(item), def);
    }
    m_core->UpdateDirtyFlags();
    UpdateActions();
}

void TOstTableDesigner::CommitColumnName() {
    if (m_columnPropertyEditor->NameEdit() && m_columnPropertyEditor->NameEdit()->hasFocus())
        m_columnPropertyEditor->CommitName();
}

// ---------------------------------------------------------------- actions

void TOstTableDesigner::NewColumnActExecute() {
    Guarded([this] {
        if (!m_core->AllowEditStructure()) return;
        CommitColumnName();
        const QTreeWidgetItem* item = SelectedItem();
        const int position =
            item ? m_columnList->indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(item)) + 1 : 0;
        TOstFieldDef* def = m_core->AddColumn(position);
        UpdateColumnsListView(def);
        RenumberColumns();
        SetApplyEnabled(true);
        // The user types the new column's name at once.
        if (QLineEdit* name = m_columnPropertyEditor->NameEdit()) {
            name->setFocus();
            name->selectAll();
        }
    });
}

void TOstTableDesigner::DeleteColumnActExecute() {
    Guarded([this] {
        if (!m_core->AllowEditStructure()) return;
        CommitColumnName();
        QTreeWidgetItem* item = SelectedItem();
        if (!item) return;
        const int row = m_columnList->indexOfTopLevelItem(item);
        m_columnPropertyEditor->SetFieldDef(nullptr);
        m_core->DeleteColumn(row);
        TOstFieldDefs& columns = m_core->Columns();
        SetApplyEnabled(columns.Count() > 0);
        const int select = columns.Count() == 0 ? -1 : qMax(0, row - 1);
        UpdateColumnsListView(select < 0 ? nullptr : columns[select]);
        m_core->UpdateDirtyFlags();
    });
}

void TOstTableDesigner::MoveColumnUpActExecute() {
    Guarded([this] {
        if (m_core->AllowEditStructure()) MoveColumn(-1);
    });
}

void TOstTableDesigner::MoveColumnDownActExecute() {
    Guarded([this] {
        if (m_core->AllowEditStructure()) MoveColumn(1);
    });
}

void TOstTableDesigner::MoveColumn(int delta) {
    CommitColumnName();
    QTreeWidgetItem* item = SelectedItem();
    if (!item) return;
    const int row = m_columnList->indexOfTopLevelItem(item);
    const int moved = m_core->MoveColumn(row, delta);
    if (moved == row) return;
    UpdateColumnsListView(m_core->Columns()[moved]);
    RenumberColumns();
}

void TOstTableDesigner::PrimaryKeyBtnClick() {
    Guarded([this] {
        if (!m_core->AllowEditStructure()) return;
        // The name being typed is the one the key takes.
        CommitColumnName();
        TOstFieldDef* def = GetFieldDef(SelectedItem());
        if (!def) return;
        m_core->ToggleKeyField(def);
        UpdateColumnsListView(def);
        m_core->UpdateDirtyFlags();
    });
}

// ---------------------------------------------------------------- action states

void TOstTableDesigner::UpdateActions() {
    ExistColumnUpdate();
    MoveColumnUpActUpdate();
    MoveColumnDownActUpdate();
    if (m_core->ReadOnlyView() || !m_core->WorkingTable())
        for (QAction* a : m_columnToolBar->actions())
            a->setEnabled(false);
}

void TOstTableDesigner::ExistColumnUpdate() {
    const bool any = m_columnList->topLevelItemCount() > 0;
    m_deleteColumnAct->setEnabled(any);
    const TOstTable* working = m_core->WorkingTable();
    m_primaryKeyAct->setEnabled(any && working && OstLevel::HasPrimaryKeys(working->GetTableLevel()));
    m_newColumnAct->setEnabled(true);
}

// Also on the first row, where the move does nothing.
void TOstTableDesigner::MoveColumnUpActUpdate() {
    m_moveColumnUpAct->setEnabled(SelectedItem() != nullptr);
}

void TOstTableDesigner::MoveColumnDownActUpdate() {
    const QTreeWidgetItem* item = SelectedItem();
    m_moveColumnDownAct->setEnabled(item && m_columnList->indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(
                                                item)) < m_columnList->topLevelItemCount() - 1);
}
