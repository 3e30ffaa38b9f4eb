// The encrypting VFS (see ostvfs.h).
#include "engine/crypt/ostvfs.h"

#include "engine/store/ostfaultvfs.h"

#include <QFile>

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <sqlite3.h>
#include <string>
#include <vector>

using OstCrypt::KeysPtr;

namespace {

sqlite3_vfs* g_root = nullptr;
sqlite3_vfs g_vfs;
std::atomic<int> g_memoryFiles{0};

// ---------------------------------------------------------------- key ring

struct RingEntry {
    KeysPtr keys;
    std::set<const void*> owners;
};

struct Ring {
    std::mutex mutex;
    std::map<std::string, RingEntry> byPath;
    // Main database files open with keys, by path; their journals take the same keys.
    std::map<std::string, std::pair<KeysPtr, int>> openMains;
};

Ring& R() {
    static Ring r;
    return r;
}

KeysPtr RingGet(const std::string& path) {
    std::lock_guard<std::mutex> lock(R().mutex);
    const auto it = R().byPath.find(path);
    return it == R().byPath.end() ? nullptr : it->second.keys;
}

KeysPtr OpenMainKeys(const char* path) {
    if (!path) return nullptr;
    std::lock_guard<std::mutex> lock(R().mutex);
    const auto it = R().openMains.find(path);
    return it == R().openMains.end() ? nullptr : it->second.first;
}

// ---------------------------------------------------------------- files

enum Kind { Plain, EncDb, EncJournal, Memory };

struct State {
    Kind kind = Plain;
    KeysPtr keys;
    std::unique_ptr<OstCrypt::PageCipher> cipher;
    int pageSize = 0;
    std::vector<uint8_t> raw, plain;
    std::string mainPath;
    bool fresh = false; // a file that was empty when opened: pages not yet written read as zeros
    std::vector<uint8_t> mem;
};

struct File {
    sqlite3_file base;
    State* st;
};
constexpr size_t kRealOffset = (sizeof(File) + 15) & ~size_t(15);

sqlite3_file* Real(sqlite3_file* f) { return reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(f) + kRealOffset); }
State& St(sqlite3_file* f) { return *reinterpret_cast<File*>(f)->st; }

bool IsPageSize(int n) { return n >= 512 && n <= 65536 && (n & (n - 1)) == 0; }

int DecodePageSize(const uint8_t* p) {
    const int v = (p[0] << 8) | p[1];
    const int size = v == 1 ? 65536 : v;
    return IsPageSize(size) ? size : 0;
}

// Page images in a rollback journal are written and read whole, 4 bytes past
// a record start; headers sit on sector boundaries, so the two never mix.
bool IsJournalRecord(int amt, sqlite3_int64 off) { return IsPageSize(amt) && off % 8 == 4; }

int RawRead(sqlite3_file* f, void* buf, int amt, sqlite3_int64 off) {
    sqlite3_file* r = Real(f);
    return r->pMethods->xRead(r, buf, amt, off);
}

int RawWrite(sqlite3_file* f, const void* buf, int amt, sqlite3_int64 off) {
    sqlite3_file* r = Real(f);
    return r->pMethods->xWrite(r, buf, amt, off);
}

bool IsZero(const uint8_t* p, int n) {
    for (int i = 0; i < n; ++i)
        if (p[i]) return false;
    return true;
}

// Reads page pg (0-based) into s.plain; SQLITE_IOERR_SHORT_READ leaves zeros.
int ReadPage(sqlite3_file* f, sqlite3_int64 pg, uint8_t* plain) {
    State& s = St(f);
    const int ps = s.pageSize;
    const int rc = RawRead(f, s.raw.data(), ps, pg * ps);
    if (rc == SQLITE_IOERR_SHORT_READ) {
        std::memset(plain, 0, static_cast<size_t>(ps));
        return rc;
    }
    if (rc != SQLITE_OK) return rc;
    if (s.fresh && IsZero(s.raw.data(), ps)) {
        std::memset(plain, 0, static_cast<size_t>(ps));
        return SQLITE_OK;
    }
    return s.cipher->OpenPage(static_cast<uint32_t>(pg + 1), s.raw.data(), plain, ps) ? SQLITE_OK : SQLITE_IOERR_DATA;
}

