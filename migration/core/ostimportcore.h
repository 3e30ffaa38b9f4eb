// What the two import forms do, without widgets: carrying a classic table
// over to an engine table (its records through the dataset converter, then
// its properties and event handlers), and a classic query's SQL, parameters,
// properties and event handlers over to an engine query.
#pragma once

#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "migration/core/classicdataset.h"

// The classic tables / queries among the components of c's owner, in component order.
QList<TTable*> ClassicTablesOf(const TComponent* c);
QList<TQuery*> ClassicQueriesOf(const TComponent* c);
// Copies the dataset event handlers (BeforeOpen to OnNewRecord).
void CopyDataSetEvents(const TDataSet& from, TDataSet& to);
// The name a table imported from source is offered: its table name without
// schema and extension, made a valid engine name.
QString SuggestedTableName(const TTable& source);

struct TTableImportOptions {
    TTable* Source = nullptr;
    QString TableName;    // of the new engine table
    QString DatabaseName; // a database component's name or a location
    int TableLevel = -1;  // -1: the engine's default
    bool CopyData = true;
    bool AbortOnProblem = false;
    QString ReportFile;   // the records that could not be moved; empty: none
};

struct TTableImportResult {
    int Moved = 0;
    int Problems = 0;
};

// Creates the table (structure and indexes of the source) in the database,
// copies the records (with CopyData), and only then points target at it and
// carries over the source's Filter, Filtered, IndexName, Tag and event
// handlers; target opens when the source was open. A failure or an abort from
// progress leaves target and the database as they were (EConvertTableError,
// EOstraError or EDatabaseError with the reason).
TTableImportResult ImportTable(TOstTable& target, const TTableImportOptions& options, const TOstProgressEvent& progress = {});

// Copies SQL, parameters, Filter, Filtered, Tag and event handlers; the query
// is closed first and left closed.
void ImportQuery(const TQuery& from, TOstQuery& to);
