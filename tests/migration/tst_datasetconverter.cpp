// The dataset converter on real sources: its checks in their order, every
// column type of a SQLite file and of a PostgreSQL server carried over with
// its values, names that are no engine names, the indexes (an unnamed
// primary one, one whose fields vanish), engine sources copied as they are,
// and the copy failing, aborted or losing its source half way: nothing of the
// new table stays behind.
#include "migration_helper.h"
#include "pgserver_helper.h"

#include "engine/ostbatchmove.h"
#include "engine/ostquery.h"
#include "migration/core/classicdataset.h"
#include "migration/core/ostdatasetconverter.h"

class TstDataSetConverter : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void checksComeInTheirOrder();
    void sqliteTypesNamesAndIndexes();
    void levelDecidesSizesAndNulls();
    void engineSourceIsCopiedAsItIs();
    void postgresTypesKeepTheirValues();
    void failingRowIsReportedOrAbortsAll();
    void cancelInTheMiddleCreatesNothing();
    void sourceVanishingMidCopyCreatesNothing();
    void readAheadRecordsConvertedForTheirOwnMove();
    void recordsConvertedOnTheReadingThreadStoredAsTheOthers();

private:
    std::unique_ptr<TestPgServer> m_pg;
    bool RequirePg();
};

namespace {

SqliteSource Shop() {
    return SqliteSource({
        "CREATE TABLE Items(id INTEGER PRIMARY KEY, name VARCHAR(30) NOT NULL, price NUMERIC(10,2), qty SMALLINT, "
        "big BIGINT, ratio REAL, note TEXT, code CHAR(4), born DATE, at DATETIME, alarm TIME, photo BLOB, paid BOOLEAN, "
        "cost MONEY, a_b INT, \"a.b\" INT, \"1st\" TEXT)",
        "CREATE UNIQUE INDEX ByName ON Items(name DESC)",
        "CREATE INDEX ByOdd ON Items(\"a.b\", \"1st\")",
        "INSERT INTO Items VALUES(7, 'Tea', 3.5, 1, 5000000000, 0.25, 'Grüße 漢字', 'T1', '2024-05-01', "
        "'2024-05-01 13:45:00.250', '08:30:15', x'00ff10', 1, 12.34, 1, 2, 'first')",
        "INSERT INTO Items VALUES(9, 'Cake', NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL)",
    });
}

struct Column {
    QString name;
    int type, size;
    bool nullable;
    bool operator==(const Column& o) const { return name == o.name && type == o.type && size == o.size && nullable == o.nullable; }
};
char* toString(const Column& c) {
    return qstrdup(qPrintable(QStringLiteral("%1 %2(%3)%4").arg(c.name, GetDataTypeName(c.type)).arg(c.size).arg(c.nullable ? "" : " NOT NULL")));
}

// A converted table's definitions, read back from its file.
std::unique_ptr<TOstTable> ReadBack(TargetDb& t, const QString& table) {
    auto ost = std::make_unique<TOstTable>();
    ost->SetDatabaseName(t.db->GetDatabaseName());
    ost->SetTableName(table);
    ost->ReadDefinitions();
    return ost;
}

QList<Column> Stored(TargetDb& t, const QString& table) {
    const auto ost = ReadBack(t, table);
    QList<Column> out;
    for (const TOstFieldDef* d : ost->GetFieldDefsOst()) out << Column{d->GetName(), d->GetDataTypeOst(), d->GetSize(), d->GetNullable()};
    return out;
}

QStringList StoredIndexes(TargetDb& t, const QString& table) {
    const auto ost = ReadBack(t, table);
    QStringList out;
    for (const TIndexDef* d : ost->IndexDefs()) out << QStringLiteral("%1(%2|%3|%4)").arg(d->Name, d->Fields, d->DescFields).arg(int(d->Options & (ixPrimary | ixUnique)));
    return out;
}

// A table of n records on the server, for the copies that are interrupted.
void ManyRows(TestPgServer& pg, const QString& db, int n) {
    QVERIFY(pg.Exec(QStringLiteral("CREATE TABLE many(id int PRIMARY KEY, label text, amount numeric(12,2)); "
                                   "INSERT INTO many SELECT i, 'label ' || i, i / 100.0 FROM generate_series(1, %1) i").arg(n), db));
}

// A conversion of a source's table, open, into a new table of a fresh engine database.
struct Conversion {
    TargetDb target;
    TTable source;
    TDBConvertTable convert;
    Conversion(const QString& database, const QString& table, const QString& newTable) {
        source.SetDatabaseName(database);
        source.SetTableName(table);
        source.Open();
        convert.SetSource(&source);
        convert.SetDatabase(target.db.get());
        convert.SetTableName(newTable);
    }
};

} // namespace

