// Encrypted tables and databases: what reaches the disk, round trips of every
// method, passwords asked for and refused, changes of method as restructures,
// and database defaults.
#include "engine/engine_helper.h"

#include "engine/store/ostconnection.h"
#include "engine/crypt/ostcryptaccess.h"
#include "engine/crypt/ostvfs.h"

#include <QDirIterator>
#include <QFile>

namespace {
// The files of a directory database but the table lock files beside them.
QStringList DataFiles(const QString& dir) {
    QStringList files = QDir(dir).entryList(QDir::Files);
    files.removeIf([](const QString& f) { return f.endsWith(QStringLiteral("-lock")); });
    return files;
}
} // namespace

namespace {

// Every file under dir whose bytes hold text.
QStringList FilesHolding(const QString& dir, const QByteArray& text) {
    QStringList out;
    QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile f(it.next());
        if (f.open(QIODevice::ReadOnly) && f.readAll().contains(text)) out.append(QFileInfo(f.fileName()).fileName());
    }
    return out;
}

// Plain text a table of ours would show if its pages were not encrypted.
QStringList PlainTraces(const QString& dir) {
    QStringList out;
    for (const char* text : {"Secret-", "SQLite format 3", "CREATE TABLE"})
        for (const QString& f : FilesHolding(dir, text)) out.append(f + QStringLiteral(": ") + QLatin1String(text));
    return out;
}

struct CryptDb {
    QTemporaryDir dir;
    QString location;
    std::unique_ptr<TOstDatabase> db;

    CryptDb(bool singleFile, int method = emNone, const QString& password = QString(), bool managed = false) {
        static int counter = 0;
        db = std::make_unique<TOstDatabase>(nullptr);
        db->SetDatabaseName(QStringLiteral("Crypt%1").arg(++counter));
        location = singleFile ? dir.filePath(QStringLiteral("crypt.ostd")) : dir.filePath(QStringLiteral("db"));
        db->SetDatabaseType(singleFile ? dbtSingleFile : dbtDirectory);
        db->SetManaged(managed);
        db->SetEncryptionMethod(method);
        db->SetPassword(password);
        db->SetLocation(location);
        db->CreateDatabase();
    }

    std::unique_ptr<TOstTable> Table(const QString& name, const QString& password = QString()) {
        auto t = std::make_unique<TOstTable>(nullptr);
        t->SetDatabaseName(db->GetDatabaseName());
        t->SetTableName(name);
        t->SetEncryptionPassword(password);
        return t;
    }

    // A table Name/Qty holding rows "Secret-Alpha-1" to "Secret-Alpha-<rows>".
    void Create(const QString& name, int method, const QString& password, int rows = 50) {
        auto t = Table(name, password);
        t->SetEncryptionMethod(method);
        AddColumn(*t, "Name", dtString, 1000);
        AddColumn(*t, "Qty", dtInteger);
        t->CreateTable();
        if (rows > 0) Insert(name, 1, rows, QStringLiteral("Secret-Alpha-"));
    }

    void Exec(const QString& sql) {
        TOstQuery q;
        q.SetDatabaseName(db->GetDatabaseName());
        q.SetSQL(sql);
        q.ExecSQL();
    }

    void Insert(const QString& table, int from, int to, const QString& prefix) {
        Exec(QStringLiteral("INSERT INTO %1(Name, Qty) WITH RECURSIVE n(i) AS (SELECT %2 UNION ALL SELECT i + 1 FROM n "
                            "WHERE i < %3) SELECT '%4' || i, i FROM n").arg(table).arg(from).arg(to).arg(prefix));
    }

    QStringList Column(const QString& sql) {
        TOstQuery q;
        q.SetDatabaseName(db->GetDatabaseName());
        q.SetSQL(sql);
        q.Open();
        QStringList out;
        for (q.First(); !q.Eof(); q.Next()) out.append(q.Fields()[0]->AsString());
        return out;
    }

    QStringList Names(const QString& table) { return Column(QStringLiteral("SELECT Name FROM %1 ORDER BY Qty").arg(table)); }

    QString File(const QString& table) const {
        return db->IsSingleFile() ? location : QDir(location).filePath(table + QStringLiteral(".dat"));
    }

    // Ends the session: with every component closed the connection goes, and
    // with it the keys it held; the next use unlocks the files again.
    void Disconnect() { db->Close(); }
};

