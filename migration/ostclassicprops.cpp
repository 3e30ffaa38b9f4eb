// The classic table's TableName and IndexName value lists.
#include "migration/ostclassicprops.h"

#include "migration/core/classicdataset.h"

TPropertyAttributes TClassicTableNameProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paValueList | paSortList;
}

void TClassicTableNameProperty::GetValues(QStringList& values) const {
    values.clear();
    auto* t = qobject_cast<TTable*>(GetComponent());
    if (!t || t->GetDatabaseName().trimmed().isEmpty()) return;
    try {
        values = t->GetTableNames();
    } catch (const Exception&) {
        // A database that cannot be reached offers nothing; the name can still be typed.
    }
}

TPropertyAttributes TClassicIndexNameProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paValueList | paSortList;
}

void TClassicIndexNameProperty::GetValues(QStringList& values) const {
    values.clear();
    auto* t = qobject_cast<TTable*>(GetComponent());
    if (!t || t->GetTableName().trimmed().isEmpty()) return;
    try {
        if (!t->Active()) t->UpdateIndexDefs();
        for (const TIndexDef* ix : t->IndexDefs())
            if (!ix->Name.isEmpty()) values << ix->Name;
    } catch (const Exception&) {
    }
}
