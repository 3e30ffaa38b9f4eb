// The Checks and Relationships pages' core on real tables of both layouts:
// what each edit does to the working copy, the change list entries for
// checks (paired by name) and foreign keys, and that what is applied is
// stored and enforced by the engine.
#include "constraints_helper.h"
#include "designer_helper.h"

#include "designer/core/ostcascadepreview.h"
#include "designer/core/ostconstraintspage.h"
#include "designer/ostdifferencedlg.h"

#include <QLabel>

#include <QtTest>

class TstConstraintsCore : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void checksArePairedByName_data() { Layouts(); }
    void checksArePairedByName();
    void unnamedChecks();
    void foreignKeyEditsAndParentCase_data() { Layouts(); }
    void foreignKeyEditsAndParentCase();
    void parentKeyWithKeyLength_data() { Layouts(); }
    void parentKeyWithKeyLength();
    void actionTexts();
    void cascadePreview_data() { Layouts(); }
    void cascadePreview();

private:
    static void Layouts() {
        QTest::addColumn<bool>("singleFile");
        QTest::newRow("directory") << false;
        QTest::newRow("single-file") << true;
    }
};

#define APPLIED(core, view) QVERIFY2((core).Apply(), qPrintable((view).shown.join(u'\n')))

namespace {

QStringList Texts(const TModifications& list) {
    QStringList texts;
    for (const TModification& m : list) texts.append(m.GetText());
    return texts;
}

// A designer core on one table of the shop, with its two page cores.
struct Designer {
    TRecordingView view;
    std::unique_ptr<TOstTable> table;
    TOstTableDesignerCore core{&view};
    TChecksPageCore checks{core};
    TRelationshipsPageCore relations{core};
    Designer(const ShopDb& shop, const QString& name) : table(shop.Open(name)) { core.SetOstDataset(table.get()); }
    QStringList Changes() { return Texts(core.RefreshModificationsList()); }
};

QStringList CheckNames(TOstTable& t) {
    QStringList names;
    for (TCheckConstraint* c : t.CheckConstraints()) names << c->Name + u'=' + c->ImportedConstraint;
    return names;
}

} // namespace

void TstConstraintsCore::checksArePairedByName() {
    QFETCH(bool, singleFile);
    ShopDb shop(singleFile);
    {
        Designer d(shop, "Orders");
        TCheckConstraint* c1 = d.checks.NewCheck();
        QCOMPARE(c1->ImportedConstraint, QStringLiteral("1 < 1000"));
        QVERIFY(c1->ErrorMessage.isEmpty());
        c1->Name = "C1";
        d.checks.SetCheckProperties(c1, "Amount > 0", "Amounts are positive");
        TCheckConstraint* c2 = d.checks.NewCheck();
        c2->Name = "C2";
        d.checks.SetCheckProperties(c2, "Amount < 100000", "");
        QVERIFY(d.core.DirtyStructure());
        QCOMPARE(d.Changes(), QStringList({"Check C1: Condition added", "Check C2: Condition added"}));
        APPLIED(d.core, d.view);
    }
    QCOMPARE(shop.Refused("INSERT INTO Orders(CustCode, Amount) VALUES('A', -5)"), QStringLiteral("Amounts are positive"));
    {
        // Deleting the first check lists that one, and nothing about the second.
        Designer d(shop, "Orders");
        QCOMPARE(CheckNames(*d.table), QStringList({"C1=Amount > 0", "C2=Amount < 100000"}));
        QVERIFY(d.Changes().isEmpty());
        QVERIFY(d.checks.DeleteCheck(0));
        QCOMPARE(d.Changes(), QStringList({"Check C1: Condition deleted"}));
    }
    {
        // A rename, also of the letter case only, is listed and applied.
        Designer d(shop, "Orders");
        d.checks.Checks()[1]->Name = "Limit";
        d.checks.Checks()[0]->Name = "c1";
        QCOMPARE(d.Changes(), QStringList({"Check C1 renamed to c1", "Check C2 renamed to Limit"}));
        d.core.UpdateDirtyFlags();
        QVERIFY(d.core.DirtyStructure());
        APPLIED(d.core, d.view);
        QCOMPARE(CheckNames(*shop.Open("Orders")), QStringList({"c1=Amount > 0", "Limit=Amount < 100000"}));
    }
    {
        // Edits of a check keep its name; a renamed and edited check is a new one.
        Designer d(shop, "Orders");
        d.checks.SetCheckProperties(d.checks.Checks()[1], "Amount < 500", "");
        d.checks.SetCheckProperties(d.checks.Checks()[0], "Amount > 0", "Positive!");
        QCOMPARE(d.Changes(), QStringList({"Check c1: Message changed", "Check Limit: Condition changed"}));
        d.checks.Checks()[1]->Name = "Other";
        QCOMPARE(d.Changes(), QStringList({"Check c1: Message changed", "Check Limit: Condition deleted",
                                           "Check Other: Condition added"}));
        // the two checks swapped: nothing changed
        d.checks.SetCheckProperties(d.checks.Checks()[0], "Amount > 0", "Amounts are positive");
        d.checks.Checks()[1]->Name = "Limit";
        d.checks.SetCheckProperties(d.checks.Checks()[1], "Amount < 100000", "");
        d.checks.Checks().Move(1, 0);
        QVERIFY2(d.Changes().isEmpty(), qPrintable(d.Changes().join(u'\n')));
    }
    QCOMPARE(shop.Refused("INSERT INTO Orders(CustCode, Amount) VALUES('A', 200000)"),
             QStringLiteral("Check \"Amount < 100000\" failed"));
}

