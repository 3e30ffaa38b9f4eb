// The change list of the table designer: every difference between the
// working copy of a table's definitions and the designed table, one entry
// each, with the texts the difference dialog shows. The comparison routines
// test the aspects of a definition in a fixed order and report the first
// one that differs.
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

class TCheckConstraint;
class TIndexDef;
class TOstFieldDef;
class TOstForeignKeyDef;
class TOstFulltextIndexDef;
class TOstTable;
class TOstDataSet;

enum TModificationType { mtUnknown, mtTable, mtColumn, mtIndex, mtFulltext, mtCheckConstraint, mtForeignKey };

// What changed. mdNone (0) means "equal" in the results of the comparisons.
enum TModificationDetail {
    mdNone = 0,
    // table
    mdTableRenamed, mdTableLevel, mdTableEncryption, mdTableCollation, mdTableResetCollations, mdTableCapacity,
    // columns
    mdColumnExtended, mdColumnTruncated, mdColumnType, mdColumnNullable, mdColumnConnection, mdColumnSelection,
    mdColumnRenamed, mdColumnIndication, mdColumnCalculation, mdColumnPosition, mdColumnDeleted, mdColumnAdded,
    mdColumnSpecification, mdColumnEnforcedIndex, mdColumnPrecision, mdColumnCollation, mdPrimaryKey,
    // indexes
    mdIndexAdded, mdIndexDeleted, mdIndexRenamed, mdIndexFields, mdIndexDescFields, mdIndexExpression,
    mdIndexFieldExpression, mdIndexOptions,
    // fulltext indexes
    mdFulltextAdded, mdFulltextDeleted, mdFulltextRenamed, mdFulltextFields, mdFulltextDictionary,
    mdFulltextMinRelevance, mdFulltextOptions, mdFulltextSeparators,
    // foreign keys
    mdForeignKeyAdded, mdForeignKeyDeleted, mdForeignKeyRenamed, mdForeignKeyParentTable, mdForeignKeyParentFields,
    mdForeignKeyChildFields, mdForeignKeyInsertAction, mdForeignKeyUpdateAction, mdForeignKeyDeleteAction,
    // check constraints
    mdCheckCondition, mdCheckMessage, mdCheckDeleted, mdCheckAdded, mdCheckRenamed,
};

class TModification {
public:
    TModificationType Kind = mtUnknown;
    QString Name;    // the object in the working table (new value of a table property)
    QString OldName; // the object in the designed table (old value of a table property)
    int Position = 0; // 1-based column position, 0 when not about a column
    int Detail = mdNone;

    // The dialog's first column: the position when there is one.
    QString GetColumn() const;
    // The dialog's second column: what changed.
    QString GetText() const;
};

class TModifications {
public:
    TModification& Add(TModificationType kind, const QString& name, const QString& oldName, int position, int detail);
    bool DefExists(TModificationType kind, int detail) const;
    int DefTypeCount(TModificationType kind) const;
    int Count() const { return m_items.size(); }
    bool IsEmpty() const { return m_items.isEmpty(); }
    const TModification& Modification(int i) const { return m_items.at(i); }
    TModification& Modification(int i) { return m_items[i]; }
    void Clear() { m_items.clear(); }
    // "position<TAB>text" lines, as the dialog lists them.
    QStringList Lines() const;
    QVector<TModification>::const_iterator begin() const { return m_items.begin(); }
    QVector<TModification>::const_iterator end() const { return m_items.end(); }

private:
    QVector<TModification> m_items;
};

// The text of an empty list.
QString NoChangesText();

// Comparisons: mdNone when equal, else the first difference found.
int CompareFieldDefs(const TOstFieldDef& designed, const TOstFieldDef& working);
// The same with the positions known (finding a definition's position takes a search).
int CompareFieldDefs(const TOstFieldDef& designed, const TOstFieldDef& working, int designedPosition, int workingPosition);
int CompareIndexDefs(const TIndexDef& designed, const TIndexDef& working);
int CompareIndexDefs(const TOstFulltextIndexDef& designed, const TOstFulltextIndexDef& working);
int CompareForeignKeyDefs(const TOstForeignKeyDef& designed, const TOstForeignKeyDef& working);
int CompareChecks(const TCheckConstraint& designed, const TCheckConstraint& working);

// The field expression of an index: its expression for an expression index,
// its columns otherwise.
QString FieldExpression(const TIndexDef& def);

// What a comparison of a designed table and its working copy needs besides the two tables.
struct TModificationInput {
    const TOstTable* Designed = nullptr;
    const TOstTable* Working = nullptr;
    bool NewTable = false;
    QString EncryptionKey;
    QString StoredKeyFields; // key column names joined with ";"
    QString KeyFields;
};

// Fills list with every difference, groups in the dialog's order; returns
// whether the table and column collations must be reset to the default (the
// level drops from 6 to below 6).
bool BuildModifications(const TModificationInput& input, TModifications& list);

// "%.0n": a whole number with the locale's thousands separators.
QString FormatThousands(qint64 value);
