// The column property editor without its window, on columns made in memory:
// limits by type and level, the type change that replaces a definition,
// collation names both ways, auto-increment and calculation rules, and the
// changes refused while the other kind of edit is pending.
#include "designer_helper.h"

#include "designer/core/ostcolumnpropscore.h"
#include "engine/ostdatabase.h"
#include "engine/ostfielddef.h"

#include <QtTest>

using G = TColumnGroup;

namespace {

// An editor on a list of columns, counting the changes it announces.
struct TEditor {
    TOstFieldDefs defs;
    TColumnPropertyEditorCore core;
    int changes = 0;
    QStringList messages;

    explicit TEditor(int level = 6) {
        core.OnChange = [this] { ++changes; };
        core.OnMessage = [this](const QString& text) { messages.append(text); };
        core.SetTableLevel(level);
        core.SetFieldDefList(&defs);
    }
    TOstFieldDef* Add(const QString& name, int type, int size = 0) {
        TOstFieldDef* def = defs.Add(name, type, size);
        def->SetFieldNo(static_cast<uint16_t>(defs.Count()));
        return def;
    }
    TOstFieldDef* Edit(const QString& name, int type, int size = 0) {
        TOstFieldDef* def = Add(name, type, size);
        core.SetFieldDef(def);
        return def;
    }
    const TColumnControls& c() const { return core.Controls(); }
};

QString Refusal(const std::function<void()>& change) {
    try {
        change();
    } catch (const EOstTableDesigner& e) {
        return e.Message();
    }
    return QStringLiteral("<accepted>");
}

// A locale with an underscore of its own ("de_AT").
QString RegionalLocale() {
    for (const QString& entry : TColumnPropertyEditorCore::CollationEntries(false, false))
        if (entry.contains(u'_')) return entry;
    return QString();
}

const QString IndexesModified =
    QStringLiteral("You have already modified indexes. Apply those changes before modifiying other aspects.");

} // namespace

class TstColumnPropsCore : public QObject {
    Q_OBJECT
private slots:
    void lengthAndNullableFollowTheLevel();
    void typeChangeReplacesTheDefinition();
    void typeChangeKeepsWhatStillApplies();
    void collationNamesBothWays();
    void autoIncColumn();
    void calculationType();
    void enumerationValues();
    void linkedTables();
    void refusedChangesLeaveTheDefinitionAlone();
    void createIndexSwitchesOnOnce();
};

void TstColumnPropsCore::lengthAndNullableFollowTheLevel() {
    TEditor editor(3);
    TOstFieldDef* name = editor.Edit("Name", dtString, 30);
    QCOMPARE(editor.c().LengthMax, 255);
    QVERIFY(!editor.c().NullableEnabled);
    editor.core.NullableCheckBoxClick(false); // a disabled box writes nothing
    QVERIFY(name->GetNullable());
    editor.core.LengthEditExit("300");
    QCOMPARE(name->GetSize(), 255);
    editor.core.LengthEditExit(" ");
    QCOMPARE(editor.messages, QStringList{"The field \"Length\" must not be left empty."});
    QCOMPARE(name->GetSize(), 255);
    QCOMPARE(editor.changes, 1);

    // Below level 4 only some types may be nullable; auto-increment never.
    const QList<int> nullable{dtInteger, dtFloat, dtTime, dtBoolean};
    for (int type : {dtInteger, dtFloat, dtTime, dtBoolean, dtMemo, dtLink, dtAutoInc}) {
        editor.Edit("Other", type);
        QVERIFY2(editor.c().NullableEnabled == nullable.contains(type), qPrintable(GetDataTypeName(type)));
    }

    editor.core.SetFieldDef(name);
    editor.core.SetTableLevel(4);
    QCOMPARE(editor.c().LengthMax, 32767);
    QVERIFY(editor.c().NullableEnabled && editor.c().Nullable);
    editor.core.LengthEditExit("1000");
    editor.core.NullableCheckBoxClick(false);
    QCOMPARE(name->GetSize(), 1000);
    QVERIFY(!name->GetNullable());
    QCOMPARE(editor.changes, 3);
}

