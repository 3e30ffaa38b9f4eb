// The SQL editor's rules without widgets: quoting and inserting names at the
// caret as tables of cases, the lists the callbacks fill, the splitters' size
// rules, and what the memo completes.
#include "query/core/ostsqleditcore.h"

#include <QtTest>

namespace {

// Tables and their columns, as a database would list them.
struct Catalog {
    QHash<QString, QStringList> columns{{"Customers", {"ID", "Name", "City"}},
                                        {"orders", {"OrderNo", "Customer", "Amount"}},
                                        {"Order Items", {"Item", "Qty"}},
                                        {"EMPTY", {}}};
    int fieldCalls = 0;
    TGetTableNamesEvent Tables() {
        return [this](QStringList& list, bool system) {
            QVERIFY(!system);
            list = {"orders", "Customers", "Order Items", "EMPTY"};
        };
    }
    TGetFieldNamesEvent Fields() {
        return [this](const QString& table, QStringList& list) {
            ++fieldCalls;
            list = columns.value(table);
        };
    }
};

} // namespace

class TstSqlEditCore : public QObject {
    Q_OBJECT
private slots:
    void defaultReqQuoteChar_data();
    void defaultReqQuoteChar();
    void quoting_data();
    void quoting();
    void insertion_data();
    void insertion();
    void listsFromTheCallbacks();
    void insertingTablesAndFields();
    void splitterRules();
    void tabStop();
    void completion();
    void dialectQuotingAndFromTable();
};

void TstSqlEditCore::defaultReqQuoteChar_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("quoted");
    QTest::newRow("mixed case") << "Customer" << true;
    QTest::newRow("upper, digit, underscore") << "CUSTOMER_2" << false;
    QTest::newRow("leading digit") << "2ND" << false;
    QTest::newRow("digits only") << "123" << false;
    QTest::newRow("lower case") << "name" << true;
    QTest::newRow("blank") << "FIRST NAME" << true;
    QTest::newRow("dollar") << "A$" << true;
    QTest::newRow("umlaut") << "\u00c4B" << true;
    QTest::newRow("empty") << "" << true;
}

void TstSqlEditCore::defaultReqQuoteChar() {
    QFETCH(QString, name);
    QFETCH(bool, quoted);
    QCOMPARE(DefaultReqQuoteChar(name), quoted);
}

void TstSqlEditCore::quoting_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("quote");
    QTest::addColumn<bool>("callback"); // a callback that quotes names holding "x"
    QTest::addColumn<QString>("inserted");
    QTest::newRow("mixed case, quote given") << "Customer" << "\"" << false << "\"Customer\"";
    QTest::newRow("upper case stays") << "CUSTOMER_2" << "\"" << false << "CUSTOMER_2";
    QTest::newRow("no quote string") << "Customer" << "" << false << "Customer";
    QTest::newRow("one blank disables quoting") << "First Name" << " " << false << "First Name";
    QTest::newRow("star never") << "*" << "\"" << false << "*";
    QTest::newRow("star never, callback") << "*" << "\"" << true << "*";
    QTest::newRow("quote of two characters") << "name" << "``" << false << "``name``";
    QTest::newRow("callback says yes") << "ax" << "'" << true << "'ax'";
    QTest::newRow("callback says no") << "Customer" << "'" << true << "Customer";
}

void TstSqlEditCore::quoting() {
    QFETCH(QString, name);
    QFETCH(QString, quote);
    QFETCH(bool, callback);
    QFETCH(QString, inserted);
    const TReqQuoteCharEvent quotesX = [](const QString& n) { return n.contains(u'x'); };
    QCOMPARE(QuoteSqlName(name, quote, callback ? quotesX : TReqQuoteCharEvent()), inserted);
}

