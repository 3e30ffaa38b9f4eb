// What a new Cascade rule will do to rows that exist. Before the user
// confirms the changes, the designer says how many rows of the table follow
// a parent row through a foreign key whose update or delete action becomes
// Cascade, so that nobody learns it from rows that vanish later.
#pragma once

#include <QStringList>

class TOstTable;
class TOstForeignKeyDefs;

// One note per foreign key of edited whose update or delete action becomes
// Cascade (the key is new, or had another action in designed's stored
// definitions) while rows of the stored table refer to a parent row (all
// their child columns set). Nothing for a new table, nor when the rows
// cannot be counted (a child column that is new in this edit).
QStringList CascadeNotes(TOstTable& designed, const TOstForeignKeyDefs& edited, bool newTable);
