// Restructuring: data mapping by column number, conversions, atomicity on
// failure and abort, record ids and counters, triggers, views and foreign keys.
#include "engine/engine_helper.h"

class TstAlter : public QObject {
    Q_OBJECT
private slots:
    void mappingInOneGo_data() { OST_DATA_LAYOUTS() }
    void mappingInOneGo();
    void failedRestructureLeavesTableAsItWas_data() { OST_DATA_LAYOUTS() }
    void failedRestructureLeavesTableAsItWas();
    void idsCountersTriggersViewsSurvive();
    void invalidIndicationRaisesMinus18();
    void metadataOnlyChangesAndProgress();
    void checksHoldAfterTheCopy();
    void definitionsFollowRenamedAndDroppedColumns();
};

static std::unique_ptr<TOstTable> People(TestDb& tdb) {
    auto t = tdb.Table(QStringLiteral("People"));
    AddColumn(*t, "ID", dtAutoInc);
    AddColumn(*t, "Name", dtString, 20);
    AddColumn(*t, "Age", dtString, 5);
    AddColumn(*t, "Note", dtMemo);
    AddColumn(*t, "Joined", dtDateTime);
    t->IndexDefs().Add(QStringLiteral("ByName"), QStringLiteral("Name"), ixUnique);
    t->CreateTable();
    t->Open();
    t->AppendRecord({QVariant(), "Ann", "31", "first", QDateTime(QDate(2020, 5, 1), QTime(8, 0))});
    t->AppendRecord({QVariant(), "Bob", "45", "second", QDateTime(QDate(2021, 6, 2), QTime(9, 30))});
    t->AppendRecord({QVariant(), "Cyd", QVariant(), "third", QVariant()});
    t->Close();
    return t;
}

void TstAlter::mappingInOneGo() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = People(tdb);
    t->ReadDefinitions();
    TOstFieldDefs& f = t->GetFieldDefsOst();
    // Rename Name, widen it to a wide string, move Joined before it, Age text -> integer,
    // drop Note, add Active with a default value.
    f[1]->SetName(QStringLiteral("FullName"));
    f[1]->SetDataTypeOst(dtWideString);
    f[1]->SetSize(60);
    f[2]->SetDataTypeOst(dtInteger);
    f[2]->SetSize(0);
    f.Move(4, 1);
    f.Delete(f.IndexOf(QStringLiteral("Note")));
    TOstFieldDef* active = AddColumn(*t, "Active", dtBoolean);
    active->SetCalcExpression(QStringLiteral("1"));
    t->IndexDefs()[0]->Fields = QStringLiteral("FullName");
    t->AlterTable();

    auto r = tdb.Table(QStringLiteral("People"));
    r->Open();
    QStringList cols;
    for (TField* fld : r->Fields()) cols << fld->GetFieldName();
    QCOMPARE(cols, QStringList({"ID", "Joined", "FullName", "Age", "Active"}));
    QCOMPARE(r->GetFieldDefsOst()[2]->GetFieldNo(), uint16_t(2)); // the number survives rename and move
    QCOMPARE(r->GetFieldDefsOst()[4]->GetFieldNo(), uint16_t(6)); // new columns get fresh numbers
    r->First();
    QCOMPARE(r->FieldByName("FullName")->AsString(), QStringLiteral("Ann"));
    QCOMPARE(r->FieldByName("Age")->Value(), QVariant(qlonglong(31)));
    QCOMPARE(r->FieldByName("Joined")->AsDateTime(), QDateTime(QDate(2020, 5, 1), QTime(8, 0)));
    QCOMPARE(r->FieldByName("Active")->AsBoolean(), true);
    r->Last();
    QVERIFY(r->FieldByName("Age")->IsNull());
    QCOMPARE(r->FieldByName("ID")->AsInteger(), 3);
    // The unique index follows the renamed column.
    QCOMPARE(Raised([&] { r->AppendRecord({QVariant(), QVariant(), "Bob"}); }).ErrorCode(), OstErr::KeyViolation);
}

