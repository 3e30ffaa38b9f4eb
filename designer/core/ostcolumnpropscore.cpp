#include "designer/core/ostcolumnpropscore.h"

#include "designer/core/ostindexstrings.h"
#include "designer/core/osttabledesignercore.h"
#include "designer/core/osttableprops.h"
#include "engine/ostdatabase.h"
#include "engine/ostengine.h"
#include "engine/ostfielddef.h"

#include <QFileInfo>
#include <QLocale>
#include <algorithm>

namespace ColumnPropsText {
QString FieldChangeRefused() {
    return QStringLiteral("You have already modified indexes. Apply those changes before modifiying other aspects.");
}
QString IndexChangeRefused() {
    return QStringLiteral("You have already modified table columns. Apply those changes before modifiying other aspects.");
}
QString FieldEmpty(const QString& field) { return QStringLiteral("The field \"%1\" must not be left empty.").arg(field); }
QString LengthField() { return QStringLiteral("Length"); }
} // namespace ColumnPropsText

namespace {

constexpr int FirstListedType = dtString;
constexpr int LastListedType = dtBoolean;
// Time list position p stands for precision p + 2.
constexpr int TimePrecisionOffset = 2;

QString CalculationName(TOstCalculationType type) {
    switch (type) {
    case ctAlways: return QStringLiteral("Always");
    case ctDefaultValue: return QStringLiteral("Default Value");
    default: return QStringLiteral("None");
    }
}

// Sorted as the lists show them: letters regardless of case first.
void SortEntries(QStringList& list) {
    std::sort(list.begin(), list.end(), [](const QString& a, const QString& b) {
        const int c = a.compare(b, Qt::CaseInsensitive);
        return c != 0 ? c < 0 : a < b;
    });
}

void AddUnique(QStringList& list, const QString& entry) {
    if (!list.contains(entry, Qt::CaseInsensitive)) list.append(entry);
}

// The values of an enumeration as the engine reads them back: quoted when
// they hold a separator, a quote or a blank.
QString CommaText(const QStringList& values) {
    QStringList parts;
    for (const QString& v : values) {
        const bool quote = v.contains(u',') || v.contains(u'"') ||
                           std::any_of(v.begin(), v.end(), [](QChar c) { return c.unicode() <= u' '; });
        parts.append(quote ? u'"' + QString(v).replace(u'"', QStringLiteral("\"\"")) + u'"' : v);
    }
    return parts.join(u',');
}

// The memo's lines as values: trimmed, blank lines dropped, as the engine keeps them.
QStringList EnumerationValues(const QStringList& lines) {
    QStringList values;
    for (const QString& line : lines) {
        const QString v = line.trimmed();
        if (!v.isEmpty()) values.append(v);
    }
    return values;
}

} // namespace

TOstCalculationType GetCalculationType(const TOstFieldDef& def) {
    if (def.GetCalcExpression().trimmed().isEmpty()) return ctNone;
    return def.GetInternalCalcField() ? ctAlways : ctDefaultValue;
}

// ---------------------------------------------------------------- creation and lists

TColumnPropertyEditorCore::TColumnPropertyEditorCore() : m_tableLevel(OstDefaultTableLevel) {
    FillLinkedTables();
    ResetControls();
    m_collations = CollationEntries(true, true);
}

QStringList TColumnPropertyEditorCore::DataTypeNames() {
    QStringList names;
    for (int t = FirstListedType; t <= LastListedType; ++t) names.append(GetDataTypeName(t));
    SortEntries(names);
    return names;
}

QStringList TColumnPropertyEditorCore::TimePrecisionNames() {
    return {QStringLiteral("minutes"), QStringLiteral("seconds"), QStringLiteral("milliseconds")};
}

