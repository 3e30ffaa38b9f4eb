// Library field and index definitions (TFieldDef, TIndexDefs) and check constraints.
#include "engine/base/tdefs.h"

const char* FieldTypeName(TFieldType t) {
    static const char* names[] = {
        "Unknown", "String", "Smallint", "Integer", "Word", "Boolean", "Float", "Currency", "BCD", "Date",
        "Time", "DateTime", "Bytes", "VarBytes", "AutoInc", "Blob", "Memo", "Graphic", "FmtMemo", "ParadoxOle",
        "DBaseOle", "TypedBinary", "Cursor", "FixedChar", "WideString", "Largeint", "ADT", "Array", "Reference",
        "DataSet", "OraBlob", "OraClob", "Variant", "Interface", "IDispatch", "Guid", "TimeStamp", "FMTBcd",
        "FixedWideChar", "WideMemo"};
    const int n = static_cast<int>(sizeof(names) / sizeof(names[0]));
    return (t >= 0 && t < n) ? names[t] : "Unknown";
}

void TFieldDef::Assign(const TFieldDef& s) {
    Name = s.Name;
    DataType = s.DataType;
    Size = s.Size;
    Precision = s.Precision;
    Required = s.Required;
}

TFieldDef* TFieldDefs::AddFieldDef(const QString& name, TFieldType type, int size, bool required) {
    TFieldDef* d = Add();
    d->Name = name;
    d->DataType = type;
    d->Size = size;
    d->Required = required;
    return d;
}

int TFieldDefs::IndexOf(const QString& name) const {
    for (int i = 0; i < Count(); ++i)
        if (Items(i)->Name.compare(name, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

TFieldDef* TFieldDefs::Find(const QString& name) const {
    const int i = IndexOf(name);
    return i < 0 ? nullptr : Items(i);
}

void TFieldDefs::Assign(const TFieldDefs& src) {
    if (&src == this) return;
    Clear();
    for (TFieldDef* d : src) Add()->Assign(*d);
}

void TIndexDef::Assign(const TIndexDef& s) {
    Name = s.Name;
    Fields = s.Fields;
    DescFields = s.DescFields;
    CaseInsFields = s.CaseInsFields;
    Expression = s.Expression;
    GroupingLevel = s.GroupingLevel;
    Options = s.Options;
    Capacity = s.Capacity;
}

bool TIndexDef::SameAs(const TIndexDef& o) const {
    return Name == o.Name && Fields == o.Fields && DescFields == o.DescFields && CaseInsFields == o.CaseInsFields &&
           Expression == o.Expression && Options == o.Options && Capacity == o.Capacity;
}

TIndexDef* TIndexDefs::Add(const QString& name, const QString& fields, TIndexOptions options) {
    TIndexDef* d = Add();
    d->Name = name;
    if (options & ixExpression)
        d->Expression = fields;
    else
        d->Fields = fields;
    d->Options = options;
    return d;
}

int TIndexDefs::IndexOf(const QString& name) const {
    for (int i = 0; i < Count(); ++i)
        if (Items(i)->Name.compare(name, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

TIndexDef* TIndexDefs::Find(const QString& name) const {
    const int i = IndexOf(name);
    return i < 0 ? nullptr : Items(i);
}

TIndexDef* TIndexDefs::GetPrimary() const {
    for (TIndexDef* d : *this)
        if (d->Options & ixPrimary) return d;
    return nullptr;
}

void TIndexDefs::Assign(const TIndexDefs& src) {
    if (&src == this) return;
    Clear();
    for (TIndexDef* d : src) Add()->Assign(*d);
}

void TCheckConstraint::Assign(const TCheckConstraint& s) {
    Name = s.Name;
    ImportedConstraint = s.ImportedConstraint;
    CustomConstraint = s.CustomConstraint;
    ErrorMessage = s.ErrorMessage;
    FromDictionary = s.FromDictionary;
}

void TCheckConstraints::Assign(const TCheckConstraints& src) {
    if (&src == this) return;
    Clear();
    for (TCheckConstraint* c : src) Add()->Assign(*c);
}
