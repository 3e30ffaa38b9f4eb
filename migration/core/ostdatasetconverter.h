// TDBConvertTable: creates a new engine table with the structure of any open
// dataset (a classic table or query, any other dataset, or an engine table)
// and copies its records into it.
//
//   TDBConvertTable convert;
//   convert.SetSource(classicTable);          // open
//   convert.SetDatabase(shopDatabase);
//   convert.SetTableName("Customers");
//   convert.SetIndexDefs(&classicTable->IndexDefs());
//   convert.Execute();                        // CreateTable, then the copy
//
// Columns of an engine source are copied as they are; the columns of any
// other source are mapped by TOstFieldDef::Assign to the closest engine type
// the target level accepts and named by ConvertToValidOstName. Each column
// adds a "new=source" line to the batch move's Mappings. Index fields are
// renamed the same way; a primary index without a name becomes "sys_primary",
// an index none of whose fields is left is dropped.
#pragma once

#include "engine/ostbatchmove.h"
#include "engine/ostdataset.h"

#include <QPointer>

class EConvertTableError : public Exception {
public:
    using Exception::Exception;
};

class TDBConvertTable : public TComponent {
    Q_OBJECT
public:
    explicit TDBConvertTable(TComponent* owner = nullptr);
    ~TDBConvertTable() override;

    TDataSet* GetSource() const { return m_source.data(); }
    void SetSource(TDataSet* source) { m_source = source; }
    // The database of the new table; nullptr leaves its DatabaseName empty.
    TOstDatabase* GetDatabase() const { return m_database.data(); }
    void SetDatabase(TOstDatabase* database) { m_database = database; }
    QString GetTableName() const { return m_tableName; }
    void SetTableName(const QString& name) { m_tableName = name; }
    // -1 keeps the engine's default level.
    int GetTableLevel() const { return m_tableLevel; }
    void SetTableLevel(int level) { m_tableLevel = level; }
    // The index definitions to create (not owned); nullptr creates none.
    TIndexDefs* GetIndexDefs() const { return m_indexDefs; }
    void SetIndexDefs(TIndexDefs* defs) { m_indexDefs = defs; }
    bool GetCopyData() const { return m_copyData; }
    void SetCopyData(bool copy) { m_copyData = copy; }
    // Handed to the batch move during the copy: 0 to 100 and an abort flag.
    TOstProgressEvent OnProgress;

    // The table made by the last CreateTable (owned by the converter), or nullptr.
    TOstTable* GetTargetTable() const { return m_target; }
    // Does the copy; its AbortOnProblem and FileName (the report of records
    // that could not be moved) are the caller's to set, and after Execute it
    // tells how many records were moved and how many were not.
    TOstBatchMove* BatchMove() const { return m_batchMove; }

    // Checks the source and the name ("Source not specified", "Source must
    // be opened", "Invalid table name": EConvertTableError) and creates the
    // table; engine errors pass through.
    void CreateTable();
    // CreateTable, then (with CopyData) the copy of the records. When the copy
    // fails or is aborted, the table just created is deleted again and the
    // error passes through unchanged.
    void Execute();

private:
    QPointer<TDataSet> m_source;
    QPointer<TOstDatabase> m_database;
    QString m_tableName;
    int m_tableLevel = -1;
    TIndexDefs* m_indexDefs = nullptr;
    bool m_copyData = true;
    TOstTable* m_target = nullptr;
    TOstBatchMove* m_batchMove;
};