void TstSqlEditCore::insertion_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("caret");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("list");
    QTest::addColumn<QString>("result");
    QTest::addColumn<int>("caretAfter");
    QTest::newRow("empty memo") << "" << 0 << "Customers" << false << "Customers" << 9;
    QTest::newRow("at the very start") << "FROM T" << 0 << "A" << false << "AFROM T" << 1;
    QTest::newRow("after a word") << "SELECT" << 6 << "Name" << false << "SELECT Name" << 11;
    QTest::newRow("after a blank") << "SELECT " << 7 << "Name" << false << "SELECT Name" << 11;
    QTest::newRow("after a bracket") << "SELECT count(" << 13 << "ID" << false << "SELECT count(ID" << 15;
    QTest::newRow("after a comma") << "SELECT a," << 9 << "b" << false << "SELECT a, b" << 11;
    QTest::newRow("after a line break") << "SELECT *\n" << 9 << "FROM" << false << "SELECT *\nFROM" << 13;
    QTest::newRow("after a tab") << "SELECT\t" << 7 << "X" << false << "SELECT\tX" << 8;
    QTest::newRow("name starting with a blank") << "SELECT" << 6 << " Name" << false << "SELECT Name" << 11;
    QTest::newRow("in the middle") << "SELECT  FROM T" << 7 << "Name" << false << "SELECT Name FROM T" << 11;
    QTest::newRow("inside a word") << "SELECTFROM" << 6 << "x" << false << "SELECT xFROM" << 8;
    QTest::newRow("caret past the end") << "A" << 99 << "B" << false << "A B" << 3;
    QTest::newRow("caret before the start") << "A" << -4 << "B" << false << "BA" << 1;
    QTest::newRow("list after a word") << "SELECT a" << 8 << "b" << true << "SELECT a, b" << 11;
    QTest::newRow("list after a comma") << "SELECT a," << 9 << "b" << true << "SELECT a,b" << 10;
    QTest::newRow("list at the start") << "" << 0 << "a" << true << "a" << 1;
}

void TstSqlEditCore::insertion() {
    QFETCH(QString, text);
    QFETCH(int, caret);
    QFETCH(QString, name);
    QFETCH(bool, list);
    QFETCH(QString, result);
    QFETCH(int, caretAfter);
    const TSqlInsertion r = InsertSqlName(text, caret, name, list ? TSqlInsertMode::List : TSqlInsertMode::Blank);
    QCOMPARE(r.Text, result);
    QCOMPARE(r.Caret, caretAfter);
}

void TstSqlEditCore::listsFromTheCallbacks() {
    Catalog db;
    // Sorted without regard to case; the start table found with regard to it.
    TSqlEditCore core(db.Tables(), db.Fields(), "orders", "\"", {});
    core.FillTables();
    QCOMPARE(core.Tables(), QStringList({"Customers", "EMPTY", "Order Items", "orders"}));
    QCOMPARE(core.SelectedTableName(), QStringLiteral("orders"));
    QCOMPARE(core.Fields(), QStringList({"*", "OrderNo", "Customer", "Amount"}));

    TSqlEditCore wrongCase(db.Tables(), db.Fields(), "Orders", "\"", {});
    wrongCase.FillTables();
    QCOMPARE(wrongCase.SelectedTable(), 0);
    QCOMPARE(wrongCase.Fields().first(), QStringLiteral("*"));
    QCOMPARE(wrongCase.Fields().size(), 4);

    // No fields delivered: no "*" either.
    wrongCase.SelectTable(1);
    QCOMPARE(wrongCase.SelectedTableName(), QStringLiteral("EMPTY"));
    QVERIFY(wrongCase.Fields().isEmpty());
    wrongCase.SelectTable(-1);
    QCOMPARE(wrongCase.SelectedTable(), -1);

    // Without callbacks the lists stay empty and nothing is selected.
    TSqlEditCore none({}, {}, "orders", "\"", {});
    none.FillTables();
    QVERIFY(none.Tables().isEmpty());
    QCOMPARE(none.SelectedTable(), -1);
    const TSqlInsertion nothing = none.InsertTable("SELECT", 6);
    QCOMPARE(nothing.Text, QStringLiteral("SELECT"));

    // Tables without a field callback: selected, no fields.
    TSqlEditCore tablesOnly(db.Tables(), {}, QString(), "\"", {});
    tablesOnly.FillTables();
    QCOMPARE(tablesOnly.SelectedTable(), 0);
    QVERIFY(tablesOnly.Fields().isEmpty());
}

