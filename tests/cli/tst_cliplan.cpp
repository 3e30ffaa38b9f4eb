// ostra plan, apply and diff as declarations: a file applied and planned
// again lists nothing, columns are matched by number and else by name, the
// table's name and password in the file, options written either way, the
// change list as JSON, one table's definition planned against another's, and
// the line that says whether applying changes the table in place or rebuilds it.
#include "cli_helper.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

namespace {


const QString NoChanges = QStringLiteral("\tNo changes to table structure\n");
const QString InPlace = QStringLiteral("Applying changes the table in place: no rows are copied.\n");
QString Rebuilds(const QString& reason) { return QStringLiteral("Applying rebuilds the table, copying every row: %1.\n").arg(reason); }

const char* const Goods = R"js({"name": "Goods", "columns": [
  {"name": "Code", "type": "dtString", "size": 8, "nullable": false},
  {"name": "Qty", "type": "dtInteger"}
]})js";

} // namespace

class TestCliPlan : public QObject {
    Q_OBJECT
private slots:
    void appliedFilesPlanNothing();
    void numbersWinOverNames();
    void tableNameInTheFile();
    void passwordInTheFile();
    void newEncryptedTableWithoutPassword();
    void optionsTakeTheirValueEitherWay();
    void planAsJson();
    void diffOfTwoTables();
    void planSaysWhatApplyingCosts();
};

void TestCliPlan::appliedFilesPlanNothing() {
    CliDb d;
    EXPECT_OK(d.Create({{"goods.json", Goods}}));
    EXPECT_OK(RunOstra({"sql", d.db, "INSERT INTO Goods(Code, Qty) VALUES ('A1', 5)"}));
    // A hand-written file: new columns and indexes without numbers or defaults.
    const QString file = d.File("goods2.json", R"js({"name": "Goods", "columns": [
      {"name": "Code", "type": "dtString", "size": 8, "nullable": false},
      {"name": "Qty", "type": "dtInteger"},
      {"name": "Note", "type": "dtWideString", "size": 40},
      {"name": "Price", "type": "dtFloat", "precision": 2}
    ], "indexes": [{"name": "PK", "fields": "Code", "options": ["primary"]}, {"name": "ByQty", "fields": "Qty"}]})js");
    CliRun r = RunOstra({"plan", d.db, file});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("3\tNote added.\n4\tPrice added.\n\tPrimary key modified\n\tIndex ByQty added\n") +
                        Rebuilds(QStringLiteral("the primary key is added")));
    EXPECT_OK(RunOstra({"apply", d.db, file, "--yes"}));
    r = RunOstra({"plan", d.db, file});
    EXPECT_OK(r);
    QCOMPARE(r.out, NoChanges);
    r = RunOstra({"apply", d.db, file, "--yes"});
    EXPECT_OK(r);
    QVERIFY2(r.out.contains("There are no changes to the table properties."), r.Describe().constData());
    QCOMPARE(SqlCsv(d.db, "SELECT Code, Qty FROM Goods"), QStringLiteral("Code,Qty\nA1,5\n"));
    // A column left out is deleted; the others keep their data.
    const QString fewer = d.File("goods3.json", R"js({"name": "Goods", "columns": [
      {"name": "Qty", "type": "dtInteger"}, {"name": "Code", "type": "dtString", "size": 8, "nullable": false},
      {"name": "Price", "type": "dtFloat", "precision": 2}
    ], "indexes": [{"name": "PK", "fields": "Code", "options": ["primary"]}, {"name": "ByQty", "fields": "Qty"}]})js");
    r = RunOstra({"plan", d.db, fewer});
    QCOMPARE(r.out, QStringLiteral("2\tCode position changed.\n1\tQty position changed.\n3\tNote deleted.\n3\tPrice position changed.\n") +
                        Rebuilds(QStringLiteral("column \"Note\" is deleted")));
    EXPECT_OK(RunOstra({"apply", d.db, fewer, "--yes"}));
    QCOMPARE(RunOstra({"plan", d.db, fewer}).out, NoChanges);
    QCOMPARE(SqlCsv(d.db, "SELECT Qty, Code FROM Goods"), QStringLiteral("Qty,Code\n5,A1\n"));
}