void TstConstraintsCore::unnamedChecks() {
    ShopDb shop(false);
    {
        Designer d(shop, "Orders");
        d.checks.SetCheckProperties(d.checks.NewCheck(), "Amount > 0", "");
        d.checks.SetCheckProperties(d.checks.NewCheck(), "Amount < 1000", "");
        APPLIED(d.core, d.view);
    }
    Designer d(shop, "Orders");
    QVERIFY(d.checks.DeleteCheck(0));
    QCOMPARE(d.Changes(), QStringList({"Check 1: Condition deleted"}));
    d.checks.SetCheckProperties(d.checks.Checks()[0], "Amount < 2000", "");
    // Unnamed checks that are neither found by name nor by condition pair in their order.
    QCOMPARE(d.Changes(), QStringList({"Check 1: Condition changed", "Check 2: Condition deleted"}));
    TCheckConstraint* added = d.checks.NewCheck();
    QCOMPARE(added->ImportedConstraint, QStringLiteral("1 < 1000"));
    QCOMPARE(d.Changes(), QStringList({"Check 1: Condition changed", "Check 2: Condition changed"}));
    QVERIFY(d.checks.DeleteCheck(0));
    QVERIFY(d.checks.DeleteCheck(0));
    d.checks.SetCheckProperties(d.checks.NewCheck(), "Amount > 0", "");
    d.checks.NewCheck();
    d.checks.NewCheck();
    QCOMPARE(d.Changes(), QStringList({"Check 2: Condition changed", "Check 3: Condition added"}));
    // the edit guard: with indexes edited, no structural edit
    d.core.SetDirtyIndexes(true);
    const int count = d.checks.Checks().Count();
    QVERIFY(!d.checks.NewCheck());
    QVERIFY(!d.checks.DeleteCheck(0));
    QCOMPARE(d.checks.Checks().Count(), count);
    QVERIFY(d.view.Last().startsWith("error: "));
}

