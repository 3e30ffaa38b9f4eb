// From stored definitions to SQLite DDL: tables, indexes, the checks that keep
// values within their columns, collations, defaults, expressions; table names.
// The rules definitions obey are in ostvalidate.
#pragma once

#include "engine/filter/ostfilter.h"
#include "engine/store/ostmeta.h"

// A name as a message shows it: long ones are cut, so that an error stays readable.
QString OstShownName(const QString& name);
// Rejects table names that are invalid or would escape the database.
void OstValidateTableName(const QString& name, bool singleFile);
// Trims a table name and strips a ".dat" extension in directory databases.
QString OstNormalizeTableName(const QString& name, bool singleFile);

int OstAutoIncColumn(const OstTableMeta& meta);
// The SQL type (and so the affinity) a column of the data type is stored with.
QString OstSqlType(int dataType);

// A named CHECK: the message a violation reports, and the SQL condition.
struct OstCheckSql {
    QString message;
    QString condition;
};
// Checks that keep a column's values within its type, size and values.
QVector<OstCheckSql> OstColumnCheckSql(const OstColumnMeta& col);
// Checks of the whole row: primary key columns set, and the table's own checks.
QVector<OstCheckSql> OstTableCheckSql(const OstTableMeta& meta);
// True only where a stored value (as OstToStorage gives it) meets the
// column's checks (OstColumnCheckSql) for certain; false where it may not,
// and the database must check it.
bool OstStoredMeetsColumnCheck(const QVariant& stored, const OstColumnMeta& col);
// The collation name used in SQL ("Ostra" is SQLite's BINARY).
QString OstSqlCollation(const QString& collation);
QString OstColumnCollation(const OstTableMeta& meta, const OstColumnMeta& col);
bool OstIsGeneratedColumn(const OstColumnMeta& col);
// SQL DEFAULT expression for a column (never empty: NULL or the type's zero value).
QString OstColumnDefaultSql(const OstTableMeta& meta, const OstColumnMeta& col);

// CREATE TABLE for the definitions under schema.table (both already quoted).
QString OstCreateTableSql(const OstTableMeta& meta, const QString& schema, const QString& table);
// One column's definition in CREATE TABLE; without its CHECK constraints when
// withChecks is false (what ALTER TABLE ADD COLUMN is given).
QString OstColumnSql(const OstTableMeta& meta, const OstColumnMeta& col, bool withChecks);
// A CREATE TABLE or CREATE INDEX statement of the two above as SQLite keeps it
// in its schema: without "schema." before the name.
QString OstStoredSql(const QString& sql, const QString& schema);
// CREATE INDEX statements of every maintained index and link column.
QStringList OstCreateIndexesSql(const OstTableMeta& meta, const QString& schema, const QString& table);
// The same with the index's name in SQL (unquoted).
struct OstIndexStatement {
    QString name, sql;
};
QVector<OstIndexStatement> OstIndexStatements(const OstTableMeta& meta, const QString& schema, const QString& table);
QString OstIndexSql(const OstTableMeta& meta, const OstIndexMeta& idx, const QString& schema, const QString& table);
QString OstIndexPhysicalName(const OstTableMeta& meta, const QString& indexName);

// Column resolver over a table's columns (quoted names).
OstColumnResolver OstResolverFor(const OstTableMeta& meta, const QString& prefix = QString());
// An expression in the table's dialect: SQL from level 5 on unless it starts
// with "@", the native expression language otherwise.
// Where an expression goes: each place has rules of its own (a default value
// is constant, an index expression deterministic).
enum class OstExprUse { Index, Calculated, Default, Check };
// Raises EOstraError unless the expression is exactly one SQL expression over
// the table's own columns that SQLite takes in that place.
QString OstExpressionSql(const OstTableMeta& meta, const QString& expression, OstExprUse use);
void OstCheckSqlExpression(const OstTableMeta& meta, const QString& sql, OstExprUse use);
QString OstDoubleUnQuote(const QString& s);
