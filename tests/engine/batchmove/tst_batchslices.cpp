// Records of a dataset moved in slices, each inserted by one statement: a
// slice with a record that cannot be moved is moved record by record, which
// reports it; slices the engine vouches for skip SQLite's own column checks,
// and records a source prepared on a thread of its own are taken only from
// the move they were prepared for.
#include "batchmove_helper.h"

#include "engine/store/ostconnection.h"

#include <sqlite3.h>

namespace {

// length() that counts its calls: SQLite evaluating a sized text column's check.
int g_lengthCalls = 0;
void CountedLength(sqlite3_context* ctx, int, sqlite3_value** argv) {
    ++g_lengthCalls;
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return;
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_value_text(argv[0])), sqlite3_value_bytes(argv[0]));
    sqlite3_result_int(ctx, int(text.toUcs4().size()));
}
void CountLengthCalls(TestDb& db) {
    g_lengthCalls = 0;
    sqlite3_create_function(db.db->Connection()->Db(), "length", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, CountedLength,
                            nullptr, nullptr);
}

// Code, Name, Qty records in memory that are prepared all at once, the first
// time a reader asks for it, and keep what that gave: records an earlier move prepared.
class PreparedOnce : public TDataSet {
public:
    QVector<QVariantList> rows, prepared;
    bool SetRecordPrepare(TRecordPrepare prepare) override {
        if (prepare && prepared.isEmpty())
            for (const QVariantList& r : std::as_const(rows)) prepared << prepare(r);
        return true;
    }
    QVariantList PreparedRecord() const override { return prepared.value(RecNo() - 1); }

protected:
    void InternalOpen() override {
        FieldDefs().Clear();
        FieldDefs().AddFieldDef(QStringLiteral("Code"), ftString, 10);
        FieldDefs().AddFieldDef(QStringLiteral("Name"), ftString, 20);
        FieldDefs().AddFieldDef(QStringLiteral("Qty"), ftString, 20);
    }
    void InternalClose() override {}
    int InternalRecordCount() const override { return int(rows.size()); }
    QVariantList InternalGetRecord(int recNo) const override { return rows.value(recNo); }
};

} // namespace

class TstBatchSlices : public QObject {
    Q_OBJECT
private slots:
    void datasetRecordsInSlices();
    void datasetSlicesKeepEveryCheck();
    void refusedRecordLeavesNoWordsCounted();
    void certainSlicesLeaveTheChecksToTheEngine();
    void recordsPreparedForAnotherMoveAreConvertedAgain();
};

void TstBatchSlices::datasetRecordsInSlices() {
    TestDb db(true);
    MakeSimpleTables(db);
    FillNumbered(db, QStringLiteral("Src"), 1000);
    // 450: too long for Dst's Name (20); 451: the key of record 10, of another slice;
    // 452: a null key becomes the default '' (record 453's key then is taken).
    db.Exec(QStringLiteral("UPDATE Src SET Code = 'K000010' WHERE Qty = 451"));
    db.Exec(QStringLiteral("UPDATE Src SET Code = NULL WHERE Qty = 452"));
    db.Exec(QStringLiteral("UPDATE Src SET Code = '' WHERE Qty = 453"));
    Module m;
    m.SourceQuery(db, QStringLiteral("SELECT Code, CASE Qty WHEN 450 THEN 'a name longer than twenty' ELSE Name END AS Name, Qty "
                                     "FROM Src ORDER BY Qty"));
    m.Destination(db, QStringLiteral("Dst"));
    const QString report = db.dir.filePath(QStringLiteral("slices.txt"));
    m.move->SetFileName(report);

    m.move->SetAbortOnProblem(true);
    const EOstraError e = Raised([&] { m.move->Execute(); });
    QCOMPARE(e.ErrorCode(), OstErr::ConversionFailed);
    QVERIFY2(e.Message().startsWith("Record 450: Column \"Name\": 'a name longer than twenty' is longer than 20"), qPrintable(e.Message()));
    QCOMPARE(Rows(db, "SELECT count(*) FROM Dst"), QStringLiteral("0"));

    m.move->SetAbortOnProblem(false);
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 997);
    QCOMPARE(m.move->ProblemCount(), 3);
    QCOMPARE(m.move->KeyViolCount(), 2);
    QCOMPARE(Rows(db, "SELECT count(*), min(Qty), max(Qty), sum(Qty) FROM Dst"),
             QString("997|1|1000|%1").arg(500500 - 450 - 451 - 453));
    QCOMPARE(Rows(db, "SELECT Name FROM Dst WHERE Qty IN (449, 452, 454) ORDER BY Qty"), QStringLiteral("name 449\nname 452\nname 454"));
    const QStringList lines = FileLines(report);
    QCOMPARE(lines.size(), 3);
    QVERIFY2(lines[0].startsWith("Record 450: Column \"Name\": "), qPrintable(lines[0]));
    QVERIFY2(lines[1].startsWith("Record 451: Key violation") && lines[1].endsWith("Code='K000010', Name='name 451', Qty=451"),
             qPrintable(lines[1]));
    QVERIFY2(lines[2].startsWith("Record 453: Key violation") && lines[2].endsWith("Code='', Name='name 453', Qty=453"),
             qPrintable(lines[2]));

    // The same records appended again: every one is a key violation, in every slice.
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 0);
    QCOMPARE(m.move->KeyViolCount(), 999);
    QCOMPARE(m.move->ProblemCount(), 1000);
    QCOMPARE(Rows(db, "SELECT count(*) FROM Dst"), QStringLiteral("997"));
}

