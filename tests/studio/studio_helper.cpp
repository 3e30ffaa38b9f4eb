#include "studio_helper.h"

#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/base/tclassregistry.h"
#include "studio/packageloader.h"

#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

void InitStudioTests(bool loadPackage) {
    QStandardPaths::setTestModeEnabled(true);
    static QTemporaryDir settings;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, settings.path());
    RegisterEngineClasses();
#ifdef OSTRA_PACKAGE_PATH
    if (!loadPackage) return;
    try {
        TPackageLoader::RegisterStandardComponents();
        TPackageLoader::Load(QStringLiteral(OSTRA_PACKAGE_PATH));
    } catch (const Exception& e) {
        QTest::qFail(qPrintable(e.Message()), __FILE__, __LINE__);
    }
#endif
}

TStudioPeopleDb::TStudioPeopleDb() {
    static int counter = 0;
    const QString name = QStringLiteral("StudioPeopleSetup%1").arg(++counter);
    TOstDatabase db;
    db.SetDatabaseName(name);
    db.SetLocation(Location());
    db.CreateDatabase();
    TOstTable t;
    t.SetDatabaseName(name);
    t.SetTableName(QStringLiteral("People"));
    t.GetFieldDefsOst().Add(QStringLiteral("ID"), dtAutoInc, 0);
    t.GetFieldDefsOst().Add(QStringLiteral("Name"), dtString, 30);
    t.GetFieldDefsOst().Add(QStringLiteral("Age"), dtInteger, 0);
    t.CreateTable();
    t.Open();
    t.AppendRecord({QVariant(), QStringLiteral("Ann"), 31});
    t.AppendRecord({QVariant(), QStringLiteral("Bob"), 45});
    t.Close();
}