QStringList AlphaRows(int n) {
    QStringList out;
    for (int i = 1; i <= n; ++i) out.append(QStringLiteral("Secret-Alpha-%1").arg(i));
    return out;
}

// A password handler that answers from a list (retry while answers remain)
// and records who asked for what.
struct Answers {
    QStringList answers;
    int calls = 0;
    QString name;
    QObject* sender = nullptr;
    explicit Answers(QStringList a) : answers(std::move(a)) {
        SetGlobalOnPassword([this](QObject* s, const QString& n, QString& password, bool& retry) {
            sender = s;
            name = n;
            retry = calls < answers.size();
            if (retry) password = answers.at(calls);
            ++calls;
        });
    }
    ~Answers() { SetGlobalOnPassword(nullptr); }
};

} // namespace

class TstEncryption : public QObject {
    Q_OBJECT
private slots:
    void roundTripOfEveryMethod_data();
    void roundTripOfEveryMethod();
    void journalHoldsNoPlaintextAndRollsBack();
    void tamperedPageIsRefused();
    void wrongPasswordAsksAgainThenRefuses();
    void wrongDatabasePasswordIsRefused();
    void methodChangesKeepEveryRow();
    void failedMethodChangeLeavesTheTableAsItWas();
    void databaseDefaultApplies();
    void classicSplitsAtTheLastSemicolon();
    void renamedAndRecreatedTablesKeepTheirOwnKeys();
    void temporaryFilesStayInMemory();
};

void TstEncryption::roundTripOfEveryMethod_data() {
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<int>("method");
    for (int m = emProtection; m <= emRijndael; ++m) {
        QTest::newRow(qPrintable(QStringLiteral("directory %1").arg(OstCrypt::MethodName(m)))) << false << m;
        QTest::newRow(qPrintable(QStringLiteral("single-file %1").arg(OstCrypt::MethodName(m)))) << true << m;
    }
}

void TstEncryption::roundTripOfEveryMethod() {
    QFETCH(bool, singleFile);
    QFETCH(int, method);
    const QString password = method == emClassic ? QStringLiteral("round;trip;7") : QStringLiteral("round-trip");
    // A single-file database is encrypted as a whole; its tables use "Default".
    CryptDb cdb(singleFile, singleFile ? method : emNone, singleFile ? password : QString());
    cdb.Create(QStringLiteral("T"), singleFile ? emDefault : method, singleFile ? QString() : password, 300);
    QCOMPARE(OstCryptStoredMethod(cdb.File(QStringLiteral("T"))), method);
    QCOMPARE(PlainTraces(cdb.dir.path()), QStringList());

    cdb.Disconnect();
    cdb.db->SetPassword(singleFile ? password : QString());
    auto t = cdb.Table(QStringLiteral("T"), singleFile ? QString() : password);
    t->Open();
    QCOMPARE(t->RecordCount(), 300);
    t->Last();
    QCOMPARE(t->FieldByName("Name")->AsString(), QStringLiteral("Secret-Alpha-300"));
    t->AppendRecord({QStringLiteral("Secret-Alpha-301"), 301});
    t->Close();
    QCOMPARE(cdb.Names(QStringLiteral("T")), AlphaRows(301));
    QCOMPARE(PlainTraces(cdb.dir.path()), QStringList());
}