void TstColumnPropsCore::typeChangeReplacesTheDefinition() {
    TEditor editor;
    editor.Add("ID", dtInteger);
    TOstFieldDef* code = editor.Add("Code", dtString, 30);
    editor.Add("Age", dtInteger);
    code->SetFieldNo(7);
    editor.core.SetFieldDef(code);

    editor.core.DataTypeComboBoxChange(GetDataTypeName(dtWideString));
    TOstFieldDef* wide = editor.core.FieldDef();
    QVERIFY(wide != code);
    QCOMPARE(editor.defs.Count(), 3);
    QCOMPARE(editor.defs[1], wide);
    QCOMPARE(wide->GetName(), QStringLiteral("Code"));
    QCOMPARE(wide->GetSize(), 30); // string to wide string keeps the length
    QCOMPARE(wide->GetFieldNo(), 7);
    QCOMPARE(editor.changes, 1);

    editor.core.SetFieldDef(editor.defs[2]);
    editor.core.DataTypeComboBoxChange(GetDataTypeName(dtString));
    QCOMPARE(editor.defs[2]->GetSize(), 20); // integer to string gives 20
    QCOMPARE(editor.core.VisibleGroups(), QList<G>({G::NameType, G::String, G::Collation, G::Calculation}));

    // An auto-increment column takes the proposed indication, quoted, and shows no calculation.
    editor.core.OnIndicationRequest = [](QString& indication) { indication = QStringLiteral("  ID "); };
    editor.core.SetFieldDef(editor.defs[0]);
    editor.core.DataTypeComboBoxChange(GetDataTypeName(dtAutoInc));
    QCOMPARE(editor.defs[0]->GetSpec(), QStringLiteral("\"ID\""));
    QCOMPARE(editor.core.VisibleGroups(), QList<G>({G::NameType, G::AutoInc}));
    QCOMPARE(editor.changes, 3);

    // A field number the new definition cannot take changes nothing.
    wide->SetFieldNo(40000);
    editor.core.SetFieldDef(wide);
    QVERIFY_THROWS_EXCEPTION(Exception, editor.core.DataTypeComboBoxChange(GetDataTypeName(dtInteger)));
    QCOMPARE(editor.defs[1], wide);
    QCOMPARE(wide->GetDataTypeOst(), int(dtWideString));
}

void TstColumnPropsCore::typeChangeKeepsWhatStillApplies() {
    TEditor editor(6);
    TOstFieldDef* name = editor.Edit("Name", dtString, 300);
    name->SetNullable(false);
    name->SetSpec("de_DE_ci_ai");
    name->SetCalcExpression("'x'");
    editor.core.SetFieldDef(name);
    editor.core.DataTypeComboBoxChange(GetDataTypeName(dtWideMemo));
    name = editor.defs[0];
    QVERIFY(!name->GetNullable());
    QCOMPARE(name->GetSpec(), QStringLiteral("de_DE_ci_ai")); // text to text keeps the collation
    QCOMPARE(name->GetCalcExpression(), QStringLiteral("'x'"));
    QCOMPARE(name->GetSize(), 0);
    editor.core.DataTypeComboBoxChange(GetDataTypeName(dtWideString));
    QCOMPARE(editor.defs[0]->GetSize(), 20);
    QVERIFY(!editor.c().Nullable);

    // Values of an enumeration come back when the type does, within the session.
    TOstFieldDef* kind = editor.Edit("Kind", dtEnum);
    kind->SetSpec("small,large");
    editor.core.SetFieldDef(kind);
    editor.core.DataTypeComboBoxChange(GetDataTypeName(dtInteger));
    QCOMPARE(editor.defs[1]->GetSpec(), QString()); // an integer has no values
    QVERIFY(editor.defs[1]->GetNullable());
    editor.core.DataTypeComboBoxChange(GetDataTypeName(dtEnum));
    QCOMPARE(editor.defs[1]->GetSpec(), QStringLiteral("small,large"));
    QCOMPARE(editor.c().Values, QStringList({"small", "large"}));
    // Another table's columns: nothing remembered.
    TOstFieldDefs other;
    other.Add("Kind", dtInteger, 0)->SetFieldNo(2);
    editor.core.SetFieldDefList(&other);
    editor.core.SetFieldDef(other[0]);
    editor.core.DataTypeComboBoxChange(GetDataTypeName(dtEnum));
    QCOMPARE(other[0]->GetSpec(), QString());

    // Below level 4 a wide string is at most 255 long and never nullable.
    TEditor low(3);
    TOstFieldDef* code = low.Edit("Code", dtString, 255);
    low.core.DataTypeComboBoxChange(GetDataTypeName(dtWideString));
    QCOMPARE(low.defs[0]->GetSize(), 255);
    TOstFieldDef* amount = low.Edit("Amount", dtInteger);
    QVERIFY(amount->GetNullable());
    low.core.DataTypeComboBoxChange(GetDataTypeName(dtFloat));
    QVERIFY(low.defs[1]->GetNullable()); // a float may be nullable at level 3
    low.core.DataTypeComboBoxChange(GetDataTypeName(dtString));
    QVERIFY(!low.defs[1]->GetNullable());
    QVERIFY(!low.c().NullableEnabled);
    Q_UNUSED(code)
}

