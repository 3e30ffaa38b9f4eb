// TOstDatabase: connecting, creating databases, listing tables, transactions;
// the session's database components and the index information routines.
#include "engine/ostdatabase.h"

#include "engine/store/ostconnection.h"
#include "engine/crypt/ostcryptaccess.h"
#include "engine/filter/ostfilter.h"
#include "engine/store/ostmeta.h"
#include "engine/store/ostschema.h"

#include <QDir>
#include <QFileInfo>
#include <QVector>

// Every database component of the process, in creation order.
static QVector<TOstDatabase*>& Registry() {
    static QVector<TOstDatabase*> list;
    return list;
}

TOstDatabase* FindOstDatabase(const QString& name) {
    if (name.isEmpty()) return nullptr;
    for (TOstDatabase* d : Registry())
        if (d->GetDatabaseName().compare(name, Qt::CaseInsensitive) == 0) return d;
    return nullptr;
}

TOstDatabase* GetOstDatabase(int i) {
    return (i >= 0 && i < Registry().size()) ? Registry().at(i) : nullptr;
}

TOstDatabase::TOstDatabase(TComponent* owner) : TComponent(owner) { Registry().append(this); }

TOstDatabase::~TOstDatabase() {
    Registry().removeOne(this);
    m_connection.reset();
}

void TOstDatabase::CheckDisconnected(const char* what) const {
    if (GetConnected())
        throw EOstraError(OstErr::General,
                          QStringLiteral("Cannot change %1 of a connected database").arg(QLatin1String(what)));
}

void TOstDatabase::SetDatabaseName(const QString& v) {
    if (v == m_databaseName) return;
    CheckDisconnected("the name");
    m_databaseName = v;
}
void TOstDatabase::SetLocation(const QString& v) { if (v != m_location) { CheckDisconnected("the location"); m_location = v; } }
void TOstDatabase::SetPrivateDir(const QString& v) { m_privateDir = v; }
void TOstDatabase::SetDatabaseType(int v) {
    if (v != dbtDirectory && v != dbtSingleFile)
        throw EOstraError(OstErr::General, QStringLiteral("Unknown database type %1").arg(v));
    if (v != m_databaseType) { CheckDisconnected("the type"); m_databaseType = v; }
}
void TOstDatabase::SetManaged(bool v) { m_managed = v; }
void TOstDatabase::SetEncryptionMethod(int v) {
    if (v < emDefault || v > emRijndael) throw EOstraError(OstErr::General, QStringLiteral("Unknown encryption method %1").arg(v));
    m_encryptionMethod = v;
}
void TOstDatabase::SetExclusive(bool v) { if (v != m_exclusive) { CheckDisconnected("exclusive access"); m_exclusive = v; } }
void TOstDatabase::SetReadOnly(bool v) { if (v != m_readOnly) { CheckDisconnected("read-only access"); m_readOnly = v; } }

bool TOstDatabase::IsSingleFile() const {
    if (m_databaseType == dbtSingleFile) return true;
    // A location that names an existing file is a single-file database whatever the type says.
    const QFileInfo fi(m_location);
    return fi.isFile() || m_location.endsWith(QStringLiteral(".ostd"), Qt::CaseInsensitive);
}

QString TOstDatabase::ResolvedLocation() const {
    QString loc = m_location.trimmed();
    if (loc.isEmpty()) return loc;
    if (IsSingleFile() && QFileInfo(loc).suffix().isEmpty()) loc += QStringLiteral(".ostd");
    return QFileInfo(loc).absoluteFilePath();
}

void TOstDatabase::SetConnected(bool v) {
    if (v == GetConnected()) return;
    if (!v) {
        m_connection.reset();
        m_connectedWithoutLocation = false;
        return;
    }
    if (m_location.trimmed().isEmpty()) {
        m_connectedWithoutLocation = true;
        return;
    }
    m_connection = OstAcquireConnection(ResolvedLocation(), IsSingleFile(), m_readOnly);
    // A managed database's settings win over the component's.
    const QString managed = m_connection->Setting(QStringLiteral("managed"));
    if (!managed.isEmpty()) {
        m_managed = managed == QStringLiteral("1");
        m_encryptionMethod = m_connection->Setting(QStringLiteral("encryption"), QString::number(emNone)).toInt();
    }
}