void TstEncryption::journalHoldsNoPlaintextAndRollsBack() {
    CryptDb cdb(false);
    cdb.Create(QStringLiteral("T"), emRijndael, QStringLiteral("journal-pw"), 2000);
    const QString file = cdb.File(QStringLiteral("T"));

    cdb.db->StartTransaction();
    cdb.Exec(QStringLiteral("UPDATE T SET Name = 'Secret-Bravo-' || Qty"));
    // More than the page cache holds: pages go to the file, old ones to the journal, before the commit.
    cdb.Exec(QStringLiteral("INSERT INTO T(Name, Qty) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                            "WHERE i < 4000) SELECT 'Secret-Bravo-' || i || hex(zeroblob(450)), 10000 + i FROM n"));
    QVERIFY(QFileInfo(file + QStringLiteral("-journal")).size() > 8 * 4096);
    QCOMPARE(PlainTraces(cdb.dir.path()), QStringList());

    // What a crash would leave behind.
    QTemporaryDir crash;
    QDir().mkpath(crash.filePath(QStringLiteral("db")));
    for (const QString& suffix : {QString(), QStringLiteral("-journal")})
        QVERIFY(QFile::copy(file + suffix, crash.filePath(QStringLiteral("db/T.dat")) + suffix));
    {
        // The crash tore page 1 (its second half never reached the disk); the journal holds it whole.
        QFile torn(crash.filePath(QStringLiteral("db/T.dat")));
        QVERIFY(torn.open(QIODevice::ReadWrite));
        torn.seek(2048);
        torn.write(QByteArray(2048, '\0'));
    }

    cdb.db->Rollback();
    QCOMPARE(cdb.Names(QStringLiteral("T")), AlphaRows(2000));
    cdb.db->StartTransaction();
    cdb.Exec(QStringLiteral("UPDATE T SET Name = 'Secret-Charlie-' || Qty WHERE Qty <= 10"));
    cdb.db->Commit();
    QCOMPARE(cdb.Names(QStringLiteral("T")).first(), QStringLiteral("Secret-Charlie-1"));
    QCOMPARE(PlainTraces(cdb.dir.path()), QStringList());
    cdb.Disconnect();

    // Opened after the "crash", the encrypted journal rolls the copy back.
    TOstDatabase copy;
    copy.SetDatabaseName(QStringLiteral("CrashCopy"));
    copy.SetLocation(crash.filePath(QStringLiteral("db")));
    copy.SetPassword(QStringLiteral("journal-pw"));
    TOstQuery q;
    q.SetDatabaseName(QStringLiteral("CrashCopy"));
    q.SetSQL(QStringLiteral("SELECT count(*), min(Name), max(Qty) FROM T"));
    q.Open();
    QCOMPARE(q.Fields()[0]->AsInteger(), 2000);
    QCOMPARE(q.Fields()[1]->AsString(), QStringLiteral("Secret-Alpha-1"));
    QCOMPARE(q.Fields()[2]->AsInteger(), 2000);
    q.Close();
    QVERIFY(!QFileInfo::exists(crash.filePath(QStringLiteral("db/T.dat-journal"))));
}

void TstEncryption::tamperedPageIsRefused() {
    CryptDb cdb(false);
    cdb.Create(QStringLiteral("T"), emFastEncrypt, QStringLiteral("tamper-pw"), 500);
    cdb.Disconnect();
    QFile f(cdb.File(QStringLiteral("T")));
    QVERIFY(f.open(QIODevice::ReadWrite));
    QByteArray bytes = f.readAll();
    for (qsizetype at = 3 * 4096 + 700; at < bytes.size(); at += 4096) bytes[at] = char(bytes[at] ^ 0x20);
    f.seek(0);
    f.write(bytes);
    f.close();
    // Damaged pages raise an error; they are never handed out as rows.
    QVERIFY(Raised([&] { cdb.Column(QStringLiteral("SELECT max(Name) FROM T")); }).ErrorCode() != 0);
}

void TstEncryption::wrongPasswordAsksAgainThenRefuses() {
    CryptDb cdb(false);
    cdb.Create(QStringLiteral("T"), emRijndael, QStringLiteral("right-one"));
    cdb.Disconnect();
    {
        Answers handler({QStringLiteral("wrong-1"), QStringLiteral("wrong-2")});
        auto t = cdb.Table(QStringLiteral("T"), QStringLiteral("not-it"));
        const EOstraError e = Raised([&] { t->Open(); });
        QCOMPARE(e.ErrorCode(), OstErr::Password);
        QCOMPARE(e.Message(), QStringLiteral("Wrong password for table \"T\""));
        QCOMPARE(handler.calls, 3); // two wrong answers, then the handler gives up
        QCOMPARE(handler.name, QStringLiteral("T"));
        QCOMPARE(handler.sender, t.get());
        QVERIFY(!t->Active());
    }
    {
        Answers handler({QStringLiteral("wrong-1"), QStringLiteral("right-one")});
        auto t = cdb.Table(QStringLiteral("T"));
        t->Open();
        QCOMPARE(handler.calls, 2);
        QCOMPARE(t->RecordCount(), 50);
    }
    cdb.Disconnect();
    {
        // Cancelled at once: no retry, and no password to call wrong.
        Answers handler({});
        const EOstraError e = Raised([&] { cdb.Table(QStringLiteral("T"))->Open(); });
        QCOMPARE(handler.calls, 1);
        QCOMPARE(e.ErrorCode(), OstErr::Password);
        QCOMPARE(e.Message(), QStringLiteral("Table \"T\" is encrypted and needs a password"));
    }
    // Without a handler the refusal comes at once, for SQL as for tables.
    QCOMPARE(Raised([&] { cdb.Names(QStringLiteral("T")); }).ErrorCode(), OstErr::Password);
    QCOMPARE(Raised([&] { cdb.Table(QStringLiteral("T"), QStringLiteral("wrong"))->Open(); }).Message(),
             QStringLiteral("Wrong password for table \"T\""));
    // The table is still listed by its name.
    QStringList names;
    cdb.db->GetTableNames(names);
    QCOMPARE(names, QStringList{QStringLiteral("T")});
}

void TstEncryption::wrongDatabasePasswordIsRefused() {
    CryptDb cdb(true, emBlowfish, QStringLiteral("db-password"));
    cdb.Create(QStringLiteral("T"), emDefault, QString());
    cdb.Disconnect();
    cdb.db->SetPassword(QStringLiteral("db-passwort"));
    Answers handler({});
    const EOstraError e = Raised([&] { cdb.db->Open(); });
    QCOMPARE(e.ErrorCode(), OstErr::Password);
    QCOMPARE(e.Message(), QStringLiteral("Wrong password for database \"%1\"").arg(cdb.db->GetDatabaseName()));
    QCOMPARE(handler.name, cdb.db->GetDatabaseName());
    QVERIFY(!cdb.db->GetConnected());
    cdb.db->SetPassword(QStringLiteral("db-password"));
    QCOMPARE(cdb.Names(QStringLiteral("T")), AlphaRows(50));

    // Creating an encrypted database needs a password; nothing is written without one.
    TOstDatabase bare;
    bare.SetLocation(cdb.dir.filePath(QStringLiteral("bare.ostd")));
    bare.SetEncryptionMethod(emRijndael);
    QCOMPARE(Raised([&] { bare.CreateDatabase(); }).ErrorCode(), OstErr::Password);
    QVERIFY(!QFileInfo::exists(bare.GetLocation()));
}

void TstEncryption::methodChangesKeepEveryRow() {
    CryptDb cdb(false);
    cdb.Create(QStringLiteral("T"), emNone, QString(), 400);
    QVERIFY(!FilesHolding(cdb.dir.path(), "Secret-Alpha-400").isEmpty()); // plain to begin with
    const struct {
        int method;
        const char* password;
        bool addColumn;
    } steps[] = {{emRijndael, "aes-pass", false}, {emBlowfish, "blowfish-pass", true}, {emNone, "", false}};
    QString previous;
    for (const auto& step : steps) {
        // Opened with the password it has, restructured to the new method and password.
        auto t = cdb.Table(QStringLiteral("T"), previous);
        t->Open();
        t->SetEncryptionMethod(step.method);
        t->SetEncryptionPassword(QString::fromLatin1(step.password));
        if (step.addColumn) AddColumn(*t, "Extra", dtInteger);
        t->AlterTable();
        previous = QString::fromLatin1(step.password);
        QVERIFY(t->Active());
        QCOMPARE(t->RecordCount(), 400);
        t->Close();
        const QString at = OstCrypt::MethodName(step.method);
        QVERIFY2(OstCryptStoredMethod(cdb.File(QStringLiteral("T"))) == step.method, qPrintable(at));
        QCOMPARE(DataFiles(cdb.location), QStringList{QStringLiteral("T.dat")});
        QCOMPARE(PlainTraces(cdb.dir.path()).isEmpty(), step.method != emNone);

        cdb.Disconnect();
        auto again = cdb.Table(QStringLiteral("T"), QString::fromLatin1(step.password));
        again->Open();
        QCOMPARE(again->GetEncryptionMethod(), step.method);
        again->Close();
        QCOMPARE(cdb.Names(QStringLiteral("T")), AlphaRows(400));
    }
    QCOMPARE(cdb.Column(QStringLiteral("SELECT count(Extra) FROM T")), QStringList{QStringLiteral("0")});
}

void TstEncryption::failedMethodChangeLeavesTheTableAsItWas() {
    CryptDb cdb(false);
    cdb.Create(QStringLiteral("T"), emRijndael, QStringLiteral("old-pass"), 3000);
    const QString file = cdb.File(QStringLiteral("T"));
    auto changed = [&](int method, const QString& password, int level) {
        auto t = cdb.Table(QStringLiteral("T"), QStringLiteral("old-pass"));
        t->ReadDefinitions();
        t->SetTableLevel(level);
        t->SetEncryptionMethod(method);
        t->SetEncryptionPassword(password);
        AddColumn(*t, "Extra", dtInteger);
        return t;
    };

    // Aborted during the copy, after the file was written anew under the new key.
    auto t = changed(emBlowfish, QStringLiteral("new-pass"), 6);
    t->OnProgress = [](QObject*, int percent, bool& abort) { abort = percent >= 50; };
    QCOMPARE(Raised([&] { t->AlterTable(); }).ErrorCode(), OstErr::Aborted);
    // A strong method below level 4, and a new method without a password: refused before anything changes.
    const EOstraError level = Raised([&] { changed(emRijndael, QStringLiteral("old-pass"), 3)->AlterTable(); });
    QCOMPARE(level.ErrorCode(), OstErr::LevelViolation);
    QVERIFY2(level.Message().contains(QStringLiteral("\"Rijndael/AES\" needs table level 4")), qPrintable(level.Message()));
    const EOstraError nopass = Raised([&] { changed(emProtection, QString(), 6)->AlterTable(); });
    QCOMPARE(nopass.ErrorCode(), OstErr::Password);
    QCOMPARE(nopass.Message(), QStringLiteral("Table \"T\" needs a password for encryption method \"Protection\""));

    QCOMPARE(OstCryptStoredMethod(file), int(emRijndael));
    QCOMPARE(DataFiles(cdb.location), QStringList{QStringLiteral("T.dat")});
    cdb.Disconnect();
    QCOMPARE(Raised([&] { cdb.Table(QStringLiteral("T"), QStringLiteral("new-pass"))->Open(); }).ErrorCode(), OstErr::Password);
    auto old = cdb.Table(QStringLiteral("T"), QStringLiteral("old-pass"));
    old->Open();
    QCOMPARE(old->GetFieldDefsOst().Count(), 2);
    QCOMPARE(old->RecordCount(), 3000);
    old->Close();
    QCOMPARE(cdb.Names(QStringLiteral("T")), AlphaRows(3000));
}

void TstEncryption::databaseDefaultApplies() {
    {
        // A managed directory database: "Default" tables take its method and password.
        CryptDb cdb(false, emFastEncrypt, QStringLiteral("db-secret"), true);
        cdb.Create(QStringLiteral("Enc"), emDefault, QString());
        cdb.Create(QStringLiteral("Open"), emNone, QString());
        QCOMPARE(OstCryptStoredMethod(cdb.File(QStringLiteral("Enc"))), int(emFastEncrypt));
        QCOMPARE(OstCryptStoredMethod(cdb.File(QStringLiteral("Open"))), int(emNone));
        QCOMPARE(FilesHolding(cdb.dir.path(), "Secret-Alpha-"), QStringList{QStringLiteral("Open.dat")});
        cdb.Disconnect();
        QCOMPARE(cdb.Names(QStringLiteral("Enc")), AlphaRows(50));
        // A table restructured to "Default" takes the database's key.
        auto open = cdb.Table(QStringLiteral("Open"));
        open->ReadDefinitions();
        open->SetEncryptionMethod(emDefault);
        open->AlterTable();
        QCOMPARE(OstCryptStoredMethod(cdb.File(QStringLiteral("Open"))), int(emFastEncrypt));
        QCOMPARE(FilesHolding(cdb.location, "Secret-"), QStringList()); // the catalog holds no rows
        cdb.Disconnect();
        QCOMPARE(cdb.Names(QStringLiteral("Open")), AlphaRows(50));
        cdb.Disconnect();
        cdb.db->SetPassword(QString());
        QCOMPARE(Raised([&] { cdb.Names(QStringLiteral("Enc")); }).ErrorCode(), OstErr::Password);
    }
    {
        // A single-file database is one file with one key.
        CryptDb cdb(true, emRijndael, QStringLiteral("db-secret"));
        cdb.Create(QStringLiteral("T"), emDefault, QString());
        QCOMPARE(PlainTraces(cdb.dir.path()), QStringList());
        auto own = cdb.Table(QStringLiteral("Own"), QStringLiteral("other-pass"));
        own->SetEncryptionMethod(emBlowfish);
        AddColumn(*own, "Name", dtString, 20);
        const EOstraError e = Raised([&] { own->CreateTable(); });
        QCOMPARE(e.ErrorCode(), OstErr::InvalidDefinition);
        QVERIFY2(e.Message().contains(QStringLiteral("single-file database")), qPrintable(e.Message()));
        QVERIFY(!own->Exists());
        QCOMPARE(cdb.Names(QStringLiteral("T")), AlphaRows(50));
    }
}

void TstEncryption::classicSplitsAtTheLastSemicolon() {
    CryptDb cdb(false);
    // The password is "pass;word", the key 42.
    cdb.Create(QStringLiteral("T"), emClassic, QStringLiteral("pass;word;42"));
    cdb.Disconnect();
    for (const char* wrong : {"pass;word;43", "pass;wordx;42", "pass;word", "pass"}) {
        QCOMPARE(Raised([&] { cdb.Table(QStringLiteral("T"), QString::fromLatin1(wrong))->Open(); }).ErrorCode(),
                 OstErr::Password);
    }
    auto t = cdb.Table(QStringLiteral("T"), QStringLiteral("pass;word;42"));
    t->Open();
    QCOMPARE(t->RecordCount(), 50);
    t->Close();

    // A key that is not a whole number is refused when the table is made.
    auto bad = cdb.Table(QStringLiteral("Bad"), QStringLiteral("secret;forty"));
    bad->SetEncryptionMethod(emClassic);
    AddColumn(*bad, "Name", dtString, 20);
    const EOstraError e = Raised([&] { bad->CreateTable(); });
    QCOMPARE(e.ErrorCode(), OstErr::Password);
    QVERIFY2(e.Message().contains(QStringLiteral("numeric key")), qPrintable(e.Message()));
    QVERIFY(!bad->Exists());
}

void TstEncryption::renamedAndRecreatedTablesKeepTheirOwnKeys() {
    CryptDb cdb(false);
    cdb.Create(QStringLiteral("T"), emFastEncrypt, QStringLiteral("rename-pass"));
    cdb.Table(QStringLiteral("T"), QStringLiteral("rename-pass"))->RenameTable(QStringLiteral("U"));
    QCOMPARE(cdb.Names(QStringLiteral("U")), AlphaRows(50));
    QCOMPARE(OstCryptStoredMethod(cdb.File(QStringLiteral("U"))), int(emFastEncrypt));

    // A table made anew under a name whose file was encrypted gets the method it asks for.
    cdb.Create(QStringLiteral("V"), emRijndael, QStringLiteral("v-pass"));
    cdb.Table(QStringLiteral("V"))->DeleteTable();
    cdb.Create(QStringLiteral("V"), emNone, QString());
    QCOMPARE(OstCryptStoredMethod(cdb.File(QStringLiteral("V"))), int(emNone));
    QCOMPARE(FilesHolding(cdb.location, "Secret-Alpha-"), QStringList{QStringLiteral("V.dat")});

    cdb.Disconnect();
    QCOMPARE(Raised([&] { cdb.Names(QStringLiteral("U")); }).ErrorCode(), OstErr::Password);
    cdb.db->SetPassword(QStringLiteral("rename-pass"));
    QCOMPARE(cdb.Names(QStringLiteral("U")), AlphaRows(50));
}

void TstEncryption::temporaryFilesStayInMemory() {
    CryptDb cdb(false);
    cdb.Create(QStringLiteral("T"), emProtection, QStringLiteral("sort-pass"), 0);
    cdb.Exec(QStringLiteral("INSERT INTO T(Name, Qty) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                            "WHERE i < 20000) SELECT 'Secret-' || hex(randomblob(40)), i FROM n"));
    // Connections keep temporary storage in memory; even one that asks for
    // files (here with a tiny sort memory, so that the sort spills) gets memory.
    const auto c = cdb.db->Connection();
    c->Exec(QStringLiteral("PRAGMA temp_store = FILE; PRAGMA main.cache_size = 5"));
    const int before = OstVfsMemoryFiles();
    const QStringList sorted = cdb.Column(QStringLiteral("SELECT Name FROM T ORDER BY substr(Name, 8)"));
    c->Exec(QStringLiteral("PRAGMA temp_store = MEMORY; PRAGMA main.cache_size = -2000"));
    QVERIFY(OstVfsMemoryFiles() > before);
    QCOMPARE(sorted.size(), 20000);
    for (int i = 1; i < sorted.size(); ++i) QVERIFY(sorted[i - 1].mid(7) <= sorted[i].mid(7));
}

QTEST_GUILESS_MAIN(TstEncryption)
#include "tst_encryption.moc"
