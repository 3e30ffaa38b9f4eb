// Changes of a table's encryption: large tables, a process killed at any
// write of the change, and the fulltext words of an encrypted table.
#include "engine/engine_helper.h"
#include "engine/tablestate_helper.h"

#include "engine/crypt/ostcryptaccess.h"
#include "engine/store/ostfaultvfs.h"

#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/wait.h>
#include <unistd.h>

namespace {

const QString kPassword = QStringLiteral("rekey-pass");

// A directory database whose component knows the password, so that every
// file of it unlocks without asking.
struct KeyedDb : TestDb {
    KeyedDb() : TestDb(false) { db->SetPassword(kPassword); }

    // Items(Name, Qty, Pad): Pad makes rows of about padding bytes.
    void CreateItems(int method, int rows, int padding) {
        auto t = Table(QStringLiteral("Items"));
        t->SetTableLevel(4);
        t->SetEncryptionMethod(method);
        t->SetEncryptionPassword(kPassword);
        AddColumn(*t, "Name", dtString, 100);
        AddColumn(*t, "Qty", dtInteger);
        AddColumn(*t, "Pad", dtMemo);
        t->CreateTable();
        Exec(QStringLiteral("INSERT INTO Items(Name, Qty, Pad) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                            "WHERE i < %1) SELECT 'Secret-' || i, i, replace(hex(zeroblob(%2 / 2)), '0', 'x') || i FROM n")
                 .arg(rows)
                 .arg(padding));
    }

    // Items restructured to method, with a column added when extra is set.
    void Alter(int method, bool extra = false) {
        auto t = Table(QStringLiteral("Items"));
        t->SetEncryptionPassword(kPassword);
        t->ReadDefinitions();
        t->SetEncryptionMethod(method);
        if (extra) AddColumn(*t, "Extra", dtInteger);
        t->AlterTable();
    }

    QString File() const { return QDir(location).filePath(QStringLiteral("Items.dat")); }
};

// Files under dir whose bytes hold text.
QStringList FilesHolding(const QString& dir, const QByteArray& text) {
    QStringList out;
    QDirIterator it(dir, QDir::Files | QDir::Hidden);
    while (it.hasNext()) {
        QFile f(it.next());
        if (f.open(QIODevice::ReadOnly) && f.readAll().contains(text)) out.append(QFileInfo(f.fileName()).fileName());
    }
    return out;
}

} // namespace

class TstRekey : public QObject {
    Q_OBJECT
private slots:
    void largeTableChangesMethod();
    void killedChangeEndsOldOrNew();
    void fulltextWordsOfAnEncryptedTableAreEncrypted();
    void dictionaryFollowsTheTablesEncryption();
};

// Over 2 MB the copy writes later pages of the new file before its first one.
void TstRekey::largeTableChangesMethod() {
    KeyedDb kdb;
    kdb.CreateItems(emNone, 3000, 1000);
    QVERIFY(QFileInfo(kdb.File()).size() > 3 * 1024 * 1024);
    const TableState plain = StateOf(*kdb.db, QStringLiteral("Items"));
    for (int method : {int(emRijndael), int(emBlowfish), int(emNone)}) {
        kdb.Alter(method);
        const TableState now = StateOf(*kdb.db, QStringLiteral("Items"));
        QCOMPARE(now.method, method);
        QCOMPARE(now.rows, plain.rows);
        QCOMPARE(now.checksum, plain.checksum);
        QCOMPARE(Leftovers(kdb.location), QStringList());
        QCOMPARE(FilesHolding(kdb.location, "Secret-2999").isEmpty(), method != emNone);
        kdb.db->Close();
    }
}

// The change runs in a child process that dies at its nth file write or sync.
// Whatever n, the table opens afterwards exactly as it was or exactly as
// changed - definition and file method agreeing - and no copy of it is left,
// the plaintext one least of all.
void TstRekey::killedChangeEndsOldOrNew() {
    KeyedDb kdb;
    kdb.CreateItems(emNone, 300, 200);
    const TableState before = StateOf(*kdb.db, QStringLiteral("Items"));
    QList<TableState> seen;
    int crashes = 0, n = 1;
    for (;; n += std::max(1, n / 6)) {
        kdb.db->Close();
        const pid_t pid = ::fork();
        if (pid == 0) {
            OstFault::Arm(n, OstFault::Crash);
            try {
                kdb.Alter(emRijndael, true);
            } catch (...) {
                ::_exit(3);
            }
            ::_exit(0);
        }
        QVERIFY(pid > 0);
        int status = 0;
        QCOMPARE(::waitpid(pid, &status, 0), pid);
        QVERIFY(WIFEXITED(status));
        const int code = WEXITSTATUS(status);
        QVERIFY2(code == 0 || code == OstFault::CrashExitCode, qPrintable(QStringLiteral("n=%1: exit %2").arg(n).arg(code)));
        const TableState now = StateOf(*kdb.db, QStringLiteral("Items"));
        QVERIFY2(Leftovers(kdb.location).isEmpty(), qPrintable(QStringLiteral("n=%1: %2").arg(n).arg(Leftovers(kdb.location).join(u' '))));
        if (code == 0) break;
        ++crashes;
        seen.append(now);
    }
    kdb.db->Close();
    const TableState after = StateOf(*kdb.db, QStringLiteral("Items"));
    QCOMPARE(after.method, int(emRijndael));
    QVERIFY(after.definition != before.definition);
    QCOMPARE(after.rows, before.rows);
    QVERIFY(crashes > 20);
    int old = 0;
    for (const TableState& s : seen) {
        QVERIFY2(s == before || s == after, s.Describe());
        old += s == before;
    }
    QVERIFY(old > 0);
    QVERIFY(FilesHolding(kdb.location, "Secret-299").isEmpty());
}