void SizeBuffers(State& s, int n) {
    if (static_cast<int>(s.raw.size()) < n) {
        s.raw.resize(static_cast<size_t>(n));
        s.plain.resize(static_cast<size_t>(n));
    }
}

int DbRead(sqlite3_file* f, void* out, int amt, sqlite3_int64 off) {
    State& s = St(f);
    if (!s.pageSize) {
        uint8_t head[24];
        if (RawRead(f, head, 24, 0) == SQLITE_OK) s.pageSize = DecodePageSize(head + 16);
        if (!s.pageSize) return RawRead(f, out, amt, off); // nothing written yet
    }
    const int ps = s.pageSize;
    SizeBuffers(s, ps);
    auto* dst = static_cast<uint8_t*>(out);
    int result = SQLITE_OK;
    while (amt > 0) {
        const sqlite3_int64 pg = off / ps;
        const int in = static_cast<int>(off % ps);
        const int n = std::min(amt, ps - in);
        const bool whole = in == 0 && n == ps;
        int rc = ReadPage(f, pg, whole ? dst : s.plain.data());
        if (rc == SQLITE_IOERR_DATA && pg == 0 && off + n <= 100) {
            // The database header alone, which SQLite reads on opening for the
            // page size and reserve. When page 1 does not open - a crash tore
            // it, and its journal is about to restore it - the fields kept
            // readable serve; the page itself is still refused.
            std::memset(s.plain.data(), 0, 100);
            std::memcpy(s.plain.data(), "SQLite format 3", 16);
            std::memcpy(s.plain.data() + 16, s.raw.data() + 16, 8);
            rc = SQLITE_OK;
        }
        if (rc == SQLITE_IOERR_SHORT_READ) result = rc;
        else if (rc != SQLITE_OK) return rc;
        if (!whole) std::memcpy(dst, s.plain.data() + in, static_cast<size_t>(n));
        dst += n;
        off += n;
        amt -= n;
    }
    return result;
}

int DbWrite(sqlite3_file* f, const void* in, int amt, sqlite3_int64 off) {
    State& s = St(f);
    const auto* src = static_cast<const uint8_t*>(in);
    // A page 1 image names the page size (VACUUM may change it).
    if (off == 0 && IsPageSize(amt) && DecodePageSize(src + 16) == amt) s.pageSize = amt;
    // A new file may get other pages before page 1 (a copy spilling its cache):
    // SQLite writes a database file in whole, aligned pages, so one names the size.
    if (!s.pageSize && s.fresh && IsPageSize(amt) && off % amt == 0) s.pageSize = amt;
    if (!s.pageSize) return SQLITE_IOERR_WRITE;
    const int ps = s.pageSize;
    SizeBuffers(s, ps);
    while (amt > 0) {
        const sqlite3_int64 pg = off / ps;
        const int at = static_cast<int>(off % ps);
        const int n = std::min(amt, ps - at);
        const uint8_t* page = src;
        if (at != 0 || n != ps) {
            // Part of a page: merge into what is stored.
            const int rc = ReadPage(f, pg, s.plain.data());
            if (rc != SQLITE_OK && rc != SQLITE_IOERR_SHORT_READ) return rc;
            std::memcpy(s.plain.data() + at, src, static_cast<size_t>(n));
            page = s.plain.data();
        }
        if (!s.cipher->SealPage(static_cast<uint32_t>(pg + 1), page, s.raw.data(), ps)) return SQLITE_IOERR_WRITE;
        const int rc = RawWrite(f, s.raw.data(), ps, pg * ps);
        if (rc != SQLITE_OK) return rc;
        src += n;
        off += n;
        amt -= n;
    }
    return SQLITE_OK;
}

