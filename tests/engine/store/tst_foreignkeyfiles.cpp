// Foreign keys of a directory database whose tables are more files than the
// connection can attach at once: every child is checked or changed, and what
// cannot be done in one transaction is refused with nothing changed.
#include "engine/engine_helper.h"

class TstForeignKeyFiles : public QObject {
    Q_OBJECT
private slots:
    void rejectReachesEveryChild_data();
    void rejectReachesEveryChild();
    void cascadeReachesEveryChild_data();
    void cascadeReachesEveryChild();
    void chainsFollowGrandchildren_data();
    void chainsFollowGrandchildren();
};

static QString ChildName(int i) { return QStringLiteral("Child%1").arg(i, 2, 10, QLatin1Char('0')); }

static void MakeTable(TestDb& tdb, const QString& name, const QString& parent, TOstForeignKeyAction action) {
    auto t = tdb.Table(name);
    AddColumn(*t, "ID", dtAutoInc);
    AddColumn(*t, "Code", dtString, 10, false);
    t->IndexDefs().Add(QStringLiteral("ByCode_") + name, QStringLiteral("Code"), ixUnique);
    if (!parent.isEmpty()) {
        AddColumn(*t, "ParentCode", dtString, 10);
        TOstForeignKeyDef* fk = t->GetIntegrityRules().Add(QStringLiteral("FK_") + name);
        fk->ParentTable = parent;
        fk->ChildFields = QStringLiteral("ParentCode");
        fk->ParentFields = QStringLiteral("Code");
        fk->DeleteAction = action;
        fk->UpdateAction = action;
    }
    t->CreateTable();
}

// Parent with codes A, B, C and n children. Every child refers to A; B is
// referred to by the children listed in withB only.
static void MakeFamily(TestDb& tdb, int n, TOstForeignKeyAction action, const QList<int>& withB) {
    MakeTable(tdb, QStringLiteral("Parent"), QString(), faReject);
    tdb.Exec("INSERT INTO Parent(Code) VALUES('A'), ('B'), ('C')");
    for (int i = 1; i <= n; ++i) {
        MakeTable(tdb, ChildName(i), QStringLiteral("Parent"), action);
        tdb.Exec(QStringLiteral("INSERT INTO %1(Code, ParentCode) VALUES('a%2', 'A')").arg(ChildName(i)).arg(i));
        if (withB.contains(i)) tdb.Exec(QStringLiteral("INSERT INTO %1(Code, ParentCode) VALUES('b%2', 'B')").arg(ChildName(i)).arg(i));
    }
}

static int Count(TestDb& tdb, const QString& table, const QString& where = QStringLiteral("1")) {
    return tdb.Scalar(QStringLiteral("SELECT count(*) FROM %1 WHERE %2").arg(table, where)).toInt();
}

static int ChildRows(TestDb& tdb, int n) {
    int total = 0;
    for (int i = 1; i <= n; ++i) total += Count(tdb, ChildName(i));
    return total;
}

void TstForeignKeyFiles::rejectReachesEveryChild_data() {
    QTest::addColumn<int>("children");
    QTest::newRow("8 children") << 8;
    QTest::newRow("9 children") << 9;
    QTest::newRow("12 children") << 12;
    QTest::newRow("25 children") << 25;
}

void TstForeignKeyFiles::rejectReachesEveryChild() {
    QFETCH(int, children);
    TestDb tdb(false);
    MakeFamily(tdb, children, faReject, {children});
    const int rows = ChildRows(tdb, children);

    // B is referred to by the last child only, which the delete cannot attach with the rest.
    EOstraError e = Raised([&] { tdb.Exec("DELETE FROM Parent WHERE Code = 'B'"); });
    QCOMPARE(e.ErrorCode(), OstErr::ForeignKeyViolation);
    QVERIFY2(e.Message().contains(ChildName(children)), qPrintable(e.Message()));
    QCOMPARE(Raised([&] { tdb.Exec("DELETE FROM Parent"); }).ErrorCode(), OstErr::ForeignKeyViolation);
    QCOMPARE(Raised([&] { tdb.Exec("UPDATE Parent SET Code = 'B2' WHERE Code = 'B'"); }).ErrorCode(), OstErr::ForeignKeyViolation);
    QCOMPARE(Count(tdb, "Parent"), 3);

    // The same through a table component.
    auto p = tdb.Table(QStringLiteral("Parent"));
    p->Open();
    QVERIFY(p->Locate(QStringLiteral("Code"), QStringLiteral("B")));
    QCOMPARE(Raised([&] { p->Delete(); }).ErrorCode(), OstErr::ForeignKeyViolation);
    p->Edit();
    p->FieldByName("Code")->SetAsString(QStringLiteral("B2"));
    QCOMPARE(Raised([&] { p->Post(); }).ErrorCode(), OstErr::ForeignKeyViolation);
    p->Cancel();
    // A record nobody refers to goes.
    QVERIFY(p->Locate(QStringLiteral("Code"), QStringLiteral("C")));
    p->Delete();
    p->Close();
    QCOMPARE(Count(tdb, "Parent"), 2);
    QCOMPARE(ChildRows(tdb, children), rows);

    // A restructure of the parent checks every child's file, and the keys hold after it.
    p->ReadDefinitions();
    AddColumn(*p, "Extra", dtInteger);
    p->AlterTable();
    QCOMPARE(Raised([&] { tdb.Exec("DELETE FROM Parent WHERE Code = 'B'"); }).ErrorCode(), OstErr::ForeignKeyViolation);

    // SQL that commits on its own cannot leave the queued keys unchecked.
    e = Raised([&] { tdb.Exec("BEGIN; DELETE FROM Parent WHERE Code = 'B'; COMMIT"); });
    QCOMPARE(e.ErrorCode(), OstErr::ForeignKeyViolation);
    QCOMPARE(Count(tdb, "Parent"), 2);

    // A child still needs its parent, whichever files are attached.
    const QString last = ChildName(children);
    QCOMPARE(Raised([&] { tdb.Exec(QStringLiteral("INSERT INTO %1(Code, ParentCode) VALUES('z', 'Z')").arg(last)); }).ErrorCode(),
             OstErr::ForeignKeyViolation);
    tdb.Exec(QStringLiteral("INSERT INTO %1(Code, ParentCode) VALUES('z', 'B')").arg(last));
    QCOMPARE(ChildRows(tdb, children), rows + 1);
}

