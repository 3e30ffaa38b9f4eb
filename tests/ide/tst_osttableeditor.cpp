// The table component editor's verbs on real tables: the verb list after the
// inherited ones, which verbs the menu enables, the module marked modified
// after every verb, choosing a table and naming a new one in the table
// assistant (with a database component for a bare location, or without), a
// new table created through the table designer, and an existing one replaced
// only when the user agreed.
#include "../common/collected_dialogs.h"
#include "../common/modal_helper.h"
#include "common/ostscripteddialogs.h"
#include "designer/ostcolumnpropseditor.h"
#include "designer/ostdifferencedlg.h"
#include "designer/osttabledesigner.h"
#include "engine/ostdataset.h"
#include "engine/base/tclassregistry.h"
#include "engine/base/tdatamodule.h"
#include "ide/ostreg.h"
#include "ide/osttableeditor.h"
#include "migration/core/classicdataset.h"
#include "migration/ostpropertyimportform.h"
#include "setup/ostcreatetabledlg.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <QtTest>

class TstOstTableEditor : public QObject {
    Q_OBJECT
private slots:
    void init();
    void verbsFollowTheInheritedOnes();
    void menuEnablesByTableStateAndOwner();
    void everyVerbMarksTheModuleModified();
    void selectTableOpensTheChosenOne();
    void selectTableThroughADatabaseComponent();
    void newTableIsDesignedAndCreated();
    void cancelledNewTableKeepsItsNames();
    void existingTableIsOverwrittenOnlyWhenConfirmed();
    void newTableNeedsADatabase();
};

namespace {

// A directory database with the tables Empty and Items.
struct ShopDb {
    QTemporaryDir dir;
    QString location = dir.filePath("shop");
    ShopDb() {
        TOstDatabase db;
        db.SetLocation(location);
        db.CreateDatabase();
        for (const char* name : {"Items", "Empty"}) {
            TOstTable t;
            t.SetDatabaseName(location);
            t.SetTableName(name);
            t.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
            t.GetFieldDefsOst().Add("Name", dtString, 30);
            t.CreateTable();
        }
    }
};

// A module with a designer and a table of the shop on it.
struct Module {
    TDataModule root;
    TDesigner designer{&root};
    TOstTable* table;
    explicit Module(const ShopDb& shop, const QString& tableName = QStringLiteral("Items")) {
        table = static_cast<TOstTable*>(
            designer.CreateComponent(&TOstTable::staticMetaObject, nullptr, 0, 0, 0, 0));
        table->SetDatabaseName(shop.location);
        table->SetTableName(tableName);
        designer.SetUnmodified();
    }
};

QList<bool> EnabledStates(TOstTableEditor& editor) {
    QList<bool> states;
    for (int i = 0; i < editor.GetVerbCount(); ++i) {
        QAction action;
        action.setEnabled(false);
        editor.PrepareItem(i, &action);
        states.append(action.isEnabled());
    }
    return states;
}

using Dialogs = TCollectedDialogs;

} // namespace

void TstOstTableEditor::init() {
    ClearRegistrations();
    Register();
}

void TstOstTableEditor::verbsFollowTheInheritedOnes() {
    ShopDb shop;
    Module m(shop);
    auto editor = GetComponentEditor(m.table, &m.designer);
    QVERIFY(dynamic_cast<TOstTableEditor*>(editor.get()));
    QStringList verbs;
    for (int i = 0; i < editor->GetVerbCount(); ++i)
        verbs.append(editor->GetVerb(i));
    QCOMPARE(verbs, QStringList({"Fields Editor...", "-", "New Table...", "Select Table...", "Properties...",
                                 "Convert BDE Table..."}));
    QVERIFY_THROWS_EXCEPTION(EComponentError, editor->GetVerb(6));
    QVERIFY_THROWS_EXCEPTION(EComponentError, editor->ExecuteVerb(6));
}

