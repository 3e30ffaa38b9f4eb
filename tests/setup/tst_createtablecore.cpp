// The table assistant's rules without its window, on real databases: which
// database a table starts on, the table name handed back, what a chosen file
// makes of the placeholder, the checks before it closes, the location text
// cut to the label, and AdjustTableName.
#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/base/tdatamodule.h"
#include "setup/core/ostcreatetablecore.h"
#include "setup_fixture.h"
#include "setup/core/ostpaths.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

class TstCreateTableCore : public QObject {
    Q_OBJECT
private slots:
    void placeholderStandsForNoDatabase();
    void tableStartsOnItsDatabase();
    void resultTableNameFollowsTheDatabase();
    void tableListOnlyInSelectMode();
    void chosenFilesMoveThePlaceholder();
    void closeCheckInNewMode();
    void locationTextIsCutToTheLabel();
    void adjustTableNameShortensPaths();
    void databaseNamesAreSortedOnce();
};

namespace {

using Databases = TSetupDatabases;

} // namespace

void TstCreateTableCore::placeholderStandsForNoDatabase() {
    TTableAssistantCore core;
    TOstDatabase* p = core.Placeholder();
    QCOMPARE(p->GetDatabaseName(), QStringLiteral(" "));
    QVERIFY(p->GetLocation().isEmpty());
    QCOMPARE(p->GetDatabaseType(), int(dbtDirectory));
    QCOMPARE(core.CurrentDatabase(), p);
    // Connecting without a location is allowed; what needs files says why it cannot.
    p->SetConnected(true);
    QVERIFY(p->GetConnected());
    QCOMPARE(core.LocationText(), QStringLiteral("<no location defined>"));
    QStringList names;
    QVERIFY_THROWS_EXCEPTION(EOstraError, p->GetTableNames(names));
    QVERIFY(core.TableNames().isEmpty());
    // A placeholder cannot change its location while connected, like any database.
    QVERIFY_THROWS_EXCEPTION(EOstraError, p->SetLocation("/tmp"));
    p->SetConnected(false);
    QVERIFY(!p->GetConnected());
}

void TstCreateTableCore::tableStartsOnItsDatabase() {
    Databases dbs;
    TDataModule module;
    auto* db = new TOstDatabase(&module);
    db->SetDatabaseName("Shop");
    db->SetLocation(dbs.shop);
    auto* table = new TOstTable(&module);
    TTableAssistantCore core;

    table->SetDatabaseName("shop"); // component names compare without case
    QCOMPARE(core.DatabaseForTable(table), db);

    table->SetDatabaseName(dbs.books); // a database file: the placeholder as that single-file database
    QCOMPARE(core.DatabaseForTable(table), core.Placeholder());
    QCOMPARE(core.Placeholder()->GetLocation(), dbs.books);
    QVERIFY(core.Placeholder()->IsSingleFile());
    QVERIFY(core.Placeholder()->GetConnected());

    table->SetDatabaseName(dbs.shop + "/Items.dat"); // a table file: its folder
    QCOMPARE(core.DatabaseForTable(table), core.Placeholder());
    QCOMPARE(core.Placeholder()->GetLocation(), dbs.shop);
    QVERIFY(!core.Placeholder()->IsSingleFile());

    table->SetDatabaseName(dbs.dir.filePath("nowhere")); // neither: no location
    QCOMPARE(core.DatabaseForTable(table), core.Placeholder());
    QVERIFY(core.Placeholder()->GetLocation().isEmpty());

    // A file that is not a database: the error comes, and the placeholder is left without a location.
    const QString junk = dbs.dir.filePath("junk.ostd");
    QFile f(junk);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("not a database");
    f.close();
    table->SetDatabaseName(junk);
    QVERIFY_THROWS_EXCEPTION(EOstraError, core.DatabaseForTable(table));
    QVERIFY(core.Placeholder()->GetLocation().isEmpty());
    QVERIFY(core.Placeholder()->GetConnected());
}

