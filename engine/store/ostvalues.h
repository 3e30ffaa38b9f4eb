// Conversions between user values, stored values and dataset values for each
// column type. Post and restructure use the same rules, so a value that can be
// posted into a column can also be converted into it.
#pragma once

#include "engine/store/ostmeta.h"

#include <QVariant>

struct sqlite3;
struct sqlite3_context;
struct sqlite3_value;

// Converts a value to what a column of type col stores. Returns an invalid
// QVariant and sets error (naming the column) when the value does not fit.
// A null input gives a null output.
QVariant OstToStorage(const QVariant& value, const OstColumnMeta& col, QString& error);
// Converts a stored value to the dataset's representation of the column type
// (QDate, QTime, QDateTime, bool, qlonglong, double, QString, QByteArray).
QVariant OstFromStorage(const QVariant& stored, int dataType);
// Library field type for an engine data type.
int OstLibraryFieldType(int dataType);

// Registers ost_convert(value, type, size, precision, spec, column) on a
// connection; it raises an SQL error with a readable message on failure.
void OstRegisterConvertFunction(sqlite3* db);

// For the engine's SQL functions: an argument as a value or as text, and a
// value (as OstToStorage gives it) as the function's result.
QVariant OstSqlArgument(sqlite3_value* v);
QString OstSqlTextArgument(sqlite3_value* v);
void OstSqlResult(sqlite3_context* ctx, const QVariant& value);
