// The designer's Checks and Relationships pages, and the filter dialog that
// builds a check's condition, driven as a user would: a check and a foreign
// key with Cascade made through the pages are applied and then enforced by
// the engine, in both database layouts.
#include "constraints_helper.h"
#include "tabledesigner_helper.h"

#include "query/ostfilterdlg.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QGroupBox>
#include <QPushButton>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>

class TstConstraintsPages : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void checksPage();
    void relationshipsPage();
    void madeThroughThePagesAndEnforced_data();
    void madeThroughThePagesAndEnforced();
    void filterDialog();
};

namespace {

void Choose(QComboBox* box, const QString& text) {
    const int i = box->findText(text);
    QVERIFY2(i >= 0, qPrintable(text + " is not offered"));
    box->setCurrentIndex(i);
    emit box->activated(i);
}

// In the filter dialog: one condition through the wizard.
void AddCondition(TOstFilterDialog* dlg, const QString& field, const QString& op, int value, const QString& junction) {
    dlg->AddAct()->trigger();
    Choose(dlg->FieldComboBox(), field);
    dlg->OperatorComboBox()->setCurrentText(op);
    dlg->ValueSpinEdit()->setValue(value);
    if (dlg->JunctionComboBox()->isEnabled()) dlg->JunctionComboBox()->setCurrentText(junction);
    dlg->UpdateConditionBtn()->click();
}

} // namespace

void TstConstraintsPages::checksPage() {
    ShopDb shop(false);
    auto orders = shop.Open("Orders");
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(orders.get());
    QVERIFY(ShowActive(designer));
    designer.DesignerPageControl()->setCurrentWidget(designer.ChecksPage());
    QVERIFY(designer.ChecksInfoLabel()->text().startsWith("Check constraints are used to validated a single row"));
    QCOMPARE(designer.ChecksListView()->topLevelItemCount(), 0);
    QVERIFY(!designer.CheckDetailPanel()->isEnabled());
    QVERIFY(!designer.DeleteCheckAct()->isEnabled() && !designer.EditCheckAct()->isEnabled());

    // Add: "1 < 1000", selected, shown in the edits.
    designer.NewCheckAct()->trigger();
    QCOMPARE(Rows(designer.ChecksListView(), 1), QStringList({"1 < 1000"}));
    QCOMPARE(designer.CheckConditionEdit()->text(), QStringLiteral("1 < 1000"));
    QVERIFY(designer.CheckDetailPanel()->isEnabled());
    QVERIFY(designer.DeleteCheckAct()->isEnabled() && designer.EditCheckAct()->isEnabled());
    QVERIFY(designer.ApplyBtn()->isEnabled());

    // Leaving the condition edit updates the caption at once, exactly as typed.
    TypeAndLeave(designer, designer.CheckConditionEdit(), " Amount > 0", designer.ChecksListView());
    QCOMPARE(Rows(designer.ChecksListView(), 1), QStringList({" Amount > 0"}));
    TypeAndLeave(designer, designer.CheckMessageEdit(), "Amounts are positive", designer.ChecksListView());
    QCOMPARE(designer.SelectedCheck()->ErrorMessage, QStringLiteral("Amounts are positive"));

    // "..." cancelled: unchanged. The dialog comes without the extended style.
    WhenShown<TOstFilterDialog>(
        [](TOstFilterDialog* dlg) {
            QCOMPARE(dlg->GetFilterText(), QStringLiteral(" Amount > 0"));
            QVERIFY(dlg->DirectInputCheckBox()->isChecked());
            QVERIFY(!dlg->ActionRadioGroup()->isVisibleTo(dlg) && !dlg->RestrictCheckBox()->isVisibleTo(dlg));
            dlg->reject();
        },
        "Set Filter");
    designer.EditCheckConditionBtn()->click();
    QCOMPARE(designer.CheckConditionEdit()->text(), QStringLiteral(" Amount > 0"));

    // "..." with a condition built in the wizard: no "$" before the columns.
    WhenShown<TOstFilterDialog>(
        [](TOstFilterDialog* dlg) {
            dlg->DirectInputCheckBox()->click();
            dlg->PageControl()->setCurrentIndex(0);
            AddCondition(dlg, "Amount", ">", 0, "and");
            AddCondition(dlg, "Amount", "<", 5000, "and");
            dlg->accept();
        },
        "Set Filter");
    designer.EditCheckConditionBtn()->click();
    QCOMPARE(designer.CheckConditionEdit()->text(), QStringLiteral("Amount > 0 and Amount < 5000"));
    QCOMPARE(Rows(designer.ChecksListView(), 1), QStringList({"Amount > 0 and Amount < 5000"}));

    // A second check, then delete: the top row is selected; the last one
    // gone clears and disables the panel.
    designer.NewCheckAct()->trigger();
    QCOMPARE(designer.ChecksListView()->topLevelItemCount(), 2);
    QCOMPARE(designer.ChecksListView()->currentItem(), designer.ChecksListView()->topLevelItem(1));
    designer.DeleteCheckAct()->trigger();
    QCOMPARE(Rows(designer.ChecksListView(), 1), QStringList({"Amount > 0 and Amount < 5000"}));
    QCOMPARE(designer.CheckMessageEdit()->text(), QStringLiteral("Amounts are positive"));
    designer.DeleteCheckAct()->trigger();
    QCOMPARE(designer.ChecksListView()->topLevelItemCount(), 0);
    QVERIFY(!designer.CheckDetailPanel()->isEnabled());
    QVERIFY(designer.CheckConditionEdit()->text().isEmpty() && designer.CheckMessageEdit()->text().isEmpty());
    QVERIFY(!designer.DeleteCheckAct()->isEnabled());
    QVERIFY(dialogs.Failures().isEmpty());
    designer.Core().SetDirtyStructure(false);
}

