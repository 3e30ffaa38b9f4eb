// Browsing large results without holding them: a query reads its rows a page
// at a time (whatever the statement), a table reads its record ids as far as
// they are asked for; both answer for any record, in order, across the
// boundaries of what they read, and stay right while records change. And
// the query's SQL compiled without running, with the place of a failure.
#include "engine_helper.h"

#include <QtTest>

namespace {

constexpr int kRows = 20000;

// T(ID autoinc, N integer, S string) with N = 1..kRows and S = "r<N>", indexed on S.
std::unique_ptr<TestDb> Numbers(bool singleFile) {
    auto db = std::make_unique<TestDb>(singleFile);
    auto t = db->Table("T");
    AddColumn(*t, "ID", dtAutoInc);
    AddColumn(*t, "N", dtInteger);
    AddColumn(*t, "S", dtString, 20);
    t->IndexDefs().Add("ByS", "S", TIndexOptions());
    t->CreateTable();
    db->Exec(QStringLiteral("WITH RECURSIVE k(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM k WHERE i < %1) "
                            "INSERT INTO T(N, S) SELECT i, 'r' || i FROM k").arg(kRows));
    return db;
}

std::unique_ptr<TOstQuery> Query(TestDb& db, const QString& sql) {
    auto q = std::make_unique<TOstQuery>(nullptr);
    q->SetDatabaseName(db.db->GetDatabaseName());
    q->SetSQL(sql);
    return q;
}

// Record positions on both sides of the page and block boundaries, and far apart.
const QList<int> kProbes = {1, 2, 255, 256, 257, 512, 513, 4096, 4097, 8192, 8193, 12000, 16384, 16385, 19999, 20000};

} // namespace

class TstBrowse : public QObject {
    Q_OBJECT
private slots:
    void queryReadsPagesOnDemand_data() { OST_DATA_LAYOUTS(); }
    void queryReadsPagesOnDemand();
    void statementsThatCannotBeSubqueries();
    void writingStatementRunsOnce();
    void filteredQuery();
    void checkSql();
    void compileErrorsKnowTheirPlace();
    void tableReadsIdsOnDemand_data() { OST_DATA_LAYOUTS(); }
    void tableReadsIdsOnDemand();
    void tableInIndexOrderAndFiltered();
    void tableEditsKeepPositions_data() { OST_DATA_LAYOUTS(); }
    void tableEditsKeepPositions();
};

void TstBrowse::queryReadsPagesOnDemand() {
    QFETCH(bool, singleFile);
    auto db = Numbers(singleFile);
    // A trailing comment and ";": the pages are read with the statement as a subquery.
    auto q = Query(*db, "SELECT N, S FROM T ORDER BY N DESC -- newest first\n;  -- done");
    q->Open();
    QCOMPARE(q->FetchedRecordCount(), 256);
    QVERIFY(!q->AllRecordsFetched());
    QCOMPARE(q->RecordValues(1), QVariantList({kRows, "r20000"}));
    // Reading on in order reads ahead, more with every step.
    const int known = q->FetchRecords(100);
    QVERIFY2(known >= 356 && known < kRows, qPrintable(QString::number(known)));
    QVERIFY(q->FetchRecords(100) - known > 256);
    QVERIFY(!q->AllRecordsFetched());
    for (int k : kProbes) QCOMPARE(q->RecordValues(k).value(0).toInt(), kRows + 1 - k);
    QVERIFY(q->RecordValues(kRows + 1).isEmpty());
    QVERIFY(q->RecordValues(0).isEmpty());
    QCOMPARE(q->RecordCount(), kRows);
    QVERIFY(q->AllRecordsFetched());
    QCOMPARE(q->FetchedRecordCount(), kRows);
    // Every record once, in order, walking across all pages (more than are kept).
    qint64 sum = 0;
    int expected = kRows, count = 0;
    for (q->First(); !q->Eof(); q->Next()) {
        const int n = q->FieldByName("N")->AsInteger();
        if (n != expected--) QFAIL(qPrintable(QStringLiteral("record %1 holds %2").arg(count + 1).arg(n)));
        sum += n;
        ++count;
    }
    QCOMPARE(count, kRows);
    QCOMPARE(sum, qint64(kRows) * (kRows + 1) / 2);
    // Pages read long ago are read again.
    QCOMPARE(q->RecordValues(3).value(0).toInt(), kRows - 2);
    q->Last();
    QCOMPARE(q->RecNo(), kRows);
    QCOMPARE(q->FieldByName("S")->AsString(), QStringLiteral("r1"));
    // A small result is complete with its first page.
    auto few = Query(*db, "SELECT N FROM T WHERE N <= 3");
    few->Open();
    QVERIFY(few->AllRecordsFetched());
    QCOMPARE(few->RecordCount(), 3);
    // Far beyond what was read: counted, not read page by page.
    auto far = Query(*db, "SELECT N FROM T");
    far->Open();
    QCOMPARE(far->RecordValues(kRows).value(0).toInt(), kRows);
    QVERIFY(far->AllRecordsFetched());
    // Refresh reads the result again.
    db->Exec("DELETE FROM T WHERE N > 10000");
    far->Refresh();
    QCOMPARE(far->RecordCount(), 10000);
}

