// The table designer form on real tables: what it shows when it opens, column
// edits made through the list, its actions and the column property editor,
// applied after the difference dialog and read back, the edit guard and the
// action states, failed applies, closing, and datasets that are only shown.
#include "designer_helper.h"
#include "tabledesigner_helper.h"

#include "designer/core/ostcolumnpropscore.h"
#include "designer/ostcolumnpropseditor.h"
#include "engine/ostquery.h"

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QSpinBox>
#include <QTabWidget>
#include <QToolBar>

class TstTableDesigner : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }
    void opensOnTheTableWithItsColumns();
    void columnEditsAreAppliedAndKeepTheData();
    void actionStatesAndTheEditGuard();
    void lowLevelTablesHaveNoKeys();
    void typedNamesAndTheRecordIdIndication();
    void failedAppliesKeepTheEdits();
    void closingAsksBeforeChangesAreLost();
    void queriesAreOnlyShown();
    void keysReachEveryColumnAction();
};

namespace {

const QStringList kPeopleRows = {"1|ID|dtAutoInc|", "2|Name|dtString|30", "3|City|dtString|20",
                                 "4|Age|dtInteger|"};

// Whether a cell shows a picture (a blank one keeps the numbers in line).
bool HasIcon(const TOstTableDesigner& d, int row, int column) {
    const QIcon icon = d.ColumnListView()->topLevelItem(row)->icon(column);
    if (icon.isNull()) return false;
    const QImage image = icon.pixmap(16, 16).toImage();
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y).alpha() > 0) return true;
    return false;
}

void Select(TOstTableDesigner& d, int row) {
    d.ColumnListView()->setCurrentItem(d.ColumnListView()->topLevelItem(row));
}

template <class T> T* EditorControl(const TOstTableDesigner& d, const char* name) {
    return d.ColumnPropertyEditor()->findChild<T*>(QString::fromLatin1(name));
}

std::unique_ptr<TOstTable> LevelThreeTable(const QString& location) {
    auto t = std::make_unique<TOstTable>();
    t->SetDatabaseName(location);
    t->SetTableName("Legacy");
    t->SetTableLevel(3);
    t->GetFieldDefsOst().Add("Code", dtString, 10)->SetNullable(false);
    t->GetFieldDefsOst().Add("Amount", dtInteger, 0);
    t->CreateTable();
    t->Open();
    return t;
}

} // namespace

void TstTableDesigner::opensOnTheTableWithItsColumns() {
    PeopleTable people;
    people.table->SetIndexName("ByCity");
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(people.table.get());
    QCOMPARE(designer.windowTitle(), QStringLiteral("Ostra Table Designer - People"));
    QTabWidget* pages = designer.DesignerPageControl();
    for (int i = 0; i < 4; ++i) QVERIFY(pages->isTabVisible(i));
    QCOMPARE(pages->currentWidget(), designer.GeneralPage());
    QCOMPARE(ColumnRows(designer), kPeopleRows);
    QVERIFY(designer.ColumnListView()->topLevelItem(1)->textAlignment(3) & Qt::AlignRight);
    // Nulls: the record id never, a required column neither.
    QVERIFY(!HasIcon(designer, 0, 4) && !HasIcon(designer, 1, 4));
    QVERIFY(HasIcon(designer, 2, 4) && HasIcon(designer, 3, 4));
    for (int row = 0; row < 4; ++row)
        QVERIFY(!HasIcon(designer, row, 0)); // no primary key

    // The first column is selected and in the property editor.
    QCOMPARE(designer.SelectedItem(), designer.ColumnListView()->topLevelItem(0));
    QCOMPARE(designer.ColumnPropertyEditor()->FieldDef(), designer.Core().Columns()[0]);
    QCOMPARE(designer.ColumnPropertyEditor()->NameEdit()->text(), QStringLiteral("ID"));
    QVERIFY(designer.ColumnPropertiesPanel()->isAncestorOf(designer.ColumnPropertyEditor()));
    QVERIFY(designer.ApplyBtn()->isEnabled());
    QVERIFY(designer.NewColumnAct()->isEnabled() && designer.DeleteColumnAct()->isEnabled());
    QVERIFY(designer.PrimaryKeyAct()->isEnabled());
    // Up also on the first row; Down not on the last.
    QVERIFY(designer.MoveColumnUpAct()->isEnabled() && designer.MoveColumnDownAct()->isEnabled());
    Select(designer, 3);
    QVERIFY(designer.MoveColumnUpAct()->isEnabled());
    QVERIFY(!designer.MoveColumnDownAct()->isEnabled());
    QCOMPARE(designer.ColumnPropertyEditor()->NameEdit()->text(), QStringLiteral("Age"));
    QVERIFY(!designer.ProgressBar()->isVisible());

    // Nothing changed: closing asks nothing, changes nothing and gives the index back.
    QCOMPARE(people.table->GetIndexName(), QString());
    QVERIFY(designer.close());
    QCOMPARE(designer.result(), int(QDialog::Rejected));
    QCOMPARE(people.table->GetIndexName(), QStringLiteral("ByCity"));
    QCOMPARE(dialogs.Messages(), QStringList());
}