void TstCreateTableCore::resultTableNameFollowsTheDatabase() {
    Databases dbs;
    TTableAssistantCore core;
    core.UsePlaceholderAt(dbs.shop, dbtDirectory);
    core.StoreNewTableName(dbs.shop + "/Items.dat");
    QCOMPARE(core.ResultTableName(), QStringLiteral("Items.dat"));
    core.StoreNewTableName("Orders");
    QCOMPARE(core.ResultTableName(), QStringLiteral("Orders"));
    core.StoreNewTableName("/"); // a root stays as it is
    QCOMPARE(core.ResultTableName(), QStringLiteral("/"));
    QVERIFY(core.IsDirectoryBasedTable());

    core.UsePlaceholderAt(dbs.books, dbtSingleFile);
    QVERIFY(!core.IsDirectoryBasedTable());
    core.StoreNewTableName(dbs.dir.filePath("elsewhere/Authors"));
    QCOMPARE(core.ResultTableName(), QStringLiteral("Authors"));

    // Without a location an absolute name stays absolute.
    core.UsePlaceholderAt(QString(), dbtDirectory);
    core.StoreNewTableName(dbs.shop + "/Items.dat");
    QCOMPARE(core.ResultTableName(), dbs.shop + "/Items.dat");
    QVERIFY(!core.StoreNewTableName(dbs.shop + "/Items.dat")); // the same name is no change
}

void TstCreateTableCore::tableListOnlyInSelectMode() {
    Databases dbs;
    TDataModule module;
    auto* table = new TOstTable(&module);
    table->SetDatabaseName(dbs.shop);
    table->SetTableName("orders.dat");
    TTableAssistantCore core;
    core.DatabaseForTable(table);
    core.SetDialogType(dtSelectTable);
    const QStringList names = core.TableNames();
    QCOMPARE(names, QStringList({"Items", "Orders"}));
    QCOMPARE(core.PreferredTableEntry(names), QStringLiteral("Orders")); // the table's own, however written
    table->SetTableName("Gone");
    QCOMPARE(core.PreferredTableEntry(names), QStringLiteral("Items")); // else the first
    core.SetDialogType(dtNewTable);
    QVERIFY(core.TableNames().isEmpty());
}

void TstCreateTableCore::chosenFilesMoveThePlaceholder() {
    Databases dbs;
    TDataModule module;
    auto* db = new TOstDatabase(&module);
    db->SetDatabaseName("ShopDb");
    db->SetLocation(dbs.shop);
    TTableAssistantCore core;
    core.SetDialogType(dtSelectTable);

    // A database file in select mode: the placeholder becomes it, and no table is named yet.
    QCOMPARE(core.TableFileChosen(dbs.books), QString());
    QCOMPARE(core.CurrentDatabase(), core.Placeholder());
    QVERIFY(core.Placeholder()->IsSingleFile());
    QCOMPARE(core.TableNames(), QStringList({"Authors", "Titles"}));

    // A table file of the chosen database component stays with it.
    core.SetCurrentDatabase(db);
    QCOMPARE(core.TableFileChosen(dbs.shop + "/Orders.dat"), dbs.shop + "/Orders.dat");
    QCOMPARE(core.CurrentDatabase(), db);
    core.StoreNewTableName(dbs.shop + "/Orders.dat");
    QCOMPARE(core.ResultTableName(), QStringLiteral("Orders.dat"));

    // A table file elsewhere is the directory database of its own folder.
    QDir().mkpath(dbs.dir.filePath("other"));
    const QString other = dbs.dir.filePath("other/Parts.dat");
    QCOMPARE(core.TableFileChosen(other), other);
    QCOMPARE(core.CurrentDatabase(), core.Placeholder());
    QCOMPARE(core.Placeholder()->GetLocation(), dbs.dir.filePath("other"));

    // The folder of a file in a root keeps the delimiter.
    QCOMPARE(ExtractFileFolder("/x.dat"), QStringLiteral("/"));
    QCOMPARE(ExtractFileFolder("C:\\x.dat"), QStringLiteral("C:\\"));

    // New mode: a single-file database cannot take a table file; the placeholder goes to its folder.
    core.SetDialogType(dtNewTable);
    core.UsePlaceholderAt(dbs.books, dbtSingleFile);
    QCOMPARE(core.TableFileChosen(dbs.shop + "/Parts.dat"), dbs.shop + "/Parts.dat");
    QCOMPARE(core.Placeholder()->GetLocation(), dbs.shop);
    QVERIFY(!core.Placeholder()->IsSingleFile());

    // Locations chosen for the placeholder itself.
    core.DatabaseLocationChosen(dbs.books);
    QVERIFY(core.Placeholder()->IsSingleFile());
    core.DatabaseLocationChosen(dbs.shop + "/Items.dat");
    QCOMPARE(core.Placeholder()->GetLocation(), dbs.shop);
    core.DatabaseLocationChosen(dbs.shop + "/");
    QCOMPARE(core.Placeholder()->GetLocation(), dbs.shop);
    QCOMPARE(core.PlaceholderStartDir(), dbs.shop);
    core.DatabaseLocationChosen(dbs.books);
    QCOMPARE(core.PlaceholderStartDir(), dbs.dir.path());
}

