// Collations on a live SQLite connection: ordering and equality by locale and
// suffix, unique keys, unknown names, canonical spelling and ICU's locale list.
#include "engine/store/ostcollation.h"
#include "engine/ostdefs.h"
#include "engine/ostengine.h"
#include "engine/ostfielddef.h"
#include "engine/base/tcomponent.h"
#include "engine/base/tdefs.h"

#include <QDir>
#include <QPointer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sqlite3.h>

namespace {

// A connection (in memory unless a file is named) with the engine's collations installed.
class Db {
public:
    explicit Db(const QString& path = QStringLiteral(":memory:")) {
        if (sqlite3_open(path.toUtf8().constData(), &m_db) != SQLITE_OK) qFatal("cannot open a database");
        OstRegisterCollations(m_db);
    }
    ~Db() { sqlite3_close(m_db); }
    sqlite3* handle() const { return m_db; }

    // Runs SQL; returns the SQLite result code and leaves the message in lastError.
    int exec(const QString& sql) {
        char* err = nullptr;
        const int rc = sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &err);
        lastError = err ? QString::fromUtf8(err) : QString();
        sqlite3_free(err);
        return rc;
    }

    // -1, 0 or 1 as the collation orders a and b; 99 when the statement cannot be prepared.
    int compare(const QString& collation, const QString& a, const QString& b) {
        const QString sql =
            QStringLiteral("SELECT ?1 = ?2 COLLATE \"%1\", ?1 < ?2 COLLATE \"%1\"").arg(collation);
        sqlite3_stmt* st = nullptr;
        if (sqlite3_prepare_v2(m_db, sql.toUtf8().constData(), -1, &st, nullptr) != SQLITE_OK) {
            lastError = QString::fromUtf8(sqlite3_errmsg(m_db));
            return 99;
        }
        const QByteArray ua = a.toUtf8(), ub = b.toUtf8();
        sqlite3_bind_text(st, 1, ua.constData(), ua.size(), SQLITE_TRANSIENT);
        sqlite3_bind_text(st, 2, ub.constData(), ub.size(), SQLITE_TRANSIENT);
        int result = 99;
        if (sqlite3_step(st) == SQLITE_ROW)
            result = sqlite3_column_int(st, 0) ? 0 : (sqlite3_column_int(st, 1) ? -1 : 1);
        sqlite3_finalize(st);
        return result;
    }

    QStringList column(const QString& sql) {
        QStringList out;
        sqlite3_stmt* st = nullptr;
        if (sqlite3_prepare_v2(m_db, sql.toUtf8().constData(), -1, &st, nullptr) != SQLITE_OK) {
            lastError = QString::fromUtf8(sqlite3_errmsg(m_db));
            return out;
        }
        while (sqlite3_step(st) == SQLITE_ROW)
            out << QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
        sqlite3_finalize(st);
        return out;
    }

    QString lastError;

private:
    sqlite3* m_db = nullptr;
};

} // namespace

class TestCollation : public QObject {
    Q_OBJECT
private slots:
    void collationOrder_data();
    void collationOrder();
    void collationInTables();
    void unknownCollation_data();
    void unknownCollation();
    void collationNames_data();
    void collationNames();
    void icuLocales();
// ---- collations
};

