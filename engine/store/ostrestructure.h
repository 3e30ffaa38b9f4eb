// Restructuring a stored table: from the definitions it has to the ones
// wanted, keeping its rows.
#pragma once

#include "engine/store/ostmeta.h"

#include <QStringList>
#include <functional>

class OstConnection;

// Progress of a long operation in percent (0 to 100); raising from it
// aborts the operation, which then rolls back.
using OstProgress = std::function<void(int percent)>;

// The wanted definitions completed from the stored ones: the table's name,
// storage id and column numbering (a column without a stored number is new),
// and index, fulltext, foreign-key and indication entries that follow a
// column renamed or dropped in the same change.
OstTableMeta OstRestructurePlan(const OstTableMeta& stored, const OstTableMeta& wanted);

// Companion tables of a table (fulltext dictionaries) that no other table
// uses: they follow the table's encryption. Directory databases only.
QStringList OstOwnCompanionTables(OstConnection& c, const OstTableMeta& meta);

// Restructures the table from stored to planned (validated beforehand) in
// one transaction; rekeyedCompanions take the table's encryption method in
// their stored definitions. Raises EOstraError and leaves everything as it
// was on any failure.
void OstRestructure(OstConnection& c, const OstTableMeta& stored, const OstTableMeta& planned,
                    const QStringList& rekeyedCompanions, const OstProgress& progress);
