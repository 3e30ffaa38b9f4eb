// The column property editor without its window: which groups of controls a
// column shows for its data type and the table's level, what each control
// holds, and the handlers that write a control's value back into the field
// definition. The form (TColumnPropertyEditor) hands every control event to
// the handler of the same name and then shows Controls() again.
//
// Each handler first takes the control's value into Controls(), so that a
// refused change leaves the control showing what the user entered. It does
// nothing without a field definition or when the value equals the
// definition's; otherwise it checks the allow flags (EOstTableDesigner when
// refused, the definition untouched), writes, and raises OnChange once.
#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

class TOstDatabase;
class TOstFieldDef;
class TOstFieldDefs;

// Derived from the definition, never stored: none while the trimmed
// expression is empty, else always when the internal-calculation flag is
// set, else default value.
enum TOstCalculationType { ctNone = 0, ctAlways = 1, ctDefaultValue = 2 };
TOstCalculationType GetCalculationType(const TOstFieldDef& def);

// The groups of the panel. Visible groups stay in the order they were shown in.
enum class TColumnGroup { NameType, String, Precision, Enumeration, Link, AutoInc, Collation, Calculation };

// What the controls show and whether they take input. Lists are the items of
// the combo boxes; an empty selection text means no entry is selected.
struct TColumnControls {
    // name and type, with the column-wide check boxes
    QString Name;
    bool NameEnabled = false;
    QString DataType;
    bool DataTypeEnabled = false;
    bool Nullable = false;
    bool NullableEnabled = false;
    bool CreateIndex = false;
    bool CreateIndexEnabled = true;
    bool FulltextIndex = false;
    bool FulltextIndexEnabled = true;
    // "Length"
    int Length = 1;
    int LengthMin = 1;
    int LengthMax = 255;
    // "Precision": the spin for floats, the time list for times
    int Precision = 0;
    int PrecisionMin = 0;
    int PrecisionMax = 15;
    bool PrecisionEditVisible = true;
    bool TimePrecisionVisible = false;
    int TimePrecision = 0; // list position, -1 for none
    // "Values", one a line
    QStringList Values;
    // "Linked Table"
    QStringList LinkedTables;
    QString LinkedTable;
    bool LinkedTableButtonVisible = true;
    bool EnforceIndex = true;
    // "Indication"
    QStringList Indications;
    QString Indication;
    bool Unique = false;
    bool UniqueEnabled = false;
    // collation
    bool CollationEnabled = false;
    QString Collation; // the list entry
    bool CaseSensitive = false;
    bool CaseSensitiveEnabled = true;
    bool AccentSensitive = true;
    bool AccentSensitiveEnabled = true;
    // calculation
    QStringList Calculations;
    int Calculation = 0; // list position
    QString CalcExpression;
};

class TColumnPropertyEditorCore {
public:
    TColumnPropertyEditorCore();
    TColumnPropertyEditorCore(const TColumnPropertyEditorCore&) = delete;
    TColumnPropertyEditorCore& operator=(const TColumnPropertyEditorCore&) = delete;

    // ---- set by the designer
    // Stores the database and refills the linked-table list.
    void SetOstDatabase(TOstDatabase* database);
    TOstDatabase* OstDatabase() const { return m_database; }
    // Stores the list and forgets the edited definition; no list resets the controls.
    void SetFieldDefList(TOstFieldDefs* list);
    TOstFieldDefs* FieldDefList() const { return m_list; }
    // The edited column (none: nothing to edit). Controls shown for another
    // data type are reset first.
    void SetFieldDef(TOstFieldDef* def);
    TOstFieldDef* FieldDef() const { return m_def; }
    // A changed level resets and sets up the controls again.
    void SetTableLevel(int level);
    int TableLevel() const { return m_tableLevel; }
    void SetTableCollation(const QString& name) { m_tableCollation = name; }
    QString TableCollation() const { return m_tableCollation; }
    // The flags govern the handlers; the controls stay enabled while
    // KeepEnabled() holds, which it always does.
    void SetAllowFieldChange(bool allowed);
    bool AllowFieldChange() const { return m_allowFieldChange; }
    void SetAllowIndexChange(bool allowed);
    bool AllowIndexChange() const { return m_allowIndexChange; }
    bool KeepEnabled() const { return m_keepEnabled; }

    // "Create Index" and "Add to Fulltext Index" are read by the designer on
    // OnChange; it decides what they make of the column and may switch them
    // off again after acting on them.
    bool CreateIndex() const { return m_createIndex; }
    void SetCreateIndex(bool value);
    bool AddToFulltextIndex() const { return m_addToFulltextIndex; }
    void SetAddToFulltextIndex(bool value);