void TstOstTableEditor::menuEnablesByTableStateAndOwner() {
    ShopDb shop;
    Module m(shop);
    TOstTableEditor editor(m.table, &m.designer);
    // Closed, no BDE table beside it: "Properties..." and "Convert BDE Table..." greyed.
    QCOMPARE(EnabledStates(editor), QList<bool>({true, true, true, true, false, false}));
    m.table->Open();
    QCOMPARE(EnabledStates(editor), QList<bool>({true, true, true, true, true, false}));
    // Any BDE table of the same owner, wherever it stands among the components.
    auto* bde = CreateComponentOfClass("TTable", &m.root);
    QVERIFY(bde);
    new TOstTable(&m.root);
    QCOMPARE(EnabledStates(editor), QList<bool>({true, true, true, true, true, true}));
    delete bde;
    QVERIFY(!editor.CanEnableMenuItem(4));
    // The bound lies beyond the own verbs on purpose: those indexes say yes.
    QVERIFY(editor.CanEnableMenuItem(-1) && editor.CanEnableMenuItem(5) && editor.CanEnableMenuItem(6));
}

void TstOstTableEditor::everyVerbMarksTheModuleModified() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    TOstTableEditor editor(m.table, &m.designer);
    auto run = [&](int verb) {
        m.designer.SetUnmodified();
        editor.ExecuteVerb(verb);
        return m.designer.IsModified();
    };
    QVERIFY(run(1)); // the separator
    QString caption;
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        caption = a->windowTitle();
        a->reject();
    });
    QVERIFY(run(3)); // "Select Table..." cancelled
    QCOMPARE(caption, QStringLiteral("Select a Ostra Table"));
    // "Properties..." on a closed table never reaches the designer.
    dialogs.service.Press(QMessageBox::Ok);
    QVERIFY(run(4));
    QCOMPARE(dialogs.LastText(), QStringLiteral("Cannot perform this on a closed table"));
    QCOMPARE(dialogs.service.Calls().last().Icon, QMessageBox::NoIcon);
    dialogs.service.Press(QMessageBox::Ok);
    QVERIFY(!editor.RestructureTable(false)); // asked directly, the same
    QCOMPARE(dialogs.LastText(), QStringLiteral("Cannot perform this on a closed table"));
    // "Convert BDE Table..." opens the wizard on this table; closed, nothing changes.
    TOstTable* wizardTable = nullptr;
    WhenShown<TPropertyImportBrownieForm>([&](TPropertyImportBrownieForm* w) {
        wizardTable = w->Table();
        w->CancelBtn()->click();
    });
    QVERIFY(run(5));
    QCOMPARE(wizardTable, m.table);
    m.table->Open();
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        caption = a->windowTitle();
        a->reject();
    });
    QVERIFY(run(2)); // "New Table..." cancelled: the open table was closed first
    QCOMPARE(caption, QStringLiteral("Create a New Ostra Table"));
    QVERIFY(!m.table->Active());
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Items"));
    QCOMPARE(m.table->GetFieldDefsOst().Count(), 2);
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::selectTableOpensTheChosenOne() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    TOstTableEditor editor(m.table, &m.designer);
    m.table->Open();
    QStringList offered;
    QString preselected;
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        QComboBox* names = a->TableNamesComboBox();
        for (int i = 0; i < names->count(); ++i) offered.append(names->itemText(i));
        preselected = names->currentText();
        names->setCurrentIndex(names->findText("Empty"));
        a->OKBtn()->click();
    });
    dialogs.service.Press(QMessageBox::No); // no database component for the bare location
    editor.ExecuteVerb(3);
    QCOMPARE(offered, QStringList({"Empty", "Items"}));
    QCOMPARE(preselected, QStringLiteral("Items")); // the table's own name preselected
    QCOMPARE(dialogs.service.Calls().last().Text,
             QStringLiteral("Do you want a database component to be created for this location?"));
    QVERIFY(m.table->Active());
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Empty"));
    QCOMPARE(m.table->GetDatabaseName(), shop.location); // answered No: the location itself

    // The engine's error in a plain box; the editor goes on with the new names, closed.
    QFile junk(shop.location + "/Broken.dat");
    QVERIFY(junk.open(QIODevice::WriteOnly));
    junk.write("this is no table");
    junk.close();
    m.designer.SetUnmodified();
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        a->TableNamesComboBox()->setEditText("Broken");
        a->OKBtn()->click();
    });
    dialogs.service.Press(QMessageBox::No).Press(QMessageBox::Ok);
    editor.ExecuteVerb(3);
    QCOMPARE(dialogs.service.Calls().last().Kind, TScriptedDialogService::TCallKind::Message);
    QVERIFY(dialogs.LastText().contains("Broken"));
    QVERIFY(!m.table->Active());
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Broken"));
    QVERIFY(m.designer.IsModified());
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::selectTableThroughADatabaseComponent() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    auto* db = static_cast<TOstDatabase*>(m.designer.CreateComponent(&TOstDatabase::staticMetaObject, nullptr, 0, 0, 0, 0));
    db->SetDatabaseName("Shop");
    db->SetLocation(shop.location);
    m.table->SetDatabaseName(QString());
    TOstTableEditor editor(m.table, &m.designer);
    QString label;
    QStringList databases;
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        label = a->DatabasesLabel()->text();
        for (int i = 0; i < a->DBComboBox()->count(); ++i) databases.append(a->DBComboBox()->itemText(i));
        a->DBComboBox()->setCurrentIndex(a->DBComboBox()->findText("Shop"));
        a->DBComboBoxChange();
        a->TableNamesComboBox()->setCurrentIndex(a->TableNamesComboBox()->findText("Empty"));
        a->OKBtn()->click();
    });
    editor.ExecuteVerb(3); // no question: a database component was chosen
    QCOMPARE(label, QStringLiteral("Optionally choose an existing database component"));
    QCOMPARE(databases.first(), QStringLiteral(" "));
    QVERIFY(databases.contains("Shop"));
    QCOMPARE(m.table->GetDatabaseName(), QStringLiteral("Shop"));
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Empty"));
    QVERIFY(m.table->Active());
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::newTableIsDesignedAndCreated() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    TOstTableEditor editor(m.table, &m.designer);
    m.table->Open();
    QString assistantLabel;
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        assistantLabel = a->DatabasesLabel()->text();
        QTest::keyClicks(a->TableNameEdit(), "Orders.dat");
        a->OKBtn()->click();
    });
    dialogs.service.Press(QMessageBox::Yes); // a database component for the location

    QString caption;
    QStringList differences;
    WhenShown<TOstTableDesigner>([&](TOstTableDesigner* designer) {
        caption = designer->windowTitle();
        QVERIFY(designer->NewTable());
        designer->NewColumnAct()->trigger();
        designer->ColumnPropertyEditor()->NameEdit()->setText("OrderNo");
        designer->ColumnPropertyEditor()->CommitName();
        WhenShown<TTableStructureDifferenceDlg>([&](TTableStructureDifferenceDlg* dialog) {
            for (int i = 0; i < dialog->ListView()->topLevelItemCount(); ++i)
                differences.append(dialog->ListView()->topLevelItem(i)->text(1));
            dialog->OkButton()->click();
        });
        designer->ApplyBtn()->click();
        designer->CloseBtn()->click();
    });
    editor.ExecuteVerb(2);
    QCOMPARE(assistantLabel, QStringLiteral("Select a database component for the new table"));
    QCOMPARE(caption, QStringLiteral("Ostra Table Designer - Orders"));
    QCOMPARE(differences, QStringList({"OrderNo added."}));
    QVERIFY(m.designer.IsModified());
    QVERIFY(m.table->Active());
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Orders"));
    QCOMPARE(m.table->Fields().Count(), 1);
    QCOMPARE(m.table->Fields()[0]->GetFieldName(), QStringLiteral("OrderNo"));
    // The new database component stands 32 pixels right of the table, connected to the location.
    auto* db = qobject_cast<TOstDatabase*>(m.designer.GetComponent("OstDatabase1"));
    QVERIFY(db);
    QCOMPARE(m.table->GetDatabaseName(), db->GetDatabaseName());
    QVERIFY(!db->GetDatabaseName().trimmed().isEmpty());
    QCOMPARE(db->GetLocation(), shop.location);
    QVERIFY(db->GetConnected());
    QCOMPARE(db->DesignLeft(), m.table->DesignLeft() + 32);
    QCOMPARE(m.designer.Selection(), QList<TComponent*>{m.table}); // the table stays selected
    QStringList names;
    db->GetTableNames(names);
    QCOMPARE(names, QStringList({"Empty", "Items", "Orders"}));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::cancelledNewTableKeepsItsNames() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    TOstTableEditor editor(m.table, &m.designer);
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        a->TableNameEdit()->setText("Drafts");
        a->OKBtn()->click();
    });
    dialogs.service.Press(QMessageBox::No);
    bool shown = false;
    WhenShown<TOstTableDesigner>([&](TOstTableDesigner* designer) {
        shown = true;
        designer->CloseBtn()->click();
    });
    editor.ExecuteVerb(2);
    QVERIFY(shown);
    QVERIFY(!m.table->Active());
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Drafts"));
    QCOMPARE(m.table->GetFieldDefsOst().Count(), 0);
    QVERIFY(!m.table->Exists());
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::existingTableIsOverwrittenOnlyWhenConfirmed() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    TOstTableEditor editor(m.table, &m.designer);
    // "No" keeps the assistant open; the user picks another name or cancels.
    bool stillOpen = false;
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        a->TableNameEdit()->setText("items");
        a->OKBtn()->click();
        stillOpen = a->isVisible();
        a->reject();
    });
    dialogs.service.Press(QMessageBox::No);
    editor.ExecuteVerb(2);
    QVERIFY(stillOpen);
    QCOMPARE(dialogs.service.Calls().last().Text, QStringLiteral("Table already exists, overwrite?"));
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Items"));
    m.table->Open();
    QCOMPARE(m.table->Fields().Count(), 2);
    m.table->Close();

    // "Yes": the designer's new table takes the old one's place when applied.
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        a->TableNameEdit()->setText("Items");
        a->OKBtn()->click();
    });
    dialogs.service.Press(QMessageBox::Yes).Press(QMessageBox::No);
    WhenShown<TOstTableDesigner>([&](TOstTableDesigner* designer) {
        designer->NewColumnAct()->trigger();
        designer->ColumnPropertyEditor()->NameEdit()->setText("Code");
        designer->ColumnPropertyEditor()->CommitName();
        WhenShown<TTableStructureDifferenceDlg>([&](TTableStructureDifferenceDlg* d) { d->OkButton()->click(); });
        designer->ApplyBtn()->click();
        // A failed apply would keep the designer asking about its edits: it goes without asking.
        if (!designer->Core().ChangesApplied()) designer->done(QDialog::Rejected);
        else designer->CloseBtn()->click();
    });
    editor.ExecuteVerb(2);
    QVERIFY(m.table->Active());
    QCOMPARE(m.table->Fields().Count(), 1);
    QCOMPARE(m.table->Fields()[0]->GetFieldName(), QStringLiteral("Code"));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::newTableNeedsADatabase() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    m.table->SetDatabaseName(QString());
    TOstTableEditor editor(m.table, &m.designer);
    QString location;
    bool stayed = false;
    WhenShown<TTableAssistantDlg>([&](TTableAssistantDlg* a) {
        location = a->LocationLabel()->text();
        a->TableNameEdit()->setText("Orders");
        a->OKBtn()->click();
        stayed = a->isVisible();
        a->reject();
    });
    dialogs.service.Press(QMessageBox::Ok);
    editor.ExecuteVerb(2);
    QCOMPARE(location, QStringLiteral("<no location defined>"));
    QVERIFY(stayed);
    QCOMPARE(dialogs.service.Calls().last().Text, QStringLiteral("Select a database component for the new table"));
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Items")); // nothing changed
    QCOMPARE(dialogs.failures, QStringList());
}

QTEST_MAIN(TstOstTableEditor)
#include "tst_osttableeditor.moc"
