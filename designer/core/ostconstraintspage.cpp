#include "designer/core/ostconstraintspage.h"

#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"

using namespace Qt::StringLiterals;

QString GetForeignKeyActionText(int action) {
    switch (action) {
    case faReject: return u"Reject"_s;
    case faCascade: return u"Cascade"_s;
    default: return QString();
    }
}

int GetForeignKeyActionFromText(const QString& text) { return text == u"Cascade"_s ? faCascade : faReject; }

// ---------------------------------------------------------------- checks

TCheckConstraints& TChecksPageCore::Checks() const { return m_designer.WorkingTable()->CheckConstraints(); }

TCheckConstraint* TChecksPageCore::NewCheck() {
    if (!m_designer.AllowEditStructure()) return nullptr;
    TCheckConstraint* check = Checks().Add();
    check->ImportedConstraint = u"1 < 1000"_s;
    m_designer.UpdateDirtyFlags();
    return check;
}

bool TChecksPageCore::DeleteCheck(int index) {
    if (!m_designer.AllowEditStructure()) return false;
    if (index >= 0 && index < Checks().Count()) Checks().Delete(index);
    m_designer.UpdateDirtyFlags();
    return true;
}

void TChecksPageCore::SetCheckProperties(TCheckConstraint* check, const QString& condition, const QString& message) {
    if (!check) return;
    check->ErrorMessage = message;
    check->ImportedConstraint = condition;
    m_designer.UpdateDirtyFlags();
}

QString TChecksPageCore::InfoText() {
    return u"Check constraints are used to validated a single row of the database table through a search "
           u"condition. The search-conditions may only refer to columns from the table itself. Go to the "
           u"Relationship page to define relationships between this table and others."_s;
}

// ---------------------------------------------------------------- foreign keys

TOstForeignKeyDefs& TRelationshipsPageCore::Defs() const { return m_designer.WorkingTable()->GetIntegrityRules(); }

TOstForeignKeyDef* TRelationshipsPageCore::NewRelationship() {
    if (!m_designer.AllowEditStructure()) return nullptr;
    TOstForeignKeyDef* def = Defs().Add(u"<New>"_s);
    m_designer.UpdateDirtyFlags();
    return def;
}

bool TRelationshipsPageCore::DeleteRelationship(const QString& name) {
    if (!m_designer.AllowEditStructure()) return false;
    const int i = Defs().IndexOf(name);
    if (i < 0) return false;
    Defs().Delete(i);
    m_designer.UpdateDirtyFlags();
    return true;
}

QStringList TRelationshipsPageCore::ParentTables() const {
    QStringList names;
    TOstTable* working = m_designer.WorkingTable();
    if (TOstDatabase* db = working->GetDatabase()) db->GetTableNames(names, false);
    return names;
}

QStringList TRelationshipsPageCore::UpdateParentTableIndexes(TOstForeignKeyDef* def, const QString& parentFields,
                                                             int& selected) const {
    QStringList entries;
    selected = -1;
    if (!def || def->ParentTable.trimmed().isEmpty()) return entries;
    TOstTable parent;
    parent.SetDatabaseName(m_designer.WorkingTable()->GetDatabaseName());
    parent.SetTableName(def->ParentTable.trimmed());
    try {
        parent.ReadDefinitions();
    } catch (const Exception&) {
        return entries; // a table name still being typed, or none of that name: no keys to offer
    }
    for (TIndexDef* ix : parent.IndexDefs())
        if (ix->Options.testFlag(ixUnique) && !ix->Fields.isEmpty()) entries << ix->Fields;
    if (entries.isEmpty()) return entries;
    if (!entries.contains(parentFields)) entries << parentFields;
    selected = int(entries.indexOf(parentFields));
    def->ParentFields = entries[selected];
    return entries;
}

QStringList TRelationshipsPageCore::ColumnPickList() const {
    QStringList names;
    const TOstFieldDefs& columns = m_designer.Columns();
    for (int i = 0; i < columns.Count(); ++i) names << columns[i]->GetName();
    return names;
}

void TRelationshipsPageCore::SetChildFields(TOstForeignKeyDef* def, const QStringList& values) {
    if (!def) return;
    QStringList fields;
    for (const QString& v : values)
        if (!v.trimmed().isEmpty()) fields << v;
    def->ChildFields = fields.join(u';');
    m_designer.UpdateDirtyFlags();
}

void TRelationshipsPageCore::SetName(TOstForeignKeyDef* def, const QString& name) {
    if (!def || def->Name == name) return;
    def->Name = name;
    m_designer.UpdateDirtyFlags();
}

void TRelationshipsPageCore::SetParentTable(TOstForeignKeyDef* def, const QString& table) {
    if (!def || def->ParentTable == table) return;
    def->ParentTable = table;
    m_designer.UpdateDirtyFlags();
}

void TRelationshipsPageCore::SetAction(TOstForeignKeyDef* def, bool updateAction, const QString& text) {
    if (!def) return;
    const auto action = TOstForeignKeyAction(GetForeignKeyActionFromText(text));
    (updateAction ? def->UpdateAction : def->DeleteAction) = action;
    m_designer.UpdateDirtyFlags();
}

QString TRelationshipsPageCore::InfoText() {
    return u"Foreign key constraints establish relationships from this, the child table to a parent table. For "
           u"each foreign key constraint, the parent table and the names of the corresponding columns must be "
           u"defined."_s;
}
