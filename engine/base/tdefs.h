// Library definition classes: TFieldDef(s), TIndexDef(s), TCheckConstraint(s).
// Collections owned by a dataset can be refreshed from it with Update().
#pragma once

#include "engine/base/dbtypes.h"
#include "engine/base/tcollection.h"

#include <QString>
#include <functional>

class TFieldDef : public TCollectionItem {
public:
    QString Name;
    TFieldType DataType = ftUnknown;
    int Size = 0;
    int Precision = 0;
    bool Required = false;
    void Assign(const TFieldDef& src);
};

class TFieldDefs : public TTypedCollection<TFieldDef> {
public:
    TFieldDef* AddFieldDef(const QString& name, TFieldType type, int size = 0, bool required = false);
    int IndexOf(const QString& name) const;
    TFieldDef* Find(const QString& name) const; // nullptr when absent
    void Assign(const TFieldDefs& src);
    std::function<void()> Updater;
    void Update() { if (Updater) Updater(); }
};

class TIndexDef : public TCollectionItem {
public:
    QString Name;
    QString Fields;       // "A;B:10", key order
    QString DescFields;   // entries of Fields that sort descending
    QString CaseInsFields;
    QString Expression;
    int GroupingLevel = 0;
    TIndexOptions Options;
    // Rows the index is laid out for below table level 4, where each index
    // holds its own capacity; 0 = the table's. From level 4 on the table's
    // capacity counts for every index.
    int Capacity = 0;
    // Copies every member (the designer's AssignIndexDef adds its own ordering on top).
    void Assign(const TIndexDef& src);
    bool SameAs(const TIndexDef& o) const;
};

class TIndexDefs : public TTypedCollection<TIndexDef> {
public:
    TIndexDef* AddIndexDef() { return Add(); }
    TIndexDef* Add(const QString& name, const QString& fields, TIndexOptions options);
    using TTypedCollection<TIndexDef>::Add;
    int IndexOf(const QString& name) const; // case-insensitive, -1 when absent
    TIndexDef* Find(const QString& name) const;
    TIndexDef* GetPrimary() const;
    void Assign(const TIndexDefs& src);
    std::function<void()> Updater;
    void Update() { if (Updater) Updater(); }
};

class TCheckConstraint : public TCollectionItem {
public:
    QString Name;               // optional constraint name
    QString ImportedConstraint; // the condition as shown and edited
    QString CustomConstraint;
    QString ErrorMessage;
    bool FromDictionary = false;
    // The condition that is enforced: CustomConstraint when set, else ImportedConstraint.
    QString Condition() const { return CustomConstraint.trimmed().isEmpty() ? ImportedConstraint : CustomConstraint; }
    void Assign(const TCheckConstraint& src);
};

class TCheckConstraints : public TTypedCollection<TCheckConstraint> {
public:
    void Assign(const TCheckConstraints& src);
};
