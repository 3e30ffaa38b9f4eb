// The Ostra engine's shared vocabulary: its error class, data types, encryption
// methods, foreign-key actions, table-level rules and the free routines.
#pragma once

#include "engine/types/osttypes.h"

#include <QDate>
#include <QString>
#include <QTime>
#include <QStringList>
#include <cstdint>
#include <functional>

class QObject;

// Index statistics as OstIndexGetInfo reports them, for an index of an
// existing table:
// - KeySize: bytes of one key at most: each key column's largest value (text:
//   its size in characters, or the key length, plus a terminator; wide text
//   two bytes a character; numbers and dates their width; a memo 255
//   characters; an expression 32 bytes) plus 8 for the record id every key
//   carries. It changes with the index's columns and the columns' sizes.
// - Capacity: the rows the index is laid out for: the table's capacity from
//   level 4 on, below that the index's own (the table's when it has none).
// - PageSize: bytes of one page of the file that holds the index (SQLite's
//   b-tree page).
// - PageCount: pages the index occupies now; KeyCount: keys it holds (one a
//   record). Both 0 for an index that is not maintained.
struct TOstIndexInfoBlock {
    uint16_t KeySize = 0;
    uint64_t Capacity = 0;
    uint32_t PageSize = 0;
    uint64_t PageCount = 0;
    uint64_t KeyCount = 0;
};

class TOstDatabase;

// ---- free routines
void SetGlobalOnPassword(TOstPasswordEvent handler);
TOstPasswordEvent GetGlobalOnPassword();
// Next piece of a separated list. position is 1-based and advanced past the separator.
bool ExtractPartialString(const QString& s, QChar separator, int& position, QString& piece);
void GetLocaleNames(QStringList& list);
bool rkDirectoryExists(const QString& path);
bool rkIsAbsolutePath(const QString& path);
bool IsRootPath(const QString& path);
TOstDatabase* FindOstDatabase(const QString& name);
TOstDatabase* GetOstDatabase(int i);
uint16_t OstSessFindRltnHdl(quintptr session, const QString& tableName);
int OstIndexGetInfo(uint16_t relation, const QString& indexName, TOstIndexInfoBlock& info);
QString OstEngineVersion();

// Names and values as filters and check conditions write them, in the forms
// the engine reads back in the application's locale: a quoted column name
// ("First Name"), a quoted text ('O''Brien'), and unquoted the locale's
// short date with a four-digit year, long time without its zone, and both.
QString OstFilterQuotedName(const QString& name);
QString OstFilterQuotedText(const QString& text);
QString OstFilterDateText(const QDate& date);
QString OstFilterTimeText(const QTime& time);
QString OstFilterDateTimeText(const QDate& date, const QTime& time);

// The SQL dialect as editors offer it: its keywords (upper case) and the
// functions its SQL can call, SQLite's own and the engine's (ostra_search),
// lower case; both sorted.
QStringList OstSqlKeywords();
QStringList OstSqlFunctionNames();

// Registers the engine's component classes (databases, tables, queries,
// fields, data modules) for streaming. Safe to call any number of times;
// loading a data module does it by itself.
void RegisterEngineClasses();
