// Ciphers and key derivation through OpenSSL (see ostcrypt.h).
#include "engine/crypt/ostcrypt.h"

#include <QCryptographicHash>
#include <QHash>

#include <cstring>
#include <mutex>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/provider.h>
#include <openssl/rand.h>

namespace OstCrypt {

namespace {

const char kMagic[4] = {'O', 'S', 'T', 'E'};
constexpr uint8_t kFormat = 1;
const char kSqliteMagic[16] = "SQLite format 3";

// scrypt cost: about 0.15 s and 32 MiB per derivation on our machines.
constexpr uint64_t kScryptN = uint64_t(1) << 15;
constexpr uint32_t kScryptR = 8, kScryptP = 1;

// The cipher of each method. Methods without an AEAD get an HMAC-SHA256 tag
// over the ciphertext (encrypt-then-MAC).
struct MethodSpec {
    const char* cipher;
    int keyLen;
    bool aead;
    bool zeroCounter; // ChaCha20's IV starts with a 32-bit block counter
    bool noPadding;
};
const MethodSpec kSpecs[7] = {
    {nullptr, 0, false, false, false},
    {nullptr, 0, false, false, false},
    {"ChaCha20", 32, false, true, false},          // Protection: a fast stream
    {"AES-128-CTR", 16, false, false, false},      // Classic
    {"ChaCha20-Poly1305", 32, true, false, false}, // FastEncrypt
    {"BF-CBC", 16, false, false, true},            // Blowfish (legacy provider)
    {"AES-256-GCM", 32, true, false, false},       // Rijndael/AES
};

// OpenSSL objects in a library context of our own, so that a host
// application's configuration (or its lack of the legacy provider) stays untouched.
struct Lib {
    OSSL_LIB_CTX* ctx = nullptr;
    OSSL_PROVIDER* base = nullptr;
    OSSL_PROVIDER* legacy = nullptr;
    EVP_CIPHER* ciphers[7] = {};
    EVP_MAC* hmac = nullptr;
    EVP_KDF* scrypt = nullptr;
    EVP_KDF* hkdf = nullptr;
};

Lib& L() {
    static Lib lib;
    static std::once_flag once;
    std::call_once(once, [] {
        lib.ctx = OSSL_LIB_CTX_new();
        lib.base = OSSL_PROVIDER_load(lib.ctx, "default");
        lib.legacy = OSSL_PROVIDER_load(lib.ctx, "legacy");
        for (int m = emProtection; m <= emRijndael; ++m)
            lib.ciphers[m] = EVP_CIPHER_fetch(lib.ctx, kSpecs[m].cipher, nullptr);
        lib.hmac = EVP_MAC_fetch(lib.ctx, "HMAC", nullptr);
        lib.scrypt = EVP_KDF_fetch(lib.ctx, "SCRYPT", nullptr);
        lib.hkdf = EVP_KDF_fetch(lib.ctx, "HKDF", nullptr);
    });
    return lib;
}

int DecodePageSize(const uint8_t* p) {
    const int v = (p[0] << 8) | p[1];
    const int size = v == 1 ? 65536 : v;
    return (size >= 512 && size <= 65536 && (size & (size - 1)) == 0) ? size : 0;
}

void PutBE(uint8_t* p, uint64_t v, int bytes) {
    for (int i = bytes - 1; i >= 0; --i, v >>= 8) p[i] = static_cast<uint8_t>(v);
}

bool Hkdf(const uint8_t* master, const Salt& salt, const QByteArray& info, uint8_t* out, size_t len) {
    EVP_KDF_CTX* k = EVP_KDF_CTX_new(L().hkdf);
    if (!k) return false;
    char digest[] = "SHA256";
    OSSL_PARAM params[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, const_cast<uint8_t*>(master), 32),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SALT, const_cast<uint8_t*>(salt.data()), salt.size()),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, const_cast<char*>(info.constData()),
                                          static_cast<size_t>(info.size())),
        OSSL_PARAM_construct_end()};
    const bool ok = EVP_KDF_derive(k, out, len, params) == 1;
    EVP_KDF_CTX_free(k);
    return ok;
}