void TstSqlEditCore::insertingTablesAndFields() {
    Catalog db;
    TSqlEditCore core(db.Tables(), db.Fields(), "Order Items", "\"", {});
    core.FillTables();
    // A table into an empty memo: quoted, and the caret goes back to the start.
    TSqlInsertion r = core.InsertTable("", 0);
    QCOMPARE(r.Text, QStringLiteral("\"Order Items\""));
    QCOMPARE(r.Caret, 0);
    // After FROM: a blank first, the caret after the name.
    r = core.InsertTable("SELECT * FROM", 13);
    QCOMPARE(r.Text, QStringLiteral("SELECT * FROM \"Order Items\""));
    QCOMPARE(r.Caret, r.Text.size());
    // Several fields, in list order, each by the blank rule; "*" unquoted.
    core.SelectTable(0);
    r = core.InsertFields("SELECT count(", 13, {"*", "Name", "ID"});
    QCOMPARE(r.Text, QStringLiteral("SELECT count(* \"Name\" ID"));
    QCOMPARE(r.Caret, r.Text.size());
    // Into an empty memo the fields go at its end, whatever the caret said.
    r = core.InsertFields("", 5, {"City"});
    QCOMPARE(r.Text, QStringLiteral("\"City\""));
    QCOMPARE(r.Caret, 6);
}

void TstSqlEditCore::splitterRules() {
    QVERIFY(!AcceptTableSplitterSize(44, 300));
    QVERIFY(AcceptTableSplitterSize(45, 300));
    QVERIFY(AcceptTableSplitterSize(234, 300));
    QVERIFY(!AcceptTableSplitterSize(235, 300));
    QVERIFY(!AcceptMemoSplitterSize(100, 800));
    QVERIFY(AcceptMemoSplitterSize(101, 800));
    QVERIFY(AcceptMemoSplitterSize(699, 800));
    QVERIFY(!AcceptMemoSplitterSize(700, 800));
}

void TstSqlEditCore::tabStop() {
    // 10 dialog units of a font averaging 8 pixels are 20 pixels.
    QCOMPARE(SqlTabWidthInChars(8, 10), 2);
    QCOMPARE(SqlTabWidthInChars(8, 5), 4);
    QCOMPARE(SqlTabWidthInChars(6, 7), 2);
    QCOMPARE(SqlTabWidthInChars(2, 40), 1);
    QCOMPARE(SqlTabWidthInChars(8, 0), 1);
}

