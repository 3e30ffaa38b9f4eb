// Where tables and passwords come from: a database without a location,
// table files named "<name>.ostt", table names given as the path of their
// file, passwords that a module file keeps only when asked to, and passwords
// an application hands over in the environment.
#include "engine_helper.h"

#include "engine/base/tdatamodule.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>

class TstLocations : public QObject {
    Q_OBJECT
private slots:
    void databaseWithoutLocationConnects();
    void osttTableFiles();
    void tableNamesGivenAsPaths();
    void modulesKeepPasswordsOnlyWhenAsked();
    void passwordsFromTheEnvironment();
};

namespace {

void MakeTable(const QString& databaseName, const QString& name, int method = emDefault, const QString& password = {}) {
    TOstTable t;
    t.SetDatabaseName(databaseName);
    t.SetTableName(name);
    t.SetEncryptionMethod(method);
    t.SetEncryptionPassword(password);
    AddColumn(t, "ID", dtAutoInc);
    AddColumn(t, "Name", dtString, 20);
    t.CreateTable();
}

QStringList Tables(TOstDatabase& db) {
    QStringList names;
    db.GetTableNames(names);
    return names;
}

} // namespace

void TstLocations::databaseWithoutLocationConnects() {
    TOstDatabase db;
    db.SetDatabaseName("Nowhere");
    db.SetConnected(true);
    QVERIFY(db.GetConnected());
    const EOstraError e = Raised([&] { Tables(db); });
    QCOMPARE(e.Message(), QStringLiteral("Database \"Nowhere\" has no location"));
    QVERIFY(Raised([&] { db.SetLocation("/tmp"); }).ErrorCode() != 0); // connected: the location stays
    TOstTable t;
    t.SetDatabaseName("Nowhere");
    t.SetTableName("Items");
    QCOMPARE(Raised([&] { t.Open(); }).Message(), e.Message());
    db.SetConnected(false);
    QVERIFY(!db.GetConnected());
    // With a location it connects as before.
    QTemporaryDir dir;
    db.SetLocation(dir.path());
    db.SetConnected(true);
    QCOMPARE(Tables(db), QStringList());
}

void TstLocations::osttTableFiles() {
    TestDb t(false);
    MakeTable(t.location, "Parts");
    MakeTable(t.location, "Orders");
    t.db->SetConnected(false); // no connection holds the files while they are renamed
    QVERIFY(QFile::rename(t.location + "/Parts.dat", t.location + "/Parts.ostt"));
    QFile::copy(t.location + "/Orders.dat", t.location + "/Orders.ostt"); // stored both ways: one table
    TOstDatabase db;
    db.SetLocation(t.location);
    QCOMPARE(Tables(db), QStringList({"Orders", "Parts"}));
    QVERIFY(db.TableExists("parts.OSTT"));
    qint64 rows = 0;
    for (const char* name : {"Parts", "Parts.ostt", "parts.dat"}) {
        TOstTable p;
        p.SetDatabaseName(t.location);
        p.SetTableName(name);
        p.Open();
        p.AppendRecord({QVariant(), QString::fromLatin1(name)});
        QCOMPARE(p.RecordCount(), ++rows); // the same table each time
    }
    QVERIFY(!QFileInfo::exists(t.location + "/Parts.dat")); // the rows went into the .ostt file
    // A rename keeps the file's extension; a delete takes the file.
    TOstTable p;
    p.SetDatabaseName(t.location);
    p.SetTableName("Parts");
    p.RenameTable("Pieces");
    QVERIFY(QFileInfo::exists(t.location + "/Pieces.ostt"));
    p.DeleteTable();
    QVERIFY(!QFileInfo::exists(t.location + "/Pieces.ostt"));
    // A folder holding only an .ostt file already holds a database.
    QTemporaryDir other;
    QVERIFY(QFile::copy(t.location + "/Orders.ostt", other.filePath("Orders.ostt")));
    TOstDatabase again;
    again.SetLocation(other.path());
    QCOMPARE(Raised([&] { again.CreateDatabase(); }).ErrorCode(), OstErr::AlreadyExists);
}

