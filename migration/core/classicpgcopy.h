// Reading a PostgreSQL statement's rows with COPY ... TO STDOUT through the
// connection of Qt's driver: several times faster than the driver's row by
// row reading, and the same values: each column is converted as the driver
// converts its type.
#pragma once

#include "migration/core/classicdataset.h"

#include <QSqlDatabase>
#include <QVariantList>
#include <functional>

// Takes one record; false stops the reading.
using TClassicRowSink = std::function<bool(QVariantList&& row)>;

enum class TClassicCopyResult { NotUsed, Done, Failed };

// Reads the rows of select (a statement without parameters) on db, an open
// QPSQL connection. NotUsed, having read nothing, where the driver's handle
// is not reachable or a column has a type this reader does not convert;
// Failed with the server's message in error.
TClassicCopyResult ClassicPgCopy(QSqlDatabase& db, const QString& select, const QVector<TClassicRead>& readers,
                                 const TClassicRowSink& sink, QString& error);

// One field of COPY's text format, its backslash escapes undone.
QByteArray ClassicCopyUnescape(const char* from, const char* to);
