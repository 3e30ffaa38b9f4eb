// The ostra command-line tool, run as a separate process against directory
// and single-file databases.
#include "cli_helper.h"

#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

namespace {

QString Json(const QJsonObject& o) { return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Indented)); }

QJsonObject ParseJson(const char* text) {
    QJsonParseError e;
    const QJsonDocument d = QJsonDocument::fromJson(QByteArray(text), &e);
    if (e.error != QJsonParseError::NoError) qFatal("bad test JSON: %s", qPrintable(e.errorString()));
    return d.object();
}

void AddLayouts() {
    QTest::addColumn<bool>("singleFile");
    QTest::newRow("directory") << false;
    QTest::newRow("single file") << true;
}


// A parent table given with the fewest keys: the rest must come back as a new definition's defaults.
// A description without the engine's figures of each index (tst_cliindexes checks those).
QJsonObject WithoutStatistics(QJsonObject def) {
    QJsonArray indexes = def["indexes"].toArray();
    for (int i = 0; i < indexes.size(); ++i) {
        QJsonObject ix = indexes[i].toObject();
        ix.remove(QStringLiteral("statistics"));
        indexes[i] = ix;
    }
    def["indexes"] = indexes;
    return def;
}

const char* const RegionsInput = R"js({
  "columns": [
    {"name": "Code", "type": "dtString", "size": 4, "nullable": false},
    {"name": "Title", "type": "WideString", "size": 30}
  ],
  "indexes": [{"name": "PK", "fields": "Code", "options": ["primary"]}]
})js";

const char* const RegionsDescribed = R"js({
  "name": "Regions", "level": 6, "capacity": 100000, "collation": "", "encryption": 0,
  "columns": [
    {"name": "Code", "type": 1, "typeName": "dtString", "size": 4, "precision": 0, "nullable": false,
     "special": false, "calculated": false, "expression": "", "spec": "", "number": 1},
    {"name": "Title", "type": 16, "typeName": "dtWideString", "size": 30, "precision": 0, "nullable": true,
     "special": false, "calculated": false, "expression": "", "spec": "", "number": 2}
  ],
  "indexes": [{"name": "PK", "fields": "Code", "descFields": "", "expression": "", "options": ["primary"],
               "statistics": {"keySize": 13, "pageSize": 4096, "capacity": 100000, "pages": 1, "keys": 0}}],
  "fulltext": [], "foreignKeys": [], "checks": []
})js";

// Every key a definition has, with values other than the defaults; types by name and by ordinal.
const char* const OrdersInput = R"js({
  "name": "Orders", "level": 6, "capacity": 250000, "collation": "de_DE_ci", "encryption": 1,
  "columns": [
    {"name": "Id", "type": "dtAutoInc", "size": 0, "precision": 0, "nullable": false, "special": false,
     "calculated": false, "expression": "", "spec": ""},
    {"name": "Region", "type": "String", "size": 4, "precision": 0, "nullable": false, "special": false,
     "calculated": false, "expression": "", "spec": ""},
    {"name": "Customer", "type": 16, "size": 50, "precision": 0, "nullable": true, "special": false,
     "calculated": false, "expression": "", "spec": "en_US_ci_ai"},
    {"name": "Amount", "type": 4, "size": 0, "precision": 2, "nullable": true, "special": false,
     "calculated": false, "expression": "0", "spec": ""},
    {"name": "Status", "type": "dtEnum", "size": 0, "precision": 0, "nullable": false, "special": false,
     "calculated": false, "expression": "", "spec": "Open,Paid,Cancelled"},
    {"name": "Total", "type": "Float", "size": 0, "precision": 0, "nullable": true, "special": false,
     "calculated": true, "expression": "Amount * 2", "spec": ""},
    {"name": "Home", "type": 11, "size": 0, "precision": 0, "nullable": true, "special": true,
     "calculated": false, "expression": "", "spec": "Regions"},
    {"name": "Notes", "type": "dtWideMemo", "size": 0, "precision": 0, "nullable": true, "special": false,
     "calculated": false, "expression": "", "spec": ""}
  ],
  "indexes": [
    {"name": "PK", "fields": "Id", "descFields": "", "expression": "", "options": ["primary"]},
    {"name": "ByCustomer", "fields": "Region;Customer", "descFields": "Customer", "caseInsFields": "Customer",
     "expression": "", "options": ["unique"]},
    {"name": "ByAmount", "fields": "Amount", "descFields": "", "expression": "", "options": ["descending", "nonMaintained"]},
    {"name": "ByUpper", "fields": "", "descFields": "", "expression": "upper(Customer)", "options": ["caseInsensitive", "expression"]}
  ],
  "fulltext": [{"name": "Words.fti", "fields": "Customer;Notes", "dictionary": "Words", "minRelevance": 5, "separators": " ,;"}],
  "foreignKeys": [{"name": "ToRegion", "parentTable": "Regions", "childFields": "Region", "parentFields": "Code",
                   "onUpdate": "Cascade", "onDelete": "Reject"}],
  "checks": [{"name": "NonNegative", "condition": "Amount >= 0", "message": "Amount must not be negative"}]
})js";

