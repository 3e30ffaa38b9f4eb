// Index benchmark: what the table designer's indexes cost.
//
//   bench_indexes [DIR] [--rows=N] [--docs=N] [--runs=N] [--directory] [--only=insert|build] [--no-dictionary]
//
// Bulk insert into a fulltext-indexed table. Each run makes, in turns and in
// fresh files under DIR, (a) an engine table Docs(Id dtAutoInc, Body dtMemo)
// with a fulltext index and its dictionary, and (b) a plain SQLite table
// docs(id INTEGER PRIMARY KEY, body TEXT) with an FTS5 external-content table
// over body kept by the three triggers SQLite's documentation gives. Each gets
// the same --docs rows (default 10,000) of 12 and of 60 words (made-up words
// of 3 to 10 letters, Zipf-distributed over 20,000) inserted by one SQL
// statement from a source table in the same file, the engine's through
// TOstQuery. The figure is engine / plain of the medians (wall time; CPU time
// beside it); target <= 2.0 (at least half the speed). After every engine run
// the dictionary is compared with the plain index's own word counts
// (fts5vocab): keyword by keyword the number of rows holding it, which must
// be exact once the statement is through.
//
// Index build. A table of --rows rows (default 1,000,000; Id, Name dtString
// 30, City dtString 20, Qty dtInteger) gets an index on City;Qty added
// through the table designer's core (the apply a user's Apply button runs:
// the change list, the engine's AddIndex, the table reopened and read again)
// and, on a copy of the same file opened as plain SQLite with the engine's
// collations, the same index by one CREATE INDEX statement. Runs alternate;
// each drops its index again (untimed). Target: designer / plain <= 1.1.
#include "designer/core/osttabledesignercore.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "engine/store/ostcollation.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QSet>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <random>
#include <stdexcept>
#include <vector>

namespace {

// --no-dictionary: the engine's index keeps no dictionary (what the dictionary costs).
bool s_noDictionary = false;

double CpuNow() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

struct Timing {
    double wall = 0, cpu = 0;
};

class Clock {
public:
    Clock() : m_cpu(CpuNow()) { m_wall.start(); }
    Timing Stop() const { return {double(m_wall.nsecsElapsed()) / 1e9, CpuNow() - m_cpu}; }

private:
    QElapsedTimer m_wall;
    double m_cpu;
};

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n == 0 ? 0 : n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

int IntOption(const QStringList& args, const QString& name, int def) {
    for (const QString& a : args)
        if (a.startsWith(QStringLiteral("--%1=").arg(name))) return a.section(u'=', 1).toInt();
    return def;
}

QString Option(const QStringList& args, const QString& name) {
    for (const QString& a : args)
        if (a.startsWith(QStringLiteral("--%1=").arg(name))) return a.section(u'=', 1);
    return QString();
}

class Plain {
public:
    explicit Plain(const QString& path, bool engineCollations = false) {
        if (sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
            SQLITE_OK)
            throw std::runtime_error("cannot open " + path.toStdString());
        if (engineCollations) OstRegisterCollations(m_db);
        Exec("PRAGMA temp_store=MEMORY");
    }
    ~Plain() { sqlite3_close_v2(m_db); }
    void Exec(const QString& sql) {
        char* err = nullptr;
        if (sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &err) != SQLITE_OK) {
            const std::string msg = err ? err : sqlite3_errmsg(m_db);
            sqlite3_free(err);
            throw std::runtime_error(msg + " in: " + sql.left(200).toStdString());
        }
    }
    QHash<QString, qint64> Pairs(const QString& sql) {
        sqlite3_stmt* st = nullptr;
        const QByteArray u = sql.toUtf8();
        if (sqlite3_prepare_v2(m_db, u.constData(), u.size(), &st, nullptr) != SQLITE_OK)
            throw std::runtime_error(std::string(sqlite3_errmsg(m_db)));
        QHash<QString, qint64> out;
        while (sqlite3_step(st) == SQLITE_ROW)
            out.insert(QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(st, 0))), sqlite3_column_int64(st, 1));
        sqlite3_finalize(st);
        return out;
    }

private:
    sqlite3* m_db = nullptr;
};