void TstConstraintsPages::relationshipsPage() {
    ShopDb shop(false);
    auto orders = shop.Open("Orders");
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(orders.get());
    QVERIFY(ShowActive(designer));
    designer.DesignerPageControl()->setCurrentWidget(designer.RelationshipsPage());
    QVERIFY(designer.RelationshipsInfoLabel()->text().startsWith("Foreign key constraints establish relationships"));
    QTreeWidget* list = designer.ForeignKeyDefsListView();
    QVERIFY(!designer.DeleteRelationshipAct()->isEnabled());

    designer.NewRelationshipAct()->trigger();
    QCOMPARE(Rows(list, 6), QStringList({"<New>||||Reject|Reject"}));
    QVERIFY(designer.DeleteRelationshipAct()->isEnabled());
    QCOMPARE(designer.ChildFieldsLabel()->text(), QStringLiteral("Fields in this table (Orders)"));
    QCOMPARE(designer.ParentIndexesBox()->count(), 0);

    TypeAndLeave(designer, designer.ForeignKeyNameEdit(), "FK_Cust", list);
    designer.ParentTableCombobox()->setCurrentText("Customers");
    // the parent's unique indexes, and the (still empty) parent fields as they are
    QCOMPARE(designer.ParentIndexesBox()->count(), 2);
    QCOMPARE(designer.ParentIndexesBox()->itemText(0), QStringLiteral("Code"));
    QCOMPARE(designer.ParentIndexesBox()->currentText(), QString());
    Choose(designer.ParentIndexesBox(), "Code");
    QCOMPARE(designer.IR_ValueList()->rowCount(), 1);
    QCOMPARE(designer.IR_ValueList()->item(0, 0)->text(), QStringLiteral("Code"));
    QComboBox* value = designer.IR_ValueListEditor(0);
    QStringList offered;
    for (int i = 0; i < value->count(); ++i) offered << value->itemText(i);
    QCOMPARE(offered, QStringList({"", "ID", "CustCode", "Amount"}));
    Choose(value, "CustCode");
    Choose(designer.DeleteActionBox(), "Cascade");
    QCOMPARE(Rows(list, 6), QStringList({"FK_Cust|CustCode|Customers|Code|Reject|Cascade"}));

    // Clearing a value leaves that column out of the child fields.
    Choose(designer.IR_ValueListEditor(0), "");
    QCOMPARE(Rows(list, 6), QStringList({"FK_Cust||Customers|Code|Reject|Cascade"}));
    Choose(designer.IR_ValueListEditor(0), "CustCode");

    // Delete goes by name: of two of the same name, the first.
    designer.NewRelationshipAct()->trigger();
    TypeAndLeave(designer, designer.ForeignKeyNameEdit(), "FK_Cust", list);
    QCOMPARE(list->topLevelItemCount(), 2);
    QCOMPARE(list->currentItem(), list->topLevelItem(1));
    designer.DeleteRelationshipAct()->trigger();
    QCOMPARE(Rows(list, 6), QStringList({"FK_Cust||||Reject|Reject"}));
    QVERIFY(dialogs.Failures().isEmpty());
    designer.Core().SetDirtyStructure(false);
}

