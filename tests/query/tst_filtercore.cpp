// The filter dialog's core: the moves of the condition tree as one table of
// cases, the text the tree stands for, and what a condition writes for every
// column type, filtered on a real table through the engine in two locales.
#include "engine/ostdataset.h"
#include "query/core/ostfiltercore.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

// A core over one integer column "N"; node k is the condition N = k.
struct Script {
    TOstTable table;
    TOstFilterCore core;
    int next = 1;

    Script() {
        table.GetFieldDefsOst().Add("N", dtInteger, 0);
        core.SetOstDataset(&table);
        core.SetQlxDialogStyle(false);
    }

    TFilterNode* Find(int k) const {
        for (TFilterNode* n : core.Tree().Nodes())
            if (n->Description && n->Description->Value.toInt() == k) return n;
        return nullptr;
    }

    // a: add a condition (written as N = next); sK: select node K; x delete,
    // r indent right, l indent left, u move up, d move down; jI: update the
    // selected node with junction I (0 and, 1 and not, 2 or, 3 or not).
    void Run(const QString& ops) {
        for (const QString& op : ops.split(u' ', Qt::SkipEmptyParts)) {
            const QChar c = op[0];
            if (c == u'a') {
                core.AddCondition();
                core.UpdateCondition(0, "=", next++, 0);
            } else if (c == u's') {
                core.Select(Find(op.mid(1).toInt()));
            } else if (c == u'j') {
                TFilterNode* n = core.Selected();
                core.UpdateCondition(0, "=", n->Description->Value, op.mid(1).toInt());
            } else if (c == u'x') core.DeleteCondition();
            else if (c == u'r') core.IndentRight();
            else if (c == u'l') core.IndentLeft();
            else if (c == u'u') core.MoveUp();
            else if (c == u'd') core.MoveDown();
            else QFAIL(qPrintable("unknown step " + op));
        }
    }
};

// "1 &2[|3 &4]": each node as connective and number, children in brackets;
// & and, &! and not, | or, |! or not.
QString Shape(const TFilterNode* parent) {
    QStringList parts;
    for (const auto& child : parent->Children()) {
        QString s;
        switch (child->Connective) {
        case fcAnd: s = "&"; break;
        case fcAndNot: s = "&!"; break;
        case fcOr: s = "|"; break;
        case fcOrNot: s = "|!"; break;
        default: break;
        }
        s += QString::number(child->Description->Value.toInt());
        if (child->HasChildren()) s += u'[' + Shape(child.get()) + u']';
        parts << s;
    }
    return parts.join(u' ');
}

} // namespace

class TestFilterCore : public QObject {
    Q_OBJECT

private slots:
    void treeMoves_data();
    void treeMoves();
    void enabling();
    void conditionTexts();
    void directInputAndStyle();
    void writtenFormsSelectOnRealTable_data();
    void writtenFormsSelectOnRealTable();
    void columnWithoutValueForm();
    void testCountsWhatTheEngineSelects();
    void writtenChecksAreEnforced_data();
    void writtenChecksAreEnforced();
};

