// OstConnection: opening a database, attaching table files,
// nested transactions, stored definitions and settings (see ostconnection.h).
// Statements and the wording of SQLite's errors are in oststatement.cpp.
// The foreign-key machinery is in ostintegrity.cpp.
#include "engine/store/ostconnection.h"

#include "engine/store/ostcollation.h"
#include "engine/filter/ostfilter.h"
#include "engine/store/ostfilecipher.h"
#include "engine/store/ostfileswap.h"
#include "engine/store/osttableextension.h"
#include "engine/store/ostmeta.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalues.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSet>
#include <QUrl>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <unistd.h>

QString OstMetaTableName() { return QStringLiteral("__ostra_meta"); }
static const char* kSettingsTable = "__ostra_settings";
static const char* kCatalogFile = "ostra.ostc";
static const char* kCatalogAlias = "ostcat";

void OstConnection::Fail(int rc, const QString& context) const {
    const QString msg = QString::fromUtf8(sqlite3_errmsg(m_db));
    if (rc == SQLITE_BUSY || rc == SQLITE_LOCKED)
        throw EOstraError(OstErr::Locked, QStringLiteral("The database is locked by another user (%1)").arg(m_location));
    if ((rc & 0xFF) == SQLITE_CONSTRAINT) throw OstReword(msg, OstErr::ConstraintViolation);
    throw EOstraError(OstErr::Sql, context.isEmpty() ? msg : context + QStringLiteral(": ") + msg);
}

// ---------------------------------------------------------------- OstConnection

OstConnection::OstConnection(const QString& location, bool singleFile, bool readOnly)
    : m_location(location), m_singleFile(singleFile), m_readOnly(readOnly) {
    QByteArray path = singleFile ? QFile::encodeName(location) : QByteArray(":memory:");
    if (!singleFile && !QFileInfo(location).isDir())
        throw EOstraError(OstErr::NotFound, QStringLiteral("Database directory \"%1\" does not exist").arg(location));
    if (singleFile && !QFileInfo::exists(location))
        throw EOstraError(OstErr::NotFound, QStringLiteral("Database file \"%1\" does not exist").arg(location));
    // Files go through the engine's VFS; an encrypted database file is unlocked before SQLite reads it.
    OstCipher().BeforeOpen(*this);
    // A swap of table files that a crash interrupted is settled before any file is read.
    if (!singleFile && !readOnly) OstFileSwapRecoverAll(location);
    // A directory database creates table files through ATTACH, which inherits these flags.
    const int flags = (readOnly && singleFile ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE) | SQLITE_OPEN_NOMUTEX |
                      (singleFile ? 0 : SQLITE_OPEN_CREATE);
    const int rc = sqlite3_open_v2(path.constData(), &m_db, flags, nullptr);
    if (rc != SQLITE_OK) {
        const QString msg = m_db ? QString::fromUtf8(sqlite3_errmsg(m_db)) : QStringLiteral("out of memory");
        sqlite3_close(m_db);
        m_db = nullptr;
        throw EOstraError(OstErr::IoError, QStringLiteral("Cannot open database \"%1\": %2").arg(location, msg));
    }
    try {
        Configure();
        if (singleFile) {
            // Fails here, not later, when the file is not a database; a
            // database that is not the engine's is left exactly as it is.
            const bool hasMeta = QueryInt(QStringLiteral("SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name = ?1"),
                                          {OstMetaTableName()}) > 0;
            if (!hasMeta && QueryInt(QStringLiteral("PRAGMA application_id")) != OstApplicationId)
                throw EOstraError(OstErr::InvalidDefinition, QStringLiteral("\"%1\" is not an Ostra database").arg(location));
            if (!readOnly && !hasMeta) EnsureMetaTable(QStringLiteral("main"));
        } else if (QFileInfo::exists(QDir(location).filePath(QLatin1String(kCatalogFile)))) {
            Exec(QStringLiteral("ATTACH %1 AS %2")
                     .arg(OstQuoteString(QDir(location).filePath(QLatin1String(kCatalogFile))),
                          QLatin1String(kCatalogAlias)));
        }
    } catch (...) {
        sqlite3_close(m_db);
        m_db = nullptr;
        throw;
    }
}

