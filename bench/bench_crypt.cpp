// Encryption benchmark: bulk insert and full scan of one table of a directory
// database under every encryption method, against the same table unencrypted.
//
//   bench_crypt [DIR] [--rows=N] [--runs=N]
//
// DIR holds the database files (a temporary directory when omitted). Each run
// of each method starts from a new database: the table (Name dtString 100,
// Qty dtInteger, Note dtMemo) is made with TOstTable::CreateTable and filled
// by one TOstQuery::ExecSQL of a WITH RECURSIVE ... INSERT ... SELECT (about
// 150 bytes a row). Then the connection is closed, and a new session scans
// every row with one aggregate query; SQLite's page cache
// is empty then, so every page is read and decrypted, while the file itself
// is in the OS cache: the scan measures the engine and the cipher, not the
// disk. Figures are medians over the runs; MB/s relate to the file's size.
// "kdf ms" is the key derivation from the password (scrypt), which opening an
// encrypted file costs once per process.
#include "engine/crypt/ostcrypt.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n == 0 ? 0 : n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

struct Figures {
    std::vector<double> insertSec, openMs, scanSec, fileMb;
};

void RunOnce(const QString& dir, int method, int rows, Figures& out) {
    static int counter = 0;
    const QString name = QStringLiteral("BenchCrypt%1").arg(++counter);
    const QString password = method == emClassic ? QStringLiteral("bench;pass;42") : QStringLiteral("bench-pass");
    QDir(dir).removeRecursively();
    TOstDatabase db(nullptr);
    db.SetDatabaseName(name);
    db.SetLocation(dir);
    db.CreateDatabase();
    {
        TOstTable t(nullptr);
        t.SetDatabaseName(name);
        t.SetTableName(QStringLiteral("T"));
        t.SetEncryptionMethod(method);
        t.SetEncryptionPassword(OstCrypt::Encrypts(method) ? password : QString());
        t.GetFieldDefsOst().Add(QStringLiteral("Name"), dtString, 100);
        t.GetFieldDefsOst().Add(QStringLiteral("Qty"), dtInteger, 0);
        t.GetFieldDefsOst().Add(QStringLiteral("Note"), dtMemo, 0);
        t.CreateTable();

        TOstQuery q(nullptr);
        q.SetDatabaseName(name);
        q.SetSQL(QStringLiteral("INSERT INTO T(Name, Qty, Note) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 "
                                "FROM n WHERE i < %1) SELECT 'Customer ' || i || ' of region ' || (i % 97), i, "
                                "'Note ' || hex(randomblob(40)) FROM n").arg(rows));
        QElapsedTimer timer;
        timer.start();
        q.ExecSQL();
        out.insertSec.push_back(timer.nsecsElapsed() / 1e9);
    }
    db.Close();
    out.fileMb.push_back(QFileInfo(QDir(dir).filePath(QStringLiteral("T.dat"))).size() / 1e6);

    // What opening costs in a new process: the key derivation, which within a
    // process happens once per file and password.
    QElapsedTimer timer;
    if (OstCrypt::Encrypts(method)) {
        QByteArray secret;
        QString error;
        OstCrypt::SecretFor(method, password, secret, error);
        timer.start();
        OstCrypt::DeriveKeys(method, OstCrypt::NewSalt(), secret);
        out.openMs.push_back(timer.nsecsElapsed() / 1e6);
    }
    db.SetPassword(password); // unlocks the table for the queries
    TOstQuery q(nullptr);
    q.SetDatabaseName(name);
    q.SetSQL(QStringLiteral("SELECT count(*), sum(length(Name)), sum(Qty), sum(length(Note)) FROM T"));
    timer.restart();
    q.Open();
    out.scanSec.push_back(timer.nsecsElapsed() / 1e9);
    if (q.Fields()[0]->AsInteger() != rows) std::fprintf(stderr, "bench_crypt: wrong row count\n");
    q.Close();
    db.Close();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int rows = 200000, runs = 3;
    QString dir;
    for (const QString& a : app.arguments().mid(1)) {
        if (a.startsWith(QStringLiteral("--rows="))) rows = a.mid(7).toInt();
        else if (a.startsWith(QStringLiteral("--runs="))) runs = a.mid(7).toInt();
        else if (a.startsWith(QStringLiteral("--"))) {
            std::fprintf(stderr, "usage: bench_crypt [DIR] [--rows=N] [--runs=N]\n");
            return 2;
        } else dir = a;
    }
    if (rows < 1 || runs < 1) return 2;
    QTemporaryDir tmp;
    if (dir.isEmpty()) dir = tmp.path();
    const QString dbDir = QDir(dir).filePath(QStringLiteral("crypt-bench"));

    std::printf("bench_crypt: %d rows, %d runs, medians\n\n", rows, runs);
    std::printf("%-14s %12s %10s %9s %10s %9s %9s\n", "method", "insert r/s", "insert MB/s", "kdf ms", "scan MB/s",
                "file MB", "scan x");
    double plainScan = 0;
    for (int method : {int(emNone), int(emProtection), int(emClassic), int(emFastEncrypt), int(emBlowfish), int(emRijndael)}) {
        QString why;
        if (!OstCrypt::Available(method, &why)) {
            std::printf("%-14s %s\n", qPrintable(OstCrypt::MethodName(method)), qPrintable(why));
            continue;
        }
        Figures f;
        try {
            for (int r = 0; r < runs; ++r) RunOnce(dbDir, method, rows, f);
        } catch (const Exception& e) {
            std::fprintf(stderr, "bench_crypt: %s\n", qPrintable(e.Message()));
            return 1;
        }
        const double mb = Median(f.fileMb), insert = Median(f.insertSec), scan = Median(f.scanSec);
        if (method == emNone) plainScan = scan;
        std::printf("%-14s %12.0f %10.1f %9.1f %10.1f %9.1f %9.2f\n", qPrintable(OstCrypt::MethodName(method)),
                    rows / insert, mb / insert, Median(f.openMs), mb / scan, mb, plainScan > 0 ? scan / plainScan : 0.0);
    }
    QDir(dbDir).removeRecursively();
    return 0;
}