bool Scrypt(const QByteArray& secret, const QByteArray& salt, uint8_t* out) {
    EVP_KDF_CTX* k = EVP_KDF_CTX_new(L().scrypt);
    if (!k) return false;
    uint64_t n = kScryptN;
    uint32_t r = kScryptR, p = kScryptP;
    OSSL_PARAM params[] = {
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_PASSWORD, const_cast<char*>(secret.constData()),
                                          static_cast<size_t>(secret.size())),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SALT, const_cast<char*>(salt.constData()),
                                          static_cast<size_t>(salt.size())),
        OSSL_PARAM_construct_uint64(OSSL_KDF_PARAM_SCRYPT_N, &n),
        OSSL_PARAM_construct_uint32(OSSL_KDF_PARAM_SCRYPT_R, &r),
        OSSL_PARAM_construct_uint32(OSSL_KDF_PARAM_SCRYPT_P, &p),
        OSSL_PARAM_construct_end()};
    const bool ok = EVP_KDF_derive(k, out, 32, params) == 1;
    EVP_KDF_CTX_free(k);
    return ok;
}

// Master keys already derived in this process, by salt and secret digest: a
// table opened again (or by a second component) costs no second derivation.
struct MasterCache {
    std::mutex mutex;
    QHash<QByteArray, QByteArray> keys;
};
MasterCache& Cache() {
    static MasterCache c;
    return c;
}

} // namespace

Keys::~Keys() {
    OPENSSL_cleanse(master, sizeof master);
    OPENSSL_cleanse(enc, sizeof enc);
    OPENSSL_cleanse(mac, sizeof mac);
}

QString MethodName(int method) { return OstEncryptionMethodName(method); }

bool Available(int method, QString* why) {
    if (!Encrypts(method)) return true;
    if (L().ciphers[method] && L().hmac && L().scrypt && L().hkdf) return true;
    if (why)
        *why = method == emBlowfish
                   ? QStringLiteral("Encryption method \"Blowfish\" is not available: OpenSSL's legacy provider could not be loaded")
                   : QStringLiteral("Encryption method \"%1\" is not available in this OpenSSL").arg(MethodName(method));
    return false;
}

bool SecretFor(int method, const QString& entry, QByteArray& secret, QString& error) {
    secret.clear();
    if (method != emClassic) {
        if (entry.isEmpty()) {
            error = QStringLiteral("The password is empty");
            return false;
        }
        secret = entry.toUtf8();
        return true;
    }
    // The password may contain ";" itself: the last one separates the key.
    const qsizetype cut = entry.lastIndexOf(QLatin1Char(';'));
    bool ok = false;
    const qulonglong key = cut > 0 ? entry.mid(cut + 1).trimmed().toULongLong(&ok) : 0;
    if (cut <= 0 || !ok || entry.mid(cut + 1).trimmed().startsWith(QLatin1Char('+'))) {
        error = QStringLiteral("Classic encryption takes a password and a numeric key separated by \";\" (for example \"secret;42\")");
        return false;
    }
    secret = entry.left(cut).toUtf8();
    secret.append('\0');
    secret.append(QByteArray::number(key));
    return true;
}

bool ParseHeader(const uint8_t* p, FileInfo& info) {
    if (std::memcmp(p, kMagic, 4) != 0 || p[4] != kFormat || !Encrypts(p[5]) || (p[6] & ~FlagDatabaseKey) != 0) return false;
    const int pageSize = DecodePageSize(p + 16);
    if (!pageSize || p[20] < Reserve) return false;
    info.encrypted = true;
    info.method = p[5];
    info.databaseKey = (p[6] & FlagDatabaseKey) != 0;
    std::memcpy(info.salt.data(), p + 7, SaltSize);
    info.pageSize = pageSize;
    return true;
}

QByteArray RandomBytes(int n) {
    QByteArray out(n, '\0');
    if (RAND_bytes_ex(L().ctx, reinterpret_cast<unsigned char*>(out.data()), static_cast<size_t>(n), 0) != 1)
        throw EOstraError(OstErr::General, QStringLiteral("No random numbers for a new key"));
    return out;
}

Salt NewSalt() {
    Salt s{};
    const QByteArray r = RandomBytes(SaltSize);
    std::memcpy(s.data(), r.constData(), SaltSize);
    return s;
}

