// Tables through their whole life: create, read back, post, navigate, filter,
// order by index, rename and delete, in both database layouts.
#include "engine_helper.h"

class TstTable : public QObject {
    Q_OBJECT
private slots:
    void definitionsRoundTrip_data() { OST_DATA_LAYOUTS() }
    void definitionsRoundTrip();
    void postNavigateFilterOrder_data() { OST_DATA_LAYOUTS() }
    void postNavigateFilterOrder();
    void renameDeleteAndNames_data() { OST_DATA_LAYOUTS() }
    void renameDeleteAndNames();
    void postingEnforcesColumnRules();
    void exclusiveAndReadOnly_data() { OST_DATA_LAYOUTS() }
    void exclusiveAndReadOnly();
};

static void Customers(TOstTable& t) {
    AddColumn(t, "ID", dtAutoInc)->SetSpec(QStringLiteral("\"Name\""));
    AddColumn(t, "Name", dtString, 30, false);
    AddColumn(t, "City", dtWideString, 40);
    AddColumn(t, "Born", dtDate);
    AddColumn(t, "Score", dtFloat)->SetPrecision(4);
    AddColumn(t, "Kind", dtEnum)->SetSpec(QStringLiteral("private,business"));
    t.IndexDefs().Add(QStringLiteral("sys_primary"), QStringLiteral("ID"), ixPrimary | ixUnique);
    TIndexDef* byName = t.IndexDefs().Add(QStringLiteral("ByName"), QStringLiteral("Name;City"), TIndexOptions());
    byName->DescFields = QStringLiteral("City");
    t.IndexDefs().Add(QStringLiteral("Upper"), QStringLiteral("UPPER(Name)"), ixExpression);
    TCheckConstraint* ck = t.CheckConstraints().Add();
    ck->ImportedConstraint = QStringLiteral("Score < 1000");
    ck->ErrorMessage = QStringLiteral("Scores stay below 1000");
    t.FulltextIndexDefs().Add(QStringLiteral("Words.fti"), QStringLiteral("Name;City"), QString());
}

void TstTable::definitionsRoundTrip() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = tdb.Table(QStringLiteral("Customers"));
    t->SetCapacity(50000);
    Customers(*t);
    t->CreateTable();

    auto r = tdb.Table(QStringLiteral("Customers"));
    r->ReadDefinitions();
    QCOMPARE(r->GetTableLevel(), OstDefaultTableLevel);
    QCOMPARE(r->GetCapacity(), 50000);
    TOstFieldDefs& f = r->GetFieldDefsOst();
    QCOMPARE(f.Count(), 6);
    for (int i = 0; i < f.Count(); ++i) QCOMPARE(int(f[i]->GetFieldNo()), i + 1);
    QCOMPARE(f[0]->GetSpec(), QStringLiteral("\"Name\""));
    QCOMPARE(f[1]->GetNullable(), false);
    QCOMPARE(f[2]->GetDataTypeOst(), int(dtWideString));
    QCOMPARE(f[2]->GetSize(), 40);
    QCOMPARE(f[4]->GetPrecision(), 4);
    QCOMPARE(f[5]->EnumValues(), QStringList({"private", "business"}));
    QCOMPARE(r->IndexDefs().Count(), 3);
    QCOMPARE(r->IndexDefs()[1]->DescFields, QStringLiteral("City"));
    QVERIFY(r->IndexDefs()[2]->Options & ixExpression);
    QCOMPARE(r->CheckConstraints()[0]->ErrorMessage, QStringLiteral("Scores stay below 1000"));
    QCOMPARE(r->FulltextIndexDefs()[0]->Name, QStringLiteral("Words.fti"));

    // A second create of the same name is refused and changes nothing.
    auto again = tdb.Table(QStringLiteral("Customers"));
    AddColumn(*again, "X", dtInteger);
    QCOMPARE(Raised([&] { again->CreateTable(); }).ErrorCode(), OstErr::AlreadyExists);
}

