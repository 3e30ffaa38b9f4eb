// Design-time packages: shared libraries that put components on the palette
// and register their editors. A package exports
//
//   extern "C" void Register();                          // called once after loading
//   extern "C" const char* OstraPackageDescription();    // optional, for the package list
//
// Loading runs the library's own initialisation; Register then registers. A
// package is loaded and registered once per process however often it is asked
// for, whichever loader asks.
#pragma once

#include "engine/base/sysutils.h"

#include <QList>
#include <QString>
#include <QStringList>

// A package that cannot be loaded or whose Register failed; the message names
// the package's file.
class EPackageError : public Exception {
public:
    using Exception::Exception;
};

struct TLoadedPackage {
    QString FileName;    // as given, made absolute
    QString Description; // OstraPackageDescription(), or the file name without one
    QStringList Pages;   // palette pages that first appeared while it registered
};

class TPackageLoader {
public:
    // The package the Studio loads unless told not to: dclostra.so beside the program.
    static QString DefaultPackagePath();

    // The Studio's own components ("Data Access": TDataSource). Once per process.
    static void RegisterStandardComponents();

    // Loads a package and calls its Register. Returns false when the package
    // was loaded already (nothing happens then). EPackageError when the library
    // cannot be loaded, has no Register, or Register raised an exception.
    static bool Load(const QString& fileName);
    static bool IsLoaded(const QString& fileName);
    // The packages loaded so far, in load order.
    static QList<TLoadedPackage> Packages();
    // The first palette page a package registered; empty when none did.
    static QString FirstPackagePage();
};
