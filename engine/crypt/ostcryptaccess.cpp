// Which keys open which file, and who is asked for a password (see ostcryptaccess.h).
#include "engine/crypt/ostcryptaccess.h"

#include "engine/crypt/ostcrypt.h"
#include "engine/crypt/ostvfs.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostfilecipher.h"
#include "engine/store/ostfileswap.h"
#include "engine/store/ostschema.h"

#include <QFile>
#include <QFileInfo>

#include <mutex>

using namespace OstCrypt;

namespace {

// The table component that last asked for a connection to work on a table
// file. Its method makes a new file; its password is the first one tried.
struct Requesters {
    std::mutex mutex;
    QHash<QString, std::weak_ptr<OstCryptRequester>> byFile;
    TOstPasswordEvent handler;
    OstCryptDatabaseLookup databases;
};
Requesters& Req() {
    static Requesters r;
    return r;
}

QString FileKey(const QString& file) { return QString::fromUtf8(OstVfsPath(file)); }

std::shared_ptr<OstCryptRequester> RequesterFor(const QString& file) {
    std::lock_guard<std::mutex> lock(Req().mutex);
    return Req().byFile.value(FileKey(file)).lock();
}

QList<OstCryptDatabase> DatabasesAt(const OstConnection& c) {
    OstCryptDatabaseLookup lookup;
    {
        std::lock_guard<std::mutex> lock(Req().mutex);
        lookup = Req().databases;
    }
    return lookup ? lookup(c.Location()) : QList<OstCryptDatabase>();
}

TOstPasswordEvent PasswordHandler() {
    std::lock_guard<std::mutex> lock(Req().mutex);
    return Req().handler;
}

// Who asks for a file's password, under which name, and the passwords known
// without asking: the table's own, then its database's, then those of the
// database components on this location - the database's first for a file
// keyed by its database.
// "OSTRA_PASSWORD_" and the name in capitals, every character other than a
// letter or digit of ASCII as "_": OSTRA_PASSWORD_CUSTOMERS, OSTRA_PASSWORD_MY_SHOP.
QString EnvironmentPasswordName(const QString& name) {
    QString key = QStringLiteral("OSTRA_PASSWORD_");
    for (const QChar ch : name.toUpper()) key += ch.unicode() < 128 && ch.isLetterOrNumber() ? ch : QLatin1Char('_');
    return key;
}

struct Request {
    QObject* sender = nullptr;
    QString name;  // what the password handler is told
    QString what;  // "table \"X\"" or "database \"X\""
    QStringList candidates;
};

Request MakeRequest(OstConnection& c, const QString& file, const QString& tableName, bool databaseFirst,
                    const OstCryptRequester* table = nullptr) {
    Request r;
    std::shared_ptr<OstCryptRequester> noted;
    if (!table && !c.SingleFile()) table = (noted = RequesterFor(file)).get();
    const QList<OstCryptDatabase> databases = DatabasesAt(c);
    auto add = [&r](const QString& pw) {
        if (!pw.isEmpty() && !r.candidates.contains(pw)) r.candidates.append(pw);
    };
    if (table && !databaseFirst) add(table->Password());
    if (table) add(table->DatabasePassword());
    for (const OstCryptDatabase& d : databases) add(d.password);
    if (table) add(table->Password());
    r.sender = table ? table->Sender() : databases.isEmpty() ? nullptr : databases.first().sender;
    if (c.SingleFile()) {
        r.name = databases.isEmpty() || databases.first().name.isEmpty() ? QFileInfo(file).completeBaseName()
                                                                         : databases.first().name;
        r.what = QStringLiteral("database \"%1\"").arg(r.name);
    } else {
        r.name = tableName.isEmpty() ? QFileInfo(file).completeBaseName() : tableName;
        r.what = QStringLiteral("table \"%1\"").arg(r.name);
    }
    // Passwords an application keeps out of its module files: the environment
    // names them per table or database, or one for all.
    add(qEnvironmentVariable(EnvironmentPasswordName(r.name).toLatin1().constData()));
    add(qEnvironmentVariable("OSTRA_PASSWORD"));
    return r;
}

QString Capitalized(const QString& s) { return s.left(1).toUpper() + s.mid(1); }

// The method a table file gets. "Default" stands for a managed directory
// database's own method, whose files share the database's master key; else none.
struct Target {
    int method = emNone;
    bool databaseKey = false;
};

Target Resolve(OstConnection& c, int method) {
    if (method != emDefault) return {method, false};
    if (c.SingleFile() || c.Setting(QStringLiteral("managed")) != QStringLiteral("1")) return {};
    const int m = c.Setting(QStringLiteral("encryption"), QString::number(emNone)).toInt();
    return Encrypts(m) ? Target{m, true} : Target{};
}

// The salt of a managed database's master key, kept in its catalog; made with
// the first file that needs it. Empty when there is none.
QByteArray DatabaseSalt(OstConnection& c, bool create) {
    QByteArray salt = QByteArray::fromHex(c.Setting(QStringLiteral("keysalt")).toLatin1());
    if (salt.size() != 16 && create) {
        salt = RandomBytes(16);
        c.SetSetting(QStringLiteral("keysalt"), QString::fromLatin1(salt.toHex()));
    }
    return salt.size() == 16 ? salt : QByteArray();
}

void RequireAvailable(int method) {
    QString why;
    if (!Available(method, &why)) throw EOstraError(OstErr::General, why);
}

KeysPtr TryPassword(OstConnection& c, const QString& file, const FileInfo& info, const QString& password) {
    QByteArray secret;
    QString error;
    if (!SecretFor(info.method, password, secret, error)) return nullptr;
    RequireAvailable(info.method);
    KeysPtr keys = DeriveKeys(info.method, info.salt, secret, info.databaseKey ? DatabaseSalt(c, false) : QByteArray());
    return OstVfsVerify(file, keys) ? keys : nullptr;
}

// Keys this process holds already for the file, under its name or, after a
// rename, under the old one (the salt is the file's own).
KeysPtr Known(const QString& file, const FileInfo& info) {
    for (const KeysPtr& k : {OstKeyring::Get(file), OstKeyring::FindBySalt(info.salt)})
        if (k && k->method == info.method && k->salt == info.salt && OstVfsVerify(file, k)) return k;
    return nullptr;
}

// Unlocks an encrypted file for the connection. Quiet: known passwords only,
// false when none fits. Otherwise the global handler is asked until it gives
// the right password or gives up, and a refusal raises.
bool Unlock(OstConnection& c, const QString& file, const QString& tableName, bool quiet) {
    const FileInfo info = OstVfsInspect(file);
    if (!info.encrypted) return true;
    if (KeysPtr k = Known(file, info)) {
        OstKeyring::Put(file, k, &c);
        return true;
    }
    const Request r = MakeRequest(c, file, tableName, info.databaseKey);
    if (info.databaseKey && DatabaseSalt(c, false).isEmpty()) {
        if (quiet) return false;
        throw EOstraError(OstErr::Password, QStringLiteral("%1 is encrypted with the key of another database").arg(Capitalized(r.what)));
    }
    bool tried = false;
    for (const QString& pw : r.candidates) {
        tried = true;
        if (KeysPtr k = TryPassword(c, file, info, pw)) {
            OstKeyring::Put(file, k, &c);
            return true;
        }
    }
    if (quiet) return false;
    if (const TOstPasswordEvent handler = PasswordHandler()) {
        for (;;) {
            QString pw;
            bool retry = false;
            handler(r.sender, r.name, pw, retry);
            if (!retry) break;
            tried = true;
            if (KeysPtr k = TryPassword(c, file, info, pw)) {
                OstKeyring::Put(file, k, &c);
                return true;
            }
        }
    }
    throw EOstraError(OstErr::Password, tried ? QStringLiteral("Wrong password for %1").arg(r.what)
                                              : QStringLiteral("%1 is encrypted and needs a password").arg(Capitalized(r.what)));
}

QString NeedsPassword(const QString& what, int method) {
    return QStringLiteral("%1 needs a password for encryption method \"%2\"").arg(Capitalized(what), OstEncryptionMethodName(method));
}

QByteArray SecretOrThrow(int method, const QString& password, const QString& what) {
    QByteArray secret;
    QString error;
    if (!SecretFor(method, password, secret, error))
        throw EOstraError(OstErr::Password, QStringLiteral("%1: %2").arg(Capitalized(what), error));
    return secret;
}

// The schema name under which a file is attached (unquoted).
QString SchemaOf(OstConnection& c, const QString& file) {
    const QString path = FileKey(file);
    OstStmt st(c.Db(), QStringLiteral("SELECT name, file FROM pragma_database_list"));
    while (st.Step())
        if (st.Text(1) == path) return st.Text(0);
    throw EOstraError(OstErr::NotOpen, QStringLiteral("\"%1\" is not attached").arg(file));
}

void ReserveRoom(sqlite3* db, const QString& schema) {
    int n = Reserve;
    sqlite3_file_control(db, schema.toUtf8().constData(), SQLITE_FCNTL_RESERVE_BYTES, &n);
}

void BeforeAttach(OstConnection& c, const QString& tableName, const QString& file, bool create) {
    const FileInfo info = OstVfsInspect(file);
    if (!info.empty) {
        Unlock(c, file, tableName, false);
        return;
    }
    if (!create) return;
    // A new file: keys of an earlier file of that name do not apply.
    OstKeyring::Remove(file);
    const std::shared_ptr<OstCryptRequester> table = RequesterFor(file);
    const Target target = Resolve(c, table ? table->Method() : emDefault);
    if (!Encrypts(target.method)) return;
    RequireAvailable(target.method);
    const Request r = MakeRequest(c, file, tableName, target.databaseKey, table.get());
    QString password = r.candidates.value(0);
    if (password.isEmpty()) {
        if (const TOstPasswordEvent handler = PasswordHandler()) {
            bool use = false;
            handler(r.sender, r.name, password, use);
            if (!use) password.clear();
        }
    }
    if (password.isEmpty()) throw EOstraError(OstErr::Password, NeedsPassword(r.what, target.method));
    const QByteArray secret = SecretOrThrow(target.method, password, r.what);
    OstKeyring::Put(file, DeriveKeys(target.method, NewSalt(), secret, target.databaseKey ? DatabaseSalt(c, true) : QByteArray()),
                    &c);
}

// The store's file cipher: the engine's VFS with the keys this file knows.
class Cipher final : public OstFileCipher {
public:
    void BeforeOpen(OstConnection& c) override {
        OstVfsInstall();
        if (c.SingleFile()) Unlock(c, c.Location(), QString(), false);
    }
    void Closed(OstConnection& c) override { OstKeyring::Release(&c); }
    void BeforeAttach(OstConnection& c, const QString& tableName, const QString& file, bool create) override {
        ::BeforeAttach(c, tableName, file, create);
    }
    void AfterAttach(OstConnection& c, const QString& schema, const QString& file) override {
        if (OstKeyring::Get(file) && OstVfsInspect(file).empty) ReserveRoom(c.Db(), schema);
    }
    bool UnlockQuietly(OstConnection& c, const QString& file) override { return Unlock(c, file, QString(), true); }
    int StoredMethod(const QString& file) override { return OstCryptStoredMethod(file); }
    void FollowTable(OstConnection& c, const QString& tableName, const QString& followerName) override {
        if (c.SingleFile()) return;
        const QString table = FileKey(c.TableFile(tableName)), follower = FileKey(c.TableFile(followerName));
        std::lock_guard<std::mutex> lock(Req().mutex);
        if (auto t = Req().byFile.value(table).lock()) Req().byFile.insert(follower, t);
    }
};

} // namespace

