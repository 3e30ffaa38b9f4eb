// ostra import: tables of a SQLite file and of a private PostgreSQL server,
// and CSV files with their column types found or given; records that cannot
// be moved reported as ostra copy reports them; wrong command lines and
// failures leave no table behind.
#include "cli_helper.h"

#include <QFile>
#include <QProcess>

#include "../migration/migration_helper.h"
#include "../migration/pgserver_helper.h"

#include <QtTest>

class TstCliImport : public QObject {
    Q_OBJECT
private slots:
    void fromAnotherDatabase();
    void fromCsvWithTypesFoundOrGiven();
    void refusedCommandsCreateNothing();
    void fromPostgres();
};

namespace {

SqliteSource Legacy() {
    return SqliteSource({"CREATE TABLE Items(id INTEGER PRIMARY KEY, name VARCHAR(20) NOT NULL, price NUMERIC(8,2), \"in stock\" BOOLEAN)",
                         "CREATE UNIQUE INDEX ByName ON Items(name)",
                         "INSERT INTO Items VALUES(1, 'Tea', 3.5, 1), (2, 'Cake', 12.25, 0), (3, 'Scone', NULL, NULL)"});
}

} // namespace

void TstCliImport::fromAnotherDatabase() {
    SqliteSource src = Legacy();
    CliDb db;
    EXPECT_OK(db.Create());
    CliRun r = RunOstra({"import", db.db, "Items", "--from=" + src.Name(), "--source-table", "Items"});
    QVERIFY2(r.exitCode == 0, r.Describe());
    QCOMPARE(r.out, QStringLiteral("Created table Items with 4 columns; moved 3 records (0 problems)\n"));
    QCOMPARE(SqlCsv(db.db, "SELECT id, name, price, \"in stock\" FROM Items ORDER BY id"),
             QStringLiteral("id,name,price,in stock\n1,Tea,3.5,1\n2,Cake,12.25,0\n3,Scone,,\n"));
    const QJsonObject d = DescribeJson(db.db, "Items");
    QVERIFY2(QJsonDocument(d).toJson().contains("\"sys_primary\""), QJsonDocument(d).toJson().constData());
    QVERIFY(QJsonDocument(d).toJson().contains("\"ByName\""));
    // The structure alone, at a level of its own.
    r = RunOstra({"import", db.db, "Empty", "--from=" + src.Name(), "--source-table=Items", "--no-data", "--level=4"});
    QVERIFY2(r.exitCode == 0, r.Describe());
    QVERIFY(r.out.contains("moved 0 records"));
    QCOMPARE(DescribeJson(db.db, "Empty").value("level").toInt(), 4);
    // The same name again is refused before anything is read.
    r = RunOstra({"import", db.db, "items", "--from=" + src.Name(), "--source-table=Items"});
    QCOMPARE(r.exitCode, 1);
    QVERIFY2(r.err.contains("already exists"), r.Describe());
}