void TstColumnPropsCore::collationNamesBothWays() {
    const QString locale = RegionalLocale();
    QVERIFY(!locale.isEmpty());
    TEditor editor(5);
    TOstFieldDef* def = editor.Add("Name", dtString, 30);
    def->SetSpec(locale + "_ci_as");
    editor.core.SetFieldDef(def);
    // Shown, but only level 6 tables know collations.
    QVERIFY(editor.core.GroupVisible(G::Collation) && !editor.c().CollationEnabled);
    editor.core.SetTableLevel(6);
    QVERIFY(editor.c().CollationEnabled);
    QCOMPARE(editor.c().Collation, locale);
    QVERIFY(!editor.c().CaseSensitive && editor.c().AccentSensitive);

    editor.core.CaseSensitiveCheckBoxClick(true);
    QCOMPARE(def->GetSpec(), locale + "_cs_as");
    editor.core.AccentSensitiveCheckBoxClick(false);
    QCOMPARE(def->GetSpec(), locale + "_cs_ai");
    editor.core.CollationComboBoxChange("(default)");
    QCOMPARE(def->GetSpec(), QStringLiteral("(default)"));
    QCOMPARE(editor.changes, 3);

    // Inheriting shows the table's collation with its choices, and leaving
    // the list does not make it the column's own.
    editor.core.SetTableCollation(locale + "_CS_AI");
    editor.core.SetupControls();
    QCOMPARE(editor.c().Collation, locale);
    QVERIFY(editor.c().CaseSensitive && !editor.c().AccentSensitive);
    QVERIFY(!editor.c().CaseSensitiveEnabled && !editor.c().AccentSensitiveEnabled);
    editor.core.CollationComboBoxChange(locale);
    QCOMPARE(def->GetSpec(), QStringLiteral("(default)"));
    editor.core.SetTableCollation("Ostra");
    editor.core.SetupControls();
    QCOMPARE(editor.c().Collation, QStringLiteral("(default)"));

    // A locale the list does not know shows the engine's collation and is kept.
    def->SetSpec("xx_YY_ci_ai");
    editor.core.SetupControls();
    QCOMPARE(editor.c().Collation, QStringLiteral("Ostra"));
    editor.core.CollationComboBoxChange("Ostra");
    QCOMPARE(def->GetSpec(), QStringLiteral("xx_YY_ci_ai"));
    QCOMPARE(editor.changes, 3);
}

