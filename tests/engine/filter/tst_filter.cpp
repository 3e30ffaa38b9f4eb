// Filters and native expressions are translated to SQL and run against a real
// in-memory SQLite table, so the tests check what rows a filter selects (or what
// value an expression yields) rather than the exact SQL text.
#include "engine/ostengine.h"
#include "engine/filter/ostfilter.h"

#include <QDate>
#include <QLocale>
#include <QRandomGenerator>
#include <QtTest>

#include <sqlite3.h>

namespace {

struct ColumnInfo {
    const char* name;
    int type;
};

// Column names as the engine knows them, with their types.
const ColumnInfo Columns[] = {
    {"id", dtAutoInc},  {"Name", dtString},    {"First Name", dtWideString},
    {"Age", dtInteger}, {"Price", dtFloat},    {"Born", dtDate},
    {"Alarm", dtTime},  {"Stamp", dtDateTime}, {"Active", dtBoolean},
    {"Data", dtBlob},   {"Kind", dtEnum},      {"Code", dtChar},
    {"Note", dtMemo},   {"Or", dtString},
};

const char* const Schema = R"(
CREATE TABLE t(id INTEGER PRIMARY KEY, Name TEXT, "First Name" TEXT, Age INTEGER, Price REAL, Born TEXT,
               Alarm TEXT, Stamp TEXT, Active INTEGER, Data BLOB, Kind TEXT, Code TEXT, Note TEXT, "Or" TEXT);
INSERT INTO t VALUES
 (1, 'Smith',    'John',      30, 9.5,   '1990-05-17', '08:30:00.000', '2024-01-05T10:20:30.000', 1, x'00', 'A', '01234', 'first', 'x'),
 (2, 'Smithers', 'Wayland',   45, 120.0, '1979-12-01', '17:45:10.250', '2024-01-05T18:00:00.000', 0, NULL,  'B', '100',   NULL,    NULL),
 (3, 'O''Brien', 'Pat',       22, 0.99,  '2001-02-28', '23:59:59.999', '2023-12-31T23:59:59.999', 1, NULL,  'A', '2',     'it''s', 'y'),
 (4, 'Jones',    NULL,        NULL, NULL, NULL,        NULL,           NULL,                      NULL, NULL, NULL, NULL,   NULL,    NULL),
 (5, 'Sm_th',    'Ann Marie', 30, 15.0,  '2000-01-01', '00:00:00.000', '2000-01-01T00:00:00.000', 0, NULL,  'C', 'abc',   '100%',  NULL),
 (6, 'smith',    'Bob',       -7, -2.5,  '1990-05-17', '08:30:00.000', '2024-01-05T00:00:00.000', 1, NULL,  'B', '30',    NULL,    'x');
)";

bool Resolve(const QString& name, int& type, QString& sqlRef) {
    for (const ColumnInfo& c : Columns) {
        if (name.compare(QLatin1String(c.name), Qt::CaseInsensitive) == 0) {
            type = c.type;
            sqlRef = OstQuoteIdent(QLatin1String(c.name));
            return true;
        }
    }
    return false;
}

} // namespace

class TestFilter : public QObject {
    Q_OBJECT

private:
    sqlite3* m_db = nullptr;

