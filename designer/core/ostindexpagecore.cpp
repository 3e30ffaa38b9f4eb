#include "designer/core/ostindexpagecore.h"

#include "designer/core/ostindexstrings.h"
#include "engine/ostdataset.h"
#include "indexdef/core/ostdictionaries.h"
#include "indexdef/core/ostindexdefcore.h"

namespace IndexPageText {
QString InvalidName() {
    return QStringLiteral("Index %1 already exists or contains invalid characters. Index name must not start with sys or tmp.");
}
QString InvalidNameLow() { return QStringLiteral("Index %1 already exists or contains invalid characters."); }
} // namespace IndexPageText

namespace {

QString WithoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot < 0 ? name : name.left(dot);
}

QString OptionsText(const TIndexDef& def) {
    QStringList options;
    if (def.Options.testFlag(ixUnique)) options.append(QStringLiteral("unique"));
    if (def.Options.testFlag(ixExpression)) options.append(QStringLiteral("expression"));
    return options.join(u',');
}

} // namespace

const TCollectionItem* TIndexListRow::Def() const {
    return Index ? static_cast<const TCollectionItem*>(Index) : static_cast<const TCollectionItem*>(Fulltext);
}

// ---------------------------------------------------------------- the list

void TIndexesPageCore::ReadStatistics() {
    m_stats.clear();
    m_statsRead = true;
    TOstTable* table = m_designer.DesignedTable();
    if (!table || m_designer.NewTable()) return;
    TOstDatabase* db = table->GetDatabase();
    if (!db) return;
    const uint16_t relation = OstSessFindRltnHdl(db->SessionHandle(), table->GetTableName());
    if (relation == 0) return;
    for (const TIndexDef* ix : table->IndexDefs()) {
        TOstIndexInfoBlock info;
        // An index the engine does not find (yet) shows no figures.
        if (OstIndexGetInfo(relation, ix->Name, info) != 0) continue;
        m_stats.insert(ix->Name, {QString::number(info.KeySize), QString::number(info.PageSize), QString::number(info.Capacity)});
    }
}

QVector<TIndexListRow> TIndexesPageCore::Rows() {
    QVector<TIndexListRow> rows;
    TOstTable* working = m_designer.WorkingTable();
    if (!working || !m_designer.Table()) return rows;
    if (!m_statsRead) ReadStatistics();
    const int level = working->GetTableLevel();
    for (TIndexDef* ix : working->IndexDefs()) {
        TIndexListRow row;
        row.Index = ix;
        row.Caption = ix->Name;
        row.Icon = ix->Options.testFlag(ixPrimary) ? TIndexListRow::iiPrimary
                   : IsSystemIndex(*ix, level)      ? TIndexListRow::iiSystem
                                                    : TIndexListRow::iiIndex;
        row.Description = GetIndexDefString(*ix);
        row.Options = OptionsText(*ix);
        // The figures belong to the stored index: an index edited but not applied yet has none.
        const TIndexDef* stored = m_designer.DesignedTable() ? m_designer.DesignedTable()->IndexDefs().Find(ix->Name) : nullptr;
        if (stored && stored->Name == ix->Name && stored->SameAs(*ix)) {
            const TStats s = m_stats.value(ix->Name);
            row.KeySize = s.KeySize;
            row.PageSize = s.PageSize;
            row.Capacity = s.Capacity;
        }
        rows.append(row);
    }
    for (TOstFulltextIndexDef* ft : working->FulltextIndexDefs()) {
        TIndexListRow row;
        row.Fulltext = ft;
        row.Caption = WithoutExtension(ft->Name);
        row.Icon = TIndexListRow::iiFulltext;
        row.SystemFulltext = IsSystemIndex(*ft, level);
        row.Description = GetIndexDefString(*ft);
        rows.append(row);
    }
    return rows;
}

// ---------------------------------------------------------------- the name

