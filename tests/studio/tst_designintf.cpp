// The registration side of the design interface: which editor a component or
// property gets, the palette and the log, verbs of editors built on inherited
// ones, and how property editors convert text.
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "engine/base/sysutils.h"
#include "engine/base/tdatamodule.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/designintf.h"
#include "studio/designintf/dsdesign.h"
#include "studio/designintf/propertyeditor.h"

#include <QAction>
#include <QtTest>

class TSample : public TComponent {
    Q_OBJECT
    Q_PROPERTY(TAlign Align MEMBER m_align)
    Q_PROPERTY(QStringList Lines MEMBER m_lines)
    Q_PROPERTY(double Ratio READ GetRatio WRITE SetRatio)
    Q_PROPERTY(short Small MEMBER m_small)
    Q_PROPERTY(QString Caption MEMBER m_caption)
    Q_PROPERTY(bool Enabled MEMBER m_enabled)
    Q_PROPERTY(int Count READ GetCount)

public:
    enum TAlign { alNone, alTop, alBottom, alClient };
    Q_ENUM(TAlign)
    using TComponent::TComponent;
    double GetRatio() const { return m_ratio; }
    void SetRatio(double v) {
        if (v < 0) throw EComponentError(QStringLiteral("Ratio cannot be negative"));
        m_ratio = v;
    }
    int GetCount() const { return 3; }
    TAlign m_align = alNone;
    QStringList m_lines;
    double m_ratio = 1;
    short m_small = 0;
    QString m_caption;
    bool m_enabled = false;
};

// Editors that say which registration made them.
class TLabeledEditor : public TComponentEditor {
public:
    TLabeledEditor(TComponent* c, IDesigner* d, QString label) : TComponentEditor(c, d), label(std::move(label)) {}
    QString label;
};

class TLabeledProperty : public TStringProperty {
public:
    TLabeledProperty(IDesigner* d, const QList<TComponent*>& c, const QMetaProperty& p, QString label)
        : TStringProperty(d, c, p), label(std::move(label)) {}
    QString label;
};

// A table editor with verbs of its own in front of the dataset's.
class TSampleTableEditor : public TDataSetEditor {
public:
    using TDataSetEditor::TDataSetEditor;
    int GetVerbCount() const override { return 2 + TDataSetEditor::GetVerbCount(); }
    QString GetVerb(int index) const override {
        if (index == 0) return QStringLiteral("Create Table...");
        if (index == 1) return QStringLiteral("Empty Table");
        return TDataSetEditor::GetVerb(index - 2);
    }
    void ExecuteVerb(int index) override {
        if (index < 2) executed.append(index);
        else TDataSetEditor::ExecuteVerb(index - 2);
    }
    void PrepareItem(int index, QAction* action) override {
        if (index == 1) action->setEnabled(DataSet()->Active());
        else if (index >= 2) TDataSetEditor::PrepareItem(index - 2, action);
    }
    QList<int> executed;
};

class TstDesignIntf : public QObject {
    Q_OBJECT
private slots:
    void init() { ClearRegistrations(); }
    void componentEditorOfNearestClass();
    void propertyEditorMostSpecificWins();
    void paletteAndLogKeepOrder();
    void ownVerbsBeforeInherited();
    void propertyValuesConvert();
    void multiSelection();
};

namespace {

TComponentEditorFactory Labeled(const QString& label) {
    return [label](TComponent* c, IDesigner* d) -> std::unique_ptr<TComponentEditor> {
        return std::make_unique<TLabeledEditor>(c, d, label);
    };
}

TPropertyEditorFactory LabeledProperty(const QString& label) {
    return [label](IDesigner* d, const QList<TComponent*>& c, const QMetaProperty& p) -> std::unique_ptr<TPropertyEditor> {
        return std::make_unique<TLabeledProperty>(d, c, p, label);
    };
}

QString EditorLabel(TComponent* c) {
    auto e = GetComponentEditor(c, nullptr);
    if (auto* l = dynamic_cast<TLabeledEditor*>(e.get())) return l->label;
    if (dynamic_cast<TDataSetEditor*>(e.get())) return QStringLiteral("dataset");
    if (dynamic_cast<TDefaultEditor*>(e.get())) return QStringLiteral("default");
    return QStringLiteral("?");
}

QString PropertyLabel(const QList<TComponent*>& cs, const QString& prop) {
    auto e = GetPropertyEditor(nullptr, cs, prop);
    if (!e) return QStringLiteral("hidden");
    if (auto* l = dynamic_cast<TLabeledProperty*>(e.get())) return l->label;
    if (dynamic_cast<TIntegerProperty*>(e.get())) return QStringLiteral("integer");
    if (dynamic_cast<TStringProperty*>(e.get())) return QStringLiteral("string");
    if (dynamic_cast<TStringsProperty*>(e.get())) return QStringLiteral("strings");
    return QStringLiteral("?");
}

template <class F> QString ErrorOf(F&& f) {
    try {
        f();
    } catch (const EComponentError& e) {
        return e.Message();
    }
    return QString();
}

} // namespace