void TstDataSetConverter::initTestCase() { m_pg = std::make_unique<TestPgServer>(); }
void TstDataSetConverter::cleanupTestCase() { m_pg.reset(); }

bool TstDataSetConverter::RequirePg() {
    if (m_pg->Ok()) return true;
    QTest::qSkip(qPrintable(QStringLiteral("PostgreSQL could not start: ") + m_pg->Why()), __FILE__, __LINE__);
    return false;
}

void TstDataSetConverter::checksComeInTheirOrder() {
    SqliteSource src = Shop();
    TargetDb target;
    TDBConvertTable c;
    QCOMPARE(c.GetTableLevel(), -1);
    QVERIFY(c.GetCopyData());
    QVERIFY(!c.GetIndexDefs() && !c.GetDatabase() && !c.GetTargetTable());
    QCOMPARE(MessageOf<EConvertTableError>([&] { c.Execute(); }), QStringLiteral("Source not specified"));
    TTable t;
    t.SetDatabaseName(src.Name());
    t.SetTableName(QStringLiteral("Items"));
    c.SetSource(&t);
    QCOMPARE(MessageOf<EConvertTableError>([&] { c.CreateTable(); }), QStringLiteral("Source must be opened"));
    t.Open();
    c.SetTableName(QStringLiteral("  "));
    QCOMPARE(MessageOf<EConvertTableError>([&] { c.CreateTable(); }), QStringLiteral("Invalid table name"));
    QVERIFY(!c.GetTargetTable());
    // Without a database the new table has no DatabaseName: the engine's own error passes through.
    c.SetTableName(QStringLiteral("Items"));
    QVERIFY(!MessageOf<Exception>([&] { c.CreateTable(); }).isEmpty());
    QCOMPARE(c.GetTargetTable()->GetDatabaseName(), QString());
    // A source freed meanwhile is no source.
    TTable* gone = new TTable;
    c.SetSource(gone);
    delete gone;
    QCOMPARE(MessageOf<EConvertTableError>([&] { c.CreateTable(); }), QStringLiteral("Source not specified"));
}

