// The engine's folders, checked from the sources: each folder includes only
// folders below it, no two files include each other in a circle, every file
// opens with a comment that says what it holds, and code outside the engine
// includes only its public headers.
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <functional>

namespace {

// Lowest first; the folders of one rank do not include each other.
const QList<QStringList> kRanks = {{QStringLiteral("base")},
                                   {QStringLiteral("types")},
                                   {QStringLiteral("filter")},
                                   {QStringLiteral("store")},
                                   {QStringLiteral("crypt"), QStringLiteral("fulltext"), QStringLiteral("batchmove")},
                                   {QString()}}; // engine/ itself

// Folders outside the engine whose code an application developer would see.
const QStringList kOutside = {QStringLiteral("designer"), QStringLiteral("indexdef"), QStringLiteral("query"),
                              QStringLiteral("setup"),    QStringLiteral("migration"), QStringLiteral("common"),
                              QStringLiteral("ide"),      QStringLiteral("studio"),    QStringLiteral("cli"),
                              QStringLiteral("sqldriver"), QStringLiteral("examples")};

QString Root() { return QStringLiteral(OSTRA_SOURCE_DIR); }

struct Source {
    QString path;     // relative to the root, e.g. "engine/store/ostschema.cpp"
    QString text;
    QStringList includes; // quoted includes as written
};

QList<Source> SourcesUnder(const QString& dir) {
    QList<Source> out;
    static const QRegularExpression inc(QStringLiteral("^\\s*#\\s*include\\s+\"([^\"]+)\""),
                                        QRegularExpression::MultilineOption);
    QDirIterator it(Root() + u'/' + dir, {QStringLiteral("*.h"), QStringLiteral("*.cpp")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile f(it.next());
        if (!f.open(QIODevice::ReadOnly)) continue;
        Source s{QDir(Root()).relativeFilePath(f.fileName()), QString::fromUtf8(f.readAll()), {}};
        for (auto m = inc.globalMatch(s.text); m.hasNext();) s.includes << m.next().captured(1);
        out << s;
    }
    return out;
}

// "engine/store/ostschema.cpp" -> "store"; "engine/ostdataset.h" -> "".
QString FolderOf(const QString& enginePath) {
    const QStringList parts = enginePath.split(u'/');
    return parts.size() > 2 ? parts.at(1) : QString();
}

int RankOf(const QString& folder) {
    for (int i = 0; i < kRanks.size(); ++i)
        if (kRanks[i].contains(folder)) return i;
    return -1;
}

// A unit is a header with its sources: "engine/store/ostschema", "_p" dropped.
QString UnitOf(QString path) {
    path.chop(path.endsWith(QLatin1String(".cpp")) ? 4 : 2);
    if (path.endsWith(QLatin1String("_p"))) path.chop(2);
    return path;
}

bool IsPublicHeader(const QString& include) {
    static const QRegularExpression pub(QStringLiteral("^engine/(base/)?[a-z0-9]+\\.h$"));
    return pub.match(include).hasMatch();
}

} // namespace

class TestLayers : public QObject {
    Q_OBJECT

private slots:
    void foldersIncludeOnlyLowerFolders() {
        const QList<Source> sources = SourcesUnder(QStringLiteral("engine"));
        QVERIFY(sources.size() > 50);
        QStringList problems;
        for (const Source& s : sources) {
            const QString folder = FolderOf(s.path);
            const int rank = RankOf(folder);
            if (rank < 0) {
                problems << QStringLiteral("%1: folder \"%2\" has no place in the engine's order").arg(s.path, folder);
                continue;
            }
            if ((folder == QLatin1String("base") || folder == QLatin1String("types")) &&
                s.text.contains(QLatin1String("<sqlite3.h>")))
                problems << QStringLiteral("%1: the %2 folder knows nothing of SQLite").arg(s.path, folder);
            for (const QString& inc : s.includes) {
                if (!inc.startsWith(QLatin1String("engine/"))) {
                    problems << QStringLiteral("%1: includes \"%2\" from outside the engine").arg(s.path, inc);
                    continue;
                }
                const QString other = FolderOf(inc);
                const int otherRank = RankOf(other);
                if (otherRank > rank || (otherRank == rank && other != folder))
                    problems << QStringLiteral("%1 (%2) includes %3 (%4)")
                                    .arg(s.path, folder.isEmpty() ? QStringLiteral("engine") : folder, inc,
                                         other.isEmpty() ? QStringLiteral("engine") : other);
            }
        }
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u'\n')));
    }

    void noIncludeCircles() {
        QHash<QString, QSet<QString>> edges;
        for (const Source& s : SourcesUnder(QStringLiteral("engine"))) {
            const QString from = UnitOf(s.path);
            for (const QString& inc : s.includes)
                if (UnitOf(inc) != from) edges[from].insert(UnitOf(inc));
        }
        // Depth-first search; a unit met again on the current path closes a circle.
        QHash<QString, int> state; // 1: on the path, 2: done
        QStringList path, circle;
        std::function<bool(const QString&)> visit = [&](const QString& u) {
            state[u] = 1;
            path << u;
            for (const QString& v : edges.value(u)) {
                if (state.value(v) == 1) {
                    circle = path.mid(path.indexOf(v)) << v;
                    return true;
                }
                if (state.value(v) == 0 && visit(v)) return true;
            }
            path.removeLast();
            state[u] = 2;
            return false;
        };
        for (auto it = edges.cbegin(); it != edges.cend() && circle.isEmpty(); ++it)
            if (state.value(it.key()) == 0) visit(it.key());
        QVERIFY2(circle.isEmpty(), qPrintable(QStringLiteral("include circle: ") + circle.join(QStringLiteral(" -> "))));
    }

    void everyFileSaysWhatItHolds() {
        QStringList silent;
        for (const Source& s : SourcesUnder(QStringLiteral("engine")))
            if (!s.text.startsWith(QLatin1String("//"))) silent << s.path;
        QVERIFY2(silent.isEmpty(), qPrintable(QStringLiteral("no opening comment: ") + silent.join(QStringLiteral(", "))));
    }

    void outsideCodeUsesPublicHeadersOnly() {
        QStringList problems;
        for (const QString& dir : kOutside)
            for (const Source& s : SourcesUnder(dir))
                for (const QString& inc : s.includes)
                    if (inc.startsWith(QLatin1String("engine/")) && !IsPublicHeader(inc))
                        problems << QStringLiteral("%1 includes %2").arg(s.path, inc);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(TestLayers)
#include "tst_layers.moc"