void OstCryptInstall() {
    static Cipher cipher;
    OstInstallFileCipher(&cipher);
}

void OstCryptSetPasswordHandler(TOstPasswordEvent handler) {
    std::lock_guard<std::mutex> lock(Req().mutex);
    Req().handler = std::move(handler);
}

TOstPasswordEvent OstCryptPasswordHandler() { return PasswordHandler(); }

void OstCryptSetDatabaseLookup(OstCryptDatabaseLookup lookup) {
    std::lock_guard<std::mutex> lock(Req().mutex);
    Req().databases = std::move(lookup);
}

void OstCryptNoteTable(const std::shared_ptr<OstCryptRequester>& table, OstConnection& c, const QString& tableName) {
    if (c.SingleFile() || tableName.isEmpty()) return;
    const QString key = FileKey(c.TableFile(tableName));
    std::lock_guard<std::mutex> lock(Req().mutex);
    if (Req().byFile.size() > 256)
        for (auto it = Req().byFile.begin(); it != Req().byFile.end();) it = it.value().expired() ? Req().byFile.erase(it) : std::next(it);
    Req().byFile.insert(key, table);
}

int OstCryptStoredMethod(const QString& file) {
    const FileInfo info = OstVfsInspect(file);
    return info.encrypted ? info.method : emNone;
}

