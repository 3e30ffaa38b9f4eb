// Designing a module in the Studio's window: placing components from the
// palette, the object inspector on a real database, component verbs on the
// context menu, moving and selecting with mouse and keys, and the clipboard.
#include "studio_helper.h"

#include "../common/modal_helper.h"

#include "common/ostscripteddialogs.h"
#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "engine/base/tdatamodule.h"
#include "studio/componentpalette.h"
#include "studio/componenttree.h"
#include "studio/designintf/componenteditor.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/modulecanvas.h"
#include "studio/propertygrid.h"
#include "studio/studioclipboard.h"
#include "studio/studiomainwindow.h"

#include <QAction>
#include <QClipboard>
#include <QComboBox>
#include <QJsonDocument>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QToolButton>
#include <QtTest>

// A component whose editor has verbs that depend on its state.
class TStudioGadget : public TComponent {
    Q_OBJECT
    Q_PROPERTY(bool Armed MEMBER m_armed)
    Q_PROPERTY(QStringList Lines MEMBER m_lines)
public:
    using TComponent::TComponent;
    bool m_armed = false;
    QStringList m_lines;
    int m_fired = 0;
};

class TGadgetEditor : public TComponentEditor {
public:
    using TComponentEditor::TComponentEditor;
    int GetVerbCount() const override { return 4; }
    QString GetVerb(int index) const override {
        static const QStringList verbs{"Arm", "-", "Fire", "Explode"};
        if (index < 0 || index >= verbs.size()) BadVerb(index);
        return verbs[index];
    }
    void PrepareItem(int index, QAction* action) override {
        if (index == 0) {
            action->setCheckable(true);
            action->setChecked(Gadget()->m_armed);
        } else if (index == 2) {
            action->setEnabled(Gadget()->m_armed);
        }
    }
    void ExecuteVerb(int index) override {
        if (index == 0) Designer()->SetProperty(Gadget(), "Armed", !Gadget()->m_armed);
        else if (index == 2) ++Gadget()->m_fired;
        else if (index == 3) throw EComponentError("The gadget exploded");
    }
    TStudioGadget* Gadget() const { return static_cast<TStudioGadget*>(Component()); }
};

class TstStudioDesign : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void placeFromPaletteAndUndo();
    void inspectorEditsRealDatabase();
    void contextMenuVerbs();
    void mouseAndKeysSelectAndMove();
    void clipboardCopyPasteCut();

private:
    std::unique_ptr<TScriptedDialogService> m_dialogs;
    std::unique_ptr<TScopedDialogService> m_scope;
};

namespace {

QPoint IconCenter(TModuleCanvas* canvas, TComponent* c) { return canvas->IconRect(c).center(); }

QAction* WindowAction(TStudioMainWindow& w, const char* name) {
    auto* a = w.findChild<QAction*>(QLatin1String(name));
    if (!a) qFatal("no action %s", name);
    return a;
}

QStringList ActionTexts(const QMenu* menu) {
    QStringList texts;
    for (const QAction* a : menu->actions()) texts.append(a->isSeparator() ? QStringLiteral("-") : a->text());
    return texts;
}

QAction* MenuAction(const QMenu* menu, const QString& text) {
    for (QAction* a : menu->actions())
        if (a->text() == text) return a;
    return nullptr;
}

} // namespace

void TstStudioDesign::initTestCase() {
    InitStudioTests();
    RegisterComponents<TStudioGadget>("Tests");
    RegisterComponentEditor(&TStudioGadget::staticMetaObject, ComponentEditorOf<TGadgetEditor>());
}

void TstStudioDesign::init() {
    m_dialogs = std::make_unique<TScriptedDialogService>();
    m_scope = std::make_unique<TScopedDialogService>(m_dialogs.get());
}

void TstStudioDesign::cleanup() {
    QCOMPARE(m_dialogs->PendingAnswers(), 0);
    m_scope.reset();
    m_dialogs.reset();
}

