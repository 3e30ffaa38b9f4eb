// TOstBatchMove on real tables of both layouts: every mode, mappings, record
// limits, progress and abort, problems and their report, queries and other
// databases as sources, and the copy by statement - inside one database or
// from another one, encrypted or not - giving what the record-by-record copy
// gives.
#include "batchmove_helper.h"

#include "engine/store/ostconnection.h"

#include <QDir>
#include <QFile>

namespace {

// Columns of every kind of conversion; the destination adds a default, a
// link and a calculated column.
void MakeTypedTables(TestDb& db) {
    auto parents = db.Table(QStringLiteral("Parents"));
    AddColumn(*parents, "ID", dtAutoInc);
    AddColumn(*parents, "Parent", dtInteger); // the same name as the link column that refers to it
    parents->CreateTable();
    db.Exec(QStringLiteral("INSERT INTO Parents(ID) VALUES (1), (2)"));
    for (const char* name : {"Src", "Good", "Orphan"}) {
        auto src = db.Table(name);
        AddColumn(*src, "ID", dtAutoInc);
        AddColumn(*src, "Code", dtString, 10);
        AddColumn(*src, "Num", dtString, 10);
        AddColumn(*src, "Qty", dtInteger);
        AddColumn(*src, "Price", dtFloat);
        AddColumn(*src, "Day", dtDate);
        AddColumn(*src, "Flag", dtBoolean);
        AddColumn(*src, "Kind", dtEnum)->SetSpec(QStringLiteral("a,b,c"));
        AddColumn(*src, "Stamp", dtDateTime);
        AddColumn(*src, "Note", dtMemo);
        AddColumn(*src, "Parent", dtInteger);
        src->CreateTable();
    }
    auto dst = db.Table(QStringLiteral("Dst"));
    AddColumn(*dst, "ID", dtAutoInc);
    AddColumn(*dst, "Code", dtString, 10);
    AddColumn(*dst, "Num", dtInteger);
    AddColumn(*dst, "Qty", dtString, 5);
    AddColumn(*dst, "Price", dtFloat)->SetPrecision(3);
    AddColumn(*dst, "Day", dtString, 20);
    AddColumn(*dst, "Flag", dtString, 10);
    AddColumn(*dst, "Kind", dtEnum)->SetSpec(QStringLiteral("a,b"));
    AddColumn(*dst, "Stamp", dtDate);
    AddColumn(*dst, "Note", dtWideString, 8)->SetCalcExpression(QStringLiteral("'none'"));
    AddColumn(*dst, "Parent", dtLink)->SetSpec(QStringLiteral("Parents"));
    TOstFieldDef* twice = AddColumn(*dst, "Twice", dtInteger);
    twice->SetInternalCalcField(true);
    twice->SetCalcExpression(QStringLiteral("Num * 2"));
    dst->IndexDefs().Add(QStringLiteral("PK"), QStringLiteral("ID"), ixPrimary | ixUnique);
    dst->CreateTable();
    const QString cols = QStringLiteral("(ID, Code, Num, Qty, Price, Day, Flag, Kind, Stamp, Note, Parent)");
    const QString good = QStringLiteral(
        "(1, 'A', '12', 5, 1.23456, '2020-01-02', 1, 'a', '2021-03-04T05:06:07.000', NULL, 1),"
        "(6, 'F', NULL, NULL, NULL, NULL, NULL, NULL, NULL, 'memo', NULL),"
        "(7, 'G', ' 10', 3, 2.5, '2020-12-31', 0, 'b', '2021-01-01T23:59:59.000', 'memo', 2)");
    db.Exec(QStringLiteral("INSERT INTO Good") + cols + QStringLiteral(" VALUES ") + good);
    db.Exec(QStringLiteral("INSERT INTO Src") + cols + QStringLiteral(" VALUES ") + good + QStringLiteral(
        ",(2, 'B', 'x', 1, 1, NULL, NULL, NULL, NULL, NULL, NULL)"          // Num is no whole number
        ",(3, 'C', '7', 123456, 1, NULL, NULL, NULL, NULL, NULL, NULL)"     // Qty is longer than 5
        ",(4, 'D', '8', 1, 1, NULL, NULL, 'c', NULL, NULL, NULL)"           // Kind is not one of a, b
        ",(5, 'E', '9', 2, 1, NULL, NULL, NULL, NULL, NULL, 99)"));         // Parents has no record 99
    db.Exec(QStringLiteral("INSERT INTO Orphan(ID, Code, Parent) VALUES (8, 'H', 99)"));
}

} // namespace