void TstBrowse::statementsThatCannotBeSubqueries() {
    TestDb db(true);
    // EXPLAIN lists one row per instruction and cannot be a subquery; its pages are stepped to.
    QStringList literals;
    for (int i = 0; i < 700; ++i) literals << QString::number(i);
    auto q = Query(db, "EXPLAIN SELECT " + literals.join(", "));
    q->Open();
    QVERIFY(!q->AllRecordsFetched());
    const int all = q->RecordCount();
    QVERIFY2(all > 700, qPrintable(QString::number(all)));
    for (int k : {1, 256, 257, 600, all})
        QCOMPARE(q->RecordValues(k).value(0).toInt(), k - 1); // the instruction's address
    QVERIFY(q->RecordValues(all + 1).isEmpty());
}

void TstBrowse::writingStatementRunsOnce() {
    auto db = Numbers(true);
    auto q = Query(*db, "INSERT INTO T(N, S) SELECT N + 100000, 'x' FROM T WHERE N <= 300 RETURNING N");
    q->Open();
    QVERIFY(q->AllRecordsFetched());
    QCOMPARE(q->RecordCount(), 300);
    q->Refresh();
    qint64 sum = 0;
    for (q->First(); !q->Eof(); q->Next()) sum += q->FieldByName("N")->AsInteger() - 100000;
    QCOMPARE(sum, qint64(300) * 301 / 2);
    QCOMPARE(db->Scalar("SELECT count(*) FROM T").toInt(), kRows + 300);
}

void TstBrowse::filteredQuery() {
    auto db = Numbers(false);
    auto q = Query(*db, "SELECT N, S FROM T");
    q->SetFilter("N > 19000 and S <> 'r19500'");
    q->SetFiltered(true);
    q->Open();
    QCOMPARE(q->RecordCount(), 999);
    QCOMPARE(q->RecordValues(1).value(0).toInt(), 19001);
    QCOMPARE(q->RecordValues(500).value(0).toInt(), 19501);
    QCOMPARE(q->RecordValues(999).value(0).toInt(), 20000);
}