void TstTableDesigner::columnEditsAreAppliedAndKeepTheData() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    QVERIFY(ShowActive(designer));
    TColumnPropertyEditor* editor = designer.ColumnPropertyEditor();

    // A new column goes below the selected one, named after its position,
    // and the name edit takes the focus.
    Select(designer, 2);
    designer.NewColumnAct()->trigger();
    QCOMPARE(ColumnRows(designer)[3], QStringLiteral("4|Column4|dtString|20"));
    QCOMPARE(designer.SelectedItem(), designer.ColumnListView()->topLevelItem(3));
    QTRY_VERIFY(editor->NameEdit()->hasFocus());
    QTest::keyClicks(editor->NameEdit(), "Email");
    LeaveToList(designer);
    QCOMPARE(ColumnRows(designer)[3], QStringLiteral("4|Email|dtString|20"));
    QVERIFY(designer.Core().DirtyStructure());

    Select(designer, 1);
    TypeAndLeave(designer, editor->NameEdit(), "FullName");
    Select(designer, 2);
    TypeAndLeave(designer, EditorControl<QSpinBox>(designer, "LengthEdit"), "40");
    Select(designer, 4);
    designer.DeleteColumnAct()->trigger(); // Age; the row above is selected
    QCOMPARE(designer.SelectedItem(), designer.ColumnListView()->topLevelItem(3));
    designer.MoveColumnUpAct()->trigger(); // Email before City
    QCOMPARE(designer.SelectedItem(), designer.ColumnListView()->topLevelItem(2));
    Select(designer, 0);
    designer.PrimaryKeyAct()->trigger();
    QVERIFY(HasIcon(designer, 0, 0));
    QCOMPARE(ColumnRows(designer), QStringList({"1|ID|dtAutoInc|", "2|FullName|dtString|30",
                                                "3|Email|dtString|20", "4|City|dtString|40"}));

    // Cancelling the list applies nothing.
    AnswerDifferences(nullptr, false);
    QTest::mouseClick(designer.ApplyBtn(), Qt::LeftButton);
    QCOMPARE(people.table->GetFieldDefsOst().Count(), 4);
    QVERIFY(!designer.Core().ChangesApplied());

    QStringList differences;
    ApplyConfirmed(designer, &differences);
    QCOMPARE(differences, QStringList({"2|FullName renamed.", "4|City extended.", "4|Age deleted.",
                                       "3|Email added.", "|Primary key modified"}));
    QVERIFY2(dialogs.Messages().isEmpty(), qPrintable(dialogs.Messages().join(u'\n')));
    QVERIFY(designer.Core().ChangesApplied());
    // The deliberate last text of a restructure that went well.
    QCOMPARE(designer.TableDesignerStatusBar()->PanelText(), QStringLiteral("Restructuring Error"));
    QVERIFY(!designer.ProgressBar()->isVisible());
    QVERIFY(designer.ApplyBtn()->isEnabled() && designer.CloseBtn()->isEnabled());
    QVERIFY(designer.DesignerPageControl()->isEnabled());

    // The data came along; the designer shows the table as it is now.
    QCOMPARE(people.Column(
                 "SELECT FullName || '/' || City || '/' || coalesce(Email, '-') FROM People ORDER BY ID"),
             QStringList({"Ann/Oslo/-", "Bob/Rome/-", "Cid/Oslo/-"}));
    QCOMPARE(ColumnRows(designer), QStringList({"1|ID|dtAutoInc|", "2|FullName|dtString|30",
                                                "3|Email|dtString|20", "4|City|dtString|40"}));
    QVERIFY(HasIcon(designer, 0, 0));
    QCOMPARE(designer.Core().StoredKeyFields(), QStringList({"ID"}));
    QVERIFY(designer.Core().RefreshModificationsList().IsEmpty());
    QVERIFY(!designer.Core().DirtyStructure());
    QVERIFY(people.table->Active());

    // Closing after an apply asks nothing and reports the change.
    QTest::mouseClick(designer.CloseBtn(), Qt::LeftButton);
    QVERIFY(!designer.isVisible());
    QCOMPARE(designer.result(), int(QDialog::Accepted));
    QCOMPARE(dialogs.Failures(), QStringList());
}