void TstStudioDesign::placeFromPaletteAndUndo() {
    TStudioMainWindow w;
    QVERIFY(ShowActive(w));
    TModuleCanvas* canvas = w.Canvas();
    TComponentPalette* palette = w.Palette();
    TComponent* root = w.Module();
    QCOMPARE(palette->CurrentPage(), QStringLiteral("Ostra"));

    QTest::mouseClick(palette->Button("TOstDatabase"), Qt::LeftButton);
    QCOMPARE(canvas->PlacingClass(), &TOstDatabase::staticMetaObject);
    QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(40, 48));
    auto* db = qobject_cast<TOstDatabase*>(root->FindComponent("OstDatabase1"));
    QVERIFY(db);
    QCOMPARE(db->DesignLeft(), 40);
    QCOMPARE(db->DesignTop(), 48);
    QCOMPARE(w.Designer()->Selection(), QList<TComponent*>({db}));
    QVERIFY(!canvas->PlacingClass());
    QVERIFY(palette->ArrowButton()->isChecked());
    QCOMPARE(canvas->ComponentAt(QPoint(50, 60)), db);
    // Every view follows the new selection.
    QCOMPARE(w.SelectionStatus(), QStringLiteral("OstDatabase1: TOstDatabase"));
    QCOMPARE(w.Inspector()->Caption(), QStringLiteral("OstDatabase1: TOstDatabase"));
    QVERIFY(w.Tree()->ItemOf(db)->isSelected());
    QVERIFY(w.isWindowModified());

    QTest::mouseClick(palette->Button("TOstTable"), Qt::LeftButton);
    QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(160, 48));
    TComponent* table = root->FindComponent("OstTable1");
    QVERIFY(table);
    QCOMPARE(table->DesignLeft(), 160);

    // Selecting in the tree selects in the designer; the module's item selects nothing.
    TComponentTree* tree = w.Tree();
    tree->ItemOf(db)->setSelected(true);
    const QList<TComponent*> both = w.Designer()->Selection();
    QCOMPARE(QSet<TComponent*>(both.cbegin(), both.cend()), QSet<TComponent*>({table, db}));
    tree->setCurrentItem(tree->ItemOf(root));
    QVERIFY(w.Designer()->Selection().isEmpty());
    QCOMPARE(w.Inspector()->Caption(), QStringLiteral("DataModule1: TDataModule"));

    // Esc disarms the palette: the next click selects instead of creating.
    const int count = root->ComponentCount();
    QTest::mouseClick(palette->Button("TOstQuery"), Qt::LeftButton);
    QTest::keyClick(canvas, Qt::Key_Escape);
    QVERIFY(!canvas->PlacingClass());
    QVERIFY(palette->ArrowButton()->isChecked());
    QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(300, 220));
    QCOMPARE(root->ComponentCount(), count);
    // Also when the focus is elsewhere, as after clicking the palette.
    QTest::mouseClick(palette->Button("TOstQuery"), Qt::LeftButton);
    w.Tree()->setFocus();
    QTest::keyClick(w.Tree(), Qt::Key_Escape);
    QVERIFY(!canvas->PlacingClass());
    QVERIFY(palette->ArrowButton()->isChecked());
    QVERIFY(w.Designer()->Selection().isEmpty());
    QCOMPARE(w.SelectionStatus(), QStringLiteral("DataModule1: TDataModule"));

    // A double click on a palette button puts one where there is room.
    QTest::mouseDClick(palette->Button("TOstQuery"), Qt::LeftButton);
    TComponent* query = root->FindComponent("OstQuery1");
    QVERIFY(query);
    QVERIFY(!canvas->ItemRect(query).intersects(canvas->ItemRect(db)));
    QVERIFY(!canvas->ItemRect(query).intersects(canvas->ItemRect(table)));
    const QPoint queryPos(query->DesignLeft(), query->DesignTop());

    // Placing is undoable, and the Edit menu says what it takes back.
    QAction* undo = WindowAction(w, "actionUndo");
    QAction* redo = WindowAction(w, "actionRedo");
    QCOMPARE(undo->text(), QStringLiteral("&Undo Create OstQuery1"));
    QVERIFY(!redo->isEnabled());
    undo->trigger();
    QVERIFY(!root->FindComponent("OstQuery1"));
    QVERIFY(!w.Tree()->ItemOf(query));
    QCOMPARE(redo->text(), QStringLiteral("&Redo Create OstQuery1"));
    redo->trigger();
    query = root->FindComponent("OstQuery1");
    QVERIFY(query);
    QCOMPARE(QPoint(query->DesignLeft(), query->DesignTop()), queryPos);
    QVERIFY(w.Tree()->ItemOf(query));
    undo->trigger();
    undo->trigger();
    undo->trigger();
    QCOMPARE(root->ComponentCount(), 0);
    QVERIFY(!undo->isEnabled());
    QVERIFY(!w.isWindowModified());
}