class TstBatchMove : public QObject {
    Q_OBJECT
private slots:
    void everyMode_data() { OST_DATA_LAYOUTS() }
    void everyMode();
    void mappings();
    void refusedBeforeAnythingIsWritten();
    void recordCountProgressAndAbort_data();
    void recordCountProgressAndAbort();
    void problemsCountedAndReported_data();
    void problemsCountedAndReported();
    void copyInOneDatabaseMatchesRecordCopy_data() { OST_DATA_LAYOUTS() }
    void copyInOneDatabaseMatchesRecordCopy();
    void copyBetweenEncryptedDatabases_data() { OST_DATA_LAYOUTS() }
    void copyBetweenEncryptedDatabases();
    void copyFromAnotherDatabaseWithEveryPlaceTaken();
    void keysAsTheIndexComparesThem();
    void queriesAndOtherDatabases();
};

void TstBatchMove::everyMode() {
    QFETCH(bool, singleFile);
    TestDb db(singleFile);
    MakeSimpleTables(db);
    db.Exec(QStringLiteral("INSERT INTO Src VALUES ('A', 'Ann', 1), ('C', 'Cid', 3), ('D', 'Dan', 4)"));
    Module m;
    m.Source(db, QStringLiteral("Src"));
    TOstTable* dst = m.Destination(db, QStringLiteral("Dst"));
    struct Case {
        TOstBatchMove::TBatchMode mode;
        const char* rows;
        int moved, problems;
    } cases[] = {
        {TOstBatchMove::batAppend, "A|old|10\nB|old|20\nC|Cid|3\nD|Dan|4", 2, 1}, // A's key is taken
        {TOstBatchMove::batUpdate, "A|Ann|1\nB|old|20", 1, 0},                   // C and D match nothing
        {TOstBatchMove::batAppendUpdate, "A|Ann|1\nB|old|20\nC|Cid|3\nD|Dan|4", 3, 0},
        {TOstBatchMove::batDelete, "B|old|20", 1, 0},
        {TOstBatchMove::batCopy, "A|Ann|1\nC|Cid|3\nD|Dan|4", 3, 0},
    };
    for (const Case& c : cases) {
        db.Exec(QStringLiteral("DELETE FROM Dst; INSERT INTO Dst VALUES ('A', 'old', 10), ('B', 'old', 20)"));
        m.move->SetMode(c.mode);
        dst->Open(); // an open destination sees the moved records
        m.move->Execute();
        const QByteArray mode = QMetaEnum::fromType<TOstBatchMove::TBatchMode>().valueToKey(c.mode);
        QVERIFY2(Rows(db, "SELECT * FROM Dst ORDER BY Code") == QLatin1String(c.rows), mode.constData());
        QCOMPARE(dst->RecordCount(), QString::fromLatin1(c.rows).count(u'\n') + 1);
        dst->Close();
        QCOMPARE(m.move->MovedCount(), c.moved);
        QCOMPARE(m.move->ProblemCount(), c.problems);
        QCOMPARE(m.move->KeyViolCount(), c.problems);
        // The same database's table, read in its own order, is copied by statements.
        QCOMPARE(m.move->UsedFastPath(), c.mode == TOstBatchMove::batCopy);
    }
}