void TstBrowse::checkSql() {
    auto db = Numbers(true);
    auto q = Query(*db, "SELECT 1;\n  UPDATE T SET N = N + 1 WHERE N = 1;  -- c\nPRAGMA table_info(T);\n\n-- the end\n");
    const QList<TOstSQLStatement> s = q->CheckSQL();
    QCOMPARE(s.size(), 3);
    QCOMPARE(s[0].Start, 0);
    QCOMPARE(s[0].Length, 9);
    QVERIFY(s[0].ReadOnly && s[0].ReturnsRows);
    QCOMPARE(q->GetSQL().mid(s[1].Start, s[1].Length), QStringLiteral("UPDATE T SET N = N + 1 WHERE N = 1;"));
    QVERIFY(!s[1].ReadOnly && !s[1].ReturnsRows);
    QCOMPARE(q->GetSQL().mid(s[2].Start, s[2].Length), QStringLiteral("PRAGMA table_info(T);"));
    QVERIFY(s[2].ReadOnly && s[2].ReturnsRows);
    // Compiling runs nothing.
    QCOMPARE(db->Scalar("SELECT count(*) FROM T WHERE N = 1").toInt(), 1);
    q->SetSQL("  \n-- nothing\n");
    QVERIFY(q->CheckSQL().isEmpty());
}

void TstBrowse::compileErrorsKnowTheirPlace() {
    auto db = Numbers(true);
    auto position = [&](const QString& sql, bool open) {
        auto q = Query(*db, sql);
        try {
            if (open) q->Open();
            else q->CheckSQL();
        } catch (const EOstraSqlError& e) {
            return e.Position();
        }
        return -2;
    };
    QCOMPARE(position("SELECT * FORM T", false), 9);
    QCOMPARE(position("SELECT * FORM T", true), 9);
    // Characters, not bytes: the umlauts before the error count once each.
    QCOMPARE(position("SELECT '\u00e4\u00f6\u00fc', FROM T", false), 14);
    // A later statement: its place in the whole text.
    QCOMPARE(position("SELECT 1;\nSELECT 2;\nSELECT * FORM T", false), 29);
    // A refused statement: where it starts, and nothing of the text ran.
    auto q = Query(*db, "UPDATE T SET N = 0;\n   DROP TABLE T");
    const EOstraError e = Raised([&] { q->CheckSQL(); });
    QVERIFY2(e.Message().contains("DeleteTable"), qPrintable(e.Message()));
    QCOMPARE(position(q->GetSQL(), false), 23);
    QCOMPARE(db->Scalar("SELECT count(*) FROM T WHERE N = 0").toInt(), 0);
    // A name that does not exist: somewhere in its statement.
    const int at = position("SELECT 1;\nSELECT * FROM Nope", false);
    QVERIFY2(at >= 10 && at <= 24, qPrintable(QString::number(at)));
}

void TstBrowse::tableReadsIdsOnDemand() {
    QFETCH(bool, singleFile);
    auto db = Numbers(singleFile);
    auto t = db->Table("T");
    t->Open();
    // The count is known at once; the records are read where they are asked for.
    QCOMPARE(t->RecordCount(), kRows);
    QVERIFY(t->AllRecordsFetched());
    for (int k : kProbes) QCOMPARE(t->RecordValues(k).value(1).toInt(), k);
    QVERIFY(t->RecordValues(kRows + 1).isEmpty());
    // Straight to the end, then to the last record of an id found there.
    auto u = db->Table("T");
    u->Open();
    u->Last();
    QCOMPARE(u->FieldByName("N")->AsInteger(), kRows);
    QCOMPARE(u->RecordId(), qint64(kRows));
    auto v = db->Table("T");
    v->Open();
    QVERIFY(v->FindRecordId(15000));
    QCOMPARE(v->RecNo(), 15000);
    QVERIFY(!v->FindRecordId(kRows + 5));
    qint64 sum = 0;
    for (v->First(); !v->Eof(); v->Next()) sum += v->FieldByName("N")->AsInteger();
    QCOMPARE(sum, qint64(kRows) * (kRows + 1) / 2);
}

