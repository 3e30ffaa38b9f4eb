// The column property editor's panel: what typing and leaving a control
// writes, the type list replacing the definition, which groups stand where
// for each type, the "..." file chooser, and refused or empty entries shown
// in message boxes while the control keeps what the user typed.
#include "designer_helper.h"

#include "common/ostscripteddialogs.h"
#include "designer/core/ostcolumnpropscore.h"
#include "designer/ostcolumnpropseditor.h"
#include "engine/ostdatabase.h"
#include "engine/ostfielddef.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QSpinBox>
#include <QToolButton>
#include <QtTest>
#include <algorithm>

namespace {

// A window with the editor in its host panel and a line edit to leave to.
struct TPanel {
    QWidget window;
    QLineEdit* elsewhere;
    QWidget* host;
    TColumnPropertyEditor* editor;
    TOstFieldDefs defs;
    int changes = 0;
    TScriptedDialogService dialogs;
    TScopedDialogService scope{&dialogs};

    TPanel() {
        auto* layout = new QHBoxLayout(&window);
        elsewhere = new QLineEdit(&window);
        layout->addWidget(elsewhere);
        host = new QWidget(&window);
        layout->addWidget(host);
        editor = new TColumnPropertyEditor(host);
        editor->OnChange = [this](TColumnPropertyEditor* sender) {
            if (sender == editor) ++changes;
        };
        editor->SetFieldDefList(&defs);
        window.resize(700, 600);
        window.show();
        QApplication::setActiveWindow(&window);
    }
    bool Active() { return QTest::qWaitForWindowActive(&window); }
    TOstFieldDef* Edit(const QString& name, int type, int size = 0) {
        TOstFieldDef* def = defs.Add(name, type, size);
        def->SetFieldNo(static_cast<uint16_t>(defs.Count()));
        editor->SetFieldDef(def);
        return def;
    }
    template <class T> T* Control(const char* name) const {
        T* control = editor->findChild<T*>(QString::fromLatin1(name));
        if (!control) qFatal("no control %s", name);
        return control;
    }
    void Leave() { elsewhere->setFocus(Qt::TabFocusReason); }
    // A click on the box itself, not beside its text.
    static void Click(QCheckBox* box) { QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(4, box->height() / 2)); }
    void Retype(QLineEdit* edit, const QString& text) {
        edit->setFocus(Qt::TabFocusReason);
        edit->selectAll();
        QTest::keyClicks(edit, text);
    }
    // The visible groups from the top.
    QStringList Groups() {
        QCoreApplication::sendPostedEvents();
        editor->layout()->activate();
        QList<QWidget*> shown;
        for (QWidget* w : editor->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly))
            if (w->objectName().endsWith("Group") && w->isVisible()) shown.append(w);
        std::sort(shown.begin(), shown.end(), [](QWidget* a, QWidget* b) { return a->y() < b->y(); });
        QStringList names;
        for (QWidget* w : shown) names.append(w->objectName().chopped(5));
        return names;
    }
};

} // namespace

class TstColumnPropsEditor : public QObject {
    Q_OBJECT
private slots:
    void nameIsWrittenWhenLeft();
    void typeListReplacesTheDefinition();
    void groupsStackInTheOrderShown();
    void linkedTableChooser();
    void refusedChangeKeepsTheTypedValue();
    void emptyLengthIsReported();
};

void TstColumnPropsEditor::nameIsWrittenWhenLeft() {
    TPanel panel;
    QVERIFY(panel.Active());
    QCOMPARE(panel.editor->parentWidget(), panel.host);
    TOstFieldDef* def = panel.Edit("City", dtString, 20);
    QLineEdit* name = panel.editor->NameEdit();
    QCOMPARE(name->text(), QStringLiteral("City"));

    panel.Retype(name, "Town");
    QCOMPARE(def->GetName(), QStringLiteral("City")); // typing is no change yet
    panel.Leave();
    QCOMPARE(def->GetName(), QStringLiteral("Town"));
    QCOMPARE(panel.changes, 1);
    name->setFocus(Qt::TabFocusReason);
    panel.Leave();
    QCOMPARE(panel.changes, 1);

    // The designer commits the name before it acts on the columns.
    name->setFocus(Qt::MouseFocusReason);
    name->end(false);
    QTest::keyClicks(name, "s");
    panel.editor->CommitName();
    QCOMPARE(def->GetName(), QStringLiteral("Towns"));
    QCOMPARE(panel.changes, 2);
}