QStringList TColumnPropertyEditorCore::CollationEntries(bool addEngineDefault, bool addDefault) {
    QStringList locales;
    GetLocaleNames(locales);
    QStringList entries;
    for (const QString& name : std::as_const(locales)) AddUnique(entries, name);
    if (addEngineDefault) AddUnique(entries, EngineCollation());
    if (addDefault) AddUnique(entries, DefaultCollationEntry());
    SortEntries(entries);
    return entries;
}

int TColumnPropertyEditorCore::GetDataTypeFromName(const QString& text) {
    int result = 0;
    for (int t = FirstListedType; t <= LastListedType; ++t)
        if (text == GetDataTypeName(t)) result = t;
    return result;
}

void TColumnPropertyEditorCore::FillLinkedTables() {
    m_controls.LinkedTables.clear();
    m_controls.LinkedTableButtonVisible = true;
    if (!m_database) return;
    m_database->GetTableNames(m_controls.LinkedTables);
    // A single-file database holds its tables inside: there is no file to choose.
    m_controls.LinkedTableButtonVisible = !m_database->IsSingleFile();
}

void TColumnPropertyEditorCore::FillCalculations() {
    m_controls.Calculations = {CalculationName(ctNone), CalculationName(ctAlways)};
    if (OstLevel::HasDefaultValues(m_tableLevel)) m_controls.Calculations.append(CalculationName(ctDefaultValue));
    m_controls.Calculation = 0;
}

void TColumnPropertyEditorCore::FillIndications() {
    m_controls.Indications = {QString()};
    if (!m_list) return;
    for (const TOstFieldDef* def : *m_list) m_controls.Indications.append(def->GetName());
}

int TColumnPropertyEditorCore::CalculationPosition(TOstCalculationType type) const {
    return std::max<int>(0, m_controls.Calculations.indexOf(CalculationName(type)));
}

// ---------------------------------------------------------------- set by the designer

void TColumnPropertyEditorCore::SetOstDatabase(TOstDatabase* database) {
    m_database = database;
    FillLinkedTables();
    ControlsChanged();
}

QString TColumnPropertyEditorCore::MemoryKey(const TOstFieldDef& def) {
    return def.GetFieldNo() != 0 ? QString::number(def.GetFieldNo()) : u':' + def.GetName();
}

void TColumnPropertyEditorCore::SetFieldDefList(TOstFieldDefs* list) {
    // Another table's columns: what was remembered of these goes.
    if (list && list != m_memoryList) {
        m_typeMemory.clear();
        m_memoryList = list;
    }
    m_list = list;
    m_def = nullptr;
    if (!list) ResetControls();
    ControlsChanged();
}

void TColumnPropertyEditorCore::SetFieldDef(TOstFieldDef* def) {
    if (m_shownType >= 0 && (!def || def->GetDataTypeOst() != m_shownType)) ResetControls();
    m_def = def;
    if (def) SetupControls();
    ControlsChanged();
}

void TColumnPropertyEditorCore::SetTableLevel(int level) {
    if (level == m_tableLevel) return;
    m_tableLevel = level;
    ResetControls();
    SetupControls();
    ControlsChanged();
}

void TColumnPropertyEditorCore::SetAllowFieldChange(bool allowed) {
    m_allowFieldChange = allowed;
    m_controls.NameEnabled = m_keepEnabled || allowed;
    m_controls.DataTypeEnabled = m_keepEnabled || allowed;
    ControlsChanged();
}

void TColumnPropertyEditorCore::SetAllowIndexChange(bool allowed) {
    m_allowIndexChange = allowed;
    m_controls.CreateIndexEnabled = m_keepEnabled || allowed;
    m_controls.FulltextIndexEnabled = m_keepEnabled || allowed;
    ControlsChanged();
}

void TColumnPropertyEditorCore::SetCreateIndex(bool value) {
    m_createIndex = value;
    m_controls.CreateIndex = value;
    ControlsChanged();
}

void TColumnPropertyEditorCore::SetAddToFulltextIndex(bool value) {
    m_addToFulltextIndex = value;
    m_controls.FulltextIndex = value;
    ControlsChanged();
}