void TstTableDesigner::typedNamesAndTheRecordIdIndication() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    QVERIFY(ShowActive(designer));
    TColumnPropertyEditor* editor = designer.ColumnPropertyEditor();

    // Key takes the name being typed: the key holds the typed name.
    Select(designer, 1);
    editor->NameEdit()->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(editor->NameEdit()->hasFocus());
    editor->NameEdit()->selectAll();
    QTest::keyClicks(editor->NameEdit(), "FullName");
    designer.PrimaryKeyAct()->trigger();
    QCOMPARE(designer.Core().KeyFields(), QStringList({"FullName"}));
    QCOMPARE(ColumnRows(designer)[1], QStringLiteral("2|FullName|dtString|30"));

    // Delete takes it too: no other column gets the typed name later.
    Select(designer, 3);
    editor->NameEdit()->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(editor->NameEdit()->hasFocus());
    editor->NameEdit()->selectAll();
    QTest::keyClicks(editor->NameEdit(), "Years");
    designer.DeleteColumnAct()->trigger();
    LeaveToList(designer);
    QCOMPARE(ColumnRows(designer), QStringList({"1|ID|dtAutoInc|", "2|FullName|dtString|30", "3|City|dtString|20"}));

    // A column made dtAutoInc is offered the key's columns as its indication.
    designer.NewColumnAct()->trigger();
    LeaveToList(designer);
    Select(designer, 3);
    EditorControl<QComboBox>(designer, "DataTypeComboBox")->setCurrentText(GetDataTypeName(dtAutoInc));
    const TOstFieldDef* made = designer.Core().Columns()[3];
    QCOMPARE(made->GetDataTypeOst(), int(dtAutoInc));
    QCOMPARE(made->GetSpec(), QStringLiteral("\"FullName\""));
    QCOMPARE(EditorControl<QComboBox>(designer, "IndicationComboBox")->currentText(), QStringLiteral("\"FullName\""));
    QCOMPARE(dialogs.Messages(), QStringList());
}