void TstBrowse::tableInIndexOrderAndFiltered() {
    auto db = Numbers(false);
    QStringList sorted;
    for (int i = 1; i <= kRows; ++i) sorted << QStringLiteral("r%1").arg(i);
    sorted.sort();
    auto t = db->Table("T");
    t->SetIndexName("ByS");
    t->Open();
    QCOMPARE(t->RecordCount(), kRows);
    for (int k : kProbes) QCOMPARE(t->RecordValues(k).value(2).toString(), sorted.at(k - 1));
    QVERIFY(t->FindRecordId(9999));
    QCOMPARE(t->RecNo(), sorted.indexOf("r9999") + 1);
    // Filtered, in id order: the ids read after the last one read, within the filter.
    auto f = db->Table("T");
    f->SetFilter("N > 3000 and N <> 10000");
    f->SetFiltered(true);
    f->Open();
    QCOMPARE(f->RecordCount(), kRows - 3001);
    QCOMPARE(f->RecordValues(1).value(1).toInt(), 3001);
    QCOMPARE(f->RecordValues(4097).value(1).toInt(), 7097);
    QCOMPARE(f->RecordValues(7000).value(1).toInt(), 10001);
    QCOMPARE(f->RecordValues(kRows - 3001).value(1).toInt(), kRows);
    // Filtered and in index order.
    f->Close();
    f->SetIndexName("ByS");
    f->Open();
    QStringList kept;
    for (const QString& s : sorted)
        if (s.mid(1).toInt() > 3000 && s != "r10000") kept << s;
    for (int k : {1, 4096, 4097, 8193, static_cast<int>(kept.size())}) QCOMPARE(f->RecordValues(k).value(2).toString(), kept.at(k - 1));
}

void TstBrowse::tableEditsKeepPositions() {
    QFETCH(bool, singleFile);
    auto db = Numbers(singleFile);
    auto t = db->Table("T");
    t->Open();
    // A record added before the ids were all read comes last, and is read there.
    t->Append();
    t->FieldByName("N")->SetAsInteger(kRows + 1);
    t->FieldByName("S")->SetAsString("s-new");
    t->Post();
    QCOMPARE(t->RecordCount(), kRows + 1);
    QCOMPARE(t->RecNo(), kRows + 1);
    QCOMPARE(t->RecordValues(kRows + 1).value(1).toInt(), kRows + 1);
    QCOMPARE(t->RecordValues(kRows).value(1).toInt(), kRows);
    // An edit in id order keeps its place.
    t->SetRecNo(9000);
    t->Edit();
    t->FieldByName("S")->SetAsString("edited");
    t->Post();
    QCOMPARE(t->RecNo(), 9000);
    QCOMPARE(t->RecordValues(9000).value(2).toString(), QStringLiteral("edited"));
    // A deletion closes the gap.
    t->SetRecNo(5000);
    t->Delete();
    QCOMPARE(t->RecordCount(), kRows);
    QCOMPARE(t->RecNo(), 5000);
    QCOMPARE(t->FieldByName("N")->AsInteger(), 5001);
    QCOMPARE(t->RecordValues(kRows).value(1).toInt(), kRows + 1);
    // A record added once all ids were read comes last too.
    t->AppendRecord({QVariant(), kRows + 2, "s-newer"});
    QCOMPARE(t->RecordCount(), kRows + 1);
    QCOMPARE(t->RecNo(), kRows + 1);
    QCOMPARE(t->RecordValues(kRows + 1).value(1).toInt(), kRows + 2);
    QCOMPARE(t->RecordId(), t->RecordValues(kRows + 1).value(0).toLongLong());
    // In index order an edit moves the record, and the cursor with it.
    auto x = db->Table("T");
    x->SetIndexName("ByS");
    x->Open();
    x->First();
    QCOMPARE(x->FieldByName("S")->AsString(), QStringLiteral("edited"));
    x->Edit();
    x->FieldByName("S")->SetAsString("zzz");
    x->Post();
    QCOMPARE(x->RecNo(), kRows + 1);
    QCOMPARE(x->FieldByName("S")->AsString(), QStringLiteral("zzz"));
    QCOMPARE(x->RecordValues(kRows + 1).value(2).toString(), QStringLiteral("zzz"));
}

QTEST_MAIN(TstBrowse)
#include "tst_browse.moc"