void TestCliPlan::numbersWinOverNames() {
    CliDb d;
    EXPECT_OK(d.Create({{"goods.json", Goods}}));
    // Column 1 is renamed to Qty; the name Code is then free for a new column.
    const QString file = d.File("swap.json", R"js({"name": "Goods", "columns": [
      {"name": "Qty", "type": "dtString", "size": 8, "nullable": false, "number": 1},
      {"name": "Code", "type": "dtInteger"}
    ]})js");
    CliRun r = RunOstra({"plan", d.db, file});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("1\tQty renamed.\n2\tQty deleted.\n2\tCode added.\n") +
                        Rebuilds(QStringLiteral("column \"Qty\" is deleted")));
    // A number that is no column of the table is refused, by name.
    EXPECT_FAIL(RunOstra({"plan", d.db, d.File("bad.json", R"js({"name": "Goods", "columns": [
      {"name": "Code", "type": "dtString", "size": 8, "number": 9}]})js")}),
                1, "column \"Code\": number 9 is not a column of table \"Goods\"");
}

void TestCliPlan::tableNameInTheFile() {
    CliDb d;
    EXPECT_OK(d.Create({{"goods.json", Goods}}));
    // An empty name is no name: nothing is renamed after the file.
    const QString unnamed = d.File("Goods.json", R"js({"name": "", "columns": [{"name": "Code", "type": "dtString", "size": 8}]})js");
    EXPECT_FAIL(RunOstra({"plan", d.db, unnamed}), 1, "Missing table name");
    EXPECT_FAIL(RunOstra({"apply", d.db, unnamed, "--yes"}), 1, "Missing table name");
    EXPECT_FAIL(RunOstra({"apply", d.db, unnamed, "--table=Goods", "--yes"}), 1, "Missing table name");
    QCOMPARE(SqlCsv(d.db, "SELECT count(*) AS n FROM Goods"), QStringLiteral("n\n0\n"));
    // Another letter case is the same table, not a rename.
    QJsonObject def = QJsonDocument::fromJson(Goods).object();
    def["name"] = "GOODS";
    const QString upper = d.File("upper.json", QJsonDocument(def).toJson());
    QCOMPARE(RunOstra({"plan", d.db, upper}).out, NoChanges);
    // A file without a name is for the table named like the file.
    def.remove("name");
    QCOMPARE(RunOstra({"plan", d.db, d.File("goods.json", QJsonDocument(def).toJson())}).out, NoChanges);
}

