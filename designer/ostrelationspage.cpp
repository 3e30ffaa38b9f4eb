// The designer's Relationships page: the foreign keys of the table under
// design, one row each, and the detail panel that edits the selected one:
// its name, the parent table and the key of it, the columns of this table
// that match the key, and the update and delete actions. What the edits do
// is TRelationshipsPageCore's.
#include "designer/osttabledesigner.h"

#include "engine/ostdataset.h"

#include <QAction>
#include <QComboBox>
#include <QFormLayout>
#include <QFrame>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTableWidget>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {
constexpr int DefRole = Qt::UserRole + 1;
}

void TOstTableDesigner::CreateRelationshipsPage() {
    m_relationshipsPage = new QWidget;
    m_relationsInfo = new QLabel(TRelationshipsPageCore::InfoText());
    m_relationsInfo->setWordWrap(true);
    m_relationsInfo->setFrameShape(QFrame::StyledPanel);
    m_relationsInfo->setMargin(6);

    m_relationsToolBar = new QToolBar;
    m_newRelationshipAct =
        m_relationsToolBar->addAction(QStringLiteral("Add"), this, &TOstTableDesigner::NewRelationshipActExecute);
    m_newRelationshipAct->setToolTip(QStringLiteral("Add a new foreign key"));
    m_deleteRelationshipAct =
        m_relationsToolBar->addAction(QStringLiteral("Delete"), this, &TOstTableDesigner::DeleteRelationshipActExecute);
    m_deleteRelationshipAct->setToolTip(QStringLiteral("Delete selected foreign key"));
    m_editRelationshipAct =
        m_relationsToolBar->addAction(QStringLiteral("Edit"), this, &TOstTableDesigner::EditRelationShipActExecute);
    m_editRelationshipAct->setToolTip(QStringLiteral("Modify selected foreign key"));

    m_foreignKeyList = new QTreeWidget;
    m_foreignKeyList->setHeaderLabels({QStringLiteral("Name"), QStringLiteral("Fields"), QStringLiteral("Parent"),
                                       QStringLiteral("Parent Fields"), QStringLiteral("Update"),
                                       QStringLiteral("Delete")});
    m_foreignKeyList->setRootIsDecorated(false);
    connect(m_foreignKeyList, &QTreeWidget::itemClicked, this, [this] { ForeignKeyDefsListViewClick(); });
    connect(m_foreignKeyList, &QTreeWidget::currentItemChanged, this, [this] {
        if (!m_fillingRelations) ForeignKeyDefsListViewClick();
    });

    m_relationDetailPanel = new QFrame;
    m_foreignKeyNameEdit = new QLineEdit;
    connect(m_foreignKeyNameEdit, &QLineEdit::editingFinished, this, &TOstTableDesigner::ForeignKeyNameEditExit);
    m_parentTableCombobox = new QComboBox;
    m_parentTableCombobox->setEditable(true);
    connect(m_parentTableCombobox, &QComboBox::currentTextChanged, this, [this] {
        if (!m_fillingRelations) ParentTableComboboxChange();
    });
    m_parentIndexesBox = new QComboBox;
    connect(m_parentIndexesBox, &QComboBox::activated, this, [this] { ParentIndexesBoxChange(); });
    m_childFieldsLabel = new QLabel(QStringLiteral("Fields in this table (%1)").arg(QString()));
    m_irValueList = new QTableWidget(0, 2);
    m_irValueList->setHorizontalHeaderLabels({QStringLiteral("Key fields in parent table"),
                                              QStringLiteral("Fields in this table")});
    m_irValueList->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch); // fitted to the client width
    m_irValueList->verticalHeader()->hide();
    m_updateActionBox = new QComboBox;
    m_deleteActionBox = new QComboBox;
    for (QComboBox* box : {m_updateActionBox, m_deleteActionBox}) {
        box->addItems({GetForeignKeyActionText(faReject), GetForeignKeyActionText(faCascade)});
        connect(box, &QComboBox::activated, this, [this, box] { IRComboBoxChange(box); });
    }
    auto* detail = new QFormLayout(m_relationDetailPanel);
    detail->addRow(QStringLiteral("Name"), m_foreignKeyNameEdit);
    detail->addRow(QStringLiteral("Parent Table"), m_parentTableCombobox);
    detail->addRow(QStringLiteral("Key"), m_parentIndexesBox);
    detail->addRow(m_childFieldsLabel);
    detail->addRow(m_irValueList);
    detail->addRow(QStringLiteral("Update"), m_updateActionBox);
    detail->addRow(QStringLiteral("Delete"), m_deleteActionBox);

    auto* layout = new QVBoxLayout(m_relationshipsPage);
    layout->addWidget(m_relationsInfo);
    layout->addWidget(m_relationsToolBar);
    layout->addWidget(m_foreignKeyList, 1);
    layout->addWidget(m_relationDetailPanel);
    m_pages->addTab(m_relationshipsPage, QStringLiteral("Relationships"));
    GiveToolBarKeys(m_relationshipsPage, m_relationsToolBar,
                    {{m_newRelationshipAct, QKeySequence(Qt::CTRL | Qt::Key_N)},
                     {m_deleteRelationshipAct, QKeySequence(Qt::CTRL | Qt::Key_Delete)},
                     {m_editRelationshipAct, QKeySequence(Qt::CTRL | Qt::Key_E)}});
    m_relationDetailPanel->setEnabled(false);
    RelationShipActUpdate();
}