// A small table whose columns an alter renames, resizes, moves, retypes, drops and adds to.
const char* const ItemsInput = R"js({"name": "Items", "columns": [
  {"name": "Id", "type": "dtAutoInc"}, {"name": "Code", "type": "dtString", "size": 10},
  {"name": "Qty", "type": "dtString", "size": 8}, {"name": "Price", "type": "dtFloat"},
  {"name": "Old", "type": "dtMemo"}, {"name": "Flag", "type": "dtBoolean"}],
  "indexes": [{"name": "ByCode", "fields": "Code", "options": ["unique"]}]})js";

const char* const BigInput = R"js({"name": "Big", "columns": [
  {"name": "Id", "type": "dtAutoInc"}, {"name": "Code", "type": "dtString", "size": 20},
  {"name": "Name", "type": "dtString", "size": 60}, {"name": "Qty", "type": "dtInteger"},
  {"name": "Price", "type": "dtFloat"}, {"name": "Day", "type": "dtDate"},
  {"name": "Flag", "type": "dtBoolean"}, {"name": "Note", "type": "dtMemo"}],
  "indexes": [{"name": "PK", "fields": "Id", "options": ["primary"]},
              {"name": "ByCode", "fields": "Code", "options": ["unique"]},
              {"name": "ByName", "fields": "Name;Qty"}]})js";

constexpr int BigRows = 300000;

// Keys in ascending order keep the index inserts cheap.
const QByteArray BigFill = QStringLiteral(
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1)\n"
    "INSERT INTO Big(Code, Name, Qty, Price, Day, Flag, Note)\n"
    "SELECT printf('C%07d', i), printf('Name %07d', i), i % 1000, i / 8.0,\n"
    "       date('2020-01-01', '+' || (i % 1000) || ' days'), i % 2, 'note ' || i FROM n;\n").arg(BigRows).toUtf8();

const QString BigFingerprint = QStringLiteral(
    "SELECT count(*), sum(Qty), sum(length(Code)), min(Name), max(Name), total(Price), count(Day), sum(Flag) FROM Big");

} // namespace

class TestCli : public QObject {
    Q_OBJECT

private slots:
    void createDatabase_data() { AddLayouts(); }
    void createDatabase();
    void definitionsRoundTrip_data() { AddLayouts(); }
    void definitionsRoundTrip();
    void alterRestructuresAndKeepsData_data() { AddLayouts(); }
    void alterRestructuresAndKeepsData();
    void sqlOutput_data() { AddLayouts(); }
    void sqlOutput();
    void searchPrintsRankedRecords_data() { AddLayouts(); }
    void searchPrintsRankedRecords();
    void badInput();
    void encryptedTableNeedsThePassword();
    void planAndApplyAsTheDesignerDoes();
    void alterKilledMidwayLeavesOldTable_data();
    void alterKilledMidwayLeavesOldTable();
    void copyBetweenDatabases();
    void tableLocksLeaveTheTransactionsLocksAlone_data() { AddLayouts(); }
    void tableLocksLeaveTheTransactionsLocksAlone();
};