    // After every accepted change of the definition. A type change replaces
    // the definition: FieldDef() is the new one by then.
    std::function<void()> OnChange;
    // Asked for a default indication when a column becomes dtAutoInc.
    std::function<void(QString& indication)> OnIndicationRequest;
    // A message for the user that refuses nothing (the empty "Length").
    std::function<void(const QString& text)> OnMessage;
    // Controls() or the visible groups changed: the form shows them again.
    std::function<void()> OnControlsChanged;

    // ---- what the form shows
    const TColumnControls& Controls() const { return m_controls; }
    // In the order they were shown, top to bottom.
    const QList<TColumnGroup>& VisibleGroups() const { return m_visibleGroups; }
    bool GroupVisible(TColumnGroup group) const { return m_visibleGroups.contains(group); }
    // The type list: the engine's names of ordinals 1 to 19, sorted.
    static QStringList DataTypeNames();
    static QStringList TimePrecisionNames();
    // The locale collations, sorted and without duplicates, then "Ostra" and
    // "(default)" when asked, sorted in.
    static QStringList CollationEntries(bool addEngineDefault, bool addDefault);
    const QStringList& Collations() const { return m_collations; }
    // The ordinal whose engine name is text (the last match of 1 to 19); 0 for none.
    static int GetDataTypeFromName(const QString& text);

    void ResetControls();
    void SetupControls();
    // The collation name the collation controls stand for.
    QString GetCollationInfo() const;
    // Sets the collation controls for a column's own collation (empty,
    // "(default)" or "Ostra" when it inherits) and the table's collation.
    void SetCollationInfo(const QString& columnCollation, const QString& tableCollation);

    // ---- the handlers. The change (or click) and the exit of one control
    // share one handler; the form passes the control's value.
    void NameEditExit(const QString& text);
    void DataTypeComboBoxChange(const QString& text);
    void NullableCheckBoxClick(bool checked);
    void LengthEditExit(const QString& text);
    void PrecisionEditChange(int value);
    void TimePrecisionComboBoxChange(int position);
    void ValuesMemoExit(const QStringList& lines);
    void LinkedTableComboBoxChange(const QString& text);
    // The "..." button's file: its name without folder and extension.
    void LinkedTableFileChosen(const QString& fileName);
    void EnforceIndexCheckBoxClick(bool checked);
    void IndicationComboBoxChange(const QString& text);
    void UniqueCheckBoxClick(bool checked);
    void CollationComboBoxChange(const QString& entry);
    void CaseSensitiveCheckBoxClick(bool checked);
    void AccentSensitiveCheckBoxClick(bool checked);
    void CalcExpressionEditChange(const QString& text);
    void CalculationComboBoxChange(int position);
    void CreateIndexCheckBoxClick(bool checked);
    void FulltextIndexCheckBoxClick(bool checked);

private:
    void ShowGroup(TColumnGroup group);
    void HideGroup(TColumnGroup group);
    void FillLinkedTables();
    void FillCalculations();
    void FillIndications();
    int CalculationPosition(TOstCalculationType type) const;
    void WriteCollation();
    void CheckAllowFieldChange() const;
    void CheckAllowIndexChange() const;
    void DoChange();
    void ControlsChanged();

    // The type-specific settings a column had for each type it was given in
    // this session (by column number, or name for a new column), so that a
    // type switched back gets them again.
    struct TTypeSettings {
        QString Spec;
        bool Special = false;
        int Precision = 0;
    };
    static QString MemoryKey(const TOstFieldDef& def);
    QHash<QString, QHash<int, TTypeSettings>> m_typeMemory;
    const TOstFieldDefs* m_memoryList = nullptr;

    TOstDatabase* m_database = nullptr;
    TOstFieldDefs* m_list = nullptr;
    TOstFieldDef* m_def = nullptr;
    int m_shownType = -1; // the type the controls are set up for; -1 after a reset
    int m_tableLevel;
    QString m_tableCollation;
    bool m_allowFieldChange = true;
    bool m_allowIndexChange = true;
    bool m_createIndex = false;
    bool m_addToFulltextIndex = false;
    bool m_keepEnabled = true;
    // The collation name the controls showed for the definition; leaving the
    // controls unchanged writes nothing, even when the column inherits.
    QString m_shownCollation;
    QStringList m_collations;
    TColumnControls m_controls;
    QList<TColumnGroup> m_visibleGroups;
};

// The texts of the column property editor.
namespace ColumnPropsText {
QString FieldChangeRefused(); // indexes are modified
QString IndexChangeRefused(); // columns are modified
QString FieldEmpty(const QString& field);
QString LengthField(); // "Length"
} // namespace ColumnPropsText