void TstDesignIntf::componentEditorOfNearestClass() {
    TDataModule root;
    auto* table = new TOstTable(&root);
    auto* query = new TOstQuery(&root);
    auto* db = new TOstDatabase(&root);
    QCOMPARE(EditorLabel(table), QStringLiteral("dataset"));
    QCOMPARE(EditorLabel(db), QStringLiteral("default"));

    RegisterComponentEditor(&TDataSet::staticMetaObject, Labeled("TDataSet"));
    RegisterComponentEditor(&TOstTable::staticMetaObject, Labeled("TOstTable"));
    RegisterComponentEditor(&TOstDataSet::staticMetaObject, Labeled("TOstDataSet"));
    QCOMPARE(EditorLabel(table), QStringLiteral("TOstTable"));
    QCOMPARE(EditorLabel(query), QStringLiteral("TOstDataSet"));
    QCOMPARE(EditorLabel(db), QStringLiteral("default"));
    RegisterComponentEditor(&TOstTable::staticMetaObject, Labeled("TOstTable again"));
    QCOMPARE(EditorLabel(table), QStringLiteral("TOstTable again"));
    RegisterComponentEditor(&TComponent::staticMetaObject, Labeled("any component"));
    QCOMPARE(EditorLabel(db), QStringLiteral("any component"));
    QCOMPARE(EditorLabel(query), QStringLiteral("TOstDataSet"));
    QVERIFY_THROWS_EXCEPTION(EComponentError, RegisterComponentEditor(&QObject::staticMetaObject, Labeled("x")));
}

void TstDesignIntf::propertyEditorMostSpecificWins() {
    TDataModule root;
    TComponent* table = new TOstTable(&root);
    TComponent* query = new TOstQuery(&root);
    TComponent* db = new TOstDatabase(&root);
    RegisterPropertyEditor(QMetaType::QString, &TOstDataSet::staticMetaObject, "DatabaseName", LabeledProperty("dataset name"));
    RegisterPropertyEditor(QMetaType::QString, &TOstDatabase::staticMetaObject, "DatabaseName", LabeledProperty("database name"));
    RegisterPropertyEditor(QMetaType::QString, nullptr, QString(), LabeledProperty("any string"));
    RegisterPropertyEditor(QMetaType::QString, &TOstTable::staticMetaObject, QString(), LabeledProperty("table string"));

    // A base-class registration serves its descendants; a named one beats one for any name.
    QCOMPARE(PropertyLabel({table}, "DatabaseName"), QStringLiteral("dataset name"));
    QCOMPARE(PropertyLabel({query}, "DatabaseName"), QStringLiteral("dataset name"));
    QCOMPARE(PropertyLabel({db}, "DatabaseName"), QStringLiteral("database name"));
    // Among unnamed ones the nearer class wins, any class comes last.
    QCOMPARE(PropertyLabel({table}, "TableName"), QStringLiteral("table string"));
    QCOMPARE(PropertyLabel({query}, "Filter"), QStringLiteral("any string"));
    QCOMPARE(PropertyLabel({query}, "SQL"), QStringLiteral("strings")); // a list of lines, not a string
    // Other types keep their default editors.
    QCOMPARE(PropertyLabel({table}, "Tag"), QStringLiteral("integer"));

    // The exact class beats its base; among equals the later registration wins.
    RegisterPropertyEditor(QMetaType::QString, &TOstTable::staticMetaObject, "DatabaseName", LabeledProperty("table db"));
    RegisterPropertyEditor(QMetaType::QString, &TOstDataSet::staticMetaObject, "DatabaseName", LabeledProperty("later"));
    QCOMPARE(PropertyLabel({table}, "DatabaseName"), QStringLiteral("table db"));
    QCOMPARE(PropertyLabel({query}, "DatabaseName"), QStringLiteral("later"));
    // A selection takes the registration that serves every component in it.
    QCOMPARE(PropertyLabel({table, query}, "DatabaseName"), QStringLiteral("later"));
    QCOMPARE(PropertyLabel({table, db}, "TableName"), QStringLiteral("hidden")); // not shared

    // An empty factory hides the property, also from the property list.
    RegisterPropertyEditor(ptStrings, &TOstQuery::staticMetaObject, "SQL", {});
    QCOMPARE(PropertyLabel({query}, "SQL"), QStringLiteral("hidden"));
    QStringList shown;
    for (const auto& e : GetComponentProperties(nullptr, {query})) shown.append(e->GetName());
    QVERIFY(!shown.contains("SQL"));
    QVERIFY(shown.contains("DatabaseName"));
    QVERIFY(!shown.contains("DesignInfo"));
    QVERIFY(!shown.contains("objectName"));

    // ptEnumeration serves every enumeration; an editor for the exact type beats it.
    TSample sample;
    RegisterPropertyEditor(ptEnumeration, nullptr, QString(), LabeledProperty("enumeration"));
    QCOMPARE(PropertyLabel({&sample}, "Align"), QStringLiteral("enumeration"));
    RegisterPropertyEditor(QMetaType::fromType<TSample::TAlign>().id(), nullptr, QString(), LabeledProperty("align"));
    QCOMPARE(PropertyLabel({&sample}, "Align"), QStringLiteral("align"));
}