void TstTableDesigner::actionStatesAndTheEditGuard() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;

    // Up on the first row changes nothing.
    designer.MoveColumnUpAct()->trigger();
    QCOMPARE(ColumnRows(designer), kPeopleRows);
    QVERIFY(designer.Core().RefreshModificationsList().IsEmpty());

    // Renaming a key column keeps it in the key, at its place.
    Select(designer, 1);
    designer.PrimaryKeyAct()->trigger();
    designer.ColumnPropertyEditor()->NameEdit()->setText("FullName");
    designer.ColumnPropertyEditor()->CommitName();
    QCOMPARE(designer.Core().KeyFields(), QStringList({"FullName"}));
    QVERIFY(HasIcon(designer, 1, 0));
    // A column change closes index-related column properties.
    QVERIFY(!designer.ColumnPropertyEditor()->Core().AllowIndexChange());
    QVERIFY(designer.ColumnPropertyEditor()->Core().AllowFieldChange());
    // Deleting the key column takes the primary index with it.
    designer.DeleteColumnAct()->trigger();
    QVERIFY(designer.Core().KeyFields().isEmpty());
    QVERIFY(!TOstTableDesignerCore::GetPrimaryIndex(*designer.Core().WorkingTable()));
    QCOMPARE(designer.SelectedItem(), designer.ColumnListView()->topLevelItem(0));

    // Deleting every column leaves nothing to select, apply, delete or move.
    while (designer.ColumnListView()->topLevelItemCount() > 0)
        designer.DeleteColumnAct()->trigger();
    QVERIFY(!designer.ApplyBtn()->isEnabled());
    QVERIFY(!designer.DeleteColumnAct()->isEnabled() && !designer.PrimaryKeyAct()->isEnabled());
    QVERIFY(!designer.MoveColumnUpAct()->isEnabled() && !designer.MoveColumnDownAct()->isEnabled());
    QCOMPARE(designer.ColumnPropertyEditor()->FieldDef(), nullptr);
    // With nothing selected a new column goes to the top.
    designer.NewColumnAct()->trigger();
    QCOMPARE(ColumnRows(designer), QStringList({"1|Column1|dtString|20"}));
    QVERIFY(designer.ApplyBtn()->isEnabled());

    // Edited indexes refuse structure edits, with the guard's message.
    TOstTableDesigner other;
    other.SetOstDataset(people.table.get());
    other.Core().WorkingTable()->IndexDefs().Add("ByAge", "Age", TIndexOptions());
    other.Core().UpdateDirtyFlags();
    QVERIFY(!other.ColumnPropertyEditor()->Core().AllowFieldChange());
    const QString refused =
        "Error: Indexes has been modified. Apply changes before modifiying table structure.";
    for (QAction* action : {other.NewColumnAct(), other.DeleteColumnAct(), other.MoveColumnDownAct(),
                            other.MoveColumnUpAct(), other.PrimaryKeyAct()}) {
        dialogs->Press(QMessageBox::Ok);
        action->trigger();
        QCOMPARE(dialogs.LastMessage(), refused);
    }
    QCOMPARE(ColumnRows(other), kPeopleRows);
    QVERIFY(other.Core().KeyFields().isEmpty());
    QCOMPARE(dialogs->Calls().last().Owner.data(), &other);
    QCOMPARE(dialogs->Calls().last().Icon, QMessageBox::Critical);
    QCOMPARE(dialogs.Failures(), QStringList());
}

void TstTableDesigner::lowLevelTablesHaveNoKeys() {
    PeopleTable people;
    auto legacy = LevelThreeTable(people.location);
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(legacy.get());
    QVERIFY(!designer.PrimaryKeyAct()->isEnabled());
    Select(designer, 1);
    QVERIFY(!designer.MoveColumnDownAct()->isEnabled());
    designer.MoveColumnDownAct()->trigger(); // Down on the last row changes nothing
    QCOMPARE(ColumnRows(designer), QStringList({"1|Code|dtString|10", "2|Amount|dtInteger|"}));
    designer.NewColumnAct()->trigger();
    QCOMPARE(ColumnRows(designer).last(), QStringLiteral("3|Column3|dtString|20"));
    QVERIFY(!designer.Core().Columns()[2]->GetNullable());
    QVERIFY(!HasIcon(designer, 2, 4));
    // Raising the level offers keys.
    designer.TableLevelSpinEdit()->setValue(4);
    designer.TablePropertiesEditExit();
    QVERIFY(designer.PrimaryKeyAct()->isEnabled());
    Select(designer, 2);
    designer.PrimaryKeyAct()->trigger();
    QStringList differences;
    ApplyConfirmed(designer, &differences);
    QCOMPARE(differences,
             QStringList({"|File version of table changed.", "3|Column3 added.", "|Primary key modified"}));
    QCOMPARE(legacy->GetTableLevel(), 4);
    QCOMPARE(designer.TableLevelSpinEdit()->value(), 4);
    QCOMPARE(designer.ColumnPropertyEditor()->FieldDef(), designer.Core().Columns()[0]);
    QVERIFY(HasIcon(designer, 2, 0));
    QCOMPARE(dialogs.Messages(), QStringList());
}