int xRead(sqlite3_file* f, void* out, int amt, sqlite3_int64 off) {
    State& s = St(f);
    if (s.kind == EncDb) return DbRead(f, out, amt, off);
    const int rc = RawRead(f, out, amt, off);
    if (s.kind == EncJournal && rc == SQLITE_OK && IsJournalRecord(amt, off)) {
        SizeBuffers(s, amt);
        std::memcpy(s.raw.data(), out, static_cast<size_t>(amt));
        // A record that does not open (torn by a crash, or tampered with) reads
        // as zeros: its checksum fails and the rollback stops there, as with
        // any incomplete journal.
        if (!s.cipher->OpenRecord(off, s.raw.data(), static_cast<uint8_t*>(out), amt)) std::memset(out, 0, static_cast<size_t>(amt));
    }
    return rc;
}

int xWrite(sqlite3_file* f, const void* in, int amt, sqlite3_int64 off) {
    State& s = St(f);
    if (s.kind == EncDb) return DbWrite(f, in, amt, off);
    if (s.kind == EncJournal && IsJournalRecord(amt, off)) {
        SizeBuffers(s, amt);
        if (!s.cipher->SealRecord(off, static_cast<const uint8_t*>(in), s.raw.data(), amt)) return SQLITE_IOERR_WRITE;
        return RawWrite(f, s.raw.data(), amt, off);
    }
    return RawWrite(f, in, amt, off);
}

int xClose(sqlite3_file* f) {
    State* st = reinterpret_cast<File*>(f)->st;
    if (st && !st->mainPath.empty()) {
        std::lock_guard<std::mutex> lock(R().mutex);
        auto it = R().openMains.find(st->mainPath);
        if (it != R().openMains.end() && --it->second.second <= 0) R().openMains.erase(it);
    }
    delete st;
    reinterpret_cast<File*>(f)->st = nullptr;
    sqlite3_file* r = Real(f);
    return r->pMethods ? r->pMethods->xClose(r) : SQLITE_OK;
}

int xTruncate(sqlite3_file* f, sqlite3_int64 size) { return Real(f)->pMethods->xTruncate(Real(f), size); }
int xSync(sqlite3_file* f, int flags) { return Real(f)->pMethods->xSync(Real(f), flags); }
int xFileSize(sqlite3_file* f, sqlite3_int64* size) { return Real(f)->pMethods->xFileSize(Real(f), size); }
int xLock(sqlite3_file* f, int level) { return Real(f)->pMethods->xLock(Real(f), level); }
int xUnlock(sqlite3_file* f, int level) { return Real(f)->pMethods->xUnlock(Real(f), level); }
int xCheckReservedLock(sqlite3_file* f, int* out) { return Real(f)->pMethods->xCheckReservedLock(Real(f), out); }
int xFileControl(sqlite3_file* f, int op, void* arg) { return Real(f)->pMethods->xFileControl(Real(f), op, arg); }
int xSectorSize(sqlite3_file* f) { return Real(f)->pMethods->xSectorSize(Real(f)); }
int xDeviceCharacteristics(sqlite3_file* f) {
    const int c = Real(f)->pMethods->xDeviceCharacteristics(Real(f));
    // Batch-atomic writes would skip the journal our pages rely on.
    return St(f).kind == Plain ? c : (c & ~SQLITE_IOCAP_BATCH_ATOMIC);
}
int xShmMap(sqlite3_file* f, int pg, int size, int extend, void volatile** p) {
    sqlite3_file* r = Real(f);
    return r->pMethods->iVersion >= 2 ? r->pMethods->xShmMap(r, pg, size, extend, p) : SQLITE_IOERR_SHMMAP;
}
int xShmLock(sqlite3_file* f, int offset, int n, int flags) {
    sqlite3_file* r = Real(f);
    return r->pMethods->iVersion >= 2 ? r->pMethods->xShmLock(r, offset, n, flags) : SQLITE_IOERR_SHMLOCK;
}
void xShmBarrier(sqlite3_file* f) {
    sqlite3_file* r = Real(f);
    if (r->pMethods->iVersion >= 2) r->pMethods->xShmBarrier(r);
}
int xShmUnmap(sqlite3_file* f, int del) {
    sqlite3_file* r = Real(f);
    return r->pMethods->iVersion >= 2 ? r->pMethods->xShmUnmap(r, del) : SQLITE_OK;
}
// No memory mapping: every page goes through xRead and is decrypted there.
int xFetch(sqlite3_file*, sqlite3_int64, int, void** p) {
    *p = nullptr;
    return SQLITE_OK;
}
int xUnfetch(sqlite3_file*, sqlite3_int64, void*) { return SQLITE_OK; }