void TstLocations::tableNamesGivenAsPaths() {
    TestDb t(false);
    MakeTable(t.location, "Items");
    TOstTable items;
    items.SetDatabaseName(t.location);
    items.SetTableName(t.location + "/Items.dat"); // the path of its file in the database's folder
    QVERIFY(items.Exists());
    items.Open();
    items.AppendRecord({QVariant(), "bolt"});
    items.Close();
    items.SetTableName(t.location + "/sub/../Items.dat");
    items.Open();
    QCOMPARE(items.RecordCount(), qint64(1));
    items.Close();
    // A new table given as a path is created in the folder under its name.
    TOstTable created;
    created.SetDatabaseName(t.location);
    created.SetTableName(t.location + "/Parts.dat");
    AddColumn(created, "Code", dtString, 5);
    created.CreateTable();
    QVERIFY(QFileInfo::exists(t.location + "/Parts.dat"));
    // A file anywhere else is refused, and so is a relative way out.
    QTemporaryDir elsewhere;
    for (const QString& path : {elsewhere.filePath("Items.dat"), QStringLiteral("../Items.dat")}) {
        TOstTable outside;
        outside.SetDatabaseName(t.location);
        outside.SetTableName(path);
        const EOstraError e = Raised([&] { outside.Open(); });
        QCOMPARE(e.ErrorCode(), OstErr::InvalidName);
        QVERIFY2(e.Message().contains("is not in the directory of the database"), qPrintable(e.Message()));
    }
    QVERIFY(!QFileInfo::exists(elsewhere.filePath("Items.dat")));
}

void TstLocations::modulesKeepPasswordsOnlyWhenAsked() {
    QTemporaryDir dir;
    TDataModule module;
    module.SetName("Vault");
    auto* db = new TOstDatabase(&module);
    db->SetName("VaultDb");
    db->SetPassword("db-secret-1");
    auto* table = new TOstTable(&module);
    table->SetName("Ledger");
    table->SetEncryptionPassword("table-secret-2");
    const QString file = dir.filePath("vault.ostdm");
    SaveDataModule(module, file);
    QFile f(file);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray text = f.readAll();
    f.close();
    QVERIFY(!text.contains("secret"));
    QVERIFY(text.contains("\"StorePassword\": false"));
    // The clipboard's stream leaves them out too; an undo step keeps them.
    QVERIFY(!QJsonDocument(ComponentsToJson({db, table})).toJson().contains("secret"));
    QVERIFY(QJsonDocument(ComponentsToJson({db, table}, TStreamPasswords::All)).toJson().contains("table-secret-2"));

    // Asked for, per component.
    table->SetStorePassword(true);
    SaveDataModule(module, file);
    TDataModule loaded;
    LoadDataModule(file, &loaded);
    auto* ledger = qobject_cast<TOstTable*>(loaded.FindComponent("Ledger"));
    auto* vaultDb = qobject_cast<TOstDatabase*>(loaded.FindComponent("VaultDb"));
    QCOMPARE(ledger->GetEncryptionPassword(), QStringLiteral("table-secret-2"));
    QVERIFY(ledger->GetStorePassword());
    QCOMPARE(vaultDb->GetPassword(), QString());
}

void TstLocations::passwordsFromTheEnvironment() {
    TestDb t(false);
    MakeTable(t.location, "Secrets", emRijndael, "sesame-123");
    const TOstPasswordEvent handler = GetGlobalOnPassword();
    SetGlobalOnPassword(nullptr);
    auto open = [&] {
        TOstDatabase db; // a connection of its own, so no keys are left from before
        db.SetDatabaseName("EnvDb");
        db.SetLocation(t.location);
        TOstTable s;
        s.SetDatabaseName("EnvDb");
        s.SetTableName("Secrets");
        return Raised([&] {
            s.Open();
            s.Close();
        });
    };
    t.db->SetConnected(false);
    QCOMPARE(open().ErrorCode(), OstErr::Password);
    qputenv("OSTRA_PASSWORD_SECRETS", "sesame-123");
    QCOMPARE(open().ErrorCode(), 0);
    qunsetenv("OSTRA_PASSWORD_SECRETS");
    qputenv("OSTRA_PASSWORD", "wrong-pass");
    QCOMPARE(open().ErrorCode(), OstErr::Password);
    qputenv("OSTRA_PASSWORD", "sesame-123");
    QCOMPARE(open().ErrorCode(), 0);
    qunsetenv("OSTRA_PASSWORD");
    SetGlobalOnPassword(handler);
}

QTEST_MAIN(TstLocations)
#include "tst_locations.moc"