void TstSqlEditCore::completion() {
    Catalog db;
    TSqlEditCore core(db.Tables(), db.Fields(), QString(), "\"", {});
    core.FillTables();
    const int callsAfterFill = db.fieldCalls;

    // After "Table.": that table's columns, whatever the case it is written in.
    QString text = "SELECT customers.";
    QCOMPARE(core.Completions({"customers", ""}, text, text.size()), QStringList({"City", "ID", "Name"}));
    QCOMPARE(core.Completions({"Customers", "n"}, text + "n", text.size() + 1), QStringList({"Name"}));
    // Columns are asked for once per table.
    core.Completions({"Customers", "C"}, text, text.size());
    QCOMPARE(db.fieldCalls, callsAfterFill);
    core.Completions({"orders", ""}, "SELECT orders.", 14);
    core.Completions({"orders", "A"}, "SELECT orders.A", 15);
    QCOMPARE(db.fieldCalls, callsAfterFill + 1);

    // Aliases: FROM t a, JOIN t AS b, a list after FROM.
    text = "SELECT c.Name, o. FROM Customers c JOIN orders AS o ON o.Customer = c.ID";
    QCOMPARE(core.Completions({"o", ""}, text, 17), QStringList({"Amount", "Customer", "OrderNo"}));
    QCOMPARE(core.Completions({"c", "I"}, text, 9), QStringList({"ID"}));
    text = "SELECT x. FROM orders y, \"Order Items\" x";
    QCOMPARE(core.Completions({"x", ""}, text, 9), QStringList({"Item", "Qty"}));
    QCOMPARE(core.ResolveTable("y", text), QStringLiteral("orders"));
    QCOMPARE(core.ResolveTable("z", text), QString());
    QVERIFY(core.Completions({"nosuch", ""}, "SELECT nosuch.", 14).isEmpty());
    // A keyword after the table is no alias.
    QCOMPARE(core.ResolveTable("WHERE", "SELECT * FROM orders WHERE"), QString());

    // A word: keywords, functions, the tables, and the columns of the tables the text names.
    QStringList words = core.Completions({"SEL"}, "SEL", 3);
    QVERIFY(words.contains("SELECT"));
    words = core.Completions({"ostra_s"}, "SELECT * FROM ostra_s", 21);
    QCOMPARE(words, QStringList({"ostra_search"}));
    words = core.Completions({"Cu"}, "SELECT Cu FROM orders", 9);
    QVERIFY(words.contains("Customer"));  // a column of orders
    QVERIFY(words.contains("Customers")); // a table
    QVERIFY(!words.contains("City"));     // Customers is not named in the text
    words = core.Completions({"or"}, "SELECT * FROM or", 16);
    QVERIFY(words.contains("orders"));
    QVERIFY(words.contains("ORDER"));
    // Strings and comments name no tables.
    words = core.Completions({"Ci"}, "SELECT Ci -- Customers\n FROM orders WHERE x = 'Customers'", 9);
    QVERIFY(!words.contains("City"));
    // Sorted without regard to case, and limited.
    words = core.Completions({"c"}, "", 0, 5);
    QCOMPARE(words.size(), 5);
    for (int i = 1; i < words.size(); ++i) QVERIFY(words[i - 1].compare(words[i], Qt::CaseInsensitive) <= 0);

    // After COLLATE: collation names only.
    text = "SELECT * FROM orders ORDER BY Customer COLLATE O";
    QCOMPARE(core.Completions({"O"}, text, text.size()), QStringList({"Ostra"}));
    text = "SELECT * FROM orders ORDER BY Customer COLLATE de_A";
    words = core.Completions({"de_A"}, text, text.size());
    QVERIFY(words.contains("de_AT_ci_ai"));
    QVERIFY(words.contains("de_AT_cs_as"));
    QVERIFY(!words.contains("de_ci_ai"));
    QVERIFY(!words.contains("SELECT"));
    words = core.Completions({"de_c"}, text.chopped(4) + "de_c", text.size());
    QCOMPARE(words, QStringList({"de_ci_ai", "de_ci_as", "de_cs_ai", "de_cs_as"}));
}

void TstSqlEditCore::dialectQuotingAndFromTable() {
    QVERIFY(!OstSqlNeedsQuote("Customers"));
    QVERIFY(!OstSqlNeedsQuote("order_2"));
    QVERIFY(!OstSqlNeedsQuote("a$b"));
    QVERIFY(OstSqlNeedsQuote("Order Items"));
    QVERIFY(OstSqlNeedsQuote("2nd"));
    QVERIFY(OstSqlNeedsQuote("$a"));
    QVERIFY(OstSqlNeedsQuote("Order")); // a keyword
    QVERIFY(OstSqlNeedsQuote("select"));
    QVERIFY(OstSqlNeedsQuote("Stra\u00dfe"));
    QVERIFY(OstSqlNeedsQuote(""));

    QCOMPARE(SqlFromTable("SELECT * FROM Orders WHERE Amount > 100"), QStringLiteral("Orders"));
    QCOMPARE(SqlFromTable("select a from \"Order Items\" i"), QStringLiteral("Order Items"));
    QCOMPARE(SqlFromTable("SELECT 'FROM x' -- FROM y\nFROM z"), QStringLiteral("z"));
    QCOMPARE(SqlFromTable("SELECT * FROM (SELECT 1)"), QString());
    QCOMPARE(SqlFromTable("UPDATE T SET a = 1"), QString());
}

QTEST_MAIN(TstSqlEditCore)
#include "tst_sqleditcore.moc"
