// Bulk inserts skip SQLite's evaluation of the column checks for values that
// meet them for certain. Every value the conversion gives that the code
// calls certain must be one the table itself takes, and the values an import
// usually brings must be certain, or the inserts lose their speed.
#include "engine/engine_helper.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostmeta.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalues.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <cmath>
#include <limits>
#include <sqlite3.h>

class TstStoredChecks : public QObject {
    Q_OBJECT
private slots:
    void certainValuesMeetTheTablesChecks_data();
    void certainValuesMeetTheTablesChecks();
};

void TstStoredChecks::certainValuesMeetTheTablesChecks_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("size");      // size, or precision for floats and times
    QTest::addColumn<QString>("spec");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("certain");  // an import's usual value: must be certain
    const auto row = [](const char* name, int type, int size, QVariant value, bool certain, QString spec = QString()) {
        QTest::newRow(name) << type << size << spec << value << certain;
    };
    row("text", dtString, 5, "abcde", true);
    row("text empty", dtString, 5, "", true);
    row("text latin-1", dtString, 3, QStringLiteral("Grü"), true);
    row("text with a nul", dtString, 5, QString::fromUtf16(u"a\0b", 3), true);
    row("text of size 0", dtString, 0, "x", false);
    row("char", dtChar, 2, "ab", true);
    row("wide surrogates", dtWideString, 3, QStringLiteral("😀x"), true);
    row("smallint edges", dtSmallInt, 0, -32768, true);
    row("smallint text", dtSmallInt, 0, "32767", true);
    row("word", dtWord, 0, 65535, true);
    row("integer", dtInteger, 0, qlonglong(INT_MIN), true);
    row("largeint", dtLargeInt, 0, std::numeric_limits<qlonglong>::max(), true);
    row("float", dtFloat, 0, 1.2345678901, true);
    row("float precision", dtFloat, 4, 1234.5678, true);
    row("float whole", dtFloat, 0, 3, true);
    row("float nan", dtFloat, 0, std::nan(""), false); // refused by the conversion
    row("float infinity", dtFloat, 0, HUGE_VAL, false);
    row("boolean", dtBoolean, 0, true, true);
    row("boolean text", dtBoolean, 0, "no", true);
    row("date", dtDate, 0, QDate(2024, 2, 29), true);
    row("date text", dtDate, 0, "2000-01-02", true);
    row("date first", dtDate, 0, QDate(1, 1, 1), true);
    row("date last", dtDate, 0, QDate(9999, 12, 31), true);
    row("date after 9999", dtDate, 0, QDate(10000, 1, 1), false);
    row("date before year 1", dtDate, 0, QDate(-44, 3, 15), false);
    row("time", dtTime, 0, QTime(23, 59, 59, 999), true);
    row("time text", dtTime, 0, "08:30", true);
    row("time hh:mm", dtTime, 2, QTime(1, 2, 3, 450), true);
    row("time hh:mm:ss.zzz", dtTime, 4, QTime(1, 2, 3, 450), true);
    row("datetime", dtDateTime, 0, QDateTime(QDate(2020, 1, 1), QTime(0, 0, 1), Qt::UTC), true);
    row("datetime ms", dtDateTime, 0, QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59, 500), Qt::UTC), true);
    row("datetime text", dtDateTime, 0, "2020-01-01 10:00:00", true);
    row("datetime after 9999", dtDateTime, 0, QDateTime(QDate(12000, 1, 1), QTime(1, 0), Qt::UTC), false);
    row("enum", dtEnum, 0, "Green", true, "Red,Green");
    row("enum by number", dtEnum, 0, "0", true, "Red,Green");
    row("memo", dtMemo, 0, "any length at all", true);
    row("blob", dtBlob, 0, QByteArray("\x00\x01", 2), true);
}

void TstStoredChecks::certainValuesMeetTheTablesChecks() {
    QFETCH(int, type);
    QFETCH(int, size);
    QFETCH(QString, spec);
    QFETCH(QVariant, value);
    QFETCH(bool, certain);
    OstColumnMeta col;
    col.name = QStringLiteral("Val ue");
    col.type = type;
    col.spec = spec;
    if (type == dtFloat || type == dtTime) col.precision = size;
    else col.size = size;
    OstTableMeta meta;
    meta.name = QStringLiteral("T");
    meta.columns << col;

    QString error;
    const QVariant stored = OstToStorage(value, col, error);
    const bool meets = error.isEmpty() && OstStoredMeetsColumnCheck(stored, col);
    QCOMPARE(meets, certain);

    // The table's own verdict on the stored value, with its checks and affinity.
    QTemporaryDir dir;
    OstConnection c(dir.path(), false, false);
    c.Exec(OstCreateTableSql(meta, QStringLiteral("main"), QStringLiteral("t")));
    OstStmt insert(c.Db(), QStringLiteral("INSERT INTO main.t VALUES (?1)"));
    OstBindValue(insert.Handle(), 1, stored);
    const bool taken = sqlite3_step(insert.Handle()) == SQLITE_DONE;
    if (meets) QVERIFY2(taken, qPrintable(QStringLiteral("certain, but the table refuses %1").arg(stored.toString())));
}

QTEST_GUILESS_MAIN(TstStoredChecks)
#include "tst_storedchecks.moc"
