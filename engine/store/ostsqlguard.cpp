// The authorizer over user SQL (see ostsqlguard.h).
#include "engine/store/ostsqlguard.h"

#include "engine/store/ostconnection.h"
#include "engine/store/ostmeta.h"

#include <sqlite3.h>

namespace {

int Callback(void* guard, int action, const char* a1, const char* a2, const char*, const char* inner) {
    return static_cast<OstUserSqlGuard*>(guard)->Authorize(action, a1, a2, inner);
}

QString Text(const char* s) { return QString::fromUtf8(s ? s : ""); }

bool EngineObjectName(const char* s) {
    return s && (sqlite3_strnicmp(s, "__ostra", 7) == 0 || sqlite3_strnicmp(s, "ostfk:", 6) == 0);
}

// Pragmas whose argument names what to report on, not a new setting.
bool InquiryPragma(const char* name) {
    static const char* const names[] = {"table_info", "table_xinfo", "index_list", "index_info", "index_xinfo",
                                        "foreign_key_list", "foreign_key_check", "integrity_check", "quick_check",
                                        "table_list"};
    for (const char* n : names)
        if (sqlite3_stricmp(name, n) == 0) return true;
    return false;
}

} // namespace

OstUserSqlGuard::OstUserSqlGuard(OstConnection& c) : m_c(c) {
    for (const OstTableMeta& m : c.CachedMetas()) m_tables.insert(m.name.toLower());
    sqlite3_set_authorizer(c.Db(), Callback, this);
}

OstUserSqlGuard::~OstUserSqlGuard() { sqlite3_set_authorizer(m_c.Db(), nullptr, nullptr); }

bool OstUserSqlGuard::IsEngineTable(const char* name) const {
    return EngineObjectName(name) || (name && m_tables.contains(Text(name).toLower()));
}

int OstUserSqlGuard::Refuse(const QString& why) {
    if (m_refusal.isEmpty()) m_refusal = why;
    return SQLITE_DENY;
}

int OstUserSqlGuard::Authorize(int action, const char* a1, const char* a2, const char* inner) {
    // The engine's own triggers keep its bookkeeping current; they run as written.
    if ((inner && EngineObjectName(inner)) || OstEngineSqlActive()) return SQLITE_OK;
    switch (action) {
    case SQLITE_DROP_TABLE: case SQLITE_DROP_TEMP_TABLE: case SQLITE_DROP_VTABLE:
        if (!IsEngineTable(a1)) return SQLITE_OK;
        return Refuse(QStringLiteral("Table \"%1\" belongs to the engine and cannot be dropped through SQL: delete it with "
                                     "TOstTable.DeleteTable or \"ostra drop-table\"").arg(Text(a1)));
    case SQLITE_ALTER_TABLE:
        if (!IsEngineTable(a2)) return SQLITE_OK;
        return Refuse(QStringLiteral("Table \"%1\" belongs to the engine and cannot be altered through SQL: change its "
                                     "structure with the table designer, TOstTable.AlterTable or \"ostra alter\", and "
                                     "rename it with TOstTable.RenameTable").arg(Text(a2)));
    case SQLITE_CREATE_INDEX: case SQLITE_CREATE_TEMP_INDEX: case SQLITE_DROP_INDEX: case SQLITE_DROP_TEMP_INDEX:
        if (!IsEngineTable(a2) && !EngineObjectName(a1)) return SQLITE_OK;
        return Refuse(QStringLiteral("The indexes of table \"%1\" belong to the engine: add and delete them with the "
                                     "table designer, TOstTable.AddIndex or TOstTable.DeleteIndex").arg(Text(a2)));
    case SQLITE_CREATE_TABLE: case SQLITE_CREATE_TEMP_TABLE: case SQLITE_CREATE_VIEW: case SQLITE_CREATE_TEMP_VIEW:
    case SQLITE_CREATE_VTABLE:
        // A table or view of the same name would hide the engine's table from SQL.
        if (!IsEngineTable(a1)) return SQLITE_OK;
        return Refuse(QStringLiteral("Table \"%1\" already exists").arg(Text(a1)));
    case SQLITE_DROP_TRIGGER: case SQLITE_DROP_TEMP_TRIGGER:
        if (!EngineObjectName(a1)) return SQLITE_OK;
        return Refuse(QStringLiteral("Trigger \"%1\" belongs to the engine and cannot be dropped").arg(Text(a1)));
    case SQLITE_INSERT: case SQLITE_UPDATE: case SQLITE_DELETE:
        // (the fulltext module writes its own tables from statements of its own)
        if (!a1 || (sqlite3_stricmp(a1, "__ostra_meta") != 0 && sqlite3_stricmp(a1, "__ostra_settings") != 0)) return SQLITE_OK;
        return Refuse(QStringLiteral("\"%1\" is kept by the engine and cannot be changed through SQL").arg(Text(a1)));
    case SQLITE_ATTACH: case SQLITE_DETACH:
        return Refuse(QStringLiteral("ATTACH and DETACH are not available: the engine reaches the tables of the database itself"));
    case SQLITE_PRAGMA:
        if (sqlite3_stricmp(a1 ? a1 : "", "writable_schema") != 0 && (!a2 || InquiryPragma(a1))) return SQLITE_OK;
        return Refuse(QStringLiteral("PRAGMA %1 cannot be set through SQL: the engine manages this setting").arg(Text(a1)));
    default:
        return SQLITE_OK;
    }
}