void TestCollation::collationOrder_data() {
    QTest::addColumn<QString>("collation");
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("expected");

    QTest::newRow("Ostra equal") << "Ostra"
                                 << "abc"
                                 << "abc" << 0;
    QTest::newRow("Ostra upper first") << "Ostra"
                                       << "B"
                                       << "a" << -1;
    QTest::newRow("Ostra prefix first") << "Ostra"
                                        << "ab"
                                        << "abc" << -1;
    QTest::newRow("Ostra code points") << "Ostra"
                                       << "z" << QString::fromUtf8("ä") << -1;
    QTest::newRow("Ostra beyond BMP")
        << "Ostra" << QString::fromUtf8("\uFFFD") << QString::fromUtf8("😀") << -1;
    QTest::newRow("Ostra no folding") << "OSTRA"
                                      << "abc"
                                      << "ABC" << 1;

    QTest::newRow("de a<ä") << "de"
                            << "a" << QString::fromUtf8("ä") << -1;
    QTest::newRow("de ä<z") << "de" << QString::fromUtf8("ä") << "z" << -1;
    QTest::newRow("de_DE ä<b") << "de_DE" << QString::fromUtf8("ä") << "b" << -1;
    QTest::newRow("sv z<ä") << "sv"
                            << "z" << QString::fromUtf8("ä") << -1;
    QTest::newRow("de case matters") << "de"
                                     << "abc"
                                     << "ABC" << -1;
    QTest::newRow("de composed = decomposed")
        << "de" << QString::fromUtf8("\u00e9") << QString::fromUtf8("e\u0301") << 0;
    QTest::newRow("de ß vs ss tertiary") << "de" << QString::fromUtf8("Straße") << "Strasse" << 1;

    QTest::newRow("ci equal") << "de_DE_ci"
                              << "abc"
                              << "ABC" << 0;
    QTest::newRow("ci ß vs SS secondary") << "de_DE_ci" << QString::fromUtf8("Straße") << "STRASSE" << 1;
    QTest::newRow("ci keeps accents") << "de_DE_ci"
                                      << "e" << QString::fromUtf8("é") << -1;
    QTest::newRow("ci_as keeps accents") << "de_ci_as"
                                         << "E" << QString::fromUtf8("é") << -1;
    QTest::newRow("ci still orders") << "de_ci"
                                     << "Apfel"
                                     << "birne" << -1;

    QTest::newRow("ci_ai accent") << "de_DE_ci_ai" << QString::fromUtf8("é") << "E" << 0;
    QTest::newRow("ci_ai ß = SS") << "de_DE_ci_ai" << QString::fromUtf8("Straße") << "STRASSE" << 0;
    QTest::newRow("ci_ai umlaut") << "de_ci_ai" << QString::fromUtf8("MÜLLER") << "muller" << 0;
    QTest::newRow("suffixes any case") << "DE_de_CI_AI" << QString::fromUtf8("é") << "E" << 0;

    QTest::newRow("ai accent") << "de_ai" << QString::fromUtf8("é") << "e" << 0;
    QTest::newRow("ai keeps case") << "de_ai" << QString::fromUtf8("É") << "e" << 1;
    QTest::newRow("cs_ai accent") << "de_cs_ai" << QString::fromUtf8("café") << "cafe" << 0;
    QTest::newRow("cs_ai keeps case") << "de_cs_ai"
                                      << "Cafe"
                                      << "cafe" << 1;

    QTest::newRow("cs_as = no suffix") << "de_cs_as"
                                       << "abc"
                                       << "ABC" << -1;
    QTest::newRow("Czech locale named cs") << "cs"
                                           << "h"
                                           << "ch" << -1;
    QTest::newRow("Czech case-insensitive") << "cs_ci"
                                            << "CH"
                                            << "ch" << 0;
    QTest::newRow("locale with script") << "zh_Hant_TW_ci"
                                        << "abc"
                                        << "ABC" << 0;
}

void TestCollation::collationOrder() {
    QFETCH(QString, collation);
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(int, expected);
    Db db;
    const int r = db.compare(collation, a, b);
    QVERIFY2(r != 99, qPrintable(db.lastError));
    QCOMPARE(r, expected);
    QCOMPARE(db.compare(collation, b, a), -expected);
}

void TestCollation::collationInTables() {
    Db db;
    QCOMPARE(db.exec("CREATE TABLE t(name TEXT COLLATE de_DE_ci)"), SQLITE_OK);
    QCOMPARE(db.exec("CREATE UNIQUE INDEX t_name ON t(name)"), SQLITE_OK);
    QCOMPARE(db.exec("INSERT INTO t VALUES('abc')"), SQLITE_OK);
    QCOMPARE(db.exec("INSERT INTO t VALUES('ABC')"), SQLITE_CONSTRAINT);
    QVERIFY2(db.lastError.contains("UNIQUE"), qPrintable(db.lastError));
    QCOMPARE(db.exec(QString::fromUtf8("INSERT INTO t VALUES('äbc')")), SQLITE_OK); // accents still count
    QCOMPARE(db.column("SELECT count(*) FROM t WHERE name = 'AbC'"), QStringList{"1"});

    // Locale order in ORDER BY and an index; code point order with Ostra.
    const QStringList words = {"zebra", QString::fromUtf8("Äpfel"), "apfel", "Birne",
                               QString::fromUtf8("über")};
    QCOMPARE(db.exec("CREATE TABLE w(v TEXT)"), SQLITE_OK);
    for (const QString& w : words)
        QCOMPARE(db.exec(QStringLiteral("INSERT INTO w VALUES('%1')").arg(w)), SQLITE_OK);
    QCOMPARE(db.column("SELECT v FROM w ORDER BY v COLLATE de"),
             (QStringList{"apfel", QString::fromUtf8("Äpfel"), "Birne", QString::fromUtf8("über"), "zebra"}));
    QCOMPARE(db.column("SELECT v FROM w ORDER BY v COLLATE Ostra"),
             (QStringList{"Birne", "apfel", "zebra", QString::fromUtf8("Äpfel"), QString::fromUtf8("über")}));
    QCOMPARE(db.exec("CREATE INDEX w_v ON w(v COLLATE sv_ci_ai)"), SQLITE_OK);
    QCOMPARE(db.column("SELECT v FROM w ORDER BY v COLLATE sv_ci_ai"),
             (QStringList{"apfel", "Birne", QString::fromUtf8("über"), "zebra", QString::fromUtf8("Äpfel")}));

    // A second connection creates its own collators; closing both must not double-free.
    Db other;
    QCOMPARE(other.compare("de_ci", "x", "X"), 0);

    // A stored schema names its collation; a new connection creates it on first use.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString file = dir.filePath("c.db");
    {
        Db writer(file);
        QCOMPARE(writer.exec("CREATE TABLE t(v TEXT COLLATE fr_CA_ci_ai PRIMARY KEY)"), SQLITE_OK);
        QCOMPARE(writer.exec(QString::fromUtf8("INSERT INTO t VALUES('Élan')")), SQLITE_OK);
    }
    Db reader(file);
    QCOMPARE(reader.column("SELECT count(*) FROM t WHERE v = 'ELAN'"), QStringList{"1"});
    QCOMPARE(reader.exec("INSERT INTO t VALUES('elan')"), SQLITE_CONSTRAINT);
}