void TestCli::planAndApplyAsTheDesignerDoes() {
    CliDb d;
    const QString& db = d.db;
    EXPECT_OK(d.Create({{"Items.json", ItemsInput}}));
    EXPECT_OK(RunOstra({"sql", db, "INSERT INTO Items(Code, Qty, Price) VALUES ('A1', '5', 1.5), ('B2', '7', 2)"}));

    // Rename the table and a column, widen it, drop one, add one and an index.
    QJsonObject def = DescribeJson(db, "Items");
    QJsonArray columns = def["columns"].toArray();
    QJsonObject code = columns[1].toObject();
    code["name"] = "Sku";
    code["size"] = 12;
    columns[1] = code;
    columns.removeAt(4); // Old
    columns.append(QJsonObject{{"name", "Note"}, {"type", "dtWideString"}, {"size", 40}});
    def["columns"] = columns;
    QJsonArray indexes = def["indexes"].toArray();
    QJsonObject byCode = indexes[0].toObject();
    byCode["fields"] = "Sku";
    indexes[0] = byCode;
    indexes.append(QJsonObject{{"name", "ByQty"}, {"fields", "Qty"}});
    def["indexes"] = indexes;
    def["name"] = "Stock";
    const QString file = d.File("stock.json", Json(def).toUtf8());

    // A deleted column stands at the end of the list; the one behind it moved up.
    const QString plan = "\tTable renamend to Stock\n2\tSku renamed.\n6\tOld deleted.\n5\tFlag position changed.\n6\tNote added.\n"
                         "\tIndex ByCode: fields changed\n\tIndex ByQty added\n"
                         "Applying rebuilds the table, copying every row: column \"Old\" is deleted.\n";
    CliRun r = RunOstra({"plan", db, file, "--table=Items"});
    EXPECT_OK(r);
    QCOMPARE(r.out, plan);
    EXPECT_FAIL(RunOstra({"plan", db, file, "--table=Nothing"}), 1, "\"Nothing\" does not exist");
    QCOMPARE(RunOstra({"plan", db, file, "--table="}).exitCode, 2);

    // Without a terminal to ask, apply wants --yes and changes nothing.
    EXPECT_FAIL(RunOstra({"apply", db, file, "--table=Items"}), 1, "--yes");
    QCOMPARE(SqlCsv(db, "SELECT Code FROM Items ORDER BY Code"), QStringLiteral("Code\nA1\nB2\n"));
    r = RunOstra({"apply", db, file, "--table=Items", "--yes"});
    EXPECT_OK(r);
    QCOMPARE(r.out, plan + "Applied to Stock (2 rows)\n");
    QCOMPARE(SqlCsv(db, "SELECT Sku, Qty, Note FROM Stock ORDER BY Sku"), QStringLiteral("Sku,Qty,Note\nA1,5,\nB2,7,\n"));
    // Described again, the table plans no change.
    WriteTextFile(file, Json(DescribeJson(db, "Stock")).toUtf8());
    r = RunOstra({"plan", db, file});
    QCOMPARE(r.out, QStringLiteral("\tNo changes to table structure\n"));
    r = RunOstra({"apply", db, file, "--yes"});
    EXPECT_OK(r);
    QVERIFY2(r.out.contains("There are no changes to the table properties."), qPrintable(r.out));

    // An engine refusal is reported and leaves the table as it was.
    def = DescribeJson(db, "Stock");
    columns = def["columns"].toArray();
    QJsonObject id = columns[0].toObject();
    id["spec"] = "\"Nowhere\"";
    columns[0] = id;
    def["columns"] = columns;
    WriteTextFile(file, Json(def).toUtf8());
    EXPECT_FAIL(RunOstra({"apply", db, file, "--yes"}), 1, "The property Indication of the dtAutoInc column");
    QCOMPARE(DescribeJson(db, "Stock")["columns"].toArray()[0].toObject()["spec"].toString(), QString());

    // A table that does not exist is created.
    const QString fresh = d.File("fresh.json", R"js({"name": "Fresh", "columns": [{"name": "A", "type": "dtInteger", "number": 4}]})js");
    QCOMPARE(RunOstra({"plan", db, fresh}).out, QStringLiteral("1\tA added.\nApplying creates the table.\n"));
    r = RunOstra({"apply", db, fresh, "--yes"});
    EXPECT_OK(r);
    QVERIFY2(r.out.endsWith("Created Fresh (0 rows)\n"), qPrintable(r.out));
}

void TestCli::createDatabase() {
    QFETCH(bool, singleFile);
    CliDb d(singleFile);
    const QString& db = d.db;
    EXPECT_OK(d.Create());
    QCOMPARE(singleFile ? QFileInfo(db).isFile() : QFileInfo(db).isDir(), true);
    CliRun r = RunOstra({"tables", db});
    EXPECT_OK(r);
    QCOMPARE(r.out, QString());
    // An empty directory may become a database; one holding tables may not.
    EXPECT_OK(RunOstra({"create-table", db, d.File("T.json", R"js({"columns": [{"name": "A", "type": "dtInteger"}]})js")}));
    EXPECT_FAIL(RunOstra({"create-db", db}), 1, "already exists");

    // --single-file completes the extension; --catalog makes a managed database.
    const QString managed = d.tmp.filePath(singleFile ? "managed" : "managed-dir");
    EXPECT_OK(RunOstra(singleFile ? QStringList{"create-db", managed, "--single-file", "--catalog"}
                                  : QStringList{"create-db", managed, "--catalog"}));
    const QString location = singleFile ? managed + ".ostd" : managed;
    QVERIFY(singleFile ? QFileInfo(location).isFile() : QFileInfo(location).isDir());
    TOstDatabase check;
    check.SetLocation(location);
    check.SetDatabaseType(singleFile ? dbtSingleFile : dbtDirectory);
    check.Open();
    QVERIFY(check.GetManaged());
}

