// Index definitions as one line of text and the list routines around them:
// descriptions of hierarchical, calculated and fulltext indexes, quoting,
// splitting and joining, which indexes belong to the engine, and copying
// definitions between the table and the designer's copy.
#include "designer/core/ostindexstrings.h"
#include "engine/base/tdefs.h"
#include "engine/ostdefs.h"

#include <QtTest>

class TstIndexStrings : public QObject {
    Q_OBJECT
private slots:
    void description_data();
    void description();
    void fulltextDescription_data();
    void fulltextDescription();
    void quoting_data();
    void quoting();
    void splitAndJoin();
    void systemIndexes_data();
    void systemIndexes();
    void copyingDefinitions();
};

void TstIndexStrings::description_data() {
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QString>("descFields");
    QTest::addColumn<bool>("expression");
    QTest::addColumn<QString>("text");
    QTest::newRow("second descending") << "Name;Date" << "Date" << false << "Name; -Date";
    QTest::newRow("with a length") << "Name:10;City" << "Name:10" << false << "-Name:10; City";
    QTest::newRow("one column descending") << "Name" << "Name" << false << "-Name";
    QTest::newRow("blanks around entries") << " Name ; City " << " City" << false << "Name; -City";
    QTest::newRow("descending entry in other case") << "Name;City" << "city" << false << "Name; City";
    QTest::newRow("descending entry without its length") << "Name:10" << "Name" << false << "Name:10";
    QTest::newRow("expression") << "  Upper(Name) " << "Name" << true << "Upper(Name)";
    QTest::newRow("none") << "" << "" << false << "";
}

void TstIndexStrings::description() {
    QFETCH(QString, fields);
    QFETCH(QString, descFields);
    QFETCH(bool, expression);
    QFETCH(QString, text);
    TIndexDef def;
    if (expression) {
        def.Expression = fields;
        def.Options = ixExpression;
    } else {
        def.Fields = fields;
    }
    def.DescFields = descFields;
    QCOMPARE(GetIndexDefString(def), text);
}

void TstIndexStrings::fulltextDescription_data() {
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QString>("text");
    QTest::newRow("three") << "Title;Abstract;Body" << "Title; Abstract; Body";
    QTest::newRow("blanks") << " Title ; Body" << "Title; Body";
    QTest::newRow("one") << "Body" << "Body";
}

void TstIndexStrings::fulltextDescription() {
    QFETCH(QString, fields);
    QFETCH(QString, text);
    TOstFulltextIndexDef def;
    def.Fields = fields;
    QCOMPARE(GetIndexDefString(def), text);
}

void TstIndexStrings::quoting_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("quoted");
    QTest::addColumn<QString>("unquoted");
    QTest::newRow("word") << "Name" << "\"Name\"" << "Name";
    QTest::newRow("quoted word with blanks around") << "  \"Name\"  " << "\"  \"Name\"  \"" << "Name";
    QTest::newRow("inner blanks kept") << "\" a b \"" << "\"\" a b \"\"" << " a b ";
    QTest::newRow("a lone quote") << "\"" << "\"\"\"" << "\"";
    QTest::newRow("unquoted with blanks") << "  text  " << "\"  text  \"" << "  text  ";
    QTest::newRow("inner quote") << "a\"b" << "\"a\"b\"" << "a\"b";
    QTest::newRow("empty quotes") << "\"\"" << "\"\"\"\"" << "";
}

void TstIndexStrings::quoting() {
    QFETCH(QString, text);
    QFETCH(QString, quoted);
    QFETCH(QString, unquoted);
    QCOMPARE(DoubleQuoteStr(text), quoted);
    QCOMPARE(DoubleUnQuoteStr(text), unquoted);
}

void TstIndexStrings::splitAndJoin() {
    QStringList list;
    SplitIntoStringList(list, " A ; B;C ", u';', true);
    QCOMPARE(list, QStringList({"A", "B", "C"}));
    SplitIntoStringList(list, "D", u';', false); // appended
    QCOMPARE(list, QStringList({"A", "B", "C", "D"}));
    SplitIntoStringList(list, "E;A", u';', true); // no duplicates removed, cleared first
    SplitIntoStringList(list, "A", u';', false);
    QCOMPARE(list, QStringList({"E", "A", "A"}));
    QCOMPARE(JoinStringList(list, u';'), QStringLiteral("E;A;A"));
    QCOMPARE(JoinStringList({}, u';'), QString());
    SplitIntoStringList(list, JoinStringList({"Name:10", "City"}, u';'), u';', true);
    QCOMPARE(list, QStringList({"Name:10", "City"}));
}

void TstIndexStrings::systemIndexes_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("primary");
    QTest::addColumn<bool>("system");
    QTest::newRow("ordinary") << "ByName" << false << false;
    QTest::newRow("primary") << "ByName" << true << true;
    QTest::newRow("extension") << "Words.fti" << false << true;
    QTest::newRow(".ind") << "ByName.ind" << false << false;
    QTest::newRow(".IND") << "ByName.IND" << false << false;
    QTest::newRow("last extension counts") << "By.ind.txt" << false << true;
    QTest::newRow("sys_") << "sys_x" << false << true;
    QTest::newRow("SYS_") << "SYS_X" << false << true;
    QTest::newRow("sys without underscore") << "sysName" << false << false;
    QTest::newRow("TMP") << "TMPX" << false << true;
    QTest::newRow("tmp") << "tmp" << false << true;
}

void TstIndexStrings::systemIndexes() {
    QFETCH(QString, name);
    QFETCH(bool, primary);
    QFETCH(bool, system);
    // The rules hold at every table level.
    for (int level = 1; level <= 6; ++level) QCOMPARE(IsSystemIndex(name, primary, level), system);
    TIndexDef def;
    def.Name = name;
    def.Options = primary ? ixPrimary : TIndexOptions();
    QCOMPARE(IsSystemIndex(def), system);
    if (!primary) {
        TOstFulltextIndexDef ft;
        ft.Name = name;
        QCOMPARE(IsSystemIndex(ft), system);
    }
}

void TstIndexStrings::copyingDefinitions() {
    TIndexDefs source;
    TIndexDef* keyed = source.Add("ByName", "Name:10;City", ixUnique);
    keyed->DescFields = "Name:10";
    keyed->CaseInsFields = "City";
    keyed->GroupingLevel = 2;
    keyed->Capacity = 5000000;
    TIndexDef* calculated = source.Add("ByUpper", "Upper(Name)", ixExpression);
    TIndexDefs dest;
    dest.Add("Old", "X", TIndexOptions());
    AssignIndexDefs(source, dest);
    QCOMPARE(dest.Count(), 2);
    QVERIFY(dest[0]->SameAs(*keyed));
    QCOMPARE(dest[0]->GroupingLevel, 2);
    QVERIFY(dest[1]->SameAs(*calculated));
    QCOMPARE(dest[1]->Expression, QStringLiteral("Upper(Name)"));
    QCOMPARE(dest.UpdateCount(), 0); // the update bracket is closed again
}

QTEST_GUILESS_MAIN(TstIndexStrings)
#include "tst_indexstrings.moc"