void TstBatchMove::mappings() {
    TestDb db(false);
    auto src = db.Table(QStringLiteral("Src"));
    AddColumn(*src, "Code", dtString, 10);
    AddColumn(*src, "Name", dtString, 20);
    AddColumn(*src, "Qty", dtInteger);
    src->CreateTable();
    auto dst = db.Table(QStringLiteral("Dst"));
    AddColumn(*dst, "CODE", dtString, 10);
    AddColumn(*dst, "Title", dtString, 20);
    AddColumn(*dst, "Qty", dtInteger)->SetCalcExpression(QStringLiteral("7"));
    AddColumn(*dst, "Extra", dtString, 5);
    dst->CreateTable();
    db.Exec(QStringLiteral("INSERT INTO Src VALUES ('A', 'Ann', 1), ('B', NULL, NULL)"));
    Module m;
    m.Source(db, QStringLiteral("Src"));
    m.Destination(db, QStringLiteral("Dst"));
    m.move->SetMode(TOstBatchMove::batCopy);

    // By name (regardless of case): Code and Qty; a null gets the column's default.
    m.move->Execute();
    QCOMPARE(Rows(db, "SELECT * FROM Dst ORDER BY CODE"), QStringLiteral("A|NULL|1|NULL\nB|NULL|7|NULL"));
    // Renamed and partial; blank lines are ignored, a lone name maps a column to itself.
    m.move->SetMappings({" Title = Name ", "", "code"});
    m.move->Execute();
    QCOMPARE(Rows(db, "SELECT * FROM Dst ORDER BY CODE"), QStringLiteral("A|Ann|7|NULL\nB|NULL|7|NULL"));
    // One source column into two destination columns.
    m.move->SetMappings({"Code", "Extra=Code"});
    m.move->Execute();
    QCOMPARE(Rows(db, "SELECT CODE, Extra FROM Dst ORDER BY CODE"), QStringLiteral("A|A\nB|B"));
}

void TstBatchMove::refusedBeforeAnythingIsWritten() {
    TestDb db(true);
    MakeSimpleTables(db);
    auto calc = db.Table(QStringLiteral("Calc"));
    AddColumn(*calc, "Code", dtString, 10);
    AddColumn(*calc, "Twice", dtInteger)->SetInternalCalcField(true);
    calc->GetFieldDefsOst()[1]->SetCalcExpression(QStringLiteral("length(Code) * 2"));
    calc->CreateTable();
    auto other = db.Table(QStringLiteral("Other"));
    AddColumn(*other, "Something", dtInteger);
    other->CreateTable();
    db.Exec(QStringLiteral("INSERT INTO Src VALUES ('A', 'Ann', 1); INSERT INTO Dst VALUES ('Z', 'kept', 9)"));
    Module m;
    m.Source(db, QStringLiteral("Src"));
    TOstTable* dst = m.Destination(db, QStringLiteral("Dst"));
    const QString report = db.dir.filePath(QStringLiteral("old-report.txt"));
    QFile f(report);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("earlier report\n");
    f.close();
    m.move->SetFileName(report);
    m.move->SetMode(TOstBatchMove::batCopy);

    struct Case {
        QStringList mappings;
        TOstBatchMove::TBatchMode mode;
        QString table;
        QString message;
    } cases[] = {
        {{"Code", "Nope=Name"}, TOstBatchMove::batCopy, "Dst", "Mappings line 2 \"Nope=Name\": table \"Dst\" has no column \"Nope\""},
        {{"Name=Nope"}, TOstBatchMove::batCopy, "Dst", "Mappings line 1 \"Name=Nope\": source \"Source\" has no column \"Nope\""},
        {{"=Name"}, TOstBatchMove::batCopy, "Dst", "Mappings line 1 \"=Name\": the destination column is missing"},
        {{"Name="}, TOstBatchMove::batCopy, "Dst", "Mappings line 1 \"Name=\": the source column is missing"},
        {{"Code", "code=Name"}, TOstBatchMove::batCopy, "Dst", "Mappings line 2 \"code=Name\": column \"Code\" is mapped twice"},
        {{"Twice=Qty"}, TOstBatchMove::batCopy, "Calc", "column \"Twice\" of table \"Calc\" is calculated and cannot be written"},
        {{}, TOstBatchMove::batCopy, "Other", "Source \"Source\" and table \"Other\" have no column names in common"},
        {{"Name"}, TOstBatchMove::batUpdate, "Dst", "Key column \"Code\" of table \"Dst\" (index \"PK\") is not mapped"},
        {{}, TOstBatchMove::batDelete, "Calc", "Table \"Calc\" has no primary or unique index"},
    };
    for (const Case& c : cases) {
        dst->SetTableName(c.table);
        m.move->SetMappings(c.mappings);
        m.move->SetMode(c.mode);
        const EOstraError e = Raised([&] { m.move->Execute(); });
        QVERIFY2(e.ErrorCode() != 0 && e.Message().contains(c.message), qPrintable(e.Message()));
    }
    dst->SetTableName(QStringLiteral("Dst"));
    m.move->SetMappings({});
    m.move->SetMode(TOstBatchMove::batCopy);

    // A report that cannot be written, a read-only destination, the table into itself.
    m.move->SetFileName(db.dir.filePath(QStringLiteral("no/such/dir/report.txt")));
    QCOMPARE(Raised([&] { m.move->Execute(); }).ErrorCode(), OstErr::IoError);
    m.move->SetFileName(report);
    dst->SetReadOnly(true);
    QCOMPARE(Raised([&] { m.move->Execute(); }).ErrorCode(), OstErr::ReadOnly);
    dst->SetReadOnly(false);
    dst->SetTableName(QStringLiteral("Src"));
    QVERIFY(Raised([&] { m.move->Execute(); }).Message().contains("cannot be moved into itself"));
    m.move->SetDestinationName(QStringLiteral("Nowhere"));
    QVERIFY(Raised([&] { m.move->Execute(); }).Message().contains("Destination \"Nowhere\" is not a dataset of the same owner"));

    QCOMPARE(Rows(db, "SELECT * FROM Dst"), QStringLiteral("Z|kept|9"));
    QCOMPARE(Rows(db, "SELECT count(*) FROM Calc"), QStringLiteral("0"));
    QCOMPARE(FileLines(report), QStringList{"earlier report"});
    QCOMPARE(m.move->MovedCount(), 0);
}