    // Runs sql and returns the first column of every row joined with ","; sets ok to false on a SQL error.
    QString Query(const QString& sql, bool* ok = nullptr) {
        sqlite3_stmt* st = nullptr;
        const QByteArray utf8 = sql.toUtf8();
        const int rc = sqlite3_prepare_v2(m_db, utf8.constData(), int(utf8.size()), &st, nullptr);
        if (ok) *ok = rc == SQLITE_OK;
        if (rc != SQLITE_OK) {
            if (!ok) qWarning("SQL error: %s in %s", sqlite3_errmsg(m_db), utf8.constData());
            return QStringLiteral("<error>");
        }
        QStringList out;
        int step;
        while ((step = sqlite3_step(st)) == SQLITE_ROW) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
            out << (text ? QString::fromUtf8(text) : QStringLiteral("NULL"));
        }
        if (step != SQLITE_DONE && ok) *ok = false;
        sqlite3_finalize(st);
        return out.join(QLatin1Char(','));
    }

    QString MatchingIds(const QString& filter) {
        const QString where = OstFilterToSql(filter, Resolve);
        return Query(QStringLiteral("SELECT id FROM t WHERE ") +
                     (where.isEmpty() ? QStringLiteral("1") : where) + QStringLiteral(" ORDER BY id"));
    }

    // Calls f and checks it raises EOstraError with the code, the position and the text.
    template <typename F> void ExpectError(F f, int16_t code, int position, const QString& fragment) {
        try {
            const QString sql = f();
            QFAIL(qPrintable(QStringLiteral("no error; produced: ") + sql));
        } catch (const EOstraError& e) {
            QCOMPARE(e.ErrorCode(), code);
            QVERIFY2(e.Message().contains(QStringLiteral("position %1:").arg(position)),
                     qPrintable(e.Message()));
            QVERIFY2(e.Message().contains(fragment, Qt::CaseInsensitive), qPrintable(e.Message()));
        }
    }

