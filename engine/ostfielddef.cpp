// TOstFieldDef and TOstFieldDefs: engine column definitions, and the mapping
// of library field definitions to engine data types.
#include "engine/ostfielddef.h"

void TOstFieldDef::Assign(const TOstFieldDef& src) {
    if (&src == this) return;
    m_name = src.m_name;
    m_dataType = src.m_dataType;
    m_size = src.m_size;
    m_precision = src.m_precision;
    m_nullable = src.m_nullable;
    m_special = src.m_special;
    m_internalCalc = src.m_internalCalc;
    m_calcExpression = src.m_calcExpression;
    m_spec = src.m_spec;
    m_fieldNo = src.m_fieldNo;
}

namespace {

// Decimal places of a floating point column made from a library definition.
int FloatPrecision(int precision, int fallback) {
    return (precision >= 1 && precision <= 15) ? precision : fallback;
}

} // namespace

void TOstFieldDef::Assign(const TFieldDef& src) {
    const auto* defs = dynamic_cast<const TOstFieldDefs*>(Collection());
    Assign(src, defs ? defs->GetTableLevel() : OstDefaultTableLevel);
}

// The engine's type closest to a library field type. Text keeps its size (at
// least 1); floating point kinds keep a precision (significant digits) of
// 1..15 and otherwise get 15, currency always 15; types without an engine
// counterpart become a 255-character string. Below level 4, text longer than
// 255 characters becomes a memo and types that cannot be nullable there are
// required. The result is a new column: field number 0, no specification, no
// calculation.
void TOstFieldDef::Assign(const TFieldDef& src, int tableLevel) {
    m_name = src.Name;
    m_size = 0;
    m_precision = 0;
    m_nullable = !src.Required;
    m_special = false;
    m_internalCalc = false;
    m_calcExpression.clear();
    m_spec.clear();
    m_fieldNo = 0;
    switch (src.DataType) {
    case ftString:
    case ftFixedChar:
        m_dataType = dtString;
        m_size = qMax(1, src.Size);
        break;
    case ftWideString:
    case ftFixedWideChar:
        m_dataType = dtWideString;
        m_size = qMax(1, src.Size);
        break;
    case ftSmallint:
        m_dataType = dtSmallInt;
        break;
    case ftInteger:
        m_dataType = dtInteger;
        break;
    case ftWord:
        m_dataType = dtWord;
        break;
    case ftBoolean:
        m_dataType = dtBoolean;
        break;
    case ftFloat:
    case ftBCD:
    case ftFMTBcd:
        m_dataType = dtFloat;
        m_precision = FloatPrecision(src.Precision, 15);
        break;
    case ftCurrency: // four decimal places at any magnitude: all the digits a double holds
        m_dataType = dtFloat;
        m_precision = 15;
        break;
    case ftDate:
        m_dataType = dtDate;
        break;
    case ftTime:
        m_dataType = dtTime;
        m_precision = 3;
        break;
    case ftDateTime:
    case ftTimeStamp:
        m_dataType = dtDateTime;
        break;
    case ftBytes:
    case ftVarBytes:
    case ftBlob:
    case ftGraphic:
    case ftTypedBinary:
    case ftParadoxOle:
    case ftDBaseOle:
    case ftOraBlob:
        m_dataType = dtBlob;
        break;
    case ftMemo:
    case ftFmtMemo:
    case ftOraClob:
        m_dataType = dtMemo;
        break;
    case ftWideMemo:
        m_dataType = dtWideMemo;
        break;
    case ftAutoInc:
        m_dataType = dtAutoInc;
        break;
    case ftLargeint:
        m_dataType = dtLargeInt;
        break;
    case ftGuid:
        m_dataType = dtGuid;
        m_size = 38;
        break;
    default:
        m_dataType = dtString;
        m_size = 255;
        break;
    }
    if (IsSizedTextType(m_dataType) && m_size > OstLevel::MaxTextSize(tableLevel)) {
        m_dataType = IsWideType(m_dataType) ? dtWideMemo : dtMemo;
        m_size = 0;
    }
    if (m_nullable && !OstLevel::TypeMayBeNullable(tableLevel, m_dataType)) m_nullable = false;
}

bool TOstFieldDef::SameDefinition(const TOstFieldDef& o) const {
    return m_name == o.m_name && m_dataType == o.m_dataType && m_size == o.m_size &&
           m_precision == o.m_precision && GetNullable() == o.GetNullable() && m_special == o.m_special &&
           m_internalCalc == o.m_internalCalc && m_calcExpression == o.m_calcExpression &&
           m_spec == o.m_spec && m_fieldNo == o.m_fieldNo;
}

QStringList TOstFieldDef::EnumValues() const { return OstEnumValues(m_spec); }

TOstFieldDef* TOstFieldDefs::Add(const QString& name, int dataType, int size) {
    TOstFieldDef* d = Add();
    d->SetName(name);
    d->SetDataTypeOst(dataType);
    d->SetSize(size);
    return d;
}

int TOstFieldDefs::IndexOf(const QString& name) const {
    for (int i = 0; i < Count(); ++i)
        if (Items(i)->GetName().compare(name, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

TOstFieldDef* TOstFieldDefs::Find(const QString& name) const {
    const int i = IndexOf(name);
    return i < 0 ? nullptr : Items(i);
}

void TOstFieldDefs::Assign(const TOstFieldDefs& src) {
    if (&src == this) return;
    Clear();
    for (TOstFieldDef* d : src)
        Add()->Assign(*d);
}