void TstStudioDesign::inspectorEditsRealDatabase() {
    TStudioPeopleDb people;
    TStudioMainWindow w;
    QVERIFY(ShowActive(w));
    TModuleCanvas* canvas = w.Canvas();
    TObjectInspector* inspector = w.Inspector();
    QCOMPARE(inspector->Caption(), QStringLiteral("DataModule1: TDataModule"));

    auto* db = static_cast<TOstDatabase*>(canvas->PlaceComponent(&TOstDatabase::staticMetaObject, QPoint(24, 24)));
    QVERIFY(inspector->SetPropertyText("DatabaseName", "StudioPeople"));
    QVERIFY(inspector->SetPropertyText("Location", people.Location()));
    QCOMPARE(db->GetDatabaseName(), QStringLiteral("StudioPeople"));
    QCOMPARE(db->GetLocation(), people.Location());

    auto* table = static_cast<TOstTable*>(canvas->PlaceComponent(&TOstTable::staticMetaObject, QPoint(120, 24)));
    QCOMPARE(inspector->Caption(), QStringLiteral("OstTable1: TOstTable"));
    QVERIFY(inspector->SetPropertyText("DatabaseName", "StudioPeople"));
    {
        TOstTable accounts; // a second table, through the module's database
        accounts.SetDatabaseName("StudioPeople");
        accounts.SetTableName("accounts");
        accounts.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
        accounts.CreateTable();
    }
    // The list of tables is read when it opens, and sorted without regard to case.
    auto* tableName = qobject_cast<QComboBox*>(inspector->EditorWidget("TableName"));
    QVERIFY(tableName && tableName->isEditable());
    QCOMPARE(inspector->PropertyValues("TableName"), QStringList({"accounts", "People"}));
    QVERIFY(inspector->SetPropertyText("TableName", "People"));
    QCOMPARE(table->GetTableName(), QStringLiteral("People"));

    // Active is a closed list: chosen, not typed.
    auto* active = qobject_cast<QComboBox*>(inspector->EditorWidget("Active"));
    QVERIFY(active);
    QVERIFY(!active->isEditable());
    QCOMPARE(active->count(), 2);
    QCOMPARE(active->currentText(), QStringLiteral("False"));
    active->setFocus();
    QTest::keyClick(active, Qt::Key_Down);
    QVERIFY(table->Active());
    QCOMPARE(table->RecordCount(), 2);
    QCOMPARE(table->FieldByName("Name")->AsString(), QStringLiteral("Ann"));

    // Typed text is committed by Enter and when the editor loses the focus.
    auto* tag = qobject_cast<QLineEdit*>(inspector->EditorWidget("Tag"));
    QVERIFY(tag);
    tag->setFocus();
    tag->selectAll();
    QTest::keyClicks(tag, "7");
    QTest::keyClick(tag, Qt::Key_Return);
    QCOMPARE(table->GetTag(), 7);
    tag->selectAll();
    QTest::keyClicks(tag, "8");
    QCOMPARE(table->GetTag(), 7);
    canvas->setFocus();
    QCOMPARE(table->GetTag(), 8);
    // Keys the text editor uses stay with it: Delete deletes text, not the component.
    tag->setFocus();
    tag->setCursorPosition(0);
    QTest::keyClick(tag, Qt::Key_Delete);
    QCOMPARE(tag->text(), QString());
    QCOMPARE(w.Module()->FindComponent("OstTable1"), table);
    tag->setText("8");

    // A refused value is reported, and the row shows what the property holds.
    m_dialogs->Press(QMessageBox::Ok);
    QVERIFY(!inspector->SetPropertyText("Tag", "eight"));
    QCOMPARE(m_dialogs->Calls().last().Caption, QStringLiteral("Error"));
    QCOMPARE(m_dialogs->Calls().last().Text, QStringLiteral("Invalid value for Tag: \"eight\" is not a whole number"));
    QCOMPARE(m_dialogs->Calls().last().Icon, QMessageBox::Critical);
    QCOMPARE(inspector->PropertyText("Tag"), QStringLiteral("8"));
    // So is a value the component itself refuses.
    m_dialogs->Press(QMessageBox::Ok);
    QVERIFY(!inspector->SetPropertyText("TableName", "Other"));
    QVERIFY2(m_dialogs->Calls().last().Text.contains("open"), qPrintable(m_dialogs->Calls().last().Text));
    QCOMPARE(inspector->PropertyText("TableName"), QStringLiteral("People"));
    QCOMPARE(table->GetTableName(), QStringLiteral("People"));

    // Changes made elsewhere (here: undo) show in the rows at once.
    QAction* undo = WindowAction(w, "actionUndo");
    QCOMPARE(undo->text(), QStringLiteral("&Undo Change OstTable1.Tag"));
    undo->trigger();
    QCOMPARE(inspector->PropertyText("Tag"), QStringLiteral("7"));
    w.Designer()->SetProperty(table, "Active", false);
    QCOMPARE(active->currentText(), QStringLiteral("False"));
    inspector->SetPropertyText("Name", "People");
    QCOMPARE(inspector->Caption(), QStringLiteral("People: TOstTable"));
    QCOMPARE(w.SelectionStatus(), QStringLiteral("People: TOstTable"));
    QCOMPARE(w.Tree()->ItemOf(table)->text(0), QStringLiteral("People"));

    // Several components show the properties they share; a value goes to all of them.
    w.Designer()->SetSelection({db, table});
    QCOMPARE(inspector->Caption(), QStringLiteral("2 components"));
    QVERIFY(!inspector->PropertyNames().contains("Name"));
    QVERIFY(!inspector->PropertyNames().contains("TableName"));
    QVERIFY(inspector->SetPropertyText("Tag", "3"));
    QCOMPARE(db->GetTag(), 3);
    QCOMPARE(table->GetTag(), 3);

    // String lists are edited in their dialog behind "..."; their text cannot be typed over.
    auto* gadget = static_cast<TStudioGadget*>(canvas->PlaceComponent(&TStudioGadget::staticMetaObject, QPoint(200, 24)));
    auto* lines = qobject_cast<QLineEdit*>(inspector->EditorWidget("Lines"));
    QVERIFY(lines && lines->isReadOnly());
    QCOMPARE(lines->text(), QStringLiteral("(Strings)"));
    WhenShown<QDialog>([](QDialog* dialog) {
        dialog->findChild<QPlainTextEdit*>()->setPlainText("one\ntwo");
        dialog->accept();
    });
    QTest::mouseClick(inspector->DialogButton("Lines"), Qt::LeftButton);
    QCOMPARE(gadget->m_lines, QStringList({"one", "two"}));
    QCOMPARE(WindowAction(w, "actionUndo")->text(), QStringLiteral("&Undo Change StudioGadget1.Lines"));

    // With nothing selected the module's own properties show.
    w.Designer()->SetSelection({});
    QCOMPARE(inspector->PropertyNames().first(), QStringLiteral("Name"));
    QCOMPARE(inspector->PropertyText("Name"), QStringLiteral("DataModule1"));
}