void TstConstraintsPages::madeThroughThePagesAndEnforced_data() {
    QTest::addColumn<bool>("singleFile");
    QTest::newRow("directory") << false;
    QTest::newRow("single-file") << true;
}

void TstConstraintsPages::madeThroughThePagesAndEnforced() {
    QFETCH(bool, singleFile);
    ShopDb shop(singleFile);
    auto orders = shop.Open("Orders");
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(orders.get());
    QVERIFY(ShowActive(designer));

    designer.DesignerPageControl()->setCurrentWidget(designer.ChecksPage());
    designer.NewCheckAct()->trigger();
    WhenShown<TOstFilterDialog>(
        [](TOstFilterDialog* dlg) {
            dlg->DirectInputCheckBox()->click();
            dlg->PageControl()->setCurrentIndex(0);
            AddCondition(dlg, "Amount", "<", 1000, "and");
            dlg->accept();
        },
        "Set Filter");
    designer.EditCheckConditionBtn()->click();
    TypeAndLeave(designer, designer.CheckMessageEdit(), "Orders stay below 1000", designer.ChecksListView());

    designer.DesignerPageControl()->setCurrentWidget(designer.RelationshipsPage());
    designer.NewRelationshipAct()->trigger();
    TypeAndLeave(designer, designer.ForeignKeyNameEdit(), "FK_Cust", designer.ForeignKeyDefsListView());
    designer.ParentTableCombobox()->setCurrentText("Customers");
    Choose(designer.ParentIndexesBox(), "Code");
    Choose(designer.IR_ValueListEditor(0), "CustCode");
    Choose(designer.DeleteActionBox(), "Cascade");
    Choose(designer.UpdateActionBox(), "Cascade");

    QStringList rows;
    ApplyConfirmed(designer, &rows);
    QCOMPARE(rows, QStringList({"|Foreign key FK_Cust added", "|Check 1: Condition added"}));
    QVERIFY2(designer.Core().ChangesApplied(), qPrintable(dialogs.Messages().join(u'\n')));
    QVERIFY(dialogs.Failures().isEmpty());

    QCOMPARE(shop.Refused("INSERT INTO Orders(CustCode, Amount) VALUES('A', 5000)"),
             QStringLiteral("Orders stay below 1000"));
    QVERIFY(shop.Refused("INSERT INTO Orders(CustCode, Amount) VALUES('Z', 5)").contains("FK_Cust"));
    shop.Exec("UPDATE Customers SET Code = 'B2' WHERE Code = 'B'");
    QCOMPARE(shop.Scalar("SELECT count(*) FROM Orders WHERE CustCode = 'B2'").toInt(), 1);
    shop.Exec("DELETE FROM Customers WHERE Code = 'A'");
    QCOMPARE(shop.Scalar("SELECT count(*) FROM Orders").toInt(), 2);

    // Opened again, the pages show what is stored.
    TOstTableDesigner again;
    auto reopened = shop.Open("Orders");
    again.SetOstDataset(reopened.get());
    QCOMPARE(Rows(again.ChecksListView(), 1), QStringList({"Amount < 1000"}));
    QCOMPARE(Rows(again.ForeignKeyDefsListView(), 6), QStringList({"FK_Cust|CustCode|Customers|Code|Cascade|Cascade"}));
}