OstConnection::~OstConnection() {
    delete m_metaCache;
    OstCipher().Closed(*this);
    if (m_db) sqlite3_close_v2(m_db);
}

void OstConnection::Configure() {
    sqlite3_extended_result_codes(m_db, 1);
    sqlite3_busy_timeout(m_db, 5000);
    // "Name" is a column, never the text 'Name', in every statement.
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    OstRegisterCollations(m_db);
    OstRegisterConvertFunction(m_db);
    OstExtensions::Register(m_db);
    Exec(QStringLiteral("PRAGMA temp_store=MEMORY"));
    Exec(QStringLiteral("PRAGMA foreign_keys=OFF"));
    Exec(QStringLiteral("PRAGMA recursive_triggers=ON"));
    InstallForeignKeyHooks();
}

void OstConnection::Exec(const QString& sql) {
    const OstEngineSqlScope engine;
    char* err = nullptr;
    const int rc = sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &err);
    if (rc != SQLITE_OK) {
        const QString msg = err ? QString::fromUtf8(err) : QString::fromUtf8(sqlite3_errmsg(m_db));
        sqlite3_free(err);
        if (rc == SQLITE_BUSY || rc == SQLITE_LOCKED || (rc & 0xFF) == SQLITE_BUSY)
            throw EOstraError(OstErr::Locked, QStringLiteral("The database is locked by another user (%1)").arg(m_location));
        if ((rc & 0xFF) == SQLITE_CONSTRAINT) throw OstReword(msg, OstErr::ConstraintViolation);
        if ((rc & 0xFF) == SQLITE_INTERRUPT) throw EOstraError(OstErr::Aborted, QStringLiteral("Operation aborted"));
        if (msg.startsWith(QStringLiteral("Cannot convert: "))) throw EOstraError(OstErr::ConversionFailed, msg.mid(16));
        throw OstReword(msg, OstErr::Sql);
    }
}

namespace {
struct DdlAuth {
    bool alter = false;
    int refused = 0;
};
int AuthorizeDdl(void* data, int action, const char* a1, const char*, const char*, const char*) {
    auto* auth = static_cast<DdlAuth*>(data);
    const bool schemaTable = a1 && (sqlite3_stricmp(a1, "sqlite_master") == 0 || sqlite3_stricmp(a1, "sqlite_temp_master") == 0 ||
                                    sqlite3_stricmp(a1, "sqlite_schema") == 0 || sqlite3_stricmp(a1, "sqlite_sequence") == 0);
    switch (action) {
    case SQLITE_CREATE_TABLE: case SQLITE_CREATE_INDEX: case SQLITE_READ: case SQLITE_FUNCTION: case SQLITE_REINDEX:
        if (!auth->alter) return SQLITE_OK;
        break;
    case SQLITE_ALTER_TABLE:
        if (auth->alter) return SQLITE_OK;
        break;
    case SQLITE_INSERT: case SQLITE_UPDATE: case SQLITE_DELETE:
        if (schemaTable) return SQLITE_OK;
        break;
    default: break;
    }
    // ALTER TABLE reads the schema (and checks it with a SELECT of its own) to rewrite it.
    if (auth->alter && (action == SQLITE_READ || action == SQLITE_FUNCTION || action == SQLITE_SELECT)) return SQLITE_OK;
    auth->refused = action;
    return SQLITE_DENY;
}
} // namespace

