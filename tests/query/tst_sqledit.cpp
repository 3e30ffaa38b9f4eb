// "SQL Query Builder": the form as the user meets it (texts, help, tab stop,
// splitters, the caret marker), inserting names by double click and Return,
// EditSQL keeping the text exactly and Cancel keeping the caller's, and Run
// against a real database: rows and their count, a positioned error, a
// question before a statement that writes, the selection or the statement
// at the caret; highlighting and completion of the database's names.
#include "common/osthelp.h"
#include "common/ostdatasetmodel.h"
#include "common/ostscripteddialogs.h"
#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "query/ostsqledit.h"
#include "query/ostsqlmemo.h"

#include "../common/modal_helper.h"

#include <Qsci/qscilexersql.h>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// A single-file database with People(ID, Name, Age) holding 600 rows.
struct PeopleDb {
    QTemporaryDir dir;
    TOstDatabase db;
    PeopleDb() {
        static int counter = 0;
        db.SetDatabaseName(QStringLiteral("SqlEditDb%1").arg(++counter));
        db.SetDatabaseType(dbtSingleFile);
        db.SetLocation(dir.filePath("people.ostd"));
        db.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(db.GetDatabaseName());
        t.SetTableName("People");
        t.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
        t.GetFieldDefsOst().Add("Name", dtString, 30);
        t.GetFieldDefsOst().Add("Age", dtInteger, 0);
        t.CreateTable();
        Exec("WITH RECURSIVE k(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM k WHERE i < 600) "
             "INSERT INTO People(Name, Age) SELECT 'P' || i, i % 90 FROM k");
    }
    void Exec(const QString& sql) {
        TOstQuery q;
        q.SetDatabaseName(db.GetDatabaseName());
        q.SetSQL(sql);
        q.ExecSQL();
    }
    int Count(const QString& where) {
        TOstQuery q;
        q.SetDatabaseName(db.GetDatabaseName());
        q.SetSQL("SELECT count(*) FROM People WHERE " + where);
        q.Open();
        return q.Fields()[0]->AsInteger();
    }
    TSqlQueryFactory Queries() {
        const QString name = db.GetDatabaseName();
        return [name] {
            auto q = std::make_unique<TOstQuery>(nullptr);
            q->SetDatabaseName(name);
            return q;
        };
    }
};

TGetTableNamesEvent Tables() {
    return [](QStringList& list, bool) { list = {"People", "orders", "Order Items"}; };
}

TGetFieldNamesEvent Fields() {
    return [](const QString& table, QStringList& list) {
        if (table == "People") list = {"ID", "Name", "Age"};
        else if (table == "Order Items") list = {"Item"};
        else list.clear();
    };
}

std::unique_ptr<TSQLEditForm> Form(TSqlQueryFactory queries = {}, const QString& start = "People") {
    auto form = std::make_unique<TSQLEditForm>(Tables(), Fields(), start, "\"", TReqQuoteCharEvent(), std::move(queries));
    return form;
}

void DoubleClick(QListWidget* list, int row) {
    QListWidgetItem* item = list->item(row);
    list->setCurrentItem(item);
    item->setSelected(true);
    const QPoint at = list->visualItemRect(item).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, at);
}


} // namespace

class TstSqlEdit : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { RegisterEngineClasses(); }
    void formAsTheUserSeesIt();
    void insertingByDoubleClickAndReturn();
    void caretMarkerWhileTheMemoHasNoFocus();
    void splittersKeepTheirSizeRules();
    void editSqlKeepsTheTextExactly();
    void runShowsRowsAndTheirCount();
    void runMarksWhereAStatementFails();
    void runAsksBeforeAStatementThatWrites();
    void runTakesTheSelectionOrTheStatementAtTheCaret();
    void highlightingAndCompletionKnowTheDatabase();
    void screenshot();
};

