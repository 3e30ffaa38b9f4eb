// What the store asks of file encryption. The store opens and attaches files;
// whether a file is encrypted, which keys open it and how a new file is
// encrypted is the business of whoever installs a cipher here (the engine
// installs engine/crypt at start). Without one, every file is plain.
#pragma once

#include <QString>

class OstConnection;

class OstFileCipher {
public:
    virtual ~OstFileCipher() = default;
    // Before a connection opens its database: an encrypted single-file
    // database is unlocked (raises EOstraError when it stays locked).
    virtual void BeforeOpen(OstConnection& c) = 0;
    // The connection closes and lets go of the keys it held.
    virtual void Closed(OstConnection& c) = 0;
    // Before a table file of a directory database is attached: unlocks it or,
    // when the file is new (create), decides its method and keys.
    virtual void BeforeAttach(OstConnection& c, const QString& tableName, const QString& file, bool create) = 0;
    // After the attach under schema (unquoted alias).
    virtual void AfterAttach(OstConnection& c, const QString& schema, const QString& file) = 0;
    // Tries the keys known without asking anyone; true when the file can be read.
    virtual bool UnlockQuietly(OstConnection& c, const QString& file) = 0;
    // The method a stored file is encrypted with (emNone for a plain file).
    virtual int StoredMethod(const QString& file) = 0;
    // A table made for another table's sake (a dictionary of its fulltext
    // index) is encrypted like that table.
    virtual void FollowTable(OstConnection& c, const QString& tableName, const QString& followerName) = 0;
};

// The cipher in use; a plain one until another is installed.
OstFileCipher& OstCipher();
void OstInstallFileCipher(OstFileCipher* cipher);