void OstConnection::ExecDdl(const QString& sql, bool alter) {
    const QByteArray text = sql.toUtf8();
    DdlAuth auth;
    auth.alter = alter;
    sqlite3_set_authorizer(m_db, AuthorizeDdl, &auth);
    sqlite3_stmt* st = nullptr;
    const char* tail = nullptr;
    const int rc = sqlite3_prepare_v2(m_db, text.constData(), static_cast<int>(text.size()), &st, &tail);
    sqlite3_set_authorizer(m_db, nullptr, nullptr);
    while (rc == SQLITE_OK && tail && *tail && QChar::isSpace(static_cast<uchar>(*tail))) ++tail;
    if (rc != SQLITE_OK || (tail && *tail) || !st) {
        const QString msg = rc != SQLITE_OK ? QString::fromUtf8(sqlite3_errmsg(m_db)) : QStringLiteral("more than one statement");
        sqlite3_finalize(st);
        throw EOstraError(OstErr::InvalidDefinition,
                          auth.refused ? QStringLiteral("The definition asks for an operation the engine does not allow here (%1)").arg(auth.refused)
                                       : QStringLiteral("The definition cannot be stored: %1").arg(msg));
    }
    const int step = sqlite3_step(st);
    sqlite3_finalize(st);
    if (step != SQLITE_DONE) Fail(sqlite3_extended_errcode(m_db));
}

qint64 OstConnection::QueryInt(const QString& sql, const QVariantList& args) {
    OstStmt st(m_db, sql);
    st.BindAll(args);
    return st.Step() ? st.Int64(0) : 0;
}

QString OstConnection::QueryText(const QString& sql, const QVariantList& args) {
    OstStmt st(m_db, sql);
    st.BindAll(args);
    return st.Step() ? st.Text(0) : QString();
}

// The outermost level is a real transaction unless SQL of the caller's own has
// one open already; then every level is a savepoint inside it.
void OstConnection::SettleStatement() { OstExtensions::Settle(*this); }
void OstConnection::DiscardStatement() { OstExtensions::Discard(*this); }

void OstConnection::Begin() {
    // A savepoint rolled back later takes only what was done inside it.
    if (InTransaction()) OstExtensions::Settle(*this);
    if (m_txDepth == 0) {
        m_ownOuter = sqlite3_get_autocommit(m_db) != 0;
        Exec(m_ownOuter ? QStringLiteral("BEGIN IMMEDIATE") : QStringLiteral("SAVEPOINT ost_sp0"));
    } else {
        Exec(QStringLiteral("SAVEPOINT ost_sp%1").arg(m_txDepth));
    }
    ++m_txDepth;
}

void OstConnection::Commit() {
    if (m_txDepth == 0) return;
    if (m_fkQueued) SettleForeignKeys();
    OstExtensions::Settle(*this);
    if (m_txDepth == 1 && m_ownOuter) Exec(QStringLiteral("COMMIT"));
    else Exec(QStringLiteral("RELEASE ost_sp%1").arg(m_txDepth - 1));
    --m_txDepth;
}

void OstConnection::Rollback() {
    if (m_txDepth == 0) return;
    OstExtensions::Discard(*this);
    --m_txDepth;
    m_triggersGeneration = -1; // triggers made inside the transaction are gone with it
    if (m_txDepth == 0 && m_ownOuter) {
        if (!sqlite3_get_autocommit(m_db)) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
    } else {
        const QByteArray sp = QStringLiteral("ROLLBACK TO ost_sp%1; RELEASE ost_sp%1").arg(m_txDepth).toUtf8();
        sqlite3_exec(m_db, sp.constData(), nullptr, nullptr, nullptr);
    }
}

namespace {
const QStringList& TableFilePatterns() {
    static const QStringList patterns{QStringLiteral("*.dat"), QStringLiteral("*.ostt")};
    return patterns;
}
QString TableOfFileName(const QString& fileName) {
    return fileName.left(fileName.lastIndexOf(QLatin1Char('.')));
}
} // namespace

QString OstConnection::FindTableFileName(const QString& tableName) const {
    // Table names compare without case, as they do in a single-file database:
    // "customers" is the table of the file Customers.dat.
    const QDir dir(m_location);
    for (const char* ext : {".dat", ".ostt"})
        if (QFileInfo(dir.filePath(tableName + QLatin1String(ext))).isFile()) return tableName + QLatin1String(ext);
    for (const char* ext : {".dat", ".ostt"}) {
        const QString want = tableName + QLatin1String(ext);
        for (const QString& f : dir.entryList({QLatin1Char('*') + QLatin1String(ext)}, QDir::Files))
            if (f.compare(want, Qt::CaseInsensitive) == 0) return f;
    }
    return QString();
}

