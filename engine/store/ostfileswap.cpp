// Crash-safe replacement of a table file by a new one (see ostfileswap.h).
#include "engine/store/ostfileswap.h"

#include "engine/types/osttypes.h"
#include "engine/store/ostfaultvfs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray Native(const QString& f) { return QFile::encodeName(f); }

bool Exists(const QString& f) { return ::access(Native(f).constData(), F_OK) == 0; }

void Unlink(const QString& f) { ::unlink(Native(f).constData()); }

// Makes the directory's entries (creations, renames, removals) durable.
bool SyncDir(const QString& file) {
    const int fd = ::open(Native(QFileInfo(file).absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

bool SyncFile(const QString& file) {
    const int fd = ::open(Native(file).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

bool LockRecord(int fd) {
    struct flock fl {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    return fcntl(fd, F_OFD_SETLK, &fl) == 0;
}

QString Journal(const QString& file) { return file + QStringLiteral("-journal"); }

// Puts the old file back where the new one was, or leaves it when the new
// one never took its name. The new file's journal belongs to the new file
// only: it goes before the old file takes the name back, or it would be
// played into the old file.
void UndoFile(const QString& file) {
    const QString backup = OstFileSwap::BackupOf(file), fresh = OstFileSwap::FreshOf(file);
    if (Exists(backup)) {
        Unlink(Journal(file));
        // Both names on one file (set aside, not yet replaced): the old file is in place.
        struct stat a {}, b {};
        if (::stat(Native(backup).constData(), &a) == 0 && ::stat(Native(file).constData(), &b) == 0 && a.st_ino == b.st_ino &&
            a.st_dev == b.st_dev)
            Unlink(backup);
        else
            ::rename(Native(backup).constData(), Native(file).constData());
    }
    Unlink(fresh);
    Unlink(Journal(fresh));
    SyncDir(file);
}

// The new file stands: the old one and any copy go.
void CompleteFile(const QString& file) {
    Unlink(OstFileSwap::BackupOf(file));
    Unlink(OstFileSwap::FreshOf(file));
    Unlink(Journal(OstFileSwap::FreshOf(file)));
    SyncDir(file);
}

// The names a record lists under key ("follower", "master"), as paths beside it.
QStringList Listed(const QString& record, const QString& key) {
    QFile f(record);
    QStringList out;
    if (!f.open(QIODevice::ReadOnly)) return out;
    const QString prefix = key + QLatin1Char('=');
    for (const QString& line : QString::fromUtf8(f.readAll()).split(QLatin1Char('\n')))
        if (line.startsWith(prefix) && line.size() > prefix.size())
            out.append(QFileInfo(record).dir().filePath(line.mid(prefix.size())));
    return out;
}

[[noreturn]] void Fail(const QString& what, const QString& doing, const QString& file) {
    throw EOstraError(OstErr::IoError, QStringLiteral("Cannot %1 of %2 (file \"%3\"): %4")
                                           .arg(doing, what, QDir::toNativeSeparators(file), QString::fromLocal8Bit(strerror(errno))));
}

// A fault test's injected error counts as the errno it stands for.
bool Injected(OstFault::Op op) {
    const int rc = OstFault::Check(op);
    if (rc == SQLITE_OK) return false;
    errno = rc == SQLITE_FULL ? ENOSPC : EIO;
    return true;
}

} // namespace

OstFileSwap::OstFileSwap(const QString& file, const QString& what, const QStringList& followers, const QString& master)
    : m_file(file), m_what(what), m_fresh(FreshOf(file)), m_backup(BackupOf(file)), m_record(RecordOf(file)) {
    // What an earlier, interrupted swap left is settled first.
    if (!OstFileSwapRecover(m_file))
        throw EOstraError(OstErr::Locked, QStringLiteral("The file of %1 is being rewritten by another user").arg(what));
    QString lines = QStringLiteral("ostra file swap\nfile=%1\nnew=%2\nold=%3\n")
                        .arg(QFileInfo(m_file).fileName(), QFileInfo(m_fresh).fileName(), QFileInfo(m_backup).fileName());
    for (const QString& f : followers) lines += QStringLiteral("follower=%1\n").arg(QFileInfo(f).fileName());
    if (!master.isEmpty()) lines += QStringLiteral("master=%1\n").arg(QFileInfo(master).fileName());
    const QByteArray text = lines.toUtf8();
    m_fd = ::open(Native(m_record).constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (m_fd < 0) Fail(what, QStringLiteral("begin the rewrite"), m_record);
    if (!LockRecord(m_fd)) {
        ::close(m_fd);
        m_fd = -1;
        throw EOstraError(OstErr::Locked, QStringLiteral("The file of %1 is being rewritten by another user").arg(what));
    }
    auto failed = [&] {
        const int err = errno;
        Unlink(m_record);
        ::close(m_fd);
        m_fd = -1;
        errno = err;
        Fail(what, QStringLiteral("begin the rewrite"), m_record);
    };
    if (Injected(OstFault::Write) || ::write(m_fd, text.constData(), size_t(text.size())) != text.size()) failed();
    if (Injected(OstFault::Sync) || ::fsync(m_fd) != 0) failed();
    if (Injected(OstFault::Sync) || !SyncDir(m_record)) failed();
    Unlink(m_fresh);
    Unlink(Journal(m_fresh));
}

OstFileSwap::~OstFileSwap() {
    if (m_fd >= 0) Undo();
}

void OstFileSwap::Install() {
    if (Injected(OstFault::Sync) || !SyncFile(m_fresh)) Fail(m_what, QStringLiteral("write the new file"), m_fresh);
    // The old file stays under a second name until the work is committed.
    Unlink(m_backup);
    const QByteArray file = Native(m_file), backup = Native(m_backup), fresh = Native(m_fresh);
    if (::link(file.constData(), backup.constData()) != 0 && ::rename(file.constData(), backup.constData()) != 0)
        Fail(m_what, QStringLiteral("set aside the file"), m_file);
    if (Injected(OstFault::Sync) || !SyncDir(m_file)) Fail(m_what, QStringLiteral("set aside the file"), m_file);
    if (::rename(fresh.constData(), file.constData()) != 0) Fail(m_what, QStringLiteral("replace the file"), m_file);
    m_installed = true;
    if (Injected(OstFault::Sync) || !SyncDir(m_file)) Fail(m_what, QStringLiteral("replace the file"), m_file);
}

void OstFileSwap::Commit() {
    if (m_fd < 0) return;
    // The record going is the moment the new file stands (for the files that
    // follow this one as well); the old file is a mere leftover after it.
    // A follower's record without its master's record is completed anyway.
    Unlink(m_record);
    SyncDir(m_file);
    CompleteFile(m_file);
    ::close(m_fd);
    m_fd = -1;
}

void OstFileSwap::Undo() {
    if (m_fd < 0) return;
    UndoFile(m_file);
    Unlink(m_record);
    SyncDir(m_file);
    ::close(m_fd);
    m_fd = -1;
    m_installed = false;
}

bool OstFileSwapRecover(const QString& file) {
    const QString record = OstFileSwap::RecordOf(file);
    if (!Exists(record)) {
        // An old file without a record: a committed swap that did not get to remove it.
        if (Exists(OstFileSwap::BackupOf(file))) CompleteFile(file);
        return true;
    }
    const int fd = ::open(Native(record).constData(), O_RDWR | O_CLOEXEC);
    if (fd < 0) return !Exists(record);
    if (!LockRecord(fd)) {
        ::close(fd);
        return false; // a swap under way
    }
    // Settled by someone else while this one waited: the record is gone or new.
    struct stat held {}, now {};
    const bool same = ::fstat(fd, &held) == 0 && ::stat(Native(record).constData(), &now) == 0 && held.st_ino == now.st_ino &&
                      held.st_dev == now.st_dev;
    if (same) {
        const QStringList master = Listed(record, QStringLiteral("master"));
        if (!master.isEmpty() && Exists(OstFileSwap::RecordOf(master.first()))) {
            // Its master decides, and settles it with its own files.
            ::close(fd);
            return OstFileSwapRecover(master.first());
        }
        if (!master.isEmpty()) {
            CompleteFile(file); // the master committed
        } else {
            for (const QString& f : Listed(record, QStringLiteral("follower"))) {
                UndoFile(f);
                Unlink(OstFileSwap::RecordOf(f));
            }
            UndoFile(file);
        }
        Unlink(record);
        SyncDir(file);
    }
    ::close(fd);
    return true;
}

void OstFileSwapRecoverAll(const QString& dir) {
    const QDir d(dir);
    for (const QString& record : d.entryList({QStringLiteral("*.swap")}, QDir::Files | QDir::Hidden)) {
        OstFileSwapRecover(d.filePath(record.chopped(5)));
    }
}

EOstraError OstNameIoError(const EOstraError& e, const QString& what, const QString& file) {
    const QString m = e.Message();
    const bool io = e.ErrorCode() == OstErr::IoError || m.startsWith(QStringLiteral("disk I/O error")) ||
                    m.startsWith(QStringLiteral("database or disk is full")) || m.startsWith(QStringLiteral("unable to open database file"));
    if (!io || m.contains(QDir::toNativeSeparators(file))) return e;
    return EOstraError(OstErr::IoError, QStringLiteral("Cannot write %1 (file \"%2\"): %3").arg(what, QDir::toNativeSeparators(file), m));
}