private slots:
    void initTestCase() {
        QCOMPARE(sqlite3_open(":memory:", &m_db), SQLITE_OK);
        char* err = nullptr;
        QVERIFY2(sqlite3_exec(m_db, Schema, nullptr, nullptr, &err) == SQLITE_OK, err);
    }

    void cleanupTestCase() { sqlite3_close(m_db); }

    void filterMatches_data() {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("ids");
        auto row = [](const char* name, const QString& filter, const char* ids) {
            QTest::newRow(name) << filter << QString::fromLatin1(ids);
        };
        row("blank", "   ", "1,2,3,4,5,6");
        // operators, with the column on either side
        row("=", "Name = 'Smith'", "1");
        row("<>", "Age <> 30", "2,3,6");
        row("!=", "Age != 30", "2,3,6");
        row("<", "Age < 30", "3,6");
        row(">", "Age > 30", "2");
        row("<=", "Age <= 30", "1,3,5,6");
        row(">=", "Price >= 15", "2,5");
        row("literal on the left", "30 < Age", "2");
        row("negative number", "Age = -7", "6");
        row("negative with blank", "Age > - 8 and Age < 0", "6");
        row("decimal", "Price = 0.99", "3");
        row("LIKE", "Name LIKE 'Smith%'", "1,2,6");
        row("like lower case", "Name like '_m_th'", "1,5,6");
        row("NOT LIKE", "Name NOT LIKE 'S%'", "3,4");
        row("IS NULL", "Age IS NULL", "4");
        row("IS NOT NULL", "\"First Name\" is not null", "1,2,3,5,6");
        row("= NULL", "Note = NULL", "2,4,6");
        row("<> NULL", "Note <> null", "1,3,5");
        row("blob IS NOT NULL", "Data IS NOT NULL", "1");
        // names and quoting
        row("$ prefix", "$Name = 'Jones'", "4");
        row("brackets", "[First Name] = 'Ann Marie'", "5");
        row("double quotes", "\"First Name\" = 'Pat'", "3");
        row("$ and brackets", "$[First Name] = 'Bob'", "6");
        row("keyword as column", "$Or = 'x' OR [Or] = 'y'", "1,3,6");
        row("case-insensitive column", "NAME = 'Jones'", "4");
        row("doubled quote", "Name = 'O''Brien'", "3");
        row("doubled quote in memo", "Note = 'it''s'", "3");
        row("column against column", "Born = Born AND Age = Age", "1,2,3,5,6");
        // connectives
        row("and", "Name LIKE 'S%' and Age = 30", "1,5");
        row("or", "Age = 22 OR Age = 45", "2,3");
        row("not", "NOT Age = 30", "2,3,6");
        row("and binds tighter than or", "Age = 22 OR Age = 30 AND Name = 'Sm_th'", "3,5");
        row("parentheses", "(Age = 22 OR Age = 30) AND Name = 'Sm_th'", "5");
        row("not binds tighter than and", "NOT Age = 30 AND Price > 0", "2,3");
        row("not on a group", "NOT (Age = 30 OR Age IS NULL)", "2,3,6");
        row("and not", "Age >= 22 AND NOT Kind = 'A'", "2,5");
        row("or not", "Kind = 'C' Or Not Age > -5", "5,6");
        row("nested", "((Age = 30) and ((Kind = 'A')))", "1");
        row("not not", "not not Kind = 'A'", "1,3");
        // literal conversion by column type
        row("date ISO", "Born = '1990-05-17'", "1,6");
        row("date MM.dd.yyyy", "Born = '05.17.1990'", "1,6");
        row("date range", "Born > '01.01.1980' AND Born < '2001-02-28'", "1,5,6");
        row("time HH:mm", "Alarm = '08:30'", "1,6");
        row("time HH:mm:ss", "Alarm >= '17:45:10'", "2,3");
        row("time with milliseconds", "Alarm = '17:45:10.250'", "2");
        row("time with one fraction digit", "Alarm = '17:45:10.25'", "2");
        row("datetime ISO T", "Stamp = '2024-01-05T10:20:30'", "1");
        row("datetime ISO blank", "Stamp = '2024-01-05 18:00:00.000'", "2");
        row("datetime dotted", "Stamp = '01.05.2024 10:20:30'", "1");
        row("datetime from date", "Stamp >= '2024-01-05'", "1,2,6");
        row("datetime ms", "Stamp = '2023-12-31 23:59:59.999'", "3");
        row("boolean TRUE", "Active = TRUE", "1,3,6");
        row("boolean 'False'", "Active = 'False'", "2,5");
        row("boolean '1'", "Active = '1'", "1,3,6");
        row("boolean 0", "Active = 0", "2,5");
        row("integer from string", "Age = '30'", "1,5");
        row("float from string", "Price < ' 1.5 '", "3,6");
        row("number against text", "Code = 01234", "1");
        row("number against char", "Code = 100", "2");
        row("number against enum", "Kind = 'B'", "2,6");
        // the trailing-asterisk prefix idiom
        row("prefix *", "Name = 'Smi*'", "1,2,6");
        row("prefix * keeps _", "Name = 'Sm_*'", "5");
        row("prefix * keeps %", "Note = '100%*'", "5");
        row("only *", "Note = '*'", "1,3,5");
        row("* inside LIKE is literal", "Name LIKE 'Sm*'", "");
        row("* with <> is literal", "Name <> 'Smith*'", "1,2,3,4,5,6");
        row("TRUE = TRUE", "TRUE = TRUE", "1,2,3,4,5,6");
        // system locale short forms, when they survive a round trip
        const QLocale loc = QLocale::system();
        const QString shortDate = loc.toString(QDate(1990, 5, 17), QLocale::ShortFormat);
        if (loc.toDate(shortDate, QLocale::ShortFormat) == QDate(1990, 5, 17))
            row("locale date", QStringLiteral("Born = '%1'").arg(shortDate), "1,6");
        const QString shortTime = loc.toString(QTime(17, 45), QLocale::ShortFormat);
        if (loc.toTime(shortTime, QLocale::ShortFormat) == QTime(17, 45))
            row("locale time", QStringLiteral("Alarm > '%1'").arg(shortTime), "2,3");
        const QDateTime stamp(QDate(2024, 1, 5), QTime(10, 20, 30));
        const QString shortStamp = loc.toString(stamp, QLocale::ShortFormat);
        if (loc.toDateTime(shortStamp, QLocale::ShortFormat) == stamp)
            row("locale datetime", QStringLiteral("Stamp = '%1'").arg(shortStamp), "1");
    }

    void filterMatches() {
        QFETCH(QString, filter);
        QFETCH(QString, ids);
        QCOMPARE(MatchingIds(filter), ids);
    }

    void filterErrors_data() {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("fragment");
        auto row = [](const char* filter, int pos, const char* fragment) {
            QTest::newRow(filter) << QString::fromUtf8(filter) << pos << QString::fromUtf8(fragment);
        };
        row("Nme = 'x'", 1, "Unknown column 'Nme' in filter");
        row("Age = 1 AND [Last Name] = 'x'", 13, "Unknown column 'Last Name'");
        row("Name = 'Smith", 8, "unterminated string");
        row("Name = 'O''Brien", 8, "unterminated string");
        row("[First Name = 'x'", 1, "unterminated column name");
        row("Name = ", 8, "expected a value after '='");
        row("Name = AND Age = 1", 8, "expected a value after '='");
        row("= 'x'", 1, "expected a condition");
        row("Name 'x'", 6, "expected a comparison operator after 'Name'");
        row("Name", 5, "expected a comparison operator");
        row("Age = 1 AND", 12, "expected a condition after 'AND'");
        row("Age = 1 OR OR Age = 2", 12, "expected a condition after 'OR'");
        row("Age = 1 Name = 'x'", 9, "expected AND, OR or the end of the filter");
        row("(Age = 1", 9, "missing ')'");
        row("((Age = 1) OR Age = 2", 22, "to close '(' at position 1");
        row("Age = 1)", 8, "')' without a matching '('");
        row("()", 2, "expected a condition after '('");
        row("Data = 'x'", 1, "Column 'Data' cannot be used in a filter");
        row("'x' <> Data", 8, "cannot be used in a filter");
        row("Age = 'abc'", 7, "'abc' is not a valid number for column 'Age'");
        row("Born = '2024-02-30'", 8, "not a valid date");
        row("Alarm = '25:00'", 9, "not a valid time");
        row("Stamp = 'soon'", 9, "not a valid date/time");
        row("Active = 2", 10, "not a valid boolean");
        row("Age = TRUE2", 7, "Unknown column 'TRUE2'");
        row("Age # 3", 5, "unexpected character '#'");
        row("Age = 3.4.5", 7, "invalid number");
        row("Age = 12abc", 7, "invalid number");
        row("$ = 1", 1, "expected a column name after '$'");
        row("[] = 1", 1, "empty column name");
        row("Age IS 5", 8, "expected NULL after 'IS'");
        row("Age = -Price", 8, "expected a number after '-'");
        row("Age = 1 + 2", 9, "expected AND, OR");
        row("UPPER(Name) = 'X'", 1, "Unknown column 'UPPER'");
        // SQLite would cut the statement at a NUL inside a literal.
        QTest::newRow("NUL in a string") << QStringLiteral("Name = 'a") + QChar(0) + QStringLiteral("b'") << 10 << QStringLiteral("U+0000");
        QTest::newRow("NUL in a name") << QStringLiteral("\"Na") + QChar(0) + QStringLiteral("me\" = 'x'") << 4 << QStringLiteral("U+0000");
    }

    void filterErrors() {
        QFETCH(QString, filter);
        QFETCH(int, position);
        QFETCH(QString, fragment);
        ExpectError([&] { return OstFilterToSql(filter, Resolve); }, OstErr::InvalidFilter, position,
                    fragment);
    }

    void literalConversion_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("sql"); // empty: rejected
        auto row = [](const char* name, const char* text, int type, const char* sql) {
            QTest::newRow(name) << QString::fromUtf8(text) << type << QString::fromUtf8(sql);
        };
        row("date ISO", "2024-02-29", dtDate, "'2024-02-29'");
        row("date short parts", "2024-2-9", dtDate, "'2024-02-09'");
        row("date dotted", "12.31.1999", dtDate, "'1999-12-31'");
        row("date dotted is month first", "31.12.1999", dtDate, "");
        row("date not leap", "2023-02-29", dtDate, "");
        row("date garbage", "2024-01-0x", dtDate, "");
        row("time normalised", "7:05", dtTime, "'07:05:00.000'");
        row("time fraction", "07:05:09.5", dtTime, "'07:05:09.500'");
        row("time long fraction", "07:05:09.123456", dtTime, "'07:05:09.123'");
        row("time bad minutes", "07:5", dtTime, "");
        row("datetime T", "2024-01-05T07:05", dtDateTime, "'2024-01-05T07:05:00.000'");
        row("datetime dotted", "01.05.2024 23:59:59", dtDateTime, "'2024-01-05T23:59:59.000'");
        row("datetime date only", "01.05.2024", dtDateTime, "'2024-01-05T00:00:00.000'");
        row("datetime bad time", "2024-01-05T24:00", dtDateTime, "");
        row("bool", "true", dtBoolean, "1");
        row("bool False", "False", dtBoolean, "0");
        row("bool yes", "yes", dtBoolean, "");
        row("integer", " 42 ", dtInteger, "42");
        row("integer leading zeros", "007", dtLargeInt, "7");
        row("integer decimal", "2.5", dtSmallInt, "2.5");
        row("float", "-1.50", dtFloat, "-1.5");
        row("float whole", "1e3", dtFloat, "1000.0");
        row("float no digits", ".", dtFloat, "");
        row("float inf", "inf", dtFloat, "");
        row("float hex", "0x10", dtFloat, "");
        row("float grouped", "1,000", dtFloat, "");
        row("text quotes", "O'Brien", dtString, "'O''Brien'");
        row("text kept verbatim", " 007 ", dtMemo, "' 007 '");
        row("enum", "B", dtEnum, "'B'");
        row("guid", "{abc}", dtGuid, "'{abc}'");
        row("blob", "x", dtBlob, "");
    }

    void literalConversion() {
        QFETCH(QString, text);
        QFETCH(int, type);
        QFETCH(QString, sql);
        QString out;
        const bool ok = OstFilterLiteralToSql(text, type, out);
        QCOMPARE(ok, !sql.isEmpty());
        if (ok) QCOMPARE(out, sql);
    }

    void nativeExpressions_data() {
        QTest::addColumn<QString>("expression");
        QTest::addColumn<int>("id");
        QTest::addColumn<QString>("value");
        auto row = [](const char* expr, int id, const char* value) {
            QTest::newRow(expr) << QString::fromUtf8(expr) << id << QString::fromUtf8(value);
        };
        row("Name", 1, "Smith");
        row("Name + ', ' + [First Name]", 1, "Smith, John");
        row("Code + 1", 2, "1001");
        row("'#' + Age", 1, "#30");
        row("Age + 1", 1, "31");
        row("Age + Price * 2", 1, "49.0");
        row("(Age + Price) * 2", 1, "79.0");
        row("Age - -5 - 1", 1, "34");
        row("-Age", 6, "7");
        row("- -Age", 6, "-7");
        row("Age / 4", 1, "7");
        row("Age / 4.0", 1, "7.5");
        row("Age * (2 - 3)", 1, "-30");
        row("UPPER(Name) + lower('AB')", 3, "O'BRIENab");
        row("TRIM('  x  ')", 1, "x");
        row("LENGTH([First Name])", 5, "9");
        row("SUBSTR(Name, 2, 3)", 2, "mit");
        row("COPY(Name, 4)", 2, "thers");
        row("YEAR(Born) * 100 + MONTH(Born)", 1, "199005");
        row("DAY(Stamp)", 3, "31");
        row("YEAR('05.17.1990')", 1, "1990");
        row("ABS(Age)", 6, "7");
        row("ROUND(Price)", 1, "10.0");
        row("ROUND(Price, 1)", 3, "1.0");
        row("COALESCE([First Name], Name)", 4, "Jones");
        row("COALESCE(Age, 0) + 1", 4, "1");
        row("IIF(Age > 40, 'old', 'young')", 2, "old");
        row("IIF(Age > 40 OR Active = FALSE, 1, 0)", 5, "1");
        row("IIF(Age IS NULL, 'none', Name)", 4, "none");
        row("Age > 29 AND NOT Active", 1, "0");
        row("Age = 30", 1, "1");
        row("Born = '05.17.1990'", 6, "1");
        row("Name LIKE 's%'", 6, "1");
        row("Name = 'Sm*'", 1, "0");
        row("Active = TRUE", 2, "0");
        row("(Age >= 30) + (Age >= 40)", 2, "2");
        row("TRUE", 1, "1");
        row("NULL", 1, "NULL");
        row("length(Data)", 1, "1");
    }

    void nativeExpressions() {
        QFETCH(QString, expression);
        QFETCH(int, id);
        QFETCH(QString, value);
        const QString sql = OstNativeExpressionToSql(expression, Resolve);
        QCOMPARE(Query(QStringLiteral("SELECT %1 FROM t WHERE id = %2").arg(sql).arg(id)), value);
    }

    void nativeErrors_data() {
        QTest::addColumn<QString>("expression");
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("fragment");
        auto row = [](const char* expr, int pos, const char* fragment) {
            QTest::newRow(expr) << QString::fromUtf8(expr) << pos << QString::fromUtf8(fragment);
        };
        row("", 1, "empty");
        row("Age +", 6, "expected a value after '+'");
        row("Age * * 2", 7, "expected a value after '*'");
        row("FOO(Age)", 1, "unknown function 'FOO'");
        row("UPPER(Name, 2)", 1, "UPPER expects 1 argument");
        row("SUBSTR(Name)", 1, "2 or 3 arguments");
        row("COALESCE(Name)", 1, "at least 2 arguments");
        row("IIF(Age > 1, 2)", 1, "IIF expects 3 arguments");
        row("UPPER(Name", 11, "missing ')'");
        row("UPPER(Name Age)", 12, "expected ',' or ')'");
        row("(Age + 1", 9, "missing ')'");
        row("Age + 1)", 8, "without a matching '('");
        row("Agee * 2", 1, "Unknown column 'Agee'");
        row("YEAR(Age)", 6, "YEAR needs a date");
        row("MONTH(Alarm)", 7, "date or date/time");
        row("Data + 1", 1, "Column 'Data' cannot be used");
        row("Age = 'x'", 7, "not a valid number");
        row("Name 'x'", 6, "expected an operator or the end of the expression");
        row("'abc", 1, "unterminated string");
        QTest::newRow("NUL in a string") << QStringLiteral("UPPER('a") + QChar(0) + QStringLiteral("')") << 9 << QStringLiteral("U+0000");
    }

    void nativeErrors() {
        QFETCH(QString, expression);
        QFETCH(int, position);
        QFETCH(QString, fragment);
        ExpectError([&] { return OstNativeExpressionToSql(expression, Resolve); }, OstErr::InvalidDefinition,
                    position, fragment);
    }

    // Deeply nested input is either rejected as too deeply nested or yields SQL that
    // SQLite's parser can still take; moderate nesting is always accepted.
    void nesting() {
        struct Form {
            bool native;
            const char *open, *core, *close;
        };
        const Form forms[] = {
            {false, "(", "Age = 1", ")"},
            {false, "(Age = 2 OR (Kind = 'A' AND ", "Age = 1", "))"},
            {false, "NOT (", "Age = 1", ")"},
            {false, "NOT ", "Age = 1", ""},
            {true, "(", "Age", ")"},
            {true, "(Age + (", "1", ") * 2)"},
            {true, "UPPER(", "Name", ")"},
            {true, "COALESCE(Name, ", "Name", ")"},
            {true, "IIF(Age > 1, ", "1", ", 0)"},
            {true, "IIF(", "Age > 1", ", 1, 0) = 1"},
            {true, "COALESCE(IIF(Age > 1, ", "YEAR(Born)", ", 0), 1)"},
            {true, "-(", "Age", ")"},
            {true, "NOT (", "Age", ")"},
            {true, "", "Age", " + 'a' - 1"},
            {true, "ABS(Age + (", "1", " - 'a') * 2)"},
        };
        for (const Form& f : forms) {
            for (int depth = 1; depth <= 120; depth += depth < 12 ? 1 : 9) {
                QString input = QString::fromUtf8(f.open).repeated(depth) + QString::fromUtf8(f.core);
                input += QString::fromUtf8(f.close).repeated(depth);
                QString sql;
                try {
                    sql =
                        f.native ? OstNativeExpressionToSql(input, Resolve) : OstFilterToSql(input, Resolve);
                } catch (const EOstraError& e) {
                    QVERIFY2(depth > 6, qPrintable(input + QStringLiteral(": ") + e.Message()));
                    QVERIFY2(e.Message().contains(QLatin1String("too deeply nested")),
                             qPrintable(e.Message()));
                    continue;
                }
                bool ok = false;
                Query(f.native
                          ? QStringLiteral("SELECT %1 FROM t").arg(sql)
                          : QStringLiteral("SELECT id FROM t WHERE id > 0 AND (") + sql + QLatin1Char(')'),
                      &ok);
                QVERIFY2(ok, qPrintable(input + QStringLiteral(" -> ") + sql));
            }
        }
        // long lists of alternatives, as generated filters have them, stay usable
        QStringList ids;
        for (int i = 0; i < 5000; ++i)
            ids << QStringLiteral("Age = %1").arg(i - 10);
        QCOMPARE(MatchingIds(ids.join(QLatin1String(" OR "))), QStringLiteral("1,2,3,5,6"));
    }

    // Random text, truncations and mutations of valid input must either translate to
    // SQL that SQLite accepts or raise EOstraError with a position - nothing else.
    void fuzz() {
        const QStringList seeds = {
            "Name = 'O''Brien' AND NOT (Age >= 30 OR $[First Name] LIKE 'J%')",
            "Born > '05.17.1990' or Stamp <= '2024-01-05T10:20:30.000' and Alarm IS NOT NULL",
            "Active = TRUE AND Price <> -1.5e2 AND \"First Name\" = 'Sm*'",
            "IIF(Age > 40, UPPER(Name) + ', ' + COALESCE(Note, 'n/a'), SUBSTR(Name, 1, 2)) = 'x'",
            "YEAR(Born) * 12 + MONTH(Stamp) - -(Age / 2.5) > ROUND(Price, 1) OR Kind IS NULL",
        };
        const QString alphabet =
            QStringLiteral("NameAgBorPic$[]\"'()=<>!+-*/,. 019eTRUFLSxANDORNOTLIKEIS\\%_\x01\xe9");
        QRandomGenerator rng(20240517);
        auto mutate = [&](QString s) {
            const int edits = 1 + int(rng.bounded(4));
            for (int e = 0; e < edits && !s.isEmpty(); ++e) {
                const int at = int(rng.bounded(s.size()));
                const QChar c = alphabet[int(rng.bounded(alphabet.size()))];
                switch (rng.bounded(3)) {
                case 0:
                    s.remove(at, 1);
                    break;
                case 1:
                    s.insert(at, c);
                    break;
                default:
                    s[at] = c;
                }
            }
            return s;
        };
        QStringList inputs;
        for (const QString& seed : seeds)
            for (int n = 0; n <= seed.size(); ++n)
                inputs << seed.left(n) << seed.mid(n);
        for (int i = 0; i < 3000; ++i) {
            inputs << mutate(seeds[int(rng.bounded(seeds.size()))]);
            QString random;
            const int len = int(rng.bounded(40));
            for (int k = 0; k < len; ++k)
                random += alphabet[int(rng.bounded(alphabet.size()))];
            inputs << random;
        }
        inputs << QString(5000, QLatin1Char('(')) << QString(3000, QLatin1Char('-')) + QLatin1Char('1')
               << QStringLiteral("NOT ").repeated(2000) + QStringLiteral("Age = 1") << QString(QChar(0xD800))
               << QStringLiteral("Age = 1") + QStringLiteral(" AND Age = 1").repeated(2000);
        int accepted[2] = {0, 0};
        for (const QString& input : std::as_const(inputs)) {
            for (int native = 0; native < 2; ++native) {
                QString sql;
                try {
                    sql = native ? OstNativeExpressionToSql(input, Resolve) : OstFilterToSql(input, Resolve);
                } catch (const EOstraError& e) {
                    QCOMPARE(e.ErrorCode(), native ? OstErr::InvalidDefinition : OstErr::InvalidFilter);
                    QVERIFY2(e.Message().contains(QLatin1String("at position ")), qPrintable(e.Message()));
                    continue;
                } catch (...) {
                    QFAIL(qPrintable(QStringLiteral("unexpected exception for: ") + input));
                }
                ++accepted[native];
                if (sql.isEmpty()) continue;
                bool ok = false;
                Query(native ? QStringLiteral("SELECT %1 FROM t").arg(sql)
                             : QStringLiteral("SELECT id FROM t WHERE ") + sql,
                      &ok);
                QVERIFY2(ok, qPrintable(input + QStringLiteral(" -> ") + sql));
            }
        }
        // the seeds themselves are valid, so both sides must have accepted something
        QVERIFY(accepted[0] > 0 && accepted[1] > 0);
    }
};

QTEST_GUILESS_MAIN(TestFilter)
#include "tst_filter.moc"