void TstColumnPropsEditor::typeListReplacesTheDefinition() {
    TPanel panel;
    QVERIFY(panel.Active());
    panel.defs.Add("ID", dtInteger, 0);
    TOstFieldDef* code = panel.Edit("Code", dtString, 30);
    auto* type = panel.Control<QComboBox>("DataTypeComboBox");
    QCOMPARE(type->currentText(), GetDataTypeName(dtString));

    type->setCurrentIndex(type->findText(GetDataTypeName(dtWideString)));
    TOstFieldDef* wide = panel.editor->FieldDef();
    QVERIFY(wide != code);
    QCOMPARE(panel.defs.Count(), 2);
    QCOMPARE(panel.defs[1], wide);
    QCOMPARE(wide->GetName(), QStringLiteral("Code"));
    QCOMPARE(wide->GetFieldNo(), 2);
    QCOMPARE(panel.Control<QSpinBox>("LengthEdit")->value(), 30);
    QVERIFY(type->hasFocus());
    QCOMPARE(panel.changes, 1);

    // The designer is asked for the indication as the editor's owner.
    panel.editor->OnIndicationRequest = [&](TColumnPropertyEditor* sender, QString& indication) {
        if (sender == panel.editor) indication = QStringLiteral("Code");
    };
    type->setCurrentIndex(type->findText(GetDataTypeName(dtAutoInc)));
    QCOMPARE(panel.Control<QComboBox>("IndicationComboBox")->currentText(), QStringLiteral("\"Code\""));
    QCOMPARE(panel.Groups(), QStringList({"NameType", "AutoInc"}));
    QCOMPARE(panel.changes, 2);
}

void TstColumnPropsEditor::groupsStackInTheOrderShown() {
    TPanel panel;
    QVERIFY(panel.Groups().isEmpty());
    TOstFieldDef* name = panel.Edit("Name", dtString, 30);
    QCOMPARE(panel.Groups(), QStringList({"NameType", "String", "Collation", "Calculation"}));
    QVERIFY(panel.Control<QWidget>("CollationGroup")->isEnabled());
    panel.Edit("Age", dtInteger);
    QCOMPARE(panel.Groups(), QStringList({"NameType", "Calculation"}));
    panel.Edit("Price", dtFloat);
    QCOMPARE(panel.Groups(), QStringList({"NameType", "Precision", "Calculation"}));
    QVERIFY(panel.Control<QSpinBox>("PrecisionEdit")->isVisible());
    QVERIFY(!panel.Control<QComboBox>("TimePrecisionComboBox")->isVisible());
    TOstFieldDef* start = panel.defs.Add("Start", dtTime, 0);
    start->SetPrecision(3);
    panel.editor->SetFieldDef(start);
    QCOMPARE(panel.Groups(), QStringList({"NameType", "Precision", "Calculation"}));
    QVERIFY(!panel.Control<QSpinBox>("PrecisionEdit")->isVisible());
    QCOMPARE(panel.Control<QComboBox>("TimePrecisionComboBox")->currentText(), QStringLiteral("seconds"));
    panel.Edit("Owner", dtLink);
    QCOMPARE(panel.Groups(), QStringList({"NameType", "Link", "Calculation"}));

    // Below level 6 the collation takes no input; below level 4 a time has no precision.
    panel.editor->SetFieldDef(name);
    panel.editor->SetTableLevel(5);
    QCOMPARE(panel.Groups(), QStringList({"NameType", "String", "Collation", "Calculation"}));
    QVERIFY(!panel.Control<QWidget>("CollationGroup")->isEnabled());
    panel.editor->SetTableLevel(3);
    panel.editor->SetFieldDef(start);
    QCOMPARE(panel.Groups(), QStringList({"NameType", "Calculation"}));

    panel.editor->SetFieldDefList(nullptr);
    QVERIFY(panel.Groups().isEmpty());
    QCOMPARE(panel.changes, 0);
}

void TstColumnPropsEditor::linkedTableChooser() {
    PeopleTable people;
    TOstDatabase database;
    database.SetLocation(people.location);
    TPanel panel;
    QVERIFY(panel.Active());
    panel.editor->SetOstDatabase(&database);
    TOstFieldDef* owner = panel.Edit("Owner", dtLink);
    auto* table = panel.Control<QComboBox>("LinkedTableComboBox");
    auto* button = panel.Control<QToolButton>("LinkedTableButton");
    QVERIFY(table->findText("People") >= 0);
    QVERIFY(button->isVisible());

    panel.dialogs.ChooseFile(QDir(people.location).filePath("Orders.dat"));
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(panel.dialogs.Calls().size(), 1);
    const TScriptedDialogService::TCall call = panel.dialogs.Calls().first();
    QCOMPARE(call.Kind, TScriptedDialogService::TCallKind::OpenFile);
    QCOMPARE(call.Filter, QStringLiteral("Ostra tables (*.dat)|*.DAT"));
    QCOMPARE(call.InitialDir, database.ResolvedLocation());
    QCOMPARE(owner->GetSpec(), QStringLiteral("Orders"));
    QCOMPARE(table->currentText(), QStringLiteral("Orders"));
    QCOMPARE(panel.changes, 1);

    panel.dialogs.Cancel();
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(owner->GetSpec(), QStringLiteral("Orders"));

    // Picking from the list writes at once; so does unchecking "Enforce Index".
    table->setCurrentIndex(table->findText("People"));
    TPanel::Click(panel.Control<QCheckBox>("EnforceIndexCheckBox"));
    QCOMPARE(owner->GetSpec(), QStringLiteral("People"));
    QVERIFY(owner->GetIsSpecial());
    QCOMPARE(panel.changes, 3);
}