void TstBatchMove::recordCountProgressAndAbort_data() {
    QTest::addColumn<bool>("byQuery");
    QTest::newRow("table of the same database") << false;
    QTest::newRow("query") << true;
}

void TstBatchMove::recordCountProgressAndAbort() {
    QFETCH(bool, byQuery);
    TestDb db(false);
    MakeSimpleTables(db);
    FillNumbered(db, QStringLiteral("Src"), 60000);
    Module m;
    if (byQuery) m.SourceQuery(db, QStringLiteral("SELECT * FROM Src ORDER BY Code"));
    else m.Source(db, QStringLiteral("Src"));
    m.Destination(db, QStringLiteral("Dst"));
    QVector<int> seen;
    int abortAt = 101;
    int refused = 0;
    m.move->OnProgress = [&](QObject* sender, int percent, bool& abort) {
        QCOMPARE(sender, m.move);
        seen << percent;
        abort = percent >= abortAt;
        // The handler finds the connection with every check, whatever the move skips in between.
        try {
            db.Exec(QStringLiteral("INSERT INTO Src VALUES ('X', 'checked', 1e12)"));
        } catch (const EOstraError&) {
            ++refused;
        }
    };

    m.move->SetRecordCount(25000);
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 25000);
    QCOMPARE(m.move->UsedFastPath(), !byQuery);
    QCOMPARE(Rows(db, "SELECT count(*), max(Code) FROM Dst"), QStringLiteral("25000|K025000"));
    QCOMPARE(seen.first(), 0);
    QCOMPARE(seen.last(), 100);
    QCOMPARE(refused, seen.size());
    QVERIFY2(std::is_sorted(seen.begin(), seen.end()) && seen.size() >= 4, qPrintable(QString::number(seen.size())));

    // An abort from the progress event takes everything back.
    m.move->SetRecordCount(0);
    m.move->SetMode(TOstBatchMove::batCopy);
    abortAt = 50;
    seen.clear();
    const EOstraError e = Raised([&] { m.move->Execute(); });
    QCOMPARE(e.ErrorCode(), OstErr::Aborted);
    QVERIFY(e.Message().contains("aborted"));
    QCOMPARE(seen.last(), 50);
    QCOMPARE(Rows(db, "SELECT count(*), max(Code) FROM Dst"), QStringLiteral("25000|K025000"));
    QCOMPARE(m.move->MovedCount(), 0);

    // Even at 100 % an abort is still honoured.
    abortAt = 100;
    QCOMPARE(Raised([&] { m.move->Execute(); }).ErrorCode(), OstErr::Aborted);
    QCOMPARE(Rows(db, "SELECT count(*) FROM Dst"), QStringLiteral("25000"));
    abortAt = 101;
    m.move->Execute();
    QCOMPARE(Rows(db, "SELECT count(*) FROM Dst"), QStringLiteral("60000"));
}

