// Translation of the engine's textual expressions to SQLite SQL:
//  - dataset filters: column (optionally "$"-prefixed) op literal, joined by
//    and/or/not and parentheses;
//  - native expressions (index expressions below level 5 and "@"-prefixed ones,
//    check conditions, calculated and default column values).
#pragma once

#include <QString>
#include <functional>

// Resolves a column name (without "$" or quoting) to its data type ordinal and
// the SQL text that refers to it. Returns false for an unknown column.
using OstColumnResolver = std::function<bool(const QString& name, int& dataType, QString& sqlRef)>;

// Returns a SQL boolean expression. Raises EOstraError(OstErr::InvalidFilter)
// with a message naming the position and the problem for malformed input or
// unknown columns. An empty or blank filter yields an empty string.
QString OstFilterToSql(const QString& filter, const OstColumnResolver& resolve);

// Translates a fulltext condition CONTAINS([column,] 'words' [, 'any'|'all'])
// of a filter (column empty when not given) to a SQL boolean expression;
// raises EOstraError with a message when it cannot.
using OstContainsResolver = std::function<QString(const QString& column, const QString& words, bool any)>;
// As above; CONTAINS is only accepted when contains is set.
QString OstFilterToSql(const QString& filter, const OstColumnResolver& resolve, const OstContainsResolver& contains);

// Returns a SQL scalar expression for a native expression. Raises
// EOstraError(OstErr::InvalidDefinition) for malformed input or unknown columns.
QString OstNativeExpressionToSql(const QString& expression, const OstColumnResolver& resolve);

// The native expression with every date, time and date/time literal that is
// compared with a column (or given to YEAR, MONTH or DAY) written in ISO form,
// so that it reads the same under any locale; unchanged when it does not parse.
QString OstExpressionWithIsoDates(const QString& expression, const OstColumnResolver& resolve);

// The SQL literal for a value written in a filter for a column of the given type
// (dates accepted as ISO, the locale's short format with two- or four-digit
// years, or month first "M.d.yyyy"; a two-digit year takes the century that
// puts it within 50 years of today; numbers as the C locale writes them or,
// failing that, as the application's locale does, without group separators).
// Returns false when the text is not a value of that type.
bool OstFilterLiteralToSql(const QString& text, int dataType, QString& sql);

// Quotes an SQL identifier ("name" with inner quotes doubled).
QString OstQuoteIdent(const QString& name);
// Quotes an SQL string literal ('text' with inner quotes doubled).
QString OstQuoteString(const QString& text);