void TstBatchSlices::datasetSlicesKeepEveryCheck() {
    // Slices whose values the writer knows to be valid skip SQLite's column
    // checks; a check of the table's own, or a value outside its column's
    // range written by a trigger, must still be refused.
    TestDb db(true);
    MakeSimpleTables(db);
    FillNumbered(db, QStringLiteral("Src"), 600);
    auto dst = db.Table(QStringLiteral("Dst"));
    dst->ReadDefinitions();
    TCheckConstraint* ck = dst->CheckConstraints().Add();
    ck->ImportedConstraint = QStringLiteral("Qty < 500");
    dst->AlterTable();
    Module m;
    m.SourceQuery(db, QStringLiteral("SELECT Code, Name, Qty FROM Src ORDER BY Qty"));
    m.Destination(db, QStringLiteral("Dst"));
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 499);
    QCOMPARE(m.move->ProblemCount(), 101);
    QCOMPARE(Rows(db, "SELECT max(Qty) FROM Dst"), QStringLiteral("499"));

    dst->CheckConstraints().Clear();
    dst->AlterTable();
    db.Exec(QStringLiteral("DELETE FROM Dst"));
    db.Exec(QStringLiteral("CREATE TRIGGER Doubled AFTER INSERT ON Dst WHEN new.Qty = 300 BEGIN "
                           "UPDATE Dst SET Qty = 1e10 WHERE rowid = new.rowid; END"));
    m.move->Execute();
    QCOMPARE(m.move->ProblemCount(), 1);
    QCOMPARE(Rows(db, "SELECT count(*), max(Qty) FROM Dst"), QStringLiteral("599|600"));
}

void TstBatchSlices::refusedRecordLeavesNoWordsCounted() {
    // A record refused by the key, moved one by one after its slice failed:
    // the words it would have added to the fulltext dictionary are not counted.
    TestDb db(true);
    MakeSimpleTables(db);
    auto dst = db.Table(QStringLiteral("Dst"));
    dst->AddFulltextIndex2(QStringLiteral("Names.fti"), QStringLiteral("Name"), QStringLiteral("NameWords"), QString());
    db.Exec(QStringLiteral("INSERT INTO Src VALUES ('A', 'apple pie', 1), ('B', 'berry pie', 2), ('A', 'quince pie', 3), "
                           "('C', 'cherry pie', 4)"));
    Module m;
    m.SourceQuery(db, QStringLiteral("SELECT Code, Name, Qty FROM Src ORDER BY Qty"));
    m.Destination(db, QStringLiteral("Dst"));
    m.move->Execute();
    QCOMPARE(m.move->KeyViolCount(), 1);
    QCOMPARE(Rows(db, "SELECT Keyword || ':' || Relevance FROM NameWords ORDER BY Keyword"),
             QStringLiteral("apple:1\nberry:1\ncherry:1\npie:3"));
}

void TstBatchSlices::certainSlicesLeaveTheChecksToTheEngine() {
    // Values the engine converted and checked itself are not checked by
    // SQLite again; with a check of the table's own, SQLite checks them all.
    TestDb db(true);
    MakeSimpleTables(db);
    FillNumbered(db, QStringLiteral("Src"), 1000);
    Module m;
    m.SourceQuery(db, QStringLiteral("SELECT Code, Name, Qty FROM Src ORDER BY Qty"));
    m.Destination(db, QStringLiteral("Dst"));
    CountLengthCalls(db);
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 1000);
    QCOMPARE(g_lengthCalls, 0);

    auto dst = db.Table(QStringLiteral("Dst"));
    dst->ReadDefinitions();
    dst->CheckConstraints().Add()->ImportedConstraint = QStringLiteral("Qty > 0");
    dst->AlterTable();
    db.Exec(QStringLiteral("DELETE FROM Dst"));
    CountLengthCalls(db);
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 1000);
    QVERIFY2(g_lengthCalls >= 2000, qPrintable(QString::number(g_lengthCalls))); // Code and Name of every record
}

void TstBatchSlices::recordsPreparedForAnotherMoveAreConvertedAgain() {
    // A source that still holds records prepared for an earlier move into
    // other columns: the writer converts them for its own.
    TestDb db(true);
    MakeSimpleTables(db);
    auto wide = db.Table(QStringLiteral("Wide"));
    AddColumn(*wide, "Code", dtString, 10, false);
    AddColumn(*wide, "Name", dtString, 20);
    AddColumn(*wide, "Qty", dtFloat);
    wide->CreateTable();
    PreparedOnce source;
    for (int i = 1; i <= 500; ++i) source.rows << QVariantList{QStringLiteral("K%1").arg(i), QStringLiteral("n%1").arg(i), QStringLiteral("%1.5").arg(i)};
    source.Open();
    Module m;
    m.move->SetSource(&source);
    m.move->SetDestination(m.Destination(db, QStringLiteral("Wide")));
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 500);
    QCOMPARE(Rows(db, "SELECT sum(Qty) FROM Wide"), QStringLiteral("125500"));

    // Dst takes whole numbers only: each x.5 is refused, as it is without preparing.
    auto dst = db.Table(QStringLiteral("Dst"));
    m.move->SetDestination(dst.get());
    m.move->Execute();
    QCOMPARE(m.move->MovedCount(), 0);
    QCOMPARE(m.move->ProblemCount(), 500);
    QCOMPARE(Rows(db, "SELECT count(*) FROM Dst"), QStringLiteral("0"));
}

QTEST_GUILESS_MAIN(TstBatchSlices)
#include "tst_batchslices.moc"