bool TIndexesPageCore::IsValidIndexName(const TCollectionItem* def, const QString& name) const {
    const TOstTable* working = m_designer.WorkingTable();
    if (!working) return false;
    // Characters the engine refuses in any index name.
    if (name.trimmed().isEmpty() || name.contains(u'"') || name.contains(u'/') || name.contains(u'\\') ||
        name.contains(QChar(0)))
        return false;
    for (const TIndexDef* ix : const_cast<TOstTable*>(working)->IndexDefs())
        if (ix != def && ix->Name == name) return false;
    for (const TOstFulltextIndexDef* ft : const_cast<TOstTable*>(working)->FulltextIndexDefs())
        if (ft != def && ft->Name == name) return false;
    if (working->GetTableLevel() >= 4) {
        const QString upper = name.toUpper();
        return !upper.startsWith(QStringLiteral("SYS_")) && !upper.startsWith(QStringLiteral("TMP"));
    }
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot < 0 || name.mid(dot).compare(QStringLiteral(".ind"), Qt::CaseInsensitive) == 0;
}

QString TIndexesPageCore::InvalidIndexNameMessage(const QString& name) const {
    const TOstTable* working = m_designer.WorkingTable();
    return (working && working->GetTableLevel() >= 4 ? IndexPageText::InvalidName() : IndexPageText::InvalidNameLow()).arg(name);
}

// ---------------------------------------------------------------- add, edit, delete

void TIndexesPageCore::PrepareDialog(TIndexDefinitionCore& dialog) const {
    dialog.SetTable(m_designer.WorkingTable());
    dialog.SetAllowFileExt(false);
    dialog.SetEditableStringLength(false);
}

void TIndexesPageCore::LoadDialog(TIndexDefinitionCore& dialog, const TIndexListRow& row) const {
    if (row.Index) {
        dialog.ModifyIndexDef(row.Index);
    } else if (row.Fulltext) {
        dialog.ModifyIndexDef(row.Fulltext);
        if (row.Fulltext->Dictionary.trimmed().isEmpty())
            dialog.SetPendingDictionary(m_designer.Dictionaries().FindDictionaryEntry(row.Fulltext->ID()));
    }
}

void TIndexesPageCore::RegisterDictionary(const TOstFulltextIndexDef& def, const TIndexDefinitionCore& dialog) {
    TDictionaries& dictionaries = m_designer.Dictionaries();
    // One entry per index: an edit replaces the settings it had.
    dictionaries.DeleteDictionaryEntry(def.ID());
    if (!def.Dictionary.trimmed().isEmpty() || !dialog.NewDictionaryChosen()) return;
    dictionaries.Add(dialog.NewDictionaryName.trimmed(), def.ID(), dialog.MaxKeywordLength,
                     dialog.GetIndexHasWidestring(ifFulltext), dialog.GetFulltextSeparators(), dialog.GetDictionaryCollation(),
                     dialog.GetDictionaryEncryption(), dialog.GetDictionaryEncryptionKey());
}

TCollectionItem* TIndexesPageCore::AddIndex(const TIndexDefinitionCore& dialog) {
    TOstTable* working = m_designer.WorkingTable();
    if (dialog.IsFulltextIndex()) {
        TOstFulltextIndexDef* def = working->FulltextIndexDefs().Add();
        dialog.UpdateIndexDef(*def);
        RegisterDictionary(*def, dialog);
        return def;
    }
    TIndexDef* def = working->IndexDefs().Add();
    dialog.UpdateIndexDef(*def);
    return def;
}

bool TIndexesPageCore::EditIndex(const TIndexListRow& row, const TIndexDefinitionCore& dialog) {
    if (row.IsSystem() || !dialog.CheckIndexDefinitionModified()) return false;
    if (row.Index) {
        dialog.UpdateIndexDef(*row.Index);
    } else if (row.Fulltext) {
        dialog.UpdateIndexDef(*row.Fulltext);
        RegisterDictionary(*row.Fulltext, dialog);
    }
    return true;
}

bool TIndexesPageCore::DeleteIndex(const TIndexListRow& row) {
    if (row.IsSystem()) return false;
    TOstTable* working = m_designer.WorkingTable();
    if (row.Index) {
        working->IndexDefs().Delete(row.Index->Index());
    } else if (row.Fulltext) {
        if (row.Fulltext->Dictionary.trimmed().isEmpty()) m_designer.Dictionaries().DeleteDictionaryEntry(row.Fulltext->ID());
        working->FulltextIndexDefs().Delete(row.Fulltext->Index());
    } else {
        return false;
    }
    return true;
}