QString OstConnection::StoredTableName(const QString& tableName) const {
    if (m_singleFile) return tableName;
    const QString file = FindTableFileName(tableName);
    return file.isEmpty() ? tableName : TableOfFileName(file);
}

QString OstConnection::TableFile(const QString& tableName) const {
    if (m_singleFile) return m_location;
    const QString file = FindTableFileName(tableName);
    return QDir(m_location).filePath(file.isEmpty() ? tableName + QStringLiteral(".dat") : file);
}

QStringList OstConnection::TableFileNames() const {
    QStringList names;
    if (m_singleFile) return names;
    for (const QString& f : QDir(m_location).entryList(TableFilePatterns(), QDir::Files, QDir::Name | QDir::IgnoreCase)) {
        const QString name = TableOfFileName(f);
        if (!name.isEmpty() && !names.contains(name, Qt::CaseInsensitive)) names.append(name);
    }
    return names;
}

QString OstConnection::TableNameOf(const QString& given) const {
    const QString name = given.trimmed();
    if (m_singleFile || !(name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\'))))
        return OstNormalizeTableName(name, m_singleFile);
    QString path = name;
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QFileInfo file(QDir(m_location), path);
    const QString folder = QDir::cleanPath(file.absolutePath());
    auto same = [](const QString& a, const QString& b) {
        const QString ca = QFileInfo(a).canonicalFilePath(), cb = QFileInfo(b).canonicalFilePath();
        return QDir::cleanPath(a) == QDir::cleanPath(b) || (!ca.isEmpty() && ca == cb);
    };
    if (file.fileName().isEmpty() || !same(folder, m_location))
        throw EOstraError(OstErr::InvalidName,
                          QStringLiteral("Table file \"%1\" is not in the directory of the database (\"%2\")")
                              .arg(OstShownName(name), QDir::toNativeSeparators(m_location)));
    return OstNormalizeTableName(file.fileName(), false);
}

QString OstConnection::SchemaAlias(const QString& tableName) const {
    return QStringLiteral("t:") + tableName.toLower();
}

bool OstConnection::TableExists(const QString& tableName) {
    if (!m_singleFile) return QFileInfo(TableFile(tableName)).isFile();
    return QueryInt(QStringLiteral("SELECT count(*) FROM main.%1 WHERE name = ?1").arg(OstMetaTableName()),
                    {tableName}) > 0 &&
           QueryInt(QStringLiteral("SELECT count(*) FROM main.sqlite_schema WHERE type='table' AND name = ?1 "
                                   "COLLATE NOCASE"),
                    {tableName}) > 0;
}

void OstConnection::EnsureMetaTable(const QString& schema) {
    Exec(QStringLiteral("CREATE TABLE IF NOT EXISTS %1.%2(name TEXT PRIMARY KEY COLLATE NOCASE, def TEXT NOT NULL)")
             .arg(schema, OstMetaTableName()));
}

OstTableLocation OstConnection::Locate(const QString& tableName, bool create) {
    if (m_singleFile) {
        if (!create && !TableExists(tableName))
            throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(tableName));
        return {QStringLiteral("main"), OstQuoteIdent(tableName)};
    }
    const QString key = tableName.toLower();
    auto it = m_attached.find(key);
    if (it != m_attached.end()) {
        m_attachOrder.removeOne(key);
        m_attachOrder.append(key);
        return {OstQuoteIdent(it.value()), OstQuoteIdent(tableName)};
    }
    const QString file = TableFile(tableName);
    if (!create && !QFileInfo(file).isFile())
        throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(tableName));
    if (InTransaction() && !m_attachInTransaction)
        throw EOstraError(OstErr::General,
                          QStringLiteral("Table \"%1\" cannot be opened inside a running transaction").arg(tableName));
    const int limit = AttachLimit();
    if (!m_attachInTransaction && m_attached.size() >= limit) {
        // The least recently used file goes; one that a statement still reads
        // (a result left open) cannot be detached and stays.
        QStringList busy;
        bool parked = false;
        while (m_attached.size() >= limit && !m_attachOrder.isEmpty()) {
            const QString victim = m_attachOrder.takeFirst();
            const QByteArray sql = QStringLiteral("DETACH %1").arg(OstQuoteIdent(m_attached.value(victim))).toUtf8();
            int rc = sqlite3_exec(m_db, sql.constData(), nullptr, nullptr, nullptr);
            if (rc != SQLITE_OK && !parked && !m_readers.isEmpty()) {
                // Results being read keep every file locked: they stop and read on later.
                const auto readers = m_readers;
                for (const auto& park : readers) park();
                parked = true;
                rc = sqlite3_exec(m_db, sql.constData(), nullptr, nullptr, nullptr);
            }
            if (rc == SQLITE_OK) m_attached.remove(victim);
            else busy << victim;
        }
        m_attachOrder = busy + m_attachOrder;
        if (m_attached.size() >= limit)
            throw EOstraError(OstErr::General,
                              QStringLiteral("Table \"%1\" cannot be opened: open results are reading %2 other tables of "
                                             "the database, the most it can use at once; finish reading one of them first")
                                  .arg(tableName)
                                  .arg(m_attached.size()));
    }
    BeforeAttachFile(tableName, file, create);
    const QString alias = SchemaAlias(tableName);
    if (m_readOnly) {
        // A read-only database attaches its files through a URI that says so.
        const QString uri = QStringLiteral("file:") + QString::fromUtf8(QUrl::toPercentEncoding(file, "/")) + QStringLiteral("?mode=ro");
        Exec(QStringLiteral("ATTACH %1 AS %2").arg(OstQuoteString(uri), OstQuoteIdent(alias)));
    } else {
        Exec(QStringLiteral("ATTACH %1 AS %2").arg(OstQuoteString(file), OstQuoteIdent(alias)));
    }
    m_attached.insert(key, alias);
    m_attachOrder.append(key);
    OstCipher().AfterAttach(*this, alias, file);
    if (create) EnsureMetaTable(OstQuoteIdent(alias));
    return {OstQuoteIdent(alias), OstQuoteIdent(tableName)};
}

