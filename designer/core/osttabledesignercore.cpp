#include "designer/core/osttabledesignercore.h"

#include "designer/core/ostindexpagecore.h"
#include "designer/core/ostindexstrings.h"
#include "designer/core/osttableprops.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "indexdef/core/ostindexdefcore.h"

#include <QScopeGuard>

namespace DesignerText {
QString IndexesModified() { return QStringLiteral("Indexes has been modified. Apply changes before modifiying table structure."); }
QString StructureModified() { return QStringLiteral("Table structure has changed. Apply changes before modifiying indexes."); }
QString MissingTableName() { return QStringLiteral("Missing table name"); }
QString NoChanges() {
    return QStringLiteral("There are no changes to the table properties. If you want to repair the table or its "
                          "indexes, please use the command Table\\Maintain in Ostra Viewer.");
}
QString NoColumns() { return QStringLiteral("Table must contain at least one column"); }
QString LinkTableMissing() { return QStringLiteral("Must define table name for linked table."); }
QString InvalidIndication() {
    return QStringLiteral("The property Indication of the dtAutoInc column contains an invalid value. Please select the "
                          "dtAutoInc column and replace the value with a valid index definition or choose one column "
                          "of the table wich covers the most expected sorting order.");
}
QString CancelChanges() { return QStringLiteral("Do you want to cancel all changes and close the table designer?"); }
QString CapacityRange() { return QStringLiteral("Capacity must be within %1 and %2"); }
QString SystemIndexKept() { return QStringLiteral("Index %1 is kept by the engine: it can be neither changed nor deleted"); }
QString FulltextNeedsLevel4() { return QStringLiteral("Fulltext indexes need table level 4 or higher"); }
} // namespace DesignerText

namespace {

// Installs a progress event on a dataset for a scope and puts the old one back.
class TProgressScope {
public:
    TProgressScope(TOstDataSet& ds, TOstTableDesignerCore& core) : m_ds(ds), m_saved(ds.OnProgress) {
        ds.OnProgress = [&core](QObject* sender, int percent, bool& abort) { core.SetProgress(sender, percent, abort); };
    }
    ~TProgressScope() { m_ds.OnProgress = m_saved; }

private:
    TOstDataSet& m_ds;
    TOstProgressEvent m_saved;
};

// Re-enables the view on every way out.
class TBusyScope {
public:
    explicit TBusyScope(ITableDesignerView* v) : m_view(v) { m_view->SetBusy(true); }
    ~TBusyScope() { m_view->SetBusy(false); }

private:
    ITableDesignerView* m_view;
};

// The definition of exactly this name (names differing in case are different indexes).
template <class Defs> auto FindExact(const Defs& defs, const QString& name) -> decltype(defs[0]) {
    for (auto* d : defs)
        if (d->Name == name) return d;
    return nullptr;
}

bool SameIndex(const TIndexDef& a, const TIndexDef* b) { return b && a.Name == b->Name && CompareIndexDefs(a, *b) == mdNone; }
bool SameFulltext(const TOstFulltextIndexDef& a, const TOstFulltextIndexDef* b) {
    return b && a.Name == b->Name && CompareIndexDefs(a, *b) == mdNone;
}

bool FulltextHolds(const TOstFulltextIndexDef& ft, const QString& column) {
    QStringList fields;
    SplitIntoStringList(fields, ft.Fields, u';', true);
    return fields.contains(column, Qt::CaseInsensitive);
}

} // namespace

TOstTableDesignerCore::TOstTableDesignerCore(ITableDesignerView* view) : m_view(view) {}
TOstTableDesignerCore::~TOstTableDesignerCore() = default;

TOstTable* TOstTableDesignerCore::DesignedTable() const { return qobject_cast<TOstTable*>(m_table.data()); }

TOstFieldDefs& TOstTableDesignerCore::Columns() const { return m_working->GetFieldDefsOst(); }

// ---------------------------------------------------------------- opening

void TOstTableDesignerCore::SetNewTable(bool value) {
    if (value && m_table)
        throw EOstTableDesigner(QStringLiteral("Property NewTable must be set before assigning property Table"));
    m_newTable = value;
}