void TstColumnPropsCore::autoIncColumn() {
    TEditor editor;
    TOstFieldDef* id = editor.Add("ID", dtAutoInc);
    editor.Add("Name", dtString, 30);
    id->SetSpec("\"Name\"");
    id->SetIsSpecial(true);
    id->SetNullable(true);
    editor.core.SetFieldDef(id);
    QVERIFY(!editor.c().Nullable && !editor.c().NullableEnabled);
    QCOMPARE(editor.c().Indications, QStringList({"", "ID", "Name"}));
    QVERIFY(editor.c().Unique && editor.c().UniqueEnabled);

    // Shown without an indication, there is nothing to be unique.
    TOstFieldDef* other = editor.Add("Other", dtAutoInc);
    editor.core.SetFieldDef(other);
    QVERIFY(!editor.c().UniqueEnabled && !editor.c().Unique);
    editor.core.SetFieldDef(id);

    editor.core.IndicationComboBoxChange("   ");
    QVERIFY(id->GetSpec().isEmpty());
    QVERIFY(!editor.c().UniqueEnabled && !editor.c().Unique && !id->GetIsSpecial());
    editor.core.IndicationComboBoxChange(" Name ");
    QCOMPARE(id->GetSpec(), QStringLiteral("Name"));
    QVERIFY(editor.c().UniqueEnabled);
    QCOMPARE(editor.changes, 2);
}

void TstColumnPropsCore::calculationType() {
    TEditor level3(3);
    TOstFieldDef* age = level3.Edit("Age", dtInteger);
    QCOMPARE(level3.c().Calculations, QStringList({"None", "Always"}));
    level3.core.CalcExpressionEditChange("Age * 2"); // a first expression computes always here
    QCOMPARE(GetCalculationType(*age), ctAlways);
    QCOMPARE(level3.c().Calculation, 1);
    level3.core.CalculationComboBoxChange(0);
    QVERIFY(age->GetCalcExpression().isEmpty());
    // A stored default value has no entry at this level: the first is shown.
    age->SetCalcExpression("0");
    age->SetInternalCalcField(false);
    level3.core.SetupControls();
    QCOMPARE(level3.c().Calculation, 0);

    TEditor level4(4);
    TOstFieldDef* city = level4.Edit("City", dtString, 20);
    level4.core.CalcExpressionEditChange("'Oslo'");
    QCOMPARE(GetCalculationType(*city), ctDefaultValue);
    QCOMPARE(level4.c().Calculation, 2);
    level4.core.CalculationComboBoxChange(1);
    level4.core.CalcExpressionEditChange("'Rome'"); // the chosen type stays
    QCOMPARE(GetCalculationType(*city), ctAlways);
    level4.core.CalculationComboBoxChange(0);
    QVERIFY(city->GetCalcExpression().isEmpty() && !city->GetInternalCalcField());
    QCOMPARE(level4.changes, 4);
}

void TstColumnPropsCore::enumerationValues() {
    TEditor editor;
    TOstFieldDef* kind = editor.Add("Kind", dtEnum);
    kind->SetSpec("private,  \"a, b\" ,business");
    editor.core.SetFieldDef(kind);
    QCOMPARE(editor.c().Values, QStringList({"private", "a, b", "business"}));
    editor.core.ValuesMemoExit({"private", " a, b", "business", ""}); // the same values
    QCOMPARE(editor.changes, 0);
    editor.core.ValuesMemoExit({"private", "", "say \"hi\"", "1,5", "two words"});
    QCOMPARE(kind->EnumValues(), QStringList({"private", "say \"hi\"", "1,5", "two words"}));
    QCOMPARE(editor.changes, 1);
}

void TstColumnPropsCore::linkedTables() {
    PeopleTable people;
    TOstDatabase folder;
    folder.SetLocation(people.location);
    TEditor editor;
    editor.core.SetOstDatabase(&folder);
    QVERIFY(editor.c().LinkedTables.contains("People"));
    QVERIFY(editor.c().LinkedTableButtonVisible);
    TOstDatabase single;
    single.SetLocation(people.dir.filePath("shop.ostd"));
    single.CreateDatabase();
    editor.core.SetOstDatabase(&single);
    QVERIFY(!editor.c().LinkedTableButtonVisible); // no table files to choose

    TOstFieldDef* owner = editor.Edit("Owner", dtLink);
    QVERIFY(editor.c().EnforceIndex);
    editor.core.EnforceIndexCheckBoxClick(false);
    QVERIFY(owner->GetIsSpecial());
    editor.core.LinkedTableFileChosen("/data/shop/Orders.dat");
    QCOMPARE(owner->GetSpec(), QStringLiteral("Orders"));
}

