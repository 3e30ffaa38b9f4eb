// `ostra create-db` takes what the create database dialog takes: the type,
// a catalog, the catalog's encryption method and its password, and refuses
// what the dialog refuses, in the dialog's words.
#include "cli_helper.h"

#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

class TestCliCreateDb : public QObject {
    Q_OBJECT
private slots:
    void encryptedDatabaseWithACatalog();
    void refusalsInTheDialogsWords();
};

namespace {

#define EXPECT_RUN(run, code, text)                                                                                  \
    do {                                                                                                             \
        const CliRun& r_ = (run);                                                                                    \
        QVERIFY2(r_.finished && r_.exitCode == (code), r_.Describe().constData());                                   \
        QVERIFY2((code) == 0 || r_.err.contains(QStringLiteral(text)), r_.Describe().constData());                   \
        QVERIFY2((code) != 0 || r_.out.contains(QStringLiteral(text)), r_.Describe().constData());                   \
    } while (0)

} // namespace

void TestCliCreateDb::encryptedDatabaseWithACatalog() {
    QTemporaryDir tmp;
    const QString vault = tmp.filePath("vault");
    EXPECT_RUN(RunOstra({"create-db", vault, "--single-file", "--catalog", "--encryption=rijndael/aes",
                         "--password=open-sesame"}),
               0, "Created single-file database");
    QVERIFY(QFileInfo(vault + ".ostd").isFile());
    // A table created in it needs the password; with it, it works.
    const QString table = tmp.filePath("t.json");
    WriteTextFile(table, R"js({"name": "Coins", "columns": [{"name": "A", "type": "dtInteger"}]})js");
    QCOMPARE(RunOstra({"create-table", vault + ".ostd", table}).exitCode, 1);
    EXPECT_RUN(RunOstra({"--password=open-sesame", "create-table", vault + ".ostd", table}), 0, "");
    TOstDatabase check;
    check.SetLocation(vault + ".ostd");
    check.SetPassword("open-sesame");
    check.Open();
    QVERIFY(check.GetManaged());
    QCOMPARE(check.GetEncryptionMethod(), int(emRijndael));

    // A directory database with a catalog keeps its method too; the method's number works as well.
    const QString dir = tmp.filePath("dirvault");
    EXPECT_RUN(RunOstra({"create-db", dir, "--catalog", "--encryption", "2", "--password", "guarded1"}), 0,
               "with a catalog, encrypted with Protection");
    TOstDatabase d;
    d.SetLocation(dir);
    d.Open();
    QCOMPARE(d.GetEncryptionMethod(), int(emProtection));
    // "None" needs no password.
    EXPECT_RUN(RunOstra({"create-db", tmp.filePath("plain"), "--catalog", "--encryption=None"}), 0, "with a catalog");
}

void TestCliCreateDb::refusalsInTheDialogsWords() {
    QTemporaryDir tmp;
    const QString db = tmp.filePath("x");
    EXPECT_RUN(RunOstra({"create-db", "  "}), 1, "Select a location for the new database");
    // Without a terminal to ask, a method that needs a password needs --password.
    EXPECT_RUN(RunOstra({"create-db", db, "--catalog", "--encryption=FastEncrypt"}), 1, "Password missing");
    EXPECT_RUN(RunOstra({"create-db", db, "--catalog", "--encryption=FastEncrypt", "--password=short"}), 1,
               "Password must have at least six characters");
    EXPECT_RUN(RunOstra({"create-db", db, "--catalog", "--encryption=Classic", "--password=secret"}), 1,
               "semicolon");
    EXPECT_RUN(RunOstra({"create-db", db, "--encryption=Blowfish", "--password=secret12"}), 2, "--catalog");
    EXPECT_RUN(RunOstra({"create-db", db, "--catalog", "--encryption=Default"}), 2, "unknown encryption method");
    EXPECT_RUN(RunOstra({"create-db", db, "--catalog", "--encryption=Enigma"}), 2, "Rijndael/AES");
    EXPECT_RUN(RunOstra({"create-db", db, "--catalog", "--encryption"}), 2, "--encryption");
    QVERIFY(!QFileInfo::exists(db));
    QVERIFY(!QFileInfo::exists(db + ".ostd"));
    // The Classic method takes a password, a semicolon and a key.
    EXPECT_RUN(RunOstra({"create-db", db, "--catalog", "--encryption=Classic", "--password=secret;42"}), 0,
               "encrypted with Classic");
}

QTEST_MAIN(TestCliCreateDb)
#include "tst_clicreatedb.moc"