void TstForeignKeyFiles::cascadeReachesEveryChild_data() {
    QTest::addColumn<int>("children");
    QTest::newRow("12 children") << 12;
    QTest::newRow("25 children") << 25;
}

void TstForeignKeyFiles::cascadeReachesEveryChild() {
    QFETCH(int, children);
    TestDb tdb(false);
    const QList<int> withB{2, children / 2, children};
    MakeFamily(tdb, children, faCascade, withB);
    const int rows = ChildRows(tdb, children);

    // Key changes and deletes of B reach the three children that refer to it.
    tdb.Exec("UPDATE Parent SET Code = 'B2' WHERE Code = 'B'");
    for (int i : withB) QCOMPARE(Count(tdb, ChildName(i), "ParentCode = 'B2'"), 1);
    QCOMPARE(Count(tdb, ChildName(children), "ParentCode = 'B'"), 0);
    auto p = tdb.Table(QStringLiteral("Parent"));
    p->Open();
    QVERIFY(p->Locate(QStringLiteral("Code"), QStringLiteral("B2")));
    p->Edit();
    p->FieldByName("Code")->SetAsString(QStringLiteral("B3"));
    p->Post();
    for (int i : withB) QCOMPARE(Count(tdb, ChildName(i), "ParentCode = 'B3'"), 1);
    p->Delete();
    QCOMPARE(ChildRows(tdb, children), rows - withB.size());
    for (int i : withB) QCOMPARE(Count(tdb, ChildName(i), "ParentCode IS NOT 'A'"), 0);

    // A is referred to from every file: more than one transaction can hold.
    // That is refused and changes nothing, rather than leaving orphans.
    QVERIFY(p->Locate(QStringLiteral("Code"), QStringLiteral("A")));
    const EOstraError e = Raised([&] { p->Delete(); });
    QCOMPARE(e.ErrorCode(), OstErr::ForeignKeyViolation);
    QVERIFY2(e.Message().contains("needs more than") && e.Message().contains("FK_Child"), qPrintable(e.Message()));
    p->Close();
    QCOMPARE(Raised([&] { tdb.Exec("DELETE FROM Parent WHERE Code = 'A'"); }).ErrorCode(), OstErr::ForeignKeyViolation);
    QCOMPARE(Count(tdb, "Parent"), 2);
    QCOMPARE(ChildRows(tdb, children), rows - withB.size());
    for (int i = 1; i <= children; ++i) QCOMPARE(Count(tdb, ChildName(i), "ParentCode = 'A'"), 1);
}

void TstForeignKeyFiles::chainsFollowGrandchildren_data() {
    QTest::addColumn<int>("children");
    QTest::newRow("few files") << 1;
    QTest::newRow("many files") << 12;
}

void TstForeignKeyFiles::chainsFollowGrandchildren() {
    QFETCH(int, children);
    TestDb tdb(false);
    MakeFamily(tdb, children, faCascade, {1});
    // Child01 has a cascading and a guarding grandchild table.
    MakeTable(tdb, QStringLiteral("Grand"), ChildName(1), faCascade);
    MakeTable(tdb, QStringLiteral("Guard"), ChildName(1), faReject);
    tdb.Exec("INSERT INTO Grand(Code, ParentCode) VALUES('g1', 'a1'), ('g2', 'b1'), ('g3', 'b1')");
    tdb.Exec("INSERT INTO Guard(Code, ParentCode) VALUES('h1', 'a1')");

    // Deleting B deletes b1 of Child01 and, through it, g2 and g3.
    tdb.Exec("DELETE FROM Parent WHERE Code = 'B'");
    QCOMPARE(Count(tdb, ChildName(1)), 1);
    QCOMPARE(tdb.Scalar("SELECT group_concat(Code) FROM Grand").toString(), QStringLiteral("g1"));
    // A's child a1 is guarded by a grandchild: nothing goes.
    QCOMPARE(Raised([&] { tdb.Exec("DELETE FROM Parent WHERE Code = 'A'"); }).ErrorCode(), OstErr::ForeignKeyViolation);
    QCOMPARE(Count(tdb, "Parent", "Code = 'A'"), 1);
    QCOMPARE(Count(tdb, ChildName(1)), 1);
    QCOMPARE(Count(tdb, "Grand"), 1);
    // Key changes follow the chain too.
    tdb.Exec("DELETE FROM Guard");
    tdb.Exec(QStringLiteral("UPDATE %1 SET Code = 'a1x' WHERE Code = 'a1'").arg(ChildName(1)));
    QCOMPARE(tdb.Scalar("SELECT ParentCode FROM Grand").toString(), QStringLiteral("a1x"));
}

QTEST_GUILESS_MAIN(TstForeignKeyFiles)
#include "tst_foreignkeyfiles.moc"
