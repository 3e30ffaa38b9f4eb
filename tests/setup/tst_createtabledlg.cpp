// The table assistant's window on real databases: texts of both modes, the
// controls a single-file database changes, the location label cut to its
// width, the "..." chooser and the location menu, switching databases in
// the list, and the name box showing the name the table will get.
#include "../common/collected_dialogs.h"
#include "../common/modal_helper.h"
#include "common/ostscripteddialogs.h"
#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/base/tdatamodule.h"
#include "setup/ostcreatetabledlg.h"
#include "setup_fixture.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

class TstCreateTableDlg : public QObject {
    Q_OBJECT
private slots:
    void textsOfBothModes();
    void singleFileDatabaseNarrowsTheControls();
    void longLocationIsCutWithItsHint();
    void browsingForATableFile();
    void locationMenuForTheBareLocation();
    void switchingDatabasesInTheList();
    void enterAndEscapeAnswerTheDialog();
};

namespace {

using Databases = TSetupDatabases;

using Dialogs = TCollectedDialogs;

} // namespace

void TstCreateTableDlg::textsOfBothModes() {
    TTableAssistantDlg d;
    d.SetDialogType(dtNewTable);
    QCOMPARE(d.windowTitle(), QStringLiteral("Create a New Ostra Table"));
    QCOMPARE(d.DatabasesLabel()->text(), QStringLiteral("Select a database component for the new table"));
    QVERIFY(!d.TableNameEdit()->isHidden());
    QVERIFY(d.TableNamesComboBox()->isHidden());
    d.SetDialogType(dtSelectTable);
    QCOMPARE(d.windowTitle(), QStringLiteral("Select a Ostra Table"));
    QCOMPARE(d.DatabasesLabel()->text(), QStringLiteral("Optionally choose an existing database component"));
    QVERIFY(d.TableNameEdit()->isHidden());
    QVERIFY(!d.TableNamesComboBox()->isHidden());
    QCOMPARE(d.ResultDatabase()->GetDatabaseName(), QStringLiteral(" "));
}

void TstCreateTableDlg::singleFileDatabaseNarrowsTheControls() {
    Databases dbs;
    TOstTable table;
    table.SetDatabaseName(dbs.books);
    table.SetTableName("Titles");
    TTableAssistantDlg d;
    d.SetDialogType(dtSelectTable);
    d.SetOstTable(&table);
    QVERIFY(!d.SelectBtn()->isEnabled());
    QVERIFY(!d.TableNamesComboBox()->isEditable());
    QCOMPARE(ItemTexts(d.TableNamesComboBox()), QStringList({"Authors", "Titles"}));
    QCOMPARE(d.TableNamesComboBox()->currentText(), QStringLiteral("Titles"));
    QCOMPARE(d.ResultTableName(), QStringLiteral("Titles"));
    QVERIFY(!d.IsDirectoryBasedTable());
    d.SetNewTableName(dbs.books + "/Authors");
    QCOMPARE(d.ResultTableName(), QStringLiteral("Authors")); // only the name part
    QCOMPARE(d.TableNamesComboBox()->currentText(), QStringLiteral("Authors"));

    table.SetDatabaseName(dbs.shop);
    TTableAssistantDlg dir;
    dir.SetDialogType(dtSelectTable);
    dir.SetOstTable(&table);
    QVERIFY(dir.SelectBtn()->isEnabled());
    QVERIFY(dir.TableNamesComboBox()->isEditable());
    QVERIFY(dir.IsDirectoryBasedTable());
}

void TstCreateTableDlg::longLocationIsCutWithItsHint() {
    Databases dbs;
    const QString deep = dbs.dir.filePath(QString("very-long-folder-name/").repeated(6) + "shop");
    QDir().mkpath(deep);
    TOstTable table;
    table.SetDatabaseName(deep);
    TTableAssistantDlg d;
    d.SetDialogType(dtNewTable);
    d.SetOstTable(&table);
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    QCOMPARE(d.LocationLabel()->toolTip(), deep);
    const QString shown = d.LocationLabel()->text();
    QVERIFY2(shown.endsWith(" ..."), qPrintable(shown));
    QVERIFY(deep.startsWith(shown.left(shown.size() - 4)));
    QVERIFY(d.LocationLabel()->fontMetrics().horizontalAdvance(shown) <= d.LocationLabel()->width());
    // Wide enough: the whole location.
    d.resize(d.LocationLabel()->fontMetrics().horizontalAdvance(deep) + 200, d.height());
    QTRY_COMPARE(d.LocationLabel()->text(), deep);
    d.reject();
}