void TstSqlEdit::formAsTheUserSeesIt() {
    auto form = Form();
    form->show();
    QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    QVERIFY(form->isSizeGripEnabled());
    QCOMPARE(HelpContext(form->SQLMemo()), 27271);
    // Lists: sorted, the start table selected with its fields after "*".
    QCOMPARE(ItemTexts(form->TableListBox()), QStringList({"Order Items", "orders", "People"}));
    QCOMPARE(form->TableListBox()->currentItem()->text(), QStringLiteral("People"));
    QCOMPARE(ItemTexts(form->FieldListBox()), QStringList({"*", "ID", "Name", "Age"}));
    form->TableListBox()->setCurrentRow(1);
    QVERIFY(ItemTexts(form->FieldListBox()).isEmpty()); // a table without fields: no "*"
    // Without a way to run statements, Run is not offered.
    QVERIFY(!form->RunBtn()->isEnabled());
    // Help opens topic 27271.
    QStringList opened;
    const THelpViewer before = SetHelpViewer([&](const QString& file) { opened << file; });
    form->HelpBtn()->click();
    SetHelpViewer(before);
    QCOMPARE(opened.size(), 1);
    QVERIFY2(opened.first().endsWith("27271.md"), qPrintable(opened.first()));
    // Tab characters stay; the tab stop is 10 dialog units.
    form->SetSQLText("SELECT");
    form->SetCaretPosition(6);
    form->SQLMemo()->setFocus();
    QTest::keyClick(form->SQLMemo(), Qt::Key_Tab);
    QCOMPARE(form->SQLText(), QStringLiteral("SELECT\t"));
    // Alt with a letter is a mnemonic, never text; Ctrl+Tab leaves the memo.
    QTest::keyClick(form->SQLMemo(), Qt::Key_O, Qt::AltModifier);
    QCOMPARE(form->SQLText(), QStringLiteral("SELECT\t"));
    QVERIFY(QTest::qWaitForWindowActive(form.get()));
    form->SQLMemo()->setFocus();
    QTRY_VERIFY(form->SQLMemo()->hasFocus());
    QTest::keyClick(form->SQLMemo(), Qt::Key_Tab, Qt::ControlModifier);
    QTRY_VERIFY(!form->SQLMemo()->hasFocus());
    QCOMPARE(form->SQLText(), QStringLiteral("SELECT\t"));
    const int dialogUnits = QFontMetrics(form->font()).averageCharWidth() * 10 / 4;
    const int tab = form->SQLMemo()->tabWidth() * QFontMetrics(form->SQLMemo()->lexer()->defaultFont()).horizontalAdvance(' ');
    QVERIFY2(qAbs(tab - dialogUnits) <= QFontMetrics(form->SQLMemo()->lexer()->defaultFont()).horizontalAdvance(' '),
             qPrintable(QStringLiteral("%1 px for %2").arg(tab).arg(dialogUnits)));
}

void TstSqlEdit::insertingByDoubleClickAndReturn() {
    auto form = Form();
    form->show();
    QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    // A table into an empty memo: the caret goes back to the start.
    DoubleClick(form->TableListBox(), 0);
    QCOMPARE(form->SQLText(), QStringLiteral("\"Order Items\""));
    QCOMPARE(form->CaretPosition(), 0);
    QVERIFY(form->SQLMemo()->hasFocus());
    // A field right after "(": no blank; after a word: a blank first.
    form->TableListBox()->setCurrentRow(2);
    form->SetSQLText("SELECT count(");
    form->SetCaretPosition(13);
    DoubleClick(form->FieldListBox(), 1);
    QCOMPARE(form->SQLText(), QStringLiteral("SELECT count(ID"));
    QCOMPARE(form->CaretPosition(), 15);
    form->SetSQLText("SELECT * FROM T WHERE");
    form->SetCaretPosition(21);
    DoubleClick(form->FieldListBox(), 2);
    QCOMPARE(form->SQLText(), QStringLiteral("SELECT * FROM T WHERE \"Name\""));
    // Several fields, in list order, at the caret in the middle.
    form->SetSQLText("SELECT  FROM People");
    form->SetCaretPosition(7);
    form->FieldListBox()->clearSelection();
    form->FieldListBox()->item(3)->setSelected(true);
    form->FieldListBox()->item(1)->setSelected(true);
    form->FieldListBoxDblClick();
    QCOMPARE(form->SQLText(), QStringLiteral("SELECT ID \"Age\" FROM People"));
    QCOMPARE(form->CaretPosition(), 15);
    // Return on a list inserts too, and leaves the form open.
    form->SetSQLText("SELECT * FROM");
    form->SetCaretPosition(13);
    form->TableListBox()->setFocus();
    QTest::keyClick(form->TableListBox(), Qt::Key_Return);
    QCOMPARE(form->SQLText(), QStringLiteral("SELECT * FROM \"People\""));
    QVERIFY(form->isVisible());
    QCOMPARE(form->result(), 0);
}