void OstConnection::BeforeAttachFile(const QString& tableName, const QString& file, bool create) {
    OstFileSwapRecover(file);
    OstCipher().BeforeAttach(*this, tableName, file, create);
}

bool OstConnection::UnlockQuietly(const QString& file) {
    if (!m_readOnly) OstFileSwapRecover(file);
    return OstCipher().UnlockQuietly(*this, file);
}

// SQLite allows ten attached files; the catalog may take one of them, and
// one is left for a file of another database that a copy reads.
int OstConnection::AttachLimit() const {
    return QFileInfo::exists(QDir(m_location).filePath(QLatin1String(kCatalogFile))) ? 8 : 9;
}

QString OstConnection::AttachForeign(const QString& file) {
    if (InTransaction() || !UnlockQuietly(file)) return QString();
    if (QueryInt(QStringLiteral("SELECT count(*) FROM pragma_database_list WHERE seq >= 2")) >= 10) return QString();
    QString alias;
    for (int i = 0; alias.isEmpty() || m_foreign.contains(alias); ++i) alias = QStringLiteral("src:%1").arg(i);
    const QString uri = QStringLiteral("file:") + QString::fromUtf8(QUrl::toPercentEncoding(file, "/")) + QStringLiteral("?mode=ro");
    try {
        Exec(QStringLiteral("ATTACH %1 AS %2").arg(OstQuoteString(uri), OstQuoteIdent(alias)));
    } catch (const EOstraError&) {
        return QString();
    }
    m_foreign.append(alias);
    return OstQuoteIdent(alias);
}

void OstConnection::DetachForeign(const QString& schema) {
    for (const QString& alias : m_foreign)
        if (OstQuoteIdent(alias) == schema) {
            const QByteArray sql = QStringLiteral("DETACH %1").arg(schema).toUtf8();
            if (sqlite3_exec(m_db, sql.constData(), nullptr, nullptr, nullptr) == SQLITE_OK) m_foreign.removeOne(alias);
            return;
        }
}

int OstConnection::AddReader(std::function<void()> park) {
    m_readers.insert(++m_nextReader, std::move(park));
    return m_nextReader;
}

