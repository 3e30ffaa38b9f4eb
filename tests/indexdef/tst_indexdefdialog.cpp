// The index definition dialog as a user meets it: the page
// that each kind of index shows, the name without a "." when extensions are
// not allowed, the key list built with the buttons and keys, the collected
// messages of OK, the new dictionary's controls with the password dialog,
// and the key length that must be settled before the dialog shows.
#include "../common/password_helper.h"
#include "indexdef_helper.h"
#include "common/ostscripteddialogs.h"
#include "engine/ostdataset.h"
#include "indexdef/ostnewindexdlg.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QtTest>

class TstIndexDefDialog : public QObject {
    Q_OBJECT
private slots:
    void pagesOfEachKind();
    void nameWithoutExtension();
    void keyListByButtonsAndKeys();
    void okCollectsTheMessages();
    void newDictionaryControls();
    void editableStringLengthBeforeShowing();
};

namespace {

QStringList VisibleTabs(const QTabWidget* pages) {
    QStringList tabs;
    for (int i = 0; i < pages->count(); ++i)
        if (pages->isTabVisible(i)) tabs << pages->tabText(i);
    return tabs;
}

} // namespace

void TstIndexDefDialog::pagesOfEachKind() {
    Db db;
    auto t = db.Table("Docs", 6, {"Title:1:60", "Body:8", "Pages:3"});
    TIndexDefinition dialog;
    dialog.SetTable(t.get());
    // Exactly the page of the chosen kind; no unique fulltext index.
    QCOMPARE(VisibleTabs(dialog.PageControl()), QStringList({"General", "Hierarchical"}));
    dialog.CalculatedRadio()->click();
    QCOMPARE(VisibleTabs(dialog.PageControl()), QStringList({"General", "Calculated"}));
    QVERIFY(dialog.UniqueCheckBox()->isEnabled());
    QCOMPARE(dialog.ExpressionEdit()->maxLength(), 255);
    QVERIFY(dialog.ExpressionHintLabel()->text().startsWith("Enter a OstraSQL expression with up to 255 characters."));
    dialog.FulltextRadio()->click();
    QCOMPARE(VisibleTabs(dialog.PageControl()), QStringList({"General", "Fulltext"}));
    // The keyboard reaches the kind's page and no other.
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.PageControl()->setCurrentIndex(0);
    QTest::keyClick(dialog.PageControl(), Qt::Key_Tab, Qt::ControlModifier);
    QCOMPARE(dialog.PageControl()->currentWidget(), dialog.FulltextPage());
    QVERIFY(dialog.FulltextColumnsList()->isVisible() && !dialog.AvailableColumnsList()->isVisible());
    dialog.hide();
    QVERIFY(!dialog.UniqueCheckBox()->isEnabled());
    QVERIFY(!dialog.SeparatorsEdit()->isHidden());
    QCOMPARE(dialog.SeparatorsEdit()->text(), OstDefaultFulltextSeparators);
    QCOMPARE(ItemTexts(dialog.FulltextColumnsList()), QStringList({"Title", "Body", "Pages"}));
    QCOMPARE(ItemTexts(dialog.AvailableColumnsList()), QStringList({"Title", "Pages"})); // no memo in a key

    // Below level 4: "Advanced" with the capacity, no fulltext, short expressions.
    auto low = db.Table("Docs", 3, {"Title:1:60", "Body:8", "Pages:3"});
    TIndexDefinition old;
    old.SetTable(low.get());
    QCOMPARE(VisibleTabs(old.PageControl()), QStringList({"General", "Hierarchical", "Advanced"}));
    QVERIFY(old.FulltextRadio()->isHidden());
    old.CalculatedRadio()->click();
    QCOMPARE(old.ExpressionEdit()->maxLength(), 40);
    QVERIFY(old.ExpressionHintLabel()->text().startsWith("Enter a native Ostra expression with up to 40 characters."));
    QCOMPARE(old.CapacityComboBox()->currentText(), QString::number(low->GetCapacity()));
    QCOMPARE(old.CapacityComboBox()->count(), 5);
}

void TstIndexDefDialog::nameWithoutExtension() {
    Db db;
    auto t = db.Table("Docs", 6, {"Title:1:60", "Body:8", "Pages:3"});
    TIndexDefinition dialog;
    dialog.SetTable(t.get());
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QTest::keyClicks(dialog.IndexNameEdit(), "By.Title");
    QCOMPARE(dialog.IndexNameEdit()->text(), QStringLiteral("By.Title")); // free typing by default
    dialog.IndexNameEdit()->clear();
    dialog.SetAllowFileExt(false);
    QTest::keyClicks(dialog.IndexNameEdit(), "By.Title");
    QCOMPARE(dialog.IndexNameEdit()->text(), QStringLiteral("ByTitle"));
    QCOMPARE(dialog.IndexName(), QStringLiteral("ByTitle"));
    dialog.close();
}

