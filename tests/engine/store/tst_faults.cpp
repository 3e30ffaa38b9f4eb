// Failing disks: a fault layer under the engine's files fails the nth write,
// sync or truncate, and the walk takes n over every one of them in an
// operation - restructure by rebuild and in place, change of encryption,
// batch move (within a database and between two), table creation - in both
// layouts. Each failure must raise a clear error and leave the table
// exactly as it was (definition, rows, checksum) with nothing left beside it;
// once n passes the operation's last write, the operation succeeds.
#include "engine/engine_helper.h"
#include "engine/tablestate_helper.h"

#include "engine/ostbatchmove.h"
#include "engine/store/ostfaultvfs.h"

namespace {

const QString kPassword = QStringLiteral("fault-pass");

enum Operation { Restructure, InPlace, Rekey, BatchMove, CrossMove, Creation };

struct Fixture {
    std::unique_ptr<TestDb> tdb;
    std::unique_ptr<TestDb> other; // the source database of a move between databases
    bool singleFile;

    Fixture(bool single, int method, int rows, int padding) : singleFile(single) {
        tdb = std::make_unique<TestDb>(single);
        tdb->db->SetPassword(kPassword);
        auto t = Table(QStringLiteral("Items"));
        t->SetTableLevel(4);
        t->SetEncryptionMethod(method);
        AddColumn(*t, "Name", dtString, 100);
        AddColumn(*t, "Qty", dtInteger);
        AddColumn(*t, "Pad", dtMemo);
        t->CreateTable();
        t->AddIndex(QStringLiteral("ByName"), QStringLiteral("Name"), {});
        Fill(QStringLiteral("Items"), rows, padding);
        auto s = Table(QStringLiteral("Source"));
        AddColumn(*s, "Name", dtString, 100);
        AddColumn(*s, "Qty", dtInteger);
        s->CreateTable();
        tdb->Exec(QStringLiteral("INSERT INTO Source(Name, Qty) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                                 "WHERE i < 40) SELECT 'Moved-' || i, i FROM n"));
        other = std::make_unique<TestDb>(true);
        auto o = other->Table(QStringLiteral("Other"));
        AddColumn(*o, "Name", dtString, 100);
        AddColumn(*o, "Qty", dtInteger);
        AddColumn(*o, "Pad", dtMemo);
        o->CreateTable();
        other->Exec(QStringLiteral("INSERT INTO Other(Name, Qty, Pad) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 "
                                   "FROM n WHERE i < 90) SELECT 'Other-' || i, i, hex(randomblob(40)) FROM n"));
    }

    std::unique_ptr<TOstTable> Table(const QString& name) {
        auto t = tdb->Table(name);
        t->SetEncryptionPassword(kPassword);
        return t;
    }

    void Fill(const QString& table, int rows, int padding) {
        tdb->Exec(QStringLiteral("INSERT INTO %1(Name, Qty, Pad) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                                 "WHERE i < %2) SELECT 'Row-' || i, i, replace(hex(zeroblob(%3 / 2)), '0', 'p') || i FROM n")
                      .arg(table).arg(rows).arg(padding));
    }

    // The table the operation works on.
    QString Target(Operation op) const { return op == Creation ? QStringLiteral("Fresh") : QStringLiteral("Items"); }

    void Run(Operation op) {
        switch (op) {
        case Restructure: {
            auto t = Table(QStringLiteral("Items"));
            t->ReadDefinitions();
            t->GetFieldDefsOst()[0]->SetSize(120);
            t->GetFieldDefsOst().Move(2, 0); // a move: the rows are copied
            AddColumn(*t, "Extra", dtInteger);
            t->AlterTable();
            break;
        }
        case InPlace: {
            auto t = Table(QStringLiteral("Items"));
            t->ReadDefinitions();
            t->GetFieldDefsOst()[0]->SetSize(120);
            t->GetFieldDefsOst()[1]->SetName(QStringLiteral("Count"));
            AddColumn(*t, "Extra", dtInteger);
            AddColumn(*t, "Kind", dtString, 10, false)->SetCalcExpression(QStringLiteral("'plain'"));
            if (!t->CanAlterInPlace()) throw std::logic_error("the change is not made in place");
            t->AlterTable();
            break;
        }
        case Rekey: {
            auto t = Table(QStringLiteral("Items"));
            t->ReadDefinitions();
            t->SetEncryptionMethod(t->GetEncryptionMethod() == emRijndael ? emNone : emRijndael);
            t->AlterTable();
            break;
        }
        case BatchMove: {
            TComponent root;
            auto* move = new TOstBatchMove(&root);
            for (const char* name : {"Source", "Items"}) {
                auto* t = new TOstTable(&root);
                t->SetName(QLatin1String(name) + QStringLiteral("Set"));
                t->SetDatabaseName(tdb->db->GetDatabaseName());
                t->SetTableName(QLatin1String(name));
            }
            move->SetSourceName(QStringLiteral("SourceSet"));
            move->SetDestinationName(QStringLiteral("ItemsSet"));
            move->SetMode(TOstBatchMove::batAppend);
            move->Execute();
            break;
        }
        case CrossMove: {
            // From another database (plain, single-file) into this one: its file is attached for the copy.
            TComponent root;
            auto* move = new TOstBatchMove(&root);
            auto* src = new TOstTable(&root);
            src->SetName(QStringLiteral("OtherSet"));
            src->SetDatabaseName(other->db->GetDatabaseName());
            src->SetTableName(QStringLiteral("Other"));
            auto* dst = new TOstTable(&root);
            dst->SetName(QStringLiteral("ItemsSet"));
            dst->SetDatabaseName(tdb->db->GetDatabaseName());
            dst->SetTableName(QStringLiteral("Items"));
            dst->SetEncryptionPassword(kPassword);
            move->SetSource(src);
            move->SetDestination(dst);
            move->SetMode(TOstBatchMove::batCopy);
            move->Execute();
            if (!move->UsedFastPath()) throw std::logic_error("the move went record by record");
            break;
        }
        case Creation: {
            auto t = Table(QStringLiteral("Fresh"));
            t->SetTableLevel(4);
            t->SetEncryptionMethod(singleFile ? emDefault : emRijndael);
            AddColumn(*t, "Code", dtString, 10);
            AddColumn(*t, "Note", dtMemo);
            t->IndexDefs().Add(QStringLiteral("PK"), QStringLiteral("Code"), ixPrimary | ixUnique);
            t->CreateTable();
            break;
        }
        }
    }

    TableState OtherState() {
        other->db->Close();
        return StateOf(*other->db, QStringLiteral("Other"));
    }

    // The table as stored, read afresh; an empty state when it does not exist.
    TableState State(const QString& table) {
        tdb->db->Close();
        return StateOf(*tdb->db, table);
    }
};

const char* Name(Operation op) {
    static const char* names[] = {"restructure", "restructure in place", "rekey", "batch move", "move between databases", "creation"};
    return names[op];
}

} // namespace

class TstFaults : public QObject {
    Q_OBJECT
private slots:
    void everyWriteOfAnOperationFailsCleanly_data();
    void everyWriteOfAnOperationFailsCleanly();
    void rekeyOfALargeTableFailsCleanly();
    void cleanup() { OstFault::Disarm(); }
};

void TstFaults::everyWriteOfAnOperationFailsCleanly_data() {
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<int>("operation");
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("persistent");
    for (bool single : {false, true}) {
        for (Operation op : {Restructure, InPlace, Rekey, BatchMove, CrossMove, Creation}) {
            if (op == Rekey && single) continue; // a single-file database is encrypted as a whole
            const QString layout = single ? QStringLiteral("single-file") : QStringLiteral("directory");
            QTest::addRow("%s %s, I/O error from then on", qPrintable(layout), Name(op)) << single << int(op) << int(OstFault::IoError) << true;
            QTest::addRow("%s %s, disk full once", qPrintable(layout), Name(op)) << single << int(op) << int(OstFault::DiskFull) << false;
        }
    }
}

void TstFaults::everyWriteOfAnOperationFailsCleanly() {
    QFETCH(bool, singleFile);
    QFETCH(int, operation);
    QFETCH(int, kind);
    QFETCH(bool, persistent);
    const auto op = Operation(operation);
    const int method = singleFile ? emDefault : emRijndael;
    auto fx = std::make_unique<Fixture>(singleFile, method, 60, 50);
    const TableState before = fx->State(fx->Target(op));
    const TableState source = fx->State(QStringLiteral("Source"));
    const TableState other = fx->OtherState();
    int failures = 0, n = 1;
    for (;; ++n) {
        QVERIFY2(n < 2000, "the operation never completed");
        OstFault::Arm(n, OstFault::Kind(kind), OstFault::AnyOp, persistent);
        const EOstraError e = Raised([&] { fx->Run(op); });
        const bool fired = OstFault::Fired();
        OstFault::Disarm();
        const QString at = QStringLiteral("n=%1: %2").arg(n).arg(e.Message());
        if (e.ErrorCode() == 0) {
            if (!fired) break; // past the last write: done
            // A failure the operation could live with (a sync after its commit): it is complete.
            QVERIFY2(fx->State(fx->Target(op)) != before, qPrintable(at));
            fx = std::make_unique<Fixture>(singleFile, method, 60, 50);
            continue;
        }
        ++failures;
        QVERIFY2(fired, qPrintable(at));
        QVERIFY2(!e.Message().isEmpty(), qPrintable(at));
        if (op != BatchMove && op != CrossMove) {
            QVERIFY2(e.Message().contains(fx->Target(op)), qPrintable(at));
            if (e.ErrorCode() == OstErr::IoError) QVERIFY2(e.Message().contains(QStringLiteral("file \"")), qPrintable(at));
        }
        const TableState now = fx->State(fx->Target(op));
        QVERIFY2(now == before, qPrintable(at + QStringLiteral("\n  was ") + before.Describe() + QStringLiteral("\n  now ") + now.Describe()));
        QVERIFY2(fx->State(QStringLiteral("Source")) == source, qPrintable(at));
        QVERIFY2(fx->OtherState() == other, qPrintable(at));
        QVERIFY2(Leftovers(fx->other->location).isEmpty(), qPrintable(at));
        QVERIFY2(Leftovers(fx->tdb->location).isEmpty(), qPrintable(at + QStringLiteral(": ") + Leftovers(fx->tdb->location).join(u' ')));
    }
    qInfo("%d writes walked, %d failed the operation", n - 1, failures);
    QVERIFY(failures > 3);
    const TableState after = fx->State(fx->Target(op));
    QVERIFY(after != before);
    QVERIFY(after.rows >= 0);
    QVERIFY(Leftovers(fx->tdb->location).isEmpty());
}

// Over 2 MB, with a failure every so many writes (the walk over each would
// take minutes): decrypted, the copy is smaller than the file it replaces;
// encrypted again, it is larger, and its later pages are written first.
void TstFaults::rekeyOfALargeTableFailsCleanly() {
    Fixture fx(false, emRijndael, 2500, 1000);
    const TableState first = fx.State(QStringLiteral("Items"));
    QVERIFY(QFileInfo(QDir(fx.tdb->location).filePath(QStringLiteral("Items.dat"))).size() > 2 * 1024 * 1024);
    for (int target : {int(emNone), int(emRijndael)}) {
        const TableState before = fx.State(QStringLiteral("Items"));
        int failures = 0;
        for (int n = 1;; n += 1 + n / 3) {
            OstFault::Arm(n, OstFault::IoError, OstFault::AnyOp, true);
            const EOstraError e = Raised([&] { fx.Run(Rekey); });
            const bool fired = OstFault::Fired();
            OstFault::Disarm();
            const QString at = QStringLiteral("n=%1: %2").arg(n).arg(e.Message());
            if (e.ErrorCode() == 0) {
                QVERIFY2(!fired, qPrintable(at));
                break;
            }
            ++failures;
            QVERIFY2(e.Message().contains(QStringLiteral("Items")), qPrintable(at));
            const EOstraError reading = Raised([&] { fx.State(QStringLiteral("Items")); });
            QVERIFY2(reading.ErrorCode() == 0, qPrintable(at + QStringLiteral("; then: ") + reading.Message()));
            const TableState now = fx.State(QStringLiteral("Items"));
            QVERIFY2(now == before, qPrintable(at + QStringLiteral("\n  now ") + now.Describe()));
            QVERIFY2(Leftovers(fx.tdb->location).isEmpty(),
                     qPrintable(at + QStringLiteral(": ") + Leftovers(fx.tdb->location).join(u' ')));
        }
        qInfo("%d failures placed", failures);
        QVERIFY(failures > 10);
        const TableState after = fx.State(QStringLiteral("Items"));
        QCOMPARE(after.method, target);
        QCOMPARE(after.checksum, first.checksum);
    }
}

QTEST_GUILESS_MAIN(TstFaults)
#include "tst_faults.moc"
