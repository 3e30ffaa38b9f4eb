// Index definitions as text, and the list routines the designer uses for
// key fields and column lists: "Name; -Date" style descriptions, splitting
// and joining ";"-separated lists, quoting, and the test for indexes the
// engine keeps for itself.
#pragma once

#include <QString>
#include <QStringList>

class TIndexDef;
class TIndexDefs;
class TOstFulltextIndexDef;

QString GetIndexDefString(const TIndexDef& def);
QString GetIndexDefString(const TOstFulltextIndexDef& def);
// Appends the trimmed pieces of text between separators to list (emptied
// first when clearFirst).
void SplitIntoStringList(QStringList& list, const QString& text, QChar separator, bool clearFirst);
QString JoinStringList(const QStringList& list, QChar separator);
QString DoubleQuoteStr(const QString& text);
QString DoubleUnQuoteStr(const QString& text);

// Whether an index belongs to the engine (primary index, "sys_..." and
// "TMP..." names, file extensions other than ".ind"); tableLevel is ignored.
bool IsSystemIndex(const QString& name, bool primary, int tableLevel = 0);
bool IsSystemIndex(const TIndexDef& def, int tableLevel = 0);
bool IsSystemIndex(const TOstFulltextIndexDef& def, int tableLevel = 0);

void AssignIndexDef(const TIndexDef& source, TIndexDef& dest);
void AssignIndexDefs(const TIndexDefs& source, TIndexDefs& dest);