void OstConnection::RemoveReader(int id) { m_readers.remove(id); }

void OstConnection::Release(const QString& tableName) {
    if (m_singleFile) return;
    const QString key = tableName.toLower();
    auto it = m_attached.find(key);
    if (it == m_attached.end()) return;
    // Temporary triggers on the table are rebuilt on demand. They are dropped
    // first: a detach leaves them behind in the temp schema, where they break
    // a rename of the table ("error in trigger ... after rename").
    QStringList triggers;
    {
        OstStmt st(m_db, QStringLiteral("SELECT name FROM temp.sqlite_master WHERE type = 'trigger' AND tbl_name = ?1 COLLATE NOCASE"));
        st.Bind(1, tableName);
        while (st.Step()) triggers << st.Text(0);
    }
    for (const QString& t : triggers) Exec(QStringLiteral("DROP TRIGGER temp.%1").arg(OstQuoteIdent(t)));
    const QString alias = it.value();
    Exec(QStringLiteral("DETACH %1").arg(OstQuoteIdent(alias)));
    m_attached.erase(it);
    m_attachOrder.removeOne(key);
}

// Reads a table file's definitions without attaching it. Opened for writing
// unless the database is read-only, so that a transaction left behind by a
// process that died is rolled back here rather than hiding the table.
static bool ReadMetaFromFile(const QString& file, const QString& tableName, OstTableMeta& meta, bool readOnly) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(file).constData(), &db, readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE,
                        nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        return false;
    }
    sqlite3_busy_timeout(db, 5000);
    bool found = false;
    try {
        OstStmt st(db, QStringLiteral("SELECT def FROM %1 ORDER BY name = ?1 DESC LIMIT 1").arg(OstMetaTableName()));
        st.Bind(1, tableName);
        if (st.Step()) {
            meta = OstTableMeta::FromJson(QJsonDocument::fromJson(st.Text(0).toUtf8()).object());
            found = true;
        }
    } catch (const EOstraError&) {
    }
    sqlite3_close(db);
    return found;
}

EOstraError OstConnection::UnreadableTable(const QString& tableName, const QString& why) const {
    return EOstraError(OstErr::IoError, QStringLiteral("Table \"%1\" cannot be read: \"%2\" is damaged or is not an Ostra "
                                                       "table file%3")
                                            .arg(tableName, TableFile(tableName), why.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(why)));
}

bool OstConnection::ReadMeta(const QString& tableName, OstTableMeta& meta) {
    QString def;
    try {
        const OstTableLocation loc = Locate(tableName);
        OstStmt st(m_db, QStringLiteral("SELECT def FROM %1.%2 ORDER BY name = ?1 DESC LIMIT 1")
                             .arg(loc.schema, OstMetaTableName()));
        st.Bind(1, tableName);
        if (!st.Step()) return false;
        def = st.Text(0);
    } catch (const EOstraError& e) {
        // A table file that SQLite cannot read, or one without the engine's definitions.
        if (m_singleFile || (e.ErrorCode() != OstErr::Sql && e.ErrorCode() != OstErr::IoError)) throw;
        throw UnreadableTable(tableName, e.Message());
    }
    meta = OstTableMeta::FromJson(QJsonDocument::fromJson(def.toUtf8()).object());
    if (!m_singleFile) meta.name = StoredTableName(tableName); // the file name is the table's name
    return true;
}

void OstConnection::WriteMeta(const OstTableMeta& meta, const QString& oldName) {
    const OstTableLocation loc = Locate(meta.name, true);
    // Check conditions are kept with ISO dates, so that they read the same under any locale.
    OstTableMeta stored = meta;
    for (OstCheckMeta& ck : stored.checks) {
        ck.condition = OstExpressionWithIsoDates(ck.condition, OstResolverFor(meta));
        ck.custom = OstExpressionWithIsoDates(ck.custom, OstResolverFor(meta));
    }
    const QByteArray json = QJsonDocument(stored.ToJson()).toJson(QJsonDocument::Compact);
    if (!oldName.isEmpty() && oldName.compare(meta.name, Qt::CaseInsensitive) != 0) {
        OstStmt del(m_db, QStringLiteral("DELETE FROM %1.%2 WHERE name = ?1").arg(loc.schema, OstMetaTableName()));
        del.Bind(1, oldName);
        del.Step();
    }
    if (!m_singleFile) Exec(QStringLiteral("DELETE FROM %1.%2").arg(loc.schema, OstMetaTableName()));
    OstStmt st(m_db, QStringLiteral("INSERT OR REPLACE INTO %1.%2(name, def) VALUES(?1, ?2)")
                         .arg(loc.schema, OstMetaTableName()));
    st.Bind(1, meta.name);
    st.Bind(2, QString::fromUtf8(json));
    st.Step();
}