// ---------------------------------------------------------------- groups, reset and set-up

// A group that is shown goes below the visible ones; a hidden one leaves the order.
void TColumnPropertyEditorCore::ShowGroup(TColumnGroup group) {
    if (!m_visibleGroups.contains(group)) m_visibleGroups.append(group);
}

void TColumnPropertyEditorCore::HideGroup(TColumnGroup group) { m_visibleGroups.removeOne(group); }

void TColumnPropertyEditorCore::ResetControls() {
    TColumnControls& c = m_controls;
    c.Name.clear();
    c.NameEnabled = m_list && m_list->Count() > 0;
    c.DataType.clear();
    c.DataTypeEnabled = false;
    FillCalculations();
    for (TColumnGroup g : {TColumnGroup::Calculation, TColumnGroup::Precision, TColumnGroup::Enumeration,
                           TColumnGroup::Link, TColumnGroup::AutoInc, TColumnGroup::String,
                           TColumnGroup::Collation, TColumnGroup::NameType})
        HideGroup(g);
    m_shownType = -1;
}

void TColumnPropertyEditorCore::SetupControls() {
    if (!m_def) return;
    TColumnControls& c = m_controls;
    const int type = m_def->GetDataTypeOst();
    m_shownType = type;

    ShowGroup(TColumnGroup::NameType);
    c.Name = m_def->GetName();
    c.NameEnabled = true;
    c.DataType = GetDataTypeName(type);
    if (!DataTypeNames().contains(c.DataType)) c.DataType.clear();
    c.DataTypeEnabled = true;
    // Below level 4 only some types may be nullable; an auto-increment column never is.
    c.NullableEnabled = type != dtAutoInc && OstLevel::TypeMayBeNullable(m_tableLevel, type);
    c.Nullable = m_def->GetNullable() && type != dtAutoInc;

    switch (type) {
    case dtString:
    case dtWideString:
        c.LengthMin = 1;
        c.LengthMax = OstLevel::MaxTextSize(m_tableLevel);
        c.Length = std::clamp(m_def->GetSize(), c.LengthMin, c.LengthMax);
        ShowGroup(TColumnGroup::String);
        [[fallthrough]];
    case dtMemo:
    case dtWideMemo:
        SetCollationInfo(m_def->GetSpec(), m_tableCollation);
        ShowGroup(TColumnGroup::Collation);
        c.CollationEnabled = OstLevel::HasCollations(m_tableLevel);
        break;
    case dtFloat:
        c.PrecisionMin = 0;
        c.PrecisionMax = 15;
        c.Precision = std::clamp(m_def->GetPrecision(), c.PrecisionMin, c.PrecisionMax);
        c.TimePrecisionVisible = false;
        c.PrecisionEditVisible = true;
        ShowGroup(TColumnGroup::Precision);
        break;
    case dtTime:
        c.TimePrecisionVisible = true;
        c.PrecisionEditVisible = false;
        c.TimePrecision = m_def->GetPrecision() - TimePrecisionOffset;
        if (c.TimePrecision < 0 || c.TimePrecision >= TimePrecisionNames().size()) c.TimePrecision = -1;
        if (m_tableLevel > 3) ShowGroup(TColumnGroup::Precision);
        break;
    case dtEnum:
        c.Values = m_def->EnumValues();
        ShowGroup(TColumnGroup::Enumeration);
        break;
    case dtLink:
    case dtLargeLink:
        c.LinkedTable = m_def->GetSpec();
        c.EnforceIndex = !m_def->GetIsSpecial();
        ShowGroup(TColumnGroup::Link);
        break;
    case dtAutoInc:
        FillIndications();
        c.Indication = m_def->GetSpec();
        c.Unique = m_def->GetIsSpecial();
        c.UniqueEnabled = !c.Indication.trimmed().isEmpty();
        ShowGroup(TColumnGroup::AutoInc);
        break;
    default:
        break;
    }

    c.CalcExpression = m_def->GetCalcExpression();
    c.Calculation = CalculationPosition(GetCalculationType(*m_def));
    if (type != dtAutoInc) ShowGroup(TColumnGroup::Calculation);
}