void TstSqlEdit::caretMarkerWhileTheMemoHasNoFocus() {
    auto form = Form();
    form->show();
    QVERIFY(QTest::qWaitForWindowActive(form.get()));
    TSqlMemo* memo = form->SQLMemo();
    form->SetSQLText("SELECT *\nFROM People");
    form->SetCaretPosition(4);
    memo->setFocus();
    QTRY_VERIFY(memo->hasFocus());
    QVERIFY(!memo->CaretMarker()->isVisible());
    const QPoint line1 = memo->CaretMarkerPoint();
    form->TableListBox()->setFocus();
    QTRY_VERIFY(memo->CaretMarker()->isVisible());
    QCOMPARE(memo->CaretMarker()->pos(), line1);
    // Just below the caret: at its x minus 3 pixels, one line's height below its top.
    const int caretX = static_cast<int>(memo->SendScintilla(QsciScintillaBase::SCI_POINTXFROMPOSITION, 0UL, 4L));
    const int caretY = static_cast<int>(memo->SendScintilla(QsciScintillaBase::SCI_POINTYFROMPOSITION, 0UL, 4L));
    const int lineHeight = static_cast<int>(memo->SendScintilla(QsciScintillaBase::SCI_TEXTHEIGHT, 0UL));
    QCOMPARE(line1, QPoint(caretX - 3, caretY + lineHeight));
    memo->setFocus();
    QTRY_VERIFY(!memo->CaretMarker()->isVisible());
    // On the second line the marker is one line lower.
    form->SetCaretPosition(13);
    form->TableListBox()->setFocus();
    QTRY_VERIFY(memo->CaretMarker()->isVisible());
    QCOMPARE(memo->CaretMarker()->pos().y(), line1.y() + lineHeight);
}

void TstSqlEdit::splittersKeepTheirSizeRules() {
    auto form = Form();
    form->resize(900, 600);
    form->show();
    QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    QTest::qWait(20);
    auto moveTo = [](QSplitter* s, int size) {
        QList<int> sizes = s->sizes();
        const int total = sizes[0] + sizes[1];
        s->setSizes({size, total - size});
        QMetaObject::invokeMethod(s, "splitterMoved", Q_ARG(int, size), Q_ARG(int, 1));
        return s->sizes().first();
    };
    QSplitter* lists = form->TableSplitter();
    const int height = lists->height();
    QCOMPARE(moveTo(lists, 120), 120);
    QCOMPARE(moveTo(lists, 44), 120); // refused: the old size comes back
    QCOMPARE(moveTo(lists, 45), 45);
    QCOMPARE(moveTo(lists, height - 65), 45);
    QCOMPARE(moveTo(lists, height - 66), height - 66);
    QSplitter* memo = form->MemoSplitter();
    QCOMPARE(moveTo(memo, 240), 240);
    QCOMPARE(moveTo(memo, 100), 240);
    QCOMPARE(moveTo(memo, form->width() - 100), 240);
    QCOMPARE(moveTo(memo, 101), 101);
}

