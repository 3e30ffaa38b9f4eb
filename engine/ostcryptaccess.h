// How the engine unlocks, creates and re-encrypts encrypted table and
// database files: which method a new file gets, which passwords are tried,
// when the global password handler is asked, and the messages a refusal
// carries. The page encryption itself lives in ostcrypt and ostvfs.
//
// Keys are held per connection: once a connection has unlocked a file, every
// component working through it may use the file until the connection closes.
#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class OstConnection;
class OstFileSwap;
class TOstTable;
struct sqlite3;

namespace OstCrypt {
struct Keys;
}

// A table component about to work on its table: its method decides how a new
// table file is encrypted, and its password is tried first when the file is
// unlocked. Directory databases only; single-file databases encrypt as a whole.
void OstCryptNoteTable(TOstTable* table, OstConnection& c);

// A new dictionary of a fulltext index of tableName holds the table's words:
// its file is encrypted like the table's (the method and password of the
// table component), and its journal with it.
void OstCryptNoteDictionary(OstConnection& c, const QString& tableName, const QString& dictionaryName);

// Before a table file of a directory database is attached: unlocks it (asking
// the global password handler when no known password fits), or, when the file
// is new, decides its method and keys. Raises EOstraError (OstErr::Password)
// when the file stays locked.
void OstCryptBeforeAttach(OstConnection& c, const QString& tableName, const QString& file, bool create);
// After the attach: a new encrypted file reserves room for nonce and tag on every page.
void OstCryptAfterAttach(OstConnection& c, const QString& schema, const QString& file);
// Before a connection opens its database: the engine's VFS is in place, and
// an encrypted single-file database is unlocked.
void OstCryptBeforeOpen(OstConnection& c);
// Tries the known passwords without asking anyone; true when the file can be
// read (it is plain, or now unlocked).
bool OstCryptUnlockQuietly(OstConnection& c, const QString& file);
// The connection closes: it lets go of the keys it held.
void OstCryptConnectionClosed(OstConnection& c);

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
    OstCryptRekey(TOstTable* table, OstConnection& c, const QString& tableName, int method,
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