void TstBatchMove::problemsCountedAndReported_data() {
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<bool>("otherDatabase");
    QTest::newRow("directory") << false << false;
    QTest::newRow("single-file") << true << false;
    QTest::newRow("single-file from a directory database") << true << true;
}

void TstBatchMove::problemsCountedAndReported() {
    QFETCH(bool, singleFile);
    QFETCH(bool, otherDatabase);
    TestDb db(singleFile);
    TestDb other(!singleFile);
    TestDb& srcDb = otherDatabase ? other : db;
    MakeSimpleTables(db);
    if (otherDatabase) MakeSimpleTables(other);
    auto dst = db.Table(QStringLiteral("Dst"));
    dst->ReadDefinitions();
    dst->GetFieldDefsOst()[1]->SetSize(5);
    TCheckConstraint* ck = dst->CheckConstraints().Add();
    ck->ImportedConstraint = QStringLiteral("Qty < 100");
    ck->ErrorMessage = QStringLiteral("Qty stays below 100");
    dst->AlterTable();
    // A null for a key column that must have a value gets the column's default, '', as a post does.
    srcDb.Exec(QStringLiteral("INSERT INTO Src VALUES ('A', 'Ann', 1), ('a', 'Dup', 2), ('B', 'It''s\tlong', 3), "
                              "('C', 'Cid', 500), ('D', 'Dan', 4), (NULL, 'NoKey', 5)"));
    Module m;
    m.Source(srcDb, QStringLiteral("Src"));
    m.Destination(db, QStringLiteral("Dst"));
    const QString report = db.dir.filePath(QStringLiteral("problems.txt"));
    m.move->SetFileName(report);

    // With AbortOnProblem the first problem takes everything back; the old report stays.
    m.move->SetAbortOnProblem(true);
    db.Exec(QStringLiteral("INSERT INTO Dst VALUES ('a', 'taken', 0)"));
    EOstraError e = Raised([&] { m.move->Execute(); });
    QCOMPARE(e.ErrorCode(), OstErr::KeyViolation);
    QVERIFY2(e.Message().startsWith("Record 2: Key violation"), qPrintable(e.Message()));
    QCOMPARE(Rows(db, "SELECT Code FROM Dst"), QStringLiteral("a"));
    QVERIFY(!QFile::exists(report));

    m.move->SetAbortOnProblem(false);
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 3);
    QCOMPARE(m.move->ProblemCount(), 3);
    QCOMPARE(m.move->KeyViolCount(), 1);
    QCOMPARE(Rows(db, "SELECT * FROM Dst ORDER BY Code"), QStringLiteral("|NoKey|5\nA|Ann|1\nD|Dan|4\na|taken|0"));
    const QStringList lines = FileLines(report);
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines[0], QStringLiteral("Record 2: Key violation: table \"Dst\" already holds a record with the same Code; "
                                      "values: Code='a', Name='Dup', Qty=2"));
    // Values are quoted and escaped, so that every problem keeps to one line.
    QVERIFY2(lines[1].startsWith("Record 3: Column \"Name\": 'It's\tlong' is longer than 5 characters; "), qPrintable(lines[1]));
    QVERIFY2(lines[1].endsWith("; values: Code='B', Name='It''s\\tlong', Qty=3"), qPrintable(lines[1]));
    QCOMPARE(lines[2], QStringLiteral("Record 4: Qty stays below 100; values: Code='C', Name='Cid', Qty=500"));

    // A run without problems leaves an empty report, never a stale one.
    m.move->SetMode(TOstBatchMove::batAppendUpdate);
    m.move->SetRecordCount(1);
    m.move->Execute();
    QCOMPARE(m.move->ProblemCount(), 0);
    QVERIFY(QFile::exists(report));
    QCOMPARE(FileLines(report), QStringList());
}

