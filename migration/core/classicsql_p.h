// What the classic datasets ask of each kind of database: column types,
// indexes and filters in SQL. Private to migration/core.
#pragma once

#include "engine/base/tdefs.h"
#include "migration/core/classicconnection.h"
#include "migration/core/classicdataset.h"

#include <QSqlRecord>
#include <QVariantMap>

// One column of a table as the dataset reads it.
struct TClassicColumn {
    QString name;
    TFieldType type = ftUnknown;
    int size = 0;
    int precision = 0;
    bool required = false;
    QString expression;                   // the SELECT expression (quoted name, or a cast)
    TClassicRead read = TClassicRead::AsIs;
};

// The columns of a table with the types, sizes and NOT NULL the database keeps.
QVector<TClassicColumn> ClassicTableColumns(TClassicConnection& c, const QString& table);
// The library field type of a column of a statement's result.
TClassicColumn ClassicResultColumn(const QString& driver, const QSqlField& field);
// The indexes of a table (empty Name: a primary key without a name of its own).
void ClassicTableIndexes(TClassicConnection& c, const QString& table, TIndexDefs& defs);

// A filter as a SQL condition over the columns in defs, values as named
// parameters (":ostra_f1", ...) added to binds; EDatabaseError naming the
// position for a filter that does not parse or a column that is not there.
QString ClassicFilterToSql(TClassicConnection& c, const QString& filter, const TFieldDefs& defs, QVariantMap& binds);

// Runs a statement that must succeed; EDatabaseError with the driver's message.
QSqlQuery ClassicExec(TClassicConnection& c, const QString& sql, const QVariantMap& binds = {}, bool forwardOnly = true);