const sqlite3_io_methods kDiskMethods = {
    3, xClose, xRead, xWrite, xTruncate, xSync, xFileSize, xLock, xUnlock, xCheckReservedLock, xFileControl,
    xSectorSize, xDeviceCharacteristics, xShmMap, xShmLock, xShmBarrier, xShmUnmap, xFetch, xUnfetch};

// ---------------------------------------------------------------- memory files

int mRead(sqlite3_file* f, void* out, int amt, sqlite3_int64 off) {
    const std::vector<uint8_t>& m = St(f).mem;
    const sqlite3_int64 have = static_cast<sqlite3_int64>(m.size()) - off;
    const int n = have <= 0 ? 0 : static_cast<int>(std::min<sqlite3_int64>(have, amt));
    if (n > 0) std::memcpy(out, m.data() + off, static_cast<size_t>(n));
    if (n == amt) return SQLITE_OK;
    std::memset(static_cast<uint8_t*>(out) + n, 0, static_cast<size_t>(amt - n));
    return SQLITE_IOERR_SHORT_READ;
}
int mWrite(sqlite3_file* f, const void* in, int amt, sqlite3_int64 off) {
    std::vector<uint8_t>& m = St(f).mem;
    try {
        if (static_cast<sqlite3_int64>(m.size()) < off + amt) m.resize(static_cast<size_t>(off + amt));
    } catch (const std::bad_alloc&) {
        return SQLITE_NOMEM;
    }
    std::memcpy(m.data() + off, in, static_cast<size_t>(amt));
    return SQLITE_OK;
}
int mTruncate(sqlite3_file* f, sqlite3_int64 size) {
    std::vector<uint8_t>& m = St(f).mem;
    if (size < static_cast<sqlite3_int64>(m.size())) m.resize(static_cast<size_t>(size));
    return SQLITE_OK;
}
int mClose(sqlite3_file* f) {
    delete reinterpret_cast<File*>(f)->st;
    reinterpret_cast<File*>(f)->st = nullptr;
    return SQLITE_OK;
}
int mSync(sqlite3_file*, int) { return SQLITE_OK; }
int mFileSize(sqlite3_file* f, sqlite3_int64* size) {
    *size = static_cast<sqlite3_int64>(St(f).mem.size());
    return SQLITE_OK;
}
int mLock(sqlite3_file*, int) { return SQLITE_OK; }
int mCheckReservedLock(sqlite3_file*, int* out) {
    *out = 0;
    return SQLITE_OK;
}
int mFileControl(sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; }
int mSectorSize(sqlite3_file*) { return 4096; }
int mDeviceCharacteristics(sqlite3_file*) { return SQLITE_IOCAP_SAFE_APPEND | SQLITE_IOCAP_SEQUENTIAL; }

const sqlite3_io_methods kMemoryMethods = {1, mClose, mRead, mWrite, mTruncate, mSync, mFileSize, mLock, mLock,
                                           mCheckReservedLock, mFileControl, mSectorSize, mDeviceCharacteristics,
                                           nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};

