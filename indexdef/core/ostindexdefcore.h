// The index definition dialog without its window: which columns it offers,
// the key columns chosen for a hierarchical index, the expression of a
// calculated index, the columns, dictionary and new-dictionary settings of a
// fulltext index, the checks made when the user presses OK, and the
// conversion from and to the definitions the table designer keeps. The form
// (TIndexDefinition) shows this state and hands every edit to it.
#pragma once

#include "engine/base/tcollection.h"

#include <QString>
#include <QStringList>
#include <QVector>

class TIndexDef;
class TOstFulltextIndexDef;
class TOstTable;
class TDictionaryItem;

// One key column of a hierarchical index.
class TIndexDescription : public TCollectionItem {
public:
    QString FieldName;
    int Length = 0;  // leading characters of a string column that form the key; 0 = all
    bool Ascending = true;
};

class TIndexDescriptions : public TTypedCollection<TIndexDescription> {
public:
    TIndexDescription* Add(const QString& fieldName, int length, bool ascending);
    using TTypedCollection<TIndexDescription>::Add;
    TIndexDescription* GetIndexDescription(int i) const { return Items(i); }
    void SetIndexDescription(int i, const TIndexDescription& d);
};

// The minimum relevance a new fulltext index starts with.
constexpr int DefaultMinRelevance = 50;

enum TIndexKind { ikHierarchical = 0, ikCalculated = 1, ikFulltext = 2 };

// Kinds of GetIndexFields.
enum TIndexFieldsKind { ifAll = 0, ifDescending = 1, ifFulltext = 2 };

class TIndexDefinitionCore {
public:
    TIndexDefinitionCore();
    TIndexDefinitionCore(const TIndexDefinitionCore&) = delete;
    TIndexDefinitionCore& operator=(const TIndexDefinitionCore&) = delete;

    // ---- preparing
    // Must come first: the offered columns, the level-dependent settings, the
    // dictionary and encryption lists. The table is not owned.
    void SetTable(TOstTable* table);
    TOstTable* Table() const { return m_table; }
    int TableLevel() const { return m_level; }
    void SetAllowFileExt(bool allow) { m_allowFileExt = allow; }
    bool AllowFileExt() const { return m_allowFileExt; }
    // The name typed with a "." taken out when file extensions are not allowed.
    QString FilterIndexName(const QString& text) const;
    // Loads a definition for editing. Failure (Exception) "No IndexDef given" for none.
    void ModifyIndexDef(const TIndexDef* def);
    void ModifyIndexDef(const TOstFulltextIndexDef* def);
    // An edited fulltext index's pending new dictionary: its settings are shown again.
    void SetPendingDictionary(const TDictionaryItem* item);

    // ---- reading the result
    void UpdateIndexDef(TIndexDef& def) const;
    void UpdateIndexDef(TOstFulltextIndexDef& def) const;
    bool CheckIndexDefinitionModified() const;
    bool IsCalculatedIndex() const { return Kind == ikCalculated; }
    bool IsFulltextIndex() const { return Kind == ikFulltext; }
    QString GetIndexFields(int kind) const;
    // The capacity text as a number; 0 when it is none.
    int GetCapacity() const;
    QString GetFulltextSeparators() const;
    bool GetIndexHasWidestring(int kind) const;
    QString GetDictionaryCollation() const;
    int GetDictionaryEncryption() const { return m_dictionaryEncryption; }
    QString GetDictionaryEncryptionKey() const { return DictionaryKey; }
    // The chosen existing dictionary, or the new dictionary's trimmed name.
    QString DictionaryTableName() const;
    bool NewDictionaryChosen() const { return DictionaryIndex == 1; }

    // ---- column look-ups (an entry may carry a length: "Name:10")
    static QString GetFieldName(const QString& entry);
    int GetFieldLen(const QString& entry) const;
    int GetFieldDataType(const QString& entry) const; // -1 for an unknown column
    bool IsStringField(const QString& entry) const;