void TstIndexDefDialog::keyListByButtonsAndKeys() {
    Db db;
    auto t = db.Table("Docs", 6, {"Title:1:60", "Body:8", "Pages:3"});
    TIndexDefinition dialog;
    dialog.SetTable(t.get());
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.PageControl()->setCurrentWidget(dialog.HierarchicalPage());
    QListWidget* available = dialog.AvailableColumnsList();
    QListWidget* keys = dialog.IndexFieldsList();
    QVERIFY(!dialog.DeleteColumnBtn()->isEnabled() && !dialog.MoveUpBtn()->isEnabled());
    available->setCurrentRow(1); // Pages
    dialog.InsertColumnBtn()->click();
    // Enter on the available list takes the column too.
    available->setFocus();
    available->setCurrentRow(0);
    QTest::keyClick(available, Qt::Key_Return);
    QCOMPARE(ItemTexts(keys), QStringList({"1. Pages, ascending", "2. Title, ascending"}));
    QCOMPARE(ItemTexts(available), QStringList());
    QVERIFY(!dialog.InsertColumnBtn()->isEnabled());
    QCOMPARE(keys->currentRow(), 1);
    dialog.DescendingRadio()->click();
    QCOMPARE(ItemTexts(keys), QStringList({"1. Pages, ascending", "2. Title, descending"}));
    dialog.MoveUpBtn()->click();
    QCOMPARE(ItemTexts(keys), QStringList({"1. Title, descending", "2. Pages, ascending"}));
    QCOMPARE(keys->currentRow(), 0);
    QVERIFY(dialog.DescendingRadio()->isChecked());
    // The key length: only for a string column, and only where it is offered.
    QVERIFY(dialog.LengthSpinEdit()->isEnabled());
    dialog.LengthSpinEdit()->setValue(12);
    QCOMPARE(keys->item(0)->text(), QStringLiteral("1. Title:12, descending"));
    QCOMPARE(dialog.Core().GetIndexFields(ifAll), QStringLiteral("Title:12;Pages"));
    keys->setCurrentRow(1);
    QVERIFY(!dialog.LengthSpinEdit()->isEnabled());
    // A double click on a key gives the column back.
    const QPoint at = keys->visualItemRect(keys->item(1)).center();
    QTest::mouseClick(keys->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(keys->viewport(), Qt::LeftButton, {}, at);
    QCOMPARE(ItemTexts(keys), QStringList({"1. Title:12, descending"}));
    QCOMPARE(ItemTexts(available), QStringList({"Pages"}));
    dialog.DeleteAllColumnsBtn()->click();
    QCOMPARE(ItemTexts(keys), QStringList());
    QCOMPARE(ItemTexts(available), QStringList({"Title", "Pages"}));
    dialog.close();
}

void TstIndexDefDialog::okCollectsTheMessages() {
    Db db;
    auto t = db.Table("Docs", 3, {"Title:1:60", "Body:8", "Pages:3"});
    TScriptedDialogService script;
    TScopedDialogService scope(&script);
    TIndexDefinition dialog;
    dialog.SetTable(t.get());
    dialog.CapacityComboBox()->setCurrentText("abc");
    script.Press(QMessageBox::Ok);
    WhenShown<TIndexDefinition>([](TIndexDefinition* d) { d->OkBtn()->click(); });
    dialog.exec();
    QCOMPARE(script.Calls().size(), 1);
    const auto& call = script.Calls().first();
    QCOMPARE(call.Caption, QStringLiteral("Index Definition Error"));
    QCOMPARE(call.Icon, QMessageBox::Critical);
    QCOMPARE(call.Text, QStringLiteral("Index name missing\r\nIndex columns missing\r\nIndex capacity cannot be evaluated"));
    QCOMPARE(dialog.result(), int(QDialog::Rejected)); // it stayed open until closed
    // Everything entered is still there; complete, OK closes it.
    QCOMPARE(dialog.CapacityComboBox()->currentText(), QStringLiteral("abc"));
    WhenShown<TIndexDefinition>([](TIndexDefinition* d) {
        d->IndexNameEdit()->setText("ByTitle");
        d->AvailableColumnsList()->setCurrentRow(0);
        d->InsertColumnBtn()->click();
        d->CapacityComboBox()->setCurrentText("1000000000");
        d->OkBtn()->click();
    });
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QCOMPARE(script.Calls().size(), 1);
    TIndexDef def;
    dialog.UpdateIndexDef(def);
    QCOMPARE(def.Name, QStringLiteral("ByTitle"));
    QCOMPARE(def.Fields, QStringLiteral("Title"));
    QCOMPARE(def.Capacity, 1000000000);
}

void TstIndexDefDialog::newDictionaryControls() {
    Db db;
    auto t = db.Table("Docs", 6, {"Title:1:60", "Body:8", "Pages:3"});
    TScriptedDialogService script;
    TScopedDialogService scope(&script);
    TIndexDefinition dialog;
    dialog.SetTable(t.get());
    dialog.FulltextRadio()->click();
    QWidget* controls[] = {dialog.DicTableNameEdit(), dialog.MaxKeywordLengthSpinEdit(), dialog.DicEncryptionTypComboBox()};
    for (QWidget* w : controls) QVERIFY(!w->isEnabled());
    QVERIFY(!dialog.DicEncryptionkeyBtn()->isEnabled());
    QComboBox* dictionaries = dialog.DictionaryComboBox();
    QCOMPARE(dictionaries->itemText(0), QString());
    QCOMPARE(dictionaries->itemText(1), QStringLiteral("(New Dictionary)"));
    dictionaries->setCurrentIndex(1);
    for (QWidget* w : controls) QVERIFY(w->isEnabled());
    // "Pwd" from "Protection" on, and asking for nothing before it.
    QComboBox* methods = dialog.DicEncryptionTypComboBox();
    for (int i = 0; i < methods->count(); ++i) {
        methods->setCurrentIndex(i);
        QCOMPARE(dialog.DicEncryptionkeyBtn()->isEnabled(), i >= methods->findText("Protection"));
    }
    methods->setCurrentText("Rijndael/AES");
    QCOMPARE(dialog.Core().GetDictionaryEncryption(), int(emRijndael));
    WhenShown<TOstPasswordChangeDialog>([](TOstPasswordChangeDialog* p) {
        QCOMPARE(p->EncryptionMethod(), int(emRijndael));
        EnterPassword(p, "secret1");
    });
    dialog.DicEncryptionkeyBtn()->click();
    QCOMPARE(dialog.Core().GetDictionaryEncryptionKey(), QStringLiteral("secret1"));
    WhenShown<TOstPasswordChangeDialog>([](TOstPasswordChangeDialog* p) { p->CancelButton()->click(); });
    dialog.DicEncryptionkeyBtn()->click();
    QCOMPARE(dialog.Core().GetDictionaryEncryptionKey(), QString()); // cancelled: no key

    // OK with the new dictionary unnamed and no key: those messages and the columns'.
    dialog.IndexNameEdit()->setText("Words");
    script.Press(QMessageBox::Ok);
    WhenShown<TIndexDefinition>([](TIndexDefinition* d) { d->OkBtn()->click(); });
    dialog.exec();
    QCOMPARE(script.Calls().last().Text,
             QStringLiteral("Fulltext columns missing\r\nDictionary name missing\r\nDictionary password missing"));
    // "Check Selected" checks every selected row.
    QListWidget* columns = dialog.FulltextColumnsList();
    columns->item(0)->setSelected(true);
    columns->item(1)->setSelected(true);
    dialog.CheckSelectedBtn()->click();
    QCOMPARE(dialog.Core().GetIndexFields(ifFulltext), QStringLiteral("Title;Body"));
    columns->item(1)->setSelected(false);
    dialog.UncheckSelectedBtn()->click();
    QCOMPARE(dialog.Core().GetIndexFields(ifFulltext), QStringLiteral("Body"));
    dialog.DicTableNameEdit()->setText("DocsWords");
    dialog.MaxKeywordLengthSpinEdit()->setValue(32);
    WhenShown<TOstPasswordChangeDialog>([](TOstPasswordChangeDialog* p) {
        EnterPassword(p, "secret2");
    });
    dialog.DicEncryptionkeyBtn()->click();
    WhenShown<TIndexDefinition>([](TIndexDefinition* d) { d->OkBtn()->click(); });
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QCOMPARE(dialog.Core().DictionaryTableName(), QStringLiteral("DocsWords"));
    QCOMPARE(dialog.Core().MaxKeywordLength, 32);
    QCOMPARE(dialog.Core().GetDictionaryEncryptionKey(), QStringLiteral("secret2"));
    // Back at an empty entry the new dictionary's controls take no input.
    dictionaries->setCurrentIndex(0);
    for (QWidget* w : controls) QVERIFY(!w->isEnabled());
    QVERIFY(!dialog.DicEncryptionkeyBtn()->isEnabled());
}

void TstIndexDefDialog::editableStringLengthBeforeShowing() {
    Db db;
    auto t = db.Table("Docs", 6, {"Title:1:60", "Body:8", "Pages:3"});
    TIndexDefinition dialog;
    dialog.SetTable(t.get());
    dialog.SetEditableStringLength(false);
    QVERIFY(dialog.LengthLabel()->isHidden() && dialog.LengthSpinEdit()->isHidden());
    dialog.SetEditableStringLength(true);
    QVERIFY(!dialog.LengthSpinEdit()->isHidden());
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    try {
        dialog.SetEditableStringLength(false);
        QFAIL("no exception");
    } catch (const Exception& e) {
        QCOMPARE(e.Message(), QStringLiteral("EditableStringLength must be set before displaying this dialog"));
    }
    dialog.close();
}

QTEST_MAIN(TstIndexDefDialog)
#include "tst_indexdefdialog.moc"