void TstConstraintsCore::foreignKeyEditsAndParentCase() {
    QFETCH(bool, singleFile);
    ShopDb shop(singleFile);
    {
        Designer d(shop, "Orders");
        QVERIFY(d.relations.ParentTables().contains("Customers"));
        TOstForeignKeyDef* fk = d.relations.NewRelationship();
        QCOMPARE(fk->Name, QStringLiteral("<New>"));
        QVERIFY(fk->ChildFields.isEmpty() && fk->ParentTable.isEmpty() && fk->ParentFields.isEmpty());
        int selected = 0;
        QVERIFY(d.relations.UpdateParentTableIndexes(fk, fk->ParentFields, selected).isEmpty()); // no parent yet
        QCOMPARE(selected, -1);
        d.relations.SetName(fk, "FK_Cust");
        d.relations.SetParentTable(fk, "Customers");
        // the unique indexes of the parent; unknown parent fields are kept as an extra entry
        QCOMPARE(d.relations.UpdateParentTableIndexes(fk, "Name", selected), QStringList({"Code", "Name"}));
        QCOMPARE(selected, 1);
        QCOMPARE(fk->ParentFields, QStringLiteral("Name"));
        QCOMPARE(d.relations.UpdateParentTableIndexes(fk, "Code", selected), QStringList({"Code"}));
        QCOMPARE(fk->ParentFields, QStringLiteral("Code"));
        QCOMPARE(d.relations.ColumnPickList(), QStringList({"ID", "CustCode", "Amount"}));
        d.relations.SetChildFields(fk, {" ", "CustCode", ""});
        QCOMPARE(fk->ChildFields, QStringLiteral("CustCode"));
        d.relations.SetAction(fk, false, "Cascade");
        d.relations.SetAction(fk, true, "anything");
        QCOMPARE(int(fk->DeleteAction), int(faCascade));
        QCOMPARE(int(fk->UpdateAction), int(faReject));
        QCOMPARE(d.Changes(), QStringList({"Foreign key FK_Cust added"}));
        QVERIFY(d.core.DirtyStructure());
        APPLIED(d.core, d.view);
    }
    QVERIFY(shop.Refused("INSERT INTO Orders(CustCode, Amount) VALUES('Z', 1)").contains("FK_Cust"));
    shop.Exec("DELETE FROM Customers WHERE Code = 'A'");
    QCOMPARE(shop.Scalar("SELECT count(*) FROM Orders").toInt(), 2); // cascaded
    {
        // Only the letter case of the parent changes: listed and applied.
        Designer d(shop, "Orders");
        QVERIFY(d.Changes().isEmpty());
        d.relations.SetParentTable(d.relations.Defs()[0], "CUSTOMERS");
        QCOMPARE(d.Changes(), QStringList({"Foreign key FK_Cust: Parent table changed"}));
        APPLIED(d.core, d.view);
        QCOMPARE(shop.Open("Orders")->GetIntegrityRules()[0]->ParentTable, QStringLiteral("CUSTOMERS"));
    }
    QVERIFY(shop.Refused("INSERT INTO Orders(CustCode, Amount) VALUES('Z', 1)").contains("FK_Cust"));
    {
        // Delete by name: of two of the same name, the first goes.
        Designer d(shop, "Orders");
        TOstForeignKeyDef* twin = d.relations.NewRelationship();
        twin->Assign(*d.relations.Defs()[0]);
        twin->ParentFields = "Other";
        QVERIFY(d.relations.DeleteRelationship("fk_cust"));
        QCOMPARE(d.relations.Defs().Count(), 1);
        QCOMPARE(d.relations.Defs()[0]->ParentFields, QStringLiteral("Other"));
        QVERIFY(!d.relations.DeleteRelationship("none"));
        QCOMPARE(d.Changes(), QStringList({"Foreign key FK_Cust: Parent fields changed"}));
    }
}

void TstConstraintsCore::parentKeyWithKeyLength() {
    QFETCH(bool, singleFile);
    ShopDb shop(singleFile);
    {
        auto customers = shop.Open("Customers");
        customers->Close();
        customers->AddIndex("ByCode5", "Code:5", ixUnique);
        customers->DeleteIndex("ByCode");
    }
    Designer d(shop, "Orders");
    TOstForeignKeyDef* fk = d.relations.NewRelationship();
    d.relations.SetName(fk, "FK_Code");
    d.relations.SetParentTable(fk, "Customers");
    int selected = -1;
    QCOMPARE(d.relations.UpdateParentTableIndexes(fk, QString(), selected), QStringList({"Code:5", QString()}));
    d.relations.UpdateParentTableIndexes(fk, "Code:5", selected);
    QCOMPARE(fk->ParentFields, QStringLiteral("Code:5"));
    d.relations.SetChildFields(fk, {"CustCode"});
    APPLIED(d.core, d.view);
    QVERIFY(shop.Refused("INSERT INTO Orders(CustCode, Amount) VALUES('Z', 1)").contains("FK_Code"));
    shop.Exec("INSERT INTO Orders(CustCode, Amount) VALUES('B', 1)");
    QVERIFY(!shop.Refused("DELETE FROM Customers WHERE Code = 'B'").isEmpty());
}