void OstConnection::DeleteMeta(const QString& tableName) {
    if (!m_singleFile) return; // the file goes with the table
    OstStmt st(m_db, QStringLiteral("DELETE FROM main.%1 WHERE name = ?1").arg(OstMetaTableName()));
    st.Bind(1, tableName);
    st.Step();
}

QStringList OstConnection::TableNames(bool systemTables) {
    // Tables marked as system tables are left out unless asked for. Fulltext
    // dictionaries are listed: they are tables of their own, which another
    // index may use and which a new dictionary must not be named after.
    QStringList names;
    for (const OstTableMeta& m : AllMetas())
        if (systemTables || !m.system) names.append(m.name);
    return names;
}

QList<OstTableMeta> OstConnection::AllMetas() {
    QList<OstTableMeta> out;
    if (m_singleFile) {
        OstStmt st(m_db, QStringLiteral("SELECT def FROM main.%1 ORDER BY name COLLATE NOCASE").arg(OstMetaTableName()));
        while (st.Step()) out.append(OstTableMeta::FromJson(QJsonDocument::fromJson(st.Text(0).toUtf8()).object()));
        return out;
    }
    QDir dir(m_location);
    for (const QString& name : TableFileNames()) {
        const QString f = FindTableFileName(name);
        OstTableMeta m;
        bool ok = false;
        if (m_attached.contains(name.toLower())) {
            try { ok = ReadMeta(name, m); } catch (const EOstraError&) { ok = false; }
        } else {
            // An encrypted table whose password is not known yet is listed by its name.
            ok = !UnlockQuietly(dir.filePath(f)) || ReadMetaFromFile(dir.filePath(f), name, m, m_readOnly);
        }
        if (!ok) continue; // not a table file of ours
        m.name = name;
        out.append(m);
    }
    return out;
}

QString OstConnection::Setting(const QString& key, const QString& def) {
    QString schema;
    if (m_singleFile) schema = QStringLiteral("main");
    else if (QFileInfo::exists(QDir(m_location).filePath(QLatin1String(kCatalogFile)))) {
        if (QueryInt(QStringLiteral("SELECT count(*) FROM pragma_database_list WHERE name = '%1'")
                         .arg(QLatin1String(kCatalogAlias))) == 0)
            Exec(QStringLiteral("ATTACH %1 AS %2")
                     .arg(OstQuoteString(QDir(m_location).filePath(QLatin1String(kCatalogFile))),
                          QLatin1String(kCatalogAlias)));
        schema = QLatin1String(kCatalogAlias);
    } else
        return def;
    if (QueryInt(QStringLiteral("SELECT count(*) FROM %1.sqlite_schema WHERE name = '%2'")
                     .arg(schema, QLatin1String(kSettingsTable))) == 0)
        return def;
    OstStmt st(m_db, QStringLiteral("SELECT value FROM %1.%2 WHERE key = ?1").arg(schema, QLatin1String(kSettingsTable)));
    st.Bind(1, key);
    return st.Step() ? st.Text(0) : def;
}