std::shared_ptr<OstConnection> TOstDatabase::Connection() {
    SetConnected(true);
    if (!m_connection) {
        const QString name = m_databaseName.trimmed().isEmpty() ? QString() : QStringLiteral(" \"%1\"").arg(m_databaseName);
        throw EOstraError(OstErr::General, QStringLiteral("Database%1 has no location").arg(name));
    }
    return m_connection;
}

void TOstDatabase::CreateDatabase() {
    const QString loc = ResolvedLocation();
    if (loc.isEmpty()) throw EOstraError(OstErr::General, QStringLiteral("Missing database location"));
    if (GetConnected()) SetConnected(false);
    if (IsSingleFile()) {
        if (QFileInfo::exists(loc))
            throw EOstraError(OstErr::AlreadyExists, QStringLiteral("Database \"%1\" already exists").arg(loc));
        if (!QDir().mkpath(QFileInfo(loc).absolutePath()))
            throw EOstraError(OstErr::IoError, QStringLiteral("Cannot create the folder of \"%1\"").arg(loc));
        OstCryptNewDatabase crypt(loc, m_encryptionMethod, m_password, m_databaseName); // raises before the file exists
        sqlite3* db = nullptr;
        int rc = sqlite3_open_v2(QFile::encodeName(loc).constData(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
        if (rc == SQLITE_OK) crypt.Prepare(db);
        if (rc == SQLITE_OK)
            rc = sqlite3_exec(db, QStringLiteral("PRAGMA application_id=%1; PRAGMA user_version=6; VACUUM;").arg(OstApplicationId).toUtf8().constData(), nullptr, nullptr, nullptr);
        sqlite3_close(db);
        if (rc != SQLITE_OK) throw EOstraError(OstErr::IoError, QStringLiteral("Cannot create database \"%1\"").arg(loc));
    } else {
        const QFileInfo fi(loc);
        if (fi.exists() && !fi.isDir())
            throw EOstraError(OstErr::AlreadyExists, QStringLiteral("\"%1\" exists and is not a directory").arg(loc));
        if (fi.isDir() && !QDir(loc).entryList({QStringLiteral("*.dat"), QStringLiteral("*.ostt"), QStringLiteral("ostra.ostc")},
                                               QDir::Files).isEmpty())
            throw EOstraError(OstErr::AlreadyExists, QStringLiteral("Database \"%1\" already exists").arg(loc));
        if (!QDir().mkpath(loc)) throw EOstraError(OstErr::IoError, QStringLiteral("Cannot create directory \"%1\"").arg(loc));
    }
    SetConnected(true);
    if (m_managed || IsSingleFile()) {
        m_connection->SetSetting(QStringLiteral("managed"), m_managed ? QStringLiteral("1") : QStringLiteral("0"));
        m_connection->SetSetting(QStringLiteral("encryption"), QString::number(m_encryptionMethod));
    }
}

void TOstDatabase::GetTableNames(QStringList& list, bool systemTables) {
    list.clear();
    list = Connection()->TableNames(systemTables);
}

bool TOstDatabase::TableExists(const QString& tableName) {
    auto c = Connection();
    return c->TableExists(c->TableNameOf(tableName));
}

void TOstDatabase::StartTransaction() { Connection()->Begin(); }
void TOstDatabase::Commit() { Connection()->Commit(); }
void TOstDatabase::Rollback() { if (m_connection) m_connection->Rollback(); }
bool TOstDatabase::InTransaction() const { return m_connection && m_connection->InTransaction(); }

// ---------------------------------------------------------------- relation handles

namespace {
struct Relation {
    TOstDatabase* db;
    QString table;
};
QVector<Relation>& Relations() {
    static QVector<Relation> r;
    return r;
}
} // namespace

uint16_t OstSessFindRltnHdl(quintptr session, const QString& tableName) {
    auto* db = reinterpret_cast<TOstDatabase*>(session);
    if (!db || !Registry().contains(db)) return 0;
    const QString name = OstNormalizeTableName(tableName, db->IsSingleFile());
    auto& rel = Relations();
    for (int i = 0; i < rel.size(); ++i)
        if (rel[i].db == db && rel[i].table.compare(name, Qt::CaseInsensitive) == 0) return static_cast<uint16_t>(i + 1);
    try {
        if (!db->TableExists(name)) return 0;
    } catch (const EOstraError&) {
        return 0;
    }
    if (rel.size() >= 65535) rel.clear();
    rel.append({db, name});
    return static_cast<uint16_t>(rel.size());
}

static int KeyBytes(const OstColumnMeta& c, int len) {
    switch (c.type) {
    case dtChar: case dtString: case dtGuid: return (len > 0 ? len : c.size) + 1;
    case dtWideString: return 2 * (len > 0 ? len : c.size) + 2;
    case dtMemo: case dtWideMemo: return (len > 0 ? len : 255) * (IsWideType(c.type) ? 2 : 1) + 2;
    case dtSmallInt: case dtWord: return 2;
    case dtInteger: case dtLink: case dtDate: return 4;
    case dtBoolean: return 1;
    case dtTime: return 4;
    case dtEnum: return 2;
    default: return 8;
    }
}

int OstIndexGetInfo(uint16_t relation, const QString& indexName, TOstIndexInfoBlock& info) {
    info = TOstIndexInfoBlock();
    auto& rel = Relations();
    if (relation == 0 || relation > rel.size()) return OstErr::NotFound;
    const Relation r = rel[relation - 1];
    if (!Registry().contains(r.db)) return OstErr::NotFound;
    try {
        auto conn = r.db->Connection();
        OstTableMeta meta;
        if (!conn->ReadMeta(r.table, meta)) return OstErr::NotFound;
        const OstIndexMeta* ix = nullptr;
        for (const OstIndexMeta& i : meta.indexes)
            if (i.name.compare(indexName, Qt::CaseInsensitive) == 0) ix = &i;
        if (!ix) return OstErr::NotFound;
        const OstTableLocation loc = conn->Locate(r.table);
        int key = 8; // the record id every key carries
        if (ix->options & ixExpression) key += 32;
        else
            for (const QString& e : OstSplitFields(ix->fields)) {
                QString col;
                int len = 0;
                OstParseFieldEntry(e, col, len);
                if (const OstColumnMeta* c = meta.Column(col)) key += KeyBytes(*c, len);
            }
        info.KeySize = static_cast<uint16_t>(qMin(key, 65535));
        // From level 4 on the table's capacity counts for every index; below,
        // an index holds its own (none given: the table's).
        info.Capacity = static_cast<uint64_t>(OstLevel::CapacityPerTable(meta.level) || ix->capacity == 0 ? meta.capacity
                                                                                                         : ix->capacity);
        info.PageSize = static_cast<uint32_t>(conn->QueryInt(QStringLiteral("PRAGMA %1.page_size").arg(loc.schema)));
        const QString phys = OstIndexPhysicalName(meta, ix->name);
        if (!(ix->options & ixNonMaintained)) {
            info.PageCount = static_cast<uint64_t>(conn->QueryInt(
                QStringLiteral("SELECT count(*) FROM dbstat(?1) WHERE name = ?2"),
                {conn->SingleFile() ? QStringLiteral("main") : QStringLiteral("t:") + r.table.toLower(), phys}));
            info.KeyCount = static_cast<uint64_t>(conn->QueryInt(QStringLiteral("SELECT count(*) FROM %1").arg(loc.qualified())));
        }
        return 0;
    } catch (const EOstraError& e) {
        return e.ErrorCode();
    }
}
