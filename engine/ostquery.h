// TOstQuery: runs SQL (SQLite's dialect; table names are the engine's table
// names) and is a read-only dataset over the result.
#pragma once

#include "engine/ostdataset.h"

#include <QVariantMap>

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
    int RowsAffected() const { return m_rowsAffected; }
    QStringList ColumnNames() const;
    bool CanModify() const override { return false; }

protected:
    void InternalOpen() override;
    void InternalClose() override;
    int InternalRecordCount() const override;
    QVariantList InternalGetRecord(int recNo) const override;
    void FilterChanged() override;

private:
    void RunSelect();
    QString m_sql;
    QVariantMap m_params;
    int m_rowsAffected = 0;
    QVector<QVariantList> m_rows;
    QStringList m_columns;
};