void TOstTableDesignerCore::SetOstDataset(TOstDataSet* dataSet) {
    if (!dataSet) throw EOstTableDesigner(QStringLiteral("No dataset to design"));
    auto* table = qobject_cast<TOstTable*>(dataSet);
    if (m_newTable && table) {
        table->GetFieldDefsOst().Clear();
        table->IndexDefs().Clear();
        table->FulltextIndexDefs().Clear();
        table->GetIntegrityRules().Clear();
        table->CheckConstraints().Clear();
    }
    m_table = dataSet;
    if (table) {
        m_replacedName = table->GetTableName();
        m_savedIndexName = table->GetIndexName();
        table->SetIndexName(QString());
    } else {
        m_readOnlyView = true;
    }
    SetWorkingTable(dataSet);
}

void TOstTableDesignerCore::SetWorkingTable(TOstDataSet* dataSet) {
    auto* table = qobject_cast<TOstTable*>(dataSet);
    // Start from what is stored, not from what the component holds.
    if (!m_newTable) {
        if (table) table->ReadDefinitions();
        else if (!dataSet->Active()) {
            dataSet->Open();
            dataSet->Close();
        }
    }
    m_working = std::make_unique<TOstTable>(nullptr);
    m_working->SetDatabaseName(dataSet->GetDatabaseName());
    if (table) {
        m_working->SetTableName(table->GetTableName());
        m_working->SetTableLevel(table->GetTableLevel());
        m_working->SetCapacity(table->GetCapacity());
        m_working->SetEncryptionMethod(table->GetEncryptionMethod());
        m_working->SetEncryptionPassword(table->GetEncryptionPassword());
        m_working->SetCollationName(table->GetCollationName());
        m_encryptionKey = table->GetEncryptionPassword();
    } else {
        m_working->SetTableName(dataSet->GetName());
        m_encryptionKey.clear();
    }
    ReadDefinitions();
    m_view->DefinitionsReloaded();
}

void TOstTableDesignerCore::ReadDefinitions() {
    m_working->SetFieldDefsOst(m_table->GetFieldDefsOst());
    if (TOstTable* t = DesignedTable()) {
        AssignIndexDefs(t->IndexDefs(), m_working->IndexDefs());
        m_working->FulltextIndexDefs().Assign(t->FulltextIndexDefs());
        m_working->SetIntegrityRules(t->GetIntegrityRules());
        m_working->SetCheckConstraints(t->CheckConstraints());
        ReadKeyFields(m_storedKeyFields, *t);
    } else {
        m_storedKeyFields.clear();
    }
    ReadKeyFields(m_keyFields, *m_working);
    m_dictionaries.Clear(); // pending dictionaries belong to the definitions they came with
    m_modifications.Clear();
    m_resetCollations = false;
    SetDirtyStructure(false);
    SetDirtyIndexes(false);
}

void TOstTableDesignerCore::WorkingTableReplaced() {
    ReadKeyFields(m_keyFields, *m_working);
    UpdateDirtyFlags();
}

// ---------------------------------------------------------------- the edit guard

bool TOstTableDesignerCore::AllowEditStructure() {
    if (m_newTable || !m_dirtyIndexes) return true;
    Error(DesignerText::IndexesModified());
    return false;
}

bool TOstTableDesignerCore::AllowEditIndexes() {
    if (m_newTable || !m_dirtyStructure) return true;
    Error(DesignerText::StructureModified());
    return false;
}

void TOstTableDesignerCore::SetDirtyStructure(bool value) {
    m_dirtyStructure = value;
    m_view->AllowColumnChanges(m_newTable || !m_dirtyIndexes, m_newTable || !m_dirtyStructure);
}

void TOstTableDesignerCore::SetDirtyIndexes(bool value) {
    m_dirtyIndexes = value;
    m_view->AllowColumnChanges(m_newTable || !m_dirtyIndexes, m_newTable || !m_dirtyStructure);
}

void TOstTableDesignerCore::UpdateDirtyFlags() {
    RefreshModificationsList();
    const TModifications& m = m_modifications;
    SetDirtyStructure(m.DefTypeCount(mtColumn) > 0 || m.DefTypeCount(mtForeignKey) > 0 ||
                      m.DefTypeCount(mtCheckConstraint) > 0 || m_storedKeyFields.join(u';') != m_keyFields.join(u';'));
    SetDirtyIndexes(m.DefTypeCount(mtIndex) > 0 || m.DefTypeCount(mtFulltext) > 0);
}

// ---------------------------------------------------------------- the change list