void TstDataSetConverter::sqliteTypesNamesAndIndexes() {
    SqliteSource src = Shop();
    Conversion conversion(src.Name(), "Items", "Items");
    auto& [target, t, c] = conversion;
    t.Next(); // the converter copies from the first record, wherever the source stands
    TIndexDefs indexes;
    indexes.Assign(t.IndexDefs());
    indexes.Add(QStringLiteral("Vanishing"), QStringLiteral(" ; ;"), TIndexOptions());
    c.SetIndexDefs(&indexes);
    int lastPercent = -1;
    c.OnProgress = [&](QObject*, int percent, bool&) { lastPercent = percent; };
    c.Execute();
    QCOMPARE(lastPercent, 100);
    QCOMPARE(c.GetTargetTable()->GetDatabaseName(), QStringLiteral("Target"));
    QCOMPARE(c.GetTargetTable()->GetTableLevel(), OstDefaultTableLevel); // -1: the engine's default

    const QList<Column> expected{{"id", dtAutoInc, 0, false},      {"name", dtWideString, 30, false}, {"price", dtFloat, 0, true},
                                 {"qty", dtSmallInt, 0, true},     {"big", dtLargeInt, 0, true},      {"ratio", dtFloat, 0, true},
                                 {"note", dtWideMemo, 0, true},    {"code", dtWideString, 4, true},   {"born", dtDate, 0, true},
                                 {"at", dtDateTime, 0, true},      {"alarm", dtTime, 0, true},        {"photo", dtBlob, 0, true},
                                 {"paid", dtBoolean, 0, true},     {"cost", dtFloat, 0, true},        {"a_b", dtInteger, 0, true},
                                 {"a_b_2", dtInteger, 0, true},    {"_1st", dtWideMemo, 0, true}};
    QCOMPARE(Stored(target, "Items"), expected);
    QCOMPARE(c.BatchMove()->GetMappings(), QStringList({"id=id", "name=name", "price=price", "qty=qty", "big=big", "ratio=ratio",
                                                         "note=note", "code=code", "born=born", "at=at", "alarm=alarm", "photo=photo",
                                                         "paid=paid", "cost=cost", "a_b=a_b", "a_b_2=a.b", "_1st=1st"}));
    QCOMPARE(StoredIndexes(target, "Items"), QStringList({"sys_primary(id||3)", "ByName(name|name|2)", "ByOdd(a_b;_1st||0)"}));

    QCOMPARE(c.BatchMove()->MovedCount(), 2);
    QCOMPARE(target.Scalar("SELECT count(*) FROM Items").toInt(), 2);
    QCOMPARE(target.Scalar("SELECT price FROM Items WHERE id = 7").toDouble(), 3.5);
    QCOMPARE(target.Scalar("SELECT cost FROM Items WHERE id = 7").toDouble(), 12.34);
    QCOMPARE(target.Scalar("SELECT big FROM Items WHERE id = 7").toLongLong(), 5000000000LL);
    QCOMPARE(target.Scalar("SELECT note FROM Items WHERE id = 7").toString(), QStringLiteral("Grüße 漢字"));
    QCOMPARE(target.Scalar("SELECT hex(photo) FROM Items WHERE id = 7").toString(), QStringLiteral("00FF10"));
    QCOMPARE(target.Scalar("SELECT at FROM Items WHERE id = 7").toString(), QStringLiteral("2024-05-01T13:45:00.250"));
    QCOMPARE(target.Scalar("SELECT alarm FROM Items WHERE id = 7").toString(), QStringLiteral("08:30:15"));
    QCOMPARE(target.Scalar("SELECT a_b_2 FROM Items WHERE id = 7").toInt(), 2);
    QCOMPARE(target.Scalar("SELECT count(*) FROM Items WHERE id = 9 AND price IS NULL AND note IS NULL AND photo IS NULL "
                           "AND paid IS NULL AND at IS NULL").toInt(), 1);

    // The same table again: the engine refuses the name; nothing else changes.
    QVERIFY(!MessageOf<EOstraError>([&] { c.Execute(); }).isEmpty());
    QCOMPARE(target.Scalar("SELECT count(*) FROM Items").toInt(), 2);
}

void TstDataSetConverter::levelDecidesSizesAndNulls() {
    SqliteSource src = Shop();
    Conversion conversion(src.Name(), "Items", "Old");
    auto& [target, t, c] = conversion;
    c.SetTableLevel(3);
    c.SetCopyData(false);
    c.Execute();
    QCOMPARE(c.GetTargetTable()->GetTableLevel(), 3);
    const QList<Column> stored = Stored(target, "Old");
    // Below level 4 text is not nullable, dates are not; numbers and times are.
    QCOMPARE(stored[1], (Column{"name", dtWideString, 30, false}));
    QCOMPARE(stored[2], (Column{"price", dtFloat, 0, true}));
    QCOMPARE(stored[8], (Column{"born", dtDate, 0, false}));
    QCOMPARE(stored[9], (Column{"at", dtDateTime, 0, true}));
    QCOMPARE(target.Scalar("SELECT count(*) FROM Old").toInt(), 0); // no copy asked for
    QCOMPARE(c.BatchMove()->MovedCount(), 0);
}