TOstForeignKeyDef* TOstTableDesigner::SelectedForeignKeyDef() const {
    QTreeWidgetItem* item = m_foreignKeyList->currentItem();
    return item ? reinterpret_cast<TOstForeignKeyDef*>(item->data(0, DefRole).value<quintptr>()) : nullptr;
}

QComboBox* TOstTableDesigner::IR_ValueListEditor(int row) const {
    return qobject_cast<QComboBox*>(m_irValueList->cellWidget(row, 1));
}

void TOstTableDesigner::EditForeignKeyDefsListViewItem(QTreeWidgetItem* item, const TOstForeignKeyDef* def) {
    item->setText(0, def->Name);
    item->setText(1, def->ChildFields);
    item->setText(2, def->ParentTable);
    item->setText(3, def->ParentFields);
    item->setText(4, GetForeignKeyActionText(def->UpdateAction));
    item->setText(5, GetForeignKeyActionText(def->DeleteAction));
    item->setData(0, DefRole, QVariant::fromValue(quintptr(def)));
}

void TOstTableDesigner::UpdateForeignKeyDefsListView(const TOstForeignKeyDef* select) {
    QTreeWidgetItem* remembered = nullptr;
    {
        const QSignalBlocker blocker(m_foreignKeyList);
        m_fillingRelations = true;
        m_foreignKeyList->clear();
        if (m_core->WorkingTable()) {
            for (TOstForeignKeyDef* def : m_relationsCore->Defs()) {
                auto* item = new QTreeWidgetItem(m_foreignKeyList);
                EditForeignKeyDefsListViewItem(item, def);
                if (def == select) remembered = item;
            }
        }
        m_fillingRelations = false;
        if (m_foreignKeyList->topLevelItemCount() > 0)
            m_foreignKeyList->setCurrentItem(remembered ? remembered : m_foreignKeyList->topLevelItem(0));
    }
    DisplayForeignKeyDef(SelectedForeignKeyDef());
    RelationShipActUpdate();
}

void TOstTableDesigner::UpdateValuePicklist() {
    const QStringList columns = m_relationsCore->ColumnPickList();
    for (int row = 0; row < m_irValueList->rowCount(); ++row) {
        QComboBox* box = IR_ValueListEditor(row);
        const QString value = box->currentText();
        const QSignalBlocker blocker(box);
        box->clear();
        box->addItem(QString()); // no column: the row is left out
        box->addItems(columns);
        box->setCurrentText(value);
    }
}

void TOstTableDesigner::DisplayForeignKeyDef(TOstForeignKeyDef* def) {
    m_fillingRelations = true;
    m_relationDetailPanel->setEnabled(def != nullptr);
    m_foreignKeyNameEdit->setText(def ? def->Name : QString());
    m_parentTableCombobox->clear();
    if (def) m_parentTableCombobox->addItems(m_relationsCore->ParentTables());
    m_parentTableCombobox->setCurrentText(def ? def->ParentTable : QString());
    m_childFieldsLabel->setText(QStringLiteral("Fields in this table (%1)").arg(m_core->WorkingTable()->GetTableName()));
    SetForeignKeyActionBox(m_updateActionBox, def ? def->UpdateAction : faReject);
    SetForeignKeyActionBox(m_deleteActionBox, def ? def->DeleteAction : faReject);
    m_fillingRelations = false;
    UpdateParentTableIndexes(def ? def->ParentFields : QString());
}

void TOstTableDesigner::SetForeignKeyActionBox(QComboBox* box, int action) {
    box->setCurrentIndex(box->findText(GetForeignKeyActionText(action)));
}