void TstTableDesigner::failedAppliesKeepTheEdits() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    QVERIFY(ShowActive(designer));

    // No name: an error, the name edit gets the focus.
    designer.TableNameEdit()->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(designer.TableNameEdit()->hasFocus());
    designer.TableNameEdit()->clear();
    dialogs->Press(QMessageBox::Ok);
    QTest::mouseClick(designer.ApplyBtn(), Qt::LeftButton);
    QCOMPARE(dialogs.LastMessage(), QStringLiteral("Error: Missing table name"));
    QTRY_VERIFY(designer.TableNameEdit()->hasFocus());
    QTest::keyClicks(designer.TableNameEdit(), "People");
    LeaveToList(designer);

    // Nothing to apply: the Table\Maintain hint.
    dialogs->Press(QMessageBox::Ok);
    QTest::mouseClick(designer.ApplyBtn(), Qt::LeftButton);
    QCOMPARE(dialogs.LastMessage(), "Information: " + DesignerText::NoChanges());
    QCOMPARE(dialogs->Calls().last().Icon, QMessageBox::Information);

    // An indication the engine refuses: the record-id columns are selected on the General page.
    Select(designer, 0);
    auto* indication = EditorControl<QComboBox>(designer, "IndicationComboBox");
    QVERIFY(indication);
    indication->setFocus(Qt::TabFocusReason);
    QTRY_VERIFY(indication->hasFocus());
    indication->setEditText("\"NoSuchColumn\"");
    LeaveToList(designer);
    QCOMPARE(designer.Core().Columns()[0]->GetSpec(), QStringLiteral("\"NoSuchColumn\""));
    Select(designer, 2);
    designer.DesignerPageControl()->setCurrentWidget(designer.IndexesPage());
    dialogs->Press(QMessageBox::Ok);
    ApplyConfirmed(designer);
    QCOMPARE(dialogs.LastMessage(), "Error: " + DesignerText::InvalidIndication());
    QCOMPARE(designer.DesignerPageControl()->currentWidget(), designer.GeneralPage());
    QCOMPARE(designer.ColumnListView()->selectedItems(),
             QList<QTreeWidgetItem*>({designer.ColumnListView()->topLevelItem(0)}));
    // Both sides as they were: the table untouched, the edit still there.
    QCOMPARE(people.table->GetFieldDefsOst()[0]->GetSpec(), QStringLiteral("\"Name\""));
    QVERIFY(people.table->Active());
    QCOMPARE(designer.Core().Columns()[0]->GetSpec(), QStringLiteral("\"NoSuchColumn\""));
    QVERIFY(designer.DesignerPageControl()->isEnabled() && designer.ApplyBtn()->isEnabled());
    QVERIFY(!QApplication::overrideCursor());
    QCOMPARE(dialogs.Failures(), QStringList());
}

void TstTableDesigner::closingAsksBeforeChangesAreLost() {
    PeopleTable people;
    people.table->SetIndexName("ByCity");
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(people.table.get());
    QVERIFY(ShowActive(designer));
    designer.NewColumnAct()->trigger();
    LeaveToList(designer);

    const QString question = "Question: " + DesignerText::CancelChanges();
    dialogs->Press(QMessageBox::No);
    QTest::mouseClick(designer.CloseBtn(), Qt::LeftButton);
    QCOMPARE(dialogs.LastMessage(), question);
    QCOMPARE(dialogs->Calls().last().Buttons, QMessageBox::Yes | QMessageBox::No);
    QVERIFY(designer.isVisible());
    QCOMPARE(people.table->GetIndexName(), QString()); // still designing
    // Escape asks the same.
    dialogs->Press(QMessageBox::No);
    QTest::keyClick(&designer, Qt::Key_Escape);
    QCOMPARE(dialogs->Calls().size(), 2);
    QVERIFY(designer.isVisible());

    dialogs->Press(QMessageBox::Yes);
    QTest::mouseClick(designer.CloseBtn(), Qt::LeftButton);
    QVERIFY(!designer.isVisible());
    QCOMPARE(designer.result(), int(QDialog::Rejected));
    QCOMPARE(people.table->GetIndexName(), QStringLiteral("ByCity"));
    QCOMPARE(people.table->GetFieldDefsOst().Count(), 4);
    QCOMPARE(dialogs.Failures(), QStringList());
}