void TstDataSetConverter::engineSourceIsCopiedAsItIs() {
    TargetDb target;
    TOstTable src;
    src.SetDatabaseName(target.db->GetDatabaseName());
    src.SetTableName(QStringLiteral("Src"));
    TOstFieldDef* e = src.GetFieldDefsOst().Add(QStringLiteral("Size"), dtEnum, 0);
    e->SetSpec(QStringLiteral("S,M,L"));
    src.GetFieldDefsOst().Add(QStringLiteral("Code"), dtChar, 3);
    src.GetFieldDefsOst().Add(QStringLiteral("Weight"), dtFloat, 0)->SetPrecision(4);
    src.CreateTable();
    src.Open();
    src.AppendRecord({QStringLiteral("M"), QStringLiteral("AB"), 1.25});
    TDBConvertTable c;
    c.SetSource(&src);
    c.SetDatabase(target.db.get());
    c.SetTableName(QStringLiteral("Copy"));
    c.Execute();
    const auto table = ReadBack(target, "Copy");
    const TOstFieldDefs& copy = table->GetFieldDefsOst();
    QCOMPARE(copy.Count(), 3);
    QCOMPARE(copy[0]->GetDataTypeOst(), int(dtEnum));
    QCOMPARE(copy[0]->GetSpec(), QStringLiteral("S,M,L"));
    QCOMPARE(copy[1]->GetDataTypeOst(), int(dtChar));
    QCOMPARE(copy[2]->GetPrecision(), 4);
    QCOMPARE(target.Scalar("SELECT Size || Weight FROM Copy").toString(), QStringLiteral("M1.25"));
}

