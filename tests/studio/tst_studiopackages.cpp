// Starting the Studio: loading the real design-time package (once, with its
// splash entry), what a package that cannot be loaded reports, the palette
// built from the registrations, and the program itself started as a process.
#include "studio_helper.h"

#include "engine/ostdataset.h"
#include "engine/base/tdatamodule.h"
#include "../common/modal_helper.h"
#include "common/ostscripteddialogs.h"
#include "studio/componentpalette.h"
#include "studio/designtable.h"
#include "studio/designintf/designintf.h"
#include "studio/packageloader.h"
#include "studio/studiosplash.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeWidget>
#include <QLineEdit>
#include <QtTest>

class TstStudioPackages : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { InitStudioTests(false); }
    void packageLoadsOnceAndFillsSplash();
    void unloadablePackagesAreReported();
    void paletteShowsRegisteredPages();
    void programStartsOpensModuleAndExits();
    void designOpensTheTableDesignerOnATable();
};

namespace {

QString PackagePath() { return QStringLiteral(OSTRA_PACKAGE_PATH); }

QString ErrorOf(const QString& path) {
    try {
        TPackageLoader::Load(path);
    } catch (const EPackageError& e) {
        return e.Message();
    }
    return QString();
}

QStringList ClassNames(const QList<const QMetaObject*>& classes) {
    QStringList names;
    for (const QMetaObject* c : classes) names.append(QString::fromLatin1(c->className()));
    return names;
}

const QStringList kOstraClasses = {"TOstTable",        "TOstQuery",     "TOstDatabase",
                                   "TOstEnumValueSet", "TOstBatchMove", "TOstBlobProvider"};

} // namespace

void TstStudioPackages::packageLoadsOnceAndFillsSplash() {
    TPackageLoader::RegisterStandardComponents();
    TStudioSplash splash;
    {
        const TSplashServicesScope scope(&splash);
        QCOMPARE(SplashScreenServices, &splash);
        QCOMPARE(ErrorOf(PackagePath()), QString());
    }
    QVERIFY(!SplashScreenServices);
    QVERIFY(TPackageLoader::IsLoaded(PackagePath()));

    // What the package told the splash screen while it registered.
    QCOMPARE(splash.Status(), QStringLiteral("Ostra 6"));
    QCOMPARE(splash.PluginEntries().size(), 1);
    QCOMPARE(splash.PluginEntries()[0].Caption, QStringLiteral("Ostra 6"));
    QVERIFY(!splash.PluginEntries()[0].Bitmap.isNull());
    QVERIFY(!splash.PluginEntries()[0].Unlicensed);

    QCOMPARE(PalettePages(), QStringList({"Data Access", "Ostra", "Qt SQL"}));
    QCOMPARE(ClassNames(PaletteClasses("Data Access")), QStringList({"TDataSource"}));
    QCOMPARE(ClassNames(PaletteClasses("Ostra")), kOstraClasses);
    QCOMPARE(ClassNames(PaletteClasses("Qt SQL")), QStringList({"TTable", "TQuery"}));

    const QList<TLoadedPackage> packages = TPackageLoader::Packages();
    QCOMPARE(packages.size(), 1);
    QCOMPARE(packages[0].FileName, QFileInfo(PackagePath()).absoluteFilePath());
    QCOMPARE(packages[0].Description, QStringLiteral("Ostra 6 design-time package"));
    QCOMPARE(packages[0].Pages, QStringList({"Ostra", "Qt SQL"}));
    QCOMPARE(TPackageLoader::FirstPackagePage(), QStringLiteral("Ostra"));

    // Once per process, however the file is named: nothing registers twice.
    const QStringList log = RegistrationLog();
    QVERIFY(!TPackageLoader::Load(PackagePath()));
    QTemporaryDir dir;
    const QString link = dir.filePath("linked.so");
    QVERIFY(QFile::link(PackagePath(), link));
    QVERIFY(TPackageLoader::IsLoaded(link));
    QVERIFY(!TPackageLoader::Load(link));
    TPackageLoader::RegisterStandardComponents();
    QCOMPARE(RegistrationLog(), log);
    QCOMPARE(TPackageLoader::Packages().size(), 1);
}

