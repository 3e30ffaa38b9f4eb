// The file layer under every engine file, with faults that tests plant.
#include "engine/store/ostfaultvfs.h"

#include <atomic>
#include <mutex>
#include <sqlite3.h>
#include <unistd.h>

namespace {

std::atomic<bool> g_armed{false};
std::atomic<int> g_count{0};
std::atomic<bool> g_fired{false};
int g_failAt = 0;
int g_ops = OstFault::AnyOp;
bool g_persistent = false;
OstFault::Kind g_kind = OstFault::IoError;
std::mutex g_mutex;

sqlite3_vfs* g_below = nullptr;
sqlite3_vfs g_vfs;

int ErrorFor(OstFault::Op op) {
    if (g_kind == OstFault::DiskFull && op != OstFault::Sync) return SQLITE_FULL;
    switch (op) {
    case OstFault::Sync: return SQLITE_IOERR_FSYNC;
    case OstFault::Truncate: return SQLITE_IOERR_TRUNCATE;
    default: return SQLITE_IOERR_WRITE;
    }
}

struct File {
    sqlite3_file base;
    sqlite3_file* real;
};
constexpr int kRealOffset = static_cast<int>((sizeof(File) + 15) & ~size_t(15));

sqlite3_file* Real(sqlite3_file* f) { return reinterpret_cast<File*>(f)->real; }

int fClose(sqlite3_file* f) { return Real(f)->pMethods->xClose(Real(f)); }
int fRead(sqlite3_file* f, void* b, int n, sqlite3_int64 o) { return Real(f)->pMethods->xRead(Real(f), b, n, o); }
int fWrite(sqlite3_file* f, const void* b, int n, sqlite3_int64 o) {
    if (const int rc = OstFault::Check(OstFault::Write)) return rc;
    return Real(f)->pMethods->xWrite(Real(f), b, n, o);
}
int fTruncate(sqlite3_file* f, sqlite3_int64 size) {
    if (const int rc = OstFault::Check(OstFault::Truncate)) return rc;
    return Real(f)->pMethods->xTruncate(Real(f), size);
}
int fSync(sqlite3_file* f, int flags) {
    if (const int rc = OstFault::Check(OstFault::Sync)) return rc;
    return Real(f)->pMethods->xSync(Real(f), flags);
}
int fFileSize(sqlite3_file* f, sqlite3_int64* s) { return Real(f)->pMethods->xFileSize(Real(f), s); }
int fLock(sqlite3_file* f, int l) { return Real(f)->pMethods->xLock(Real(f), l); }
int fUnlock(sqlite3_file* f, int l) { return Real(f)->pMethods->xUnlock(Real(f), l); }
int fCheckReservedLock(sqlite3_file* f, int* out) { return Real(f)->pMethods->xCheckReservedLock(Real(f), out); }
int fFileControl(sqlite3_file* f, int op, void* arg) { return Real(f)->pMethods->xFileControl(Real(f), op, arg); }
int fSectorSize(sqlite3_file* f) { return Real(f)->pMethods->xSectorSize(Real(f)); }
int fDeviceCharacteristics(sqlite3_file* f) { return Real(f)->pMethods->xDeviceCharacteristics(Real(f)); }
int fShmMap(sqlite3_file* f, int pg, int size, int extend, void volatile** p) {
    sqlite3_file* r = Real(f);
    return r->pMethods->iVersion >= 2 ? r->pMethods->xShmMap(r, pg, size, extend, p) : SQLITE_IOERR_SHMMAP;
}
int fShmLock(sqlite3_file* f, int offset, int n, int flags) {
    sqlite3_file* r = Real(f);
    return r->pMethods->iVersion >= 2 ? r->pMethods->xShmLock(r, offset, n, flags) : SQLITE_IOERR_SHMLOCK;
}
void fShmBarrier(sqlite3_file* f) {
    sqlite3_file* r = Real(f);
    if (r->pMethods->iVersion >= 2) r->pMethods->xShmBarrier(r);
}
int fShmUnmap(sqlite3_file* f, int del) {
    sqlite3_file* r = Real(f);
    return r->pMethods->iVersion >= 2 ? r->pMethods->xShmUnmap(r, del) : SQLITE_OK;
}
int fFetch(sqlite3_file* f, sqlite3_int64 off, int amt, void** p) {
    sqlite3_file* r = Real(f);
    if (r->pMethods->iVersion >= 3) return r->pMethods->xFetch(r, off, amt, p);
    *p = nullptr;
    return SQLITE_OK;
}
int fUnfetch(sqlite3_file* f, sqlite3_int64 off, void* p) {
    sqlite3_file* r = Real(f);
    return r->pMethods->iVersion >= 3 ? r->pMethods->xUnfetch(r, off, p) : SQLITE_OK;
}

const sqlite3_io_methods kMethods = {3, fClose, fRead, fWrite, fTruncate, fSync, fFileSize, fLock, fUnlock,
                                     fCheckReservedLock, fFileControl, fSectorSize, fDeviceCharacteristics,
                                     fShmMap, fShmLock, fShmBarrier, fShmUnmap, fFetch, fUnfetch};

int vOpen(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* pf, int flags, int* outFlags) {
    auto* f = reinterpret_cast<File*>(pf);
    f->base.pMethods = nullptr;
    f->real = reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(pf) + kRealOffset);
    f->real->pMethods = nullptr;
    const int rc = g_below->xOpen(g_below, name, f->real, flags, outFlags);
    if (rc != SQLITE_OK) {
        if (f->real->pMethods) f->real->pMethods->xClose(f->real);
        return rc;
    }
    f->base.pMethods = &kMethods;
    return SQLITE_OK;
}
int vDelete(sqlite3_vfs*, const char* name, int syncDir) { return g_below->xDelete(g_below, name, syncDir); }
int vAccess(sqlite3_vfs*, const char* name, int flags, int* out) { return g_below->xAccess(g_below, name, flags, out); }
int vFullPathname(sqlite3_vfs*, const char* name, int n, char* out) { return g_below->xFullPathname(g_below, name, n, out); }
void* vDlOpen(sqlite3_vfs*, const char* name) { return g_below->xDlOpen(g_below, name); }
void vDlError(sqlite3_vfs*, int n, char* msg) { g_below->xDlError(g_below, n, msg); }
void (*vDlSym(sqlite3_vfs*, void* h, const char* sym))(void) { return g_below->xDlSym(g_below, h, sym); }
void vDlClose(sqlite3_vfs*, void* h) { g_below->xDlClose(g_below, h); }
int vRandomness(sqlite3_vfs*, int n, char* out) { return g_below->xRandomness(g_below, n, out); }
int vSleep(sqlite3_vfs*, int us) { return g_below->xSleep(g_below, us); }
int vCurrentTime(sqlite3_vfs*, double* t) { return g_below->xCurrentTime(g_below, t); }
int vGetLastError(sqlite3_vfs*, int n, char* msg) { return g_below->xGetLastError ? g_below->xGetLastError(g_below, n, msg) : 0; }
int vCurrentTimeInt64(sqlite3_vfs*, sqlite3_int64* t) { return g_below->xCurrentTimeInt64(g_below, t); }
int vSetSystemCall(sqlite3_vfs*, const char* name, sqlite3_syscall_ptr p) { return g_below->xSetSystemCall(g_below, name, p); }
sqlite3_syscall_ptr vGetSystemCall(sqlite3_vfs*, const char* name) { return g_below->xGetSystemCall(g_below, name); }
const char* vNextSystemCall(sqlite3_vfs*, const char* name) { return g_below->xNextSystemCall(g_below, name); }

} // namespace

