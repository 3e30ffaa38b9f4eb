// OstConnection: one SQLite connection per database location, shared by every
// component that works on that database. A single-file database is the main
// schema; in a directory database each table file is attached on demand under
// its own schema name, and SQL resolves the tables by their plain names.
#pragma once

#include "engine/types/osttypes.h"

#include <QHash>
#include <QVariant>
#include <functional>
#include <memory>
#include <sqlite3.h>

struct OstTableMeta;
struct OstForeignKeyMeta;

// The application id in the header of every single-file database ("OSTD").
constexpr int OstApplicationId = 1330861124;

// Binds a value by its type (dates as ISO text); reads a column as a QVariant.
void OstBindValue(sqlite3_stmt* st, int i, const QVariant& v);
QVariant OstColumnValue(sqlite3_stmt* st, int i);

// True while the engine prepares SQL of its own (as opposed to a user's),
// which the guard over user SQL lets through.
bool OstEngineSqlActive();
// Marks the SQL the engine prepares while it lives.
struct OstEngineSqlScope {
    OstEngineSqlScope();
    ~OstEngineSqlScope();
    OstEngineSqlScope(const OstEngineSqlScope&) = delete;
    OstEngineSqlScope& operator=(const OstEngineSqlScope&) = delete;
};

// RAII prepared statement.
class OstStmt {
public:
    OstStmt(sqlite3* db, const QString& sql);
    ~OstStmt();
    OstStmt(const OstStmt&) = delete;
    OstStmt& operator=(const OstStmt&) = delete;

    void Bind(int i, const QVariant& v);
    void BindAll(const QVariantList& values);
    bool Step(); // true while a row is available
    void Reset();
    int ColumnCount() const { return sqlite3_column_count(m_stmt); }
    QString ColumnName(int i) const { return QString::fromUtf8(sqlite3_column_name(m_stmt, i)); }
    QVariant Value(int i) const;
    qint64 Int64(int i) const { return sqlite3_column_int64(m_stmt, i); }
    QString Text(int i) const;
    bool IsNull(int i) const { return sqlite3_column_type(m_stmt, i) == SQLITE_NULL; }
    sqlite3_stmt* Handle() const { return m_stmt; }

private:
    sqlite3* m_db;
    sqlite3_stmt* m_stmt = nullptr;
};

// Storage location of one table inside a connection.
struct OstTableLocation {
    QString schema; // quoted schema name, e.g. "main"
    QString table;  // quoted table name
    QString qualified() const { return schema + QLatin1Char('.') + table; }
};

class OstConnection {
public:
    // Opens (or, with create, makes) the database at an absolute location.
    OstConnection(const QString& location, bool singleFile, bool readOnly);
    ~OstConnection();

    sqlite3* Db() const { return m_db; }
    bool SingleFile() const { return m_singleFile; }
    bool ReadOnly() const { return m_readOnly; }
    const QString& Location() const { return m_location; }

    void Exec(const QString& sql);
    // Runs one CREATE TABLE or CREATE INDEX statement that the engine composed
    // from definitions: exactly one statement, which may create and read but
    // not drop, write rows, attach, change settings or end the transaction.
    // With alter, the statement is one ALTER TABLE instead (and may create nothing).
    void ExecDdl(const QString& sql, bool alter = false);
    qint64 QueryInt(const QString& sql, const QVariantList& args = {});
    QString QueryText(const QString& sql, const QVariantList& args = {});
    // Raises EOstraError with the engine's wording for the current SQLite error.
    [[noreturn]] void Fail(int rc, const QString& context = QString()) const;

    // Transactions nest: the outermost Begin starts it, inner ones use savepoints.
    // What the statements so far left to be done once per statement (the
    // extensions' counts) is done before a savepoint starts and before a
    // commit, and dropped with a rollback.
    void Begin();
    void Commit();
    void Rollback();
    bool InTransaction() const { return m_txDepth > 0 || !sqlite3_get_autocommit(m_db); }
    // After a statement of the user's that went through / failed: its
    // once-per-statement work is done / dropped.
    void SettleStatement();
    void DiscardStatement();

    // The file that stores a table (the .dat file or the .ostd file); names
    // compare without case. In a directory database a table is stored in
    // "<name>.dat", or in "<name>.ostt" when only that file is there.
    QString TableFile(const QString& tableName) const;
    // The table names of a directory database's table files, sorted without
    // case; a name stored both ways counts once.
    QStringList TableFileNames() const;
    // The table a component's TableName stands for: the name without the
    // table file's extension; in a directory database also the path of a
    // table file in the database's directory (absolute, or relative to it).
    // EOstraError when the path lies anywhere else.
    QString TableNameOf(const QString& given) const;
    // The name as the table is stored (the spelling of its file name in a
    // directory database); the name itself when no such table exists.
    QString StoredTableName(const QString& tableName) const;
    bool TableExists(const QString& tableName);
    // Makes the table reachable and returns where it lives. A directory
    // database attaches the table's file (creating it when create is set).
    OstTableLocation Locate(const QString& tableName, bool create = false);
    // Before a table file is attached: a swap that a crash interrupted is
    // settled, and the file cipher unlocks the file (or, for a new file,
    // decides its keys).
    void BeforeAttachFile(const QString& tableName, const QString& file, bool create);
    // True when the file can be read with the keys known without asking.
    bool UnlockQuietly(const QString& file);
    // Detaches a table file of a directory database (before delete or rename).
    void Release(const QString& tableName);
    // Statements that read a result a row at a time (TOstStatement) hold its
    // files attached. Registered, they are asked to let go (park: reset, to
    // read on from the same row later) when a file must be detached.
    int AddReader(std::function<void()> park);
    void RemoveReader(int id);
    // Attaches a file of another database, read-only, under a schema name of
    // its own (returned quoted) so that one statement can copy from it, until
    // DetachForeign; the table files leave one place for it. Empty when that
    // cannot be: a transaction is open, the place is taken, or the file is
    // encrypted with keys this process does not hold.
    QString AttachForeign(const QString& file);
    void DetachForeign(const QString& schema);
    QStringList TableNames(bool systemTables);

