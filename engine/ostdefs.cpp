// Fulltext index and foreign-key definition collections of a table component.
#include "engine/ostdefs.h"

// ---- fulltext indexes

void TOstFulltextIndexDef::Assign(const TOstFulltextIndexDef& s) {
    Name = s.Name;
    Fields = s.Fields;
    Dictionary = s.Dictionary;
    MinRelevance = s.MinRelevance;
    Separators = s.Separators;
    Options = s.Options;
}

bool TOstFulltextIndexDef::SameAs(const TOstFulltextIndexDef& o) const {
    return Name == o.Name && Fields == o.Fields && Dictionary == o.Dictionary &&
           MinRelevance == o.MinRelevance && Separators == o.Separators && Options == o.Options;
}

TOstFulltextIndexDef* TOstFulltextIndexDefs::Add(const QString& name, const QString& fields,
                                                 const QString& dictionary) {
    TOstFulltextIndexDef* d = Add();
    d->Name = name;
    d->Fields = fields;
    d->Dictionary = dictionary;
    return d;
}

int TOstFulltextIndexDefs::IndexOf(const QString& name) const {
    for (int i = 0; i < Count(); ++i)
        if (Items(i)->Name.compare(name, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

void TOstFulltextIndexDefs::Assign(const TOstFulltextIndexDefs& src) {
    if (&src == this) return;
    Clear();
    for (TOstFulltextIndexDef* d : src)
        Add()->Assign(*d);
}

// ---- foreign keys

void TOstForeignKeyDef::Assign(const TOstForeignKeyDef& s) {
    Name = s.Name;
    ParentTable = s.ParentTable;
    ChildFields = s.ChildFields;
    ParentFields = s.ParentFields;
    UpdateAction = s.UpdateAction;
    DeleteAction = s.DeleteAction;
}

bool TOstForeignKeyDef::SameAs(const TOstForeignKeyDef& o) const {
    return Name == o.Name && ParentTable == o.ParentTable && ChildFields == o.ChildFields &&
           ParentFields == o.ParentFields && UpdateAction == o.UpdateAction && DeleteAction == o.DeleteAction;
}

TOstForeignKeyDef* TOstForeignKeyDefs::Add(const QString& name) {
    TOstForeignKeyDef* d = Add();
    d->Name = name;
    return d;
}

int TOstForeignKeyDefs::IndexOf(const QString& name) const {
    for (int i = 0; i < Count(); ++i)
        if (Items(i)->Name.compare(name, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

void TOstForeignKeyDefs::Assign(const TOstForeignKeyDefs& src) {
    if (&src == this) return;
    Clear();
    for (TOstForeignKeyDef* d : src)
        Add()->Assign(*d);
}

namespace {
const char* const ForeignKeyActionNames[] = {"Reject", "SetNull", "SetDefault", "Cascade"};
}

QString GetForeignKeyActionName(TOstForeignKeyAction a) {
    return a <= faCascade ? QString::fromLatin1(ForeignKeyActionNames[a]) : QString();
}

TOstForeignKeyAction GetForeignKeyActionFromName(const QString& s, bool* ok) {
    const QString n = s.trimmed();
    for (int i = faReject; i <= faCascade; ++i) {
        if (n.compare(QLatin1String(ForeignKeyActionNames[i]), Qt::CaseInsensitive) == 0) {
            if (ok) *ok = true;
            return static_cast<TOstForeignKeyAction>(i);
        }
    }
    if (ok) *ok = false;
    return faReject;
}