KeysPtr DeriveKeys(int method, const Salt& salt, const QByteArray& secret, const QByteArray& databaseSalt) {
    QString why;
    if (!Available(method, &why)) throw EOstraError(OstErr::General, why);
    auto keys = std::make_shared<Keys>();
    keys->method = method;
    keys->salt = salt;
    keys->databaseKey = !databaseSalt.isEmpty();
    const QByteArray kdfSalt =
        keys->databaseKey ? databaseSalt : QByteArray(reinterpret_cast<const char*>(salt.data()), SaltSize);
    const QByteArray id = kdfSalt + QCryptographicHash::hash(secret, QCryptographicHash::Sha256);
    bool cached = false;
    {
        std::lock_guard<std::mutex> lock(Cache().mutex);
        const auto it = Cache().keys.constFind(id);
        if (it != Cache().keys.constEnd()) {
            std::memcpy(keys->master, it->constData(), 32);
            cached = true;
        }
    }
    if (!cached) {
        if (!Scrypt(secret, kdfSalt, keys->master))
            throw EOstraError(OstErr::General, QStringLiteral("The key derivation failed"));
        std::lock_guard<std::mutex> lock(Cache().mutex);
        if (Cache().keys.size() >= 64) Cache().keys.clear();
        Cache().keys.insert(id, QByteArray(reinterpret_cast<const char*>(keys->master), 32));
    }
    static const char* const roles[] = {"db", "journal"};
    for (int r = 0; r < 2; ++r) {
        const QByteArray label = QByteArray("ostra/") + roles[r];
        if (!Hkdf(keys->master, salt, label + "/enc/" + QByteArray::number(method), keys->enc[r], kSpecs[method].keyLen) ||
            !Hkdf(keys->master, salt, label + "/mac", keys->mac[r], 32))
            throw EOstraError(OstErr::General, QStringLiteral("The key derivation failed"));
    }
    return keys;
}

bool SameKeys(const Keys& a, const Keys& b) {
    return a.method == b.method && a.salt == b.salt && a.databaseKey == b.databaseKey &&
           CRYPTO_memcmp(a.master, b.master, 32) == 0;
}

// ---------------------------------------------------------------- PageCipher

struct PageCipher::Impl {
    EVP_CIPHER_CTX* cipher = nullptr;
    EVP_MAC_CTX* mac = nullptr;
    const EVP_CIPHER* algo = nullptr;
    MethodSpec spec{};
};

PageCipher::PageCipher(KeysPtr keys, Role role) : m_keys(std::move(keys)), m_role(role), m_impl(new Impl) {
    m_impl->spec = kSpecs[m_keys->method];
    m_impl->algo = L().ciphers[m_keys->method];
    m_impl->cipher = EVP_CIPHER_CTX_new();
    if (!m_impl->spec.aead) m_impl->mac = EVP_MAC_CTX_new(L().hmac);
}

PageCipher::~PageCipher() {
    EVP_CIPHER_CTX_free(m_impl->cipher);
    EVP_MAC_CTX_free(m_impl->mac);
    delete m_impl;
}

bool PageCipher::Mac(const uint8_t* aad, int aadLen, const uint8_t* nonce, const uint8_t* data, int len, uint8_t* tag) {
    if (!m_impl->mac) return false;
    char digest[] = "SHA256";
    OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0), OSSL_PARAM_construct_end()};
    uint8_t full[32];
    size_t outLen = 0;
    const bool ok = EVP_MAC_init(m_impl->mac, m_keys->mac[m_role], 32, params) == 1 &&
                    EVP_MAC_update(m_impl->mac, aad, static_cast<size_t>(aadLen)) == 1 &&
                    EVP_MAC_update(m_impl->mac, nonce, 16) == 1 &&
                    EVP_MAC_update(m_impl->mac, data, static_cast<size_t>(len)) == 1 &&
                    EVP_MAC_final(m_impl->mac, full, &outLen, sizeof full) == 1 && outLen == sizeof full;
    std::memcpy(tag, full, 16);
    return ok;
}

bool PageCipher::Seal(const uint8_t* in, uint8_t* out, int len, const uint8_t* aad, int aadLen, uint8_t* nonceTag) {
    const MethodSpec& s = m_impl->spec;
    EVP_CIPHER_CTX* c = m_impl->cipher;
    if (!c || !m_impl->algo || RAND_bytes_ex(L().ctx, nonceTag, 16, 0) != 1) return false;
    if (s.zeroCounter) std::memset(nonceTag, 0, 4);
    if (EVP_EncryptInit_ex2(c, m_impl->algo, m_keys->enc[m_role], nonceTag, nullptr) != 1) return false;
    if (s.noPadding) EVP_CIPHER_CTX_set_padding(c, 0);
    int n = 0, total = 0;
    if (s.aead && EVP_EncryptUpdate(c, nullptr, &n, aad, aadLen) != 1) return false;
    if (EVP_EncryptUpdate(c, out, &n, in, len) != 1) return false;
    total = n;
    if (EVP_EncryptFinal_ex(c, out + total, &n) != 1 || total + n != len) return false;
    if (s.aead) return EVP_CIPHER_CTX_ctrl(c, EVP_CTRL_AEAD_GET_TAG, 16, nonceTag + 16) == 1;
    return Mac(aad, aadLen, nonceTag, out, len, nonceTag + 16);
}

