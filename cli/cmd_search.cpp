// ostra search: the records of a table that a fulltext search finds, ranked.
#include "cli.h"
#include "printing.h"

#include "engine/ostquery.h"

namespace cli {

int CmdSearch(const Args& a) {
    a.Check({QStringLiteral("any"), QStringLiteral("index="), QStringLiteral("csv")}, 2, 3);
    DatabaseRef db(a.positional.at(0));
    // With a "DIR/NAME.dat" argument the table may be left out.
    const bool implied = a.positional.size() == 2;
    if (implied && db.ImpliedTable().isEmpty()) throw UsageError(QStringLiteral("search: missing TABLE or WORDS"));
    const QString table = db.RequireTable(implied ? db.ImpliedTable() : a.positional.at(1));
    const QString words = a.positional.last();

    // The SQL form of a search, so that the command shows what ostra sql can do.
    TOstQuery q(nullptr);
    q.SetDatabaseName(db.Name());
    q.SetSQL(QStringLiteral("SELECT t.*, s.Relevance FROM ostra_search(:table, :words, :index, :mode) AS s "
                            "JOIN %1 AS t ON t.rowid = s.RecordId ORDER BY s.Relevance DESC, s.RecordId")
                 .arg(SqlIdent(table)));
    q.SetParam(QStringLiteral("table"), table);
    q.SetParam(QStringLiteral("words"), words);
    q.SetParam(QStringLiteral("index"), a.Value(QStringLiteral("index")));
    q.SetParam(QStringLiteral("mode"), a.Has(QStringLiteral("any")) ? QStringLiteral("any") : QStringLiteral("all"));
    q.Open();
    const ResultSet r = ReadResultSet(q);
    Out(a.Has(QStringLiteral("csv")) ? ResultAsCsv(r) : ResultAsTable(r));
    return 0;
}

} // namespace cli
