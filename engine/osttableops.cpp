// TOstTable's operations that change what is stored: create, delete, empty,
// rename, and adding or dropping single indexes. The work itself is the
// store's (engine/store/osttableops); the component closes and reopens its
// cursor around it and takes back what was stored.
#include "engine/osttable_p.h"

#include "engine/store/osttableops.h"

void TOstTable::CreateTable() {
    CheckInactive("create the table");
    auto c = RequireConnection();
    OstTableOps::RequireWritable(*c);
    OstTableMeta m = ToMeta();
    m.name = OstTableOps::Name(this, c);
    // The component now holds what was stored, column numbers included.
    LoadFromMeta(OstCreateStoredTable(*c, m));
}

void TOstTable::DeleteTable() {
    CheckInactive("delete the table");
    auto c = RequireConnection();
    OstDeleteStoredTable(*c, OstTableOps::Name(this, c));
}

void TOstTable::EmptyTable() {
    auto c = RequireConnection();
    OstEmptyStoredTable(*c, OstTableOps::Name(this, c));
    if (Active()) Refresh();
}

void TOstTable::RenameTable(const QString& newNameIn) {
    auto c = RequireConnection();
    const QString name = OstTableOps::Name(this, c);
    const QString newName = OstNormalizeTableName(newNameIn, c->SingleFile());
    OstValidateTableName(newName, c->SingleFile());
    if (newName == name) return;
    OstStoredMeta(*c, name);
    OstCheckRenameTarget(*c, name, newName);
    OstTableOps::Exclusive(this, *c, name, [&] {
        OstRenameStoredTable(*c, name, newName);
        m_tableName = newName;
    });
}

void TOstTable::AddIndex(const QString& name, const QString& fields, TIndexOptions options, const QString& descFields,
                         int capacity) {
    auto c = RequireConnection();
    const QString table = OstTableOps::Name(this, c);
    const OstTableMeta m = OstPlanAddIndex(*c, table, name, fields, options, descFields, capacity);
    OstTableOps::Exclusive(this, *c, table, [&] {
        OstTableOps::Progress(this, 0);
        OstAddStoredIndex(*c, table, m);
        OstTableOps::Progress(this, 100);
    });
    LoadFromMeta(m);
}

void TOstTable::DeleteIndex(const QString& name) {
    auto c = RequireConnection();
    const QString table = OstTableOps::Name(this, c);
    OstIndexMeta dropped;
    const OstTableMeta m = OstPlanDeleteIndex(*c, table, name, dropped);
    OstTableOps::Exclusive(this, *c, table, [&] { OstDeleteStoredIndex(*c, table, m, dropped); });
    LoadFromMeta(m);
}

// AddFulltextIndex2 and DeleteFulltextIndex: osttablefulltext.cpp.