QHash<QString, qint64> EnginePairs(const QString& database, const QString& sql) {
    TOstQuery q;
    q.SetDatabaseName(database);
    q.SetSQL(sql);
    q.Open();
    QHash<QString, qint64> out;
    for (q.First(); !q.Eof(); q.Next()) out.insert(q.Fields()[0]->AsString(), q.Fields()[1]->AsLargeInt());
    return out;
}

// Documents of made-up words with Zipf frequencies, as one VALUES list per 500.
std::vector<QString> Documents(int docs, int words, std::mt19937& rng) {
    std::uniform_int_distribution<int> len(3, 10), letter(0, 25);
    std::vector<QString> vocabulary;
    QSet<QString> seen;
    while (vocabulary.size() < 20000) {
        QString w;
        for (int i = len(rng); i > 0; --i) w += QChar(u'a' + letter(rng));
        if (!seen.contains(w)) {
            seen.insert(w);
            vocabulary.push_back(w);
        }
    }
    std::vector<double> weights(vocabulary.size());
    for (size_t i = 0; i < weights.size(); ++i) weights[i] = 1.0 / double(i + 1);
    std::discrete_distribution<int> pick(weights.begin(), weights.end());
    std::vector<QString> out;
    out.reserve(size_t(docs));
    for (int d = 0; d < docs; ++d) {
        QStringList body;
        for (int w = 0; w < words; ++w) body << vocabulary[size_t(pick(rng))];
        out.push_back(body.join(u' '));
    }
    return out;
}

QStringList InsertStatements(const QString& table, const std::vector<QString>& docs) {
    QStringList out;
    for (size_t i = 0; i < docs.size(); i += 500) {
        QStringList values;
        for (size_t j = i; j < std::min(docs.size(), i + 500); ++j) values << QStringLiteral("('%1')").arg(docs[j]);
        out << QStringLiteral("INSERT INTO %1(Body) VALUES %2").arg(table, values.join(u','));
    }
    return out;
}

// One engine run: fresh database, indexed table, source filled (untimed), the
// insert (timed), the dictionary checked against the plain index's counts.
Timing EngineInsert(const QString& dir, bool directory, const std::vector<QString>& docs, int run,
                    const QHash<QString, qint64>& expected, bool& exact) {
    const QString location = QDir(dir).filePath(directory ? QStringLiteral("e%1").arg(run) : QStringLiteral("e%1.ostd").arg(run));
    QDir(location).removeRecursively();
    QFile::remove(location);
    QFile::remove(location + QStringLiteral("-lock"));
    TOstDatabase db;
    db.SetDatabaseName(QStringLiteral("BenchIdx%1").arg(run));
    db.SetDatabaseType(directory ? dbtDirectory : dbtSingleFile);
    db.SetLocation(location);
    db.CreateDatabase();
    for (const char* name : {"Src", "Docs"}) {
        TOstTable t;
        t.SetDatabaseName(db.GetDatabaseName());
        t.SetTableName(QString::fromLatin1(name));
        t.GetFieldDefsOst().Add(QStringLiteral("Id"), dtAutoInc, 0);
        t.GetFieldDefsOst().Add(QStringLiteral("Body"), dtMemo, 0);
        t.CreateTable();
        if (QByteArray(name) == "Docs")
            t.AddFulltextIndex2(QStringLiteral("Words"), QStringLiteral("Body"), s_noDictionary ? QString() : QStringLiteral("WordsDict"),
                                QString());
    }
    TOstQuery q;
    q.SetDatabaseName(db.GetDatabaseName());
    for (const QString& sql : InsertStatements(QStringLiteral("Src"), docs)) {
        q.SetSQL(sql);
        q.ExecSQL();
    }
    q.SetSQL(QStringLiteral("INSERT INTO Docs(Body) SELECT Body FROM Src"));
    const Clock clock;
    q.ExecSQL();
    const Timing t = clock.Stop();
    exact = s_noDictionary || EnginePairs(db.GetDatabaseName(), QStringLiteral("SELECT Keyword, Relevance FROM WordsDict")) == expected;
    return t;
}