// ---------------------------------------------------------------- collations

QString TColumnPropertyEditorCore::GetCollationInfo() const {
    return BuildCollationName(m_controls.Collation, m_controls.CaseSensitive, m_controls.AccentSensitive);
}

void TColumnPropertyEditorCore::SetCollationInfo(const QString& columnCollation, const QString& tableCollation) {
    TColumnControls& c = m_controls;
    c.CaseSensitiveEnabled = true;
    c.AccentSensitiveEnabled = true;
    QString name = columnCollation.trimmed();
    if (name.isEmpty() || name == DefaultCollationEntry() || name == EngineCollation()) {
        // The column inherits the table's collation; the choices are the table's.
        if (!tableCollation.isEmpty() && tableCollation != columnCollation) name = tableCollation;
        if (tableCollation.isEmpty() || tableCollation == EngineCollation()) name = DefaultCollationEntry();
        c.CaseSensitiveEnabled = false;
        c.AccentSensitiveEnabled = false;
    }
    const TCollationParts parts = SplitCollationName(name, TCollationParts{QString(), false, true});
    c.CaseSensitive = parts.CaseSensitive;
    c.AccentSensitive = parts.AccentSensitive;
    c.Collation = m_collations.contains(parts.Base) ? parts.Base : EngineCollation();
    m_shownCollation = GetCollationInfo();
}

void TColumnPropertyEditorCore::WriteCollation() {
    if (!m_def) return;
    const QString name = GetCollationInfo();
    if (name == m_shownCollation) return;
    CheckAllowFieldChange();
    m_def->SetSpec(name);
    SetCollationInfo(name, m_tableCollation);
    DoChange();
}

void TColumnPropertyEditorCore::CollationComboBoxChange(const QString& entry) {
    m_controls.Collation = entry;
    WriteCollation();
}

void TColumnPropertyEditorCore::CaseSensitiveCheckBoxClick(bool checked) {
    m_controls.CaseSensitive = checked;
    WriteCollation();
}

void TColumnPropertyEditorCore::AccentSensitiveCheckBoxClick(bool checked) {
    m_controls.AccentSensitive = checked;
    WriteCollation();
}

// ---------------------------------------------------------------- writing back

void TColumnPropertyEditorCore::CheckAllowFieldChange() const {
    if (!m_allowFieldChange) throw EOstTableDesigner(ColumnPropsText::FieldChangeRefused());
}

void TColumnPropertyEditorCore::CheckAllowIndexChange() const {
    if (!m_allowIndexChange) throw EOstTableDesigner(ColumnPropsText::IndexChangeRefused());
}

void TColumnPropertyEditorCore::DoChange() {
    if (OnChange) OnChange();
    ControlsChanged();
}

void TColumnPropertyEditorCore::ControlsChanged() {
    if (OnControlsChanged) OnControlsChanged();
}

void TColumnPropertyEditorCore::NameEditExit(const QString& text) {
    m_controls.Name = text;
    if (!m_def || text == m_def->GetName()) return;
    CheckAllowFieldChange();
    m_def->SetName(text);
    DoChange();
}