void TstTableDesigner::queriesAreOnlyShown() {
    PeopleTable people;
    TOstQuery query;
    query.SetName("Adults");
    query.SetDatabaseName(people.location);
    query.SetSQL("SELECT Name, Age FROM People WHERE Age > 30");
    TDesignerDialogs dialogs;
    TOstTableDesigner designer;
    designer.SetOstDataset(&query);
    QVERIFY(ShowActive(designer));
    QVERIFY(designer.ReadOnlyView());
    QCOMPARE(designer.windowTitle(), QStringLiteral("Ostra Table Designer - Adults"));
    QTabWidget* pages = designer.DesignerPageControl();
    QVERIFY(pages->isTabVisible(0));
    QVERIFY(!pages->isTabVisible(1) && !pages->isTabVisible(2) && !pages->isTabVisible(3));
    QVERIFY(!designer.TablePropertiesPanel()->isVisible());
    QVERIFY(!designer.ColumnToolBar()->isVisible());
    QVERIFY(!designer.ColumnPropertiesPanel()->isEnabled());
    QVERIFY(!designer.ApplyBtn()->isEnabled());
    for (QAction* action : designer.ColumnToolBar()->actions())
        QVERIFY(!action->isEnabled());
    QCOMPARE(ColumnRows(designer).size(), 2);
    QCOMPARE(ColumnRows(designer)[0].section(u'|', 0, 1), QStringLiteral("1|Name"));

    // Whatever happened to the copy, a query closes without a question.
    designer.Core().Columns()[0]->SetName("Other");
    QTest::mouseClick(designer.CloseBtn(), Qt::LeftButton);
    QVERIFY(!designer.isVisible());
    QCOMPARE(designer.result(), int(QDialog::Rejected));
    QCOMPARE(dialogs.Messages(), QStringList());
}

// A keyboard user adds, moves, keys and deletes columns: every toolbar action
// has its key on its page, names it in its tooltip, and is a tab stop.
void TstTableDesigner::keysReachEveryColumnAction() {
    PeopleInDesigner fixture;
    auto& [people, dialogs, designer] = fixture;
    designer.show();
    QVERIFY(QTest::qWaitForWindowActive(&designer));
    designer.ColumnListView()->setFocus();
    QTRY_VERIFY(designer.ColumnListView()->hasFocus());
    Select(designer, 3);
    QTest::keyClick(designer.ColumnListView(), Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(designer.ColumnListView()->topLevelItemCount(), 5);
    const QString added = designer.SelectedItem()->text(1);
    QCOMPARE(designer.ColumnListView()->topLevelItem(4)->text(1), added);
    QTest::keyClick(designer.ColumnListView(), Qt::Key_Up, Qt::ControlModifier);
    QCOMPARE(designer.ColumnListView()->topLevelItem(3)->text(1), added);
    QTest::keyClick(designer.ColumnListView(), Qt::Key_Down, Qt::ControlModifier);
    QCOMPARE(designer.ColumnListView()->topLevelItem(4)->text(1), added);
    Select(designer, 1);
    QTest::keyClick(designer.ColumnListView(), Qt::Key_K, Qt::ControlModifier);
    QCOMPARE(designer.Core().KeyFields(), QStringList({"Name"}));
    Select(designer, 4);
    QTest::keyClick(designer.ColumnListView(), Qt::Key_Delete, Qt::ControlModifier);
    QCOMPARE(designer.ColumnListView()->topLevelItemCount(), 4);
    // From the column's name box too.
    designer.ColumnPropertyEditor()->NameEdit()->setFocus();
    QTRY_VERIFY(designer.ColumnPropertyEditor()->NameEdit()->hasFocus());
    QTest::keyClick(designer.ColumnPropertyEditor()->NameEdit(), Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(designer.ColumnListView()->topLevelItemCount(), 5);

    for (QAction* a : designer.ColumnToolBar()->actions()) {
        QVERIFY2(!a->shortcut().isEmpty(), qPrintable(a->text()));
        QWidget* button = designer.ColumnToolBar()->widgetForAction(a);
        QVERIFY(button->focusPolicy() & Qt::TabFocus);
        QCOMPARE(button->accessibleDescription(), a->shortcut().toString(QKeySequence::NativeText));
    }
    // On the Checks page the same key adds a check, not a column.
    designer.DesignerPageControl()->setCurrentWidget(designer.ChecksListView()->parentWidget());
    designer.ChecksListView()->setFocus();
    QTRY_VERIFY(designer.ChecksListView()->hasFocus());
    QTest::keyClick(designer.ChecksListView(), Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(designer.ColumnListView()->topLevelItemCount(), 5);
    QCOMPARE(designer.ChecksListView()->topLevelItemCount(), 1);
    dialogs->Press(QMessageBox::No);
    designer.close();
}

QTEST_MAIN(TstTableDesigner)
#include "tst_tabledesigner.moc"