// The dictionary of a fulltext index holds every indexed word: it is as
// encrypted as its table, made with the table or added later, journal too.
void TstRekey::fulltextWordsOfAnEncryptedTableAreEncrypted() {
    KeyedDb kdb;
    auto t = kdb.Table(QStringLiteral("Docs"));
    t->SetTableLevel(4);
    t->SetEncryptionMethod(emRijndael);
    t->SetEncryptionPassword(kPassword);
    AddColumn(*t, "Id", dtAutoInc);
    AddColumn(*t, "Body", dtMemo);
    t->CreateTable();
    t->Open();
    t->AppendRecord({QVariant(), QStringLiteral("zanzibarian quokka")});
    t->AddFulltextIndex2(QStringLiteral("Body.fti"), QStringLiteral("Body"), QStringLiteral("DocsDict"), QString());
    t->Close();
    kdb.Exec(QStringLiteral("INSERT INTO Docs(Body) VALUES ('xylophonic marmalade')"));
    const QString dict = QDir(kdb.location).filePath(QStringLiteral("DocsDict.dat"));
    QCOMPARE(OstCryptStoredMethod(dict), int(emRijndael));
    QCOMPARE(kdb.Scalar(QStringLiteral("SELECT count(*) FROM DocsDict WHERE Keyword IN ('zanzibarian', 'xylophonic')")).toInt(), 2);
    // A write in progress: the dictionary's journal holds its old pages, sealed.
    kdb.db->StartTransaction();
    kdb.Exec(QStringLiteral("DELETE FROM Docs"));
    QVERIFY(QFileInfo::exists(dict + QStringLiteral("-journal")));
    const QStringList open = FilesHolding(kdb.location, "zanzibarian") + FilesHolding(kdb.location, "xylophonic");
    kdb.db->Commit();
    QCOMPARE(open, QStringList());
    kdb.db->Close();
    auto again = kdb.Table(QStringLiteral("DocsDict"));
    again->ReadDefinitions();
    QCOMPARE(again->GetEncryptionMethod(), int(emRijndael));
}

// A plain table with a dictionary of its own gets encrypted: the dictionary
// with it, in one step - a kill at any write leaves both as they were or both
// encrypted, never the words in the clear beside an encrypted table.
void TstRekey::dictionaryFollowsTheTablesEncryption() {
    KeyedDb kdb;
    {
        auto t = kdb.Table(QStringLiteral("Docs"));
        t->SetTableLevel(4);
        AddColumn(*t, "Id", dtAutoInc);
        AddColumn(*t, "Body", dtMemo);
        t->CreateTable();
        t->AddFulltextIndex2(QStringLiteral("Body.fti"), QStringLiteral("Body"), QStringLiteral("DocsDict"), QString());
    }
    kdb.Exec(QStringLiteral("INSERT INTO Docs(Body) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 200) "
                            "SELECT 'zanzibarian word' || i FROM n"));
    const QString docs = QDir(kdb.location).filePath(QStringLiteral("Docs.dat"));
    const QString dict = QDir(kdb.location).filePath(QStringLiteral("DocsDict.dat"));
    QVERIFY(!FilesHolding(kdb.location, "zanzibarian").isEmpty());
    const TableState words = StateOf(*kdb.db, QStringLiteral("DocsDict"));
    auto encrypt = [&] {
        auto t = kdb.Table(QStringLiteral("Docs"));
        t->SetEncryptionPassword(kPassword);
        t->ReadDefinitions();
        t->SetEncryptionMethod(emRijndael);
        t->AlterTable();
    };
    int crashes = 0;
    for (int n = 1;; n += std::max(1, n / 5)) {
        kdb.db->Close();
        const pid_t pid = ::fork();
        if (pid == 0) {
            OstFault::Arm(n, OstFault::Crash);
            try {
                encrypt();
            } catch (...) {
                ::_exit(3);
            }
            ::_exit(0);
        }
        int status = 0;
        QCOMPARE(::waitpid(pid, &status, 0), pid);
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        QVERIFY2(code == 0 || code == OstFault::CrashExitCode, qPrintable(QStringLiteral("n=%1: exit %2").arg(n).arg(code)));
        const TableState table = StateOf(*kdb.db, QStringLiteral("Docs"));
        const TableState dictionary = StateOf(*kdb.db, QStringLiteral("DocsDict"));
        const QString at = QStringLiteral("n=%1: table %2, dictionary %3").arg(n).arg(table.method).arg(dictionary.method);
        QVERIFY2(table.method == dictionary.method, qPrintable(at));
        auto defined = [](const TableState& s) { return QJsonDocument::fromJson(s.definition.toUtf8()).object()["encryption"].toInt(); };
        QVERIFY2(defined(dictionary) == defined(table), qPrintable(at));
        QCOMPARE(dictionary.checksum, words.checksum);
        QVERIFY2(Leftovers(kdb.location).isEmpty(), qPrintable(at + QStringLiteral(": ") + Leftovers(kdb.location).join(u' ')));
        if (code == 0) break;
        ++crashes;
    }
    QVERIFY(crashes > 10);
    QCOMPARE(OstCryptStoredMethod(docs), int(emRijndael));
    QCOMPARE(OstCryptStoredMethod(dict), int(emRijndael));
    QCOMPARE(FilesHolding(kdb.location, "zanzibarian"), QStringList());
}

QTEST_GUILESS_MAIN(TstRekey)
#include "tst_rekey.moc"
