// The table designer without its window: the designed dataset, the private
// working table holding every edit, the two dirty flags that keep structure
// and index edits apart, the key columns, the change list, and the apply
// sequence that pushes the edits to the engine. What needs a person (message
// boxes, the confirmation, the password) or shows progress goes through
// ITableDesignerView, which the form and the command line implement.
#pragma once

#include "designer/core/ostmodifications.h"
#include "engine/ostdataset.h"
#include "indexdef/core/ostdictionaries.h"
#include "engine/base/sysutils.h"

#include <QList>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <memory>


// A refused edit inside the designer.
class EOstTableDesigner : public Exception {
public:
    using Exception::Exception;
};

class ITableDesignerView {
public:
    enum TAnswer { Yes, No };
    virtual ~ITableDesignerView() = default;
    virtual void ShowErrorMsg(const QString& text) = 0;
    virtual void ShowInfoMsg(const QString& text) = 0;
    virtual TAnswer GetQuestionResult(const QString& text) = 0;
    // Shows the change list; true when the user confirmed it.
    virtual bool ConfirmModifications(const TModifications& list) = 0;
    // Asks for the password (and key) of an encryption method; empty when cancelled.
    virtual QString GetEncryptionKey(int method) = 0;
    // Restructure progress, 0 to 100; the view repaints before returning.
    virtual void SetProgress(int percent) = 0;
    virtual void SetStatusText(const QString& text) = 0;
    // While busy, pages and buttons take no input.
    virtual void SetBusy(bool busy) { Q_UNUSED(busy) }
    virtual void FocusTableName() {}
    // After an invalid record-id indication: select these columns on the General page.
    virtual void SelectColumns(const QList<int>& positions) { Q_UNUSED(positions) }
    // The working table was made anew: every page shows it again.
    virtual void DefinitionsReloaded() {}
    // Which column properties may change: structural ones, index-related ones.
    virtual void AllowColumnChanges(bool fieldChange, bool indexChange) { Q_UNUSED(fieldChange) Q_UNUSED(indexChange) }
};

class TOstTableDesignerCore {
public:
    explicit TOstTableDesignerCore(ITableDesignerView* view);
    ~TOstTableDesignerCore();
    TOstTableDesignerCore(const TOstTableDesignerCore&) = delete;
    TOstTableDesignerCore& operator=(const TOstTableDesignerCore&) = delete;

    // ---- opening
    // Must come before SetOstDataset; EOstTableDesigner afterwards.
    void SetNewTable(bool value);
    bool NewTable() const { return m_newTable; }
    // A new table may take the place of a stored table of the same name (the
    // user agreed to overwrite it): Apply deletes that table just before it
    // creates the new one, as long as the new table keeps the name it had when
    // the designer opened on it (another stored table is never overwritten).
    void SetReplaceExisting(bool value) { m_replaceExisting = value; }
    bool ReplaceExisting() const { return m_replaceExisting; }
    // Takes the dataset to design (not owned) and reads it.
    void SetOstDataset(TOstDataSet* dataSet);
    // Makes the working table anew from dataSet and reads the definitions.
    void SetWorkingTable(TOstDataSet* dataSet);
    TOstDataSet* Table() const { return m_table; }
    // The designed dataset when it is a table, else nullptr.
    TOstTable* DesignedTable() const;
    TOstTable* WorkingTable() const { return m_working.get(); }
    TOstFieldDefs& Columns() const;
    bool ReadOnlyView() const { return m_readOnlyView; }
    QString SavedIndexName() const { return m_savedIndexName; }

    // After the working table's definitions were replaced as a whole (a
    // definition file, say): the key columns are read from its primary index.
    void WorkingTableReplaced();

    // The user chose an encryption method: one that needs a password asks
    // for it at once. False when the password was not given; the method
    // then stays as it was.
    bool EncryptionMethodChosen(int method);
    QString EncryptionKey() const { return m_encryptionKey; }
    void SetEncryptionKey(const QString& key) { m_encryptionKey = key; }

    // ---- the edit guard
    bool AllowEditStructure();
    bool AllowEditIndexes();
    void SetDirtyStructure(bool value);
    void SetDirtyIndexes(bool value);
    bool DirtyStructure() const { return m_dirtyStructure; }
    bool DirtyIndexes() const { return m_dirtyIndexes; }
    // Rebuilds the change list and sets both flags from it.
    void UpdateDirtyFlags();

    // ---- the change list
    const TModifications& RefreshModificationsList();
    const TModifications& Modifications() const { return m_modifications; }
    bool ResetCollations() const { return m_resetCollations; }
    bool NeedRestructure() const;
    // What applying the current change list costs, as one sentence: whether
    // the table is created, changed in place or rebuilt with every row
    // copied (and why). Empty when there is nothing to apply.
    QString ApplyCost();

