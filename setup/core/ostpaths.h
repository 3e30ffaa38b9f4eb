// Path helpers of the setup dialogs: locations as the database component
// takes them (a folder with a trailing delimiter, a file name), the folder of
// a chosen file, and names relative to a database's folder.
#pragma once

#include <QString>

// The platform's path delimiter ("/").
QChar PathDelimiter();
bool EndsWithPathDelimiter(const QString& path);
QString IncludeTrailingPathDelimiter(const QString& path);
QString ExcludeTrailingPathDelimiter(const QString& path);

// The folder of a file without a trailing delimiter, except that a root
// keeps it: "/data/x.dat" gives "/data", "/x.dat" gives "/", "C:\x.dat" gives
// "C:\" (a bare drive gets its delimiter back).
QString ExtractFileFolder(const QString& fileName);
// The name part of a path: "/data/Orders.dat" gives "Orders.dat".
QString ExtractFileName(const QString& path);
// ".dat" of "/data/Orders.dat"; empty without one.
QString ExtractFileExt(const QString& path);
// path made absolute against the working folder, "." and ".." resolved.
QString ExpandFileName(const QString& path);
// dest relative to the folder base (given with or without its trailing
// delimiter): "/data/shop/" and "/data/shop/Orders.dat" give "Orders.dat",
// "/data/other/x.dat" gives "../other/x.dat".
QString ExtractRelativePath(const QString& base, const QString& dest);
// Whether file lies directly in folder (compared after expansion).
bool IsFileInFolder(const QString& file, const QString& folder);