void TOstTableDesigner::UpdateParentTableIndexes(const QString& parentFields) {
    TOstForeignKeyDef* def = SelectedForeignKeyDef();
    int selected = -1;
    m_parentIndexesBox->clear();
    m_parentIndexesBox->addItems(m_relationsCore->UpdateParentTableIndexes(def, parentFields, selected));
    m_parentIndexesBox->setCurrentIndex(selected);
    // The value list: one row per key column of the parent, the matching
    // column of this table beside it.
    const QStringList keys = def ? def->ParentFields.split(u';', Qt::SkipEmptyParts) : QStringList();
    const QStringList children = def ? def->ChildFields.split(u';') : QStringList();
    m_irValueList->setRowCount(0);
    m_irValueList->setRowCount(int(keys.size()));
    for (int row = 0; row < keys.size(); ++row) {
        auto* key = new QTableWidgetItem(keys[row]);
        key->setFlags(key->flags() & ~Qt::ItemIsEditable);
        m_irValueList->setItem(row, 0, key);
        auto* box = new QComboBox;
        m_irValueList->setCellWidget(row, 1, box);
        box->addItem(children.value(row));
        connect(box, &QComboBox::activated, this, [this, row] { IR_ValueListSetEditText(row); });
    }
    UpdateValuePicklist();
    QTreeWidgetItem* item = m_foreignKeyList->currentItem();
    if (def && item) EditForeignKeyDefsListViewItem(item, def);
}

void TOstTableDesigner::NewRelationshipActExecute() {
    Guarded([this] {
        if (TOstForeignKeyDef* def = m_relationsCore->NewRelationship()) UpdateForeignKeyDefsListView(def);
        UpdateActions();
    });
}

void TOstTableDesigner::DeleteRelationshipActExecute() {
    Guarded([this] {
        TOstForeignKeyDef* def = SelectedForeignKeyDef();
        if (def && m_relationsCore->DeleteRelationship(def->Name)) UpdateForeignKeyDefsListView(nullptr);
        UpdateActions();
    });
}

void TOstTableDesigner::EditRelationShipActExecute() {
    DisplayForeignKeyDef(SelectedForeignKeyDef());
    m_core->UpdateDirtyFlags();
    UpdateActions();
}

void TOstTableDesigner::ForeignKeyDefsListViewClick() { DisplayForeignKeyDef(SelectedForeignKeyDef()); }

void TOstTableDesigner::RelationShipActUpdate() {
    m_deleteRelationshipAct->setEnabled(m_foreignKeyList->topLevelItemCount() > 0);
}

void TOstTableDesigner::ForeignKeyNameEditExit() {
    TOstForeignKeyDef* def = SelectedForeignKeyDef();
    if (m_closing || !def || m_foreignKeyNameEdit->text() == def->Name) return;
    m_relationsCore->SetName(def, m_foreignKeyNameEdit->text());
    UpdateForeignKeyDefsListView(def);
    UpdateActions();
}

void TOstTableDesigner::ParentTableComboboxChange() {
    TOstForeignKeyDef* def = SelectedForeignKeyDef();
    if (!def || m_parentTableCombobox->currentText() == def->ParentTable) return;
    m_relationsCore->SetParentTable(def, m_parentTableCombobox->currentText());
    UpdateParentTableIndexes(def->ParentFields);
    UpdateActions();
}

void TOstTableDesigner::ParentIndexesBoxChange() {
    TOstForeignKeyDef* def = SelectedForeignKeyDef();
    if (!def || m_parentIndexesBox->currentIndex() < 0) return;
    def->ParentFields = m_parentIndexesBox->currentText();
    m_core->UpdateDirtyFlags();
    UpdateForeignKeyDefsListView(def);
    UpdateActions();
}

void TOstTableDesigner::IRComboBoxChange(QComboBox* box) {
    TOstForeignKeyDef* def = SelectedForeignKeyDef();
    if (!def) return;
    m_relationsCore->SetAction(def, box == m_updateActionBox, box->currentText());
    UpdateForeignKeyDefsListView(def);
    UpdateActions();
}

void TOstTableDesigner::IR_ValueListSetEditText(int row) {
    Q_UNUSED(row)
    TOstForeignKeyDef* def = SelectedForeignKeyDef();
    if (!def) return;
    QStringList values;
    for (int r = 0; r < m_irValueList->rowCount(); ++r) values << IR_ValueListEditor(r)->currentText();
    m_relationsCore->SetChildFields(def, values);
    if (QTreeWidgetItem* item = m_foreignKeyList->currentItem()) EditForeignKeyDefsListViewItem(item, def);
    UpdateActions();
}
