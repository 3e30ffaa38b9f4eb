// `ostra alter` changing a table's encryption, killed (SIGKILL) while it
// copies the table, after it has put the new file in place, and while it
// restructures the new file: the table is found exactly as it was or exactly
// as changed, and no copy of it - the plaintext one above all - stays behind.
#include "cli_helper.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

namespace {

const QString kPassword = QStringLiteral("--password=kill-pass");

constexpr int Rows = 120000;

const char* const ItemsInput = R"js({"name": "Items", "level": 4, "columns": [
  {"name": "Id", "type": "dtAutoInc"}, {"name": "Code", "type": "dtString", "size": 20},
  {"name": "Name", "type": "dtString", "size": 60}, {"name": "Qty", "type": "dtInteger"},
  {"name": "Note", "type": "dtMemo"}],
  "indexes": [{"name": "PK", "fields": "Id", "options": ["primary"]},
              {"name": "ByName", "fields": "Name;Qty"}]})js";

const QString Fill = QStringLiteral(
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1)\n"
    "INSERT INTO Items(Code, Name, Qty, Note) SELECT printf('C%07d', i), printf('Plain-%07d', i), i % 1000,\n"
    "       'note ' || i FROM n;\n").arg(Rows);

const QString Fingerprint = QStringLiteral("SELECT count(*), sum(Qty), min(Name), max(Name), sum(length(Note)) FROM Items");

CliRun Ostra(const QStringList& args, const QByteArray& input = {}) { return RunOstra(QStringList{kPassword} + args, input); }

QJsonObject Describe(const QString& db) {
    const CliRun r = Ostra({"describe", db, "Items", "--json"});
    return r.finished && r.exitCode == 0 ? QJsonDocument::fromJson(r.out.toUtf8()).object() : QJsonObject();
}

QString Csv(const QString& db, const QString& sql) {
    const CliRun r = Ostra({"sql", db, sql, "--csv"});
    return r.finished && r.exitCode == 0 ? r.out : QString();
}

// Files of the database but the table's own and lock files.
QStringList Leftovers(const QString& db) {
    QStringList out = QDir(db).entryList(QDir::Files | QDir::Hidden);
    out.removeIf([](const QString& f) { return f == QStringLiteral("Items.dat") || f.endsWith(QStringLiteral("-lock")); });
    return out;
}

// Files holding text in the clear.
QStringList Holding(const QString& db, const QByteArray& text) {
    QStringList out;
    for (const QString& f : QDir(db).entryList(QDir::Files | QDir::Hidden)) {
        QFile file(QDir(db).filePath(f));
        if (file.open(QIODevice::ReadOnly) && file.readAll().contains(text)) out.append(f);
    }
    return out;
}

} // namespace

class TestCliRekey : public QObject {
    Q_OBJECT
private slots:
    void killedEncryptionChangeLeavesOldOrNew();
};

void TestCliRekey::killedEncryptionChangeLeavesOldOrNew() {
    QTemporaryDir tmp;
    const QString db = tmp.filePath("shop");
    const QString file = db + "/Items.dat";
    QVERIFY2(Ostra({"create-db", db}).exitCode == 0, "create-db");
    WriteTextFile(tmp.filePath("Items.json"), ItemsInput);
    CliRun r = Ostra({"create-table", db, tmp.filePath("Items.json")});
    QVERIFY2(r.exitCode == 0, r.Describe().constData());
    r = Ostra({"sql", db, "-"}, Fill.toUtf8());
    QVERIFY2(r.exitCode == 0, r.Describe().constData());

    const QJsonObject plain = Describe(db);
    const QString fingerprint = Csv(db, Fingerprint);
    QVERIFY(!plain.isEmpty() && !fingerprint.isEmpty());
    // Rijndael/AES, Name widened and Note moved before Qty: the new file is
    // rebuilt after the swap (a widening alone would be made in place).
    QJsonObject changed = plain;
    changed["encryption"] = 6;
    QJsonArray cols = changed["columns"].toArray();
    QJsonObject name = cols[2].toObject();
    name["size"] = 80;
    cols[2] = name;
    cols.insert(3, cols.takeAt(4));
    changed["columns"] = cols;
    WriteTextFile(tmp.filePath("Items-aes.json"), QJsonDocument(changed).toJson());

    // When to kill: the copy under way, the new file in place, its restructure writing.
    const struct {
        const char* when;
        std::function<bool()> reached;
    } points[] = {
        {"copying", [&] { return QFileInfo(file + ".rekey").size() > 1024 * 1024; }},
        {"swapped", [&] { return QFileInfo::exists(file + ".old"); }},
        {"restructuring", [&] {
             const QFileInfo old(file + ".old"), now(file);
             return old.exists() && QFileInfo::exists(file + "-journal") && now.size() > old.size() + old.size() / 4;
         }},
    };
    QJsonObject encrypted;
    for (const auto& point : points) {
        QProcess alter;
        alter.start(QStringLiteral(OSTRA_CLI_PATH), {kPassword, "alter", db, tmp.filePath("Items-aes.json")});
        QVERIFY(alter.waitForStarted());
        bool reached = false;
        QElapsedTimer clock;
        clock.start();
        while (!reached && alter.state() == QProcess::Running && clock.elapsed() < 60000) {
            reached = point.reached();
            if (!reached) QThread::usleep(500);
        }
        QVERIFY2(reached, qPrintable(QStringLiteral("the alter ended before it was %1").arg(point.when)));
        alter.kill();
        QVERIFY(alter.waitForFinished());
        QCOMPARE(alter.exitStatus(), QProcess::CrashExit);

        // The next use settles what the kill left: the old table, whole.
        const QJsonObject now = Describe(db);
        QVERIFY2(now == plain, point.when);
        QCOMPARE(Csv(db, Fingerprint), fingerprint);
        QVERIFY2(Leftovers(db).isEmpty(), qPrintable(QStringLiteral("%1: %2").arg(point.when, Leftovers(db).join(u' '))));
    }

    r = Ostra({"alter", db, tmp.filePath("Items-aes.json")});
    QVERIFY2(r.exitCode == 0, r.Describe().constData());
    encrypted = Describe(db);
    QCOMPARE(encrypted["encryption"].toInt(), 6);
    QCOMPARE(encrypted["columns"].toArray()[2].toObject()["size"].toInt(), 80);
    QCOMPARE(Csv(db, Fingerprint), fingerprint);
    QCOMPARE(Leftovers(db), QStringList());
    QCOMPARE(Holding(db, "Plain-0000042"), QStringList()); // no plaintext copy anywhere
}

QTEST_GUILESS_MAIN(TestCliRekey)
#include "tst_clirekey.moc"