void TstDataSetConverter::postgresTypesKeepTheirValues() {
    if (!RequirePg()) return;
    const QString db = m_pg->CreateDatabase();
    QVERIFY(m_pg->Exec(
        "CREATE TABLE items(id serial PRIMARY KEY, name varchar(30) NOT NULL, price numeric(10,2), cost money, "
        "qty smallint, stock integer, big bigint, ratio real, exact double precision, note text, code char(4), "
        "born date, at timestamp, atz timestamptz, alarm time, photo bytea, paid boolean, tag uuid, extra jsonb, "
        "\"Two Words\" text, \"price($)\" numeric(20,4))", db));
    QVERIFY(m_pg->Exec("CREATE UNIQUE INDEX by_name ON items(name DESC); CREATE INDEX by_odd ON items(\"price($)\", \"Two Words\")", db));
    QVERIFY(m_pg->Exec("INSERT INTO items(name, price, cost, qty, stock, big, ratio, exact, note, code, born, at, atz, alarm, "
                       "photo, paid, tag, extra, \"Two Words\", \"price($)\") VALUES ('Tea', 3.5, 12345678.91, -7, 10, 5000000000, "
                       "0.25, 0.1, 'Grüße 漢字 😀', 'T1', '2024-05-01', '2024-05-01 13:45:00.25', '2024-05-01 13:45:00+00', "
                       "'08:30:00', '\\x00ff10', true, 'a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11', '{\"a\": 1}', 'two', 1234.5678), "
                       "('Cake', NULL, 0.01, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, "
                       "NULL, NULL, NULL)", db));
    Conversion conversion(m_pg->DatabaseName(db), "items", "Items");
    auto& [target, t, c] = conversion;
    c.SetIndexDefs(&t.IndexDefs());
    c.Execute();
    const QList<Column> expected{
        {"id", dtAutoInc, 0, false},       {"name", dtWideString, 30, false}, {"price", dtFloat, 0, true},
        {"cost", dtFloat, 0, true},        {"qty", dtSmallInt, 0, true},      {"stock", dtInteger, 0, true},
        {"big", dtLargeInt, 0, true},      {"ratio", dtFloat, 0, true},       {"exact", dtFloat, 0, true},
        {"note", dtWideMemo, 0, true},     {"code", dtWideString, 4, true},   {"born", dtDate, 0, true},
        {"at", dtDateTime, 0, true},       {"atz", dtDateTime, 0, true},      {"alarm", dtTime, 0, true},
        {"photo", dtBlob, 0, true},        {"paid", dtBoolean, 0, true},      {"tag", dtGuid, 38, true},
        {"extra", dtWideMemo, 0, true},    {"Two Words", dtWideMemo, 0, true}, {"price_", dtFloat, 0, true}};
    QCOMPARE(Stored(target, "Items"), expected);
    QCOMPARE(StoredIndexes(target, "Items"), QStringList({"items_pkey(id||3)", "by_name(name|name|2)", "by_odd(price_;Two Words||0)"}));
    QCOMPARE(c.BatchMove()->MovedCount(), 2);
    QCOMPARE(target.Scalar("SELECT cost FROM Items WHERE id = 1").toDouble(), 12345678.91);
    QCOMPARE(target.Scalar("SELECT cost FROM Items WHERE id = 2").toDouble(), 0.01);
    QCOMPARE(target.Scalar("SELECT price_ FROM Items WHERE id = 1").toDouble(), 1234.5678);
    QCOMPARE(target.Scalar("SELECT qty FROM Items WHERE id = 1").toInt(), -7);
    QCOMPARE(target.Scalar("SELECT note FROM Items WHERE id = 1").toString(), QStringLiteral("Grüße 漢字 😀"));
    QCOMPARE(target.Scalar("SELECT hex(photo) FROM Items WHERE id = 1").toString(), QStringLiteral("00FF10"));
    QCOMPARE(target.Scalar("SELECT at FROM Items WHERE id = 1").toString(), QStringLiteral("2024-05-01T13:45:00.250"));
    QCOMPARE(target.Scalar("SELECT born FROM Items WHERE id = 1").toString(), QStringLiteral("2024-05-01"));
    QCOMPARE(target.Scalar("SELECT paid FROM Items WHERE id = 1").toInt(), 1);
    QCOMPARE(target.Scalar("SELECT tag FROM Items WHERE id = 1").toString(), QStringLiteral("a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11"));
    QCOMPARE(target.Scalar("SELECT extra FROM Items WHERE id = 1").toString(), QStringLiteral("{\"a\": 1}"));
    QCOMPARE(target.Scalar("SELECT count(*) FROM Items WHERE id = 2 AND price IS NULL AND note IS NULL AND photo IS NULL "
                           "AND paid IS NULL AND atz IS NULL AND tag IS NULL").toInt(), 1);
}

void TstDataSetConverter::failingRowIsReportedOrAbortsAll() {
    if (!RequirePg()) return;
    const QString db = m_pg->CreateDatabase();
    QVERIFY(m_pg->Exec("CREATE TABLE visits(id int PRIMARY KEY, at timestamp); INSERT INTO visits VALUES "
                       "(1, '2024-01-01 10:00'), (2, 'infinity'), (3, '2024-01-03 12:00')", db));
    Conversion conversion(m_pg->DatabaseName(db), "visits", "Visits");
    auto& [target, t, c] = conversion;
    c.BatchMove()->SetAbortOnProblem(true);
    const QString message = MessageOf<EOstraError>([&] { c.Execute(); });
    QVERIFY2(message.startsWith(QStringLiteral("Record 2: ")) && message.contains(QStringLiteral("infinity")), qPrintable(message));
    QVERIFY(!target.TableExists(QStringLiteral("Visits")));

    const QString report = target.dir.filePath(QStringLiteral("problems.txt"));
    c.BatchMove()->SetAbortOnProblem(false);
    c.BatchMove()->SetFileName(report);
    c.Execute();
    QCOMPARE(c.BatchMove()->MovedCount(), 2);
    QCOMPARE(c.BatchMove()->ProblemCount(), 1);
    QCOMPARE(target.Scalar("SELECT group_concat(id) FROM Visits").toString(), QStringLiteral("1,3"));
    QFile f(report);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QString line = QString::fromUtf8(f.readAll());
    QVERIFY2(line.startsWith(QStringLiteral("Record 2: ")) && line.contains(QStringLiteral("values: id=2, at='infinity'")), qPrintable(line));
}