void TstBatchMove::copyInOneDatabaseMatchesRecordCopy() {
    QFETCH(bool, singleFile);
    TestDb db(singleFile), other(!singleFile);
    MakeTypedTables(db);
    MakeTypedTables(other);
    // Good holds 3 records that convert, Src adds 4 that do not, Orphan
    // holds only one with a link to nowhere.
    for (const QString& source : QStringList{"Good", "Src", "Orphan"}) {
        const int moved = source == QLatin1String("Orphan") ? 0 : 3;
        const int problems = source == QLatin1String("Src") ? 4 : source == QLatin1String("Orphan") ? 1 : 0;
        QStringList results, reports;
        // The same database's table, another database's (both by statement)
        // and a filtered table (read through the dataset).
        for (int way = 0; way < 3; ++way) {
            TestDb* from = way == 1 ? &other : &db;
            Module m;
            TOstTable* src = m.Source(*from, source);
            if (way == 2) {
                src->SetFilter(QStringLiteral("ID > 0"));
                src->SetFiltered(true);
            }
            m.Destination(db, QStringLiteral("Dst"));
            m.move->SetMode(TOstBatchMove::batCopy);
            const QString report = db.dir.filePath(QStringLiteral("report.txt"));
            m.move->SetFileName(report);
            m.move->Execute();
            QCOMPARE(m.move->MovedCount(), moved);
            QCOMPARE(m.move->ProblemCount(), problems);
            // Only the good rows go in one statement, from this database or the
            // other one; a problem sends its slice record by record.
            QCOMPARE(m.move->UsedFastPath(), way != 2 && source == QLatin1String("Good"));
            results << Rows(db, "SELECT * FROM Dst ORDER BY ID");
            reports << FileLines(report).join(u'\n');
        }
        QCOMPARE(results[1], results[0]);
        QCOMPARE(results[2], results[0]);
        QCOMPARE(reports[1], reports[0]);
        QCOMPARE(reports[2], reports[0]);
        if (source == QLatin1String("Orphan")) {
            QCOMPARE(results[0], QString());
            QVERIFY2(reports[0].startsWith("Record 1: Column \"Parent\": table \"Parents\" has no record 99"), qPrintable(reports[0]));
            continue;
        }
        const QStringList rows = results[0].split(u'\n');
        QCOMPARE(rows.size(), 3);
        QCOMPARE(rows[0], QStringLiteral("1|A|12|5|1.23|2020-01-02|true|a|2021-03-04|none|1|24"));
        QCOMPARE(rows[1], QStringLiteral("6|F|NULL|NULL|NULL|NULL|NULL|NULL|NULL|memo|NULL|NULL"));
        QCOMPARE(rows[2], QStringLiteral("7|G|10|3|2.5|2020-12-31|false|b|2021-01-01|memo|2|20"));
        if (source == QLatin1String("Src")) {
            const QStringList problems = reports[0].split(u'\n');
            QCOMPARE(problems.size(), 4);
            QVERIFY2(problems[0].startsWith("Record 2: Column \"Num\": 'x' is not a whole number"), qPrintable(problems[0]));
            QVERIFY2(problems[1].startsWith("Record 3: Column \"Qty\": '123456' is longer than 5"), qPrintable(problems[1]));
            QVERIFY2(problems[2].startsWith("Record 4: Column \"Kind\": 'c' is not one of a, b"), qPrintable(problems[2]));
            QVERIFY2(problems[3].startsWith("Record 5: Column \"Parent\": table \"Parents\" has no record 99"), qPrintable(problems[3]));
        }
    }
}