void TstTable::postNavigateFilterOrder() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = tdb.Table(QStringLiteral("Customers"));
    Customers(*t);
    t->CreateTable();
    t->Open();
    const QStringList names{"Miller", "Adams", "O'Brien", "Zeta", "Baker"};
    for (int i = 0; i < names.size(); ++i)
        t->AppendRecord({QVariant(), names[i], QStringLiteral("Town%1").arg(i % 2), QDate(1980 + i, 1, 2), 1.23456 * i,
                         i % 2 ? "business" : "private"});
    QCOMPARE(t->RecordCount(), 5);
    t->First();
    QCOMPARE(t->FieldByName("ID")->AsInteger(), 1);
    QCOMPARE(t->FieldByName("Born")->AsDate(), QDate(1980, 1, 2));
    t->Next();
    QCOMPARE(t->FieldByName("Score")->AsFloat(), 1.235); // four significant digits
    t->Last();
    QCOMPARE(t->FieldByName("Name")->AsString(), QStringLiteral("Baker"));
    t->Next();
    QVERIFY(t->Eof());

    t->SetIndexName(QStringLiteral("ByName"));
    t->First();
    QCOMPARE(t->FieldByName("Name")->AsString(), QStringLiteral("Adams"));
    t->SetFilter(QStringLiteral("$Name = 'O''Brien' or Kind = 'business'"));
    t->SetFiltered(true);
    QStringList seen;
    for (t->First(); !t->Eof(); t->Next()) seen << t->FieldByName("Name")->AsString();
    QCOMPARE(seen, QStringList({"Adams", "O'Brien", "Zeta"}));
    t->SetFiltered(false);
    t->SetIndexName(QString());

    // Edit and delete keep the cursor on sensible records; the counter never reuses ids.
    t->First();
    t->Edit();
    t->FieldByName("Name")->SetAsString(QStringLiteral("Mills"));
    t->Post();
    QCOMPARE(t->FieldByName("Name")->AsString(), QStringLiteral("Mills"));
    t->Last();
    t->Delete();
    QCOMPARE(t->RecordCount(), 4);
    t->AppendRecord({QVariant(), QStringLiteral("New")});
    QCOMPARE(t->FieldByName("ID")->AsInteger(), 6);
    QVERIFY(t->FieldByName("Kind")->IsNull()); // nullable columns start empty

    t->SetFilter(QStringLiteral("Name = "));
    QCOMPARE(Raised([&] { t->SetFiltered(true); }).ErrorCode(), OstErr::InvalidFilter);
}

void TstTable::renameDeleteAndNames() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    for (const QString& n : {QStringLiteral("Beta"), QStringLiteral("alpha")}) {
        auto t = tdb.Table(n);
        AddColumn(*t, "V", dtInteger);
        t->CreateTable();
    }
    QStringList names;
    tdb.db->GetTableNames(names);
    QCOMPARE(names, QStringList({"alpha", "Beta"}));

    auto t = tdb.Table(singleFile ? QStringLiteral("Beta") : QStringLiteral("Beta.dat"));
    t->Open();
    t->AppendRecord({7});
    t->RenameTable(QStringLiteral("Gamma"));
    QVERIFY(t->Active());
    QCOMPARE(t->FieldByName("V")->AsInteger(), 7);
    t->Close();
    tdb.db->GetTableNames(names);
    QCOMPARE(names, QStringList({"alpha", "Gamma"}));
    QCOMPARE(tdb.Scalar("SELECT V FROM Gamma").toInt(), 7);

    // Names that would leave the database are refused.
    auto bad = tdb.Table(QStringLiteral("../evil"));
    AddColumn(*bad, "V", dtInteger);
    QCOMPARE(Raised([&] { bad->CreateTable(); }).ErrorCode(), OstErr::InvalidName);
    QCOMPARE(Raised([&] { t->RenameTable(QStringLiteral("sub/x")); }).ErrorCode(), OstErr::InvalidName);

    // An open component blocks a delete by another.
    auto holder = tdb.Table(QStringLiteral("alpha"));
    holder->Open();
    auto killer = tdb.Table(QStringLiteral("alpha"));
    QCOMPARE(Raised([&] { killer->DeleteTable(); }).ErrorCode(), OstErr::Locked);
    holder->Close();
    killer->DeleteTable();
    tdb.db->GetTableNames(names);
    QCOMPARE(names, QStringList({"Gamma"}));
}

