// Batch move benchmark: TOstBatchMove copying a large table into another
// table of the same database, and into a table of a second database, each
// against a plain SQLite INSERT INTO ... SELECT of the same rows into a table
// of the same definition (over an attached file for the second), in the same run.
//
//   bench_batchmove [DIR] [--rows=N] [--runs=N] [--directory]
//
// DIR holds the database (a temporary directory when omitted); --directory
// uses a directory database (one file per table) instead of one ".ostd" file.
// The source has 8 columns (ID dtAutoInc, Name dtString 40, City dtString 30,
// Qty dtInteger, Price dtFloat, Day dtDate, Note dtMemo, Flag dtBoolean) and a
// primary index on ID; both destinations are made by CreateTable with the
// same definition, so the plain statement is held to the same stored rules.
//   engine  TOstBatchMove, batCopy, columns mapped by name.
//   plain   its own sqlite3 connection: BEGIN; INSERT INTO Plain(...) SELECT
//           ... FROM Src; COMMIT (the table files attached in a directory
//           database).
//   between the same, from Src of the first database into Engine of a second
//           one of the same layout; the plain side opens the second one's
//           file and ATTACHes the first one's.
// Each run empties both destinations first (untimed) and the sides take turns,
// the first one rotating. The target, for both: the engine's speed at least
// 0.8 times the plain statement's, i.e. plain time / engine time >= 0.80.
#include "engine/ostbatchmove.h"
#include "engine/store/ostcollation.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <sqlite3.h>
#include <ctime>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace {

double CpuNow() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

struct Timing {
    double wall = 0, cpu = 0;
};