void TestFilterCore::treeMoves_data() {
    QTest::addColumn<QString>("ops");
    QTest::addColumn<QString>("shape");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << "" << "" << "";
    QTest::newRow("one") << "a" << "1" << "N = 1";
    QTest::newRow("add joins with and") << "a a a" << "1 &2 &3" << "N = 1 and N = 2 and N = 3";
    QTest::newRow("junctions") << "a a a s2 j3 s3 j2" << "1 |!2 |3" << "N = 1 or not N = 2 or N = 3";
    QTest::newRow("first node keeps no junction") << "a s1 j2" << "1" << "N = 1";
    QTest::newRow("indent right: last child of previous")
        << "a a a r" << "1 &2[&3]" << "N = 1 and N = 2 and (N = 3)";
    QTest::newRow("group text written with the junctions inside it")
        << "a a a a s3 r j2 s4 r" << "1 &2[|3 &4]" << "N = 1 and N = 2 or (N = 3 and N = 4)";
    QTest::newRow("add inside a group") << "a a a s3 r a" << "1 &2[&3 &4]" << "N = 1 and N = 2 and (N = 3 and N = 4)";
    QTest::newRow("indent right of a first child does nothing") << "a a a s3 r r" << "1 &2[&3]"
                                                               << "N = 1 and N = 2 and (N = 3)";
    QTest::newRow("indent left: after its parent") << "a a a a s3 r s4 r s3 l" << "1 &2[&4] &3"
                                                   << "N = 1 and N = 2 and (N = 4) and N = 3";
    QTest::newRow("indent left of the last parent: end of run") << "a a a s3 r s3 l" << "1 &2 &3"
                                                                << "N = 1 and N = 2 and N = 3";
    QTest::newRow("indent left carries the subtree") << "a a a a s3 r s4 r r s3 l" << "1 &2 &3[&4]"
                                                     << "N = 1 and N = 2 and N = 3 and (N = 4)";
    QTest::newRow("move up to the top swaps junctions") << "a a s2 j2 u" << "2 &1" << "N = 2 and N = 1";
    QTest::newRow("move up inside the run keeps junctions") << "a a a s3 j2 u" << "1 |3 &2" << "N = 1 or N = 3 and N = 2";
    QTest::newRow("move down of the first swaps junctions") << "a a s2 j3 s1 d" << "2 &1" << "N = 2 and N = 1";
    QTest::newRow("move down inside the run") << "a a a s2 j2 d" << "1 &3 |2" << "N = 1 and N = 3 or N = 2";
    QTest::newRow("move up inside a group") << "a a a a s3 r s4 r s4 u" << "1 &2[&4 &3]"
                                            << "N = 1 and N = 2 and (N = 4 and N = 3)";
    QTest::newRow("move up in a group keeps the first child's junction")
        << "a a a a s3 r j2 s4 r s4 u" << "1 &2[&4 |3]" << "N = 1 and N = 2 and (N = 4 or N = 3)";
    QTest::newRow("delete a leaf") << "a a a s2 x" << "1 &3" << "N = 1 and N = 3";
    QTest::newRow("delete lifts children before the next sibling")
        << "a a a a a s3 r s4 r s2 x" << "1 &3 &4 &5" << "N = 1 and N = 3 and N = 4 and N = 5";
    QTest::newRow("delete a last top-level node: children to the top level end")
        << "a a a s3 r s2 x" << "1 &3" << "N = 1 and N = 3";
    QTest::newRow("delete a last child: its children rise two levels")
        << "a a a a s3 r s4 r r s3 x" << "1 &2 &4" << "N = 1 and N = 2 and N = 4";
    QTest::newRow("delete the first node leaves the next with its and")
        << "a a s1 x" << "&2" << "N = 2";
    QTest::newRow("a group under the first node")
        << "a a s2 r" << "1[&2]" << "N = 1 and (N = 2)";
}

void TestFilterCore::treeMoves() {
    QFETCH(QString, ops);
    QFETCH(QString, shape);
    QFETCH(QString, text);
    Script s;
    s.Run(ops);
    QCOMPARE(Shape(s.core.Tree().Root()), shape);
    QCOMPARE(s.core.GetFilterText(), text);
}

void TestFilterCore::enabling() {
    Script s;
    auto state = [&] {
        const TOstFilterCore& c = s.core;
        return QStringLiteral("%1%2%3%4%5%6")
            .arg(c.AddEnabled()).arg(c.DeleteEnabled()).arg(c.IndentRightEnabled()).arg(c.IndentLeftEnabled())
            .arg(c.MoveUpEnabled()).arg(c.MoveDownEnabled());
    };
    QCOMPARE(state(), "100000");
    QVERIFY(!s.core.ConditionInputsEnabled());
    s.Run("a");
    QVERIFY(s.core.ConditionInputsEnabled());
    QCOMPARE(state(), "110000"); // the very first node: no indent
    s.Run("a");
    QCOMPARE(state(), "111010");
    s.Run("s1");
    QCOMPARE(state(), "110001");
    s.Run("s2 r");
    QCOMPARE(state(), "111100"); // a first child may be indented (it stays), and taken out
    s.Run("x");
    QCOMPARE(state(), "100000"); // nothing selected after a delete
    QVERIFY(s.core.ConditionInputsEnabled()); // deleting does not disable the inputs
    s.core.SetDirectInput(true);
    QVERIFY(!s.core.AddEnabled());
}