bool PageCipher::Open(const uint8_t* in, uint8_t* out, int len, const uint8_t* aad, int aadLen, const uint8_t* nonceTag) {
    const MethodSpec& s = m_impl->spec;
    EVP_CIPHER_CTX* c = m_impl->cipher;
    if (!c || !m_impl->algo) return false;
    if (!s.aead) {
        uint8_t tag[16];
        if (!Mac(aad, aadLen, nonceTag, in, len, tag) || CRYPTO_memcmp(tag, nonceTag + 16, 16) != 0) return false;
    }
    if (EVP_DecryptInit_ex2(c, m_impl->algo, m_keys->enc[m_role], nonceTag, nullptr) != 1) return false;
    if (s.noPadding) EVP_CIPHER_CTX_set_padding(c, 0);
    int n = 0, total = 0;
    if (s.aead && EVP_DecryptUpdate(c, nullptr, &n, aad, aadLen) != 1) return false;
    if (EVP_DecryptUpdate(c, out, &n, in, len) != 1) return false;
    total = n;
    if (s.aead && EVP_CIPHER_CTX_ctrl(c, EVP_CTRL_AEAD_SET_TAG, 16, const_cast<uint8_t*>(nonceTag + 16)) != 1) return false;
    return EVP_DecryptFinal_ex(c, out + total, &n) == 1 && total + n == len;
}

bool PageCipher::SealPage(uint32_t pgno, const uint8_t* plain, uint8_t* out, int pageSize) {
    if (pageSize < 512 || pageSize > 65536 || pgno == 0) return false;
    uint8_t aad[4 + 24];
    PutBE(aad, pgno, 4);
    int aadLen = 4, begin = 0;
    if (pgno == 1) {
        // Without room for nonce and tag the page cannot be sealed.
        if (plain[20] < Reserve) return false;
        std::memcpy(out, kMagic, 4);
        out[4] = kFormat;
        out[5] = static_cast<uint8_t>(m_keys->method);
        out[6] = m_keys->databaseKey ? FlagDatabaseKey : 0;
        std::memcpy(out + 7, m_keys->salt.data(), SaltSize);
        std::memcpy(out + 16, plain + 16, 8);
        std::memcpy(aad + 4, out, 24);
        aadLen = 28;
        begin = 24;
    }
    const int end = pageSize - Reserve;
    return Seal(plain + begin, out + begin, end - begin, aad, aadLen, out + end);
}

bool PageCipher::OpenPage(uint32_t pgno, const uint8_t* stored, uint8_t* plain, int pageSize) {
    if (pageSize < 512 || pageSize > 65536 || pgno == 0) return false;
    uint8_t aad[4 + 24];
    PutBE(aad, pgno, 4);
    int aadLen = 4, begin = 0;
    if (pgno == 1) {
        FileInfo info;
        if (!ParseHeader(stored, info) || info.method != m_keys->method || info.salt != m_keys->salt ||
            info.databaseKey != m_keys->databaseKey)
            return false;
        std::memcpy(plain, kSqliteMagic, 16);
        std::memcpy(plain + 16, stored + 16, 8);
        std::memcpy(aad + 4, stored, 24);
        aadLen = 28;
        begin = 24;
    }
    const int end = pageSize - Reserve;
    if (!Open(stored + begin, plain + begin, end - begin, aad, aadLen, stored + end)) return false;
    std::memset(plain + end, 0, Reserve);
    return true;
}

bool PageCipher::SealRecord(int64_t offset, const uint8_t* plain, uint8_t* out, int size) {
    uint8_t aad[9] = {'J'};
    PutBE(aad + 1, static_cast<uint64_t>(offset), 8);
    const int end = size - Reserve;
    return Seal(plain, out, end, aad, sizeof aad, out + end);
}

bool PageCipher::OpenRecord(int64_t offset, const uint8_t* stored, uint8_t* plain, int size) {
    uint8_t aad[9] = {'J'};
    PutBE(aad + 1, static_cast<uint64_t>(offset), 8);
    const int end = size - Reserve;
    if (!Open(stored, plain, end, aad, sizeof aad, stored + end)) return false;
    std::memset(plain + end, 0, Reserve);
    return true;
}

} // namespace OstCrypt
