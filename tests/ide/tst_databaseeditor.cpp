// The database component editor's verbs on real databases: creating a new
// database through the create database dialog (directory, single file,
// managed and encrypted), pointing the component at another database, and
// its private directory; the module marked modified after every verb.
#include "../common/collected_dialogs.h"
#include "../common/modal_helper.h"
#include "common/ostscripteddialogs.h"
#include "engine/ostdataset.h"
#include "engine/base/tdatamodule.h"
#include "ide/ostreg.h"
#include "ide/osttableeditor.h"
#include "setup/ostcreatedbdlg.h"
#include "setup/ostpasswordchangedlg.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"

#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QtTest>

class TstDatabaseEditor : public QObject {
    Q_OBJECT
private slots:
    void init();
    void verbsAreCreateSelectAndPrivateDirectory();
    void createsADirectoryDatabase();
    void createsAnEncryptedSingleFileDatabase();
    void refusedCreationLeavesTheComponentAsItWas();
    void selectDatabaseKeepsTheConnectedState();
    void privateDirectoryIsChosenInAFolderChooser();
};

namespace {

struct Module {
    TDataModule root;
    TDesigner designer{&root};
    TOstDatabase* db;
    Module() {
        db = static_cast<TOstDatabase*>(designer.CreateComponent(&TOstDatabase::staticMetaObject, nullptr, 0, 0, 0, 0));
        db->SetDatabaseName("Shop");
        designer.SetUnmodified();
    }
};

using Dialogs = TCollectedDialogs;

// Answers the create database dialog: type, catalog, method, location.
void AnswerCreate(bool singleFile, bool catalog, const QString& method, const QString& location) {
    WhenShown<TCreateDBDialog>([=](TCreateDBDialog* d) {
        (singleFile ? d->SingleFileRadio() : d->DirectoryRadio())->click();
        if (catalog) d->CatalogRadio()->click();
        if (!method.isEmpty()) d->EncryptionTypComboBox()->setCurrentIndex(d->EncryptionTypComboBox()->findText(method));
        d->LocationEdit()->setText(location);
        d->OKBtn()->click();
    });
}

} // namespace

void TstDatabaseEditor::init() {
    ClearRegistrations();
    Register();
}

void TstDatabaseEditor::verbsAreCreateSelectAndPrivateDirectory() {
    Module m;
    auto editor = GetComponentEditor(m.db, &m.designer);
    QVERIFY(dynamic_cast<TOstDatabaseEditor*>(editor.get()));
    QStringList verbs;
    for (int i = 0; i < editor->GetVerbCount(); ++i) verbs.append(editor->GetVerb(i));
    QCOMPARE(verbs, QStringList({"Create New Database...", "Select Database...", "Private Directory..."}));
    QVERIFY_THROWS_EXCEPTION(EComponentError, editor->GetVerb(3));
    QVERIFY_THROWS_EXCEPTION(EComponentError, editor->ExecuteVerb(3));
    // Every verb marks the module modified, even a cancelled one.
    Dialogs dialogs;
    WhenShown<TCreateDBDialog>([](TCreateDBDialog* d) { d->reject(); });
    editor->ExecuteVerb(0);
    QVERIFY(m.designer.IsModified());
    m.designer.SetUnmodified();
    dialogs.service.Cancel();
    editor->ExecuteVerb(1);
    QVERIFY(m.designer.IsModified());
    m.designer.SetUnmodified();
    dialogs.service.Cancel();
    editor->ExecuteVerb(2);
    QVERIFY(m.designer.IsModified());
    QCOMPARE(dialogs.failures, QStringList());
}

void TstDatabaseEditor::createsADirectoryDatabase() {
    QTemporaryDir dir;
    Module m;
    TOstDatabaseEditor editor(m.db, &m.designer);
    QString start;
    WhenShown<TCreateDBDialog>([&](TCreateDBDialog* d) {
        start = d->LocationEdit()->text();
        d->LocationEdit()->setText(dir.filePath("shop"));
        d->OKBtn()->click();
    });
    m.db->SetLocation(dir.filePath("old"));
    editor.ExecuteVerb(0);
    QCOMPARE(start, dir.filePath("old")); // the component's location to start with
    QVERIFY(QFileInfo(dir.filePath("shop")).isDir());
    QVERIFY(m.db->GetConnected());
    QCOMPARE(m.db->GetLocation(), dir.filePath("shop"));
    QCOMPARE(m.db->GetDatabaseType(), int(dbtDirectory));
    QVERIFY(!m.db->GetManaged());
    QCOMPARE(m.db->GetEncryptionMethod(), int(emNone));
    // A table goes into the new database.
    TOstTable t(&m.root);
    t.SetDatabaseName("Shop");
    t.SetTableName("Items");
    t.GetFieldDefsOst().Add("Name", dtString, 10);
    t.CreateTable();
    QVERIFY(QFileInfo::exists(dir.filePath("shop/Items.dat")));
}