void OstConnection::SetSetting(const QString& key, const QString& value) {
    QString schema = QStringLiteral("main");
    if (!m_singleFile) {
        if (QueryInt(QStringLiteral("SELECT count(*) FROM pragma_database_list WHERE name = '%1'")
                         .arg(QLatin1String(kCatalogAlias))) == 0)
            Exec(QStringLiteral("ATTACH %1 AS %2")
                     .arg(OstQuoteString(QDir(m_location).filePath(QLatin1String(kCatalogFile))),
                          QLatin1String(kCatalogAlias)));
        schema = QLatin1String(kCatalogAlias);
    }
    Exec(QStringLiteral("CREATE TABLE IF NOT EXISTS %1.%2(key TEXT PRIMARY KEY, value TEXT)")
             .arg(schema, QLatin1String(kSettingsTable)));
    OstStmt st(m_db, QStringLiteral("INSERT OR REPLACE INTO %1.%2(key, value) VALUES(?1, ?2)")
                         .arg(schema, QLatin1String(kSettingsTable)));
    st.Bind(1, key);
    st.Bind(2, value);
    st.Step();
}

// ---------------------------------------------------------------- sharing

std::shared_ptr<OstConnection> OstAcquireConnection(const QString& location, bool singleFile, bool readOnly) {
    static std::mutex mutex;
    static std::map<QString, std::weak_ptr<OstConnection>> pool;
    std::lock_guard<std::mutex> lock(mutex);
    const QString key = QFileInfo(location).absoluteFilePath() + (readOnly ? QStringLiteral("|ro") : QString());
    auto it = pool.find(key);
    if (it != pool.end())
        if (auto c = it->second.lock()) return c;
    auto c = std::make_shared<OstConnection>(QFileInfo(location).absoluteFilePath(), singleFile, readOnly);
    pool[key] = c;
    return c;
}

// ---------------------------------------------------------------- table locks

// Table locks are open-file-description locks on one byte per table of a
// lock file beside the data ("<file>-lock"). They conflict between components
// of one process as well as between processes. They are not taken on the data
// file itself: closing any descriptor of a file drops every POSIX lock the
// process holds on it, SQLite's transaction locks included, so another process
// could write in the middle of a transaction.
static off_t LockOffset(const QString& tableName) {
    uint32_t h = 2166136261u;
    for (char c : tableName.toLower().toUtf8()) { h ^= static_cast<uint8_t>(c); h *= 16777619u; }
    return h % (1u << 20);
}

static bool TakeLock(int fd, const QString& tableName, bool exclusive) {
    struct flock fl {};
    fl.l_type = exclusive ? F_WRLCK : F_RDLCK;
    fl.l_whence = SEEK_SET;
    fl.l_start = LockOffset(tableName);
    fl.l_len = 1;
    return fcntl(fd, F_OFD_SETLK, &fl) == 0;
}

// The lock file of a data file, created when missing. -1 when the data file
// is not there yet, or when neither can the lock file be made nor opened (a
// read-only location, where nobody writes through the engine anyway).
static int OpenLockFile(const QString& file, bool& writable) {
    writable = true;
    if (!QFileInfo::exists(file)) return -1;
    const QByteArray lockFile = QFile::encodeName(file + QStringLiteral("-lock"));
    int fd = ::open(lockFile.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) {
        writable = false;
        fd = ::open(lockFile.constData(), O_RDONLY | O_CLOEXEC);
    }
    return fd;
}

OstTableLock::OstTableLock(const QString& file, const QString& tableName, bool exclusive) {
    bool writable = true;
    m_fd = OpenLockFile(file, writable);
    if (m_fd < 0) return; // nothing to lock
    // A read-only lock file cannot carry a write lock; shared is all it holds.
    if (!TakeLock(m_fd, tableName, exclusive && writable)) {
        ::close(m_fd);
        m_fd = -1;
        throw EOstraError(OstErr::Locked, exclusive
                                              ? QStringLiteral("Table \"%1\" is in use and cannot be opened exclusively").arg(tableName)
                                              : QStringLiteral("Table \"%1\" is opened exclusively by another user").arg(tableName));
    }
}

OstTableLock::~OstTableLock() {
    if (m_fd >= 0) ::close(m_fd);
}

bool OstTableLock::TryExclusive(const QString& file, const QString& tableName) {
    bool writable = true;
    const int fd = OpenLockFile(file, writable);
    if (fd < 0) return true;
    const bool ok = !writable || TakeLock(fd, tableName, true);
    ::close(fd);
    return ok;
}