void TstConstraintsCore::actionTexts() {
    QCOMPARE(GetForeignKeyActionText(faReject), QStringLiteral("Reject"));
    QCOMPARE(GetForeignKeyActionText(faCascade), QStringLiteral("Cascade"));
    QCOMPARE(GetForeignKeyActionText(faSetNull), QString());
    QCOMPARE(GetForeignKeyActionText(faSetDefault), QString());
    QCOMPARE(GetForeignKeyActionFromText("Cascade"), int(faCascade));
    QCOMPARE(GetForeignKeyActionFromText("cascade"), int(faReject));
    QCOMPARE(GetForeignKeyActionFromText(""), int(faReject));
}


// A rule that becomes Cascade says, before it is confirmed, how many rows of
// the table it reaches; rows without a parent and rules that were Cascade
// already are not mentioned.
void TstConstraintsCore::cascadePreview() {
    QFETCH(bool, singleFile);
    ShopDb shop(singleFile);
    shop.Exec("INSERT INTO Orders(CustCode, Amount) VALUES(NULL, 50)"); // refers to no customer
    {
        Designer d(shop, "Orders");
        TOstForeignKeyDef* fk = d.relations.NewRelationship();
        d.relations.SetName(fk, "FK_Cust");
        d.relations.SetParentTable(fk, "Customers");
        int selected = 0;
        d.relations.UpdateParentTableIndexes(fk, "Code", selected);
        d.relations.SetChildFields(fk, {"CustCode"});
        auto notes = [&d](bool newTable = false) {
            return CascadeNotes(*d.core.DesignedTable(), d.core.WorkingTable()->GetIntegrityRules(), newTable);
        };
        QVERIFY(notes().isEmpty()); // Reject
        d.relations.SetAction(fk, false, "Cascade");
        QCOMPARE(notes(), QStringList({"Foreign key FK_Cust: 4 rows of this table refer to a row of \"Customers\"; "
                                       "with Cascade, deleting that row deletes them."}));
        d.relations.SetAction(fk, true, "Cascade");
        QVERIFY2(notes().value(0).endsWith("deleting that row deletes them and changing its key changes them."),
                 qPrintable(notes().value(0)));
        QVERIFY(notes(true).isEmpty());

        // Shown under the list of changes, and only when there is something to say.
        TTableStructureDifferenceDlg dialog;
        dialog.SetNotes(notes());
        QVERIFY(!dialog.NotesLabel()->isHidden());
        QVERIFY(dialog.NotesLabel()->text().contains("4 rows"));
        dialog.SetNotes({});
        QVERIFY(dialog.NotesLabel()->isHidden());
        APPLIED(d.core, d.view);
    }
    {
        // Stored as Cascade already: nothing new to say.
        Designer d(shop, "Orders");
        QVERIFY(CascadeNotes(*d.core.DesignedTable(), d.core.WorkingTable()->GetIntegrityRules(), false).isEmpty());
    }
    shop.Exec("DELETE FROM Orders WHERE CustCode <> 'C'");
    {
        // One row, and a rule newly Cascade on update only.
        Designer d(shop, "Orders");
        TOstForeignKeyDef* fk = d.relations.Defs()[0];
        d.relations.SetAction(fk, false, "Reject");
        APPLIED(d.core, d.view);
    }
    {
        Designer d(shop, "Orders");
        TOstForeignKeyDef* fk = d.relations.Defs()[0];
        d.relations.SetAction(fk, false, "Cascade");
        d.relations.SetAction(fk, true, "Reject");
        QCOMPARE(CascadeNotes(*d.core.DesignedTable(), d.core.WorkingTable()->GetIntegrityRules(), false),
                 QStringList({"Foreign key FK_Cust: 1 row of this table refers to a row of \"Customers\"; with "
                              "Cascade, deleting that row deletes it."}));
    }
}

QTEST_MAIN(TstConstraintsCore)
#include "tst_constraintscore.moc"