void TestFilterCore::conditionTexts() {
    TFilterDescriptions list;
    TFilterDescription* d = list.Add("$", "Name", dtString, 1, QString("Smith"));
    QCOMPARE(d->Text(), "$Name = 'Smith'");
    d->Value = QString("O'Brien");
    d->Operator = 4;
    QCOMPARE(d->Text(), "$Name <> 'O''Brien'");
    d->Operator = 7;
    QCOMPARE(d->Text(), "$Name  'O''Brien'"); // an unknown operator writes no operator text
    d->Operator = -1;
    QCOMPARE(d->Text(), QString());
    QCOMPARE(TOstFilterCore::NodeCaption(nullptr), "(new condition)");

    // defaults by group
    QCOMPARE(list.Add("", "A", dtString, -1)->Value, QVariant(QString()));
    QCOMPARE(list.Add("", "B", dtWord, -1)->Value, QVariant(0));
    QCOMPARE(list.Add("", "C", dtFloat, -1)->Value.toDouble(), 0.0);
    QVERIFY(list.Add("", "D", dtDate, -1)->Value.toDateTime().isValid());

    // names that are not plain words are quoted
    QCOMPARE(FilterFieldName("Name"), "Name");
    QCOMPARE(FilterFieldName("First Name"), "\"First Name\"");
    QCOMPARE(FilterFieldName("Part-No"), "\"Part-No\"");
    QCOMPARE(FilterFieldName("or"), "\"or\"");
    QCOMPARE(FilterFieldName("2nd"), "\"2nd\"");
    QCOMPARE(FilterFieldName("Say \"Hi\""), "\"Say \"\"Hi\"\"\"");

    // a new condition never updated: only its connective
    Script s;
    s.Run("a");
    s.core.AddCondition();
    QCOMPARE(TOstFilterCore::NodeCaption(s.core.Selected()), "(new condition)");
    QCOMPARE(s.core.GetFilterText(), "N = 1 and ");
}

void TestFilterCore::directInputAndStyle() {
    Script s;
    s.core.SetQlxDialogStyle(true);
    s.Run("a a");
    QCOMPARE(s.core.GetFilterText(), "$N = 1 and $N = 2");
    const QString typed = "  whatever (the user typed  ";
    s.core.SetFilterText(typed);
    QVERIFY(s.core.DirectInput());
    QCOMPARE(s.core.GetFilterText(), typed);
    s.core.SetDirectInput(false);
    QCOMPARE(s.core.GetFilterText(), "$N = 1 and $N = 2"); // the tree is untouched by direct input
    s.core.SetQlxDialogStyle(false);
    s.Run("a");
    QCOMPARE(s.core.GetFilterText(), "$N = 1 and $N = 2 and N = 3"); // the prefix is taken when made
}

namespace {

struct TypedColumn {
    const char* name;
    int type;
    int size;
};

// One column of every type with a value form; the names need quoting where
// they are not plain words.
const TypedColumn TypedColumns[] = {
    {"Code", dtChar, 4},        {"Name", dtString, 20},     {"First Name", dtWideString, 20},
    {"Note", dtMemo, 0},        {"Wide-Note", dtWideMemo, 0}, {"Or", dtString, 10},
    {"Active", dtBoolean, 0},   {"Small", dtSmallInt, 0},   {"Part-No", dtInteger, 0},
    {"Count", dtWord, 0},       {"Big", dtLargeInt, 0},     {"Price", dtFloat, 0},
    {"Born", dtDate, 0},        {"Alarm", dtTime, 0},       {"Stamp", dtDateTime, 0},
};

QVariantList Row(int i) {
    const QDate born[] = {QDate(1980, 1, 2), QDate(1999, 12, 31), QDate(2024, 2, 29)};
    const QTime alarm[] = {QTime(8, 0, 0), QTime(13, 45, 30), QTime(23, 59, 59)};
    const double price[] = {1.0, 2.5, -1234.75};
    return {QVariant(), QString("C%1").arg(i), QString("Name %1").arg(i), QString("Wäyne %1").arg(i),
            QString("note %1").arg(i), QString("wide 'note' %1").arg(i), QString("or %1").arg(i), i == 1,
            i - 1, 1000 * (i + 1), i + 7, 5000000000LL + i, price[i], born[i], alarm[i],
            QDateTime(born[i], alarm[i])};
}

// Row i's value of a column (1-based after ID), as the value editor of its type holds it.
QVariant EditorValue(int column, int i) {
    const int type = TypedColumns[column - 1].type;
    const QVariant v = Row(i)[column];
    if (type == dtBoolean) return v.toBool() ? QString("True") : QString("False");
    if (type == dtDate) return QDateTime(v.toDate(), QTime(0, 0));
    if (type == dtTime) return QDateTime(QDate(2000, 1, 1), v.toTime());
    return v;
}

} // namespace

