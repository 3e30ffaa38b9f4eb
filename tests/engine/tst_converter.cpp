// What the dataset converter relies on: library field definitions mapped to
// engine columns that a table of the target level accepts, values carried
// over unchanged, and a batch move whose datasets belong to other owners.
#include "engine_helper.h"

#include "engine/ostbatchmove.h"

class TstConverter : public QObject {
    Q_OBJECT
private slots:
    void currencyKeepsItsCents_data();
    void currencyKeepsItsCents();
    void mappedForTheTargetLevel_data();
    void mappedForTheTargetLevel();
};

// The library definitions of a table to convert.
static void LibraryDefs(TFieldDefs& defs) {
    defs.AddFieldDef(QStringLiteral("Price"), ftCurrency);
    defs.AddFieldDef(QStringLiteral("Notes"), ftString, 300);
    defs.AddFieldDef(QStringLiteral("Code"), ftString, 8);
    defs.AddFieldDef(QStringLiteral("Born"), ftDate);
    defs.AddFieldDef(QStringLiteral("Flag"), ftBoolean);
}

// A table made from the library definitions, as the converter makes it.
static std::unique_ptr<TOstTable> Converted(TestDb& tdb, const QString& name, int level) {
    auto t = tdb.Table(name);
    t->SetTableLevel(level);
    TFieldDefs defs;
    LibraryDefs(defs);
    for (TFieldDef* d : defs) t->GetFieldDefsOst().Add(QString(), 0, 0)->Assign(*d);
    return t;
}

void TstConverter::currencyKeepsItsCents_data() {
    QTest::addColumn<int>("level");
    QTest::newRow("level 2") << 2;
    QTest::newRow("level 3") << 3;
    QTest::newRow("level 4") << 4;
    QTest::newRow("level 6") << 6;
}

// Assign, CreateTable, then a batch move from a source of no owner into a
// destination of another owner, neither found by name.
void TstConverter::currencyKeepsItsCents() {
    QFETCH(int, level);
    TestDb tdb(false);
    auto src = tdb.Table(QStringLiteral("Source"));
    AddColumn(*src, "Price", dtFloat);
    AddColumn(*src, "Notes", dtMemo);
    AddColumn(*src, "Code", dtString, 8);
    AddColumn(*src, "Born", dtDate);
    AddColumn(*src, "Flag", dtBoolean);
    src->CreateTable();
    const QString notes(300, QLatin1Char('n'));
    tdb.Exec(QStringLiteral("INSERT INTO Source VALUES(12345.67, '%1', 'A1', '2024-05-01', 1), "
                            "(0.0001, NULL, NULL, '2000-01-01', NULL), (98765432109.99, 'x', 'C3', '1999-12-31', 0)").arg(notes));

    auto dst = Converted(tdb, QStringLiteral("Target"), level);
    QCOMPARE(dst->GetFieldDefsOst().Find(QStringLiteral("Price"))->GetPrecision(), 15);
    dst->CreateTable();

    TComponent elsewhere;
    auto* dstOwned = new TOstTable(&elsewhere);
    dstOwned->SetDatabaseName(tdb.db->GetDatabaseName());
    dstOwned->SetTableName(QStringLiteral("Target"));
    TOstBatchMove move;
    move.SetSource(src.get());
    move.SetDestination(dstOwned);
    move.Execute();
    // Empty text and flags become the column's zero value where the level does not allow null.
    QCOMPARE(move.MovedCount(), 3);
    QCOMPARE(move.ProblemCount(), 0);
    QCOMPARE(tdb.Scalar("SELECT Price FROM Target WHERE Code = 'A1'").toDouble(), 12345.67);
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Target WHERE Price = 0.0001").toInt(), 1);
    QCOMPARE(tdb.Scalar("SELECT Price FROM Target WHERE Code = 'C3'").toDouble(), 98765432109.99);
    QCOMPARE(tdb.Scalar("SELECT length(Notes) FROM Target WHERE Code = 'A1'").toInt(), 300);

    // A dataset set directly and then deleted is not looked for by name.
    delete dstOwned;
    QCOMPARE(Raised([&] { move.Execute(); }).ErrorCode(), OstErr::NotFound);
}

void TstConverter::mappedForTheTargetLevel_data() {
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("nullableText");
    QTest::addColumn<int>("notesType");
    QTest::newRow("level 1") << 1 << false << int(dtMemo);
    QTest::newRow("level 3") << 3 << false << int(dtMemo);
    QTest::newRow("level 4") << 4 << true << int(dtString);
}

void TstConverter::mappedForTheTargetLevel() {
    QFETCH(int, level);
    QFETCH(bool, nullableText);
    QFETCH(int, notesType);
    TestDb tdb(true);
    auto t = Converted(tdb, QStringLiteral("T"), level);
    TOstFieldDefs& f = t->GetFieldDefsOst();
    QCOMPARE(f.Find(QStringLiteral("Notes"))->GetDataTypeOst(), notesType);
    QCOMPARE(f.Find(QStringLiteral("Code"))->GetNullable(), nullableText);
    QCOMPARE(f.Find(QStringLiteral("Price"))->GetNullable(), true); // floats may be null at every level
    t->CreateTable();
    t->ReadDefinitions();
    QCOMPARE(t->GetTableLevel(), level);
    // An explicit level wins over the collection's.
    TOstFieldDef d;
    TFieldDef wide;
    wide.Name = QStringLiteral("W");
    wide.DataType = ftWideString;
    wide.Size = 1000;
    d.Assign(wide, 2);
    QCOMPARE(d.GetDataTypeOst(), int(dtWideMemo));
    d.Assign(wide, 4);
    QCOMPARE(d.GetDataTypeOst(), int(dtWideString));
    QCOMPARE(d.GetSize(), 1000);
}

QTEST_GUILESS_MAIN(TstConverter)
#include "tst_converter.moc"
