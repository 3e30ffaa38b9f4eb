// Dates written in filters and check conditions are read in the application's
// locale, two-digit years land within 50 years of today, and stored check
// conditions read the same when the table moves to a machine with another locale.
#include "engine/engine_helper.h"

#include "engine/filter/ostfilter.h"

#include <QLocale>

class TstDateLocales : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { QLocale::setDefault(QLocale::c()); }
    void literals_data();
    void literals();
    void checkMovesBetweenLocales_data() { OST_DATA_LAYOUTS() }
    void checkMovesBetweenLocales();
    void postedTextUnderLocales();
};

void TstDateLocales::literals_data() {
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("sql"); // empty: not a value of the type
    const int now = QDate::currentDate().year();
    const QString soon = QStringLiteral("%1").arg((now + 10) % 100, 2, 10, QLatin1Char('0'));
    const QString longAgo = QStringLiteral("%1").arg((now - 60 + 1000) % 100, 2, 10, QLatin1Char('0'));
    auto row = [](const char* name, const char* locale, const QString& text, int type, const QString& sql) {
        QTest::newRow(name) << QString::fromLatin1(locale) << text << type << sql;
    };
    row("de two-digit year", "de_DE", "01.05.24", dtDate, "'2024-05-01'");
    row("de four-digit year", "de_DE", "01.05.2024", dtDate, "'2024-05-01'");
    row("de without zeros", "de_DE", "1.5.2024", dtDate, "'2024-05-01'");
    row("de no such day", "de_DE", "31.02.24", dtDate, "");
    row("de date and time", "de_DE", "01.05.24 13:30", dtDateTime, "'2024-05-01T13:30:00.000'");
    row("en two-digit year", "en_US", "5/1/24", dtDate, "'2024-05-01'");
    row("en four-digit year", "en_US", "05/01/2024", dtDate, "'2024-05-01'");
    row("en date and time", "en_US", "5/1/24 1:30 PM", dtDateTime, "'2024-05-01T13:30:00.000'");
    row("en dots are month first", "en_US", "01.05.2024", dtDate, "'2024-01-05'");
    row("fr four-digit year", "fr_FR", "01/05/2024", dtDate, "'2024-05-01'");
    row("fr two-digit year", "fr_FR", "01/05/24", dtDate, "'2024-05-01'");
    row("C iso", "C", "2024-05-01", dtDate, "'2024-05-01'");
    row("C dots are month first", "C", "01.05.2024", dtDate, "'2024-01-05'");
    row("de iso wins", "de_DE", "2024-05-01", dtDate, "'2024-05-01'");
    // Two-digit years within 50 years of today, either way.
    row("year ahead", "de_DE", "01.05." + soon, dtDate, QStringLiteral("'%1-05-01'").arg(now + 10));
    row("year long ago", "de_DE", "01.05." + longAgo, dtDate, QStringLiteral("'%1-05-01'").arg(now + 40));
}

void TstDateLocales::literals() {
    QFETCH(QString, locale);
    QFETCH(QString, text);
    QFETCH(int, type);
    QFETCH(QString, sql);
    QLocale::setDefault(QLocale(locale));
    QString out;
    const bool ok = OstFilterLiteralToSql(text, type, out);
    QCOMPARE(ok ? out : QString(), sql);
}

// A check written under a German locale restructures and filters under others.
void TstDateLocales::checkMovesBetweenLocales() {
    QFETCH(bool, singleFile);
    TestDb tdb(singleFile);
    QLocale::setDefault(QLocale(QStringLiteral("de_DE")));
    {
        auto t = tdb.Table(QStringLiteral("People"));
        AddColumn(*t, "Name", dtString, 20);
        AddColumn(*t, "Born", dtDate);
        TCheckConstraint* ck = t->CheckConstraints().Add();
        ck->ImportedConstraint = QStringLiteral("Born >= '01.05.24'");
        ck->ErrorMessage = QStringLiteral("Born too early");
        t->CreateTable();
    }
    for (const char* locale : {"en_US", "C", "fr_FR"}) {
        QLocale::setDefault(QLocale(QString::fromLatin1(locale)));
        auto t = tdb.Table(QStringLiteral("People"));
        t->ReadDefinitions();
        QCOMPARE(t->CheckConstraints().Count(), 1);
        AddColumn(*t, QStringLiteral("Extra_") + QString::fromLatin1(locale), dtInteger);
        t->AlterTable();
    }
    QLocale::setDefault(QLocale(QStringLiteral("en_US")));
    auto t = tdb.Table(QStringLiteral("People"));
    t->Open();
    const EOstraError e = Raised([&] { t->AppendRecord({"early", QDate(2024, 4, 30)}); });
    t->Cancel();
    QCOMPARE(e.Message(), QStringLiteral("Born too early"));
    t->AppendRecord({"in time", QDate(2024, 5, 1)});
    t->AppendRecord({"later", QDate(2024, 5, 2)});
    t->SetFilter(QStringLiteral("Born > '5/1/24'"));
    t->SetFiltered(true);
    QCOMPARE(t->RecordCount(), 1);
    QCOMPARE(t->FieldByName("Name")->AsString(), QStringLiteral("later"));
}

// Text posted into date columns is read the same way.
void TstDateLocales::postedTextUnderLocales() {
    TestDb tdb(false);
    auto t = tdb.Table(QStringLiteral("Days"));
    AddColumn(*t, "Day", dtDate);
    AddColumn(*t, "Stamp", dtDateTime);
    t->CreateTable();
    t->Open();
    QLocale::setDefault(QLocale(QStringLiteral("de_DE")));
    t->AppendRecord({"01.05.24", "01.05.2024 13:30"});
    QLocale::setDefault(QLocale(QStringLiteral("en_US")));
    t->AppendRecord({"5/1/24", "2024-05-01T13:30:00"});
    t->Close();
    QCOMPARE(tdb.Scalar("SELECT count(*) FROM Days WHERE Day = '2024-05-01' AND Stamp LIKE '2024-05-01T13:30%'").toInt(), 2);
}

QTEST_GUILESS_MAIN(TstDateLocales)
#include "tst_datelocales.moc"
