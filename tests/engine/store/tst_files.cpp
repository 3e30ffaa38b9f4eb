// Names and files: table names that differ only in case, files that are not
// the engine's, damaged definitions and names no file system would take.
#include "engine/engine_helper.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <sqlite3.h>

class TstFiles : public QObject {
    Q_OBJECT
private slots:
    void namesCompareWithoutCase_data() { OST_DATA_LAYOUTS() }
    void namesCompareWithoutCase();
    void foreignFilesStayUntouched();
    void damagedDefinitionIsAnError_data() { OST_DATA_LAYOUTS() }
    void damagedDefinitionIsAnError();
    void damagedTableFile();
    void badNamesAndLinks_data() { OST_DATA_LAYOUTS() }
    void badNamesAndLinks();
};

namespace {

void MakeTable(TestDb& db, const QString& name, int rows) {
    auto t = db.Table(name);
    AddColumn(*t, QStringLiteral("Name"), dtString, 30);
    t->IndexDefs().Add(QStringLiteral("ByName"), QStringLiteral("Name"), TIndexOptions());
    t->CreateTable();
    t->Open();
    for (int i = 0; i < rows; ++i) {
        t->Append();
        t->FieldByName(QStringLiteral("Name"))->SetValue(QStringLiteral("n%1").arg(i));
        t->Post();
    }
}

QByteArray FileHash(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return {};
    return QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256);
}

// Rewrites the stored definition of a table behind the engine's back.
void TamperDefinition(const QString& file, const std::function<void(QJsonObject&)>& change) {
    sqlite3* db = nullptr;
    QCOMPARE(sqlite3_open(QFile::encodeName(file).constData(), &db), SQLITE_OK);
    sqlite3_stmt* st = nullptr;
    QCOMPARE(sqlite3_prepare_v2(db, "SELECT name, def FROM __ostra_meta", -1, &st, nullptr), SQLITE_OK);
    QCOMPARE(sqlite3_step(st), SQLITE_ROW);
    const QByteArray name(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
    QJsonObject def = QJsonDocument::fromJson(reinterpret_cast<const char*>(sqlite3_column_text(st, 1))).object();
    sqlite3_finalize(st);
    change(def);
    const QByteArray json = QJsonDocument(def).toJson(QJsonDocument::Compact);
    QCOMPARE(sqlite3_prepare_v2(db, "UPDATE __ostra_meta SET def = ?1 WHERE name = ?2", -1, &st, nullptr), SQLITE_OK);
    sqlite3_bind_text(st, 1, json.constData(), json.size(), SQLITE_TRANSIENT);
    sqlite3_bind_text(st, 2, name.constData(), name.size(), SQLITE_TRANSIENT);
    QCOMPARE(sqlite3_step(st), SQLITE_DONE);
    sqlite3_finalize(st);
    sqlite3_close(db);
}

} // namespace

void TstFiles::namesCompareWithoutCase() {
    QFETCH(bool, singleFile);
    TestDb db(singleFile);
    MakeTable(db, QStringLiteral("Customers"), 3);

    // A second table whose name differs only in case is the same table.
    auto twin = db.Table(QStringLiteral("customers"));
    AddColumn(*twin, QStringLiteral("Other"), dtInteger);
    const EOstraError e = Raised([&] { twin->CreateTable(); });
    QCOMPARE(e.ErrorCode(), OstErr::AlreadyExists);
    QStringList names;
    db.db->GetTableNames(names);
    QCOMPARE(names, QStringList{QStringLiteral("Customers")});
    QVERIFY(db.db->TableExists(QStringLiteral("CUSTOMERS")));

    // Any spelling opens the stored table with its rows.
    auto lower = db.Table(QStringLiteral("customers"));
    lower->Open();
    QCOMPARE(lower->RecordCount(), 3);
    lower->Close();
    QCOMPARE(db.Scalar(QStringLiteral("SELECT count(*) FROM CUSTOMERS")).toInt(), 3);

    // A rename that changes only the case keeps the rows.
    auto t = db.Table(QStringLiteral("Customers"));
    t->RenameTable(QStringLiteral("CUSTOMERS"));
    db.db->GetTableNames(names);
    QCOMPARE(names, QStringList{QStringLiteral("CUSTOMERS")});
    auto again = db.Table(QStringLiteral("customers"));
    again->Open();
    QCOMPARE(again->RecordCount(), 3);
    if (!singleFile) {
        const QStringList files = QDir(db.location).entryList({QStringLiteral("*.dat")}, QDir::Files);
        QCOMPARE(files, QStringList{QStringLiteral("CUSTOMERS.dat")});
    }
}

