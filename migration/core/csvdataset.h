// TCsvDataSet: a read-only dataset over a CSV file, the source of
// "ostra import --csv". The first row names the columns; values are
// separated by the delimiter (","), may be quoted with '"' (a quote inside
// doubled, line breaks allowed) and an empty value is NULL. Opening reads the
// file once to count the records and to find each column's type (whole
// numbers, numbers, True/False, ISO dates and date-times, else text of the
// longest value's length); SetColumnType overrides what was found. Records
// are then read from the file as the dataset moves on, never all at once.
// A line with more or fewer values than the first one names is a record all
// the same (missing values NULL, extra ones left out) whose RecordProblem
// says so; its values do not count towards the column types.
#pragma once

#include "engine/base/sysutils.h"
#include "engine/base/tdataset.h"

#include <QFile>
#include <QHash>
#include <memory>

class TCsvDataSet : public TDataSet {
    Q_OBJECT
public:
    explicit TCsvDataSet(TComponent* owner = nullptr);
    ~TCsvDataSet() override;

    QString GetFileName() const { return m_fileName; }
    void SetFileName(const QString& file) { m_fileName = file; }
    QChar GetDelimiter() const { return m_delimiter; }
    void SetDelimiter(QChar c) { m_delimiter = c; }
    // A type for a column (by its header name): integer, smallint, largeint,
    // float, currency, boolean, date, time, datetime, string, string(N),
    // memo. EDatabaseError for a name that is none of these.
    void SetColumnType(const QString& column, const QString& type);
    bool CanModify() const override { return false; }
    // The type names SetColumnType takes.
    static QStringList TypeNames();

protected:
    void InternalOpen() override;
    void InternalClose() override;
    int InternalRecordCount() const override { return m_count; }
    QVariantList InternalGetRecord(int recNo) const override;

public:
    QString RecordProblem() const override;

private:
    struct Override {
        TFieldType type;
        int size;
    };
    // The next row's fields; false at the end of the file. line counts lines read.
    bool ReadRow(QStringList& fields) const;
    void Rewind() const;

    QString m_fileName;
    QChar m_delimiter = u',';
    QHash<QString, Override> m_overrides;
    int m_count = 0;
    mutable std::unique_ptr<QFile> m_file;
    mutable int m_pos = -1, m_line = 0;
    mutable QVariantList m_current;
    mutable QString m_problem; // of the record m_pos
};