void TestCliPlan::passwordInTheFile() {
    CliDb d;
    // Single-file databases encrypt as a whole: the tables of a directory database one by one.
    const QString db = d.tmp.filePath("vaults");
    EXPECT_OK(RunOstra({"create-db", db}));
    const QByteArray vault = R"js({"name": "Vault", "encryption": 6, "columns": [{"name": "Note", "type": "dtString", "size": 20}]})js";
    EXPECT_OK(RunOstra({"--password=open sesame", "create-table", db, d.File("vault.json", vault)}));
    EXPECT_OK(RunOstra({"--password=open sesame", "sql", db, "INSERT INTO Vault(Note) VALUES ('hidden')"}));
    QJsonObject def = QJsonDocument::fromJson(vault).object();
    def["password"] = "open sesame";
    const QString file = d.File("vault2.json", QJsonDocument(def).toJson());
    // The file's password opens the table, and the same password is no change.
    CliRun r = RunOstra({"plan", db, file});
    EXPECT_OK(r);
    QCOMPARE(r.out, NoChanges);
    QCOMPARE(RunOstra({"--password=open sesame", "plan", db, d.File("vault3.json", vault)}).out, NoChanges);
    // A new column, applied with the file's password alone.
    QJsonArray columns = def["columns"].toArray();
    columns.append(QJsonObject{{"name", "Extra"}, {"type", "dtInteger"}});
    def["columns"] = columns;
    WriteTextFile(file, QJsonDocument(def).toJson());
    r = RunOstra({"apply", db, file, "--yes"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("2\tExtra added.\n") + InPlace + QStringLiteral("Applied to Vault (1 row)\n"));
    QCOMPARE(RunOstra({"plan", db, file}).out, NoChanges);
    // Without it, the table stays closed.
    def.remove("password");
    EXPECT_FAIL(RunOstra({"plan", db, d.File("vault4.json", QJsonDocument(def).toJson())}), 1,
                "Table \"Vault\" is encrypted and needs a password");
    def["password"] = "wrong";
    EXPECT_FAIL(RunOstra({"plan", db, d.File("vault5.json", QJsonDocument(def).toJson())}), 1, "Wrong password");
}

void TestCliPlan::newEncryptedTableWithoutPassword() {
    CliDb d;
    // Single-file databases encrypt as a whole: the tables of a directory database one by one.
    const QString db = d.tmp.filePath("vaults");
    EXPECT_OK(RunOstra({"create-db", db}));
    const QString file =
        d.File("Safe.json", R"js({"name": "Safe", "encryption": 6, "columns": [{"name": "Note", "type": "dtString", "size": 20}]})js");
    // Nobody to ask: an error, not a silent nothing.
    EXPECT_FAIL(RunOstra({"apply", db, file, "--yes"}), 1, "table \"Safe\" is to be encrypted with \"Rijndael/AES\" and needs a password");
    QCOMPARE(RunOstra({"tables", db}).out, QString());
    EXPECT_OK(RunOstra({"--password", "pw1", "apply", db, file, "--yes"}));
    QCOMPARE(RunOstra({"tables", db}).out, QStringLiteral("Safe\n"));
    EXPECT_FAIL(RunOstra({"describe", db, "Safe"}), 1, "needs a password");
}

void TestCliPlan::optionsTakeTheirValueEitherWay() {
    CliDb d;
    EXPECT_OK(d.Create({{"goods.json", Goods}}));
    QJsonObject def = QJsonDocument::fromJson(Goods).object();
    def["name"] = "Stock";
    const QString file = d.File("stock.json", QJsonDocument(def).toJson());
    const QString plan = QStringLiteral("\tTable renamend to Stock\n") + InPlace;
    QCOMPARE(RunOstra({"plan", d.db, file, "--table=Goods"}).out, plan);
    QCOMPARE(RunOstra({"plan", d.db, file, "--table", "Goods"}).out, plan);
    QCOMPARE(RunOstra({"plan", "--table", "Goods", d.db, file}).out, plan);
    EXPECT_FAIL(RunOstra({"plan", d.db, file, "--table"}), 2, "--table= needs a value");
    EXPECT_FAIL(RunOstra({"tables", d.db, "--password"}), 2, "--password needs a value");
    EXPECT_OK(RunOstra({"apply", d.db, file, "--table", "Goods", "--yes"}));
    QCOMPARE(RunOstra({"tables", d.db}).out, QStringLiteral("Stock\n"));
}

void TestCliPlan::planAsJson() {
    CliDb d;
    EXPECT_OK(d.Create({{"goods.json", Goods}}));
    const QString file = d.File("goods2.json", R"js({"name": "Goods", "level": 5, "columns": [
      {"name": "Code", "type": "dtString", "size": 12, "nullable": false},
      {"name": "Qty", "type": "dtInteger"}
    ], "indexes": [{"name": "ByQty", "fields": "Qty"}]})js");
    CliRun r = RunOstra({"plan", d.db, file, "--json"});
    EXPECT_OK(r);
    const QJsonArray changes = QJsonDocument::fromJson(r.out.toUtf8()).array();
    QCOMPARE(changes.size(), 4);
    QCOMPARE(changes[0].toObject(), (QJsonObject{{"position", 0}, {"tab", "General"}, {"text", "File version of table changed."},
                                                 {"kind", "table"}, {"name", "5"}}));
    QCOMPARE(changes[1].toObject()["text"].toString(),
             QStringLiteral("Table collation and individual field collations must be set to default"));
    QCOMPARE(changes[2].toObject(), (QJsonObject{{"position", 1}, {"tab", "General"}, {"text", "Code extended."},
                                                 {"kind", "column"}, {"name", "Code"}}));
    QCOMPARE(changes[3].toObject(), (QJsonObject{{"position", 0}, {"tab", "Indexes"}, {"text", "Index ByQty added"},
                                                 {"kind", "index"}, {"name", "ByQty"}}));
    r = RunOstra({"plan", d.db, d.File("goods.json", Goods), "--json"});
    QCOMPARE(QJsonDocument::fromJson(r.out.toUtf8()).array(), QJsonArray());
}

