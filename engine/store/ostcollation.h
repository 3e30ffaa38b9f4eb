// Collations for SQLite connections: "Ostra" (the engine's own, Unicode code
// point order) and ICU locale collations named "<locale>[_cs|_ci][_as|_ai]"
// (e.g. "de_DE_ci_ai"). Names are case-insensitive; a missing suffix means
// sensitive.
#pragma once

#include <QString>
#include <QStringList>

struct sqlite3;

// Installs "Ostra" and a collation-needed hook that creates locale collations
// on first use. Call once per connection.
void OstRegisterCollations(sqlite3* db);

// True when the name is "Ostra", empty, or a locale known to ICU with valid
// suffixes. Otherwise fills error with a message that names the collation.
bool OstIsValidCollationName(const QString& name, QString* error = nullptr);

// Canonical spelling of a collation name for SQL ("Ostra" for empty).
QString OstCanonicalCollation(const QString& name);

// ICU's available locale names (e.g. "de", "de_AT", "en_US"), sorted, unique.
QStringList OstIcuLocaleNames();

// ICU collator version of the library in use ("58.0.0.50" style), to store
// with tables and compare on open (a change means indexes must be rebuilt).
QString OstIcuCollatorVersion();