void TstConstraintsPages::filterDialog() {
    ShopDb shop(false);
    auto orders = shop.Open("Orders");
    TOstFilterDialog dlg;
    dlg.SetOstDataset(orders.get());
    QCOMPARE(dlg.FieldComboBox()->count(), 3);
    QVERIFY(!dlg.FieldComboBox()->isEnabled() && !dlg.OperatorComboBox()->isEnabled() &&
            !dlg.UpdateConditionBtn()->isEnabled());
    dlg.show();
    // the extended style: the radio group (second entry) and the check box, on
    QVERIFY(dlg.ActionRadioGroup()->isVisible() && dlg.RestrictCheckBox()->isVisible());
    QCOMPARE(dlg.FoundAction(), 1);
    QVERIFY(dlg.RestrictToMatches());
    const int extendedHeight = dlg.minimumHeight();

    AddCondition(&dlg, "CustCode", "=", 0, "and");
    QVERIFY(dlg.ValueEdit()->isVisible() && !dlg.ValueSpinEdit()->isVisible());
    dlg.ValueEdit()->setText("A");
    dlg.UpdateConditionBtn()->click();
    QCOMPARE(dlg.ConditionTreeView()->topLevelItem(0)->text(0), QStringLiteral("$CustCode = 'A'"));
    QVERIFY(!dlg.JunctionComboBox()->isEnabled()); // the very first node has none
    dlg.AddAct()->trigger();
    QCOMPARE(dlg.ConditionTreeView()->topLevelItem(1)->text(0), QStringLiteral("(new condition)"));
    QVERIFY(dlg.JunctionComboBox()->isEnabled());
    Choose(dlg.FieldComboBox(), "Amount");
    QVERIFY(dlg.ValueSpinEdit()->isVisible() && !dlg.ValueEdit()->isVisible());
    dlg.OperatorComboBox()->setCurrentText(">");
    dlg.ValueSpinEdit()->setValue(15);
    dlg.JunctionComboBox()->setCurrentText("or");
    dlg.UpdateConditionBtn()->click();
    QCOMPARE(dlg.GetFilterText(), QStringLiteral("$CustCode = 'A' or $Amount > 15"));

    // selecting a node fills the inputs from it
    dlg.ConditionTreeView()->setCurrentItem(dlg.ConditionTreeView()->topLevelItem(0));
    QCOMPARE(dlg.FieldComboBox()->currentText(), QStringLiteral("CustCode"));
    QCOMPARE(dlg.ValueEdit()->text(), QStringLiteral("A"));
    QVERIFY(!dlg.IndentRightAct()->isEnabled() && !dlg.MoveUpAct()->isEnabled() && dlg.MoveDownAct()->isEnabled());
    dlg.MoveDownAct()->trigger();
    QCOMPARE(dlg.GetFilterText(), QStringLiteral("$Amount > 15 and $CustCode = 'A'"));

    // the filter selects on the real table
    orders->SetFilter(dlg.GetFilterText());
    orders->SetFiltered(true);
    QCOMPARE(orders->RecordCount(), 1);

    // the Condition page shows the tree's text; direct input takes over
    dlg.PageControl()->setCurrentIndex(1);
    QCOMPARE(dlg.ConditionMemo()->toPlainText(), QStringLiteral("$Amount > 15 and $CustCode = 'A'"));
    QVERIFY(dlg.ConditionMemo()->isReadOnly());
    dlg.DirectInputCheckBox()->click();
    QVERIFY(!dlg.ConditionMemo()->isReadOnly() && !dlg.PageControl()->widget(0)->isEnabled());
    QVERIFY(!dlg.AddAct()->isEnabled());
    dlg.ConditionMemo()->setPlainText("$Amount < 0");
    QCOMPARE(dlg.GetFilterText(), QStringLiteral("$Amount < 0"));
    // "Test" counts through the engine, or points at the problem
    dlg.TestBtn()->click();
    QCOMPARE(dlg.TestResultLabel()->text(), QStringLiteral("0 records match the condition."));
    dlg.ConditionMemo()->setPlainText("$Amount < 25 and $Amount >");
    dlg.TestBtn()->click();
    QVERIFY2(dlg.TestResultLabel()->text().startsWith("Filter error at position"), qPrintable(dlg.TestResultLabel()->text()));
    QCOMPARE(dlg.ConditionMemo()->textCursor().position(), TOstFilterCore::ErrorPosition(dlg.TestResultLabel()->text()));
    dlg.ConditionMemo()->setPlainText("$Amount < 25");
    dlg.TestBtn()->click();
    QCOMPARE(dlg.TestResultLabel()->text(), QStringLiteral("2 records match the condition."));
    dlg.ConditionMemo()->setPlainText("$Amount < 0");
    dlg.DirectInputCheckBox()->click();
    QCOMPARE(dlg.GetFilterText(), QStringLiteral("$Amount > 15 and $CustCode = 'A'"));

    // without the extended style: no "$", no extra controls, a smaller dialog
    dlg.hide();
    dlg.SetQlxDialogStyle(false);
    dlg.show();
    QVERIFY(!dlg.ActionRadioGroup()->isVisible() && !dlg.RestrictCheckBox()->isVisible());
    QVERIFY(dlg.minimumHeight() < extendedHeight);
}

QTEST_MAIN(TstConstraintsPages)
#include "tst_constraintspages.moc"