    // ---- the General page
    QString IndexName;
    TIndexKind Kind = ikHierarchical;
    bool Unique = false;
    bool UniqueEnabled() const { return Kind != ikFulltext; }
    // The pages to show: one of the three kinds, and "Advanced" below level 4.
    bool AdvancedVisible() const { return m_level < 4; }
    bool FulltextAvailable() const { return m_level >= 4; }
    // Whether a kind may be chosen: fulltext from level 4 on; an index being
    // edited keeps to standard or fulltext.
    bool KindEnabled(TIndexKind kind) const;

    // ---- the Hierarchical page
    const QStringList& AvailableColumns() const { return m_available; }
    TIndexDescriptions& Keys() { return m_keys; }
    const TIndexDescriptions& Keys() const { return m_keys; }
    // The key list's rows: "1. Name, ascending", "2. City:10, descending".
    QStringList KeyTexts() const;
    QString KeyText(int position) const;
    // Inserting takes an offered column into the key (ascending, whole
    // column); deleting gives it back to the offered ones in table order.
    // Each returns the key position to select afterwards (-1: none).
    int InsertColumn(const QString& column);
    int DeleteKey(int position);
    void DeleteAllKeys();
    int MoveKey(int position, int delta);
    void SetAscending(int position, bool ascending);
    void SetLength(int position, int length);
    // Whether the key lengths of string columns are offered ("Length").
    void SetEditableStringLength(bool editable) { m_editableLength = editable; }
    bool EditableStringLength() const { return m_editableLength; }

    // ---- the Calculated page
    QString Expression;
    int ExpressionMaxLength() const;
    QString ExpressionHint() const;

    // ---- the Fulltext page
    struct TFulltextColumn {
        QString Name;
        bool Checked = false;
    };
    QVector<TFulltextColumn> FulltextColumns;
    void SetChecked(const QString& column, bool checked);
    int MinRelevance = DefaultMinRelevance;
    QStringList DictionaryItems;  // "", "(New Dictionary)", then the tables
    int DictionaryIndex = 0;
    QString Separators;
    bool SeparatorsVisible() const { return m_level >= 6; }

    // ---- the new dictionary
    QString NewDictionaryName;
    int MaxKeywordLength = 20;
    QStringList EncryptionItems;
    int EncryptionIndex = 0;
    QString DictionaryKey;
    // The controls of the new dictionary take input while "(New Dictionary)" is chosen.
    bool NewDictionaryBoxEnabled() const { return NewDictionaryChosen(); }
    // The chosen encryption method becomes the dictionary's; "Pwd" is offered
    // from "Protection" on.
    void DicEncryptionTypComboBoxChange(int index);
    bool EncryptionKeyEnabled() const;

    // ---- the Advanced page (below level 4)
    QString CapacityText;
    static QStringList CapacityChoices();

    // The messages of the checks OK makes, in their order; none: the dialog may close.
    QStringList Validate() const;

private:
    const class TOstFieldDef* FindColumn(const QString& entry) const;
    void ResetAvailable();
    QString LoadedNameBase() const;

    TOstTable* m_table = nullptr;
    int m_level = 6;
    bool m_allowFileExt = true;
    bool m_editableLength = true;
    QStringList m_hierarchicalColumns; // every column offered, in table order
    QStringList m_available;
    TIndexDescriptions m_keys;
    int m_dictionaryEncryption = 0;
    QString m_tableName;

    // What ModifyIndexDef loaded.
    bool m_loaded = false;
    QString m_loadedName, m_loadedFields, m_loadedDescFields, m_loadedFulltextFields, m_loadedDictionary;
    QString m_loadedSeparators, m_loadedExpression;
    TIndexKind m_loadedKind = ikHierarchical;
    bool m_loadedUnique = false;
    int m_loadedMinRelevance = 0;
    QString m_loadedCapacity;
};

// The texts of the dialog.
namespace IndexDefText {
QString NewDictionary();     // "(New Dictionary)"
QString NameMissing();
QString ColumnsMissing();
QString ExpressionMissing();
QString FulltextColumnsMissing();
QString DictionaryNotSelected();
QString DictionaryExists();  // with %1
QString DictionaryNameMissing();
QString DictionaryPasswordMissing();
QString CapacityInvalid();
QString ErrorCaption();      // "Index Definition Error"
QString EditableStringLengthTooLate();
} // namespace IndexDefText