void TstCreateTableDlg::browsingForATableFile() {
    Databases dbs;
    Dialogs dialogs;
    TOstTable table;
    TTableAssistantDlg d;
    d.SetDialogType(dtSelectTable);
    d.SetOstTable(&table);
    QCOMPARE(d.LocationLabel()->text(), QStringLiteral("<no location defined>"));
    // A table file: its folder becomes the database, the box shows the name in it.
    dialogs.service.ChooseFile(dbs.shop + "/Orders.dat");
    d.SelectBtnClick();
    const auto call = dialogs.service.Calls().last();
    QCOMPARE(call.Caption, QStringLiteral("Select a Ostra Database File"));
    QCOMPARE(call.Filter, QStringLiteral("Ostra Files (*.dat;*.ostd;*.ostt)|*.dat;*.ostd;*.ostt|Ostra Database File "
                                         "(*.ostd)|*.ostd|Ostra Table File (*.dat,*.ostt)|*.dat;*.ostt"));
    QCOMPARE(d.ResultDatabase()->GetLocation(), dbs.shop);
    QCOMPARE(d.LocationLabel()->toolTip(), dbs.shop);
    QCOMPARE(d.TableNamesComboBox()->currentText(), QStringLiteral("Orders.dat"));
    QCOMPARE(d.ResultTableName(), QStringLiteral("Orders.dat"));
    QCOMPARE(ItemTexts(d.TableNamesComboBox()), QStringList({"Items", "Orders"}));
    // The next browse starts in the database's folder.
    dialogs.service.Cancel();
    d.TableNameEdit()->clear();
    d.SelectBtnClick();
    QCOMPARE(dialogs.service.Calls().last().InitialDir, dbs.shop);

    // New mode: the save chooser with the table filter and "dat" added.
    TTableAssistantDlg n;
    n.SetDialogType(dtNewTable);
    n.SetOstTable(&table);
    dialogs.service.ChooseFile(dbs.shop + "/Customers.dat");
    n.SelectBtnClick();
    QCOMPARE(dialogs.service.Calls().last().Kind, TScriptedDialogService::TCallKind::SaveFile);
    QCOMPARE(dialogs.service.Calls().last().Filter, QStringLiteral("Ostra Table (*.dat,*.ostt)|*.dat;*.ostt"));
    QCOMPARE(n.TableNameEdit()->text(), QStringLiteral("Customers.dat"));
    QCOMPARE(n.ResultDatabase()->GetLocation(), dbs.shop);
    QCOMPARE(dialogs.failures, QStringList());
}

void TstCreateTableDlg::locationMenuForTheBareLocation() {
    Databases dbs;
    Dialogs dialogs;
    TDataModule module;
    auto* db = new TOstDatabase(&module);
    db->SetDatabaseName("ShopDb");
    db->SetLocation(dbs.shop);
    auto* table = new TOstTable(&module);
    table->SetDatabaseName("ShopDb");
    TTableAssistantDlg d;
    d.SetDialogType(dtSelectTable);
    d.SetOstTable(table);
    QVERIFY(d.SelectLocationBtn()->isHidden()); // a database component is chosen
    d.DBComboBox()->setCurrentIndex(d.DBComboBox()->findText(" "));
    d.DBComboBoxChange();
    QVERIFY(!d.SelectLocationBtn()->isHidden());

    dialogs.service.ChooseFile(dbs.books);
    d.SingleFileDBItemClick();
    QCOMPARE(d.ResultDatabase()->GetDatabaseName(), QStringLiteral(" "));
    QCOMPARE(d.ResultDatabase()->GetLocation(), dbs.books);
    QCOMPARE(d.DBComboBox()->currentText(), QStringLiteral(" "));
    QCOMPARE(ItemTexts(d.TableNamesComboBox()), QStringList({"Authors", "Titles"}));

    dialogs.service.ChooseDirectory(dbs.shop);
    d.DirectoryDBItemClick();
    QCOMPARE(dialogs.service.Calls().last().Caption, QStringLiteral("Select Database Directory..."));
    QCOMPARE(dialogs.service.Calls().last().Value, dbs.dir.path()); // from the placeholder's location
    QCOMPARE(d.ResultDatabase()->GetLocation(), dbs.shop);
    QCOMPARE(ItemTexts(d.TableNamesComboBox()), QStringList({"Items", "Orders"}));

    // A file that is no database: the error is shown and the placeholder has no location.
    QFile junk(dbs.dir.filePath("junk.ostd"));
    QVERIFY(junk.open(QIODevice::WriteOnly));
    junk.write("junk");
    junk.close();
    dialogs.service.ChooseFile(junk.fileName()).Press(QMessageBox::Ok);
    d.SingleFileDBItemClick();
    QCOMPARE(dialogs.service.Calls().last().Caption, QStringLiteral("Error"));
    QCOMPARE(d.LocationLabel()->text(), QStringLiteral("<no location defined>"));
    QCOMPARE(d.TableNamesComboBox()->count(), 0);
    QCOMPARE(dialogs.failures, QStringList());
}

