#include "setup/core/ostselectdbcore.h"

#include "setup/core/ostpaths.h"

#include <QFileInfo>

QString DataSourceFilter() {
    return QStringLiteral("Ostra data source (*.ostd,*.dat,*.ostt,*.sql,*.sqlh)|*.ostd;*.dat;*.ostt;*.sql;*.sqlh");
}

QString SelectFolderEntry() { return QStringLiteral("(Select Folder)"); }

int GetFileType(const QString& location) {
    const QString ext = ExtractFileExt(location);
    auto is = [&ext](const char* e) { return ext.compare(QLatin1String(e), Qt::CaseInsensitive) == 0; };
    int type = 0;
    if (!location.isEmpty() && QFileInfo(location).isDir()) type = 1;
    if (is(".ostd")) type = 1;
    if (is(".dat") || is(".ostt")) type = 2;
    if (is(".sql")) type = 3;
    if (is(".sqlh")) type = 4;
    return type;
}

QString DatabaseLocationOfFile(const QString& fileName) {
    const QString ext = ExtractFileExt(fileName);
    for (const char* e : {".dat", ".ostt", ".sql"})
        if (ext.compare(QLatin1String(e), Qt::CaseInsensitive) == 0)
            return IncludeTrailingPathDelimiter(ExtractFileFolder(fileName));
    return fileName;
}

QString LocationOfFileOrFolder(const QString& fileName) {
    if (ExtractFileName(fileName).compare(SelectFolderEntry(), Qt::CaseInsensitive) == 0)
        return IncludeTrailingPathDelimiter(ExtractFileFolder(fileName));
    return fileName;
}