void TstCliImport::fromCsvWithTypesFoundOrGiven() {
    CliDb db;
    EXPECT_OK(db.Create());
    const QString csv = db.File("people.csv", "\xEF\xBB\xBFId,Name,Born,Score,Member,Zip\n"
                       "1,\"Smith, Ann\",1980-02-03,2.5,true,01234\n"
                       "2,\"Say \"\"hi\"\"\nand bye\",1999-12-31,10,false,99999\n"
                       "3,Ørsted,,,,\n");
    CliRun r = RunOstra({"import", db.db, "People", "--csv=" + csv});
    QVERIFY2(r.exitCode == 0, r.Describe());
    QVERIFY(r.out.contains("moved 3 records (0 problems)"));
    QStringList types;
    for (const QJsonValue c : DescribeJson(db.db, "People").value("columns").toArray())
        types << c.toObject().value("name").toString() + u' ' + c.toObject().value("typeName").toString() + u' ' +
                     QString::number(c.toObject().value("size").toInt());
    QCOMPARE(types, QStringList({"Id dtInteger 0", "Name dtWideString 16", "Born dtDate 0", "Score dtFloat 0", "Member dtBoolean 0",
                                 "Zip dtWideString 5"})); // leading zeros: a code, kept as text
    QCOMPARE(SqlCsv(db.db, "SELECT Name FROM People WHERE Id = 2"), QStringLiteral("Name\n\"Say \"\"hi\"\"\nand bye\"\n"));
    QCOMPARE(SqlCsv(db.db, "SELECT Name, Born IS NULL AND Score IS NULL FROM People WHERE Id = 3"), QStringLiteral("Name,Born IS NULL AND Score IS NULL\nØrsted,1\n"));
    // Types given override what the values suggest; a value that is no number is reported, the rest moved.
    const QString report = db.tmp.filePath("problems.txt");
    const QString more = db.File("more.csv", "Id;Zip\n1;01234\nx;5\n3;07\n");
    r = RunOstra({"import", db.db, "Zips", "--csv=" + more, "--delimiter=;", "--type=Zip:string(5)",
                  "--type=Id:integer", "--report=" + report});
    QVERIFY2(r.exitCode == 0, r.Describe());
    QCOMPARE(r.out, QStringLiteral("Created table Zips with 2 columns; moved 2 records (1 problems)\n"));
    QVERIFY(r.err.contains("listed in " + report));
    QCOMPARE(SqlCsv(db.db, "SELECT group_concat(Zip) FROM Zips"), QStringLiteral("group_concat(Zip)\n\"01234,07\"\n"));
    QFile f(report);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QString line = QString::fromUtf8(f.readAll());
    QVERIFY2(line.startsWith("Record 2: ") && line.contains("values: Id='x', Zip='5'"), qPrintable(line));
    // With --abort-on-problem the first one undoes everything: no table.
    r = RunOstra({"import", db.db, "Zips2", "--csv=" + more, "--delimiter=;", "--type=Id:integer",
                  "--abort-on-problem"});
    QCOMPARE(r.exitCode, 1);
    QVERIFY2(r.err.contains("Record 2: "), r.Describe());
    QVERIFY(!RunOstra({"tables", db.db}).out.contains("Zips2"));

    // A line with too few or too many values is a problem of its own: reported and skipped, or with
    // --abort-on-problem the end of the import. Its values do not make the columns' types.
    const QString ragged = db.File("ragged.csv", "A,B\n1,2\n3\nx,4,5\n6,\"7\n8\"\n");
    r = RunOstra({"import", db.db, "Ragged", "--csv=" + ragged, "--report=" + report});
    QVERIFY2(r.exitCode == 0, r.Describe());
    QCOMPARE(r.out, QStringLiteral("Created table Ragged with 2 columns; moved 2 records (2 problems)\n"));
    QCOMPARE(SqlCsv(db.db, "SELECT A, B FROM Ragged ORDER BY A"), QStringLiteral("A,B\n1,2\n6,\"7\n8\"\n"));
    QCOMPARE(DescribeJson(db.db, "Ragged").value("columns").toArray().at(0).toObject().value("typeName").toString(),
             QStringLiteral("dtInteger"));
    f.close();
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(f.readAll()).split(u'\n', Qt::SkipEmptyParts),
             QStringList({"Record 2: line 3: 1 values, but the first line names 2 columns; values: A='3', B=NULL",
                          "Record 3: line 4: 3 values, but the first line names 2 columns; values: A='x', B='4'"}));
    r = RunOstra({"import", db.db, "Ragged2", "--csv=" + ragged, "--abort-on-problem"});
    QCOMPARE(r.exitCode, 1);
    QVERIFY2(r.err.contains("Record 2: line 3: 1 values, but the first line names 2 columns"), r.Describe());
    QVERIFY(!RunOstra({"tables", db.db}).out.contains("Ragged2"));
}