void TColumnPropertyEditorCore::DataTypeComboBoxChange(const QString& text) {
    m_controls.DataType = text;
    if (!m_def || !m_list || m_def->Collection() != m_list) return;
    const int newType = GetDataTypeFromName(text);
    const int oldType = m_def->GetDataTypeOst();
    if (newType == 0 || newType == oldType) return;
    CheckAllowFieldChange();
    const uint16_t fieldNo = m_def->GetFieldNo();
    // The field number goes into a signed 16-bit property of the new definition.
    if (fieldNo > 32767) throw Exception(QStringLiteral("Range check error"));

    const TOstFieldDef& old = *m_def;
    const QString name = old.GetName();
    const int index = old.Index();
    // What the column held for its old type comes back when the user switches back.
    m_typeMemory[MemoryKey(old)][oldType] = TTypeSettings{old.GetSpec(), old.GetIsSpecial(), old.GetPrecision()};
    int size = 0;
    if (newType == dtString || newType == dtWideString)
        size = (oldType == dtString || oldType == dtWideString) ? old.GetSize() : 20;
    if (size > 0) size = std::clamp(size, 1, OstLevel::MaxTextSize(m_tableLevel));
    TOstFieldDef* def = m_list->Add(name, newType, size);
    // What still applies to the new type is kept: nullability where the type
    // and level allow it, the collation between text types, a calculation.
    def->SetNullable(old.GetNullable() && newType != dtAutoInc && OstLevel::TypeMayBeNullable(m_tableLevel, newType));
    if (IsCollatedType(oldType) && IsCollatedType(newType)) def->SetSpec(old.GetSpec());
    if (newType != dtAutoInc && oldType != dtAutoInc) {
        def->SetCalcExpression(old.GetCalcExpression());
        def->SetInternalCalcField(old.GetInternalCalcField());
    }
    bool remembered = false;
    const auto memory = m_typeMemory.constFind(MemoryKey(old));
    if (memory != m_typeMemory.cend() && memory->contains(newType)) {
        const TTypeSettings& settings = memory->value(newType);
        def->SetSpec(settings.Spec);
        def->SetIsSpecial(settings.Special);
        def->SetPrecision(settings.Precision);
        remembered = true;
    }
    m_def = nullptr;
    m_list->Delete(index);
    def->SetName(name);
    def->SetIndex(index);
    def->SetFieldNo(fieldNo);
    if (newType == dtAutoInc && !remembered && OnIndicationRequest) {
        QString indication;
        OnIndicationRequest(indication);
        indication = indication.trimmed();
        if (!indication.isEmpty()) def->SetSpec(DoubleQuoteStr(indication));
    }
    SetFieldDef(def);
    DoChange();
}

void TColumnPropertyEditorCore::NullableCheckBoxClick(bool checked) {
    if (!m_def || !m_controls.NullableEnabled) return;
    m_controls.Nullable = checked;
    if (checked == m_def->GetNullable()) return;
    CheckAllowFieldChange();
    m_def->SetNullable(checked);
    DoChange();
}

void TColumnPropertyEditorCore::LengthEditExit(const QString& text) {
    if (!m_def) return;
    const QString t = text.trimmed();
    if (t.isEmpty()) {
        if (OnMessage) OnMessage(ColumnPropsText::FieldEmpty(ColumnPropsText::LengthField()));
        return;
    }
    bool ok = false;
    int value = QLocale().toInt(t, &ok);
    if (!ok) value = t.toInt(&ok);
    if (!ok) return;
    value = std::clamp(value, m_controls.LengthMin, m_controls.LengthMax);
    m_controls.Length = value;
    if (value == m_def->GetSize()) return;
    CheckAllowFieldChange();
    m_def->SetSize(value);
    DoChange();
}

void TColumnPropertyEditorCore::PrecisionEditChange(int value) {
    m_controls.Precision = value;
    if (!m_def || value == m_def->GetPrecision()) return;
    CheckAllowFieldChange();
    m_def->SetPrecision(value);
    DoChange();
}

void TColumnPropertyEditorCore::TimePrecisionComboBoxChange(int position) {
    if (position < 0) return;
    m_controls.TimePrecision = position;
    if (!m_def || position + TimePrecisionOffset == m_def->GetPrecision()) return;
    CheckAllowFieldChange();
    m_def->SetPrecision(position + TimePrecisionOffset);
    DoChange();
}

void TColumnPropertyEditorCore::ValuesMemoExit(const QStringList& lines) {
    m_controls.Values = lines;
    if (!m_def) return;
    const QStringList values = EnumerationValues(lines);
    if (values == m_def->EnumValues()) return;
    m_def->SetSpec(CommaText(values));
    DoChange();
}