void TestCliPlan::diffOfTwoTables() {
    CliDb d;
    const QString other = d.tmp.filePath("other");
    EXPECT_OK(RunOstra({"create-db", d.db}));
    EXPECT_OK(RunOstra({"create-db", other}));
    EXPECT_OK(RunOstra({"create-table", d.db, d.File("goods.json", Goods)}));
    EXPECT_OK(RunOstra({"create-table", other, d.File("Items.json", R"js({"columns": [
      {"name": "Code", "type": "dtString", "size": 10, "nullable": false},
      {"name": "Price", "type": "dtFloat"}
    ]})js")}));
    // Columns by name, whatever their numbers; the names of the tables are no difference.
    const QString lines = QStringLiteral("1\tCode extended.\n2\tQty deleted.\n2\tPrice added.\n");
    CliRun r = RunOstra({"diff", d.db, "Goods", other, "Items"});
    EXPECT_OK(r);
    QCOMPARE(r.out, lines);
    QCOMPARE(RunOstra({"diff", d.db, "goods", d.tmp.filePath("Items.json")}).out, lines);
    QCOMPARE(RunOstra({"diff", d.db, "Goods", d.db, "Goods"}).out, NoChanges);
    r = RunOstra({"diff", other, "Items", d.db, "Goods", "--json"});
    QCOMPARE(QJsonDocument::fromJson(r.out.toUtf8()).array().size(), 3);
    // Nothing was changed.
    QCOMPARE(RunOstra({"plan", d.db, d.File("goods.json", Goods)}).out, NoChanges);
    EXPECT_FAIL(RunOstra({"diff", d.db, "Nothing", other, "Items"}), 1, "table \"Nothing\" does not exist");
    EXPECT_FAIL(RunOstra({"diff", d.db, "Goods"}), 2, "missing arguments");
}

void TestCliPlan::planSaysWhatApplyingCosts() {
    CliDb d;
    EXPECT_OK(d.Create());
    // A new table is created.
    CliRun r = RunOstra({"plan", d.db, d.File("goods.json", Goods)});
    EXPECT_OK(r);
    QVERIFY2(r.out.endsWith(QStringLiteral("Applying creates the table.\n")), r.Describe().constData());
    EXPECT_OK(RunOstra({"create-table", d.db, d.File("goods.json", Goods)}));
    EXPECT_OK(RunOstra({"sql", d.db, "INSERT INTO Goods(Code, Qty) VALUES ('A1', 5), ('B2', 7)"}));
    QJsonObject def = DescribeJson(d.db, "Goods");
    QJsonArray columns = def["columns"].toArray();
    // A wider column and a new one at the end: in place.
    QJsonObject code = columns[0].toObject();
    code["size"] = 20;
    columns[0] = code;
    columns.append(QJsonObject{{"name", "Region"}, {"type", "dtString"}, {"size", 10}, {"expression", "'north'"}});
    def["columns"] = columns;
    const QString wider = d.File("wider.json", QJsonDocument(def).toJson());
    r = RunOstra({"plan", d.db, wider});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("1\tCode extended.\n3\tRegion added.\n") + InPlace);
    // apply says it too, before it asks, and does what it said.
    r = RunOstra({"apply", d.db, wider, "--yes"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("1\tCode extended.\n3\tRegion added.\n") + InPlace + QStringLiteral("Applied to Goods (2 rows)\n"));
    QCOMPARE(SqlCsv(d.db, "SELECT Code, Qty, Region FROM Goods ORDER BY Code"), QStringLiteral("Code,Qty,Region\nA1,5,north\nB2,7,north\n"));
    // The same column moved: a rebuild, and why.
    columns = DescribeJson(d.db, "Goods")["columns"].toArray();
    const QJsonValue qty = columns.takeAt(1);
    columns.append(qty);
    def = DescribeJson(d.db, "Goods");
    def["columns"] = columns;
    r = RunOstra({"plan", d.db, d.File("moved.json", QJsonDocument(def).toJson())});
    EXPECT_OK(r);
    QVERIFY2(r.out.endsWith(Rebuilds(QStringLiteral("column \"Region\" moves"))), r.Describe().constData());
    // alter says which it was.
    const QString moved = d.File("moved.json", QJsonDocument(def).toJson());
    r = RunOstra({"alter", d.db, moved});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Restructured Goods (2 rows)\n"));
    columns = DescribeJson(d.db, "Goods")["columns"].toArray();
    QJsonObject region = columns[1].toObject();
    region["size"] = 30;
    columns[1] = region;
    def = DescribeJson(d.db, "Goods");
    def["columns"] = columns;
    r = RunOstra({"alter", d.db, d.File("widened.json", QJsonDocument(def).toJson())});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Restructured Goods in place (2 rows)\n"));
    // An index alone copies nothing; JSON and diff stay lists.
    def = DescribeJson(d.db, "Goods");
    def["indexes"] = QJsonArray{QJsonObject{{"name", "ByQty"}, {"fields", "Qty"}}};
    const QString indexed = d.File("indexed.json", QJsonDocument(def).toJson());
    QCOMPARE(RunOstra({"plan", d.db, indexed}).out,
             QStringLiteral("\tIndex ByQty added\nApplying copies no rows; indexes that are new are built over the rows.\n"));
    r = RunOstra({"plan", d.db, indexed, "--json"});
    QCOMPARE(QJsonDocument::fromJson(r.out.toUtf8()).array().size(), 1);
    QCOMPARE(RunOstra({"diff", d.db, "Goods", indexed}).out, QStringLiteral("\tIndex ByQty added\n"));
}

QTEST_GUILESS_MAIN(TestCliPlan)
#include "tst_cliplan.moc"
