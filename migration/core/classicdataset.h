// The classic datasets: TTable and TQuery over a Qt SQL connection, the
// sources a migration reads. They are read-only and stream their records: a
// forward-only query is read as the dataset moves on (memory stays that of
// one record, whatever the size of the source), and moving back runs the
// query again. RecordCount is counted by the database when the dataset opens;
// count and records come from one read transaction, so they agree. A source
// that fails or ends early while it is read raises EDatabaseError naming the
// record, never a short result.
//
// Filter (with Filtered) takes conditions in the dataset filter syntax:
// column op value (=, <>, <, >, <=, >=, LIKE), column IS [NOT] NULL, joined
// by and, or, not and parentheses; a column may be written Name, [Name],
// "Name" or $Name; values are 'text' (= 'Sm*' matches a prefix), numbers,
// NULL, TRUE and FALSE. The database evaluates it: names are quoted and
// values bound, never pasted into the SQL.
#pragma once

#include "engine/base/tdataset.h"
#include "migration/core/classicconnection.h"

#include <QSqlQuery>
#include <QVariantMap>
#include <memory>

class TClassicPrefetch;

// How the value of one column is read from the driver.
enum class TClassicRead : uint8_t { AsIs, TimestampText };

class TClassicDataSet : public TDataSet {
    Q_OBJECT
    Q_PROPERTY(QString DatabaseName READ GetDatabaseName WRITE SetDatabaseName)
    // Kept in memory only: never written to a module file.
    Q_PROPERTY(QString Password READ GetPassword WRITE SetPassword STORED false)

public:
    explicit TClassicDataSet(TComponent* owner = nullptr);
    ~TClassicDataSet() override;

    QString GetDatabaseName() const { return m_databaseName; }
    void SetDatabaseName(const QString& name);
    QString GetPassword() const { return m_password; }
    void SetPassword(const QString& password) { m_password = password; }
    bool CanModify() const override { return false; }
    // The open connection (nullptr while closed).
    TClassicConnection* Connection() const { return m_connection.get(); }
    // The connection's driver while open ("QPSQL"), else the one DatabaseName names.
    QString DriverName() const;
    // Records read on a thread of their own (PostgreSQL) are prepared there.
    bool SetRecordPrepare(TRecordPrepare prepare) override;
    QVariantList PreparedRecord() const override;

protected:
    void InternalOpen() override;
    void InternalClose() override;
    int InternalRecordCount() const override { return m_count; }
    QVariantList InternalGetRecord(int recNo) const override;
    void InternalRefresh() override;
    void FilterChanged() override;

    // The statement that reads the records, without a filter or an order:
    // "SELECT ... FROM ..." (a table) or the query's own text; its named
    // parameters in binds. Called with the connection open.
    virtual QString SourceSelect(QVariantMap& binds) = 0;
    // Fills FieldDefs() (and the readers) for the statement; called before it runs.
    virtual void ReadFieldDefs(TClassicConnection& c, const QString& select, const QVariantMap& binds) = 0;
    // ORDER BY text (without the words), empty for the source's order.
    virtual QString OrderBy(TClassicConnection& c) { Q_UNUSED(c) return QString(); }
    void CheckInactive(const char* what) const;
    // Field definitions of a statement's result, as the driver describes them.
    void FieldDefsFromResult(TClassicConnection& c, const QString& select, const QVariantMap& binds);

    QVector<TClassicRead> m_readers;

private:
    void Start() const;
    void StopReading() const;
    QString Describe() const;

    QString m_databaseName, m_password;
    std::unique_ptr<TClassicConnection> m_connection;
    bool m_inTransaction = false;
    QString m_snapshot;    // PostgreSQL: the snapshot the records are read in on a thread of their own
    QString m_select;      // with the filter and order
    QVariantMap m_binds;
    int m_count = 0;
    mutable std::unique_ptr<QSqlQuery> m_query;
    mutable std::unique_ptr<TClassicPrefetch> m_prefetch;
    mutable int m_pos = -1; // the record the query stands on
    mutable QVariantList m_current, m_first;
    mutable QVariantList m_currentPrepared; // of m_current
    std::shared_ptr<const TRecordPrepare> m_prepare;
};

class TTable : public TClassicDataSet {
    Q_OBJECT
    Q_PROPERTY(QString TableName READ GetTableName WRITE SetTableName)
    Q_PROPERTY(QString IndexName READ GetIndexName WRITE SetIndexName)

public:
    explicit TTable(TComponent* owner = nullptr);
    ~TTable() override;

    QString GetTableName() const { return m_tableName; }
    void SetTableName(const QString& name);
    // Records come in the order of this index (of IndexDefs); empty: the table's own order.
    QString GetIndexName() const { return m_indexName; }
    void SetIndexName(const QString& name);
    // The table's indexes as the database keeps them, read when the table
    // opens (or by UpdateIndexDefs): Fields and DescFields list columns with
    // ";", a primary key the database gave no name of its own has an empty Name.
    TIndexDefs& IndexDefs() { return m_indexDefs; }
    void UpdateIndexDefs();
    // The table names of the database (tables and views).
    QStringList GetTableNames();

protected:
    QString SourceSelect(QVariantMap& binds) override;
    void ReadFieldDefs(TClassicConnection& c, const QString& select, const QVariantMap& binds) override;
    QString OrderBy(TClassicConnection& c) override;

private:
    void ReadIndexDefs(TClassicConnection& c);
    QString m_tableName, m_indexName;
    TIndexDefs m_indexDefs;
};

class TQuery : public TClassicDataSet {
    Q_OBJECT
    Q_PROPERTY(QStringList SQL READ GetSQL WRITE SetSQL)
    // "Name=Value" lines; a line without "=" is a parameter whose value is NULL.
    Q_PROPERTY(QStringList Params READ GetParamLines WRITE SetParamLines)

public:
    explicit TQuery(TComponent* owner = nullptr);
    ~TQuery() override;

    QStringList GetSQL() const { return m_sql; }
    void SetSQL(const QStringList& lines);
    QString SQLText() const { return m_sql.join(u'\n'); }
    // Parameters by name (without the ":"), in the order first set.
    QStringList ParamNames() const { return m_paramNames; }
    QVariant ParamByName(const QString& name) const { return m_params.value(name); }
    void SetParam(const QString& name, const QVariant& value);
    void ClearParams();
    QStringList GetParamLines() const;
    void SetParamLines(const QStringList& lines);

protected:
    QString SourceSelect(QVariantMap& binds) override;
    void ReadFieldDefs(TClassicConnection& c, const QString& select, const QVariantMap& binds) override;

private:
    QStringList m_sql;
    QStringList m_paramNames;
    QVariantMap m_params;
};

// Registers TTable and TQuery for streaming (modules that hold them load).
// Safe to call any number of times.
void RegisterClassicClasses();
