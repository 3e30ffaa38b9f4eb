// The rules a table's definitions must obey (table-level thresholds, names,
// index definitions, foreign keys, checks, auto-increment indication).
#pragma once

#include "engine/store/ostmeta.h"

class OstConnection;

// Raises EOstraError naming the column or index and the rule it breaks; code
// OstErr::InvalidIndication for a bad dtAutoInc indication. With a connection,
// linked and parent tables are checked too.
void OstValidateMeta(const OstTableMeta& meta, OstConnection* conn = nullptr);