// ---------------------------------------------------------------- open

int xOpen(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* pf, int flags, int* outFlags) {
    auto* f = reinterpret_cast<File*>(pf);
    f->base.pMethods = nullptr;
    f->st = nullptr;
    constexpr int tempKinds = SQLITE_OPEN_TEMP_DB | SQLITE_OPEN_TEMP_JOURNAL | SQLITE_OPEN_SUBJOURNAL | SQLITE_OPEN_TRANSIENT_DB;
    if (!name || ((flags & SQLITE_OPEN_DELETEONCLOSE) && (flags & tempKinds))) {
        f->st = new State;
        f->st->kind = Memory;
        f->base.pMethods = &kMemoryMethods;
        if (outFlags) *outFlags = flags;
        ++g_memoryFiles;
        return SQLITE_OK;
    }
    KeysPtr keys;
    if (flags & SQLITE_OPEN_MAIN_DB) keys = RingGet(name);
    else if (flags & (SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL)) keys = OpenMainKeys(sqlite3_filename_database(name));

    sqlite3_file* r = Real(pf);
    r->pMethods = nullptr;
    int rc = g_root->xOpen(g_root, name, r, flags, outFlags);
    if (rc != SQLITE_OK) {
        if (r->pMethods) r->pMethods->xClose(r);
        r->pMethods = nullptr;
        return rc;
    }
    Kind kind = Plain;
    int pageSize = 0;
    bool fresh = false;
    if (flags & SQLITE_OPEN_MAIN_DB) {
        sqlite3_int64 size = 0;
        r->pMethods->xFileSize(r, &size);
        uint8_t head[24];
        OstCrypt::FileInfo info;
        if (size >= 24 && r->pMethods->xRead(r, head, 24, 0) == SQLITE_OK && OstCrypt::ParseHeader(head, info)) {
            // An encrypted file opens only with its own keys.
            if (!keys || keys->method != info.method || keys->salt != info.salt) rc = SQLITE_AUTH;
            pageSize = info.pageSize;
            kind = EncDb;
        } else if (size == 0 && keys) {
            kind = EncDb; // a new file: its pages are sealed from the first write
            fresh = true;
        }
    } else if ((flags & SQLITE_OPEN_MAIN_JOURNAL) && keys) {
        kind = EncJournal;
    } else if ((flags & SQLITE_OPEN_WAL) && keys) {
        rc = SQLITE_CANTOPEN; // encrypted files keep a rollback journal
    }
    if (rc != SQLITE_OK) {
        r->pMethods->xClose(r);
        r->pMethods = nullptr;
        return rc;
    }
    auto* st = new State;
    st->kind = kind;
    st->pageSize = pageSize;
    st->fresh = fresh;
    if (kind != Plain) {
        st->keys = keys;
        st->cipher = std::make_unique<OstCrypt::PageCipher>(keys, kind == EncDb ? OstCrypt::DbRole : OstCrypt::JournalRole);
    }
    if (kind == EncDb) {
        st->mainPath = name;
        std::lock_guard<std::mutex> lock(R().mutex);
        auto& entry = R().openMains[st->mainPath];
        entry.first = keys;
        ++entry.second;
    }
    f->st = st;
    f->base.pMethods = &kDiskMethods;
    return SQLITE_OK;
}

