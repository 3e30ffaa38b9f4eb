// The Checks and Relationships pages of the table designer without their
// widgets: what Add, Delete and each edit do to the working table's check
// constraints and foreign keys. Every structural edit passes the designer's
// edit guard first and refreshes its change list afterwards.
#pragma once

#include "designer/core/osttabledesignercore.h"

#include <QStringList>

class TCheckConstraint;
class TOstForeignKeyDef;

// "Reject" for 0, "Cascade" for 3, empty for the others; any other text reads as 0.
QString GetForeignKeyActionText(int action);
int GetForeignKeyActionFromText(const QString& text);

class TChecksPageCore {
public:
    explicit TChecksPageCore(TOstTableDesignerCore& designer) : m_designer(designer) {}
    TCheckConstraints& Checks() const;
    // A check "1 < 1000" with no message; nullptr when the guard refuses.
    TCheckConstraint* NewCheck();
    // Deletes the check at index when there is one; false when the guard refuses.
    bool DeleteCheck(int index);
    // The edits as typed, not trimmed, not checked.
    void SetCheckProperties(TCheckConstraint* check, const QString& condition, const QString& message);

    static QString InfoText();

private:
    TOstTableDesignerCore& m_designer;
};

class TRelationshipsPageCore {
public:
    explicit TRelationshipsPageCore(TOstTableDesignerCore& designer) : m_designer(designer) {}
    TOstForeignKeyDefs& Defs() const;
    // A definition named "<New>"; nullptr when the guard refuses.
    TOstForeignKeyDef* NewRelationship();
    // Deletes the first definition of that name; false when refused or not found.
    bool DeleteRelationship(const QString& name);

    // The tables the parent may be: the tables of the designer's database.
    QStringList ParentTables() const;
    // The "Key" box: the Fields text of every unique index of the parent
    // table; the given parent fields are added when missing and become the
    // definition's parent fields. selected is the entry to show (-1 none).
    QStringList UpdateParentTableIndexes(TOstForeignKeyDef* def, const QString& parentFields, int& selected) const;
    // The columns of this table, in their order: the pick list of every value row.
    QStringList ColumnPickList() const;
    // The value list's values become the child fields: non-blank ones joined with ";".
    void SetChildFields(TOstForeignKeyDef* def, const QStringList& values);
    void SetName(TOstForeignKeyDef* def, const QString& name);
    void SetParentTable(TOstForeignKeyDef* def, const QString& table);
    void SetAction(TOstForeignKeyDef* def, bool updateAction, const QString& text);

    static QString InfoText();

private:
    TOstTableDesignerCore& m_designer;
};
