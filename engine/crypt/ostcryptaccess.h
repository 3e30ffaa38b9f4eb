// How the engine unlocks, creates and re-encrypts encrypted table and
// database files: which method a new file gets, which passwords are tried,
// when the global password handler is asked, and the messages a refusal
// carries. The page encryption itself lives in ostcrypt and ostvfs; the store
// reaches all of this through the file cipher it owns (OstCryptInstall puts
// it in place).
//
// Keys are held per connection: once a connection has unlocked a file, every
// component working through it may use the file until the connection closes.
#pragma once

#include "engine/types/osttypes.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class OstConnection;
class OstFileSwap;
struct sqlite3;

namespace OstCrypt {
struct Keys;
}

// Installs the engine's file cipher in the store.
void OstCryptInstall();

// The process-wide password handler (SetGlobalOnPassword).
void OstCryptSetPasswordHandler(TOstPasswordEvent handler);
TOstPasswordEvent OstCryptPasswordHandler();

// A component that works on a table file (a table component): the password
// handler is told it as the sender; its method makes a new file; its own
// password is tried first, then its database's.
class OstCryptRequester {
public:
    virtual ~OstCryptRequester() = default;
    virtual QObject* Sender() const = 0;
    virtual int Method() const = 0;
    virtual QString Password() const = 0;
    virtual QString DatabasePassword() const = 0;
};

// The database components on a location, with the name the password handler
// is told and the password each knows. The engine's components register the
// lookup; without one, no database password is known.
struct OstCryptDatabase {
    QObject* sender = nullptr;
    QString name;
    QString password;
};
using OstCryptDatabaseLookup = std::function<QList<OstCryptDatabase>(const QString& location)>;
void OstCryptSetDatabaseLookup(OstCryptDatabaseLookup lookup);

// A table component about to work on its table: its method decides how a new
// table file is encrypted, and its password is tried first when the file is
// unlocked. Directory databases only; single-file databases encrypt as a
// whole. Held weakly: a requester that is gone is forgotten.
void OstCryptNoteTable(const std::shared_ptr<OstCryptRequester>& table, OstConnection& c, const QString& tableName);

// The method a stored file is encrypted with; emNone for a plain file.
int OstCryptStoredMethod(const QString& file);

// Creation of a single-file database with the database's method: raises
// before anything is written when the method cannot be used (no password,
// malformed Classic entry). Prepare the new connection before its first write.
class OstCryptNewDatabase {
public:
    OstCryptNewDatabase(const QString& file, int method, const QString& password, const QString& name);
    ~OstCryptNewDatabase();
    void Prepare(sqlite3* db);

private:
    QString m_file;
    bool m_encrypted = false;
};

// Whether OstCryptRekey would write the table's file anew for this method and
// the table's password (asks nobody, writes nothing).
bool OstCryptRekeyNeeded(const OstCryptRequester& table, OstConnection& c, const QString& tableName, int method);

// A change of a table's method or password, done as part of a restructure.
// The constructor writes the table's file anew under the new keys (VACUUM
// INTO a new file) and swaps it in (OstFileSwap), keeping the old file aside;
// the restructure then works on the new file. Commit drops the old file, and
// without Commit the destructor puts it back; a crash in between is settled
// the same way when the table is next opened.
class OstCryptRekey {
public:
    // With followers (the table's dictionaries), their swaps follow this one:
    // make their rekeys with this table's name as master, after this one.
    OstCryptRekey(const OstCryptRequester& table, OstConnection& c, const QString& tableName, int method,
                  const QStringList& followers = {}, const QString& master = {});
    // True when the file is being written anew (else nothing changes).
    bool Swapping() const { return m_swap != nullptr; }
    ~OstCryptRekey();
    OstCryptRekey(const OstCryptRekey&) = delete;
    OstCryptRekey& operator=(const OstCryptRekey&) = delete;
    void Commit();

private:
    void Undo();

    OstConnection& m_c;
    QString m_name, m_file;
    std::shared_ptr<const OstCrypt::Keys> m_oldKeys;
    std::unique_ptr<OstFileSwap> m_swap;
};