// An encrypted table (of a directory database, or a whole encrypted
// single-file database) is attached with the keys its own connection holds;
// neither file ever holds the rows in the clear, and nothing stays attached.
void TstBatchMove::copyBetweenEncryptedDatabases() {
    QFETCH(bool, singleFile); // the source's layout; the destination has the other
    TestDb from(singleFile), to(!singleFile);
    for (TestDb* d : {&from, &to}) d->db->SetPassword(QStringLiteral("db-pass"));
    auto make = [](TestDb& d, const QString& name) {
        auto t = d.Table(name);
        t->SetEncryptionMethod(d.db->GetDatabaseType() == dbtSingleFile ? emDefault : emRijndael);
        t->SetEncryptionPassword(QStringLiteral("t-pass"));
        AddColumn(*t, "Code", dtString, 10);
        AddColumn(*t, "Name", dtString, 20);
        AddColumn(*t, "Qty", dtInteger);
        t->CreateTable();
    };
    for (TestDb* d : {&from, &to}) {
        if (d->db->GetDatabaseType() == dbtSingleFile) {
            // A single-file database is encrypted as a whole, from its creation.
            d->db->Close();
            QFile::remove(d->location);
            d->db->SetEncryptionMethod(emRijndael);
            d->db->CreateDatabase();
        }
    }
    make(from, QStringLiteral("Src"));
    make(to, QStringLiteral("Dst"));
    FillNumbered(from, QStringLiteral("Src"), 5000);
    from.Exec(QStringLiteral("UPDATE Src SET Name = 'secret-' || Qty"));
    Module m;
    m.Source(from, QStringLiteral("Src"))->SetEncryptionPassword(QStringLiteral("t-pass"));
    m.Destination(to, QStringLiteral("Dst"))->SetEncryptionPassword(QStringLiteral("t-pass"));
    m.move->SetMode(TOstBatchMove::batCopy);
    m.move->Execute();
    QVERIFY(m.move->UsedFastPath());
    QCOMPARE(m.move->MovedCount(), 5000);
    QCOMPARE(Rows(to, "SELECT count(*), sum(Qty), max(Name) FROM Dst"), QStringLiteral("5000|12502500|secret-999"));
    QCOMPARE(to.db->Connection()->QueryInt(QStringLiteral("SELECT count(*) FROM pragma_database_list WHERE name LIKE 'src:%'")), 0);
    for (TestDb* d : {&from, &to}) {
        d->db->Close();
        const QString file = d->db->GetDatabaseType() == dbtSingleFile ? d->location : QDir(d->location).filePath(d == &from ? "Src.dat" : "Dst.dat");
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY2(!f.readAll().contains("secret-"), qPrintable(file));
    }
}

// A directory database (a managed one, whose catalog takes a place too) with
// every place its table files may take taken: the source of another database
// gets the one left for it, and every table stays usable.
void TstBatchMove::copyFromAnotherDatabaseWithEveryPlaceTaken() {
    TestDb from(true), to(false, true);
    MakeSimpleTables(from, false);
    FillNumbered(from, QStringLiteral("Src"), 300);
    MakeSimpleTables(to);
    for (int i = 0; i < 12; ++i) {
        auto t = to.Table(QStringLiteral("T%1").arg(i));
        AddColumn(*t, "X", dtInteger);
        t->CreateTable();
        to.Exec(QStringLiteral("INSERT INTO T%1(X) VALUES(%1)").arg(i));
    }
    Module m;
    m.Source(from, QStringLiteral("Src"));
    m.Destination(to, QStringLiteral("Dst"));
    m.move->SetMode(TOstBatchMove::batAppend);
    m.move->Execute();
    QVERIFY(m.move->UsedFastPath());
    QCOMPARE(Rows(to, "SELECT count(*), min(Code), max(Code) FROM Dst"), QStringLiteral("300|K000001|K000300"));
    for (int i = 0; i < 12; ++i) QCOMPARE(Rows(to, QStringLiteral("SELECT X FROM T%1").arg(i)), QString::number(i));
    // A key taken makes its slice go record by record, reported as ever.
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 0);
    QCOMPARE(m.move->KeyViolCount(), 300);
}