void TstColumnPropsCore::refusedChangesLeaveTheDefinitionAlone() {
    const QString locale = RegionalLocale();
    struct TCase {
        const char* what;
        int type;
        QString stored;
        std::function<void(TColumnPropertyEditorCore&)> change;
    };
    const QList<TCase> refused{
        {"name", dtString, {}, [](auto& c) { c.NameEditExit("Renamed"); }},
        {"type", dtString, {}, [](auto& c) { c.DataTypeComboBoxChange(GetDataTypeName(dtInteger)); }},
        {"nullable", dtString, {}, [](auto& c) { c.NullableCheckBoxClick(false); }},
        {"length", dtString, {}, [](auto& c) { c.LengthEditExit("12"); }},
        {"collation", dtString, locale + "_ci_as", [](auto& c) { c.CaseSensitiveCheckBoxClick(true); }},
        {"precision", dtFloat, {}, [](auto& c) { c.PrecisionEditChange(4); }},
        {"time precision", dtTime, {}, [](auto& c) { c.TimePrecisionComboBoxChange(2); }},
        {"linked table", dtLink, {}, [](auto& c) { c.LinkedTableComboBoxChange("Orders"); }},
        {"enforce index", dtLink, {}, [](auto& c) { c.EnforceIndexCheckBoxClick(false); }},
        {"indication", dtAutoInc, {}, [](auto& c) { c.IndicationComboBoxChange("Name"); }},
        {"unique", dtAutoInc, "Name", [](auto& c) { c.UniqueCheckBoxClick(true); }},
    };
    for (const TCase& test : refused) {
        TEditor editor;
        TOstFieldDef* def = editor.Add("Column", test.type, test.type == dtString ? 30 : 0);
        def->SetSpec(test.stored);
        editor.core.SetFieldDef(def);
        editor.core.SetAllowFieldChange(false);
        TOstFieldDef before;
        before.Assign(*def);
        QVERIFY2(Refusal([&] { test.change(editor.core); }) == IndexesModified, test.what);
        QVERIFY2(def->SameDefinition(before) && editor.core.FieldDef() == def, test.what);
        QVERIFY2(editor.changes == 0, test.what);
    }

    // The control keeps what the user entered; values and calculations are never refused.
    TEditor editor;
    TOstFieldDef* def = editor.Edit("Name", dtString, 30);
    editor.core.SetAllowFieldChange(false);
    Refusal([&] { editor.core.NameEditExit("Renamed"); });
    QCOMPARE(editor.c().Name, QStringLiteral("Renamed"));
    editor.core.CalcExpressionEditChange("'x'");
    QCOMPARE(def->GetCalcExpression(), QStringLiteral("'x'"));
    TOstFieldDef* kind = editor.Edit("Kind", dtEnum);
    editor.core.ValuesMemoExit({"a", "b"});
    QCOMPARE(kind->EnumValues(), QStringList({"a", "b"}));
}

void TstColumnPropsCore::createIndexSwitchesOnOnce() {
    TEditor editor;
    editor.Edit("City", dtString, 20);
    editor.core.SetAllowIndexChange(false);
    QVERIFY(editor.c().CreateIndexEnabled); // kept enabled; the flag governs the handler
    QCOMPARE(Refusal([&] { editor.core.CreateIndexCheckBoxClick(true); }),
             QStringLiteral("You have already modified table columns. Apply those changes before modifiying other aspects."));
    QVERIFY(!editor.core.CreateIndex());
    QCOMPARE(editor.changes, 0);

    editor.core.SetAllowIndexChange(true);
    editor.core.CreateIndexCheckBoxClick(false); // leaving the unchecked box switches it on all the same
    QVERIFY(editor.core.CreateIndex());
    editor.core.CreateIndexCheckBoxClick(true);
    QCOMPARE(editor.changes, 1);
    editor.core.CreateIndexCheckBoxClick(false); // once on, it follows the box
    QVERIFY(!editor.core.CreateIndex());
    QCOMPARE(editor.changes, 2);
}

QTEST_GUILESS_MAIN(TstColumnPropsCore)
#include "tst_columnpropscore.moc"