void TestFilterCore::writtenFormsSelectOnRealTable_data() {
    QTest::addColumn<QString>("locale");
    QTest::addColumn<int>("databaseType");
    QTest::newRow("en_US directory") << "en_US" << int(dbtDirectory);
    QTest::newRow("de_DE directory") << "de_DE" << int(dbtDirectory);
    QTest::newRow("de_DE single file") << "de_DE" << int(dbtSingleFile);
}

void TestFilterCore::writtenFormsSelectOnRealTable() {
    QFETCH(QString, locale);
    QFETCH(int, databaseType);
    const QLocale saved;
    QLocale::setDefault(QLocale(locale));
    auto restore = qScopeGuard([&] { QLocale::setDefault(saved); });

    QTemporaryDir dir;
    TOstDatabase db;
    db.SetDatabaseName(QStringLiteral("FilterTypes%1").arg(databaseType));
    db.SetDatabaseType(TOstDatabaseType(databaseType));
    db.SetLocation(databaseType == dbtSingleFile ? dir.filePath("f.ostd") : dir.filePath("db"));
    db.CreateDatabase();
    TOstTable t;
    t.SetDatabaseName(db.GetDatabaseName());
    t.SetTableName("Typed");
    t.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
    for (const TypedColumn& c : TypedColumns) t.GetFieldDefsOst().Add(c.name, TOstDataType(c.type), c.size);
    t.CreateTable();
    t.Open();
    for (int i = 0; i < 3; ++i) t.AppendRecord(Row(i));

    TOstFilterCore core;
    core.SetOstDataset(&t);
    for (const int style : {0, 1}) {
        core.SetQlxDialogStyle(style == 1);
        for (int f = 1; f < core.Fields().size(); ++f) {
            core.Tree().Clear();
            core.Select(nullptr);
            core.SetSelectedField(f);
            core.AddCondition();
            core.UpdateCondition(f, "=", EditorValue(f, 1), 0);
            const QString filter = core.GetFilterText();
            try {
                t.SetFilter(filter);
                t.SetFiltered(true);
            } catch (const EOstraError& e) {
                QFAIL(qPrintable(filter + ": " + e.Message()));
            }
            QVERIFY2(t.RecordCount() == 1, qPrintable(filter + " selects " + QString::number(t.RecordCount())));
            t.First();
            QCOMPARE(t.FieldByName("ID")->AsInteger(), 2);
            // the same column compared the other way selects the others
            core.UpdateCondition(f, "<>", EditorValue(f, 1), 0);
            t.SetFilter(core.GetFilterText());
            QVERIFY2(t.RecordCount() == 2, qPrintable(core.GetFilterText()));
            t.SetFiltered(false);
        }
    }
    // a float with a fraction, as the locale writes it
    TFilterDescriptions list;
    const QString price = list.Add("", "Price", dtFloat, 3, -1000.5)->Text();
    QCOMPARE(price, locale == "de_DE" ? "Price > '-1000,5'" : "Price > -1000.5");
    t.SetFilter(price);
    t.SetFiltered(true);
    QCOMPARE(t.RecordCount(), 2);
}

void TestFilterCore::columnWithoutValueForm() {
    TOstTable t;
    t.GetFieldDefsOst().Add("Kind", dtEnum, 0);
    t.GetFieldDefsOst().Add("N", dtInteger, 0);
    TOstFilterCore core;
    core.SetOstDataset(&t);
    try {
        core.AddCondition();
        QFAIL("a condition for an enumeration column was made");
    } catch (const EFilterAssertion& e) {
        QVERIFY2(e.Message().contains("Assertion failure") && e.Message().contains("\"Kind\""), qPrintable(e.Message()));
    }
    core.SetSelectedField(1);
    core.AddCondition();
    core.UpdateCondition(1, "=", 5, 0);
    QVERIFY_THROWS_EXCEPTION(EFilterAssertion, core.UpdateCondition(0, "=", 5, 0));
    QCOMPARE(core.GetFilterText(), "$N = 5"); // the condition stays as it was
}

