// Property editors of the classic datasets: a classic table's TableName
// lists the tables and views of its database, its IndexName the named
// indexes of its table (nothing when the database cannot be reached).
#pragma once

#include "studio/designintf/propertyeditor.h"

class TClassicTableNameProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
};

class TClassicIndexNameProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
};