void TstDesignIntf::paletteAndLogKeepOrder() {
    RegisterComponents("Data Access", {&TOstDatabase::staticMetaObject, &TOstTable::staticMetaObject});
    RegisterComponents<TSample>("Samples");
    RegisterComponents("Data Access", {&TOstQuery::staticMetaObject, &TOstTable::staticMetaObject});
    RegisterComponentEditor(&TOstTable::staticMetaObject, ComponentEditorOf<TSampleTableEditor>());
    RegisterPropertyEditor(QMetaType::QString, &TOstDataSet::staticMetaObject, "DatabaseName", PropertyEditorOf<TStringProperty>());
    RegisterPropertyEditor(ptStrings, nullptr, QString(), PropertyEditorOf<TStringsProperty>());
    RegisterFieldClass(ftInteger, "TField");
    QCOMPARE(PalettePages(), QStringList({"Data Access", "Samples"}));
    QCOMPARE(PaletteClasses("Data Access"),
             QList<const QMetaObject*>({&TOstDatabase::staticMetaObject, &TOstTable::staticMetaObject, &TOstQuery::staticMetaObject}));
    QCOMPARE(RegistrationLog(), QStringList({
                                    "component Data Access/TOstDatabase",
                                    "component Data Access/TOstTable",
                                    "class TSample",
                                    "component Samples/TSample",
                                    "component Data Access/TOstQuery",
                                    "component Data Access/TOstTable",
                                    "component editor TOstTable",
                                    "property editor QString TOstDataSet.DatabaseName",
                                    "property editor QStringList *.*",
                                    "field class Integer TField",
                                }));
    QVERIFY(FindClass("TSample"));

    // Only classes that can be streamed go on the palette; field classes must be fields.
    QVERIFY_THROWS_EXCEPTION(EComponentError, RegisterComponents("Data Access", {&TDataModule::staticMetaObject, &TComponent::staticMetaObject}));
    QVERIFY_THROWS_EXCEPTION(EComponentError, RegisterFieldClass(ftString, "TOstTable"));
    QCOMPARE(FieldClassName(ftString), QStringLiteral("TField"));

    ClearRegistrations();
    QVERIFY(PalettePages().isEmpty());
    QVERIFY(RegistrationLog().isEmpty());
    QVERIFY(FindClass("TSample")); // streaming still knows the class
}

void TstDesignIntf::ownVerbsBeforeInherited() {
    TDataModule root;
    root.SetName("Module1");
    auto* table = new TOstTable(&root);
    table->SetName("Table1");
    TDesigner designer(&root);
    RegisterComponentEditor(&TOstTable::staticMetaObject, ComponentEditorOf<TSampleTableEditor>());
    auto editor = GetComponentEditor(table, &designer);
    auto* e = dynamic_cast<TSampleTableEditor*>(editor.get());
    QVERIFY(e);
    QCOMPARE(e->Designer(), &designer);
    QCOMPARE(e->Component(), table);
    QCOMPARE(e->GetVerbCount(), 3);
    QCOMPARE(e->GetVerb(0), QStringLiteral("Create Table..."));
    QCOMPARE(e->GetVerb(2), QStringLiteral("Fields Editor..."));
    QVERIFY_THROWS_EXCEPTION(EComponentError, e->GetVerb(3));

    QAction empty, fields;
    e->PrepareItem(1, &empty); // the table is closed
    e->PrepareItem(2, &fields);
    QVERIFY(!empty.isEnabled());
    QVERIFY(fields.isEnabled());

    e->Edit(); // a double click runs the first verb
    e->ExecuteVerb(1);
    QCOMPARE(e->executed, QList<int>({0, 1}));

    // The inherited verb opens one fields editor per dataset.
    e->ExecuteVerb(2);
    TFieldsEditorDialog* dialog = TFieldsEditorDialog::Find(table);
    QVERIFY(dialog);
    QVERIFY(dialog->isVisible());
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Module1.Table1"));
    e->ExecuteVerb(2);
    int open = 0;
    for (QWidget* w : QApplication::topLevelWidgets()) open += qobject_cast<TFieldsEditorDialog*>(w) != nullptr;
    QCOMPARE(open, 1);
    delete dialog;

    TDataModule other;
    auto plain = GetComponentEditor(new TOstDatabase(&other), nullptr);
    QCOMPARE(plain->GetVerbCount(), 0);
    plain->Edit(); // nothing to do
}

