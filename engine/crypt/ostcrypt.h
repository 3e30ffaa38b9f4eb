// Page encryption of table and database files: the methods, the key
// derivation from a password, and how one page (or one page image in a
// rollback journal) is sealed and opened.
//
// An encrypted file is an SQLite file whose pages each end in Reserve bytes:
// a random nonce and an authentication tag, fresh on every write. Page 1 keeps
// bytes 16-23 (page size, reserve, payload fractions) readable; its first 16
// bytes carry the file header: "OSTE", a format version, the method, flags and
// the file's salt. Everything else is ciphertext.
//
// Keys: a master key comes from the password by the slow derivation (scrypt)
// over a salt - the file's own, or, for the "Default" tables of a managed
// database, the database's salt, so that one derivation serves all of them -
// and each file's keys come from the master key and the file's salt by HKDF.
#pragma once

#include "engine/types/osttypes.h"

#include <QByteArray>
#include <QString>
#include <array>
#include <cstdint>
#include <memory>

namespace OstCrypt {

constexpr int Reserve = 32;   // bytes at the end of each page: 16 nonce, 16 tag
constexpr int SaltSize = 9;
using Salt = std::array<uint8_t, SaltSize>;
constexpr uint8_t FlagDatabaseKey = 1; // the master key is the database's

// Methods 2 to 6 encrypt; Default and None do not.
inline bool Encrypts(int method) { return method >= emProtection && method <= emRijndael; }
QString MethodName(int method);
// False, with the reason, when this machine's OpenSSL lacks the method's cipher.
bool Available(int method, QString* why = nullptr);

// The secret a password entry stands for. Classic takes "password;key", split
// at the last ";", the key a whole number of 0 or more; the other methods take
// the entry as it is. False, with a message in the user's terms, when the
// entry does not fit the method.
bool SecretFor(int method, const QString& entry, QByteArray& secret, QString& error);

// What the first bytes of a file say about it (OstVfsInspect reads them).
struct FileInfo {
    bool exists = false;
    bool empty = true; // missing, or of size 0
    bool encrypted = false;
    int method = emNone;
    Salt salt{};
    bool databaseKey = false;
    int pageSize = 0;
};
// Reads the header fields of page 1 (at least 24 bytes) into info; false when
// the bytes are not an encrypted file of ours.
bool ParseHeader(const uint8_t* page1, FileInfo& info);

enum Role { DbRole = 0, JournalRole = 1 };

// Keys of one file: the master key from the slow derivation, and per role an
// encryption key and a MAC key from HKDF.
struct Keys {
    int method = emNone;
    Salt salt{};
    bool databaseKey = false;
    uint8_t master[32]{};
    uint8_t enc[2][32]{};
    uint8_t mac[2][32]{};
    ~Keys();
};
using KeysPtr = std::shared_ptr<const Keys>;

// The keys of a file with this salt. The master key comes from the secret and
// databaseSalt, or, when that is empty, the file's own salt: slow (scrypt)
// once per salt and secret in a process, later calls reuse it.
KeysPtr DeriveKeys(int method, const Salt& salt, const QByteArray& secret, const QByteArray& databaseSalt = QByteArray());
Salt NewSalt();
QByteArray RandomBytes(int n);
bool SameKeys(const Keys& a, const Keys& b);

// Seals and opens pages with one file's keys. One per open file; not shared
// between threads.
class PageCipher {
public:
    PageCipher(KeysPtr keys, Role role);
    ~PageCipher();
    PageCipher(const PageCipher&) = delete;
    PageCipher& operator=(const PageCipher&) = delete;

    // A database page pgno (1-based) of pageSize bytes, plain -> out.
    bool SealPage(uint32_t pgno, const uint8_t* plain, uint8_t* out, int pageSize);
    // stored -> plain; false when the tag does not match (wrong key, damage).
    bool OpenPage(uint32_t pgno, const uint8_t* stored, uint8_t* plain, int pageSize);
    // A page image at offset of a rollback journal.
    bool SealRecord(int64_t offset, const uint8_t* plain, uint8_t* out, int size);
    bool OpenRecord(int64_t offset, const uint8_t* stored, uint8_t* plain, int size);

private:
    bool Seal(const uint8_t* in, uint8_t* out, int len, const uint8_t* aad, int aadLen, uint8_t* nonceTag);
    bool Open(const uint8_t* in, uint8_t* out, int len, const uint8_t* aad, int aadLen, const uint8_t* nonceTag);
    bool Mac(const uint8_t* aad, int aadLen, const uint8_t* nonce, const uint8_t* data, int len, uint8_t* tag);

    KeysPtr m_keys;
    Role m_role;
    struct Impl;
    Impl* m_impl;
};


} // namespace OstCrypt
