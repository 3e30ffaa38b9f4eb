// Fulltext benchmark: building a fulltext index with TOstTable::AddFulltextIndex2
// against a plain FTS5 table over the same documents, and one-word searches.
//
//   bench_fulltext [DIR] [--docs=N] [--words=N] [--runs=N] [--searches=N] [--directory]
//
// DIR holds the database (a temporary directory when omitted). A table Docs
// (Id dtAutoInc, Body dtMemo) gets N documents (default 100,000) of 60 words
// drawn from a vocabulary of 50,000 made-up words with Zipf frequencies
// (exponent 1: the commonest word is in about 99% of the documents, most words
// in a few dozen). --directory makes a directory database instead of a
// single-file one.
//
// Build: each run times, in turns and in the same database file,
//   plain FTS5   CREATE VIRTUAL TABLE plain USING fts5(body) and
//                INSERT INTO plain SELECT Body FROM Docs, in one transaction;
//   fulltext     AddFulltextIndex2("Words.fti", "Body", "WordsDict", default
//                separators): the index, its triggers, and the dictionary
//                filled (created on the first run);
// then drops both again (untimed). The ratio fulltext / plain of the medians
// is the figure; target <= 1.0.
//
// Search: one-word searches through OstFulltextSearch (the ranked record ids
// and relevances that ostra search, ostra_search and CONTAINS are built on),
// with words drawn (a) uniformly from the vocabulary and (b) from the text, so
// that common words come up as often as they occur. Median per search; target
// < 5 ms for (a). A filtered TOstTable (CONTAINS, ranked, the record ids
// loaded) is timed for comparison, and so are bulk inserts and deletes
// through SQL with the index in place and without it.
#include "engine/store/ostconnection.h"
#include "engine/ostdataset.h"
#include "engine/fulltext/ostfulltext.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

namespace {

double Median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

double Percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, size_t(p * double(v.size())))];
}

// The process's CPU time (user + system): less disturbed than the wall time
// by other work on the machine.
double CpuNow() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

int IntOption(const QStringList& args, const QString& name, int def) {
    for (const QString& a : args)
        if (a.startsWith(QStringLiteral("--%1=").arg(name))) return a.section(u'=', 1).toInt();
    return def;
}