Timing PlainInsert(const QString& dir, const std::vector<QString>& docs, int run, QHash<QString, qint64>* counts) {
    const QString path = QDir(dir).filePath(QStringLiteral("p%1.db").arg(run));
    QFile::remove(path);
    Plain p(path);
    p.Exec("CREATE TABLE src(id INTEGER PRIMARY KEY, Body TEXT); CREATE TABLE docs(id INTEGER PRIMARY KEY, Body TEXT);"
           "CREATE VIRTUAL TABLE fts USING fts5(Body, content='docs', content_rowid='id');"
           "CREATE TRIGGER docs_ai AFTER INSERT ON docs BEGIN INSERT INTO fts(rowid, Body) VALUES (new.id, new.Body); END;"
           "CREATE TRIGGER docs_ad AFTER DELETE ON docs BEGIN INSERT INTO fts(fts, rowid, Body) VALUES('delete', old.id, old.Body); END;"
           "CREATE TRIGGER docs_au AFTER UPDATE ON docs BEGIN INSERT INTO fts(fts, rowid, Body) VALUES('delete', old.id, old.Body);"
           " INSERT INTO fts(rowid, Body) VALUES (new.id, new.Body); END;");
    p.Exec("BEGIN");
    for (const QString& sql : InsertStatements(QStringLiteral("src"), docs)) p.Exec(sql);
    p.Exec("COMMIT");
    const Clock clock;
    p.Exec("BEGIN; INSERT INTO docs(Body) SELECT Body FROM src; COMMIT");
    const Timing t = clock.Stop();
    if (counts) {
        p.Exec("CREATE VIRTUAL TABLE temp.v USING fts5vocab(main, 'fts', 'row')");
        *counts = p.Pairs(QStringLiteral("SELECT term, min(doc, 65535) FROM temp.v"));
    }
    return t;
}

void BulkInsert(const QString& dir, bool directory, int docCount, int runs) {
    std::mt19937 rng(20240501);
    for (int words : {12, 60}) {
        const std::vector<QString> docs = Documents(docCount, words, rng);
        std::vector<double> ew, ec, pw, pc;
        QHash<QString, qint64> expected;
        PlainInsert(dir, docs, 999, &expected); // the counts to compare with
        bool allExact = true;
        for (int run = 0; run < runs; ++run) {
            const Timing p = PlainInsert(dir, docs, run, nullptr);
            bool exact = false;
            const Timing e = EngineInsert(dir, directory, docs, run, expected, exact);
            allExact = allExact && exact;
            pw.push_back(p.wall);
            pc.push_back(p.cpu);
            ew.push_back(e.wall);
            ec.push_back(e.cpu);
        }
        std::printf("bulk insert, %d rows of %d words (%s): engine %.3f s, plain FTS5 %.3f s, ratio %.2f (CPU %.2f; "
                    "target <= 2.0); dictionary %s\n",
                    docCount, words, directory ? "directory" : "single-file", Median(ew), Median(pw), Median(ew) / Median(pw),
                    Median(ec) / Median(pc), allExact ? "exact" : "NOT EXACT");
        std::fflush(stdout);
    }
}

// The table designer's view, answering yes to everything and showing nothing.
class QuietView : public ITableDesignerView {
public:
    void ShowErrorMsg(const QString& text) override { throw std::runtime_error(text.toStdString()); }
    void ShowInfoMsg(const QString&) override {}
    TAnswer GetQuestionResult(const QString&) override { return Yes; }
    bool ConfirmModifications(const TModifications&) override { return true; }
    QString GetEncryptionKey(int) override { return QString(); }
    void SetProgress(int) override {}
    void SetStatusText(const QString&) override {}
};