void TstCliImport::refusedCommandsCreateNothing() {
    SqliteSource src = Legacy();
    CliDb db;
    EXPECT_OK(db.Create());
    const QString csv = db.File("bad.csv", "A,B\n1,2\n3\n");
    const QList<QStringList> usage{
        {"import", db.db, "T"},
        {"import", db.db, "T", "--from=" + src.Name()},
        {"import", db.db, "T", "--from=" + src.Name(), "--source-table=Items", "--csv=" + csv},
        {"import", db.db, "T", "--csv=" + csv, "--source-table=Items"},
        {"import", db.db, "T", "--csv=" + csv, "--level=9"},
        {"import", db.db, "T", "--csv=" + csv, "--type=A"},
    };
    for (const QStringList& args : usage) {
        const CliRun r = RunOstra(args);
        QVERIFY2(r.exitCode == 2, r.Describe());
    }
    const QList<QPair<QStringList, QString>> failures{
        {{"import", db.db, "T", "--csv=" + csv, "--type=A:colour"}, "Unknown column type \"colour\""},
        {{"import", db.db, "T", "--csv=" + db.tmp.filePath("none.csv")}, "Cannot read"},
        {{"import", db.db, "T", "--from=" + src.Name(), "--source-table=Nope"}, "has no table \"Nope\""},
        {{"import", db.db, "T", "--from=QSQLITE:" + db.tmp.filePath("none.db"), "--source-table=Items"}, "Cannot connect"},
        {{"import", db.db, "T", "--from=QPSQL://ann:pw@localhost/x", "--source-table=Items"}, "password does not belong"},
        {{"import", db.db, "Bad/Name", "--from=" + src.Name(), "--source-table=Items"}, "Bad/Name"},
    };
    for (const auto& [args, message] : failures) {
        const CliRun r = RunOstra(args);
        QVERIFY2(r.exitCode == 1 && r.err.contains(message), r.Describe());
    }
    QCOMPARE(RunOstra({"tables", db.db}).out, QString());
    QVERIFY(!QFile::exists(db.tmp.filePath("none.db")));
}

void TstCliImport::fromPostgres() {
    TestPgServer pg;
    if (!pg.Ok()) QSKIP(qPrintable(QStringLiteral("PostgreSQL could not start: ") + pg.Why()));
    QVERIFY(pg.Exec("CREATE TABLE orders(no int PRIMARY KEY, total money, placed timestamp, note text); "
                    "INSERT INTO orders SELECT i, i * 1.25, timestamp '2024-01-01' + i * interval '1 hour', "
                    "CASE WHEN i % 2 = 0 THEN 'Grüße' END FROM generate_series(1, 1000) i"));
    CliDb db;
    EXPECT_OK(db.Create());
    CliRun r = RunOstra({"import", db.db, "Orders", "--from=" + pg.DatabaseName(), "--source-table=orders"});
    QVERIFY2(r.exitCode == 0, r.Describe());
    QVERIFY(r.out.contains("moved 1000 records (0 problems)"));
    QCOMPARE(SqlCsv(db.db, "SELECT total, placed, note FROM Orders WHERE no = 2"),
             QStringLiteral("total,placed,note\n2.5,2024-01-01T02:00:00.000,Grüße\n"));
    // A database that is not there: the server's message, and no table.
    r = RunOstra({"import", db.db, "Other", "--from=" + pg.DatabaseName("nosuch"), "--source-table=orders"});
    QCOMPARE(r.exitCode, 1);
    QVERIFY2(r.err.contains("nosuch"), r.Describe());
    QVERIFY(!RunOstra({"tables", db.db}).out.contains("Other"));
    // A name that is taken is refused, and the table of that name keeps its records.
    r = RunOstra({"import", db.db, "Orders", "--from=" + pg.DatabaseName(), "--source-table=orders"});
    QCOMPARE(r.exitCode, 1);
    QCOMPARE(SqlCsv(db.db, "SELECT count(*) AS n FROM Orders"), QStringLiteral("n\n1000\n"));

    // Killed while it copies: the new table and its records went together.
    QVERIFY(pg.Exec("CREATE TABLE many AS SELECT i AS id, 'row ' || i AS label FROM generate_series(1, 300000) i"));
    QProcess p;
    p.start(QStringLiteral(OSTRA_CLI_PATH), {"import", db.db, "Many", "--from=" + pg.DatabaseName(), "--source-table=many"});
    QVERIFY(p.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(db.db + "-journal") || p.state() == QProcess::NotRunning, 60000);
    QVERIFY2(p.state() == QProcess::Running, "the import ended before it could be killed");
    QTest::qWait(100);
    p.kill();
    p.waitForFinished();
    QVERIFY(!RunOstra({"tables", db.db}).out.contains("Many"));
    QCOMPARE(SqlCsv(db.db, "SELECT count(*) AS n FROM Orders"), QStringLiteral("n\n1000\n"));
}

QTEST_GUILESS_MAIN(TstCliImport)
#include "tst_cliimport.moc"