void TstTable::postingEnforcesColumnRules() {
    TestDb tdb(false);
    auto t = tdb.Table(QStringLiteral("Rules"));
    t->SetTableLevel(4);
    AddColumn(*t, "Code", dtString, 5, false);
    AddColumn(*t, "Small", dtSmallInt);
    AddColumn(*t, "Wide", dtWideString, 10);
    AddColumn(*t, "When", dtTime)->SetPrecision(2);
    AddColumn(*t, "Kind", dtEnum)->SetSpec(QStringLiteral("a,b"));
    AddColumn(*t, "Flag", dtBoolean);
    t->IndexDefs().Add(QStringLiteral("sys_primary"), QStringLiteral("Code"), ixPrimary);
    t->CreateTable();
    t->Open();
    struct Case { QVariantList values; int16_t code; QString text; };
    const QList<Case> cases{
        {{"TOOLONG"}, OstErr::ConversionFailed, "longer than 5"},
        {{"ok", 40000}, OstErr::ConversionFailed, "outside -32768 to 32767"},
        {{"ok", "x12"}, OstErr::ConversionFailed, "not a whole number"},
        {{QString::fromUtf8("Zo\xc3\xab\xe2\x82\xac")}, OstErr::ConversionFailed, "narrow text"},
        {{"ok", 1, "w", "25:99"}, OstErr::ConversionFailed, "not a time"},
        {{"ok", 1, "w", "10:30", "c"}, OstErr::ConversionFailed, "not one of a, b"},
        {{"ok", 1, "w", "10:30", "a", "maybe"}, OstErr::ConversionFailed, "True or False"},
    };
    for (const Case& c : cases) {
        const EOstraError e = Raised([&] { t->AppendRecord(c.values); });
        if (t->State() == dsInsert) t->Cancel();
        QVERIFY2(e.ErrorCode() == c.code && e.Message().contains(c.text), qPrintable(e.Message()));
    }
    QCOMPARE(t->RecordCount(), 0);
    t->AppendRecord({"ok", 1, QString::fromUtf8("\xe2\x82\xac uro"), "10:30:45", "b", true});
    QCOMPARE(t->FieldByName("When")->AsTime(), QTime(10, 30)); // minutes precision
    QCOMPARE(t->FieldByName("Flag")->AsBoolean(), true);
    const EOstraError dup = Raised([&] { t->AppendRecord({"ok"}); });
    t->Cancel();
    QCOMPARE(dup.ErrorCode(), OstErr::KeyViolation);
    QVERIFY2(dup.Message().contains("Code"), qPrintable(dup.Message()));
    // SQL goes through the same stored rules.
    const EOstraError viaSql = Raised([&] { tdb.Exec("INSERT INTO Rules(Code, Small) VALUES('q', 'abc')"); });
    QVERIFY2(viaSql.Message().contains("whole numbers"), qPrintable(viaSql.Message()));
}

void TstTable::exclusiveAndReadOnly() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    auto t = tdb.Table(QStringLiteral("Shared"));
    AddColumn(*t, "V", dtInteger);
    t->CreateTable();
    tdb.Exec("INSERT INTO Shared VALUES(1)");

    t->SetExclusive(true);
    t->Open();
    auto other = tdb.Table(QStringLiteral("Shared"));
    QCOMPARE(Raised([&] { other->Open(); }).ErrorCode(), OstErr::Locked);
    t->Close();
    other->Open();
    QCOMPARE(Raised([&] { t->Open(); }).ErrorCode(), OstErr::Locked);
    other->Close();

    auto reader = tdb.Table(QStringLiteral("Shared"));
    reader->SetReadOnly(true);
    reader->Open();
    QVERIFY_THROWS_EXCEPTION(EDatabaseError, reader->Edit());
    reader->Close();

    TOstDatabase ro;
    ro.SetDatabaseName(QStringLiteral("ReadOnlyCopy"));
    ro.SetLocation(tdb.location);
    ro.SetDatabaseType(singleFile ? dbtSingleFile : dbtDirectory);
    ro.SetReadOnly(true);
    TOstQuery q;
    q.SetDatabaseName(QStringLiteral("ReadOnlyCopy"));
    q.SetSQL(QStringLiteral("SELECT V FROM Shared"));
    q.Open();
    QCOMPARE(q.FieldByName("V")->AsInteger(), 1);
    q.Close();
    q.SetSQL(QStringLiteral("UPDATE Shared SET V = 2"));
    QVERIFY(Raised([&] { q.ExecSQL(); }).ErrorCode() != 0);
    QCOMPARE(tdb.Scalar("SELECT V FROM Shared").toInt(), 1);
}

QTEST_GUILESS_MAIN(TstTable)
#include "tst_table.moc"