    // Definitions stored with the table.
    bool ReadMeta(const QString& tableName, OstTableMeta& meta);
    // The error of a table whose file is there but cannot be read as a table.
    EOstraError UnreadableTable(const QString& tableName, const QString& why) const;
    void WriteMeta(const OstTableMeta& meta, const QString& oldName = QString());
    void DeleteMeta(const QString& tableName);

    // Database-wide settings (catalog flag, default encryption).
    QString Setting(const QString& key, const QString& def = QString());
    void SetSetting(const QString& key, const QString& value);

    // Foreign-key triggers for every table currently reachable; rebuilt after
    // any change of definitions.
    void RefreshIntegrityTriggers();
    // Checks every foreign key touching tableName (those which lets through,
    // when given); raises on the first violation.
    using OstForeignKeyFilter = std::function<bool(const OstTableMeta& child, const OstForeignKeyMeta& fk)>;
    void CheckForeignKeys(const QString& tableName, const OstForeignKeyFilter& which = {});
    // All stored definitions (reads every table file of a directory database).
    QList<OstTableMeta> AllMetas();

    // Definitions of every table, cached until the next change made through
    // this connection or a change of the database directory.
    const QList<OstTableMeta>& CachedMetas();
    // Attaches a table with the tables its foreign keys connect it to and brings
    // the integrity triggers up to date. Call before changing its rows.
    void PrepareForWrite(const QString& tableName);
    // Attaches every table named in an SQL text (directory databases).
    void PrepareForSql(const QString& sql);
    // Foreign keys whose other table was not attached when rows changed are
    // queued; this checks them and carries out their actions. Runs before
    // every commit; raises (and the caller rolls back) on a violation.
    void SettleForeignKeys();

    int Generation() const { return m_generation; }
    void BumpGeneration() { ++m_generation; m_triggersGeneration = -1; }

private:
    // The file name (with extension) of a table of a directory database;
    // empty when none is there.
    QString FindTableFileName(const QString& tableName) const;
    QString SchemaAlias(const QString& tableName) const;
    int AttachLimit() const;
    // Attaches the tables with as much of their foreign-key closure as fits.
    void AttachForWrite(const QStringList& tables);
    QStringList WriteClosure(const QStringList& tables, int& baseCount);
    // Attaches a table inside a running transaction, or refuses when no room is left.
    void AttachForSettle(const QString& tableName, const QString& why);
    void InstallForeignKeyHooks();
    void EnsureMetaTable(const QString& schema);
    void Configure();

    sqlite3* m_db = nullptr;
    QString m_location;
    bool m_singleFile;
    bool m_readOnly;
    int m_txDepth = 0;
    bool m_ownOuter = true;
    int m_generation = 0;
    QHash<QString, QString> m_attached; // lower-case table name -> alias
    QList<OstTableMeta>* m_metaCache = nullptr;
    int m_metaCacheGeneration = -1;
    qint64 m_metaCacheStamp = 0;
    int m_triggersGeneration = -1;
    QString m_triggersAttached;
    QStringList m_attachOrder;          // least recently used first
    QHash<int, std::function<void()>> m_readers;
    int m_nextReader = 0;
    QStringList m_foreign;              // schema names of files of other databases
    bool m_attachInTransaction = false; // set while settling foreign keys
    bool m_fkQueued = false;            // rows wait in a foreign-key queue
};

// Connections are shared per absolute location.
std::shared_ptr<OstConnection> OstAcquireConnection(const QString& location, bool singleFile, bool readOnly);

// Lock held on a table by an open component: shared, or exclusive.
class OstTableLock {
public:
    OstTableLock(const QString& file, const QString& tableName, bool exclusive);
    ~OstTableLock();
    static bool TryExclusive(const QString& file, const QString& tableName);

private:
    int m_fd = -1;
};

QString OstMetaTableName();
// Rewords SQLite constraint and trigger messages into the engine's terms.
EOstraError OstReword(const QString& raw, int16_t code);

// Runs work inside one transaction (or savepoint) of the connection; rolls
// back on any error and passes it on.
template <class F> void OstInTransaction(OstConnection& c, F&& work) {
    c.Begin();
    try {
        work();
        c.Commit();
    } catch (...) {
        c.Rollback();
        throw;
    }
}