namespace OstFault {

void Arm(int n, Kind kind, int ops, bool persistent) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_failAt = n;
    g_kind = kind;
    g_ops = ops;
    g_persistent = persistent;
    g_count = 0;
    g_fired = false;
    g_armed = true;
}

void Disarm() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_armed = false;
    g_failAt = 0;
}

int Count() { return g_count.load(); }
bool Fired() { return g_fired.load(); }

int Check(Op op) {
    if (!g_armed.load(std::memory_order_relaxed)) return SQLITE_OK;
    std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_armed || !(g_ops & op)) return SQLITE_OK;
    const int n = ++g_count;
    if (g_failAt <= 0 || n < g_failAt || (n > g_failAt && !g_persistent)) return SQLITE_OK;
    g_fired = true;
    if (g_kind == OstFault::Crash) ::_exit(OstFault::CrashExitCode);
    return ErrorFor(op);
}

sqlite3_vfs* Wrap(sqlite3_vfs* root) {
    static std::once_flag once;
    std::call_once(once, [root] {
        g_below = root;
        g_vfs = sqlite3_vfs{};
        g_vfs.iVersion = 3;
        g_vfs.szOsFile = kRealOffset + root->szOsFile;
        g_vfs.mxPathname = root->mxPathname;
        g_vfs.zName = "ostra-fault";
        g_vfs.xOpen = vOpen;
        g_vfs.xDelete = vDelete;
        g_vfs.xAccess = vAccess;
        g_vfs.xFullPathname = vFullPathname;
        g_vfs.xDlOpen = vDlOpen;
        g_vfs.xDlError = vDlError;
        g_vfs.xDlSym = vDlSym;
        g_vfs.xDlClose = vDlClose;
        g_vfs.xRandomness = vRandomness;
        g_vfs.xSleep = vSleep;
        g_vfs.xCurrentTime = vCurrentTime;
        g_vfs.xGetLastError = vGetLastError;
        g_vfs.xCurrentTimeInt64 = vCurrentTimeInt64;
        g_vfs.xSetSystemCall = vSetSystemCall;
        g_vfs.xGetSystemCall = vGetSystemCall;
        g_vfs.xNextSystemCall = vNextSystemCall;
        sqlite3_vfs_register(&g_vfs, 0);
    });
    return &g_vfs;
}

} // namespace OstFault