void TstBatchMove::keysAsTheIndexComparesThem() {
    TestDb db(true);
    MakeSimpleTables(db, false);
    auto dst = db.Table(QStringLiteral("Dst"));
    dst->ReadDefinitions();
    // Unique on the first three characters of Code, regardless of case.
    dst->IndexDefs().Add(QStringLiteral("ByCode"), QStringLiteral("Code:3"), ixUnique | ixCaseInsensitive);
    dst->AlterTable();
    db.Exec(QStringLiteral("INSERT INTO Src VALUES ('abcd', 'new', 1), ('xyz', 'none', 2)"));
    db.Exec(QStringLiteral("INSERT INTO Dst VALUES ('ABCx', 'old', 0), ('abd', 'other', 0)"));
    Module m;
    m.Source(db, QStringLiteral("Src"));
    m.Destination(db, QStringLiteral("Dst"));
    m.move->SetMode(TOstBatchMove::batUpdate);
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 1);
    QCOMPARE(Rows(db, "SELECT * FROM Dst ORDER BY Qty, Code"), QStringLiteral("abd|other|0\nabcd|new|1"));
    m.move->SetMode(TOstBatchMove::batAppend); // 'ABCD' is taken as 'abc'
    m.move->SetMappings({"Code=Name", "Name=Code"});
    db.Exec(QStringLiteral("UPDATE Src SET Name = 'ABCD' WHERE Qty = 1"));
    m.move->Execute();
    QCOMPARE(m.move->KeyViolCount(), 1);
    m.move->SetMappings({});
    m.move->SetMode(TOstBatchMove::batDelete);
    db.Exec(QStringLiteral("UPDATE Src SET Code = 'ABD!' WHERE Qty = 1"));
    m.move->Execute();
    QCOMPARE(Rows(db, "SELECT * FROM Dst ORDER BY Code"), QStringLiteral("abcd|new|1\nnone|xyz|NULL"));
}

void TstBatchMove::queriesAndOtherDatabases() {
    TestDb dir(false), file(true);
    MakeSimpleTables(dir, false);
    MakeSimpleTables(file);
    dir.Exec(QStringLiteral("INSERT INTO Src VALUES ('A', 'Ann', 1), ('B', 'Bob', 2), ('C', 'Cid', 3)"));

    // A query of the same database, appended twice into an unkeyed table.
    Module q;
    q.SourceQuery(dir, QStringLiteral("SELECT Code, upper(Name) AS Name FROM Src WHERE Qty >= 2"));
    q.Destination(dir, QStringLiteral("Dst"));
    q.move->Execute();
    q.move->Execute();
    QCOMPARE(q.move->UsedFastPath(), false);
    QCOMPARE(Rows(dir, "SELECT * FROM Dst ORDER BY Code"), QStringLiteral("B|BOB|NULL\nB|BOB|NULL\nC|CID|NULL\nC|CID|NULL"));

    // From a directory database into a single-file one and back, inside a
    // transaction of the application's that then decides.
    Module there;
    there.Source(dir, QStringLiteral("Src"));
    there.Destination(file, QStringLiteral("Dst"));
    there.move->SetMode(TOstBatchMove::batAppendUpdate);
    there.move->Execute();
    QCOMPARE(Rows(file, "SELECT * FROM Dst ORDER BY Code"), QStringLiteral("A|Ann|1\nB|Bob|2\nC|Cid|3"));
    Module back;
    back.Source(file, QStringLiteral("Dst"));
    back.Destination(dir, QStringLiteral("Dst"));
    back.move->SetMode(TOstBatchMove::batCopy);
    dir.db->StartTransaction();
    back.move->Execute();
    QCOMPARE(back.move->MovedCount(), 3);
    dir.db->Rollback();
    QCOMPARE(Rows(dir, "SELECT count(*) FROM Dst"), QStringLiteral("4"));
    dir.db->StartTransaction();
    back.move->Execute();
    dir.db->Commit();
    QCOMPARE(Rows(dir, "SELECT * FROM Dst ORDER BY Code"), QStringLiteral("A|Ann|1\nB|Bob|2\nC|Cid|3"));
}

// A dataset that is no engine table (here a query) is appended in slices of
// records, each by one statement: a record that cannot be moved in the middle
// of a slice leaves the others of its slice moved and is reported with its
// own number, as record by record.
QTEST_GUILESS_MAIN(TstBatchMove)
#include "tst_batchmove.moc"