void TstCreateTableCore::closeCheckInNewMode() {
    Databases dbs;
    TTableAssistantCore core;
    core.SetDialogType(dtNewTable);
    core.UsePlaceholderAt(dbs.shop, dbtDirectory);
    using C = TTableAssistantCore;
    QCOMPARE(core.CloseCheck(""), C::ccStay);
    QCOMPARE(core.CloseCheck("   "), C::ccStay);
    QCOMPARE(core.CloseCheck(".dat"), C::ccStay);
    QCOMPARE(core.CloseCheck("Customers"), C::ccClose);
    // An existing table, by its file or by its name in any case, is only overwritten after asking.
    QCOMPARE(core.CloseCheck("Items.dat"), C::ccAskOverwrite);
    QCOMPARE(core.CloseCheck("items"), C::ccAskOverwrite);
    QCOMPARE(core.CloseCheck(dbs.shop + "/Orders.dat"), C::ccAskOverwrite);
    // A name the database cannot hold is no existing table.
    QCOMPARE(core.CloseCheck("../elsewhere/Items.dat"), C::ccClose);

    core.UsePlaceholderAt(dbs.books, dbtSingleFile);
    QCOMPARE(core.CloseCheck("AUTHORS"), C::ccAskOverwrite);
    QCOMPARE(core.CloseCheck("Reviews"), C::ccClose);

    // No database to go to: the new table would be lost.
    core.UsePlaceholderAt(QString(), dbtDirectory);
    QCOMPARE(core.CloseCheck("Customers"), C::ccNoDatabase);

    core.SetDialogType(dtSelectTable);
    QCOMPARE(core.CloseCheck("Items"), C::ccStay);
    core.UsePlaceholderAt(dbs.shop, dbtDirectory);
    QCOMPARE(core.CloseCheck(""), C::ccStay);
    QCOMPARE(core.CloseCheck("Items"), C::ccClose);
}

void TstCreateTableCore::locationTextIsCutToTheLabel() {
    const auto chars = [](const QString& s) { return int(s.size()); };
    QCOMPARE(ShortenLocationText("/data/shop", 20, chars), QStringLiteral("/data/shop"));
    // As wide as the label or wider: cut to its width, the last four become " ...".
    QCOMPARE(ShortenLocationText("/data/shop/and/more", 10, chars), QStringLiteral("/data/ ..."));
    QCOMPARE(ShortenLocationText("0123456789", 10, chars), QStringLiteral("012345 ..."));
    QCOMPARE(ShortenLocationText("abcdef", 3, chars), QStringLiteral("abc"));
    QCOMPARE(ShortenLocationText("abcdef", 4, chars), QStringLiteral(" ..."));
}

void TstCreateTableCore::adjustTableNameShortensPaths() {
    Databases dbs;
    TOstTable table;
    table.SetDatabaseName(dbs.shop);
    table.SetTableName(dbs.shop + "/Items.dat");
    AdjustTableName(&table);
    QCOMPARE(table.GetTableName(), QStringLiteral("Items.dat"));
    table.SetTableName("Items");
    AdjustTableName(&table);
    QCOMPARE(table.GetTableName(), QStringLiteral("Items"));

    TOstTable atRoot;
    atRoot.SetDatabaseName("/");
    atRoot.SetTableName("/x.dat");
    AdjustTableName(&atRoot);
    QCOMPARE(atRoot.GetTableName(), QStringLiteral("x.dat"));

    // A single-file database keeps the name as it is.
    TOstTable single;
    single.SetDatabaseName(dbs.books);
    single.SetTableName(dbs.books + "/Authors");
    AdjustTableName(&single);
    QCOMPARE(single.GetTableName(), dbs.books + "/Authors");
}

void TstCreateTableCore::databaseNamesAreSortedOnce() {
    TDataModule module;
    for (const char* name : {"Zoo", "alpha", "ZOO", ""}) {
        auto* db = new TOstDatabase(&module);
        db->SetDatabaseName(name);
    }
    TTableAssistantCore core;
    const QStringList names = core.DatabaseNames();
    QCOMPARE(names.first(), QStringLiteral(" ")); // the placeholder first
    QCOMPARE(names.count("Zoo") + names.count("ZOO"), 1);
    QVERIFY(names.contains("alpha"));
    QVERIFY(!names.contains(""));
    QVERIFY(names.indexOf("alpha") < names.indexOf("Zoo"));
}

QTEST_MAIN(TstCreateTableCore)
#include "tst_createtablecore.moc"