void TColumnPropertyEditorCore::LinkedTableComboBoxChange(const QString& text) {
    m_controls.LinkedTable = text;
    if (!m_def || text == m_def->GetSpec()) return;
    CheckAllowFieldChange();
    m_def->SetSpec(text);
    DoChange();
}

void TColumnPropertyEditorCore::LinkedTableFileChosen(const QString& fileName) {
    LinkedTableComboBoxChange(QFileInfo(fileName).completeBaseName());
}

void TColumnPropertyEditorCore::EnforceIndexCheckBoxClick(bool checked) {
    m_controls.EnforceIndex = checked;
    if (!m_def || !checked == m_def->GetIsSpecial()) return;
    CheckAllowFieldChange();
    m_def->SetIsSpecial(!checked);
    DoChange();
}

void TColumnPropertyEditorCore::IndicationComboBoxChange(const QString& text) {
    m_controls.Indication = text;
    const QString indication = text.trimmed();
    if (!m_def || indication == m_def->GetSpec()) return;
    CheckAllowFieldChange();
    m_def->SetSpec(indication);
    // Without an indication there is nothing to be unique.
    m_controls.UniqueEnabled = !indication.isEmpty();
    if (!m_controls.UniqueEnabled) {
        m_controls.Unique = false;
        m_def->SetIsSpecial(false);
    }
    DoChange();
}

void TColumnPropertyEditorCore::UniqueCheckBoxClick(bool checked) {
    m_controls.Unique = checked;
    if (!m_def || checked == m_def->GetIsSpecial()) return;
    CheckAllowFieldChange();
    m_def->SetIsSpecial(checked);
    DoChange();
}

void TColumnPropertyEditorCore::CalcExpressionEditChange(const QString& text) {
    m_controls.CalcExpression = text;
    if (!m_def || text == m_def->GetCalcExpression()) return;
    const bool wasNone = GetCalculationType(*m_def) == ctNone;
    m_def->SetCalcExpression(text);
    // A first expression computes always where the level knows no default values.
    if (wasNone && m_controls.Calculation <= 0) m_def->SetInternalCalcField(!OstLevel::HasDefaultValues(m_tableLevel));
    SetupControls();
    DoChange();
}

void TColumnPropertyEditorCore::CalculationComboBoxChange(int position) {
    if (position < 0 || position >= m_controls.Calculations.size()) return;
    m_controls.Calculation = position;
    if (!m_def) return;
    const QString entry = m_controls.Calculations.at(position);
    TOstCalculationType type = ctNone;
    if (entry == CalculationName(ctAlways)) type = ctAlways;
    else if (entry == CalculationName(ctDefaultValue)) type = ctDefaultValue;
    if (type == GetCalculationType(*m_def)) return;
    switch (type) {
    case ctNone:
        m_def->SetInternalCalcField(!OstLevel::HasDefaultValues(m_tableLevel));
        m_def->SetCalcExpression(QString());
        break;
    case ctAlways: m_def->SetInternalCalcField(true); break;
    case ctDefaultValue: m_def->SetInternalCalcField(false); break;
    }
    SetupControls();
    DoChange();
}

// Switched on by any click or exit of the box, whatever it shows; once on,
// it follows the box.
void TColumnPropertyEditorCore::CreateIndexCheckBoxClick(bool checked) {
    m_controls.CreateIndex = checked;
    if (!m_def) return;
    if (m_createIndex) {
        if (checked) return;
        m_createIndex = false;
    } else {
        CheckAllowIndexChange();
        m_createIndex = true;
    }
    DoChange();
}

void TColumnPropertyEditorCore::FulltextIndexCheckBoxClick(bool checked) {
    m_controls.FulltextIndex = checked;
    if (!m_def || checked == m_addToFulltextIndex) return;
    if (checked) CheckAllowIndexChange();
    m_addToFulltextIndex = checked;
    DoChange();
}