void TstDatabaseEditor::createsAnEncryptedSingleFileDatabase() {
    QTemporaryDir dir;
    Module m;
    Dialogs dialogs;
    TOstDatabaseEditor editor(m.db, &m.designer);
    // OK without a password asks for it at once.
    AnswerCreate(true, true, "Rijndael/AES", dir.filePath("books"));
    WhenShown<TOstPasswordChangeDialog>([](TOstPasswordChangeDialog* d) {
        d->PasswordEdit()->setText("secret42");
        d->ConfirmEdit()->clear();
        QTest::keyClicks(d->ConfirmEdit(), "secret42"); // typed: no longer the filler
        d->OkButton()->click();
    });
    editor.ExecuteVerb(0);
    const QString file = dir.filePath("books.ostd"); // the extension comes with the single file
    QVERIFY(QFileInfo(file).isFile());
    QCOMPARE(m.db->GetLocation(), file);
    QVERIFY(m.db->GetManaged());
    QCOMPARE(m.db->GetEncryptionMethod(), int(emRijndael));
    QCOMPARE(m.db->GetPassword(), QStringLiteral("secret42"));
    QVERIFY(m.db->GetConnected());
    // The file is encrypted: without the password nothing reads it.
    QFile raw(file);
    QVERIFY(raw.open(QIODevice::ReadOnly));
    QVERIFY(!raw.readAll().contains("__ostra_meta"));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstDatabaseEditor::refusedCreationLeavesTheComponentAsItWas() {
    QTemporaryDir dir;
    Module m;
    TOstDatabaseEditor editor(m.db, &m.designer);
    {
        TOstDatabase existing;
        existing.SetLocation(dir.filePath("taken.ostd"));
        existing.SetDatabaseType(dbtSingleFile);
        existing.CreateDatabase();
    }
    TOstDatabase first;
    first.SetLocation(dir.filePath("first"));
    first.CreateDatabase();
    m.db->SetLocation(dir.filePath("first"));
    m.db->SetConnected(true);
    AnswerCreate(true, false, QString(), dir.filePath("taken.ostd"));
    QVERIFY_THROWS_EXCEPTION(EOstraError, editor.CreateOstraDatabase());
    QCOMPARE(m.db->GetLocation(), dir.filePath("first"));
    QCOMPARE(m.db->GetDatabaseType(), int(dbtDirectory));
    QVERIFY(m.db->GetConnected());
}

void TstDatabaseEditor::selectDatabaseKeepsTheConnectedState() {
    QTemporaryDir dir;
    for (const char* name : {"one", "two"}) {
        TOstDatabase d;
        d.SetLocation(dir.filePath(name));
        d.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(dir.filePath(name));
        t.SetTableName(name);
        t.GetFieldDefsOst().Add("A", dtInteger, 0);
        t.CreateTable();
    }
    Module m;
    Dialogs dialogs;
    TOstDatabaseEditor editor(m.db, &m.designer);
    m.db->SetLocation(dir.filePath("one"));
    m.db->SetConnected(true);
    // A table file stands for its folder; connected stays connected.
    dialogs.service.ChooseFile(dir.filePath("two/two.dat"));
    editor.ExecuteVerb(1);
    QCOMPARE(dialogs.service.Calls().last().Caption, QStringLiteral("Select Database"));
    QCOMPARE(dialogs.service.Calls().last().InitialDir, dir.filePath("one"));
    QCOMPARE(m.db->GetLocation(), dir.filePath("two") + "/");
    QVERIFY(m.db->GetConnected());
    QStringList names;
    m.db->GetTableNames(names);
    QCOMPARE(names, QStringList({"two"}));
    // The same location in other letter case: untouched, no reconnect.
    const std::shared_ptr<OstConnection> before = m.db->Connection();
    dialogs.service.ChooseFile(dir.filePath("TWO/two.dat"));
    editor.ExecuteVerb(1);
    QCOMPARE(m.db->GetLocation(), dir.filePath("two") + "/");
    QVERIFY(m.db->Connection() == before);
    // Disconnected stays disconnected.
    m.db->SetConnected(false);
    dialogs.service.ChooseFile(dir.filePath("one/one.dat"));
    editor.ExecuteVerb(1);
    QCOMPARE(m.db->GetLocation(), dir.filePath("one") + "/");
    QVERIFY(!m.db->GetConnected());
    QCOMPARE(dialogs.failures, QStringList());
}

void TstDatabaseEditor::privateDirectoryIsChosenInAFolderChooser() {
    QTemporaryDir dir;
    Module m;
    Dialogs dialogs;
    TOstDatabaseEditor editor(m.db, &m.designer);
    dialogs.service.ChooseDirectory(dir.path());
    editor.ExecuteVerb(2);
    QCOMPARE(dialogs.service.Calls().last().Caption, QStringLiteral("Private Directory..."));
    QCOMPARE(dialogs.service.Calls().last().Value, QString()); // no start folder given
    QCOMPARE(m.db->GetPrivateDir(), dir.path());
    dialogs.service.Cancel();
    editor.ExecuteVerb(2);
    QCOMPARE(m.db->GetPrivateDir(), dir.path());
    QCOMPARE(dialogs.failures, QStringList());
}

QTEST_MAIN(TstDatabaseEditor)
#include "tst_databaseeditor.moc"
