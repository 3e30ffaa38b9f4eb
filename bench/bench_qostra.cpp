// QOSTRA read benchmark: 1,000,000 rows read through QSqlQuery on the QOSTRA
// driver against Qt's own QSQLITE driver on a plain SQLite copy of the same
// table, in the same run.
//
//   bench_qostra [DIR] [--rows=N] [--runs=N]
//
// DIR holds the files (a temporary directory when omitted). The table has 8
// columns (Id dtInteger with a primary index, Name dtString 40, City dtString
// 30, Qty dtInteger, Price dtFloat, Day dtDate, Note dtMemo, Flag dtBoolean)
// in a single-file database; the copy is made with CREATE TABLE ... AS SELECT
// in a plain SQLite file. Each run reads "SELECT * FROM Items" forward-only,
// every value of every row through QSqlQuery::value, the sides taking turns.
// The target: QOSTRA's speed at least 0.9 times QSQLITE's, i.e. QSQLITE time /
// QOSTRA time >= 0.90 (medians).
#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

double ReadAll(const QString& connection, qint64& checksum) {
    QSqlDatabase db = QSqlDatabase::database(connection);
    QElapsedTimer timer;
    timer.start();
    QSqlQuery q(db);
    q.setForwardOnly(true);
    if (!q.exec(QStringLiteral("SELECT * FROM Items"))) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(connection), qPrintable(q.lastError().text()));
        std::exit(1);
    }
    qint64 sum = 0;
    while (q.next()) {
        sum += q.value(0).toLongLong();
        for (int i = 1; i < 8; ++i) sum += q.value(i).isNull() ? 0 : 1;
    }
    checksum = sum;
    return timer.nsecsElapsed() / 1e9;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::addLibraryPath(QStringLiteral(OSTRA_PLUGIN_DIR));
    QString dirArg;
    int rows = 1000000, runs = 5;
    for (const QString& a : app.arguments().mid(1)) {
        if (a.startsWith(QLatin1String("--rows="))) rows = a.mid(7).toInt();
        else if (a.startsWith(QLatin1String("--runs="))) runs = a.mid(7).toInt();
        else dirArg = a;
    }
    QTemporaryDir tmp;
    const QString dir = dirArg.isEmpty() ? tmp.path() : dirArg;
    const QString location = dir + QStringLiteral("/qostra-bench.ostd");
    const QString plain = dir + QStringLiteral("/qostra-bench-plain.db");
    QFile::remove(location);
    QFile::remove(plain);

    std::printf("Making %d rows...\n", rows);
    {
        TOstDatabase db;
        db.SetDatabaseName(QStringLiteral("Bench"));
        db.SetDatabaseType(dbtSingleFile);
        db.SetLocation(location);
        db.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(QStringLiteral("Bench"));
        t.SetTableName(QStringLiteral("Items"));
        auto add = [&](const char* name, int type, int size = 0) { t.GetFieldDefsOst().Add(QString::fromLatin1(name), type, size); };
        add("Id", dtInteger); add("Name", dtString, 40); add("City", dtString, 30); add("Qty", dtInteger);
        add("Price", dtFloat); add("Day", dtDate); add("Note", dtMemo); add("Flag", dtBoolean);
        t.IndexDefs().Add(QStringLiteral("ByPrimary"), QStringLiteral("Id"), ixPrimary | ixUnique);
        t.CreateTable();
        TOstQuery fill;
        fill.SetDatabaseName(QStringLiteral("Bench"));
        fill.SetSQL(QStringLiteral(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
            "INSERT INTO Items(Id, Name, City, Qty, Price, Day, Note, Flag) "
            "SELECT i, 'Customer ' || i, 'City ' || (i % 500), i % 1000, (i % 10000) / 100.0, "
            "date('2020-01-01', '+' || (i % 1500) || ' days'), 'A note about order ' || i, i % 2 FROM n").arg(rows));
        fill.ExecSQL();
    }
    {
        sqlite3* db = nullptr;
        sqlite3_open(QFile::encodeName(plain).constData(), &db);
        const QByteArray sql = QStringLiteral("ATTACH '%1' AS src; CREATE TABLE Items AS SELECT * FROM src.Items; DETACH src;")
                                   .arg(QString(location).replace(u'\'', QStringLiteral("''"))).toUtf8();
        char* err = nullptr;
        if (sqlite3_exec(db, sql.constData(), nullptr, nullptr, &err) != SQLITE_OK) {
            std::fprintf(stderr, "plain copy: %s\n", err);
            return 1;
        }
        sqlite3_close(db);
    }

    QSqlDatabase ostra = QSqlDatabase::addDatabase(QStringLiteral("QOSTRA"), QStringLiteral("ostra"));
    ostra.setDatabaseName(location);
    QSqlDatabase sqlite = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("sqlite"));
    sqlite.setDatabaseName(plain);
    if (!ostra.open() || !sqlite.open()) {
        std::fprintf(stderr, "open: %s %s\n", qPrintable(ostra.lastError().text()), qPrintable(sqlite.lastError().text()));
        return 1;
    }
    std::vector<double> tOstra, tSqlite;
    qint64 sumOstra = 0, sumSqlite = 0;
    for (int r = 0; r < runs; ++r) {
        // Alternating, the first side rotating.
        if (r % 2 == 0) {
            tOstra.push_back(ReadAll(QStringLiteral("ostra"), sumOstra));
            tSqlite.push_back(ReadAll(QStringLiteral("sqlite"), sumSqlite));
        } else {
            tSqlite.push_back(ReadAll(QStringLiteral("sqlite"), sumSqlite));
            tOstra.push_back(ReadAll(QStringLiteral("ostra"), sumOstra));
        }
        std::printf("run %d: QOSTRA %.3f s, QSQLITE %.3f s\n", r + 1, tOstra.back(), tSqlite.back());
    }
    if (sumOstra != sumSqlite) {
        std::fprintf(stderr, "the two drivers read different rows (%lld, %lld)\n", static_cast<long long>(sumOstra),
                     static_cast<long long>(sumSqlite));
        return 1;
    }
    const double o = Median(tOstra), s = Median(tSqlite);
    std::printf("median: QOSTRA %.3f s (%.0f rows/s), QSQLITE %.3f s; speed ratio QSQLITE/QOSTRA %.2f (target >= 0.90)\n",
                o, rows / o, s, s / o);
    return 0;
}