void TestFilterCore::testCountsWhatTheEngineSelects() {
    QTemporaryDir dir;
    TOstDatabase db;
    db.SetDatabaseName("FilterCount");
    db.SetLocation(dir.filePath("db"));
    db.CreateDatabase();
    TOstTable t;
    t.SetDatabaseName("FilterCount");
    t.SetTableName("Parts");
    t.GetFieldDefsOst().Add("Part No", dtInteger, 0);
    t.GetFieldDefsOst().Add("Name", dtString, 20);
    t.CreateTable();
    t.Open();
    for (int i = 1; i <= 5; ++i) t.AppendRecord({i, QString("Part %1").arg(i)});
    t.Close(); // a closed table is counted all the same

    TOstFilterCore core;
    core.SetOstDataset(&t);
    core.AddCondition();
    core.UpdateCondition(0, ">", 2, 0);
    QCOMPARE(core.GetFilterText(), "$\"Part No\" > 2");
    QCOMPARE(core.CountMatches(core.GetFilterText()), 3);
    QCOMPARE(core.CountMatches(QString()), 5);
    QVERIFY(!t.Active());

    // a typed condition that does not parse: the engine's message with its position
    const QString typed = "$Name = 'Part 1' or $Nme = 'x'";
    try {
        core.CountMatches(typed);
        QFAIL("an unknown column was counted");
    } catch (const EOstraError& e) {
        QVERIFY2(e.Message().contains("Nme"), qPrintable(e.Message()));
        QCOMPARE(TOstFilterCore::ErrorPosition(e.Message()), typed.indexOf("$Nme"));
    }
    QCOMPARE(TOstFilterCore::ErrorPosition("no position here"), -1);

    TOstFilterCore none;
    QVERIFY_THROWS_EXCEPTION(Exception, none.CountMatches("$A = 1"));
}

void TestFilterCore::writtenChecksAreEnforced_data() {
    QTest::addColumn<QString>("locale");
    QTest::newRow("en_US") << "en_US";
    QTest::newRow("de_DE") << "de_DE";
}

// A check condition as the dialog writes it without the extended style,
// with a time, a date and a float of the locale, enforced on a real table.
void TestFilterCore::writtenChecksAreEnforced() {
    QFETCH(QString, locale);
    const QLocale saved;
    QLocale::setDefault(QLocale(locale));
    auto restore = qScopeGuard([&] { QLocale::setDefault(saved); });

    QTemporaryDir dir;
    TOstDatabase db;
    db.SetDatabaseName("WrittenChecks" + locale);
    db.SetLocation(dir.filePath("db"));
    db.CreateDatabase();
    TOstTable t;
    t.SetDatabaseName(db.GetDatabaseName());
    t.SetTableName("Shifts");
    t.GetFieldDefsOst().Add("Start", dtTime, 0);
    t.GetFieldDefsOst().Add("Day", dtDate, 0);
    t.GetFieldDefsOst().Add("Rate", dtFloat, 0);

    TOstFilterCore core;
    core.SetOstDataset(&t);
    core.SetQlxDialogStyle(false);
    core.AddCondition();
    core.UpdateCondition(0, ">", QDateTime(QDate(2000, 1, 1), QTime(12, 0, 0)), 0);
    core.AddCondition();
    core.UpdateCondition(1, "<", QDateTime(QDate(2030, 12, 31), QTime(0, 0)), 0);
    core.AddCondition();
    core.UpdateCondition(2, "<>", 2.5, 0);
    TCheckConstraint* check = t.CheckConstraints().Add();
    check->ImportedConstraint = core.GetFilterText();
    check->ErrorMessage = "Shifts start after noon";
    t.CreateTable();
    t.Open();
    t.AppendRecord({QTime(12, 0, 1), QDate(2030, 12, 30), 1.5});
    const QVariantList refused[] = {{QTime(12, 0, 0), QDate(2024, 1, 1), 1.5},
                                    {QTime(13, 0, 0), QDate(2030, 12, 31), 1.5},
                                    {QTime(13, 0, 0), QDate(2024, 1, 1), 2.5}};
    for (const QVariantList& row : refused) {
        try {
            t.AppendRecord(row);
            QFAIL(qPrintable(check->ImportedConstraint + " let a row through"));
        } catch (const EOstraError& e) {
            t.Cancel();
            QCOMPARE(e.Message(), QStringLiteral("Shifts start after noon"));
        }
    }
    QCOMPARE(t.RecordCount(), 1);
}

QTEST_GUILESS_MAIN(TestFilterCore)
#include "tst_filtercore.moc"