void TestCli::definitionsRoundTrip() {
    QFETCH(bool, singleFile);
    CliDb d(singleFile);
    const QString& db = d.db;
    // Without a "name" the file name names the table; with one, the file name does not matter.
    EXPECT_OK(d.Create({{"Regions.json", RegionsInput},
                        {"Words.json", R"js({"columns": [{"name": "Keyword", "type": "dtWideString", "size": 40},
        {"name": "Relevance", "type": "dtWord"}, {"name": "RecordId", "type": "dtAutoInc"}]})js"}, // a fulltext dictionary
                        {"orders-v1.json", OrdersInput}}));

    const QJsonObject regions = DescribeJson(db, "regions"); // table names are found without regard to case
    QVERIFY2(regions == ParseJson(RegionsDescribed), qPrintable(Json(regions)));

    QJsonObject expected = ParseJson(OrdersInput);
    QJsonArray columns = expected["columns"].toArray();
    const int types[] = {10, 1, 16, 4, 9, 4, 11, 17};
    const char* const typeNames[] = {"dtAutoInc", "dtString", "dtWideString", "dtFloat", "dtEnum", "dtFloat", "dtLink", "dtWideMemo"};
    for (int i = 0; i < columns.size(); ++i) {
        QJsonObject c = columns[i].toObject();
        c["type"] = types[i];
        c["typeName"] = typeNames[i];
        c["number"] = i + 1;
        columns[i] = c;
    }
    expected["columns"] = columns;
    const QJsonObject orders = WithoutStatistics(DescribeJson(db, "Orders"));
    QVERIFY2(orders == expected, qPrintable(Json(orders)));

    CliRun r = RunOstra({"tables", db});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Orders\nRegions\nWords\n")); // a fulltext dictionary is a table like any other
    r = RunOstra({"tables", db, "--system"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Orders\nRegions\nWords\n"));
    if (!singleFile) {
        // A table file stands for its table.
        r = RunOstra({"tables", db + "/Orders.dat"});
        EXPECT_OK(r);
        QCOMPARE(r.out, QStringLiteral("Orders\n"));
        r = RunOstra({"describe", db + "/Orders.dat", "--json"});
        EXPECT_OK(r);
        QCOMPARE(WithoutStatistics(QJsonDocument::fromJson(r.out.toUtf8()).object()), expected);
    }

    // What describe prints is what alter reads: feeding it back changes nothing.
    r = RunOstra({"describe", db, "Orders", "--json"});
    EXPECT_OK(RunOstra({"alter", db, d.File("described.json", r.out.toUtf8())}));
    QCOMPARE(WithoutStatistics(DescribeJson(db, "Orders")), expected);

    EXPECT_FAIL(RunOstra({"create-table", db, d.tmp.filePath("orders-v1.json")}), 1, "already exists");

    r = RunOstra({"describe", db, "Orders"});
    EXPECT_OK(r);
    for (const char* part : {"Orders", "Customer", "dtWideString", "ByCustomer", "Words.fti", "ToRegion", "Cascade",
                             "Amount must not be negative"})
        QVERIFY2(r.out.contains(QLatin1String(part)), qPrintable(r.out));
}

void TestCli::alterRestructuresAndKeepsData() {
    QFETCH(bool, singleFile);
    CliDb d(singleFile);
    const QString& db = d.db;
    EXPECT_OK(d.Create({{"items.json", ItemsInput}}));
    EXPECT_OK(RunOstra({"sql", db, "INSERT INTO Items(Code, Qty, Price, Old, Flag) VALUES "
                                   "('A1', '12', 2.5, 'x', 1), ('B2', ' 7', NULL, 'y', 0), ('C3', NULL, 10, NULL, NULL)"}));

    // Code renamed to Sku and widened, Price moved to the front, Qty from text to integer,
    // Flag renamed, Old dropped, Note added.
    const QString v2 = d.File("items-v2.json", R"js({"name": "Items", "columns": [
        {"name": "Id", "type": "dtAutoInc", "number": 1},
        {"name": "Price", "type": "dtFloat", "number": 4},
        {"name": "Sku", "type": "dtString", "size": 20, "number": 2},
        {"name": "Qty", "type": "dtInteger", "number": 3},
        {"name": "Active", "type": "dtBoolean", "number": 6},
        {"name": "Note", "type": "dtWideString", "size": 30}],
      "indexes": [{"name": "BySku", "fields": "Sku", "options": ["unique"]}]})js");
    CliRun r = RunOstra({"alter", db, v2});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Restructured Items (3 rows)\n"));
    QCOMPARE(r.err, QString()); // no progress line when stderr is not a terminal

    const QJsonObject after = DescribeJson(db, "Items");
    QStringList shape;
    for (const QJsonValue& v : after["columns"].toArray()) {
        const QJsonObject c = v.toObject();
        shape << QStringLiteral("%1:%2:%3:%4").arg(c["number"].toInt()).arg(c["name"].toString(), c["typeName"].toString()).arg(c["size"].toInt());
    }
    QCOMPARE(shape, QStringList({"1:Id:dtAutoInc:0", "4:Price:dtFloat:0", "2:Sku:dtString:20", "3:Qty:dtInteger:0",
                                 "6:Active:dtBoolean:0", "7:Note:dtWideString:30"}));
    const QString rows = QStringLiteral("Id,Price,Sku,Qty,Active,Note\n1,2.5,A1,12,1,\n2,,B2,7,0,\n3,10.0,C3,,,\n");
    QCOMPARE(SqlCsv(db, "SELECT * FROM Items ORDER BY Id"), rows);
    QCOMPARE(SqlCsv(db, "SELECT typeof(Qty) FROM Items WHERE Id = 2"), QStringLiteral("typeof(Qty)\ninteger\n"));
    QCOMPARE(SqlCsv(db, "SELECT Id FROM Items WHERE Sku = 'C3'"), QStringLiteral("Id\n3\n"));

    // 'A1' is no whole number: the whole alter fails and the table stays as it was.
    QJsonObject bad = after;
    QJsonArray cols = bad["columns"].toArray();
    QJsonObject sku = cols[2].toObject();
    sku["type"] = "dtInteger";
    cols[2] = sku;
    bad["columns"] = cols;
    r = RunOstra({"alter", db, d.File("items-bad.json", QJsonDocument(bad).toJson())});
    EXPECT_FAIL(r, 1, "Sku");
    QVERIFY2(r.err.contains("'A1' is not a whole number"), r.Describe().constData());
    QCOMPARE(r.out, QString());
    QCOMPARE(DescribeJson(db, "Items"), after);
    QCOMPARE(SqlCsv(db, "SELECT * FROM Items ORDER BY Id"), rows);

    // A number that names no stored column would silently start an empty column: refused.
    sku["type"] = "dtString";
    sku["number"] = 42;
    cols[2] = sku;
    bad["columns"] = cols;
    EXPECT_FAIL(RunOstra({"alter", db, d.File("items-bad.json", QJsonDocument(bad).toJson())}), 1, "number 42");
    QCOMPARE(DescribeJson(db, "Items"), after);
}

