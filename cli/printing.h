// Output formats: aligned text tables, CSV, and the readable summary of a
// table definition.
#pragma once

#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

namespace cli {

// Rows of a result: column names and values as the query returns them
// (qlonglong, double, QString, QByteArray; an invalid QVariant is NULL).
struct ResultSet {
    QStringList columns;
    QVector<QVariantList> rows;
};

// Reads every row of an open query and closes it.
ResultSet ReadResultSet(TOstQuery& q);

// One value as text. NULL is "NULL" in a table and empty in CSV; binary
// values are shown as X'0A1B...'.
QString FormatValue(const QVariant& v, bool forCsv);

// A text table: a header line, a rule, then one line per row; columns are
// padded to their widest entry and right-aligned where rightAlign says so.
// Every line starts with indent.
QString TextTable(const QStringList& header, const QVector<QStringList>& rows,
                  const QVector<bool>& rightAlign = {}, const QString& indent = QString());

// The result as an aligned table followed by a "(N rows)" line.
QString ResultAsTable(const ResultSet& r);
// The result as CSV with a header line. Fields holding a comma, quote, line
// break or leading/trailing blank are quoted and inner quotes doubled; an
// empty string is written as "" so that it differs from NULL.
QString ResultAsCsv(const ResultSet& r);

// Readable summary of every definition a table component holds.
QString DefinitionSummary(TOstTable& table, const QString& name);

} // namespace cli