    // ---- columns (positions are 0-based)
    QString CalcNewColumnName(const QString& base, int start) const;
    // Inserts a new column at position, named name or the next free "ColumnN".
    TOstFieldDef* AddColumn(int position, const QString& name = QString());
    void DeleteColumn(int position);
    // Moves a column by delta places; returns its new position (unchanged
    // when the move would leave the list).
    int MoveColumn(int position, int delta);
    void ExchangeColumn(int a, int b);
    // The columns of the link types must name their table.
    bool CheckLinkFields() const;
    // After a column was renamed in the property editor: a key column keeps
    // its place in the key under its new name.
    void ColumnRenamed(const QString& oldName, const QString& newName);
    // "Create Index" of a column: an index over the column alone, named after
    // it, unless one exists already. Returns the index added, or nullptr.
    TIndexDef* AddColumnIndex(const TOstFieldDef* def);
    // Whether an index (not an expression) covers exactly this column.
    bool ColumnHasOwnIndex(const TOstFieldDef* def) const;
    // "Create Index" switched off: the indexes over the column alone go
    // (never the primary index or one the engine keeps). Returns how many.
    int RemoveColumnIndex(const TOstFieldDef* def);
    // "Add to Fulltext Index": the column joins the table's first fulltext
    // index; without one, a fulltext index "Fulltext" over it is made, with a
    // new dictionary named after the table (encrypted as the table is).
    // Returns the index, or nullptr when the column is in one already.
    TOstFulltextIndexDef* AddColumnToFulltextIndex(const TOstFieldDef* def);
    // Switched off: the column leaves every fulltext index holding it; an
    // index left without columns goes with its pending dictionary.
    int RemoveColumnFromFulltextIndex(const TOstFieldDef* def);
    bool ColumnInFulltextIndex(const TOstFieldDef* def) const;

    // The indication offered to a column that becomes dtAutoInc: the primary
    // key's columns, else those of the first unique index, else nothing.
    QString DefaultIndication() const;

    // ---- the primary key
    const QStringList& KeyFields() const { return m_keyFields; }
    const QStringList& StoredKeyFields() const { return m_storedKeyFields; }
    bool ColumnIsPrimaryIndex(const QString& name) const { return m_keyFields.contains(name); }
    // Adds the column to the key or takes it out.
    void ToggleKeyField(const TOstFieldDef* def);
    void AddKeyField(const TOstFieldDef* def);
    void RemoveKeyField(const TOstFieldDef* def);
    void SetPrimaryKey();
    static void ReadKeyFields(QStringList& list, TOstTable& table);
    static TIndexDef* GetPrimaryIndex(TOstTable& table);

    // ---- new fulltext dictionaries, created when the index changes are applied
    TDictionaries& Dictionaries() { return m_dictionaries; }

    // ---- applying
    // Index changes the engine would not carry out as listed (a name it keeps
    // for itself, two names differing only in case): the message refusing
    // them, empty when there is none.
    QString IndexChangesRefusal();
    // The Apply button: checks, confirmation, then the engine; true when applied.
    bool Apply();
    bool ApplyTableChanges();
    bool ApplyIndexChanges(int phase);
    bool ChangesApplied() const { return m_changesApplied; }
    bool Applying() const { return m_applying; }

    // ---- closing
    // Whether the designer may close; asks when edits would be lost.
    bool CloseQuery();
    // Gives the designed table back the index it was using.
    void RestoreIndexName();

    // The progress callback handed to the engine.
    void SetProgress(QObject* sender, int percent, bool& abort);

private:
    void ReadDefinitions();
    void Error(const QString& text) { m_view->ShowErrorMsg(text); }
    void CopyToTable(TOstTable& t);
    void AlignPrimaryIndex(TOstTable& t);
    // Renames the designed table and opens it; false (with the error shown)
    // when the engine refused, the table then open again if it was.
    bool RenameDesignedTable(TOstTable& table, const QString& newName);

    bool ApplyFulltextIndex(TOstTable& t, const TOstFulltextIndexDef& ft);

    ITableDesignerView* m_view;
    QPointer<TOstDataSet> m_table;
    TDictionaries m_dictionaries;
    std::unique_ptr<TOstTable> m_working;
    TModifications m_modifications;
    QStringList m_keyFields, m_storedKeyFields;
    QString m_encryptionKey, m_savedIndexName;
    bool m_replaceExisting = false;
    QString m_replacedName; // the table name the user agreed to overwrite
    bool m_newTable = false, m_readOnlyView = false, m_dirtyStructure = false, m_dirtyIndexes = false;
    bool m_changesApplied = false, m_resetCollations = false, m_applying = false;
};

// The texts the designer shows, as its users know them.
namespace DesignerText {
QString IndexesModified();   // structure edit refused
QString StructureModified(); // index edit refused
QString MissingTableName();
QString NoChanges();
QString NoColumns();
QString LinkTableMissing();
QString InvalidIndication();
QString CancelChanges();
QString CapacityRange();
QString SystemIndexKept();     // with the index name
QString FulltextNeedsLevel4();
} // namespace DesignerText
