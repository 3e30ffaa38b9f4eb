#include "setup/core/ostpaths.h"

#include "engine/ostengine.h"

#include <QDir>
#include <QFileInfo>

namespace {

bool IsDelimiter(QChar c) { return c == u'/' || c == u'\\'; }

// "C:" alone.
bool IsBareDrive(const QString& p) {
    return p.size() == 2 && p.at(0).isLetter() && p.at(0).unicode() < 128 && p.at(1) == u':';
}

} // namespace

QChar PathDelimiter() { return QDir::separator(); }

bool EndsWithPathDelimiter(const QString& path) { return !path.isEmpty() && IsDelimiter(path.back()); }

QString IncludeTrailingPathDelimiter(const QString& path) {
    return EndsWithPathDelimiter(path) ? path : path + PathDelimiter();
}

QString ExcludeTrailingPathDelimiter(const QString& path) {
    QString p = path;
    while (EndsWithPathDelimiter(p) && !IsRootPath(p)) p.chop(1);
    return p;
}

QString ExtractFileFolder(const QString& fileName) {
    qsizetype cut = fileName.size() - 1;
    while (cut >= 0 && !IsDelimiter(fileName.at(cut))) --cut;
    if (cut < 0) return QString();
    QString folder = fileName.left(cut);
    while (EndsWithPathDelimiter(folder)) folder.chop(1);
    if (folder.isEmpty()) return fileName.left(cut + 1); // "/" itself
    if (IsBareDrive(folder)) return folder + fileName.at(cut);
    return folder;
}

QString ExtractFileName(const QString& path) {
    qsizetype cut = path.size() - 1;
    while (cut >= 0 && !IsDelimiter(path.at(cut))) --cut;
    return path.mid(cut + 1);
}

QString ExtractFileExt(const QString& path) {
    const QString name = ExtractFileName(path);
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot < 0 ? QString() : name.mid(dot);
}

QString ExpandFileName(const QString& path) {
    if (path.isEmpty()) return path;
    QString full = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    if (EndsWithPathDelimiter(path)) full = IncludeTrailingPathDelimiter(full);
    return full;
}

QString ExtractRelativePath(const QString& base, const QString& dest) {
    return QDir(QDir(base).absolutePath()).relativeFilePath(QFileInfo(dest).absoluteFilePath());
}

bool IsFileInFolder(const QString& file, const QString& folder) {
    if (file.isEmpty() || folder.isEmpty()) return false;
    const QString a = QDir::cleanPath(QFileInfo(file).absolutePath());
    const QString b = QDir::cleanPath(QDir(folder).absolutePath());
    if (a == b) return true;
    const QString ca = QFileInfo(a).canonicalFilePath();
    return !ca.isEmpty() && ca == QFileInfo(b).canonicalFilePath();
}
