// Table definitions as JSON: what `describe --json` prints and what
// `create-table` and `alter` read.
#pragma once

#include "engine/ostdataset.h"

#include <QJsonObject>
#include <QString>

namespace cli {

// Every definition the table component holds (read them first), named name.
QJsonObject TableDefinitionToJson(TOstTable& table, const QString& name);

// Replaces every definition of the component - columns, indexes, fulltext
// indexes, foreign keys, checks, level, capacity, collation, encryption - with
// the object's. Keys that are absent take the values a new definition has.
// Raises Failure naming the offending entry for anything malformed.
// A fulltext index of the definition may ask for a new dictionary table
// ("newDictionary" instead of "dictionary"); those are passed back here, the
// index's "dictionary" left empty.
struct TNewDictionaryRequest {
    int Fulltext = 0;         // position in the table's fulltext index definitions
    QString Name;
    int MaxKeywordLength = 20;
    int Encryption = 0;       // method ordinal
    bool HasPassword = false;
    QString Password;
};
void TableDefinitionFromJson(const QJsonObject& def, TOstTable& table,
                             QList<TNewDictionaryRequest>* newDictionaries = nullptr);

// The engine's figures for each index of a stored table as describe prints
// them: {"keySize", "pageSize", "capacity", "pages", "keys"} under "statistics".
void AddIndexStatistics(QJsonObject& def, TOstTable& table);

// The "name" of a definition, or empty when it has none.
QString JsonTableName(const QJsonObject& def);

// Reads a file holding one JSON object; raises Failure when it cannot be read or parsed.
QJsonObject ReadJsonObjectFile(const QString& path);
// The table a definition file is for: its "name", else the file's base name.
QString DefinitionTableName(const QJsonObject& def, const QString& file);

// Indented JSON whose object keys follow the order of a table definition.
QString FormatDefinitionJson(const QJsonObject& def);

// "primary", "unique", ... for index option flags, in a fixed order.
QStringList IndexOptionNames(int options);

} // namespace cli
