// Table operations on what is stored: create, delete, empty and rename a
// table, add and drop single indexes. Names are the stored spelling (see
// OstConnection::StoredTableName); each operation raises EOstraError and
// leaves the database as it was when it fails.
#pragma once

#include "engine/base/tdefs.h"
#include "engine/store/ostmeta.h"

class OstConnection;

// The stored definitions of an existing table; raises when there is none or
// when its file holds no readable definition.
OstTableMeta OstStoredMeta(OstConnection& c, const QString& name);

// Creates the table wanted.name with the wanted definitions (validated here);
// returns what was stored, with its storage id and column numbers.
OstTableMeta OstCreateStoredTable(OstConnection& c, const OstTableMeta& wanted);
// Deletes a table that no other table relies on (foreign keys, fulltext
// dictionaries); a directory database's file goes with its journal.
void OstDeleteStoredTable(OstConnection& c, const QString& name);
void OstEmptyStoredTable(OstConnection& c, const QString& name);
// Raises when newName is taken by another table.
void OstCheckRenameTarget(OstConnection& c, const QString& name, const QString& newName);
// Renames a table nobody holds open; foreign keys, links and fulltext
// dictionaries of other tables follow the new name.
void OstRenameStoredTable(OstConnection& c, const QString& name, const QString& newName);

// Adding or dropping one index: the plan checks and returns the new
// definitions (the added index last); the second call stores them.
OstTableMeta OstPlanAddIndex(OstConnection& c, const QString& table, const QString& name, const QString& fields,
                             TIndexOptions options, const QString& descFields, int capacity = 0);
void OstAddStoredIndex(OstConnection& c, const QString& table, const OstTableMeta& planned);
OstTableMeta OstPlanDeleteIndex(OstConnection& c, const QString& table, const QString& name, OstIndexMeta& dropped);
void OstDeleteStoredIndex(OstConnection& c, const QString& table, const OstTableMeta& planned, const OstIndexMeta& dropped);
