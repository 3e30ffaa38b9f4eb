// The Indexes page of the table designer without its widgets: the rows of
// the index list with the engine's statistics of each index, the name check,
// and what Add, Edit and Delete do to the working table's index and fulltext
// index definitions and to the new dictionaries waiting to be created. Every
// edit passes the designer's edit guard first and refreshes its change list
// afterwards (UpdateDirtyFlags).
#pragma once

#include "designer/core/osttabledesignercore.h"

#include <QHash>
#include <QVector>

class TIndexDefinitionCore;
class TCollectionItem;

// One row of the index list; exactly one of Index and Fulltext is set.
struct TIndexListRow {
    enum TIcon { iiPrimary, iiSystem, iiIndex, iiFulltext };
    TIcon Icon = iiIndex;
    QString Caption;     // the name (a fulltext index's without its extension)
    QString Description; // GetIndexDefString
    QString Options;     // "unique", "expression", "unique,expression"
    QString KeySize, PageSize, Capacity; // from the engine; empty where it has none
    TIndexDef* Index = nullptr;
    TOstFulltextIndexDef* Fulltext = nullptr;
    const TCollectionItem* Def() const;
    bool IsSystem() const { return Icon == iiPrimary || Icon == iiSystem || SystemFulltext; }
    bool SystemFulltext = false;
};

class TIndexesPageCore {
public:
    explicit TIndexesPageCore(TOstTableDesignerCore& designer) : m_designer(designer) {}

    // The list: standard indexes in their order, then fulltext indexes. The
    // statistics are those of the stored table (none for a new table), read
    // once per definitions reload.
    QVector<TIndexListRow> Rows();
    // Forgets the statistics read; the next Rows() reads them again.
    void StatisticsChanged() { m_stats.clear(); m_statsRead = false; }

    // def: the definition being named (nullptr for a new one).
    bool IsValidIndexName(const TCollectionItem* def, const QString& name) const;
    QString InvalidIndexNameMessage(const QString& name) const;

    // Prepares the index definition dialog as the page uses it: the working
    // table, no file extension in names, no key lengths.
    void PrepareDialog(TIndexDefinitionCore& dialog) const;
    // Loads a definition into the dialog (with its pending new dictionary).
    void LoadDialog(TIndexDefinitionCore& dialog, const TIndexListRow& row) const;
    // After OK with a valid name: the new definition, its new dictionary registered.
    TCollectionItem* AddIndex(const TIndexDefinitionCore& dialog);
    // After OK on an edit: writes the dialog back when it changed anything;
    // true when it did.
    bool EditIndex(const TIndexListRow& row, const TIndexDefinitionCore& dialog);
    // Deletes the definition of a row (not a system index) with its pending
    // dictionary; false when the row is a system index.
    bool DeleteIndex(const TIndexListRow& row);

private:
    void RegisterDictionary(const TOstFulltextIndexDef& def, const TIndexDefinitionCore& dialog);
    void ReadStatistics();

    TOstTableDesignerCore& m_designer;
    struct TStats {
        QString KeySize, PageSize, Capacity;
    };
    QHash<QString, TStats> m_stats; // by exact index name
    bool m_statsRead = false;
};

namespace IndexPageText {
QString InvalidName();      // level 4 and above, with %1
QString InvalidNameLow();   // below level 4, with %1
} // namespace IndexPageText