// ---------------------------------------------------------------- new single-file database

OstCryptNewDatabase::OstCryptNewDatabase(const QString& file, int method, const QString& password, const QString& name)
    : m_file(file) {
    if (!Encrypts(method)) return;
    RequireAvailable(method);
    const QString what = QStringLiteral("database \"%1\"").arg(name.isEmpty() ? QFileInfo(file).completeBaseName() : name);
    if (password.isEmpty()) throw EOstraError(OstErr::Password, NeedsPassword(what, method));
    KeysPtr keys = DeriveKeys(method, NewSalt(), SecretOrThrow(method, password, what));
    OstKeyring::Remove(file);
    OstKeyring::Put(file, keys, this);
    m_encrypted = true;
}

OstCryptNewDatabase::~OstCryptNewDatabase() {
    if (m_encrypted) OstKeyring::Release(this);
}

void OstCryptNewDatabase::Prepare(sqlite3* db) {
    if (m_encrypted) ReserveRoom(db, QStringLiteral("main"));
}

// ---------------------------------------------------------------- rekey

namespace {

// Whether a table's file must be written anew for the method (and the
// table's password), and under which keys (none: plain). With dryRun nothing
// is written (a managed database's key salt is not made).
struct RekeyDecision {
    bool swap = false;
    KeysPtr current, next;
};

RekeyDecision DecideRekey(const OstCryptRequester& table, OstConnection& c, const QString& tableName, const QString& file,
                          int method, bool dryRun) {
    RekeyDecision d;
    const QString what = QStringLiteral("table \"%1\"").arg(tableName);
    c.Locate(tableName); // unlocks the file as it is now
    const FileInfo info = OstVfsInspect(file);
    d.current = info.encrypted ? OstKeyring::Get(file) : nullptr;
    if (info.encrypted && !d.current)
        throw EOstraError(OstErr::Password, QStringLiteral("%1 is encrypted and needs a password").arg(Capitalized(what)));
    const Target target = Resolve(c, method);
    if (Encrypts(target.method)) {
        RequireAvailable(target.method);
        const bool sameKind = info.encrypted && info.method == target.method && info.databaseKey == target.databaseKey;
        // A table's own password, or for "Default" its database's.
        QString password = target.databaseKey ? MakeRequest(c, file, tableName, true, &table).candidates.value(0)
                                              : table.Password();
        // No password given: an encrypted table keeps its key.
        if (password.isEmpty() && sameKind) return d;
        if (password.isEmpty()) password = table.DatabasePassword();
        if (password.isEmpty()) throw EOstraError(OstErr::Password, NeedsPassword(what, target.method));
        const QByteArray secret = SecretOrThrow(target.method, password, what);
        const QByteArray databaseSalt = target.databaseKey ? DatabaseSalt(c, !dryRun) : QByteArray();
        if (sameKind && (!target.databaseKey || !databaseSalt.isEmpty()) &&
            SameKeys(*DeriveKeys(target.method, info.salt, secret, databaseSalt), *d.current))
            return d;
        d.swap = true;
        if (!dryRun) d.next = DeriveKeys(target.method, NewSalt(), secret, databaseSalt);
    } else {
        d.swap = info.encrypted;
    }
    return d;
}

} // namespace