void TstColumnPropsEditor::refusedChangeKeepsTheTypedValue() {
    TPanel panel;
    QVERIFY(panel.Active());
    TOstFieldDef* def = panel.Edit("City", dtString, 20);
    panel.editor->SetAllowFieldChange(false);
    QLineEdit* name = panel.editor->NameEdit();
    QVERIFY(name->isEnabled());

    panel.dialogs.Press(QMessageBox::Ok);
    panel.Retype(name, "Town");
    panel.Leave();
    QCOMPARE(panel.dialogs.Calls().size(), 1);
    const TScriptedDialogService::TCall box = panel.dialogs.Calls().first();
    QCOMPARE(box.Kind, TScriptedDialogService::TCallKind::Message);
    QCOMPARE(box.Caption, QStringLiteral("Error"));
    QCOMPARE(box.Text,
             QStringLiteral("You have already modified indexes. Apply those changes before modifiying other aspects."));
    QCOMPARE(box.Icon, QMessageBox::Critical);
    QCOMPARE(box.Owner.data(), static_cast<QWidget*>(panel.editor));
    QCOMPARE(name->text(), QStringLiteral("Town"));
    QCOMPARE(def->GetName(), QStringLiteral("City"));

    // The type list keeps the chosen type; the definition stays.
    panel.dialogs.Press(QMessageBox::Ok);
    auto* type = panel.Control<QComboBox>("DataTypeComboBox");
    type->setCurrentIndex(type->findText(GetDataTypeName(dtMemo)));
    QCOMPARE(panel.dialogs.Calls().size(), 2);
    QCOMPARE(panel.editor->FieldDef(), def);
    QCOMPARE(def->GetDataTypeOst(), int(dtString));
    QCOMPARE(type->currentText(), GetDataTypeName(dtMemo));

    // "Create Index" asks the other flag.
    panel.editor->SetAllowIndexChange(false);
    panel.dialogs.Press(QMessageBox::Ok);
    auto* createIndex = panel.Control<QCheckBox>("CreateIndexCheckBox");
    TPanel::Click(createIndex);
    QCOMPARE(panel.dialogs.Calls().last().Text,
             QStringLiteral("You have already modified table columns. Apply those changes before modifiying other aspects."));
    QVERIFY(createIndex->isChecked());
    QVERIFY(!panel.editor->Core().CreateIndex());
    QCOMPARE(panel.changes, 0);
}

void TstColumnPropsEditor::emptyLengthIsReported() {
    TPanel panel;
    QVERIFY(panel.Active());
    TOstFieldDef* def = panel.Edit("City", dtString, 20);
    auto* length = panel.Control<QSpinBox>("LengthEdit");
    QCOMPARE(length->maximum(), 32767);

    length->setFocus(Qt::TabFocusReason);
    length->selectAll();
    QTest::keyClick(length, Qt::Key_Backspace);
    QVERIFY(length->text().isEmpty());
    panel.dialogs.Press(QMessageBox::Ok);
    panel.Leave();
    QCOMPARE(panel.dialogs.Calls().size(), 1);
    QCOMPARE(panel.dialogs.Calls().first().Text, QStringLiteral("The field \"Length\" must not be left empty."));
    QCOMPARE(def->GetSize(), 20);
    QCOMPARE(length->value(), 20);
    QCOMPARE(panel.changes, 0);

    length->setFocus(Qt::TabFocusReason);
    length->selectAll();
    QTest::keyClicks(length, "45");
    QCOMPARE(def->GetSize(), 20); // written on leaving only
    panel.Leave();
    QCOMPARE(def->GetSize(), 45);
    QCOMPARE(panel.changes, 1);
}

QTEST_MAIN(TstColumnPropsEditor)
#include "tst_columnpropseditor.moc"