void IndexBuild(const QString& dir, int rows, int runs) {
    const QString location = QDir(dir).filePath(QStringLiteral("build.ostd"));
    QFile::remove(location);
    TOstDatabase db;
    db.SetDatabaseName(QStringLiteral("BenchBuild"));
    db.SetDatabaseType(dbtSingleFile);
    db.SetLocation(location);
    db.CreateDatabase();
    TOstTable t;
    t.SetDatabaseName(db.GetDatabaseName());
    t.SetTableName(QStringLiteral("T"));
    t.GetFieldDefsOst().Add(QStringLiteral("Id"), dtAutoInc, 0);
    t.GetFieldDefsOst().Add(QStringLiteral("Name"), dtString, 30);
    t.GetFieldDefsOst().Add(QStringLiteral("City"), dtString, 20);
    t.GetFieldDefsOst().Add(QStringLiteral("Qty"), dtInteger, 0);
    t.CreateTable();
    TOstQuery q;
    q.SetDatabaseName(db.GetDatabaseName());
    q.SetSQL(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                            "INSERT INTO T(Name, City, Qty) SELECT 'name ' || ((i * 7919) % %1), 'city ' || (i % 997), "
                            "(i * 31) % 100000 FROM n")
                 .arg(rows));
    q.ExecSQL();
    db.Close();
    // The plain side works on a copy of the same file: the same rows and pages.
    const QString copy = QDir(dir).filePath(QStringLiteral("build-plain.db"));
    QFile::remove(copy);
    if (!QFile::copy(location, copy)) throw std::runtime_error("cannot copy the database");
    std::vector<double> dw, dc, pw, pc, ew, ow;
    for (int run = 0; run < runs; ++run) {
        {
            Plain p(copy, true);
            const Clock clock;
            p.Exec(QStringLiteral("CREATE INDEX plain_idx ON T(City, Qty)")); // "Ostra" orders as BINARY does
            const Timing timing = clock.Stop();
            p.Exec(QStringLiteral("DROP INDEX plain_idx"));
            pw.push_back(timing.wall);
            pc.push_back(timing.cpu);
        }
        {
            TOstTable table;
            table.SetDatabaseName(db.GetDatabaseName());
            table.SetTableName(QStringLiteral("T"));
            table.Open();
            QuietView view;
            TOstTableDesignerCore core(&view);
            core.SetOstDataset(&table);
            core.WorkingTable()->IndexDefs().Add(QStringLiteral("ByCityQty"), QStringLiteral("City;Qty"), TIndexOptions());
            core.UpdateDirtyFlags();
            const Clock clock;
            if (!core.Apply()) throw std::runtime_error("the designer applied nothing");
            const Timing timing = clock.Stop();
            table.Close();
            table.DeleteIndex(QStringLiteral("ByCityQty"));
            dw.push_back(timing.wall);
            dc.push_back(timing.cpu);
        }
        {
            // The engine's part alone: TOstTable::AddIndex on a closed table.
            TOstTable table;
            table.SetDatabaseName(db.GetDatabaseName());
            table.SetTableName(QStringLiteral("T"));
            const Clock clock;
            table.AddIndex(QStringLiteral("ByCityQty"), QStringLiteral("City;Qty"), TIndexOptions());
            const Timing timing = clock.Stop();
            table.DeleteIndex(QStringLiteral("ByCityQty"));
            ew.push_back(timing.wall);
            // What opening the table (reading its record ids) takes, which the apply does once at its end.
            const Clock open;
            table.Open();
            ow.push_back(open.Stop().wall);
            table.Close();
        }
    }
    std::printf("index build, %d rows (City;Qty): designer apply %.3f s, plain CREATE INDEX %.3f s, ratio %.3f (CPU %.3f; "
                "target <= 1.1); TOstTable::AddIndex alone %.3f s, opening the table %.3f s\n",
                rows, Median(dw), Median(pw), Median(dw) / Median(pw), Median(dc) / Median(pc), Median(ew), Median(ow));
    std::fflush(stdout);
    QFile::remove(copy);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    const int rows = IntOption(args, QStringLiteral("rows"), 1000000);
    const int docs = IntOption(args, QStringLiteral("docs"), 10000);
    const int runs = IntOption(args, QStringLiteral("runs"), 5);
    const bool directory = args.contains(QStringLiteral("--directory"));
    s_noDictionary = args.contains(QStringLiteral("--no-dictionary"));
    const QString only = Option(args, QStringLiteral("only"));
    QString dir;
    for (const QString& a : args)
        if (!a.startsWith(QStringLiteral("--"))) dir = a;
    QTemporaryDir tmp;
    if (dir.isEmpty()) dir = tmp.path();
    QDir().mkpath(dir);
    try {
        if (only.isEmpty() || only == u"insert") BulkInsert(dir, directory, docs, runs);
        if (only.isEmpty() || only == u"build") IndexBuild(dir, rows, runs);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bench_indexes: %s\n", e.what());
        return 1;
    } catch (const Exception& e) {
        std::fprintf(stderr, "bench_indexes: %s\n", qPrintable(e.Message()));
        return 1;
    }
    return 0;
}
