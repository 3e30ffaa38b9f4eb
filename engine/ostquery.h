// TOstQuery: runs SQL (SQLite's dialect; table names are the engine's table
// names) and is a read-only dataset over the result.
#pragma once

#include "engine/ostdataset.h"

#include <QHash>
#include <QVector>
#include <QVariantMap>

// One statement of a query's SQL text as the engine compiled it: where it
// stands in the text (in characters), whether it leaves the database as it
// is, and whether it returns rows.
struct TOstSQLStatement {
    int Start = 0;
    int Length = 0;
    bool ReadOnly = true;
    bool ReturnsRows = false;
};

class TOstQuery : public TOstDataSet {
    Q_OBJECT
    Q_PROPERTY(QStringList SQL READ GetSQLLines WRITE SetSQLLines)
    // The parameters as "Name=Value" lines (a line without "=" is NULL), as files store them.
    Q_PROPERTY(QStringList Params READ GetParamLines WRITE SetParamLines)

public:
    explicit TOstQuery(TComponent* owner = nullptr);
    ~TOstQuery() override;

    QString GetSQL() const { return m_sql; }
    void SetSQL(const QString& sql);
    // The SQL text as lines, as designers edit and files store it.
    QStringList GetSQLLines() const;
    void SetSQLLines(const QStringList& lines) { SetSQL(lines.join(u'\n')); }
    // Named (":name") or positional ("?1") parameters.
    void SetParam(const QString& name, const QVariant& value) { m_params.insert(name, value); }
    QVariant ParamValue(const QString& name) const { return m_params.value(name); }
    void ClearParams() { m_params.clear(); }
    QStringList ParamNames() const { return m_params.keys(); }
    QStringList GetParamLines() const;
    void SetParamLines(const QStringList& lines);
    // Runs a statement (or several separated by ";") that returns no rows.
    void ExecSQL();
    // Compiles every statement of the SQL text, as the user's SQL is always
    // compiled, without running any; EOstraSqlError with the position of
    // the first one that does not compile or is refused. Each statement is
    // compiled against the database as it is, so a statement that needs an
    // earlier one to have run first may not compile yet.
    QList<TOstSQLStatement> CheckSQL();
    int RowsAffected() const { return m_rowsAffected; }
    QStringList ColumnNames() const;
    bool CanModify() const override { return false; }

protected:
    void InternalOpen() override;
    void InternalClose() override;
    int InternalRecordCount() const override;
    bool InternalRecordExists(int recNo) const override;
    int InternalFetchedCount() const override { return m_known; }
    bool InternalAllFetched() const override { return m_complete; }
    QVariantList InternalGetRecord(int recNo) const override;
    void InternalRefresh() override;
    void FilterChanged() override;

private:
    // The result is read a page of rows at a time, each page by running the
    // statement again from where the page starts, and only the pages used
    // last are kept: a result of any size opens at once and holds little.
    // A statement that writes (INSERT ... RETURNING) runs once and keeps its rows.
    void RunSelect();
    bool SelectStatement();
    const QVector<QVariantList>* Page(int page) const;
    void ReadPage(int page) const;
    void CountAll() const;
    QString m_sql;
    QVariantMap m_params;
    int m_rowsAffected = 0;
    QStringList m_columns;
    QString m_resultSql;        // the statement the rows come from (with the filter applied)
    bool m_pagedOffset = true;  // pages are read with LIMIT/OFFSET over the statement
    bool m_keptWhole = false;   // the statement wrote: its rows are all in m_pages
    mutable QHash<int, QVector<QVariantList>> m_pages;
    mutable QList<int> m_recentPages; // least recently used first
    mutable int m_known = 0;          // records known to exist
    mutable bool m_complete = false;  // m_known is all of them
    mutable int m_lastPage = -1;      // the last page read
    mutable int m_batch = 1;          // pages read at once when reading in order
};

struct sqlite3_stmt;

// One statement of user SQL, run with bound values and read forward row by
// row without keeping the rows: the way a driver or a tool streams a result
// of any size. It is compiled under the same guard as TOstQuery's SQL, and a
// statement that writes runs as ExecSQL runs one (its own transaction unless
// one is open; checks, sizes, foreign keys across files and fulltext indexes
// kept; a failure changes nothing), so both give the same answers.
class TOstStatement {
public:
    explicit TOstStatement(TOstDatabase* database);
    ~TOstStatement();
    TOstStatement(const TOstStatement&) = delete;
    TOstStatement& operator=(const TOstStatement&) = delete;

    // Compiles sql, which must hold exactly one statement; EOstraSqlError
    // with the position where it is wrong or refused.
    void Prepare(const QString& sql);
    bool IsPrepared() const;
    QString SQL() const { return m_sql; }
    // Parameters, 0-based: "?", "?1", ":name", "@name" or "$name".
    int ParamCount() const;
    QString ParamName(int i) const; // with its prefix; empty for a bare "?"
    void BindValue(int i, const QVariant& value);
    // Runs the statement. A statement that writes runs to its end here, and
    // the rows it returns (RETURNING) are kept for Next; a read is stepped
    // by Next.
    void Execute();
    bool Next();
    int ColumnCount() const;
    QString ColumnName(int i) const;
    // The column's declared type where it comes straight from a table column.
    QString ColumnDeclaredType(int i) const;
    // The current row's value; NULL is an invalid QVariant.
    QVariant Value(int i) const;
    bool ReturnsRows() const;
    bool ReadOnly() const;
    int RowsAffected() const { return m_rowsAffected; }
    qint64 LastInsertId() const { return m_lastInsertId; }
    // Ends reading (the statement stays compiled); Clear also forgets it.
    void Finish();
    void Clear();

private:
    // While a result is read it is known to the connection, which may park
    // it (reset, the current row kept) to detach a file; Next then runs it
    // again and reads on after the rows already read.
    void StartReading();
    void StopReading();
    void Park();
    TOstDatabase* m_database;
    std::shared_ptr<OstConnection> m_connection;
    int m_reader = 0;           // its id with the connection while reading
    qint64 m_rowsRead = 0;      // rows stepped over so far
    bool m_parked = false;
    QVariantList m_parkedRow;   // the current row, kept while parked
    sqlite3_stmt* m_stmt = nullptr;
    QString m_sql;
    QVector<QVariantList> m_kept; // rows of a statement that wrote
    int m_keptAt = -1;
    bool m_keptRows = false;
    bool m_reading = false;
    int m_rowsAffected = 0;
    qint64 m_lastInsertId = 0;
};