void TstCreateTableDlg::switchingDatabasesInTheList() {
    Databases dbs;
    TDataModule module;
    auto* shop = new TOstDatabase(&module);
    shop->SetDatabaseName("ShopDb");
    shop->SetLocation(dbs.shop);
    auto* books = new TOstDatabase(&module);
    books->SetDatabaseName("BooksDb");
    books->SetLocation(dbs.books);
    auto* table = new TOstTable(&module);
    table->SetDatabaseName("ShopDb");
    table->SetTableName("Orders");
    TTableAssistantDlg d;
    d.SetDialogType(dtSelectTable);
    d.SetOstTable(table);
    QCOMPARE(ItemTexts(d.DBComboBox()), QStringList({" ", "BooksDb", "ShopDb"}));
    QCOMPARE(d.DBComboBox()->currentText(), QStringLiteral("ShopDb"));
    QCOMPARE(d.TableNamesComboBox()->currentText(), QStringLiteral("Orders"));
    d.DBComboBox()->setCurrentIndex(d.DBComboBox()->findText("BooksDb"));
    d.DBComboBoxChange();
    QCOMPARE(d.ResultDatabase(), books);
    QCOMPARE(ItemTexts(d.TableNamesComboBox()), QStringList({"Authors", "Titles"}));
    QCOMPARE(d.ResultTableName(), QStringLiteral("Authors")); // the table's own is not there: the first
    QVERIFY(!d.SelectBtn()->isEnabled());
}

// A keyboard user picks a table and presses Enter, or leaves with Esc, from
// the table list as from the name box.
void TstCreateTableDlg::enterAndEscapeAnswerTheDialog() {
    Databases dbs;
    TOstTable table;
    table.SetDatabaseName(dbs.shop);
    for (const bool enter : {true, false}) {
        TTableAssistantDlg d;
        d.SetDialogType(dtSelectTable);
        d.SetOstTable(&table);
        d.show();
        QVERIFY(QTest::qWaitForWindowActive(&d));
        QTRY_VERIFY(d.TableNamesComboBox()->hasFocus());
        QTest::keyClick(QApplication::focusWidget(), enter ? Qt::Key_Return : Qt::Key_Escape);
        QVERIFY(!d.isVisible());
        QCOMPARE(d.result(), enter ? int(QDialog::Accepted) : int(QDialog::Rejected));
    }
    TTableAssistantDlg n;
    n.SetDialogType(dtNewTable);
    n.SetOstTable(&table);
    n.show();
    QVERIFY(QTest::qWaitForWindowActive(&n));
    QTRY_VERIFY(n.TableNameEdit()->hasFocus());
    QTest::keyClicks(n.TableNameEdit(), "Parts");
    QTest::keyClick(n.TableNameEdit(), Qt::Key_Return);
    QCOMPARE(n.result(), int(QDialog::Accepted));
    QCOMPARE(n.ResultTableName(), QStringLiteral("Parts"));
}

QTEST_MAIN(TstCreateTableDlg)
#include "tst_createtabledlg.moc"