void TstAlter::failedRestructureLeavesTableAsItWas() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = People(tdb);
    const auto before = [&] {
        return tdb.Scalar("SELECT group_concat(ID || ':' || Name || ':' || coalesce(Age,'-') || ':' || Note, '|') FROM People").toString();
    };
    const QString snapshot = before();

    // A value that does not convert: names are not numbers.
    t->ReadDefinitions();
    t->GetFieldDefsOst()[1]->SetDataTypeOst(dtInteger);
    const EOstraError conv = Raised([&] { t->AlterTable(); });
    QCOMPARE(conv.ErrorCode(), OstErr::ConversionFailed);
    QVERIFY2(conv.Message().contains("Name") && conv.Message().contains("Ann"), qPrintable(conv.Message()));

    // Shrinking below the longest value.
    t->ReadDefinitions();
    t->GetFieldDefsOst()[1]->SetSize(2);
    QVERIFY(Raised([&] { t->AlterTable(); }).Message().contains("longer than 2"));

    // Abort from the progress event halfway.
    t->ReadDefinitions();
    t->GetFieldDefsOst()[1]->SetSize(25);
    int calls = 0;
    t->OnProgress = [&](QObject*, int pct, bool& abort) { ++calls; abort = pct >= 50; };
    QCOMPARE(Raised([&] { t->AlterTable(); }).ErrorCode(), OstErr::Aborted);
    QVERIFY(calls >= 2);
    t->OnProgress = nullptr;

    QCOMPARE(before(), snapshot);
    auto r = tdb.Table(QStringLiteral("People"));
    r->ReadDefinitions();
    QCOMPARE(r->GetFieldDefsOst()[1]->GetSize(), 20);
    QCOMPARE(r->GetFieldDefsOst()[1]->GetDataTypeOst(), int(dtString));
}

void TstAlter::idsCountersTriggersViewsSurvive() {
    TestDb tdb(true);
    auto t = People(tdb);
    tdb.Exec("DELETE FROM People WHERE ID = 3"); // the counter stays at 3
    tdb.Exec("CREATE TABLE Log(msg TEXT)");
    tdb.Exec("CREATE TRIGGER PeopleLog AFTER INSERT ON People BEGIN INSERT INTO Log VALUES(new.Name); END");
    tdb.Exec("CREATE VIEW Adults AS SELECT Name FROM People WHERE CAST(Age AS INTEGER) >= 18");
    t->ReadDefinitions();
    t->GetFieldDefsOst()[3]->SetName(QStringLiteral("Remark"));
    t->GetFieldDefsOst().Move(0, 4);
    t->AlterTable();
    tdb.Exec("INSERT INTO People(Name, Age) VALUES('Dee', '50')");
    QCOMPARE(tdb.Scalar("SELECT ID FROM People WHERE Name = 'Dee'").toInt(), 4);
    QCOMPARE(tdb.Scalar("SELECT group_concat(ID) FROM (SELECT ID FROM People ORDER BY ID)").toString(), QStringLiteral("1,2,4"));
    QCOMPARE(tdb.Scalar("SELECT group_concat(msg) FROM Log").toString(), QStringLiteral("Dee"));
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Adults").toInt(), 3);
}

void TstAlter::invalidIndicationRaisesMinus18() {
    TestDb tdb(false);
    auto t = People(tdb);
    t->ReadDefinitions();
    t->GetFieldDefsOst()[0]->SetSpec(QStringLiteral("\"Nmae\""));
    const EOstraError e = Raised([&] { t->AlterTable(); });
    QCOMPARE(e.ErrorCode(), OstErr::InvalidIndication);
    QCOMPARE(int(e.ErrorCode()), -18);
    t->ReadDefinitions();
    t->GetFieldDefsOst()[0]->SetSpec(QStringLiteral("\"Name\";Age:3"));
    t->AlterTable();
}