// Made-up words: 3 to 10 lower-case letters, all different.
std::vector<QString> Vocabulary(int n, std::mt19937& rng) {
    std::uniform_int_distribution<int> len(3, 10), letter(0, 25);
    std::vector<QString> out;
    QSet<QString> seen;
    while (int(out.size()) < n) {
        QString w;
        for (int i = len(rng); i > 0; --i) w += QChar(u'a' + letter(rng));
        if (!seen.contains(w)) {
            seen.insert(w);
            out.push_back(w);
        }
    }
    return out;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    const int docs = IntOption(args, QStringLiteral("docs"), 100000);
    const int wordsPerDoc = IntOption(args, QStringLiteral("words"), 60);
    const int runs = IntOption(args, QStringLiteral("runs"), 3);
    const int searches = IntOption(args, QStringLiteral("searches"), 200);
    const bool directory = args.contains(QStringLiteral("--directory"));
    QString dir;
    for (const QString& a : args)
        if (!a.startsWith(QStringLiteral("--"))) dir = a;
    QTemporaryDir tmp;
    if (dir.isEmpty()) dir = tmp.path();
    QDir().mkpath(dir);

    try {
        TOstDatabase db;
        db.SetDatabaseName(QStringLiteral("BenchFulltext"));
        db.SetDatabaseType(directory ? dbtDirectory : dbtSingleFile);
        const QString location = QDir(dir).filePath(directory ? QStringLiteral("ftdb") : QStringLiteral("ft.ostd"));
        QDir(location).removeRecursively();
        QFile::remove(location);
        db.SetLocation(location);
        db.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(db.GetDatabaseName());
        t.SetTableName(QStringLiteral("Docs"));
        t.GetFieldDefsOst().Add(QStringLiteral("Id"), dtAutoInc, 0);
        t.GetFieldDefsOst().Add(QStringLiteral("Body"), dtMemo, 0);
        t.CreateTable();

        // Documents: Zipf-distributed words of a fixed vocabulary.
        std::mt19937 rng(20240501);
        const std::vector<QString> vocab = Vocabulary(50000, rng);
        std::vector<double> weights(vocab.size());
        for (size_t r = 0; r < vocab.size(); ++r) weights[r] = 1.0 / double(r + 1);
        std::discrete_distribution<int> zipf(weights.begin(), weights.end());
        auto conn = db.Connection();
        OstConnection& c = *conn;
        const OstTableLocation loc = c.Locate(QStringLiteral("Docs"));
        QElapsedTimer fill;
        fill.start();
        c.Begin();
        {
            OstStmt ins(c.Db(), QStringLiteral("INSERT INTO %1(Body) VALUES (?1)").arg(loc.qualified()));
            QString body;
            for (int d = 0; d < docs; ++d) {
                body.clear();
                for (int w = 0; w < wordsPerDoc; ++w) {
                    if (w) body += (w % 12 == 0) ? QStringLiteral(". ") : QStringLiteral(" ");
                    body += vocab[size_t(zipf(rng))];
                }
                ins.Reset();
                ins.Bind(1, body);
                ins.Step();
            }
        }
        c.Commit();
        std::printf("%d documents of %d words (%s database), filled in %.2f s\n\n", docs, wordsPerDoc,
                    directory ? "directory" : "single-file", fill.nsecsElapsed() / 1e9);

        // ---- build
        std::vector<double> plain, ours, plainCpu, oursCpu;
        for (int run = 0; run < runs; ++run) {
            QElapsedTimer timer;
            timer.start();
            double cpu = CpuNow();
            c.Begin();
            c.Exec(QStringLiteral("CREATE VIRTUAL TABLE %1.plain USING fts5(body)").arg(loc.schema));
            c.Exec(QStringLiteral("INSERT INTO %1.plain(body) SELECT Body FROM %2").arg(loc.schema, loc.qualified()));
            c.Commit();
            plain.push_back(timer.nsecsElapsed() / 1e9);
            plainCpu.push_back(CpuNow() - cpu);
            c.Exec(QStringLiteral("DROP TABLE %1.plain").arg(loc.schema));

            timer.restart();
            cpu = CpuNow();
            t.AddFulltextIndex2(QStringLiteral("Words.fti"), QStringLiteral("Body"), QStringLiteral("WordsDict"),
                                OstDefaultFulltextSeparators);
            ours.push_back(timer.nsecsElapsed() / 1e9);
            oursCpu.push_back(CpuNow() - cpu);
            std::printf("run %d: plain FTS5 %.2f s (CPU %.2f s), fulltext index %.2f s (CPU %.2f s)\n", run + 1,
                        plain.back(), plainCpu.back(), ours.back(), oursCpu.back());
            if (run + 1 < runs) t.DeleteFulltextIndex(QStringLiteral("Words.fti"));
        }
        const qint64 keywords = c.QueryInt(QStringLiteral("SELECT count(*) FROM %1").arg(c.Locate(QStringLiteral("WordsDict")).qualified()));
        const double ratio = Median(ours) / Median(plain), cpuRatio = Median(oursCpu) / Median(plainCpu);
        std::printf("\nbuild (median of %d): fulltext index %.2f s, plain FTS5 %.2f s, ratio %.2f   target <= 1.0  %s\n",
                    runs, Median(ours), Median(plain), ratio, ratio <= 1.0 ? "met" : "MISSED");
        std::printf("  CPU time: fulltext index %.2f s, plain FTS5 %.2f s, ratio %.2f\n", Median(oursCpu), Median(plainCpu), cpuRatio);
        std::printf("dictionary: %lld keywords\n\n", keywords);

        // ---- search
        auto timeSearches = [&](const char* label, auto pick, double target) {
            std::vector<double> ms;
            std::vector<double> hits;
            for (int i = 0; i < 10; ++i) OstFulltextSearch(c, QStringLiteral("Docs"), pick()); // warm up
            for (int i = 0; i < searches; ++i) {
                const QString w = pick();
                QElapsedTimer timer;
                timer.start();
                const auto found = OstFulltextSearch(c, QStringLiteral("Docs"), w);
                ms.push_back(timer.nsecsElapsed() / 1e6);
                hits.push_back(found.size());
            }
            std::printf("one-word search, %s: median %.3f ms, 90%% %.3f ms, max %.3f ms (median %.0f hits)", label,
                        Median(ms), Percentile(ms, 0.9), Percentile(ms, 1.0), Median(hits));
            if (target > 0) std::printf("   target < %.0f ms  %s", target, Median(ms) < target ? "met" : "MISSED");
            std::printf("\n");
        };
        std::uniform_int_distribution<int> anyWord(0, int(vocab.size()) - 1);
        timeSearches("words from the vocabulary", [&] { return vocab[size_t(anyWord(rng))]; }, 5.0);
        timeSearches("words from the text      ", [&] { return vocab[size_t(zipf(rng))]; }, 0);

        // The same through a filtered table: CONTAINS, ranked, record ids loaded.
        t.Open();
        std::vector<double> ms;
        for (int i = 0; i < std::min(searches, 50); ++i) {
            const QString w = vocab[size_t(anyWord(rng))];
            QElapsedTimer timer;
            timer.start();
            t.SetFilter(QStringLiteral("CONTAINS('%1')").arg(w));
            t.SetFiltered(true);
            ms.push_back(timer.nsecsElapsed() / 1e6);
            t.SetFiltered(false);
        }
        t.Close();
        std::printf("filtered table CONTAINS, words from the vocabulary: median %.3f ms\n\n", Median(ms));

        // Keeping the index and its dictionary current: one SQL statement that
        // inserts (then deletes) 10,000 documents, against the same table
        // without a fulltext index.
        const int bulk = std::min(docs, 10000);
        auto bulkWrites = [&](const char* label) {
            c.PrepareForWrite(QStringLiteral("Docs"));
            QElapsedTimer timer;
            timer.start();
            c.Begin();
            c.Exec(QStringLiteral("INSERT INTO %1(Body) SELECT Body FROM %1 WHERE Id <= %2").arg(loc.qualified()).arg(bulk));
            c.Commit();
            const double insert = timer.nsecsElapsed() / 1e9;
            timer.restart();
            c.Begin();
            c.Exec(QStringLiteral("DELETE FROM %1 WHERE Id > %2").arg(loc.qualified()).arg(docs));
            c.Commit();
            std::printf("SQL insert of %d documents %s: %.2f s, delete %.2f s\n", bulk, label, insert, timer.nsecsElapsed() / 1e9);
        };
        bulkWrites("with the index and dictionary");
        t.DeleteFulltextIndex(QStringLiteral("Words.fti"));
        bulkWrites("without an index             ");
    } catch (const Exception& e) {
        std::fprintf(stderr, "bench_fulltext: %s\n", qPrintable(e.Message()));
        return 1;
    }
    return 0;
}