void TstDesignIntf::propertyValuesConvert() {
    TDataModule root;
    auto* s = new TSample(&root);
    s->SetName("Sample1");
    TDesigner designer(&root);
    auto editor = [&](const char* name) { return GetPropertyEditor(&designer, {s}, QString::fromLatin1(name)); };

    auto tag = editor("Tag");
    tag->SetValue(" 42 ");
    QCOMPARE(s->GetTag(), 42);
    QCOMPARE(tag->GetValue(), QStringLiteral("42"));
    QCOMPARE(ErrorOf([&] { tag->SetValue("abc"); }), QStringLiteral("Invalid value for Tag: \"abc\" is not a whole number"));
    QVERIFY(ErrorOf([&] { tag->SetValue("99999999999"); }).contains("out of range"));
    QVERIFY(ErrorOf([&] { editor("Small")->SetValue("40000"); }).contains("40000 is out of range (-32768 to 32767)"));
    QCOMPARE(s->GetTag(), 42);

    auto enabled = editor("Enabled");
    QStringList values;
    enabled->GetValues(values);
    QCOMPARE(values, QStringList({"False", "True"}));
    QVERIFY(enabled->GetAttributes() & paValueList);
    enabled->SetValue("true");
    QCOMPARE(enabled->GetValue(), QStringLiteral("True"));
    QVERIFY(ErrorOf([&] { enabled->SetValue("yes"); }).contains("neither True nor False"));

    auto align = editor("Align");
    align->GetValues(values);
    QCOMPARE(values, QStringList({"alNone", "alTop", "alBottom", "alClient"}));
    align->SetValue("alClient");
    QCOMPARE(s->m_align, TSample::alClient);
    align->SetValue("2");
    QCOMPARE(align->GetValue(), QStringLiteral("alBottom"));
    QVERIFY(ErrorOf([&] { align->SetValue("alNowhere"); }).contains("\"alNowhere\" is not a value of TAlign"));

    auto ratio = editor("Ratio");
    ratio->SetValue("2.5");
    QCOMPARE(s->GetRatio(), 2.5);
    QVERIFY(ErrorOf([&] { ratio->SetValue("2,5"); }).contains("not a number"));
    // The component's own refusal comes back as it said it.
    QCOMPARE(ErrorOf([&] { ratio->SetValue("-1"); }), QStringLiteral("Ratio cannot be negative"));
    QCOMPARE(s->GetRatio(), 2.5);

    auto lines = editor("Lines");
    QVERIFY(lines->GetAttributes() & paDialog);
    lines->SetValue("one\ntwo");
    QCOMPARE(s->m_lines, QStringList({"one", "two"}));
    QCOMPARE(lines->GetValue(), QStringLiteral("(Strings)"));

    QVERIFY(editor("Count")->GetAttributes() & paReadOnly);
    QVERIFY(!(editor("Name")->GetAttributes() & paMultiSelect));
    QVERIFY(ErrorOf([&] { editor("Name")->SetValue("9lives"); }).contains("not a valid component name"));

    // Every change was one step.
    designer.Undo();
    QCOMPARE(s->m_lines, QStringList());
    designer.Undo();
    QCOMPARE(s->GetRatio(), 1.0);
}

void TstDesignIntf::multiSelection() {
    TDataModule root;
    auto* a = new TSample(&root);
    a->SetName("A");
    a->m_caption = "first";
    auto* b = new TSample(&root);
    b->SetName("B");
    b->m_caption = "second";
    TDesigner designer(&root);
    auto caption = GetPropertyEditor(&designer, {a, b}, "Caption");
    QVERIFY(!caption->AllEqual());
    QCOMPARE(caption->GetValue(), QString());
    caption->SetValue("same");
    QCOMPARE(a->m_caption, QStringLiteral("same"));
    QCOMPARE(b->m_caption, QStringLiteral("same"));
    QCOMPARE(caption->GetValue(), QStringLiteral("same"));
    designer.Undo(); // both at once
    QCOMPARE(a->m_caption, QStringLiteral("first"));
    QCOMPARE(b->m_caption, QStringLiteral("second"));

    QStringList shown;
    for (const auto& e : GetComponentProperties(&designer, {a, b})) shown.append(e->GetName());
    QVERIFY(shown.contains("Caption"));
    QVERIFY(!shown.contains("Name"));
    shown.clear();
    for (const auto& e : GetComponentProperties(&designer, {a})) shown.append(e->GetName());
    QCOMPARE(shown.first(), QStringLiteral("Name"));
}

QTEST_MAIN(TstDesignIntf)
#include "tst_designintf.moc"