void TstStudioDesign::contextMenuVerbs() {
    TStudioMainWindow w;
    QVERIFY(ShowActive(w));
    TModuleCanvas* canvas = w.Canvas();
    auto* gadget = static_cast<TStudioGadget*>(canvas->PlaceComponent(&TStudioGadget::staticMetaObject, QPoint(30, 30)));
    QVERIFY(gadget);

    std::unique_ptr<QMenu> menu(canvas->CreateContextMenu());
    QCOMPARE(ActionTexts(menu.get()),
             QStringList({"Arm", "-", "Fire", "Explode", "-", "Cu&t", "&Copy", "&Paste", "&Delete"}));
    QVERIFY(!MenuAction(menu.get(), "Fire")->isEnabled()); // the editor decided
    QVERIFY(!MenuAction(menu.get(), "Arm")->isChecked());
    MenuAction(menu.get(), "Arm")->trigger();
    QVERIFY(gadget->m_armed);
    // A verb is one undo step, named after it.
    QCOMPARE(WindowAction(w, "actionUndo")->text(), QStringLiteral("&Undo Arm"));
    const int steps = w.Designer()->UndoStack()->count();

    menu.reset(canvas->CreateContextMenu());
    QVERIFY(MenuAction(menu.get(), "Fire")->isEnabled());
    QVERIFY(MenuAction(menu.get(), "Arm")->isChecked());
    MenuAction(menu.get(), "Fire")->trigger();
    QCOMPARE(gadget->m_fired, 1);
    // A verb that changes nothing in the module leaves no step behind.
    QCOMPARE(w.Designer()->UndoStack()->count(), steps);
    QCOMPARE(WindowAction(w, "actionUndo")->text(), QStringLiteral("&Undo Arm"));
    QVERIFY(!w.Designer()->CanRedo());

    // A verb that fails is reported, not passed on.
    m_dialogs->Press(QMessageBox::Ok);
    MenuAction(menu.get(), "Explode")->trigger();
    QCOMPARE(m_dialogs->Calls().last().Caption, QStringLiteral("Error"));
    QCOMPARE(m_dialogs->Calls().last().Text, QStringLiteral("The gadget exploded"));
    QCOMPARE(w.Designer()->UndoStack()->count(), steps);

    // A double click is the editor's Edit: the first verb.
    QTest::mouseDClick(canvas, Qt::LeftButton, {}, IconCenter(canvas, gadget));
    QVERIFY(!gadget->m_armed);

    // The Component menu offers the same verbs.
    emit w.ComponentMenu()->aboutToShow();
    QCOMPARE(ActionTexts(w.ComponentMenu()), QStringList({"Arm", "-", "Fire", "Explode"}));
    QVERIFY(!MenuAction(w.ComponentMenu(), "Fire")->isEnabled());

    // The right mouse button selects the component under it and opens its menu.
    auto* second = static_cast<TStudioGadget*>(canvas->PlaceComponent(&TStudioGadget::staticMetaObject, QPoint(150, 30)));
    second->m_armed = true;
    w.Designer()->SelectComponent(gadget);
    QStringList shown;
    QTimer::singleShot(0, [&] {
        if (auto* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            shown = ActionTexts(popup);
            popup->close();
        }
    });
    const QPoint at = IconCenter(canvas, second);
    QContextMenuEvent rightClick(QContextMenuEvent::Mouse, at, canvas->mapToGlobal(at));
    QApplication::sendEvent(canvas, &rightClick);
    QCOMPARE(w.Designer()->Selection(), QList<TComponent*>({second}));
    QCOMPARE(shown, QStringList({"Arm", "-", "Fire", "Explode", "-", "Cu&t", "&Copy", "&Paste", "&Delete"}));
}

