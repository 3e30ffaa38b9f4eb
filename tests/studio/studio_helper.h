// What the Studio's window tests share: settings kept out of the user's
// folders, the real package loaded once, and a directory database with rows.
#pragma once

#include <QString>
#include <QTemporaryDir>

// Settings in a temporary folder, the engine's classes and, with
// loadPackage, the Studio's own components and the package at
// OSTRA_PACKAGE_PATH. Call it from initTestCase.
void InitStudioTests(bool loadPackage = true);

// A directory database holding People(ID, Name, Age) with the rows
// (Ann, 31) and (Bob, 45). No database component is left behind: the module
// under test makes its own.
struct TStudioPeopleDb {
    TStudioPeopleDb();
    QString Location() const { return dir.filePath(QStringLiteral("db")); }
    QTemporaryDir dir;
};
