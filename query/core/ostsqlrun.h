// What the SQL editor's Run command runs, decided before anything runs: the
// selection when there is one, else the whole text; of a text of several
// statements that only read, the statement at the caret. Every statement is
// compiled first, under the engine's guard over user SQL, so a statement
// that does not compile is reported at its place and nothing runs.
#pragma once

#include <QString>

class TOstQuery;

struct TSqlRunPlan {
    QString Sql;              // what runs
    int Offset = 0;           // where Sql starts in the editor's text
    int Statements = 0;       // how many statements Sql holds
    bool ChangesData = false; // a statement writes (or changes structure): ask first
    bool ReturnsRows = false; // one statement returning rows: opened and shown
};

// Compiles through query, whose SQL becomes what is checked. selectionStart
// equal to selectionEnd: no selection. EOstraSqlError with the position in
// the editor's text of a statement that does not compile or is refused, or
// when there is nothing to run.
TSqlRunPlan PlanSqlRun(TOstQuery& query, const QString& text, int selectionStart, int selectionEnd, int caret);

// "1 row", "25 rows", "1,000,000 rows"
QString RowCountText(qint64 rows);
// "0.4 ms", "12 ms", "1.25 s"
QString DurationText(qint64 nanoseconds);
