// ostra copy: moves the records of one table into another through TOstBatchMove.
#include "cli.h"

#include "engine/ostbatchmove.h"
#include "engine/ostdataset.h"

namespace cli {

namespace {

TOstBatchMove::TBatchMode ParseMode(const QString& text) {
    static const struct {
        const char* name;
        TOstBatchMove::TBatchMode mode;
    } modes[] = {{"append", TOstBatchMove::batAppend}, {"update", TOstBatchMove::batUpdate},
                 {"appendupdate", TOstBatchMove::batAppendUpdate}, {"delete", TOstBatchMove::batDelete},
                 {"copy", TOstBatchMove::batCopy}};
    if (text.isEmpty()) return TOstBatchMove::batAppend;
    for (const auto& m : modes)
        if (text.compare(QLatin1String(m.name), Qt::CaseInsensitive) == 0) return m.mode;
    throw UsageError(QStringLiteral("copy: unknown mode \"%1\" (append, update, appendupdate, delete or copy)").arg(text));
}

// A table component of the module; its database is found by its location.
TOstTable* TableOf(TComponent& module, const QString& component, DatabaseRef& db, const QString& table) {
    auto* t = new TOstTable(&module);
    t->SetName(component);
    t->SetDatabaseName(db.Location());
    t->SetTableName(table);
    return t;
}

} // namespace

int CmdCopy(const Args& a) {
    a.Check({QStringLiteral("mode="), QStringLiteral("map="), QStringLiteral("report=")}, 4, 4);
    const TOstBatchMove::TBatchMode mode = ParseMode(a.Value(QStringLiteral("mode")));
    DatabaseRef srcDb(a.positional.at(0));
    const QString srcTable = srcDb.RequireTable(a.positional.at(1));
    DatabaseRef dstDb(a.positional.at(2));
    const QString dstTable = dstDb.RequireTable(a.positional.at(3));

    // The batch move finds its source and destination among its owner's components.
    TComponent module;
    TableOf(module, QStringLiteral("Source"), srcDb, srcTable);
    TableOf(module, QStringLiteral("Destination"), dstDb, dstTable);
    TOstBatchMove move(&module);
    move.SetSourceName(QStringLiteral("Source"));
    move.SetDestinationName(QStringLiteral("Destination"));
    move.SetMode(mode);
    move.SetMappings(a.Values(QStringLiteral("map")));
    const QString report = a.Value(QStringLiteral("report"));
    move.SetFileName(report);

    // A single updating line for people watching; scripts and logs get only the result line.
    bool progressShown = false;
    if (StderrIsTerminal()) {
        move.OnProgress = [&](QObject*, int percent, bool&) {
            Err(QStringLiteral("\rCopying %1 into %2 ... %3%").arg(srcTable, dstTable).arg(percent));
            progressShown = true;
        };
    }
    try {
        move.Execute();
    } catch (...) {
        if (progressShown) Err(QStringLiteral("\n"));
        throw;
    }
    if (progressShown) Err(QStringLiteral("\n"));
    Out(QStringLiteral("Moved %1 records (%2 problems)\n").arg(move.MovedCount()).arg(move.ProblemCount()));
    if (move.ProblemCount() > 0)
        Err(report.isEmpty() ? QStringLiteral("%1 records could not be moved; --report=FILE lists them with the reason\n").arg(move.ProblemCount())
                             : QStringLiteral("The records that could not be moved are listed in %1\n").arg(report));
    return 0;
}

} // namespace cli