const TModifications& TOstTableDesignerCore::RefreshModificationsList() {
    m_resetCollations = false;
    m_modifications.Clear();
    TOstTable* t = DesignedTable();
    if (m_readOnlyView || !t || !m_working) return m_modifications;
    TModificationInput in;
    in.Designed = t;
    in.Working = m_working.get();
    in.NewTable = m_newTable;
    in.EncryptionKey = m_encryptionKey;
    in.StoredKeyFields = m_storedKeyFields.join(u';');
    in.KeyFields = m_keyFields.join(u';');
    m_resetCollations = BuildModifications(in, m_modifications);
    return m_modifications;
}

bool TOstTableDesignerCore::NeedRestructure() const {
    const int tableEntries = m_modifications.DefTypeCount(mtTable);
    if (tableEntries > 1) return true;
    if (tableEntries == 1) {
        if (!m_modifications.DefExists(mtTable, mdTableRenamed)) return true;
        if (m_newTable) return true;
    }
    if (m_modifications.DefTypeCount(mtColumn) > 0 || m_modifications.DefTypeCount(mtForeignKey) > 0 ||
        m_modifications.DefTypeCount(mtCheckConstraint) > 0)
        return true;
    return m_storedKeyFields.join(u';') != m_keyFields.join(u';');
}

QString TOstTableDesignerCore::ApplyCost() {
    TOstTable* t = DesignedTable();
    if (m_readOnlyView || !t || !m_working || m_modifications.IsEmpty()) return QString();
    if (m_newTable) return QStringLiteral("Applying creates the table.");
    if (!NeedRestructure()) {
        const bool builds = m_modifications.DefTypeCount(mtIndex) + m_modifications.DefTypeCount(mtFulltext) > 0;
        return builds ? QStringLiteral("Applying copies no rows; indexes that are new are built over the rows.")
                      : QStringLiteral("Applying changes the table in place: no rows are copied.");
    }
    // The table as ApplyTableChanges hands it to the engine, on the same
    // database (by its location: this component belongs to no module).
    TOstTable planned(nullptr);
    TOstDatabase* db = t->GetDatabase();
    planned.SetDatabaseName(db && !db->GetLocation().isEmpty() ? db->GetLocation() : t->GetDatabaseName());
    planned.SetTableName(t->GetTableName());
    try {
        planned.ReadDefinitions();
        CopyToTable(planned);
        if (m_storedKeyFields.join(u';') != m_keyFields.join(u';')) AlignPrimaryIndex(planned);
        QString reason;
        if (planned.CanAlterInPlace(&reason)) return QStringLiteral("Applying changes the table in place: no rows are copied.");
        return QStringLiteral("Applying rebuilds the table, copying every row: %1.").arg(reason);
    } catch (const EOstraError& e) {
        return QStringLiteral("Applying would fail: %1").arg(e.Message());
    }
}

// ---------------------------------------------------------------- columns

QString TOstTableDesignerCore::CalcNewColumnName(const QString& base, int start) const {
    for (int n = start;; ++n) {
        const QString candidate = n == 0 ? base : base + QString::number(n);
        if (Columns().IndexOf(candidate) < 0) return candidate;
    }
}

TOstFieldDef* TOstTableDesignerCore::AddColumn(int position, const QString& name) {
    TOstFieldDefs& cols = Columns();
    position = std::clamp(position, 0, cols.Count());
    TOstFieldDef* def = cols.Add(QString(), dtString, 20);
    def->SetNullable(m_working->GetTableLevel() > 3);
    cols.Move(def->Index(), position);
    def->SetName(name.isEmpty() ? CalcNewColumnName(QStringLiteral("Column"), position + 1) : name);
    return def;
}

void TOstTableDesignerCore::DeleteColumn(int position) {
    TOstFieldDefs& cols = Columns();
    if (position < 0 || position >= cols.Count()) return;
    if (ColumnIsPrimaryIndex(cols[position]->GetName())) RemoveKeyField(cols[position]);
    cols.Delete(position);
}

int TOstTableDesignerCore::MoveColumn(int position, int delta) {
    const int count = Columns().Count();
    if (position < 0 || position >= count || position + delta < 0 || position + delta >= count) return position;
    const int step = delta > 0 ? 1 : -1;
    for (int i = position; i != position + delta; i += step) ExchangeColumn(i, i + step);
    // The key lists its columns in table order.
    if (!m_keyFields.isEmpty()) {
        std::stable_sort(m_keyFields.begin(), m_keyFields.end(), [this](const QString& a, const QString& b) {
            return Columns().IndexOf(a) < Columns().IndexOf(b);
        });
        SetPrimaryKey();
    }
    return position + delta;
}

