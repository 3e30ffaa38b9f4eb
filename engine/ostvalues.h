// Conversions between user values, stored values and dataset values for each
// column type. Post and restructure use the same rules, so a value that can be
// posted into a column can also be converted into it.
#pragma once

#include "ostmeta.h"

#include <QVariant>

struct sqlite3;

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