void TstDataSetConverter::cancelInTheMiddleCreatesNothing() {
    if (!RequirePg()) return;
    const QString db = m_pg->CreateDatabase();
    ManyRows(*m_pg, db, 20000);
    Conversion m(m_pg->DatabaseName(db), "many", "Many");
    TDBConvertTable& c = m.convert;
    int stoppedAt = -1;
    c.OnProgress = [&](QObject*, int percent, bool& abort) {
        if (percent >= 50 && stoppedAt < 0) {
            stoppedAt = percent;
            abort = true;
        }
    };
    const EOstraError e = [&] {
        try {
            c.Execute();
        } catch (const EOstraError& e) {
            return e;
        }
        return EOstraError(0, QString());
    }();
    QCOMPARE(e.ErrorCode(), OstErr::Aborted);
    QCOMPARE(stoppedAt, 50);
    QVERIFY(!m.target.TableExists(QStringLiteral("Many")));
    // The source is still there and can be read again.
    QVERIFY(m.source.Active());
    m.source.Last();
    QCOMPARE(m.source.RecNo(), 20000);
}

void TstDataSetConverter::sourceVanishingMidCopyCreatesNothing() {
    if (!RequirePg()) return;
    const QString db = m_pg->CreateDatabase();
    ManyRows(*m_pg, db, 200000);
    Conversion m(m_pg->DatabaseName(db), "many", "Many");
    TDBConvertTable& c = m.convert;
    bool killed = false;
    c.OnProgress = [&](QObject*, int percent, bool&) {
        if (percent >= 30 && !killed) {
            killed = true;
            // The server ends the session that reads the source.
            QVERIFY(m_pg->Exec(QStringLiteral("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '%1' "
                                              "AND pid <> pg_backend_pid()").arg(db)));
        }
    };
    const QString message = MessageOf<EDatabaseError>([&] { c.Execute(); });
    QVERIFY(killed);
    QVERIFY2(message.contains(QStringLiteral("Table \"many\": reading record")), qPrintable(message));
    QVERIFY(!m.target.TableExists(QStringLiteral("Many")));
}

QTEST_GUILESS_MAIN(TstDataSetConverter)
void TstDataSetConverter::readAheadRecordsConvertedForTheirOwnMove() {
    // A PostgreSQL table reads ahead and converts the records it reads for
    // the move that reads it. A second move from the same open table, into a
    // column of another type, gets the records converted for its own column.
    if (!RequirePg()) return;
    const QString db = m_pg->CreateDatabase();
    // More rows than are read ahead, so that reading goes on during the first move.
    QVERIFY(m_pg->Exec("CREATE TABLE days(id int PRIMARY KEY, born date); "
                       "INSERT INTO days SELECT i, date '2000-01-01' + i FROM generate_series(1, 20000) i", db));
    TargetDb target;
    TComponent root;
    const auto table = [&](const QString& name, int type) {
        auto* t = new TOstTable(&root);
        t->SetDatabaseName(target.db->GetDatabaseName());
        t->SetTableName(name);
        t->GetFieldDefsOst().Add(QStringLiteral("id"), dtInteger, 0);
        t->GetFieldDefsOst().Add(QStringLiteral("born"), type, 0);
        t->CreateTable();
        return t;
    };
    TOstTable* dates = table(QStringLiteral("Dates"), dtDate);
    TOstTable* stamps = table(QStringLiteral("Stamps"), dtDateTime);
    auto* source = new TTable(&root);
    source->SetDatabaseName(m_pg->DatabaseName(db));
    source->SetTableName(QStringLiteral("days"));
    source->Open();
    TOstBatchMove move(&root);
    move.SetSource(source);
    move.SetDestination(dates);
    move.SetRecordCount(1500);
    move.Execute();
    QCOMPARE(move.MovedCount(), 1500);
    QCOMPARE(target.Scalar("SELECT born FROM Dates WHERE id = 1").toString(), QStringLiteral("2000-01-02"));

    move.SetDestination(stamps);
    move.SetRecordCount(0);
    move.Execute();
    QCOMPARE(move.MovedCount(), 20000);
    QCOMPARE(move.ProblemCount(), 0);
    QCOMPARE(target.Scalar("SELECT count(*) FROM Stamps WHERE born GLOB '[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]T00:00:00.000'").toInt(), 20000);
    QCOMPARE(target.Scalar("SELECT born FROM Stamps WHERE id = 20000").toString(), QStringLiteral("2054-10-04T00:00:00.000"));
}