void TstSqlEdit::editSqlKeepsTheTextExactly() {
    // Comments, tabs, doubled blanks and line breaks come back as they were typed.
    const QString typed = "SELECT Name, -- the name\n\t'a  b' AS c\nFROM People\n\nWHERE Age > 3";
    QStringList lines = {"SELECT 1"};
    WhenShown<TSQLEditForm>([&](TSQLEditForm* f) {
        QCOMPARE(f->SQLText(), QStringLiteral("SELECT 1"));
        f->SetSQLText(typed);
        f->accept();
    });
    QVERIFY(EditSQL(lines, Tables(), Fields(), QString(), "\"", {}));
    QCOMPARE(lines, typed.split('\n'));
    // Cancel leaves the caller's text alone.
    QString sql = "SELECT 2";
    WhenShown<TSQLEditForm>([&](TSQLEditForm* f) {
        f->SetSQLText("DELETE FROM People");
        f->reject();
    });
    QVERIFY(!EditSQL(sql, Tables(), Fields(), QString(), "\"", {}));
    QCOMPARE(sql, QStringLiteral("SELECT 2"));
    QStringList kept = {"A", "B"};
    WhenShown<TSQLEditForm>([&](TSQLEditForm* f) {
        f->SetSQLText("C");
        // Escape in the memo is the form's Cancel when no completion list is open.
        f->SQLMemo()->setFocus();
        QTest::keyClick(f->SQLMemo(), Qt::Key_Escape);
        QVERIFY(!f->isVisible());
    });
    QVERIFY(!EditSQL(kept, Tables(), Fields(), QString(), "\"", {}));
    QCOMPARE(kept, QStringList({"A", "B"}));
    // An emptied memo is an empty list.
    WhenShown<TSQLEditForm>([&](TSQLEditForm* f) {
        f->SetSQLText("");
        f->OKBtn()->click();
    });
    QVERIFY(EditSQL(kept, Tables(), Fields(), QString(), "\"", {}));
    QVERIFY(kept.isEmpty());
}

void TstSqlEdit::runShowsRowsAndTheirCount() {
    PeopleDb people;
    auto form = Form(people.Queries());
    form->show();
    QVERIFY(QTest::qWaitForWindowActive(form.get()));
    const QString text = "SELECT Name, Age\nFROM People\nORDER BY ID";
    form->SetSQLText(text);
    form->SQLMemo()->setFocus();
    QTRY_VERIFY(form->SQLMemo()->hasFocus());
    QVERIFY(form->RunBtn()->isEnabled());
    QTest::keyClick(form->SQLMemo(), Qt::Key_Return, Qt::ControlModifier);
    QVERIFY(form->ResultQuery());
    QCOMPARE(form->ResultModel()->columnCount(), 2);
    QCOMPARE(form->ResultModel()->index(0, 0).data().toString(), QStringLiteral("P1"));
    QVERIFY(form->ResultModel()->rowCount() >= 256);
    // The count follows once the first rows show.
    QTRY_COMPARE(form->ResultModel()->rowCount(), 600);
    QTRY_VERIFY2(form->ResultLabel()->text().startsWith("600 rows \u00b7 "), qPrintable(form->ResultLabel()->text()));
    QVERIFY(form->ResultLabel()->text().contains(" ms") || form->ResultLabel()->text().contains(" s"));
    QCOMPARE(form->ResultModel()->index(599, 0).data().toString(), QStringLiteral("P600"));
    // What was run stays as it was typed; the grid is for looking, not editing.
    QCOMPARE(form->SQLText(), text);
    QVERIFY(!(form->ResultGrid()->editTriggers() & QAbstractItemView::DoubleClicked));
    // A statement returning nothing says it is done.
    form->SetSQLText("SELECT Name FROM People WHERE Age > 1000");
    form->RunBtn()->click();
    QCOMPARE(form->ResultModel()->rowCount(), 0);
    QVERIFY2(form->ResultLabel()->text().startsWith("0 rows"), qPrintable(form->ResultLabel()->text()));
}