void TestCollation::unknownCollation_data() {
    QTest::addColumn<QString>("collation");
    QTest::newRow("unknown locale") << "xx_YY_ci_ai";
    QTest::newRow("unknown language") << "tlh";
    QTest::newRow("suffixes swapped") << "de_ai_ci";
    QTest::newRow("suffix twice") << "de_ci_ci";
    QTest::newRow("bad suffix") << "de_DE_cx";
    QTest::newRow("suffix only") << "_ci";
    QTest::newRow("Ostra with suffix") << "Ostra_ci";
}

void TestCollation::unknownCollation() {
    QFETCH(QString, collation);
    Db db;
    QCOMPARE(db.exec(QStringLiteral("CREATE TABLE t(v TEXT COLLATE \"%1\")").arg(collation)), SQLITE_ERROR);
    QVERIFY2(db.lastError.contains("no such collation sequence"), qPrintable(db.lastError));
    QCOMPARE(db.compare(collation, "a", "b"), 99);
    QVERIFY(db.lastError.contains("no such collation sequence"));
    QString error;
    QVERIFY(!OstIsValidCollationName(collation, &error));
    QVERIFY2(error.contains(QLatin1Char('"') + collation + QLatin1Char('"')), qPrintable(error));
}

void TestCollation::collationNames_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("canonical");

    QTest::newRow("empty") << "" << true << "Ostra";
    QTest::newRow("Ostra any case") << "oSTRa" << true << "Ostra";
    QTest::newRow("locale and suffixes") << "de_de_CI_AI" << true << "de_DE_ci_ai";
    QTest::newRow("no suffix added") << "DE_de" << true << "de_DE";
    QTest::newRow("language only") << "De" << true << "de";
    QTest::newRow("accent suffix only") << "fr_ca_AI" << true << "fr_CA_ai";
    QTest::newRow("explicit sensitive") << "en_us_CS_AS" << true << "en_US_cs_as";
    QTest::newRow("script and region") << "zh_hant_tw_Ci" << true << "zh_Hant_TW_ci";
    QTest::newRow("variant") << "en_us_posix" << true << "en_US_POSIX";
    QTest::newRow("Czech") << "CS" << true << "cs";
    QTest::newRow("Czech case-sensitive") << "cs_cs" << true << "cs_cs";
    QTest::newRow("unknown kept") << "xx_YY_ci_ai" << false << "xx_YY_ci_ai";
    QTest::newRow("region not in ICU") << "de_XX" << false << "de_XX";
    QTest::newRow("blank inside") << "de DE" << false << "de DE";
}

void TestCollation::collationNames() {
    QFETCH(QString, name);
    QFETCH(bool, valid);
    QFETCH(QString, canonical);
    QString error;
    QCOMPARE(OstIsValidCollationName(name, &error), valid);
    QCOMPARE(error.isEmpty(), valid);
    QCOMPARE(OstIsValidCollationName(name), valid);
    QCOMPARE(OstCanonicalCollation(name), canonical);
    if (valid) QCOMPARE(OstCanonicalCollation(canonical), canonical);

    QString msg;
    QVERIFY(!OstIsValidCollationName("xx_YY_ci_ai", &msg));
    QCOMPARE(msg, QStringLiteral(
                      "Unknown collation \"xx_YY_ci_ai\": \"xx_YY\" is not a locale known to the engine"));
}

void TestCollation::icuLocales() {
    const QStringList names = OstIcuLocaleNames();
    QVERIFY(names.size() > 50);
    QStringList sorted = names;
    sorted.sort();
    sorted.removeDuplicates();
    QCOMPARE(names, sorted);
    for (const char* must : {"de", "sv", "zh_Hant_TW", "en_US"})
        QVERIFY2(names.contains(must), must);
    QStringList viaUtils{"stale"};
    GetLocaleNames(viaUtils);
    QCOMPARE(viaUtils, names);

    // Every listed locale works, with any suffixes, on a connection. (The
    // POSIX variant orders by case at the primary level, so a and A differ.)
    Db db;
    for (const QString& n : names) {
        const QString full = n + QStringLiteral("_ci_ai");
        QVERIFY2(OstIsValidCollationName(full), qPrintable(full));
        QCOMPARE(OstCanonicalCollation(full.toUpper()), full);
        const int expected = n == QLatin1String("en_US_POSIX") ? -1 : 0;
        QVERIFY2(db.compare(full, "A", "a") == expected, qPrintable(full));
    }

    const QString version = OstIcuCollatorVersion();
    QVERIFY2(QRegularExpression("^\\d+(\\.\\d+){1,3}$").match(version).hasMatch(), qPrintable(version));
}

// ---- names and lists

QTEST_GUILESS_MAIN(TestCollation)
#include "tst_collation.moc"
