// Internals of TOstBatchMove: how source columns map onto the destination
// table, the key that finds destination records, the writer that moves one
// record with the checks and conversions of a post, and the SQL expression
// that does the same inside one INSERT ... SELECT.
#pragma once

#include "engine/store/ostconnection.h"
#include "engine/store/ostmeta.h"

#include <functional>
#include <memory>
#include <vector>

// One mapped column.
struct OstBatchColumn {
    int dst = -1; // index into the destination's columns
    int src = -1; // index into the source's columns
};

struct OstBatchPlan {
    QString sourceName;             // for messages
    OstTableMeta dst;               // the destination's stored definitions
    QVector<OstColumnMeta> src;     // the source's columns: engine tables with types, others name only (type -1)
    QVector<OstBatchColumn> columns;
    // The key of the modes that look records up: positions in columns, and
    // each key part's SQL split around its column reference.
    QVector<int> key;
    QStringList keyBefore, keyAfter;
};

// Resolves the Mappings lines ("destination=source", or one name for both;
// none: every writable destination column with a source column of that
// name). Raises EOstraError naming the line before anything is written.
void OstResolveMappings(OstBatchPlan& plan, const QStringList& lines);
// The destination's primary index, else its first unique index; raises when
// there is none, when it is an expression, or when a key column is not mapped.
void OstResolveKey(OstBatchPlan& plan);

// True for the errors that concern one record (its key, its values, a
// constraint or foreign key); anything else ends the whole move.
bool OstIsRecordProblem(const EOstraError& e);

class OstBatchWriter {
public:
    enum Action { Insert, Update, InsertOrUpdate, Delete };
    // Prepares the statements; call before the transaction starts, since it
    // makes linked tables reachable.
    OstBatchWriter(OstConnection& c, const OstBatchPlan& plan, Action action);
    ~OstBatchWriter();
    // Moves one record given by its dataset values, one per plan column.
    // Returns false when update or delete found no record with its key;
    // raises EOstraError when the record cannot be moved.
    bool Write(const QVariantList& values);
    // Inserts records (Insert only) by one statement, converted and checked
    // as Write does it. False when one of them is a problem of its own: then
    // none of them was written, and moving them one by one with Write
    // reports it. Raises EOstraError for anything else.
    // prepared: for each record what SlicePreparer gave for it, or nothing
    // (then InsertSlice does that work itself).
    bool InsertSlice(const QVector<QVariantList>& records, const QVector<QVariantList>& prepared = {});
    // What InsertSlice does to a record before it binds it, as a function
    // that holds all it needs and may run on another thread: the stored
    // values and, after them, whether they meet the table's checks for
    // certain and a mark of this writer; empty when a value cannot be stored.
    std::function<QVariantList(const QVariantList& values)> SlicePreparer() const;
    // The number of records InsertSlice takes best (1: no slices).
    int SliceSize() const { return m_sliceSize; }
    // InsertSlice may leave SQLite's column checks off for the slices that
    // follow; this turns them on again before anything else uses the connection.
    void RestoreChecks() { SkipChecks(false); }

private:
    bool Find(const QVariantList& stored, qint64& id);
    void CheckLinks(const QVariantList& stored);
    void DoInsert(const QVariantList& stored);
    void DoUpdate(const QVariantList& stored, qint64 id);

    OstStmt& SliceStatement(int rows);
    void SetUpChecksInCode(const OstTableLocation& loc);
    // Whether the values of a slice meet the table's checks for certain.
    struct SliceRules;
    // Stored values of a record's values; false when one cannot be stored.
    static bool Store(const SliceRules& r, const QVariantList& values, QVariantList& stored);
    // Whether the first stored values, one per plan column, meet the checks for certain.
    static bool ChecksHoldInCode(const SliceRules& r, const QVariantList& stored);
    void SkipChecks(bool skip);

    OstConnection& m_conn;
    const OstBatchPlan& m_plan;
    Action m_action;
    QString m_sliceHead, m_sliceRow; // INSERT INTO ... VALUES and one row's values
    int m_sliceSize = 1;
    std::unique_ptr<OstStmt> m_slice, m_sliceTail; // for SliceSize() records, for fewer
    int m_sliceTailRows = 0;
    // Slices whose values meet the checks for certain skip SQLite's
    // evaluation of them: only where the table's checks are exactly the
    // engine's own column and key checks (no checks of the table's own, no
    // triggers). Plan columns that are key columns, or have a default.
    bool m_checksInCode = false, m_checksSkipped = false;
    std::shared_ptr<SliceRules> m_rules;
    QVariantList m_stored;
    std::vector<QByteArray> m_texts; // a slice's text values while its statement is bound to them
    QVector<int> m_updated; // plan columns an update sets
    std::unique_ptr<OstStmt> m_insert, m_update, m_delete, m_find;
    QVector<std::pair<int, std::shared_ptr<OstStmt>>> m_links; // plan column, lookup in the linked table
};

// Registers the SQL functions the copy statement uses on a connection.
void OstRegisterBatchFunctions(sqlite3* db);
// The SELECT expression giving a destination column its value from a source
// column of an engine table (named ost_src in the statement), converted and
// checked as the writer does it.
QString OstBatchCopyExpression(OstConnection& c, const OstBatchPlan& plan, const OstBatchColumn& column);

// One line of the report: the source record number, the reason, the values.
QString OstBatchReportLine(qint64 recNo, const QString& reason, const QStringList& names, const QVariantList& values);