int xDelete(sqlite3_vfs*, const char* name, int syncDir) { return g_root->xDelete(g_root, name, syncDir); }
int xAccess(sqlite3_vfs*, const char* name, int flags, int* out) { return g_root->xAccess(g_root, name, flags, out); }
int xFullPathname(sqlite3_vfs*, const char* name, int n, char* out) { return g_root->xFullPathname(g_root, name, n, out); }
void* xDlOpen(sqlite3_vfs*, const char* name) { return g_root->xDlOpen(g_root, name); }
void xDlError(sqlite3_vfs*, int n, char* msg) { g_root->xDlError(g_root, n, msg); }
void (*xDlSym(sqlite3_vfs*, void* h, const char* sym))(void) { return g_root->xDlSym(g_root, h, sym); }
void xDlClose(sqlite3_vfs*, void* h) { g_root->xDlClose(g_root, h); }
int xRandomness(sqlite3_vfs*, int n, char* out) { return g_root->xRandomness(g_root, n, out); }
int xSleep(sqlite3_vfs*, int us) { return g_root->xSleep(g_root, us); }
int xCurrentTime(sqlite3_vfs*, double* t) { return g_root->xCurrentTime(g_root, t); }
int xGetLastError(sqlite3_vfs*, int n, char* msg) { return g_root->xGetLastError ? g_root->xGetLastError(g_root, n, msg) : 0; }
int xCurrentTimeInt64(sqlite3_vfs*, sqlite3_int64* t) { return g_root->xCurrentTimeInt64(g_root, t); }
int xSetSystemCall(sqlite3_vfs*, const char* name, sqlite3_syscall_ptr p) { return g_root->xSetSystemCall(g_root, name, p); }
sqlite3_syscall_ptr xGetSystemCall(sqlite3_vfs*, const char* name) { return g_root->xGetSystemCall(g_root, name); }
const char* xNextSystemCall(sqlite3_vfs*, const char* name) { return g_root->xNextSystemCall(g_root, name); }

std::string Canonical(const QString& file) { return OstVfsPath(file).toStdString(); }

// Installed when the engine library is loaded, before any connection opens.
const bool g_installed = (OstVfsInstall(), true);

} // namespace

void OstVfsInstall() {
    static std::once_flag once;
    std::call_once(once, [] {
        sqlite3_initialize();
        // The fault layer under the encryption: inert unless a test arms it.
        g_root = OstFault::Wrap(sqlite3_vfs_find(nullptr));
        g_vfs = sqlite3_vfs{};
        g_vfs.iVersion = 3;
        g_vfs.szOsFile = static_cast<int>(kRealOffset) + g_root->szOsFile;
        g_vfs.mxPathname = g_root->mxPathname;
        g_vfs.zName = "ostra";
        g_vfs.xOpen = xOpen;
        g_vfs.xDelete = xDelete;
        g_vfs.xAccess = xAccess;
        g_vfs.xFullPathname = xFullPathname;
        g_vfs.xDlOpen = xDlOpen;
        g_vfs.xDlError = xDlError;
        g_vfs.xDlSym = xDlSym;
        g_vfs.xDlClose = xDlClose;
        g_vfs.xRandomness = xRandomness;
        g_vfs.xSleep = xSleep;
        g_vfs.xCurrentTime = xCurrentTime;
        g_vfs.xGetLastError = xGetLastError;
        g_vfs.xCurrentTimeInt64 = xCurrentTimeInt64;
        g_vfs.xSetSystemCall = xSetSystemCall;
        g_vfs.xGetSystemCall = xGetSystemCall;
        g_vfs.xNextSystemCall = xNextSystemCall;
        sqlite3_vfs_register(&g_vfs, 1);
    });
}

QByteArray OstVfsPath(const QString& file) {
    OstVfsInstall();
    const QByteArray in = QFile::encodeName(file);
    QByteArray out(g_root->mxPathname + 1, '\0');
    if (g_root->xFullPathname(g_root, in.constData(), out.size(), out.data()) != SQLITE_OK) return in;
    out.truncate(static_cast<int>(std::strlen(out.constData())));
    return out;
}

int OstVfsMemoryFiles() { return g_memoryFiles.load(); }

