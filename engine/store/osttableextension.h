// What the store keeps in step with a table besides its rows, indexes and
// foreign keys: extensions that follow every change of a table's rows or
// definitions (the engine installs engine/fulltext, whose indexes and
// dictionaries are kept this way). The store calls every installed
// extension at each of these points; it knows none of them by name.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class OstConnection;
struct OstTableMeta;
struct OstTableLocation;
struct sqlite3;

class OstTableExtension {
public:
    virtual ~OstTableExtension() = default;
    // Every new connection, before its first statement: SQL functions,
    // tokenizers and the like.
    virtual void Register(sqlite3* db) = 0;
    // Tables whose rows change together with the table's (reached and
    // locked with it).
    virtual QStringList CompanionTables(const OstTableMeta& meta) = 0;
    // Before the transaction that gives a table these definitions: checks
    // them and makes what they need reachable.
    virtual void Prepare(OstConnection& c, const OstTableMeta& meta) = 0;
    // Inside the transaction that changes a table from before to after
    // (rebuild: its rows are copied into a new table; an empty after: the
    // table goes): BeforeChange takes down what does not stay, AfterChange,
    // once the rows are in place, builds what is missing.
    virtual void BeforeChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before,
                              const OstTableMeta& after, bool rebuild) = 0;
    virtual void AfterChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before,
                             const OstTableMeta& after, bool rebuild) = 0;
    // Raises EOstraError when another table relies on this one, so that it
    // may not be deleted.
    virtual void CheckDeletable(OstConnection& c, const QString& table) = 0;
    // (Re)creates the connection's temporary triggers for every reachable
    // table (lower-case names); runs with the foreign-key triggers.
    virtual void RefreshTriggers(OstConnection& c, const QStringList& reachable) = 0;
    // Work the connection's statements left to be done once per statement
    // (counts kept in memory while rows changed): Settle writes it, inside
    // the transaction, after each statement and before each commit; Discard
    // drops it when the statement or transaction it came from is undone;
    // Pending tells whether any waits (a commit then would lose it).
    virtual void Settle(OstConnection& c) { (void)c; }
    virtual void Discard(OstConnection& c) { (void)c; }
    virtual bool Pending(sqlite3* db) { (void)db; return false; }
};

void OstInstallTableExtension(OstTableExtension* extension);

// Each of these calls every installed extension in turn.
namespace OstExtensions {
void Register(sqlite3* db);
QStringList CompanionTables(const OstTableMeta& meta);
void Prepare(OstConnection& c, const OstTableMeta& meta);
void BeforeChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before, const OstTableMeta& after,
                  bool rebuild);
void AfterChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before, const OstTableMeta& after,
                 bool rebuild);
void CheckDeletable(OstConnection& c, const QString& table);
void RefreshTriggers(OstConnection& c, const QStringList& reachable);
void Settle(OstConnection& c);
void Discard(OstConnection& c);
bool Pending(sqlite3* db);
} // namespace OstExtensions
