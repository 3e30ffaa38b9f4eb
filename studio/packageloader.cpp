#include "studio/packageloader.h"

#include "engine/base/tdataset.h"
#include "studio/designintf/designintf.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>

namespace {

struct TPackages {
    QList<TLoadedPackage> loaded;
    QStringList keys; // canonical paths of what is loaded, or being loaded
    bool standardRegistered = false;
};

TPackages& State() {
    static TPackages state;
    return state;
}

// The same file however it was named: a symbolic link or "a/../b" is not a second package.
QString PackageKey(const QString& fileName) {
    const QFileInfo fi(fileName);
    const QString canonical = fi.canonicalFilePath();
    return canonical.isEmpty() ? fi.absoluteFilePath() : canonical;
}

// QLibrary says "Cannot load library <file>: <reason>"; the reason is what the user needs.
QString LoadFailure(const QLibrary& lib) {
    const QString text = lib.errorString();
    const QString prefix = QStringLiteral("Cannot load library %1: ").arg(lib.fileName());
    QString reason = text.startsWith(prefix) ? text.mid(prefix.size()) : text;
    if (reason.startsWith(u'(') && reason.endsWith(u')')) reason = reason.mid(1, reason.size() - 2);
    return reason;
}

} // namespace

QString TPackageLoader::DefaultPackagePath() {
    const QDir programDir(QCoreApplication::applicationDirPath());
    const QString beside = programDir.filePath(QStringLiteral("dclostra.so"));
#ifdef OSTRA_INSTALLED_PACKAGE_DIR
    // Installed, the package lives with the Studio's libraries (lib/ostra),
    // found from the program's own place so that the installation can move.
    if (!QFileInfo::exists(beside)) {
        const QString installed =
            QDir(programDir.filePath(QStringLiteral(OSTRA_INSTALLED_PACKAGE_DIR))).filePath(QStringLiteral("dclostra.so"));
        if (QFileInfo::exists(installed)) return QDir::cleanPath(installed);
    }
#endif
    return beside;
}

void TPackageLoader::RegisterStandardComponents() {
    if (State().standardRegistered) return;
    RegisterComponents<TDataSource>(QStringLiteral("Data Access"));
    State().standardRegistered = true;
}

bool TPackageLoader::IsLoaded(const QString& fileName) { return State().keys.contains(PackageKey(fileName)); }

bool TPackageLoader::Load(const QString& fileName) {
    const QString path = QFileInfo(fileName).absoluteFilePath();
    const QString key = PackageKey(fileName);
    if (State().keys.contains(key)) return false;

    // QLibrary would try other names for a missing file and report the last.
    if (!QFileInfo(path).isFile())
        throw EPackageError(QStringLiteral("Cannot load package %1: the file does not exist").arg(path));
    QLibrary lib(path);
    if (!lib.load()) throw EPackageError(QStringLiteral("Cannot load package %1: %2").arg(path, LoadFailure(lib)));
    auto registerFn = reinterpret_cast<void (*)()>(lib.resolve("Register"));
    if (!registerFn) throw EPackageError(QStringLiteral("Package %1 has no Register function").arg(path));
    auto describeFn = reinterpret_cast<const char* (*)()>(lib.resolve("OstraPackageDescription"));

    // Counted as loaded from here on: the library stays in the process (it is
    // never unloaded, its classes may be in use) and its Register ran, or ran
    // partly, so calling it again would register twice.
    State().keys.append(key);
    TLoadedPackage package{path, QFileInfo(path).fileName(), {}};
    if (describeFn) {
        if (const char* d = describeFn(); d && *d) package.Description = QString::fromUtf8(d);
    }
    const QStringList pagesBefore = PalettePages();
    QString failure;
    try {
        registerFn();
    } catch (const Exception& e) {
        failure = e.Message();
    } catch (const std::exception& e) {
        failure = QString::fromLocal8Bit(e.what());
    } catch (...) {
        failure = QStringLiteral("unknown error");
    }
    for (const QString& page : PalettePages())
        if (!pagesBefore.contains(page)) package.Pages.append(page);
    State().loaded.append(package);
    if (!failure.isEmpty())
        throw EPackageError(QStringLiteral("Registering package %1 failed: %2").arg(path, failure));
    return true;
}

QList<TLoadedPackage> TPackageLoader::Packages() { return State().loaded; }

QString TPackageLoader::FirstPackagePage() {
    for (const TLoadedPackage& p : State().loaded)
        if (!p.Pages.isEmpty()) return p.Pages.first();
    return QString();
}