void TstStudioPackages::unloadablePackagesAreReported() {
    QTemporaryDir dir;
    const QString missing = dir.filePath("nothing.so");
    QCOMPARE(ErrorOf(missing), QStringLiteral("Cannot load package %1: the file does not exist").arg(missing));

    // Not a shared library: the loader's own reason follows the path.
    const QString text = dir.filePath("notes.so");
    QFile f(text);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("not a library\n");
    f.close();
    const QString notLibrary = ErrorOf(text);
    QVERIFY2(notLibrary.startsWith(QStringLiteral("Cannot load package %1: ").arg(text)), qPrintable(notLibrary));
    QVERIFY2(notLibrary.size() > QStringLiteral("Cannot load package %1: ").arg(text).size(), qPrintable(notLibrary));

    // A library that is no package.
    const QString studioLibrary = QDir(QFileInfo(QStringLiteral(OSTRA_STUDIO_PATH)).absolutePath()).filePath("../liboststudio.so");
    QVERIFY(QFileInfo(studioLibrary).isFile());
    const QString absolute = QFileInfo(studioLibrary).absoluteFilePath();
    QCOMPARE(ErrorOf(studioLibrary), QStringLiteral("Package %1 has no Register function").arg(absolute));

    // Failures are not remembered as loaded: a later attempt tries again.
    QVERIFY(!TPackageLoader::IsLoaded(missing));
    QVERIFY(!ErrorOf(missing).isEmpty());
}

void TstStudioPackages::paletteShowsRegisteredPages() {
    TPackageLoader::RegisterStandardComponents();
    QCOMPARE(ErrorOf(PackagePath()), QString()); // loaded already, or now
    TComponentPalette palette;
    QCOMPARE(palette.Pages(), PalettePages());
    QCOMPARE(palette.CurrentPage(), QStringLiteral("Ostra")); // the package's page, not the Studio's own
    QStringList tips;
    for (QToolButton* b : palette.Buttons("Ostra")) {
        tips.append(b->toolTip());
        QVERIFY(!b->icon().isNull());
    }
    QCOMPARE(tips, kOstraClasses);

    QSignalSpy selected(&palette, &TComponentPalette::classSelected);
    QSignalSpy create(&palette, &TComponentPalette::createRequested);
    palette.show();
    QVERIFY(QTest::qWaitForWindowExposed(&palette));
    QToolButton* table = palette.Button("TOstTable");
    QTest::mouseClick(table, Qt::LeftButton);
    QCOMPARE(palette.SelectedClass(), &TOstTable::staticMetaObject);
    QVERIFY(table->isChecked());
    QCOMPARE(selected.count(), 1);
    QTest::mouseClick(palette.ArrowButton(), Qt::LeftButton);
    QVERIFY(!palette.SelectedClass());
    QCOMPARE(selected.last().at(0).value<const QMetaObject*>(), nullptr);

    // A double click asks for a component at once and leaves nothing armed.
    QTest::mouseDClick(palette.Button("TOstDatabase"), Qt::LeftButton);
    QCOMPARE(create.count(), 1);
    QCOMPARE(create.last().at(0).value<const QMetaObject*>(), &TOstDatabase::staticMetaObject);
    QVERIFY(!palette.SelectedClass());
    QVERIFY(palette.ArrowButton()->isChecked());
}