void TestCli::sqlOutput() {
    QFETCH(bool, singleFile);
    CliDb d(singleFile);
    const QString& db = d.db;
    EXPECT_OK(d.Create({{"T.json", R"js({"columns": [{"name": "Id", "type": "dtAutoInc"},
        {"name": "Name", "type": "dtString", "size": 30}, {"name": "Amount", "type": "dtFloat"}],
        "checks": [{"condition": "Amount < 1000", "message": "too much"}]})js"}}));

    // Several statements from standard input run together.
    CliRun r = RunOstra({"sql", db, "-"}, "INSERT INTO T(Name, Amount) VALUES ('Ann', 1.5), ('Bob, \"the\" builder', NULL);\n"
                                         "INSERT INTO T(Name, Amount) VALUES ('', -2), (NULL, 100);\n"
                                         "INSERT INTO T(Name, Amount) VALUES ('two' || char(10) || 'lines', 0.25);\n");
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("5 row(s) affected\n"));

    r = RunOstra({"sql", db, "SELECT Id, Name, Amount FROM T ORDER BY Id"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Id | Name               | Amount\n"
                                   "---+--------------------+-------\n"
                                   " 1 | Ann                |    1.5\n"
                                   " 2 | Bob, \"the\" builder |   NULL\n"
                                   " 3 |                    |   -2.0\n"
                                   " 4 | NULL               |  100.0\n"
                                   " 5 | two\\nlines         |   0.25\n"
                                   "(5 rows)\n"));
    QCOMPARE(SqlCsv(db, "SELECT Id, Name, Amount AS \"Amount, EUR\" FROM T ORDER BY Id"),
             QStringLiteral("Id,Name,\"Amount, EUR\"\n1,Ann,1.5\n2,\"Bob, \"\"the\"\" builder\",\n3,\"\",-2.0\n4,,100.0\n"
                            "5,\"two\nlines\",0.25\n"));

    r = RunOstra({"sql", db, "UPDATE T SET Amount = 0 WHERE Amount IS NULL"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("1 row(s) affected\n"));

    // A failing statement takes the statements before it back with it.
    EXPECT_FAIL(RunOstra({"sql", db, "-"}, "DELETE FROM T WHERE Id = 1; INSERT INTO T(Name, Amount) VALUES ('x', 5000);"),
                1, "too much");
    EXPECT_FAIL(RunOstra({"sql", db, "SELECT Nope FROM T"}), 1, "Nope");
    QCOMPARE(SqlCsv(db, "SELECT count(*) AS n FROM T"), QStringLiteral("n\n5\n"));
}

void TestCli::searchPrintsRankedRecords() {
    QFETCH(bool, singleFile);
    CliDb d(singleFile);
    const QString& db = d.db;
    // The fulltext index of the definition is built with the table; its dictionary is made for it.
    EXPECT_OK(d.Create({{"Notes.json", R"js({"columns": [{"name": "Id", "type": "dtAutoInc"},
        {"name": "Title", "type": "dtString", "size": 30}, {"name": "Body", "type": "dtMemo"}],
        "fulltext": [{"name": "Words.fti", "fields": "Title;Body", "dictionary": "NotesDict"},
                     {"name": "Titles.fti", "fields": "Title", "dictionary": "NotesDict"}]})js"}}));
    EXPECT_OK(RunOstra({"sql", db, "INSERT INTO Notes(Title, Body) VALUES ('Green tea', 'Tea leaves, hot water.'), "
                                   "('Coffee', 'Beans and water'), ('Tea time', 'tea, tea and cake')"}));
    CliRun r = RunOstra({"search", db, "Notes", "tea"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Id | Title     | Body                   | Relevance\n"
                                   "---+-----------+------------------------+----------\n"
                                   " 3 | Tea time  | tea, tea and cake      |         3\n"
                                   " 1 | Green tea | Tea leaves, hot water. |         2\n"
                                   "(2 rows)\n"));
    r = RunOstra({"search", db, "Notes", "water cake", "--any", "--csv"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Id,Title,Body,Relevance\n1,Green tea,\"Tea leaves, hot water.\",1\n"
                                   "2,Coffee,Beans and water,1\n3,Tea time,\"tea, tea and cake\",1\n"));
    r = RunOstra({"search", db, "Notes", "t*", "--index=Titles.fti", "--csv"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Id,Title,Body,Relevance\n3,Tea time,\"tea, tea and cake\",2\n1,Green tea,\"Tea leaves, hot water.\",1\n"));
    QCOMPARE(SqlCsv(db, "SELECT Keyword, Relevance FROM NotesDict WHERE Keyword IN ('tea', 'water') ORDER BY Keyword"),
             QStringLiteral("Keyword,Relevance\ntea,4\nwater,2\n"));

    // After a restructure that renames the indexed column, changed rows are found as they should be.
    QJsonObject def = DescribeJson(db, "Notes");
    QJsonArray columns = def["columns"].toArray();
    QJsonObject body = columns[2].toObject();
    body["name"] = "Text";
    columns[2] = body;
    def["columns"] = columns;
    EXPECT_OK(RunOstra({"alter", db, d.File("Notes2.json", Json(def).toUtf8())}));
    EXPECT_OK(RunOstra({"sql", db, "UPDATE Notes SET Text = 'only coffee' WHERE Id = 3"}));
    r = RunOstra({"search", db, "Notes", "coffee", "--csv"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Id,Title,Text,Relevance\n2,Coffee,Beans and water,1\n3,Tea time,only coffee,1\n"));
    QCOMPARE(SqlCsv(db, "SELECT RecordId FROM ostra_search('Notes', 'tea OR beans') ORDER BY RecordId"),
             QStringLiteral("RecordId\n1\n2\n3\n"));

    EXPECT_FAIL(RunOstra({"search", db, "Notes", "tea", "--index=Nope.fti"}), 1, "Fulltext index \"Nope.fti\" does not exist");
    EXPECT_FAIL(RunOstra({"search", db, "Nope", "tea"}), 1, "\"Nope\"");
    QCOMPARE(RunOstra({"search", db, "Notes"}).exitCode, 2);
    QCOMPARE(RunOstra({"search", db, "Notes", "tea", "--all"}).exitCode, 2);
}

void TestCli::encryptedTableNeedsThePassword() {
    CliDb d(false);
    const QString& db = d.db;
    // Stdin is no terminal here: without --password nobody can be asked.
    EXPECT_FAIL(d.Create({{"Vault.json", R"js({"level": 6, "encryption": 6, "columns": [{"name": "Note", "type": "dtString", "size": 40}]})js"}}),
                1, "Table \"Vault\" needs a password for encryption method \"Rijndael/AES\"");
    EXPECT_OK(RunOstra({"--password=open sesame", "create-table", db, d.tmp.filePath("Vault.json")}));
    EXPECT_OK(RunOstra({"sql", db, "INSERT INTO Vault(Note) VALUES ('Hidden-Note-1')", "--password=open sesame"}));
    CliRun r = RunOstra({"--password=open sesame", "sql", db, "SELECT Note FROM Vault", "--csv"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Note\nHidden-Note-1\n"));
    QFile file(QDir(db).filePath("Vault.dat"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.readAll().contains("Hidden-Note"));

    EXPECT_FAIL(RunOstra({"sql", db, "SELECT Note FROM Vault"}), 1, "Table \"Vault\" is encrypted and needs a password");
    EXPECT_FAIL(RunOstra({"--password=open sesame!", "describe", db, "Vault"}), 1, "Wrong password for table \"Vault\"");
    EXPECT_FAIL(RunOstra({"--password=", "tables", db}), 2, "--password needs a value");
    // Listing names needs no password.
    r = RunOstra({"tables", db});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Vault\n"));
}

void TestCli::badInput() {
    CliDb d(false);
    const QString& db = d.db;
    EXPECT_OK(d.Create());
    const QTemporaryDir& tmp = d.tmp;

    CliRun r = RunOstra({});
    QCOMPARE(r.exitCode, 2);
    QVERIFY(r.err.contains("Usage: ostra"));
    r = RunOstra({"--help"});
    EXPECT_OK(r);
    QVERIFY(r.out.contains("Usage: ostra"));
    QCOMPARE(RunOstra({"frobnicate", db}).exitCode, 2);
    QCOMPARE(RunOstra({"tables", db, "--bogus"}).exitCode, 2);
    QCOMPARE(RunOstra({"describe"}).exitCode, 2);

    EXPECT_FAIL(RunOstra({"tables", tmp.filePath("nowhere")}), 1, "does not exist");
    EXPECT_FAIL(RunOstra({"create-table", db, tmp.filePath("missing.json")}), 1, "missing.json");

    EXPECT_FAIL(RunOstra({"create-table", db, d.File("broken.json", "{\n  \"columns\": [\n    {\"name\": \"A\" \"type\": 1}\n  ]\n}\n")}), 1,
                "broken.json:3:");

    struct { const char* json; const char* message; } rejected[] = {
        {R"js({"columns": [{"name": "A", "type": "dtNumber"}]})js", "unknown data type \"dtNumber\""},
        {R"js({"columns": [{"name": "A", "type": 20}]})js", "unknown data type 20"},
        {R"js({"columns": [{"name": "A", "type": "dtInteger", "nulable": false}]})js", "unknown key \"nulable\""},
        {R"js({"columns": [{"name": "A", "type": "dtInteger", "size": "4"}]})js", "expected a whole number"},
        {R"js({"columns": [{"name": "A", "type": "dtInteger"}], "indexes": [{"name": "X", "fields": "A", "options": ["uniq"]}]})js", "uniq"},
        {R"js({"columns": [{"name": "A", "type": "dtInteger"}], "indexes": [{"name": "X", "fields": "B"}]})js", "\"B\" does not exist"},
        {R"js({"columns": [{"name": "A", "type": "dtString", "size": 0}]})js", "size"},
        {R"js([1, 2])js", "expected a JSON object"},
    };
    for (const auto& c : rejected) {
        r = RunOstra({"create-table", db, d.File("Bad.json", c.json)});
        QVERIFY2(r.exitCode == 1 && r.err.startsWith("ostra: ") && r.err.contains(QString::fromUtf8(c.message)),
                 (QByteArray(c.json) + "\n" + r.Describe()).constData());
    }
    QCOMPARE(RunOstra({"tables", db}).out, QString()); // nothing was created

    EXPECT_FAIL(RunOstra({"describe", db, "Nope"}), 1, "\"Nope\" does not exist");
    EXPECT_FAIL(RunOstra({"alter", db, d.File("Nope.json", R"js({"columns": [{"name": "A", "type": "dtInteger"}]})js")}), 1,
                "\"Nope\" does not exist");
    EXPECT_FAIL(RunOstra({"sql", db, "SELECT * FROM Nope"}), 1, "Nope");

    // Files that are not the engine's are refused and left byte for byte as they were.
    WriteTextFile(tmp.filePath("empty.ostd"), QByteArray());
    EXPECT_FAIL(RunOstra({"tables", tmp.filePath("empty.ostd")}), 1, "is not an Ostra database");
    QCOMPARE(QFileInfo(tmp.filePath("empty.ostd")).size(), 0);

    // Structure goes through the engine: SQL names the command to use, drop-table deletes.
    EXPECT_OK(RunOstra({"create-table", db, d.File("T.json", R"js({"columns": [{"name": "A", "type": "dtInteger"}]})js")}));
    EXPECT_FAIL(RunOstra({"sql", db, "DROP TABLE T"}), 1, "ostra drop-table");
    EXPECT_OK(RunOstra({"drop-table", db, "t"}));
    QCOMPARE(RunOstra({"tables", db}).out, QString());
    EXPECT_FAIL(RunOstra({"drop-table", db, "T"}), 1, "does not exist");
}

void TestCli::alterKilledMidwayLeavesOldTable_data() {
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<bool>("whileIndexing");
    // Copying: the new rows go into a second table. Indexing: the old table is already
    // dropped inside the transaction and the new one's indexes are being built.
    QTest::newRow("directory, copying rows") << false << false;
    QTest::newRow("single file, building indexes") << true << true;
}

void TestCli::alterKilledMidwayLeavesOldTable() {
    QFETCH(bool, singleFile);
    QFETCH(bool, whileIndexing);
    CliDb d(singleFile);
    const QString& db = d.db;
    EXPECT_OK(d.Create({{"Big.json", BigInput}}));
    CliRun r = RunOstra({"sql", db, "-"}, BigFill);
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("%1 row(s) affected\n").arg(BigRows));

    const QJsonObject before = DescribeJson(db, "Big");
    const QString fingerprint = SqlCsv(db, BigFingerprint);
    QVERIFY(!before.isEmpty() && !fingerprint.isEmpty());

    // Widening Code alone would be made in place; retyping Qty to a float converts its values: a rebuild.
    QJsonObject changed = before;
    QJsonArray cols = changed["columns"].toArray();
    QJsonObject code = cols[1].toObject(), qty = cols[3].toObject();
    code["size"] = 30;
    qty["type"] = "dtFloat";
    cols[1] = code;
    cols[3] = qty;
    changed["columns"] = cols;
    const QString v2 = d.File("Big-v2.json", QJsonDocument(changed).toJson());

    const QString dataFile = singleFile ? db : db + "/Big.dat";
    const QString journal = dataFile + "-journal";
    const qint64 startSize = QFileInfo(dataFile).size();
    QProcess alter;
    alter.start(QStringLiteral(OSTRA_CLI_PATH), {"alter", db, v2});
    QVERIFY(alter.waitForStarted());
    bool underWay = false;
    QElapsedTimer clock;
    clock.start();
    while (!underWay && alter.state() == QProcess::Running && clock.elapsed() < 60000) {
        const QFileInfo j(journal), f(dataFile);
        underWay = j.exists() && (whileIndexing ? j.size() > 1024 * 1024 : f.size() > startSize + startSize / 4);
        if (!underWay) QThread::msleep(2);
    }
    QVERIFY2(underWay, "the alter ended before it could be interrupted");
    alter.kill(); // SIGKILL
    QVERIFY(alter.waitForFinished());
    QCOMPARE(alter.exitStatus(), QProcess::CrashExit);
    QVERIFY(QFileInfo::exists(journal)); // the transaction was cut off

    QCOMPARE(DescribeJson(db, "Big"), before);
    QCOMPARE(SqlCsv(db, BigFingerprint), fingerprint);

    r = RunOstra({"alter", db, v2});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Restructured Big (%1 rows)\n").arg(BigRows));
    const QJsonArray now = DescribeJson(db, "Big")["columns"].toArray();
    QCOMPARE(now[1].toObject()["size"].toInt(), 30);
    QCOMPARE(now[3].toObject()["typeName"].toString(), QStringLiteral("dtFloat"));
    // Qty holds floats now: summed as whole numbers, they give the same figure.
    QCOMPARE(SqlCsv(db, QString(BigFingerprint).replace("sum(Qty)", "CAST(sum(Qty) AS INTEGER) AS \"sum(Qty)\"")), fingerprint);
    QVERIFY(!QFileInfo::exists(journal));
}

void TestCli::copyBetweenDatabases() {
    CliDb source(false), target;
    const QString &from = source.db, &to = target.db;
    EXPECT_OK(source.Create({{"Items.json", ItemsInput}}));
    EXPECT_OK(target.Create({{"Stock.json", R"js({"name": "Stock", "columns": [{"name": "Sku", "type": "dtString", "size": 10},
        {"name": "Qty", "type": "dtInteger"}], "indexes": [{"name": "PK", "fields": "Sku", "options": ["primary"]}]})js"}}));
    EXPECT_OK(RunOstra({"sql", from, "INSERT INTO Items(Code, Qty) VALUES ('A1', '5'), ('B2', 'many'), ('C3', '7')"}));

    const QString report = source.tmp.filePath("problems.txt");
    const QStringList maps{"--map=Sku=Code", "--map=Qty", "--report=" + report};
    CliRun r = RunOstra(QStringList{"copy", from, "items", to, "Stock"} + maps);
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Moved 2 records (1 problems)\n"));
    QVERIFY2(r.err.contains("listed in " + report), r.Describe().constData());
    QCOMPARE(SqlCsv(to, "SELECT * FROM Stock ORDER BY Sku"), QStringLiteral("Sku,Qty\nA1,5\nC3,7\n"));
    QFile f(report);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QVERIFY2(f.readAll().startsWith("Record 2: Column \"Qty\": 'many' is not a whole number"), qPrintable(report));

    EXPECT_OK(RunOstra({"sql", from, "UPDATE Items SET Qty = '9' WHERE Code = 'A1'; DELETE FROM Items WHERE Code = 'B2'"}));
    r = RunOstra(QStringList{"copy", from, "Items", to, "Stock", "--mode=update"} + maps);
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Moved 2 records (0 problems)\n"));
    QCOMPARE(SqlCsv(to, "SELECT * FROM Stock ORDER BY Sku"), QStringLiteral("Sku,Qty\nA1,9\nC3,7\n"));

    // Wrong input is refused and changes nothing.
    QCOMPARE(RunOstra({"copy", from, "Items", to, "Stock", "--mode=merge"}).exitCode, 2);
    QCOMPARE(RunOstra({"copy", from, "Items", to}).exitCode, 2);
    EXPECT_FAIL(RunOstra({"copy", from, "Items", to, "Stock", "--mode=copy", "--map=Nope=Code"}), 1,
                "Mappings line 1 \"Nope=Code\": table \"Stock\" has no column \"Nope\"");
    EXPECT_FAIL(RunOstra({"copy", from, "Nothing", to, "Stock"}), 1, "\"Nothing\" does not exist");
    QCOMPARE(SqlCsv(to, "SELECT * FROM Stock ORDER BY Sku"), QStringLiteral("Sku,Qty\nA1,9\nC3,7\n"));
}

void TestCli::tableLocksLeaveTheTransactionsLocksAlone() {
    // A transaction of this process holds the file's write lock; opening and
    // closing another table component of the same file must not drop it, or
    // another process could write in the middle of the transaction.
    QFETCH(bool, singleFile);
    CliDb d(singleFile);
    const QString& db = d.db;
    EXPECT_OK(d.Create({{"Stock.json", R"js({"columns": [{"name": "A", "type": "dtInteger"}]})js"}}));

    TOstDatabase mine;
    mine.SetDatabaseName(QStringLiteral("LockDb%1").arg(singleFile));
    mine.SetDatabaseType(singleFile ? dbtSingleFile : dbtDirectory);
    mine.SetLocation(db);
    mine.Open();
    TOstTable reader; // keeps the table within reach of the transaction
    reader.SetDatabaseName(mine.GetDatabaseName());
    reader.SetTableName("Stock");
    reader.Open();
    mine.StartTransaction();
    TOstQuery insert;
    insert.SetDatabaseName(mine.GetDatabaseName());
    insert.SetSQL("INSERT INTO Stock VALUES (1)");
    insert.ExecSQL();
    {
        TOstTable other;
        other.SetDatabaseName(mine.GetDatabaseName());
        other.SetTableName("Stock");
        other.Open();
        other.Close();
    }
    const CliRun r = RunOstra({"sql", db, "INSERT INTO Stock VALUES (2)"}, {}, 30000);
    QVERIFY2(r.finished && r.exitCode == 1 && r.err.contains("locked"), r.Describe().constData());
    mine.Commit();
    QCOMPARE(SqlCsv(db, "SELECT A FROM Stock"), QStringLiteral("A\n1\n"));
}

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