void TstDataSetConverter::recordsConvertedOnTheReadingThreadStoredAsTheOthers() {
    // The first records of a big table are converted by the move, later ones
    // on the table's reading thread: both store the same values, of every type.
    if (!RequirePg()) return;
    const QString db = m_pg->CreateDatabase();
    QVERIFY(m_pg->Exec(
        "CREATE TABLE mix(id int PRIMARY KEY, name varchar(30), note text, code char(4), price numeric(10,2), qty smallint, "
        "big bigint, ratio real, born date, at timestamp, alarm time, photo bytea, paid boolean, tag uuid); "
        "INSERT INTO mix SELECT i, CASE i % 6 WHEN 0 THEN 'Grüße 漢字' WHEN 1 THEN '' WHEN 2 THEN NULL ELSE 'tab\there' END, "
        "repeat('x', i % 6 * 100), 'c' || i % 6, i % 6 * 1.25, i % 6 - 3, (i % 6) * 3000000000, i % 6 / 3.0, "
        "date '0001-01-01' + (i % 6) * 500000, timestamp '2020-02-29 23:59:59.125' + (i % 6) * interval '1 day', "
        "time '00:00:01' + (i % 6) * interval '1 hour', CASE WHEN i % 6 = 2 THEN NULL ELSE decode(repeat('00ff', i % 6), 'hex') END, "
        "i % 6 > 2, CASE WHEN i % 6 = 5 THEN NULL ELSE '6f1c5d2e-0000-4000-8000-00000000000' || i % 6 END::uuid "
        "FROM generate_series(1, 12000) i", db));
    Conversion conversion(m_pg->DatabaseName(db), "mix", "Mix");
    auto& [target, t, c] = conversion;
    c.Execute();
    QCOMPARE(target.Scalar("SELECT count(*) FROM Mix").toInt(), 12000);
    QStringList cols;
    for (const char* name : {"name", "note", "code", "price", "qty", "big", "ratio", "born", "at", "alarm", "photo", "paid", "tag"})
        cols << QString::fromLatin1(name) << QStringLiteral("typeof(%1)").arg(QString::fromLatin1(name));
    QCOMPARE(target.Scalar(QStringLiteral("SELECT count(*) FROM (SELECT DISTINCT id % 6, %1 FROM Mix)").arg(cols.join(u','))).toInt(), 6);
    QCOMPARE(target.Scalar("SELECT name || '|' || born || '|' || at || '|' || alarm || '|' || hex(photo) FROM Mix WHERE id = 11999").toString(),
             QStringLiteral("tab\there|6845-10-08|2020-03-05T23:59:59.125|05:00:01|00FF00FF00FF00FF00FF"));
}

#include "tst_datasetconverter.moc"