namespace {

// A file opened read-only through the platform VFS, for a look at its first page.
class RawFile {
public:
    explicit RawFile(const QString& file) : m_file(static_cast<size_t>(g_root->szOsFile)) {
        OstVfsInstall();
        const QByteArray path = OstVfsPath(file);
        auto* f = reinterpret_cast<sqlite3_file*>(m_file.data());
        f->pMethods = nullptr;
        int flags = 0;
        const int rc = g_root->xOpen(g_root, path.constData(), f, SQLITE_OPEN_READONLY | SQLITE_OPEN_MAIN_DB, &flags);
        if (rc == SQLITE_OK && f->pMethods) m_open = true;
        else if (f->pMethods) f->pMethods->xClose(f);
    }
    ~RawFile() {
        if (m_open) F()->pMethods->xClose(F());
    }
    bool Open() const { return m_open; }
    sqlite3_int64 Size() {
        sqlite3_int64 size = 0;
        return m_open && F()->pMethods->xFileSize(F(), &size) == SQLITE_OK ? size : 0;
    }
    bool Read(void* buf, int amt, sqlite3_int64 off) { return m_open && F()->pMethods->xRead(F(), buf, amt, off) == SQLITE_OK; }

private:
    sqlite3_file* F() { return reinterpret_cast<sqlite3_file*>(m_file.data()); }
    std::vector<uint64_t> m_file; // 8-byte aligned room for the platform's file object
    bool m_open = false;
};

} // namespace

OstCrypt::FileInfo OstVfsInspect(const QString& file) {
    OstCrypt::FileInfo info;
    if (!QFile::exists(file)) return info;
    RawFile f(file);
    if (!f.Open()) return info;
    info.exists = true;
    const sqlite3_int64 size = f.Size();
    info.empty = size == 0;
    uint8_t head[24];
    if (size >= 24 && f.Read(head, 24, 0))
        OstCrypt::ParseHeader(head, info);
    return info;
}

bool OstVfsVerify(const QString& file, const KeysPtr& keys) {
    const OstCrypt::FileInfo info = OstVfsInspect(file);
    if (!keys || !info.encrypted || info.method != keys->method || info.salt != keys->salt) return false;
    RawFile f(file);
    const int ps = info.pageSize;
    std::vector<uint8_t> page(static_cast<size_t>(ps)), plain(page.size());
    OstCrypt::PageCipher cipher(keys, OstCrypt::DbRole);
    // Page 1 decides; should a crash have torn it (its journal then restores
    // it), any of the next pages opens with the right keys only as well.
    const sqlite3_int64 pages = std::min<sqlite3_int64>(f.Size() / ps, 4);
    for (sqlite3_int64 pg = 0; pg < pages; ++pg)
        if (f.Read(page.data(), ps, pg * ps) && cipher.OpenPage(static_cast<uint32_t>(pg + 1), page.data(), plain.data(), ps))
            return true;
    return false;
}

namespace OstKeyring {

void Put(const QString& file, KeysPtr keys, const void* owner) {
    const std::string path = Canonical(file);
    std::lock_guard<std::mutex> lock(R().mutex);
    RingEntry& e = R().byPath[path];
    if (!e.keys || !OstCrypt::SameKeys(*e.keys, *keys)) e.keys = std::move(keys);
    e.owners.insert(owner);
}

KeysPtr Get(const QString& file) { return RingGet(Canonical(file)); }

KeysPtr FindBySalt(const OstCrypt::Salt& salt) {
    std::lock_guard<std::mutex> lock(R().mutex);
    for (const auto& [path, e] : R().byPath)
        if (e.keys->salt == salt) return e.keys;
    return nullptr;
}

void Remove(const QString& file) {
    const std::string path = Canonical(file);
    std::lock_guard<std::mutex> lock(R().mutex);
    R().byPath.erase(path);
}

void Release(const void* owner) {
    std::lock_guard<std::mutex> lock(R().mutex);
    for (auto it = R().byPath.begin(); it != R().byPath.end();) {
        it->second.owners.erase(owner);
        it = it->second.owners.empty() ? R().byPath.erase(it) : std::next(it);
    }
}

} // namespace OstKeyring