void TstStudioDesign::mouseAndKeysSelectAndMove() {
    TStudioMainWindow w;
    QVERIFY(ShowActive(w));
    TModuleCanvas* canvas = w.Canvas();
    TDesigner* d = w.Designer();
    TComponent* t1 = canvas->PlaceComponent(&TOstTable::staticMetaObject, QPoint(40, 40));
    TComponent* t2 = canvas->PlaceComponent(&TOstTable::staticMetaObject, QPoint(140, 40));
    TComponent* t3 = canvas->PlaceComponent(&TOstTable::staticMetaObject, QPoint(40, 160));
    auto pos = [](TComponent* c) { return QPoint(c->DesignLeft(), c->DesignTop()); };

    // A rubber band selects what it touches.
    QTest::mousePress(canvas, Qt::LeftButton, {}, QPoint(20, 20));
    QTest::mouseMove(canvas, QPoint(120, 60));
    QTest::mouseMove(canvas, QPoint(200, 90));
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, QPoint(200, 90));
    QCOMPARE(d->Selection(), QList<TComponent*>({t1, t2}));

    // Ctrl+click adds and takes away.
    QTest::mouseClick(canvas, Qt::LeftButton, Qt::ControlModifier, IconCenter(canvas, t3));
    QTest::mouseClick(canvas, Qt::LeftButton, Qt::ControlModifier, IconCenter(canvas, t1));
    QCOMPARE(d->Selection(), QList<TComponent*>({t2, t3}));
    QCOMPARE(w.SelectionStatus(), QStringLiteral("2 components selected"));

    // Dragging one of the selected moves them all, as one step.
    const int steps = d->UndoStack()->count();
    const QPoint from = IconCenter(canvas, t2);
    QTest::mousePress(canvas, Qt::LeftButton, {}, from);
    QTest::mouseMove(canvas, from + QPoint(10, 10));
    QTest::mouseMove(canvas, from + QPoint(30, 50));
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, from + QPoint(30, 50));
    QCOMPARE(pos(t2), QPoint(170, 90));
    QCOMPARE(pos(t3), QPoint(70, 210));
    QCOMPARE(pos(t1), QPoint(40, 40));
    QCOMPARE(d->UndoStack()->count(), steps + 1);
    QCOMPARE(d->UndoStack()->undoText(), QStringLiteral("Move 2 components"));
    d->Undo();
    QCOMPARE(pos(t2), QPoint(140, 40));
    QCOMPARE(pos(t3), QPoint(40, 160));
    d->Redo();
    QCOMPARE(pos(t3), QPoint(70, 210));

    // Nothing is dragged off the canvas's top left.
    d->SelectComponent(t1);
    QTest::mousePress(canvas, Qt::LeftButton, {}, IconCenter(canvas, t1));
    QTest::mouseMove(canvas, QPoint(5, 30));
    QTest::mouseMove(canvas, QPoint(2, 2));
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, QPoint(2, 2));
    QCOMPARE(pos(t1), QPoint(0, 0));

    // Arrow keys nudge: 1 pixel, 8 with Ctrl.
    canvas->setFocus();
    QTest::keyClick(canvas, Qt::Key_Right);
    QTest::keyClick(canvas, Qt::Key_Down, Qt::ControlModifier);
    QCOMPARE(pos(t1), QPoint(1, 8));
    QTest::keyClick(canvas, Qt::Key_Left, Qt::ControlModifier);
    QCOMPARE(pos(t1), QPoint(0, 8));

    // Delete deletes the selection; undo brings it back where it was.
    d->SetSelection({t1, t2});
    QTest::keyClick(canvas, Qt::Key_Delete);
    QCOMPARE(w.Module()->ComponentCount(), 1);
    WindowAction(w, "actionUndo")->trigger();
    QCOMPARE(w.Module()->ComponentCount(), 3);
    QCOMPARE(pos(w.Module()->FindComponent("OstTable2")), QPoint(170, 90));

    // Select All takes every component; the canvas grows with far positions.
    WindowAction(w, "actionSelectAll")->trigger();
    QCOMPARE(d->Selection().size(), 3);
    d->SetProperty(t3, "DesignInfo", (1200 << 16) | 1500);
    QVERIFY(canvas->width() >= 1500 + TModuleCanvas::kIconSize);
    QVERIFY(canvas->height() >= 1200 + TModuleCanvas::kIconSize);
}

