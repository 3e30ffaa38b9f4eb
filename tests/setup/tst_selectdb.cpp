// Pointing at a database: the kinds of locations, what the database choosers
// make of a chosen file, the "Select Database" dialog with its open mode,
// and the "Database Name" dialog listing the database components.
#include "../common/collected_dialogs.h"
#include "../common/modal_helper.h"
#include "common/ostscripteddialogs.h"
#include "engine/ostdatabase.h"
#include "engine/base/tdatamodule.h"
#include "setup/ostdatabasenamedlg.h"
#include "setup/ostselectdbdlg.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

class TstSelectDb : public QObject {
    Q_OBJECT
private slots:
    void fileTypes();
    void selectDatabaseTurnsTableFilesIntoFolders();
    void selectFileOrFolder();
    void chooseDatabaseWritesBackOnlyOnOk();
    void databaseNameDialogListsComponents();
};

namespace {

using Dialogs = TCollectedDialogs;

} // namespace

void TstSelectDb::fileTypes() {
    QTemporaryDir dir;
    QDir(dir.path()).mkpath("odd.dat");
    QCOMPARE(GetFileType(dir.path()), 1);
    QCOMPARE(GetFileType(dir.filePath("odd.dat")), 2); // the extension rule comes after the folder rule
    QCOMPARE(GetFileType("shop.OSTD"), 1);
    QCOMPARE(GetFileType("Items.Dat"), 2);
    QCOMPARE(GetFileType("Items.ostt"), 2);
    QCOMPARE(GetFileType("query.sql"), 3);
    QCOMPARE(GetFileType("query.SQLH"), 4);
    QCOMPARE(GetFileType("notes.txt"), 0);
    QCOMPARE(GetFileType(dir.filePath("missing")), 0);
    QCOMPARE(GetFileType(QString()), 0);
}

void TstSelectDb::selectDatabaseTurnsTableFilesIntoFolders() {
    Dialogs dialogs;
    QString location;
    dialogs.service.ChooseFile("/data/shop/Items.dat");
    SelectDatabase("/data", location);
    QCOMPARE(location, QStringLiteral("/data/shop/"));
    const auto call = dialogs.service.Calls().last();
    QCOMPARE(call.Caption, QStringLiteral("Select Database"));
    QCOMPARE(call.InitialDir, QStringLiteral("/data"));
    QCOMPARE(call.Filter, QStringLiteral("Ostra data source (*.ostd,*.dat,*.ostt,*.sql,*.sqlh)|*.ostd;*.dat;*.ostt;*.sql;*.sqlh"));
    const QList<QPair<QString, QString>> cases{{"/data/books.ostd", "/data/books.ostd"},
                                               {"/data/shop/Parts.OSTT", "/data/shop/"},
                                               {"/data/q/report.sql", "/data/q/"},
                                               {"/data/q/report.sqlh", "/data/q/report.sqlh"}};
    for (const auto& [chosen, expected] : cases) {
        dialogs.service.ChooseFile(chosen);
        SelectDatabase(QString(), location);
        QCOMPARE(location, expected);
    }
    dialogs.service.Cancel();
    location = "kept";
    SelectDatabase(QString(), location);
    QCOMPARE(location, QStringLiteral("kept"));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstSelectDb::selectFileOrFolder() {
    Dialogs dialogs;
    QString location;
    dialogs.service.ChooseFile("/data/shop/(select folder)");
    SelectFileOrFolder("/data", location);
    QCOMPARE(dialogs.service.Calls().last().Caption, QStringLiteral("Select Ostra data source"));
    QCOMPARE(dialogs.service.Calls().last().Value, QStringLiteral("(Select Folder)"));
    QCOMPARE(location, QStringLiteral("/data/shop/"));
    dialogs.service.ChooseFile("/data/shop/Items.dat");
    SelectFileOrFolder("/data", location);
    QCOMPARE(location, QStringLiteral("/data/shop/Items.dat"));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstSelectDb::chooseDatabaseWritesBackOnlyOnOk() {
    Dialogs dialogs;
    QString location = "/data/old.ostd";
    bool readOnly = false, exclusive = true;
    WhenShown<TSelectDBDialog>([&](TSelectDBDialog* d) {
        QCOMPARE(d->LocationEdit()->text(), QStringLiteral("/data/old.ostd"));
        QVERIFY(d->ExclusiveCheck()->isChecked());
        d->LocationEdit()->setText("typed and cancelled");
        d->ReadOnlyCheck()->setChecked(true);
        d->reject();
    });
    QVERIFY(!ChooseDatabase(location, readOnly, exclusive));
    QCOMPARE(location, QStringLiteral("/data/old.ostd"));
    QVERIFY(!readOnly);
    QVERIFY(exclusive);

    dialogs.service.ChooseFile("/data/new/Items.dat");
    WhenShown<TSelectDBDialog>([&](TSelectDBDialog* d) {
        QCOMPARE(d->windowTitle(), QStringLiteral("Select Database"));
        d->SelectBtn()->click();
        d->ReadOnlyCheck()->setChecked(true);
        d->ExclusiveCheck()->setChecked(false);
        d->OKBtn()->click();
    });
    QVERIFY(ChooseDatabase(location, readOnly, exclusive));
    QCOMPARE(dialogs.service.Calls().last().InitialDir, QStringLiteral("/data/old.ostd"));
    QCOMPARE(location, QStringLiteral("/data/new/"));
    QVERIFY(readOnly);
    QVERIFY(!exclusive);
    QCOMPARE(dialogs.failures, QStringList());
}

void TstSelectDb::databaseNameDialogListsComponents() {
    Dialogs dialogs;
    TDataModule module;
    for (const char* name : {"Sales", "", "Stock"}) {
        auto* db = new TOstDatabase(&module);
        db->SetDatabaseName(name);
    }
    TDatabaseNameDlg d;
    QStringList names;
    for (int i = 0; i < d.NameBox()->count(); ++i) names.append(d.NameBox()->itemText(i));
    QCOMPARE(names, QStringList({"Sales", "Stock"}));
    QCOMPARE(d.GetDatabaseName(), QStringLiteral("Sales")); // the first is selected
    d.SetDatabaseName("Stock");
    QCOMPARE(d.GetDatabaseName(), QStringLiteral("Stock"));
    QCOMPARE(d.NameBox()->count(), 2);
    d.SetDatabaseName("/data/shop"); // not listed: added and shown
    QCOMPARE(d.GetDatabaseName(), QStringLiteral("/data/shop"));
    QCOMPARE(d.NameBox()->count(), 3);
    dialogs.service.ChooseFile("/data/books.ostd");
    d.SelectBtn()->click();
    QCOMPARE(dialogs.service.Calls().last().InitialDir, QString()); // no starting folder
    QCOMPARE(d.GetDatabaseName(), QStringLiteral("/data/books.ostd"));
    dialogs.service.Cancel();
    d.SelectBtn()->click();
    QCOMPARE(d.GetDatabaseName(), QStringLiteral("/data/books.ostd"));
    QCOMPARE(dialogs.failures, QStringList());
}

QTEST_MAIN(TstSelectDb)
#include "tst_selectdb.moc"