template <class F> Timing Time(F&& f) {
    QElapsedTimer wall;
    wall.start();
    const double cpu = CpuNow();
    f();
    return {wall.nsecsElapsed() / 1e9, CpuNow() - cpu};
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

const char* const kColumns = "ID, Name, City, Qty, Price, Day, Note, Flag";

// Fingerprint of a table's rows.
QString Fingerprint(const QString& db, const QString& table) {
    TOstQuery q(nullptr);
    q.SetDatabaseName(db);
    q.SetSQL(QStringLiteral("SELECT count(*), sum(ID), sum(Qty), sum(length(Name)), sum(length(Note)), sum(Flag), count(Day), "
                            "round(sum(Price), 2) FROM %1").arg(table));
    q.Open();
    QStringList out;
    for (TField* f : q.Fields()) out << f->AsString();
    return out.join(u'|');
}

void CreateTable(const QString& db, const QString& name) {
    TOstTable t(nullptr);
    t.SetDatabaseName(db);
    t.SetTableName(name);
    if (t.Exists()) t.DeleteTable();
    TOstFieldDefs& f = t.GetFieldDefsOst();
    f.Add(QStringLiteral("ID"), dtAutoInc, 0);
    f.Add(QStringLiteral("Name"), dtString, 40);
    f.Add(QStringLiteral("City"), dtString, 30);
    f.Add(QStringLiteral("Qty"), dtInteger, 0);
    f.Add(QStringLiteral("Price"), dtFloat, 0);
    f.Add(QStringLiteral("Day"), dtDate, 0);
    f.Add(QStringLiteral("Note"), dtMemo, 0);
    f.Add(QStringLiteral("Flag"), dtBoolean, 0);
    t.IndexDefs().Add(QStringLiteral("PK"), QStringLiteral("ID"), ixPrimary | ixUnique);
    t.CreateTable();
}

std::unique_ptr<TOstDatabase> MakeDatabase(const QString& name, const QString& location, bool directory) {
    auto db = std::make_unique<TOstDatabase>(nullptr);
    db->SetDatabaseName(name);
    db->SetDatabaseType(directory ? dbtDirectory : dbtSingleFile);
    db->SetLocation(location);
    db->CreateDatabase();
    return db;
}

// The plain side: its own connection on the same files; the source in
// sourceLocation (the destination's database when empty).
class Plain {
public:
    Plain(const QString& location, bool directory, const QString& sourceLocation = QString()) {
        const QString main = directory ? QDir(location).filePath(QStringLiteral("Plain.dat")) : location;
        if (sqlite3_open_v2(QFile::encodeName(main).constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
            throw std::runtime_error("cannot open " + main.toStdString());
        OstRegisterCollations(m_db);
        Exec(QStringLiteral("PRAGMA temp_store=MEMORY"));
        const QString from = sourceLocation.isEmpty() ? location : sourceLocation;
        const bool attach = directory || !sourceLocation.isEmpty();
        if (attach)
            Exec(QStringLiteral("ATTACH '%1' AS src").arg(directory ? QDir(from).filePath(QStringLiteral("Src.dat")) : from));
        m_src = attach ? QStringLiteral("src.Src") : QStringLiteral("Src");
    }
    ~Plain() { sqlite3_close_v2(m_db); }
    void Copy() {
        Exec(QStringLiteral("BEGIN; INSERT INTO Plain(%1) SELECT %1 FROM %2; COMMIT").arg(QLatin1String(kColumns), m_src));
    }

private:
    void Exec(const QString& sql) {
        char* err = nullptr;
        if (sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &err) != SQLITE_OK) {
            const std::string msg = err ? err : sqlite3_errmsg(m_db);
            sqlite3_free(err);
            throw std::runtime_error(msg);
        }
    }
    sqlite3* m_db = nullptr;
    QString m_src;
};

int Run(const QStringList& args) {
    int rows = 1000000, runs = 3;
    bool directory = false;
    QString dir;
    for (const QString& a : args.mid(1)) {
        if (a.startsWith(QStringLiteral("--rows="))) rows = a.mid(7).toInt();
        else if (a.startsWith(QStringLiteral("--runs="))) runs = a.mid(7).toInt();
        else if (a == QStringLiteral("--directory")) directory = true;
        else if (!a.startsWith(QStringLiteral("--"))) dir = a;
        else throw std::runtime_error("unknown option " + a.toStdString());
    }
    if (rows < 1 || runs < 1) throw std::runtime_error("--rows and --runs take positive numbers");
    QTemporaryDir tmp;
    if (dir.isEmpty()) dir = tmp.path();
    const QString location = QDir(dir).filePath(directory ? QStringLiteral("batchmove-db") : QStringLiteral("batchmove.ostd"));
    QFile::remove(location);
    QDir(location).removeRecursively();
    auto db = MakeDatabase(QStringLiteral("BenchMove"), location, directory);
    const QString name = db->GetDatabaseName();
    for (const char* t : {"Src", "Engine", "Plain"}) CreateTable(name, QString::fromLatin1(t));
    TOstQuery fill(nullptr);
    fill.SetDatabaseName(name);
    fill.SetSQL(QStringLiteral(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1)\n"
        "INSERT INTO Src(Name, City, Qty, Price, Day, Note, Flag)\n"
        "SELECT 'Name ' || ((i * 48271) % 2147483647), 'City ' || (i % 509), (i * 7919) % 100000,\n"
        "       ((i * 37) % 100000) / 100.0, date('2000-01-01', '+' || (i % 9000) || ' days'),\n"
        "       'Order note ' || i || ' for customer ' || (i % 7777), i % 2 FROM n").arg(rows));
    fill.ExecSQL();
    const QString expected = Fingerprint(name, QStringLiteral("Src"));
    std::printf("batch move benchmark: %d rows, %d runs, %s database in %s\n", rows, runs,
                directory ? "directory" : "single-file", qPrintable(dir));

    TComponent root;
    auto* src = new TOstTable(&root);
    src->SetName(QStringLiteral("Src"));
    src->SetDatabaseName(name);
    src->SetTableName(QStringLiteral("Src"));
    auto* dst = new TOstTable(&root);
    dst->SetName(QStringLiteral("Dst"));
    dst->SetDatabaseName(name);
    dst->SetTableName(QStringLiteral("Engine"));
    auto* move = new TOstBatchMove(&root);
    move->SetSourceName(QStringLiteral("Src"));
    move->SetDestinationName(QStringLiteral("Dst"));
    move->SetMode(TOstBatchMove::batCopy);

    // Runs both sides of one comparison; true when the target is met.
    auto compare = [&](const char* title, const QString& target, Plain& plain) {
        std::vector<double> engineWall, engineCpu, plainWall, plainCpu;
        std::printf("\n%s\n%-5s %-8s %10s %10s\n", title, "run", "side", "wall s", "cpu s");
        for (int r = 0; r < runs; ++r) {
            TOstQuery empty(nullptr);
            empty.SetDatabaseName(target);
            empty.SetSQL(QStringLiteral("DELETE FROM Engine; DELETE FROM Plain"));
            empty.ExecSQL();
            for (int s = 0; s < 2; ++s) {
                const bool engineSide = (r + s) % 2 == 0;
                const Timing t = engineSide ? Time([&] { move->Execute(); }) : Time([&] { plain.Copy(); });
                (engineSide ? engineWall : plainWall).push_back(t.wall);
                (engineSide ? engineCpu : plainCpu).push_back(t.cpu);
                std::printf("%-5d %-8s %10.3f %10.3f\n", r + 1, engineSide ? "engine" : "plain", t.wall, t.cpu);
            }
            if (!move->UsedFastPath() || move->MovedCount() != rows) throw std::runtime_error("the engine did not copy by statement");
            if (Fingerprint(target, QStringLiteral("Engine")) != expected || Fingerprint(target, QStringLiteral("Plain")) != expected)
                throw std::runtime_error("the copies differ from the source");
        }
        const double ratio = Median(plainWall) / Median(engineWall);
        const double cpuRatio = Median(plainCpu) / Median(engineCpu);
        std::printf("median wall: engine %.3f s (%.0f rows/s), plain %.3f s; cpu: engine %.3f s, plain %.3f s\n",
                    Median(engineWall), rows / Median(engineWall), Median(plainWall), Median(engineCpu), Median(plainCpu));
        std::printf("speed engine/plain (plain time / engine time): wall %.2f, cpu %.2f   target >= 0.80: %s\n", ratio, cpuRatio,
                    ratio >= 0.8 ? "met" : "NOT met");
        return ratio >= 0.8;
    };

    Plain plain(location, directory);
    const bool within = compare("Within one database", name, plain);

    // Into a table of a second database: the source's file is attached to the destination's connection.
    const QString otherLocation = QDir(dir).filePath(directory ? QStringLiteral("batchmove-other") : QStringLiteral("other.ostd"));
    QFile::remove(otherLocation);
    QDir(otherLocation).removeRecursively();
    auto other = MakeDatabase(QStringLiteral("BenchMoveOther"), otherLocation, directory);
    for (const char* t : {"Engine", "Plain"}) CreateTable(other->GetDatabaseName(), QString::fromLatin1(t));
    dst->SetDatabaseName(other->GetDatabaseName());
    Plain between(otherLocation, directory, location);
    const bool across = compare("Between two databases (plain: INSERT ... SELECT over an attached database)",
                                other->GetDatabaseName(), between);
    return within && across ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    try {
        return Run(QCoreApplication::arguments());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bench_batchmove: %s\n", e.what());
        return 2;
    }
}