void TOstTableDesignerCore::ExchangeColumn(int a, int b) {
    if (a == b) return;
    Columns().Move(a, b);
}

bool TOstTableDesignerCore::CheckLinkFields() const {
    for (const TOstFieldDef* d : Columns())
        if (IsLinkType(d->GetDataTypeOst()) && d->GetSpec().trimmed().isEmpty()) return false;
    return true;
}

void TOstTableDesignerCore::ColumnRenamed(const QString& oldName, const QString& newName) {
    if (oldName == newName) return;
    const qsizetype i = m_keyFields.indexOf(oldName);
    if (i < 0) return;
    m_keyFields[i] = newName;
    SetPrimaryKey();
}

bool TOstTableDesignerCore::ColumnHasOwnIndex(const TOstFieldDef* def) const {
    if (!def || !m_working) return false;
    for (const TIndexDef* ix : m_working->IndexDefs())
        if (!ix->Options.testFlag(ixExpression) && ix->Fields.compare(def->GetName(), Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

int TOstTableDesignerCore::RemoveColumnIndex(const TOstFieldDef* def) {
    if (!def || !m_working) return 0;
    TIndexDefs& indexes = m_working->IndexDefs();
    int removed = 0;
    for (int i = indexes.Count() - 1; i >= 0; --i) {
        const TIndexDef* ix = indexes[i];
        if (ix->Options.testFlag(ixExpression) || IsSystemIndex(*ix)) continue;
        if (ix->Fields.compare(def->GetName(), Qt::CaseInsensitive) != 0) continue;
        indexes.Delete(i);
        ++removed;
    }
    return removed;
}

bool TOstTableDesignerCore::ColumnInFulltextIndex(const TOstFieldDef* def) const {
    if (!def || !m_working) return false;
    for (const TOstFulltextIndexDef* ft : m_working->FulltextIndexDefs())
        if (FulltextHolds(*ft, def->GetName())) return true;
    return false;
}

TOstFulltextIndexDef* TOstTableDesignerCore::AddColumnToFulltextIndex(const TOstFieldDef* def) {
    if (!def || !m_working || ColumnInFulltextIndex(def)) return nullptr;
    if (!OstLevel::HasFulltext(m_working->GetTableLevel())) throw EOstTableDesigner(DesignerText::FulltextNeedsLevel4());
    TOstFulltextIndexDefs& fulltext = m_working->FulltextIndexDefs();
    for (TOstFulltextIndexDef* ft : fulltext) {
        if (IsSystemIndex(*ft)) continue;
        ft->Fields = ft->Fields.trimmed().isEmpty() ? def->GetName() : ft->Fields + u';' + def->GetName();
        return ft;
    }
    // A new index over the column, named like no other index of the table.
    QString name = QStringLiteral("Fulltext");
    for (int n = 2; m_working->IndexDefs().IndexOf(name) >= 0 || fulltext.IndexOf(name) >= 0; ++n)
        name = QStringLiteral("Fulltext%1").arg(n);
    TOstFulltextIndexDef* ft = fulltext.Add(name, def->GetName(), QString());
    ft->MinRelevance = DefaultMinRelevance;
    // Its dictionary, named after the table, waits to be created with it.
    QStringList taken;
    if (TOstTable* t = DesignedTable())
        if (TOstDatabase* db = t->GetDatabase()) {
            try {
                db->GetTableNames(taken, false);
            } catch (const EOstraError&) {
                // nothing known to avoid
            }
        }
    for (const TDictionaryItem* item : m_dictionaries) taken.append(item->Name);
    taken.append(m_working->GetTableName());
    const QString base = m_working->GetTableName() + QStringLiteral("Words");
    QString dictionary = base;
    for (int n = 2; taken.contains(dictionary, Qt::CaseInsensitive); ++n) dictionary = base + QString::number(n);
    bool singleFile = false;
    if (TOstTable* t = DesignedTable())
        if (TOstDatabase* db = t->GetDatabase()) singleFile = db->IsSingleFile();
    // The words are as secret as the table: encrypted like it where the layout allows.
    const int method = m_working->GetEncryptionMethod();
    const bool encrypt = !singleFile && EncryptionNeedsPassword(method);
    QString collation = def->GetCollationName().trimmed();
    if (collation.isEmpty() || collation == DefaultCollationEntry()) collation = m_working->GetCollationName().trimmed();
    if (collation.isEmpty()) collation = EngineCollation();
    m_dictionaries.Add(dictionary, ft->ID(), 20, IsWideType(def->GetDataTypeOst()), QString(), collation,
                       encrypt ? method : emDefault, encrypt ? m_encryptionKey : QString());
    return ft;
}

int TOstTableDesignerCore::RemoveColumnFromFulltextIndex(const TOstFieldDef* def) {
    if (!def || !m_working) return 0;
    TOstFulltextIndexDefs& fulltext = m_working->FulltextIndexDefs();
    int changed = 0;
    for (int i = fulltext.Count() - 1; i >= 0; --i) {
        TOstFulltextIndexDef* ft = fulltext[i];
        if (IsSystemIndex(*ft) || !FulltextHolds(*ft, def->GetName())) continue;
        QStringList fields;
        SplitIntoStringList(fields, ft->Fields, u';', true);
        fields.removeIf([&](const QString& f) { return f.compare(def->GetName(), Qt::CaseInsensitive) == 0 || f.isEmpty(); });
        ++changed;
        if (!fields.isEmpty()) {
            ft->Fields = JoinStringList(fields, u';');
            continue;
        }
        if (ft->Dictionary.trimmed().isEmpty()) m_dictionaries.DeleteDictionaryEntry(ft->ID());
        fulltext.Delete(i);
    }
    return changed;
}

TIndexDef* TOstTableDesignerCore::AddColumnIndex(const TOstFieldDef* def) {
    if (!def || ColumnHasOwnIndex(def)) return nullptr;
    TIndexDefs& indexes = m_working->IndexDefs();
    QString name = def->GetName();
    for (int n = 2; indexes.IndexOf(name) >= 0 || IsSystemIndex(name, false); ++n)
        name = QStringLiteral("By%1%2").arg(def->GetName()).arg(n == 2 ? QString() : QString::number(n));
    return indexes.Add(name, def->GetName(), TIndexOptions());
}

// ---------------------------------------------------------------- the primary key

void TOstTableDesignerCore::ToggleKeyField(const TOstFieldDef* def) {
    if (!def) return;
    if (ColumnIsPrimaryIndex(def->GetName())) RemoveKeyField(def);
    else AddKeyField(def);
}

void TOstTableDesignerCore::AddKeyField(const TOstFieldDef* def) {
    const int position = def->Index();
    qsizetype at = m_keyFields.size();
    for (qsizetype i = 0; i < m_keyFields.size(); ++i)
        if (Columns().IndexOf(m_keyFields[i]) > position) {
            at = i;
            break;
        }
    m_keyFields.insert(at, def->GetName());
    SetPrimaryKey();
}

void TOstTableDesignerCore::RemoveKeyField(const TOstFieldDef* def) {
    m_keyFields.removeAll(def->GetName());
    SetPrimaryKey();
}

void TOstTableDesignerCore::SetPrimaryKey() {
    TIndexDef* primary = GetPrimaryIndex(*m_working);
    if (m_keyFields.isEmpty()) {
        if (primary) m_working->IndexDefs().Delete(primary->Index());
        return;
    }
    if (!primary) primary = m_working->IndexDefs().Add(QStringLiteral("sys_primary"), QString(), ixPrimary | ixUnique);
    primary->Fields = JoinStringList(m_keyFields, u';');
}

void TOstTableDesignerCore::ReadKeyFields(QStringList& list, TOstTable& table) {
    list.clear();
    if (const TIndexDef* primary = GetPrimaryIndex(table)) SplitIntoStringList(list, primary->Fields, u';', true);
}

TIndexDef* TOstTableDesignerCore::GetPrimaryIndex(TOstTable& table) { return table.IndexDefs().GetPrimary(); }

// ---------------------------------------------------------------- applying

bool TOstTableDesignerCore::Apply() {
    if (m_readOnlyView || !DesignedTable()) return false;
    // The progress of an apply lets input through; a second Apply meanwhile is none.
    if (m_applying) return false;
    m_applying = true;
    const auto done = qScopeGuard([this] { m_applying = false; });
    TOstTable& table = *DesignedTable();
    if (m_working->GetTableName().trimmed().isEmpty()) {
        Error(DesignerText::MissingTableName());
        m_view->FocusTableName();
        return false;
    }
    if (!EncryptionNeedsPassword(m_working->GetEncryptionMethod())) {
        m_encryptionKey.clear();
    } else if (m_newTable && m_encryptionKey.trimmed().isEmpty()) {
        m_encryptionKey = m_view->GetEncryptionKey(m_working->GetEncryptionMethod());
        if (m_encryptionKey.trimmed().isEmpty()) return false;
    }
    if (RefreshModificationsList().IsEmpty()) {
        m_view->ShowInfoMsg(DesignerText::NoChanges());
        return false;
    }
    // What the list shows is what is applied: an index change the engine
    // would not carry out is refused before it is offered.
    if (const QString refusal = IndexChangesRefusal(); !refusal.isEmpty()) {
        Error(refusal);
        return false;
    }
    if (!m_view->ConfirmModifications(m_modifications)) return false;

    const bool restructure = NeedRestructure();
    const bool indexFirst = m_newTable || !restructure;
    const bool hasIndexChanges = m_modifications.DefTypeCount(mtIndex) + m_modifications.DefTypeCount(mtFulltext) > 0;
    if (indexFirst && !ApplyIndexChanges(0)) return false;
    // A rename is done on its own before the restructure; when the
    // restructure then fails, the table keeps its new name and its old
    // structure, and the edits stay in the designer for another Apply.
    if (m_working->GetTableName() != table.GetTableName()) {
        if (m_newTable) {
            table.SetTableName(m_working->GetTableName());
        } else if (!RenameDesignedTable(table, m_working->GetTableName())) {
            return false;
        }
    }
    if (!ApplyTableChanges()) return false;
    if (hasIndexChanges) {
        if (restructure && !ApplyIndexChanges(0)) return false;
        if (!ApplyIndexChanges(1)) return false;
    }
    try {
        table.Close();
        table.Open();
    } catch (const EOstraError& e) {
        Error(e.Message());
        return false;
    }
    SetWorkingTable(&table);
    m_changesApplied = true;
    return true;
}

QString TOstTableDesignerCore::IndexChangesRefusal() {
    if (!m_working) return QString();
    const int level = m_working->GetTableLevel();
    for (const TModification& m : m_modifications) {
        if (m.Kind != mtIndex) continue;
        // The engine's own indexes are never dropped or changed here, and a
        // name it keeps for itself is never given to a new one.
        if (m.Detail != mdIndexAdded && IsSystemIndex(m.OldName, false)) return DesignerText::SystemIndexKept().arg(m.OldName);
        if (m.Detail != mdIndexDeleted && IsSystemIndex(m.Name, false))
            return (level >= 4 ? IndexPageText::InvalidName() : IndexPageText::InvalidNameLow()).arg(m.Name);
    }
    return QString();
}

bool TOstTableDesignerCore::RenameDesignedTable(TOstTable& table, const QString& newName) {
    const bool wasActive = table.Active();
    try {
        table.Close();
        table.RenameTable(newName);
        table.SetTableName(newName);
        table.Open();
        return true;
    } catch (const EOstraError& e) {
        Error(e.Message());
        // A refused rename leaves the component as it was, open when it was open.
        if (wasActive && !table.Active()) {
            try {
                table.Open();
            } catch (const EOstraError& reopen) {
                Error(reopen.Message());
            }
        }
        return false;
    }
}

QString TOstTableDesignerCore::DefaultIndication() const {
    if (!m_working) return QString();
    if (!m_keyFields.isEmpty()) return m_keyFields.join(u';');
    for (const TIndexDef* ix : m_working->IndexDefs())
        if (ix->Options.testFlag(ixUnique) && !ix->Options.testFlag(ixExpression) && !ix->Fields.trimmed().isEmpty())
            return ix->Fields;
    return QString();
}

bool TOstTableDesignerCore::EncryptionMethodChosen(int method) {
    if (!m_working) return false;
    const int previous = m_working->GetEncryptionMethod();
    if (method == previous) return true;
    if (!EncryptionNeedsPassword(method)) {
        m_working->SetEncryptionMethod(method);
        m_encryptionKey.clear();
        return true;
    }
    const QString key = m_view->GetEncryptionKey(method);
    if (key.trimmed().isEmpty()) return false; // cancelled: the method stays as it was
    m_working->SetEncryptionMethod(method);
    m_encryptionKey = key;
    return true;
}

void TOstTableDesignerCore::CopyToTable(TOstTable& t) {
    t.SetTableLevel(m_working->GetTableLevel());
    t.SetEncryptionMethod(m_working->GetEncryptionMethod());
    t.SetEncryptionPassword(m_encryptionKey);
    t.SetCollationName(m_working->GetCollationName());
    TOstFieldDefs defs;
    defs.Assign(m_working->GetFieldDefsOst());
    if (m_resetCollations) {
        t.SetCollationName(EngineCollation());
        for (TOstFieldDef* d : defs)
            if (IsCollatedType(d->GetDataTypeOst())) d->SetSpec(QString());
    }
    t.SetFieldDefsOst(defs);
    t.SetCapacity(m_working->GetCapacity());
    t.SetIntegrityRules(m_working->GetIntegrityRules());
    t.SetCheckConstraints(m_working->CheckConstraints());
}

void TOstTableDesignerCore::AlignPrimaryIndex(TOstTable& t) {
    TIndexDef* before = GetPrimaryIndex(t);
    const TIndexDef* now = GetPrimaryIndex(*m_working);
    if (!before && now) AssignIndexDef(*now, *t.IndexDefs().Add());
    else if (before && now) before->Fields = now->Fields;
    else if (before && !now) t.IndexDefs().Delete(before->Index());
}

bool TOstTableDesignerCore::ApplyTableChanges() {
    TOstTable& t = *DesignedTable();
    if (Columns().Count() == 0) {
        Error(DesignerText::NoColumns());
        return false;
    }
    if (!NeedRestructure()) return true;
    if (!CheckLinkFields()) {
        Error(DesignerText::LinkTableMissing());
        return false;
    }
    try {
        TBusyScope busy(m_view);
        bool wasActive = false;
        if (m_newTable) {
            t.GetFieldDefsOst().Clear();
        } else {
            wasActive = t.Active();
            t.Open();
        }
        CopyToTable(t);
        if (m_newTable) {
            AssignIndexDefs(m_working->IndexDefs(), t.IndexDefs());
            t.FulltextIndexDefs().Clear();
            if (m_replaceExisting && t.GetTableName().compare(m_replacedName, Qt::CaseInsensitive) == 0 && t.Exists()) {
                TOstTable existing(nullptr);
                existing.SetDatabaseName(t.GetDatabaseName());
                existing.SetTableName(t.GetTableName());
                existing.DeleteTable();
            }
            t.CreateTable();
            m_newTable = false;
        } else {
            TProgressScope progress(t, *this);
            m_view->SetStatusText(QStringLiteral("Restructuring ..."));
            try {
                if (m_storedKeyFields.join(u';') != m_keyFields.join(u';')) AlignPrimaryIndex(t);
                t.AlterTable();
                m_view->SetStatusText(QStringLiteral("Restructuring Done"));
            } catch (...) {
                if (wasActive && !t.Active()) t.Open();
                else if (!wasActive && t.Active()) t.Close();
                m_view->SetStatusText(QStringLiteral("Restructuring Error"));
                throw;
            }
            if (wasActive && !t.Active()) t.Open();
            else if (!wasActive && t.Active()) t.Close();
            m_view->SetStatusText(QStringLiteral("Restructuring Error"));
        }
        return true;
    } catch (const EOstraError& e) {
        // The component goes back to what is stored; the edits stay in the working table.
        if (!m_newTable) {
            try {
                t.ReadDefinitions();
            } catch (const EOstraError&) {
                // the component keeps the definitions it was given
            }
        }
        if (e.ErrorCode() == OstErr::InvalidIndication) {
            Error(DesignerText::InvalidIndication());
            QList<int> autoInc;
            for (const TOstFieldDef* d : Columns())
                if (d->GetDataTypeOst() == dtAutoInc) autoInc.append(d->Index());
            m_view->SelectColumns(autoInc);
        } else {
            Error(e.Message());
        }
        return false;
    }
}

bool TOstTableDesignerCore::ApplyIndexChanges(int phase) {
    TOstTable& t = *DesignedTable();
    if (phase != 0 && phase != 1) return true;
    // The progress event lets input through: pages and buttons take none meanwhile.
    TBusyScope busy(m_view);
    TProgressScope progress(t, *this);
    // An open table would read its records again after each index; it is
    // opened once when the apply is through (or when this phase fails).
    const bool wasActive = t.Active();
    auto closeForIndexes = [&] {
        if (t.Active()) t.Close();
    };
    try {
        if (phase == 0) {
            QStringList gone;
            for (const TIndexDef* ix : t.IndexDefs())
                if (!IsSystemIndex(*ix) && !SameIndex(*ix, FindExact(m_working->IndexDefs(), ix->Name))) gone.append(ix->Name);
            if (!gone.isEmpty()) closeForIndexes();
            for (const QString& name : gone) t.DeleteIndex(name);
            QStringList goneFulltext;
            for (const TOstFulltextIndexDef* ft : t.FulltextIndexDefs())
                if (!SameFulltext(*ft, FindExact(m_working->FulltextIndexDefs(), ft->Name))) goneFulltext.append(ft->Name);
            for (const QString& name : goneFulltext) t.DeleteFulltextIndex(name);
        } else {
            for (const TIndexDef* ix : m_working->IndexDefs()) {
                if (IsSystemIndex(*ix) || SameIndex(*ix, FindExact(t.IndexDefs(), ix->Name))) continue;
                closeForIndexes();
                m_view->SetStatusText(QStringLiteral("Creating index %1 ...").arg(ix->Name));
                const bool expression = ix->Options.testFlag(ixExpression) && !ix->Expression.isEmpty();
                t.AddIndex(ix->Name, expression ? ix->Expression : ix->Fields, ix->Options, ix->DescFields,
                           OstLevel::CapacityPerTable(t.GetTableLevel()) ? 0 : ix->Capacity);
            }
            for (const TOstFulltextIndexDef* ft : m_working->FulltextIndexDefs()) {
                if (SameFulltext(*ft, FindExact(t.FulltextIndexDefs(), ft->Name))) continue;
                m_view->SetStatusText(QStringLiteral("Creating index %1 ...").arg(ft->Name));
                ApplyFulltextIndex(t, *ft);
            }
        }
        return true;
    } catch (const EOstraError& e) {
        if (wasActive && !t.Active()) {
            try {
                t.Open();
            } catch (const EOstraError&) {
                // the error below says what went wrong
            }
        }
        Error(e.Message());
        return false;
    }
}

bool TOstTableDesignerCore::ApplyFulltextIndex(TOstTable& t, const TOstFulltextIndexDef& ft) {
    if (!t.Active()) t.Open();
    QString dictionary = ft.Dictionary.trimmed();
    bool created = false;
    if (dictionary.isEmpty()) {
        if (const TDictionaryItem* item = m_dictionaries.FindDictionaryEntry(ft.ID())) {
            CreateDictionaryTable(t.GetDatabaseName(), m_working->GetTableLevel(), *item);
            dictionary = item->Name.trimmed();
            created = true;
        }
    }
    // The engine takes the rest of the definition (minimum relevance) from the component.
    const int held = t.FulltextIndexDefs().IndexOf(ft.Name);
    TOstFulltextIndexDef before;
    if (held >= 0) before.Assign(*t.FulltextIndexDefs()[held]);
    TOstFulltextIndexDef* copy = held < 0 ? t.FulltextIndexDefs().Add() : t.FulltextIndexDefs()[held];
    copy->Assign(ft);
    copy->Dictionary = dictionary;
    try {
        t.AddFulltextIndex2(ft.Name, ft.Fields, dictionary, ft.Separators);
    } catch (const EOstraError&) {
        // The component holds what is stored again.
        if (held < 0) t.FulltextIndexDefs().Delete(copy->Index());
        else t.FulltextIndexDefs()[held]->Assign(before);
        // A dictionary made for this index alone goes with it.
        if (created) {
            try {
                TOstTable made(nullptr);
                made.SetDatabaseName(t.GetDatabaseName());
                made.SetTableName(dictionary);
                made.DeleteTable();
            } catch (const EOstraError&) {
                // it stays as an empty table
            }
        }
        throw;
    }
    return true;
}

void TOstTableDesignerCore::SetProgress(QObject* sender, int percent, bool& abort) {
    Q_UNUSED(sender)
    Q_UNUSED(abort) // a restructure cannot be cancelled from the designer
    m_view->SetProgress(static_cast<quint8>(std::clamp(percent, 0, 255)));
}

// ---------------------------------------------------------------- closing

bool TOstTableDesignerCore::CloseQuery() {
    if (!DesignedTable()) return true;
    if (RefreshModificationsList().IsEmpty()) return true;
    return m_view->GetQuestionResult(DesignerText::CancelChanges()) == ITableDesignerView::Yes;
}

void TOstTableDesignerCore::RestoreIndexName() {
    TOstTable* t = DesignedTable();
    if (!t || m_savedIndexName.isEmpty() || t->IndexDefs().IndexOf(m_savedIndexName) < 0) return;
    try {
        t->SetIndexName(m_savedIndexName);
    } catch (const EOstraError&) {
        // an index the engine no longer finds stays unselected
    }
}
