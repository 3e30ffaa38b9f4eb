// Indexes on the command line: describe --json with the engine's figures
// for each index, plan and apply refusing an index the engine would keep
// for itself instead of reporting it applied, and fulltext indexes with a
// new dictionary ("newDictionary") created by apply and found by search.
#include "cli_helper.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

namespace {


const char* const Notes = R"js({"name": "Notes", "columns": [
  {"name": "Id", "type": "dtAutoInc"},
  {"name": "Title", "type": "dtString", "size": 40},
  {"name": "Body", "type": "dtMemo"}
], "indexes": [{"name": "ByTitle", "fields": "Title"}]})js";

// A database holding Notes with three rows.
void Create(const CliDb& d) {
    EXPECT_OK(d.Create({{"notes.json", Notes}}));
    EXPECT_OK(RunOstra({"sql", d.db, "INSERT INTO Notes(Title, Body) VALUES ('Tea', 'green tea'), ('Cake', 'tea with cake'), "
                                     "('Bread', 'rye bread')"}));
}

QByteArray WithIndex(const QByteArray& extra) {
    return QByteArray(R"js({"name": "Notes", "columns": [
      {"name": "Id", "type": "dtAutoInc"}, {"name": "Title", "type": "dtString", "size": 40}, {"name": "Body", "type": "dtMemo"}
    ], "indexes": [{"name": "ByTitle", "fields": "Title"})js") + extra + "]}";
}

} // namespace

class TestCliIndexes : public QObject {
    Q_OBJECT
private slots:
    void describeShowsIndexFigures();
    void indexesTheEngineKeepsAreRefused_data();
    void indexesTheEngineKeepsAreRefused();
    void fulltextWithANewDictionary();
    void newDictionaryRefusals();
};

void TestCliIndexes::describeShowsIndexFigures() {
    CliDb d(false, "notes");
    Create(d);
    const QJsonObject def = DescribeJson(d.db, "Notes");
    const QJsonObject stats = def["indexes"].toArray().at(0).toObject()["statistics"].toObject();
    QCOMPARE(stats["keySize"].toInt(), 8 + 41);
    QCOMPARE(stats["pageSize"].toInt(), 4096);
    QCOMPARE(stats["capacity"].toInt(), 100000);
    QCOMPARE(stats["keys"].toInt(), 3);
    QVERIFY(stats["pages"].toInt() >= 1);
    // What describe prints plans as no change: the figures are read, not compared.
    const QString file = d.File("described.json", QJsonDocument(def).toJson());
    const CliRun r = RunOstra({"plan", d.db, file});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("\tNo changes to table structure\n"));
}

void TestCliIndexes::indexesTheEngineKeepsAreRefused_data() {
    QTest::addColumn<QString>("name");
    for (const char* name : {"TMPByName", "ByName.idx", "sys_x"}) QTest::newRow(name) << name;
}

void TestCliIndexes::indexesTheEngineKeepsAreRefused() {
    QFETCH(QString, name);
    CliDb d(false, "notes");
    Create(d);
    const QString file = d.File("t.json", WithIndex(QStringLiteral(", {\"name\": \"%1\", \"fields\": \"Body\"}").arg(name).toUtf8()));
    const QString message =
        QStringLiteral("Index %1 already exists or contains invalid characters. Index name must not start with sys or tmp.").arg(name);
    CliRun r = RunOstra({"plan", d.db, file});
    QCOMPARE(r.out, QStringLiteral("\tIndex %1 added\n").arg(name));
    QCOMPARE(r.exitCode, 1);
    QCOMPARE(r.err, QStringLiteral("ostra: %1\n").arg(message));
    r = RunOstra({"apply", d.db, file, "--yes"});
    QCOMPARE(r.exitCode, 1);
    QVERIFY2(!r.out.contains("Applied"), r.Describe().constData());
    QCOMPARE(r.err, QStringLiteral("ostra: %1\n").arg(message));
    QCOMPARE(DescribeJson(d.db, "Notes")["indexes"].toArray().size(), 1);
}