void TstStudioPackages::programStartsOpensModuleAndExits() {
    QTemporaryDir dir;
    const QString file = dir.filePath("Start.ostdm");
    {
        TDataModule module;
        module.SetName("StartModule");
        auto* t = new TOstTable(&module);
        t->SetName("Orders");
        t->SetDesignPos(40, 60);
        SaveDataModule(module, file);
    }
    auto run = [&](const QStringList& args, QString* err = nullptr) {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("XDG_CONFIG_HOME", dir.filePath("config")); // the recent files list goes there
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(OSTRA_STUDIO_PATH), args);
        if (!p.waitForFinished(60000)) {
            p.kill();
            p.waitForFinished();
            return QString("timed out");
        }
        if (err) *err = QString::fromLocal8Bit(p.readAllStandardError());
        const QString out = QString::fromLocal8Bit(p.readAllStandardOutput());
        return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0 ? out : QString("exit %1: %2").arg(p.exitCode()).arg(out);
    };
    const QRegularExpression ready("^ready \\d+\\n$");

    QString err;
    QString out = run({file, "--exit-after-start", "--no-splash"}, &err);
    QVERIFY2(ready.match(out).hasMatch(), qPrintable(out + err));
    QVERIFY2(!err.contains("Error"), qPrintable(err));
    QVERIFY(QFile::exists(dir.filePath("config/Ostra/Ostra Studio.conf"))); // the opened file went on the recent list

    // With the splash screen and the default package beside the program.
    out = run({"--exit-after-start"}, &err);
    QVERIFY2(ready.match(out).hasMatch(), qPrintable(out + err));

    // Failures of an unattended start are printed; the Studio still comes up.
    out = run({dir.filePath("missing.ostdm"), "--exit-after-start", "--no-splash", "--no-default-packages", "--package",
               dir.filePath("none.so")},
              &err);
    QVERIFY2(ready.match(out).hasMatch(), qPrintable(out + err));
    QVERIFY2(err.contains(QStringLiteral("Error: Cannot load package %1").arg(dir.filePath("none.so"))), qPrintable(err));
    QVERIFY2(err.contains("missing.ostdm"), qPrintable(err));

    out = run({"--help"});
    for (const char* option : {"--package", "--no-default-packages", "--no-splash", "--exit-after-start"})
        QVERIFY2(out.contains(QLatin1String(option)), option);
}

void TstStudioPackages::designOpensTheTableDesignerOnATable() {
    // Runs after the package was loaded by the tests above.
    QVERIFY(TPackageLoader::IsLoaded(PackagePath()));
    TStudioPeopleDb people;
    TScriptedDialogService dialogs;
    dialogs.ThrowOnFailure();
    TScopedDialogService scoped(&dialogs);

    // An existing table: the designer opens on it, through the table's "Properties..." verb.
    QStringList columns;
    WhenShown<QDialog>(
        [&](QDialog* designer) {
            for (QTreeWidget* list : designer->findChildren<QTreeWidget*>())
                for (int i = 0; i < list->topLevelItemCount(); ++i) columns.append(list->topLevelItem(i)->text(1));
            designer->reject();
        },
        QStringLiteral("Ostra Table Designer - People"));
    QVERIFY(DesignTable(people.Location(), "People"));
    QCOMPARE(columns, QStringList({"ID", "Name", "Age"}));

    // A table that does not exist yet: the new-table path, where the table assistant offers the
    // name given, and the location is used as it is.
    QString offered;
    bool shown = false;
    WhenShown<QDialog>(
        [&](QDialog* assistant) {
            offered = assistant->findChild<QLineEdit*>("TableNameEdit")->text();
            WhenShown<QDialog>([&](QDialog* designer) { shown = true; designer->reject(); },
                               QStringLiteral("Ostra Table Designer - Visits"));
            assistant->accept();
        },
        QStringLiteral("Create a New Ostra Table"));
    dialogs.Press(QMessageBox::No);
    QVERIFY(DesignTable(people.Location(), "Visits"));
    QVERIFY(shown);
    QCOMPARE(offered, QStringLiteral("Visits"));
    TOstTable check;
    check.SetDatabaseName(people.Location());
    check.SetTableName("Visits");
    QVERIFY(!check.Exists()); // cancelled: nothing was created

    // Without the table editor nothing can design tables: said in an error box.
    ClearRegistrations();
    dialogs.Press(QMessageBox::Ok);
    QVERIFY(!DesignTable(people.Location(), "People"));
    QVERIFY(dialogs.Calls().last().Text.contains("package with the table designer is not loaded"));
}

QTEST_MAIN(TstStudioPackages)
#include "tst_studiopackages.moc"
