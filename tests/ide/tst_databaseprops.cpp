// The property editors around databases on real files: renaming a database
// component whose tables are open, a dataset's DatabaseName typed or chosen
// in the "Database Name" dialog, a database's Location chosen in the
// database selection, and passwords shown masked. Each change is one undo
// step, and a change that fails leaves nothing changed.
#include "../common/collected_dialogs.h"
#include "../common/modal_helper.h"
#include "common/ostscripteddialogs.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "engine/base/tdatamodule.h"
#include "ide/ostreg.h"
#include "setup/ostdatabasenamedlg.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"

#include <QComboBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

class TstDatabaseProps : public QObject {
    Q_OBJECT
private slots:
    void init();
    void renameClosesAndReopensItsTables();
    void failedRenameLeavesNothingChanged();
    void typedDatabaseNameClosesTheDataset();
    void databaseNameChosenInTheDialog();
    void locationChosenInTheDatabaseSelection();
    void passwordsAreMasked();
};

namespace {

struct Shop {
    QTemporaryDir dir;
    QString location = dir.filePath("shop");
    TDataModule root;
    TDesigner designer{&root};
    TOstDatabase* db;
    TOstTable* items;
    TOstQuery* query;
    Shop() {
        TOstDatabase d;
        d.SetLocation(location);
        d.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(location);
        t.SetTableName("Items");
        t.GetFieldDefsOst().Add("Name", dtString, 20);
        t.CreateTable();
        db = static_cast<TOstDatabase*>(designer.CreateComponent(&TOstDatabase::staticMetaObject, nullptr, 0, 0, 0, 0));
        db->SetDatabaseName("Sales");
        db->SetLocation(location);
        items = static_cast<TOstTable*>(designer.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0));
        items->SetDatabaseName("Sales");
        items->SetTableName("Items");
        query = static_cast<TOstQuery*>(designer.CreateComponent(&TOstQuery::staticMetaObject, nullptr, 0, 0, 0, 0));
        query->SetDatabaseName("Sales");
        query->SetSQL("SELECT * FROM Items");
    }
};

using Dialogs = TCollectedDialogs;

} // namespace

void TstDatabaseProps::init() {
    ClearRegistrations();
    Register();
}

void TstDatabaseProps::renameClosesAndReopensItsTables() {
    Shop s;
    s.items->Open();
    s.query->Open();
    QVERIFY(s.db->GetConnected());
    const int steps = s.designer.UndoStack()->count();
    GetPropertyEditor(&s.designer, {s.db}, "DatabaseName")->SetValue("Orders");
    QCOMPARE(s.db->GetDatabaseName(), QStringLiteral("Orders"));
    QCOMPARE(s.items->GetDatabaseName(), QStringLiteral("Orders"));
    QCOMPARE(s.query->GetDatabaseName(), QStringLiteral("Orders"));
    QVERIFY(s.items->Active());
    QVERIFY(s.query->Active());
    QVERIFY(s.db->GetConnected());
    QCOMPARE(s.designer.UndoStack()->count(), steps + 1);
    s.designer.Undo();
    QCOMPARE(s.db->GetDatabaseName(), QStringLiteral("Sales"));
    QCOMPARE(s.items->GetDatabaseName(), QStringLiteral("Sales"));
    QVERIFY(s.items->Active());
    QVERIFY(s.db->GetConnected());
}

void TstDatabaseProps::failedRenameLeavesNothingChanged() {
    Shop s;
    s.items->Open();
    // The table's file goes while it is open: reopening it under the new name fails.
    QVERIFY(QFile::remove(s.location + "/Items.dat"));
    QVERIFY_THROWS_EXCEPTION(Exception, GetPropertyEditor(&s.designer, {s.db}, "DatabaseName")->SetValue("Orders"));
    QCOMPARE(s.db->GetDatabaseName(), QStringLiteral("Sales"));
    QCOMPARE(s.items->GetDatabaseName(), QStringLiteral("Sales"));
    QCOMPARE(s.query->GetDatabaseName(), QStringLiteral("Sales"));
    QVERIFY(s.db->GetConnected());
}

void TstDatabaseProps::typedDatabaseNameClosesTheDataset() {
    Shop s;
    s.items->Open();
    const int steps = s.designer.UndoStack()->count();
    GetPropertyEditor(&s.designer, {s.items}, "DatabaseName")->SetValue(s.location);
    QCOMPARE(s.items->GetDatabaseName(), s.location);
    QVERIFY(!s.items->Active());
    QCOMPARE(s.designer.UndoStack()->count(), steps + 1);
    s.designer.Undo();
    QCOMPARE(s.items->GetDatabaseName(), QStringLiteral("Sales"));
    QVERIFY(s.items->Active());
}