void TestCliIndexes::fulltextWithANewDictionary() {
    CliDb d(false, "notes");
    Create(d);
    const QByteArray fulltext = R"js({"name": "Notes", "columns": [
      {"name": "Id", "type": "dtAutoInc"}, {"name": "Title", "type": "dtString", "size": 40}, {"name": "Body", "type": "dtMemo"}
    ], "indexes": [{"name": "ByTitle", "fields": "Title"}],
    "fulltext": [{"name": "Words", "fields": "Title;Body", "minRelevance": 0,
                  "newDictionary": {"name": "NoteWords", "maxKeywordLength": 32, "encryption": "Rijndael/AES", "password": "lexicon1"}}]})js";
    const QString file = d.File("ft.json", fulltext);
    CliRun r = RunOstra({"plan", d.db, file});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("\tFulltext index Words added\n"
                                   "Applying copies no rows; indexes that are new are built over the rows.\n"));
    EXPECT_OK(RunOstra({"apply", d.db, file, "--yes"}));
    // The dictionary: encrypted, keywords of 32 characters, the words counted.
    QVERIFY(DescribeJson(d.db, "NoteWords").isEmpty()); // not without its password
    r = RunOstra({"--password=lexicon1", "describe", d.db, "NoteWords", "--json"});
    EXPECT_OK(r);
    const QJsonObject dict = QJsonDocument::fromJson(r.out.toUtf8()).object();
    QCOMPARE(dict["encryption"].toInt(), 6);
    QCOMPARE(dict["columns"].toArray().at(0).toObject()["size"].toInt(), 32);
    QCOMPARE(DescribeJson(d.db, "Notes")["fulltext"].toArray().at(0).toObject()["dictionary"].toString(), QStringLiteral("NoteWords"));
    r = RunOstra({"--password=lexicon1", "sql", d.db, "SELECT Keyword, Relevance FROM NoteWords WHERE Keyword = 'tea'", "--csv"});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("Keyword,Relevance\ntea,2\n"));
    r = RunOstra({"--password=lexicon1", "search", d.db, "Notes", "tea", "--csv"});
    EXPECT_OK(r);
    QVERIFY2(r.out.contains("Tea") && r.out.contains("Cake") && !r.out.contains("Bread"), r.Describe().constData());
    // Planned again, the file asks for nothing: the index uses that dictionary.
    r = RunOstra({"plan", d.db, file});
    EXPECT_OK(r);
    QCOMPARE(r.out, QStringLiteral("\tNo changes to table structure\n"));
}

void TestCliIndexes::newDictionaryRefusals() {
    CliDb d(false, "notes");
    Create(d);
    auto plan = [&](const QByteArray& newDictionary) {
        const QByteArray json = R"js({"name": "Notes", "columns": [
          {"name": "Id", "type": "dtAutoInc"}, {"name": "Title", "type": "dtString", "size": 40}, {"name": "Body", "type": "dtMemo"}
        ], "indexes": [{"name": "ByTitle", "fields": "Title"}],
        "fulltext": [{"name": "Words", "fields": "Body", "newDictionary": )js" + newDictionary + "}]}";
        return RunOstra({"apply", d.db, d.File("x.json", json), "--yes"}, QByteArray());
    };
    EXPECT_FAIL(plan(R"({"name": "Notes"})"), 1, "fulltext index \"Words\": Dictionary \"Notes\" already exists");
    EXPECT_FAIL(plan(R"({"name": ""})"), 1, "Dictionary name missing");
    EXPECT_FAIL(plan(R"({"name": "W", "maxKeywordLength": 9})"), 1, "must be between 10 and 32768");
    EXPECT_FAIL(plan(R"({"name": "W", "encryption": "Bogus"})"), 1, "unknown encryption method \"Bogus\"");
    EXPECT_FAIL(plan(R"({"name": "W", "encryption": 6})"), 1,
                "dictionary \"W\" is to be encrypted with \"Rijndael/AES\" and needs a password");
    // The longest keyword length is taken.
    EXPECT_OK(plan(R"({"name": "Longest", "maxKeywordLength": 32768})"));
    QCOMPARE(DescribeJson(d.db, "Longest")["columns"].toArray().at(0).toObject()["size"].toInt(), 32767);

    // A single-file database has one key.
    CliDb s(true, "notes");
    Create(s);
    const QByteArray json = R"js({"name": "Notes", "columns": [
      {"name": "Id", "type": "dtAutoInc"}, {"name": "Title", "type": "dtString", "size": 40}, {"name": "Body", "type": "dtMemo"}
    ], "indexes": [{"name": "ByTitle", "fields": "Title"}],
    "fulltext": [{"name": "Words", "fields": "Body", "newDictionary": {"name": "W", "encryption": "Protection", "password": "secret1"}}]})js";
    EXPECT_FAIL(RunOstra({"plan", s.db, s.File("s.json", json)}), 1,
                "a new dictionary of a single-file database uses the database's encryption (method \"Default\")");
}

QTEST_GUILESS_MAIN(TestCliIndexes)
#include "tst_cliindexes.moc"