void TstAlter::metadataOnlyChangesAndProgress() {
    TestDb tdb(false);
    auto t = People(tdb);
    t->ReadDefinitions();
    t->SetCapacity(2000000);
    QList<int> seen;
    t->OnProgress = [&](QObject* sender, int pct, bool&) { QCOMPARE(sender, t.get()); seen << pct; };
    t->AlterTable();
    QCOMPARE(seen.first(), 0);
    QCOMPARE(seen.last(), 100);
    QVERIFY(std::is_sorted(seen.begin(), seen.end()));
    auto r = tdb.Table(QStringLiteral("People"));
    r->ReadDefinitions();
    QCOMPARE(r->GetCapacity(), 2000000);
}

void TstAlter::checksHoldAfterTheCopy() {
    TestDb tdb(true);
    auto t = People(tdb);
    // A new row check that existing rows break.
    t->ReadDefinitions();
    TCheckConstraint* ck = t->CheckConstraints().Add();
    ck->ImportedConstraint = QStringLiteral("Name <> 'Bob'");
    ck->ErrorMessage = QStringLiteral("No Bobs");
    EOstraError e = Raised([&] { t->AlterTable(); });
    QVERIFY2(e.ErrorCode() == OstErr::ConstraintViolation && e.Message().startsWith("No Bobs"), qPrintable(e.Message()));
    // A new column whose default breaks its own size.
    t->ReadDefinitions();
    AddColumn(*t, "Code", dtString, 3)->SetCalcExpression(QStringLiteral("'ABCDEF'"));
    e = Raised([&] { t->AlterTable(); });
    QVERIFY2(e.Message().contains("Code") && e.Message().contains("longer than 3"), qPrintable(e.Message()));
    // A new primary key over a column with empty values.
    t->ReadDefinitions();
    t->IndexDefs().Add(QStringLiteral("sys_primary"), QStringLiteral("Age"), ixPrimary | ixUnique);
    e = Raised([&] { t->AlterTable(); });
    QVERIFY2(e.Message().contains("Primary key column \"Age\""), qPrintable(e.Message()));
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM People").toInt(), 3);
    // Widenings copy as they are and keep enforcing the new, wider rules.
    t->ReadDefinitions();
    t->GetFieldDefsOst()[2]->SetDataTypeOst(dtWideMemo);
    t->AlterTable();
    tdb.Exec(QString::fromUtf8("INSERT INTO People(Name, Age) VALUES('Eve', '\xe2\x82\xac 1000')"));
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM People").toInt(), 4);
}

void TstAlter::definitionsFollowRenamedAndDroppedColumns() {
    TestDb tdb(false);
    auto t = People(tdb);
    t->IndexDefs().Add(QStringLiteral("ByAgeName"), QStringLiteral("Age:3;Name"), TIndexOptions())->DescFields =
        QStringLiteral("Name");
    t->IndexDefs().Add(QStringLiteral("ByNote"), QStringLiteral("Joined;Note"), TIndexOptions());
    t->GetFieldDefsOst()[0]->SetSpec(QStringLiteral("\"Name;Age\""));
    t->AlterTable();
    t->ReadDefinitions();
    // Rename two columns and drop one, touching nothing else: the indexes and
    // the indication still name the old columns.
    TOstFieldDefs& f = t->GetFieldDefsOst();
    f[1]->SetName(QStringLiteral("FullName"));
    f[2]->SetName(QStringLiteral("Years"));
    f.Delete(f.IndexOf(QStringLiteral("Note")));
    t->AlterTable();

    auto r = tdb.Table(QStringLiteral("People"));
    r->ReadDefinitions();
    QCOMPARE(r->IndexDefs().Find("ByName")->Fields, QStringLiteral("FullName"));
    QCOMPARE(r->IndexDefs().Find("ByAgeName")->Fields, QStringLiteral("Years:3;FullName"));
    QCOMPARE(r->IndexDefs().Find("ByAgeName")->DescFields, QStringLiteral("FullName"));
    QVERIFY(!r->IndexDefs().Find("ByNote")); // went with its column
    QCOMPARE(r->GetFieldDefsOst()[0]->GetSpec(), QStringLiteral("\"FullName;Years\""));
}

QTEST_GUILESS_MAIN(TstAlter)
#include "tst_alter.moc"
