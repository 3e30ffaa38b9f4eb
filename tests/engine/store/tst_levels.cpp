// Table-level thresholds: every rule is refused with a message naming the
// column or index, one level below where it becomes available.
#include "engine/engine_helper.h"

#include <functional>

using Setup = std::function<void(TOstTable&)>;
Q_DECLARE_METATYPE(Setup)

class TstLevels : public QObject {
    Q_OBJECT
private slots:
    void thresholds_data();
    void thresholds();
    void expressionDialects();
};

void TstLevels::thresholds_data() {
    QTest::addColumn<int>("level");
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<int>("code"); // 0 = accepted
    QTest::addColumn<QString>("mentions");
    auto col = [](const char* n, int type, int size, bool nullable) {
        return Setup([=](TOstTable& t) { AddColumn(t, n, type, size, nullable); });
    };
    auto idx = [](const QString& n, const QString& fields, TIndexOptions o) {
        return Setup([=](TOstTable& t) { AddColumn(t, "Name", dtString, 20, false); t.IndexDefs().Add(n, fields, o); });
    };
    const int L = OstErr::LevelViolation, D = OstErr::InvalidDefinition;
    QTest::newRow("text 300 at 3") << 3 << col("Title", dtString, 300, false) << L << "Title";
    QTest::newRow("text 300 at 4") << 4 << col("Title", dtString, 300, true) << 0 << "";
    QTest::newRow("text 32768 at 4") << 4 << col("Title", dtString, 32768, true) << D << "Title";
    QTest::newRow("wide 255 at 3") << 3 << col("Title", dtWideString, 255, false) << 0 << "";
    QTest::newRow("nullable string at 3") << 3 << col("Title", dtString, 10, true) << L << "Title";
    QTest::newRow("nullable integer at 3") << 3 << col("Qty", dtInteger, 0, true) << 0 << "";
    QTest::newRow("nullable date at 3") << 3 << col("Day", dtDate, 0, true) << L << "Day";
    QTest::newRow("nullable time at 3") << 3 << col("At", dtTime, 0, true) << 0 << "";
    QTest::newRow("nullable date at 4") << 4 << col("Day", dtDate, 0, true) << 0 << "";
    QTest::newRow("primary at 3") << 3 << idx(QStringLiteral("Key"), QStringLiteral("Name"), ixPrimary) << L << "Key";
    QTest::newRow("primary at 4") << 4 << idx(QStringLiteral("Key"), QStringLiteral("Name"), ixPrimary) << 0 << "";
    QTest::newRow("SYS_ at 4") << 4 << idx(QStringLiteral("SYS_Name"), QStringLiteral("Name"), {}) << L << "SYS_Name";
    QTest::newRow("tmp at 4") << 4 << idx(QStringLiteral("tmpX"), QStringLiteral("Name"), {}) << L << "tmpX";
    QTest::newRow("sysName at 4") << 4 << idx(QStringLiteral("sysName"), QStringLiteral("Name"), {}) << 0 << "";
    QTest::newRow("TMP at 3") << 3 << idx(QStringLiteral("TMPX"), QStringLiteral("Name"), {}) << 0 << "";
    QTest::newRow("unknown index column") << 4 << idx(QStringLiteral("ByX"), QStringLiteral("Nmae"), {}) << D << "Nmae";
    QTest::newRow("key length on text") << 4 << idx(QStringLiteral("Short"), QStringLiteral("Name:5"), ixUnique) << 0 << "";
    QTest::newRow("key length beyond size") << 4 << idx(QStringLiteral("Short"), QStringLiteral("Name:50"), {}) << D << "Short";
    const QString e41 = QStringLiteral("UPPER(Name) + '") + QString(27, QLatin1Char('x')) + QStringLiteral("'");
    QTest::newRow("expression 41 at 3") << 3 << idx(QStringLiteral("E"), e41, ixExpression) << L << "E";
    QTest::newRow("expression 41 at 4") << 4 << idx(QStringLiteral("E"), e41, ixExpression) << 0 << "";
    QTest::newRow("collation at 5") << 5 << Setup([](TOstTable& t) {
        AddColumn(t, "Name", dtString, 20)->SetSpec(QStringLiteral("de_DE_ci_ai"));
    }) << L << "Name";
    QTest::newRow("collation at 6") << 6 << Setup([](TOstTable& t) {
        AddColumn(t, "Name", dtString, 20)->SetSpec(QStringLiteral("de_DE_ci_ai"));
    }) << 0 << "";
    QTest::newRow("unknown collation") << 6 << Setup([](TOstTable& t) {
        AddColumn(t, "Name", dtString, 20)->SetSpec(QStringLiteral("xx_YY_ci_ai"));
    }) << D << "xx_YY";
    // SQLite ends a statement at a NUL: names and messages that go into the DDL must not hold one.
    QTest::newRow("NUL in an index name") << 4 << idx(QStringLiteral("By") + QChar(0) + QStringLiteral("Name"), QStringLiteral("Name"), {})
                                         << int(OstErr::InvalidName) << "invalid characters";
    QTest::newRow("NUL in a check message") << 4 << Setup([](TOstTable& t) {
        AddColumn(t, "A", dtInteger);
        TCheckConstraint* c = t.CheckConstraints().Add();
        c->ImportedConstraint = QStringLiteral("A > 0");
        c->ErrorMessage = QStringLiteral("A must") + QChar(0) + QStringLiteral(" be positive");
    }) << D << "A > 0";
    QTest::newRow("NUL in enumeration values") << 4 << Setup([](TOstTable& t) {
        AddColumn(t, "Status", dtEnum)->SetSpec(QStringLiteral("Open,Cl") + QChar(0) + QStringLiteral("osed"));
    }) << D << "Status";
    QTest::newRow("table collation at 5") << 5 << Setup([](TOstTable& t) {
        AddColumn(t, "Name", dtString, 20);
        t.SetCollationName(QStringLiteral("fr_ci_as"));
    }) << L << "fr_ci_as";
    QTest::newRow("AES at 3") << 3 << Setup([](TOstTable& t) {
        AddColumn(t, "Qty", dtInteger);
        t.SetEncryptionMethod(emRijndael);
    }) << L << "level 4";
    QTest::newRow("Classic at 3") << 3 << Setup([](TOstTable& t) {
        AddColumn(t, "Qty", dtInteger);
        t.SetEncryptionMethod(emClassic);
        t.SetEncryptionPassword(QStringLiteral("secret;7"));
    }) << 0 << "";
    QTest::newRow("fulltext at 3") << 3 << Setup([](TOstTable& t) {
        AddColumn(t, "Body", dtMemo, 0, false);
        t.FulltextIndexDefs().Add(QStringLiteral("Words.fti"), QStringLiteral("Body"), QString());
    }) << L << "Words.fti";
    QTest::newRow("separators at 5") << 5 << Setup([](TOstTable& t) {
        AddColumn(t, "Body", dtMemo);
        t.FulltextIndexDefs().Add(QStringLiteral("Words.fti"), QStringLiteral("Body"), QString())->Separators = QStringLiteral(" ,");
    }) << L << "Words.fti";
    QTest::newRow("default value at 3") << 3 << Setup([](TOstTable& t) {
        AddColumn(t, "Qty", dtInteger)->SetCalcExpression(QStringLiteral("5"));
    }) << L << "Qty";
    QTest::newRow("two autoinc") << 4 << Setup([](TOstTable& t) {
        AddColumn(t, "A", dtAutoInc);
        AddColumn(t, "B", dtAutoInc);
    }) << D << "B";
    QTest::newRow("enum without values") << 4 << col("Kind", dtEnum, 0, true) << D << "Kind";
    QTest::newRow("link without table") << 4 << col("Owner", dtLink, 0, true) << D << "Owner";
    QTest::newRow("duplicate column") << 4 << Setup([](TOstTable& t) {
        AddColumn(t, "A", dtInteger);
        AddColumn(t, "a", dtInteger);
    }) << int(OstErr::InvalidName) << "a";
    QTest::newRow("bad check") << 4 << Setup([](TOstTable& t) {
        AddColumn(t, "A", dtInteger);
        t.CheckConstraints().Add()->ImportedConstraint = QStringLiteral("A >");
    }) << D << "A >";
}