void TstSqlEdit::runMarksWhereAStatementFails() {
    PeopleDb people;
    auto form = Form(people.Queries());
    form->show();
    QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    form->SetSQLText("SELECT Name FROM People");
    form->RunActExecute();
    QVERIFY(form->ResultModel()->rowCount() > 0);
    form->SetSQLText("SELECT Name,\n  ) FROM People");
    form->RunActExecute();
    QVERIFY(form->SQLMemo()->HasErrorMark());
    QCOMPARE(form->SQLMemo()->ErrorMarkRange(), qMakePair(15, 16)); // the ")"
    QCOMPARE(form->CaretPosition(), 15);
    QVERIFY2(form->ResultLabel()->text().startsWith("Line 2, column 3: "), qPrintable(form->ResultLabel()->text()));
    QVERIFY(form->ResultLabel()->text().contains("\")"));
    form->SetSQLText("SELECT Nmae FROM People");
    form->RunActExecute();
    QCOMPARE(form->SQLMemo()->ErrorMarkRange(), qMakePair(7, 11)); // the unknown column
    QVERIFY(form->ResultLabel()->text().contains("no such column: Nmae"));
    QCOMPARE(form->ResultModel()->rowCount(), 0); // the earlier rows are gone
    // The next edit takes the mark away.
    form->SQLMemo()->InsertAtIndex(0, " ");
    QVERIFY(!form->SQLMemo()->HasErrorMark());
    // What the engine refuses is marked at its statement, and nothing is asked.
    TScriptedDialogService dialogs;
    TScopedDialogService scoped(&dialogs);
    form->SetSQLText("SELECT 1;\nDROP TABLE People");
    form->RunActExecute();
    QCOMPARE(form->SQLMemo()->ErrorMarkRange().first, 10);
    QVERIFY(form->ResultLabel()->text().contains("DeleteTable"));
    QVERIFY(dialogs.Calls().isEmpty());
    QCOMPARE(people.Count("1 = 1"), 600);
}

void TstSqlEdit::runAsksBeforeAStatementThatWrites() {
    PeopleDb people;
    TScriptedDialogService dialogs;
    dialogs.ThrowOnFailure();
    TScopedDialogService scoped(&dialogs);
    auto form = Form(people.Queries());
    form->show();
    QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    const int young = people.Count("Age < 10");
    QVERIFY(young > 0);
    form->SetSQLText("UPDATE People SET Age = 100 WHERE Age < 10");
    dialogs.Press(QMessageBox::No);
    form->RunActExecute();
    QCOMPARE(dialogs.Calls().last().Icon, QMessageBox::Question);
    QVERIFY(dialogs.Calls().last().Text.contains("changes the database"));
    QCOMPARE(people.Count("Age = 100"), 0);
    QCOMPARE(form->ResultLabel()->text(), QStringLiteral("Not run."));
    dialogs.Press(QMessageBox::Yes);
    form->RunActExecute();
    QCOMPARE(people.Count("Age = 100"), young);
    QVERIFY2(form->ResultLabel()->text().startsWith(QStringLiteral("%1 rows affected").arg(young)),
             qPrintable(form->ResultLabel()->text()));
    // Several statements with a write among them: asked once, run as one.
    form->SetSQLText("SELECT 1; DELETE FROM People WHERE Age = 100; SELECT 2");
    dialogs.Press(QMessageBox::Yes);
    form->RunActExecute();
    QVERIFY(dialogs.Calls().last().Text.contains("These 3 statements"));
    QCOMPARE(people.Count("1 = 1"), 600 - young);
    QCOMPARE(dialogs.PendingAnswers(), 0);
}

