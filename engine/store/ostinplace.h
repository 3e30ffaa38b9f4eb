// Restructures that no stored row can contradict, made on the schema alone:
// columns added at the end with a constant default, renamed columns, wider
// text, higher precision, fewer checks or other messages, dropped foreign
// keys, capacity, and collations that no index or check depends on. The
// table comes out exactly as a rebuild would leave it (stored definition,
// column numbers, record ids, SQL schema), without copying a row.
#pragma once

#include "engine/store/ostmeta.h"

#include <QVector>

class OstConnection;
struct OstTableLocation;

struct OstColumnRename {
    QString from, to;
};

// How a restructure from the stored definitions to the planned ones (see
// OstRestructurePlan) is made.
struct OstInPlacePlan {
    // Why the rows must be copied into a new table, in the user's words
    // ("column \"Qty\" changes its type"); empty when the change is made in place.
    QString rebuildReason;
    QVector<OstColumnRename> renames; // stored columns whose name changes
    QVector<int> added;               // positions in planned.columns of the columns added at the end
    bool InPlace() const { return rebuildReason.isEmpty(); }
};

// Decides on the definitions, asking the connection only whether the default
// value of a new column keeps the column's own rules. Raises only for errors
// of the connection: definitions that do not translate to SQL count as a
// rebuild, which then reports them.
OstInPlacePlan OstPlanInPlace(const OstTableMeta& stored, const OstTableMeta& planned, OstConnection& c);

// For tests and benchmarks: with false, every restructure rebuilds the table
// ("changes in place are switched off"), so that both ways can be compared.
void OstAllowInPlace(bool allowed);

// True when every value the old column can hold is a valid value of the new
// one as it is stored, so that it stays (or is copied) unchanged.
bool OstStoredValuesFit(const OstColumnMeta& from, const OstColumnMeta& to);

// Inside the restructure's transaction, on a plan that is in place: renames
// and adds the columns with ALTER TABLE, then brings the table's and its
// indexes' CREATE statements to exactly the text a rebuild writes (SQLite's
// procedure for changes that leave the stored rows as they are). Views and
// triggers follow the renamed columns. The stored definitions are written
// by the caller.
void OstChangeInPlace(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& stored,
                      const OstTableMeta& planned, const OstInPlacePlan& plan);

// Before a rebuild: the columns of the stored table that keep their data
// take their new names with ALTER TABLE, so that views and triggers follow
// them as they do in place. Returns the stored definitions under the names
// the columns have now (columns that go may have been renamed out of the
// way too).
OstTableMeta OstRenameForRebuild(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& stored,
                                 const OstTableMeta& planned);
