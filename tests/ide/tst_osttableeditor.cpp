// The table component editor's verbs on real tables: the verb list after the
// inherited ones, which verbs the menu enables, the module marked modified
// after every verb, choosing a table, and a new table created through the
// table designer.
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
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"

#include <QAction>
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
    void newTableIsDesignedAndCreated();
    void cancelledNewTableKeepsItsNames();
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

// The scripted service; failures are collected, not fatal.
struct Dialogs {
    TScriptedDialogService service;
    TScopedDialogService scope{&service};
    QStringList failures;
    Dialogs() {
        service.SetFailureHandler([this](const QString& m) { failures.append(m); });
    }
    QString LastText() const { return service.Calls().isEmpty() ? QString() : service.Calls().last().Text; }
};

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
    dialogs.service.Cancel();
    QVERIFY(run(3)); // "Select Table..." cancelled
    QCOMPARE(dialogs.service.Calls().last().Kind, TScriptedDialogService::TCallKind::Choice);
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
    dialogs.service.Cancel();
    QVERIFY(run(2)); // "New Table..." cancelled: the open table was closed first
    QVERIFY(!m.table->Active());
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Items"));
    QCOMPARE(dialogs.service.Calls().last().Caption, QStringLiteral("New Table"));
    QCOMPARE(dialogs.service.Calls().last().Text, QStringLiteral("Table name"));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::selectTableOpensTheChosenOne() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    TOstTableEditor editor(m.table, &m.designer);
    m.table->Open();
    dialogs.service.ChooseItem("Empty");
    editor.ExecuteVerb(3);
    const auto& call = dialogs.service.Calls().last();
    QCOMPARE(call.Items, QStringList({"Empty", "Items"}));
    QCOMPARE(call.Value, QStringLiteral("Items")); // the table's own name preselected
    QVERIFY(m.table->Active());
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Empty"));

    // An entry the list does not offer is no answer.
    dialogs.service.ChooseItem("Orders");
    editor.ExecuteVerb(3);
    QCOMPARE(dialogs.failures.size(), 1);
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Empty"));
    dialogs.failures.clear();

    // The engine's error in a plain box; the editor goes on.
    m.table->Close();
    m.table->SetDatabaseName(shop.dir.filePath("nowhere"));
    m.designer.SetUnmodified();
    dialogs.service.Press(QMessageBox::Ok);
    editor.ExecuteVerb(3);
    QCOMPARE(dialogs.service.Calls().last().Kind, TScriptedDialogService::TCallKind::Message);
    QVERIFY(!dialogs.LastText().isEmpty());
    QVERIFY(m.designer.IsModified());
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::newTableIsDesignedAndCreated() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    TOstTableEditor editor(m.table, &m.designer);
    m.table->Open();
    dialogs.service.EnterText("Orders.dat");

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
    QCOMPARE(caption, QStringLiteral("Ostra Table Designer - Orders"));
    QCOMPARE(differences, QStringList({"OrderNo added."}));
    QVERIFY(m.designer.IsModified());
    QVERIFY(m.table->Active());
    QCOMPARE(m.table->GetTableName(), QStringLiteral("Orders"));
    QCOMPARE(m.table->Fields().Count(), 1);
    QCOMPARE(m.table->Fields()[0]->GetFieldName(), QStringLiteral("OrderNo"));
    QStringList names;
    m.table->GetDatabase()->GetTableNames(names);
    QCOMPARE(names, QStringList({"Empty", "Items", "Orders"}));
    QCOMPARE(dialogs.failures, QStringList());
}

void TstOstTableEditor::cancelledNewTableKeepsItsNames() {
    ShopDb shop;
    Module m(shop);
    Dialogs dialogs;
    TOstTableEditor editor(m.table, &m.designer);
    dialogs.service.EnterText("Drafts");
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

QTEST_MAIN(TstOstTableEditor)
#include "tst_osttableeditor.moc"