void TstLevels::thresholds() {
    QFETCH(int, level);
    QFETCH(Setup, setup);
    QFETCH(int, code);
    QFETCH(QString, mentions);
    TestDb tdb(false);
    auto t = tdb.Table(QStringLiteral("T"));
    t->SetTableLevel(level);
    setup(*t);
    const EOstraError e = Raised([&] { t->CreateTable(); });
    QVERIFY2(e.ErrorCode() == code, qPrintable(QStringLiteral("%1: %2").arg(e.ErrorCode()).arg(e.Message())));
    QVERIFY2(e.Message().contains(mentions), qPrintable(e.Message()));
    QCOMPARE(t->Exists(), code == 0);
}

void TstLevels::expressionDialects() {
    // Level 5 and above: SQL; "@" marks the native language; below level 5 native only.
    TestDb tdb(true);
    for (int level : {4, 5}) {
        auto t = tdb.Table(QStringLiteral("L%1").arg(level));
        t->SetTableLevel(level);
        AddColumn(*t, "First", dtString, 20);
        AddColumn(*t, "Last", dtString, 20);
        t->IndexDefs().Add(QStringLiteral("Native"), QStringLiteral("@UPPER(Last) + ', ' + First"), ixExpression);
        t->IndexDefs().Add(QStringLiteral("Plain"), level >= 5 ? QStringLiteral("lower(Last) || First")
                                                              : QStringLiteral("LOWER(Last) + First"), ixExpression);
        t->CreateTable();
        t->Open();
        t->AppendRecord({"ann", "Zorn"});
        t->AppendRecord({"bob", "adams"});
        t->SetIndexName(QStringLiteral("Native"));
        t->First();
        QCOMPARE(t->FieldByName("Last")->AsString(), QStringLiteral("adams"));
    }
    auto bad = tdb.Table(QStringLiteral("Bad"));
    bad->SetTableLevel(4);
    AddColumn(*bad, "Last", dtString, 20);
    bad->IndexDefs().Add(QStringLiteral("Sql"), QStringLiteral("lower(Last) || 'x'"), ixExpression);
    QCOMPARE(Raised([&] { bad->CreateTable(); }).ErrorCode(), OstErr::InvalidDefinition);
}

QTEST_GUILESS_MAIN(TstLevels)
#include "tst_levels.moc"