void TstSqlEdit::runTakesTheSelectionOrTheStatementAtTheCaret() {
    PeopleDb people;
    auto form = Form(people.Queries());
    form->show();
    QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    const QString text = "SELECT 1 AS a;\nSELECT 2 AS b;\nSELECT 3 AS c";
    form->SetSQLText(text);
    form->SetCaretPosition(20);
    form->RunActExecute();
    QCOMPARE(form->ResultModel()->headerData(0, Qt::Horizontal).toString(), QStringLiteral("b"));
    form->SetCaretPosition(static_cast<int>(text.size()));
    form->RunActExecute();
    QCOMPARE(form->ResultModel()->headerData(0, Qt::Horizontal).toString(), QStringLiteral("c"));
    form->SetSelection(0, 8);
    form->RunActExecute();
    QCOMPARE(form->ResultModel()->headerData(0, Qt::Horizontal).toString(), QStringLiteral("1"));
    // An error in a selection is placed in the whole text.
    form->SQLMemo()->InsertAtIndex(22, "X"); // "SELECT X2 AS b;"
    form->SetSelection(15, 29);
    form->RunActExecute();
    QCOMPARE(form->SQLMemo()->ErrorMarkRange(), qMakePair(22, 24));
    QVERIFY2(form->ResultLabel()->text().startsWith("Line 2, column 8: "), qPrintable(form->ResultLabel()->text()));
}

void TstSqlEdit::highlightingAndCompletionKnowTheDatabase() {
    auto form = Form();
    form->show();
    QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    TSqlMemo* memo = form->SQLMemo();
    form->SetSQLText("SELECT count(Age) FROM People");
    QTest::qWait(20);
    auto styleAt = [&](int index) {
        return static_cast<int>(memo->SendScintilla(QsciScintillaBase::SCI_GETSTYLEAT, static_cast<unsigned long>(index)));
    };
    QCOMPARE(styleAt(0), int(QsciLexerSQL::Keyword));
    QCOMPARE(styleAt(7), int(QsciLexerSQL::KeywordSet5)); // count: a function
    QCOMPARE(styleAt(23), int(QsciLexerSQL::KeywordSet6)); // People: a table of the database
    QCOMPARE(styleAt(13), int(QsciLexerSQL::Identifier));
    // After "People." the memo offers its columns.
    form->SetSQLText("SELECT People.");
    form->SetCaretPosition(14);
    memo->setFocus();
    memo->autoCompleteFromAPIs();
    QVERIFY(memo->isListActive());
    QTest::keyClick(memo, Qt::Key_Return);
    QCOMPARE(form->SQLText(), QStringLiteral("SELECT People.Age"));
}

// The picture for the documentation, taken only when OSTRA_SCREENSHOTS names a folder.
void TstSqlEdit::screenshot() {
    const QString folder = qEnvironmentVariable("OSTRA_SCREENSHOTS");
    if (folder.isEmpty()) QSKIP("set OSTRA_SCREENSHOTS to a folder to take the picture");
    PeopleDb people;
    people.Exec("UPDATE People SET Name = CASE ID WHEN 1 THEN 'Ada Lovelace' WHEN 2 THEN 'Alan Turing' "
                "WHEN 3 THEN 'Grace Hopper' ELSE Name END");
    const QString name = people.db.GetDatabaseName();
    auto tables = [&](QStringList& list, bool) { people.db.GetTableNames(list, false); };
    auto fields = [&](const QString& table, QStringList& list) {
        TOstTable t;
        t.SetDatabaseName(name);
        t.SetTableName(table);
        t.ReadDefinitions();
        for (const TOstFieldDef* d : t.GetFieldDefsOst()) list << d->GetName();
    };
    TSQLEditForm form(tables, fields, "People", "\"", OstSqlNeedsQuote, people.Queries());
    form.resize(860, 560);
    form.SetSQLText("SELECT p.Name, p.Age -- the oldest first\nFROM People p\nWHERE p.Age >= 80\nORDER BY p.Age DESC, p.ID");
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    form.RunActExecute();
    QTRY_VERIFY(form.ResultLabel()->text().startsWith("60 rows"));
    form.SetCaretPosition(0);
    QTest::qWait(50);
    QVERIFY(form.grab().save(folder + "/sql-editor.png"));
}

QTEST_MAIN(TstSqlEdit)
#include "tst_sqledit.moc"