void TstDatabaseProps::databaseNameChosenInTheDialog() {
    Shop s;
    Dialogs dialogs;
    auto editor = GetPropertyEditor(&s.designer, {s.items}, "DatabaseName");
    QVERIFY(editor->GetAttributes() & paDialog);
    s.items->Open();
    // A location: offered a database component of its own.
    QStringList offered;
    QString preset;
    WhenShown<TDatabaseNameDlg>([&](TDatabaseNameDlg* d) {
        for (int i = 0; i < d->NameBox()->count(); ++i) offered.append(d->NameBox()->itemText(i));
        preset = d->GetDatabaseName();
        d->SetDatabaseName(s.location);
        d->OKBtn()->click();
    });
    dialogs.service.Press(QMessageBox::Yes);
    editor->Edit();
    QVERIFY(offered.contains("Sales"));
    QCOMPARE(preset, QStringLiteral("Sales"));
    auto* created = qobject_cast<TOstDatabase*>(s.designer.GetComponent("OstDatabase2"));
    QVERIFY(created);
    QCOMPARE(created->GetLocation(), s.location);
    QCOMPARE(s.items->GetDatabaseName(), created->GetDatabaseName());
    QVERIFY(!s.items->Active()); // closed before its database changed
    // A database component's name is taken as it is; the same name changes nothing.
    WhenShown<TDatabaseNameDlg>([&](TDatabaseNameDlg* d) {
        d->SetDatabaseName("Sales");
        d->OKBtn()->click();
    });
    editor->Edit();
    QCOMPARE(s.items->GetDatabaseName(), QStringLiteral("Sales"));
    WhenShown<TDatabaseNameDlg>([&](TDatabaseNameDlg* d) { d->reject(); });
    editor->Edit();
    QCOMPARE(s.items->GetDatabaseName(), QStringLiteral("Sales"));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstDatabaseProps::locationChosenInTheDatabaseSelection() {
    Shop s;
    Dialogs dialogs;
    QTemporaryDir other;
    {
        TOstDatabase d;
        d.SetDatabaseType(dbtSingleFile);
        d.SetLocation(other.filePath("books.ostd"));
        d.CreateDatabase();
    }
    s.db->SetConnected(true);
    auto editor = GetPropertyEditor(&s.designer, {s.db}, "Location");
    QVERIFY(editor->GetAttributes() & paDialog);
    dialogs.service.ChooseFile(other.filePath("books.ostd"));
    editor->Edit();
    QCOMPARE(dialogs.service.Calls().last().Caption, QStringLiteral("Select Database"));
    QCOMPARE(dialogs.service.Calls().last().InitialDir, s.location);
    QCOMPARE(s.db->GetLocation(), other.filePath("books.ostd"));
    QCOMPARE(s.db->GetDatabaseType(), int(dbtSingleFile));
    QVERIFY(s.db->GetConnected()); // connected again at the new place
    // A table file: its folder, as a directory database.
    dialogs.service.ChooseFile(s.location + "/Items.dat");
    editor->Edit();
    QCOMPARE(s.db->GetLocation(), s.location + "/");
    QCOMPARE(s.db->GetDatabaseType(), int(dbtDirectory));
    QVERIFY(s.db->GetConnected());
    // Cancelled: nothing changes; typed: the same way.
    dialogs.service.Cancel();
    editor->Edit();
    QCOMPARE(s.db->GetLocation(), s.location + "/");
    editor->SetValue(s.location + "/Items.dat"); // typed the same way
    QCOMPARE(s.db->GetLocation(), s.location + "/");
    editor->SetValue(other.filePath("books.ostd"));
    QCOMPARE(s.db->GetDatabaseType(), int(dbtSingleFile));
    QVERIFY(s.db->GetConnected());
    // A location that cannot be connected leaves the old one.
    QVERIFY_THROWS_EXCEPTION(Exception, editor->SetValue(other.filePath("missing")));
    QCOMPARE(s.db->GetLocation(), other.filePath("books.ostd"));
    QVERIFY(s.db->GetConnected());
    QCOMPARE(dialogs.failures, QStringList());
}

void TstDatabaseProps::passwordsAreMasked() {
    Shop s;
    QVERIFY(GetPropertyEditor(&s.designer, {s.db}, "Password")->GetAttributes() & paPassword);
    QVERIFY(GetPropertyEditor(&s.designer, {s.items}, "EncryptionPassword")->GetAttributes() & paPassword);
    QVERIFY(!(GetPropertyEditor(&s.designer, {s.items}, "TableName")->GetAttributes() & paPassword));
    QVERIFY(!(GetPropertyEditor(&s.designer, {s.db}, "StorePassword")->GetAttributes() & paPassword));
}

QTEST_MAIN(TstDatabaseProps)
#include "tst_databaseprops.moc"