bool OstCryptRekeyNeeded(const OstCryptRequester& table, OstConnection& c, const QString& tableName, int method) {
    if (c.SingleFile()) return false;
    return DecideRekey(table, c, tableName, c.TableFile(tableName), method, true).swap;
}

OstCryptRekey::OstCryptRekey(const OstCryptRequester& table, OstConnection& c, const QString& tableName, int method,
                             const QStringList& followers, const QString& master)
    : m_c(c), m_name(tableName) {
    if (c.SingleFile()) return; // the database's encryption covers its tables
    m_file = c.TableFile(tableName);
    const QString what = QStringLiteral("table \"%1\"").arg(tableName);
    const RekeyDecision decision = DecideRekey(table, c, tableName, m_file, method, false);
    if (!decision.swap) return;
    const KeysPtr current = decision.current, next = decision.next;
    if (c.InTransaction())
        throw EOstraError(OstErr::General,
                          QStringLiteral("The encryption of %1 cannot change inside a running transaction").arg(what));

    // The table's file written anew under the new keys, next to the old one,
    // under a swap record that a crash leaves for the next open to settle.
    QStringList followerFiles;
    for (const QString& f : followers) followerFiles.append(c.TableFile(f));
    m_swap = std::make_unique<OstFileSwap>(m_file, what, followerFiles, master.isEmpty() ? QString() : c.TableFile(master));
    const QString fresh = m_swap->Fresh();
    OstKeyring::Remove(fresh);
    if (next) OstKeyring::Put(fresh, next, this);
    m_oldKeys = current;
    try {
        const OstTableLocation loc = c.Locate(tableName);
        if (next) ReserveRoom(c.Db(), SchemaOf(c, m_file));
        try {
            OstStmt copy(c.Db(), QStringLiteral("VACUUM %1 INTO ?1").arg(loc.schema));
            copy.Bind(1, fresh);
            copy.Step();
        } catch (const EOstraError& e) {
            throw OstNameIoError(e, what, m_file);
        }
        c.Release(tableName);
        m_swap->Install();
    } catch (...) {
        Undo();
        throw;
    }
    if (next) OstKeyring::Put(m_file, next, &c);
    else OstKeyring::Remove(m_file);
    OstKeyring::Release(this);
    OstKeyring::Remove(fresh);
}

void OstCryptRekey::Undo() {
    // The file is let go before the old one takes its name back.
    try {
        m_c.Release(m_name);
    } catch (...) {
    }
    m_swap->Undo();
    m_swap.reset();
    OstKeyring::Release(this);
    OstKeyring::Remove(OstFileSwap::FreshOf(m_file));
    if (m_oldKeys) OstKeyring::Put(m_file, m_oldKeys, &m_c);
    else OstKeyring::Remove(m_file);
}

OstCryptRekey::~OstCryptRekey() {
    // Not committed: the old file, with its keys, comes back.
    if (m_swap) Undo();
}

void OstCryptRekey::Commit() {
    if (!m_swap) return;
    m_swap->Commit();
    m_swap.reset();
}