void TstStudioDesign::clipboardCopyPasteCut() {
    TStudioMainWindow w;
    QVERIFY(ShowActive(w));
    TDesigner* d = w.Designer();
    TComponent* root = w.Module();
    TComponent* table = w.Canvas()->PlaceComponent(&TOstTable::staticMetaObject, QPoint(40, 40));
    d->SetProperty(table, "Name", "Customers");
    d->SetProperty(table, "TableName", "Customers");
    const QJsonArray fields = QJsonDocument::fromJson(R"([
        {"class": "TField", "name": "CustomersName", "dataSet": "Customers", "properties": {"FieldName": "Name"}},
        {"class": "TField", "name": "CustomersCity", "dataSet": "Customers", "properties": {"FieldName": "City"}}])").array();
    d->InsertComponents(fields);
    w.Canvas()->PlaceComponent(&TOstDatabase::staticMetaObject, QPoint(140, 40));
    QCOMPARE(w.Canvas()->ShownComponents().size(), 2); // fields are not shown on the canvas...
    QCOMPARE(w.Tree()->ItemOf(root->FindComponent("CustomersCity"))->parent(), w.Tree()->ItemOf(table)); // ...but under their dataset

    // Copy takes the dataset's fields along.
    d->SelectComponent(table);
    WindowAction(w, "actionCopy")->trigger();
    const QMimeData* data = QApplication::clipboard()->mimeData();
    QVERIFY(data->hasFormat(kComponentsMimeType));
    const QJsonArray copied = QJsonDocument::fromJson(data->data(kComponentsMimeType)).array();
    QCOMPARE(copied.size(), 3);
    QCOMPARE(QJsonDocument::fromJson(data->text().toUtf8()).array(), copied);

    // Pasted into the same module: renamed, shifted, fields on the copy, selected.
    QAction* paste = WindowAction(w, "actionPaste");
    QVERIFY(paste->isEnabled());
    paste->trigger();
    auto* copy = qobject_cast<TOstTable*>(root->FindComponent("Customers1"));
    QVERIFY(copy);
    QCOMPARE(QPoint(copy->DesignLeft(), copy->DesignTop()), QPoint(56, 56));
    QCOMPARE(copy->GetTableName(), QStringLiteral("Customers"));
    auto* copiedField = qobject_cast<TField*>(root->FindComponent("CustomersName1"));
    QVERIFY(copiedField);
    QCOMPARE(copiedField->DataSet(), copy);
    QVERIFY(d->Selection().contains(copy));
    QCOMPARE(WindowAction(w, "actionUndo")->text(), QStringLiteral("&Undo Insert 3 components"));
    WindowAction(w, "actionUndo")->trigger();
    QVERIFY(!root->FindComponent("Customers1"));
    QVERIFY(!root->FindComponent("CustomersName1"));

    // Into another module: names and positions as they were.
    {
        TStudioMainWindow other;
        other.findChild<QAction*>("actionPaste")->trigger();
        auto* there = qobject_cast<TOstTable*>(other.Module()->FindComponent("Customers"));
        QVERIFY(there);
        QCOMPARE(QPoint(there->DesignLeft(), there->DesignTop()), QPoint(40, 40));
        QCOMPARE(qobject_cast<TField*>(other.Module()->FindComponent("CustomersCity"))->DataSet(), there);
    }

    // Cut is copy and delete, undone in one step.
    d->SelectComponent(table);
    WindowAction(w, "actionCut")->trigger();
    QVERIFY(!root->FindComponent("Customers"));
    QVERIFY(!root->FindComponent("CustomersName"));
    QCOMPARE(WindowAction(w, "actionUndo")->text(), QStringLiteral("&Undo Cut"));
    WindowAction(w, "actionUndo")->trigger();
    auto* back = qobject_cast<TOstTable*>(root->FindComponent("Customers"));
    QVERIFY(back);
    QCOMPARE(qobject_cast<TField*>(root->FindComponent("CustomersName"))->DataSet(), back);
    paste->trigger(); // what was cut pastes as a copy
    QVERIFY(root->FindComponent("Customers1"));

    // Text that is no component stream does not paste; a broken stream is reported.
    QApplication::clipboard()->setText("just words");
    QVERIFY(!paste->isEnabled());
    QVERIFY(!CanPaste());
    auto* broken = new QMimeData;
    broken->setData(kComponentsMimeType, "[{\"class\": \"TNoSuchClass\", \"name\": \"X\"}]");
    QApplication::clipboard()->setMimeData(broken);
    QVERIFY(paste->isEnabled());
    const int count = root->ComponentCount();
    m_dialogs->Press(QMessageBox::Ok);
    paste->trigger();
    QCOMPARE(m_dialogs->Calls().last().Caption, QStringLiteral("Error"));
    QVERIFY2(m_dialogs->Calls().last().Text.contains("TNoSuchClass"), qPrintable(m_dialogs->Calls().last().Text));
    QCOMPARE(root->ComponentCount(), count);
}

QTEST_MAIN(TstStudioDesign)
#include "tst_studiodesign.moc"