void TstFiles::foreignFilesStayUntouched() {
    QTemporaryDir dir;
    // An empty file and another program's SQLite database.
    const QString empty = dir.filePath(QStringLiteral("empty.ostd"));
    QFile(empty).open(QIODevice::WriteOnly);
    const QString foreign = dir.filePath(QStringLiteral("notes.ostd"));
    {
        sqlite3* db = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(foreign).constData(), &db), SQLITE_OK);
        QCOMPARE(sqlite3_exec(db, "CREATE TABLE notes(t TEXT); INSERT INTO notes VALUES ('keep')", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
    }
    for (const QString& file : {empty, foreign}) {
        const QByteArray before = FileHash(file);
        for (bool readOnly : {false, true}) {
            TOstDatabase d;
            d.SetDatabaseType(dbtSingleFile);
            d.SetLocation(file);
            d.SetReadOnly(readOnly);
            const EOstraError e = Raised([&] { QStringList names; d.GetTableNames(names); });
            QVERIFY2(e.Message().contains(QStringLiteral("is not an Ostra database")), qPrintable(e.Message()));
        }
        QCOMPARE(FileHash(file), before);
        QCOMPARE(QFileInfo(file).size(), file == empty ? 0 : QFileInfo(file).size());
    }
    // A database the engine made is opened as before, even before it has a table.
    TestDb fresh(true);
    fresh.db->Close();
    fresh.db->Open();
    QStringList names;
    fresh.db->GetTableNames(names);
    QVERIFY(names.isEmpty());
}

void TstFiles::damagedDefinitionIsAnError() {
    QFETCH(bool, singleFile);
    TestDb db(singleFile);
    MakeTable(db, QStringLiteral("Customers"), 2);
    db.db->Close();
    const QString file = singleFile ? db.location : QDir(db.location).filePath(QStringLiteral("Customers.dat"));
    TamperDefinition(file, [](QJsonObject& def) {
        QJsonArray indexes = def[QStringLiteral("indexes")].toArray();
        QJsonObject ix = indexes.at(0).toObject();
        ix[QStringLiteral("fields")] = QStringLiteral("Gone");
        indexes[0] = ix;
        def[QStringLiteral("indexes")] = indexes;
    });
    auto t = db.Table(QStringLiteral("Customers"));
    t->SetIndexName(QStringLiteral("ByName"));
    const EOstraError e = Raised([&] { t->Open(); });
    QCOMPARE(e.ErrorCode(), OstErr::InvalidDefinition);
    QVERIFY2(e.Message().contains(QStringLiteral("\"Gone\"")), qPrintable(e.Message()));
    QVERIFY(!t->Active());
    // Without the broken order the rows are still there.
    t->SetIndexName(QString());
    t->Open();
    QCOMPARE(t->RecordCount(), 2);
}

void TstFiles::damagedTableFile() {
    TestDb db(false);
    MakeTable(db, QStringLiteral("Good"), 1);
    QFile bad(QDir(db.location).filePath(QStringLiteral("Broken.dat")));
    QVERIFY(bad.open(QIODevice::WriteOnly));
    bad.write(QByteArray(8192, '\x5a'));
    bad.close();
    auto t = db.Table(QStringLiteral("Broken"));
    const EOstraError read = Raised([&] { t->ReadDefinitions(); t->Open(); });
    QVERIFY2(read.Message().contains(QStringLiteral("is damaged or is not an Ostra table file")), qPrintable(read.Message()));
    AddColumn(*t, QStringLiteral("A"), dtInteger);
    const EOstraError create = Raised([&] { t->CreateTable(); });
    QCOMPARE(create.ErrorCode(), OstErr::AlreadyExists);
    QVERIFY2(create.Message().contains(QStringLiteral("is in the way")), qPrintable(create.Message()));
    QCOMPARE(QFileInfo(bad.fileName()).size(), 8192);
}

void TstFiles::badNamesAndLinks() {
    QFETCH(bool, singleFile);
    TestDb db(singleFile);
    auto t = db.Table(QString(100000, QLatin1Char('N')));
    AddColumn(*t, QStringLiteral("A"), dtInteger);
    const EOstraError e = Raised([&] { t->CreateTable(); });
    QCOMPARE(e.ErrorCode(), OstErr::InvalidName);
    QVERIFY2(e.Message().contains(QStringLiteral("too long")), qPrintable(e.Message().left(200)));
    QVERIFY(e.Message().size() < 200);

    auto orders = db.Table(QStringLiteral("Orders"));
    AddColumn(*orders, QStringLiteral("Customer"), dtLink)->SetSpec(QStringLiteral("Nowhere"));
    const EOstraError link = Raised([&] { orders->CreateTable(); });
    QVERIFY2(link.Message().contains(QStringLiteral("linked table \"Nowhere\" does not exist")), qPrintable(link.Message()));
    MakeTable(db, QStringLiteral("Nowhere"), 0);
    orders->CreateTable();
    // A table may link to itself.
    auto tree = db.Table(QStringLiteral("Tree"));
    AddColumn(*tree, QStringLiteral("Parent"), dtLink)->SetSpec(QStringLiteral("Tree"));
    tree->CreateTable();
}

QTEST_GUILESS_MAIN(TstFiles)
#include "tst_files.moc"
