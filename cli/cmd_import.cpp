// ostra import: a new table from a table of another database (any Qt SQL
// driver) or from a CSV file, through the dataset converter.
#include "cli.h"
#include "password.h"

#include "migration/core/classicdataset.h"
#include "migration/core/csvdataset.h"
#include "migration/core/ostdatasetconverter.h"

#include <unistd.h>

namespace cli {

namespace {

// The password of a source connection that refused to open: asked on the terminal.
void AskSourcePassword(const QString& name, const QString& user, QString& password, bool& retry) {
    retry = false;
    if (isatty(STDIN_FILENO) != 1) return;
    Err(user.isEmpty() ? QStringLiteral("Password for %1: ").arg(name) : QStringLiteral("Password of %1 for %2: ").arg(user, name));
    password = ReadTerminalLine(false);
    retry = !password.isEmpty();
}

int ParseLevel(const QString& text) {
    if (text.isEmpty()) return -1;
    bool ok = false;
    const int level = text.toInt(&ok);
    if (!ok || level < OstMinTableLevel || level > OstMaxTableLevel)
        throw UsageError(QStringLiteral("import: --level must be %1 to %2").arg(OstMinTableLevel).arg(OstMaxTableLevel));
    return level;
}

} // namespace

int CmdImport(const Args& a) {
    a.Check({QStringLiteral("from="), QStringLiteral("source-table="), QStringLiteral("csv="), QStringLiteral("type="),
             QStringLiteral("delimiter="), QStringLiteral("level="), QStringLiteral("no-data"), QStringLiteral("report="),
             QStringLiteral("abort-on-problem")},
            2, 2);
    const QString from = a.Value(QStringLiteral("from")), csv = a.Value(QStringLiteral("csv"));
    if (from.isEmpty() == csv.isEmpty()) throw UsageError(QStringLiteral("import: give --from=DRIVER:CONNECTION or --csv=FILE"));
    if (!from.isEmpty() && a.Value(QStringLiteral("source-table")).isEmpty())
        throw UsageError(QStringLiteral("import: --from needs --source-table=NAME"));
    if (!csv.isEmpty() && !a.Value(QStringLiteral("source-table")).isEmpty())
        throw UsageError(QStringLiteral("import: --source-table goes with --from, not --csv"));
    if (from.isEmpty() && (!a.Values(QStringLiteral("type")).isEmpty() || !a.Value(QStringLiteral("delimiter")).isEmpty()) && csv.isEmpty())
        throw UsageError(QStringLiteral("import: --type and --delimiter go with --csv"));
    const int level = ParseLevel(a.Value(QStringLiteral("level")));
    DatabaseRef db(a.positional.at(0));
    const QString table = a.positional.at(1);
    if (!db.FindTable(table).isEmpty()) throw Failure(QStringLiteral("Table \"%1\" already exists").arg(table));

    std::unique_ptr<TDataSet> source;
    TIndexDefs* indexes = nullptr;
    QString sourceName;
    if (!from.isEmpty()) {
        SetClassicOnLogin(AskSourcePassword);
        auto* t = new TTable;
        source.reset(t);
        t->SetDatabaseName(from);
        t->SetTableName(a.Value(QStringLiteral("source-table")));
        sourceName = t->GetTableName();
        indexes = &t->IndexDefs();
    } else {
        auto* c = new TCsvDataSet;
        source.reset(c);
        c->SetFileName(csv);
        sourceName = csv;
        const QString delimiter = a.Value(QStringLiteral("delimiter"));
        if (!delimiter.isEmpty()) {
            const QString d = delimiter == QStringLiteral("\\t") || delimiter == QStringLiteral("tab") ? QStringLiteral("\t") : delimiter;
            if (d.size() != 1 || d == QStringLiteral("\"")) throw UsageError(QStringLiteral("import: --delimiter is one character (or tab)"));
            c->SetDelimiter(d.at(0));
        }
        for (const QString& spec : a.Values(QStringLiteral("type"))) {
            const qsizetype colon = spec.lastIndexOf(u':');
            if (colon <= 0) throw UsageError(QStringLiteral("import: --type reads COLUMN:TYPE, e.g. --type=Zip:string"));
            c->SetColumnType(spec.left(colon), spec.mid(colon + 1));
        }
    }
    source->Open();

    TDBConvertTable convert;
    convert.SetSource(source.get());
    convert.SetDatabase(&db.Database());
    convert.SetTableName(table);
    convert.SetTableLevel(level);
    convert.SetIndexDefs(indexes);
    convert.SetCopyData(!a.Has(QStringLiteral("no-data")));
    const QString report = a.Value(QStringLiteral("report"));
    convert.BatchMove()->SetFileName(report);
    convert.BatchMove()->SetAbortOnProblem(a.Has(QStringLiteral("abort-on-problem")));
    // A single updating line for people watching; scripts and logs get only the result line.
    bool progressShown = false;
    if (StderrIsTerminal()) {
        convert.OnProgress = [&](QObject*, int percent, bool&) {
            Err(QStringLiteral("\rImporting %1 into %2 ... %3%").arg(sourceName, table).arg(percent));
            progressShown = true;
        };
    }
    try {
        convert.Execute();
    } catch (...) {
        if (progressShown) Err(QStringLiteral("\n"));
        throw;
    }
    if (progressShown) Err(QStringLiteral("\n"));
    TOstBatchMove& move = *convert.BatchMove();
    Out(QStringLiteral("Created table %1 with %2 columns; moved %3 records (%4 problems)\n")
            .arg(convert.GetTargetTable()->GetTableName())
            .arg(convert.GetTargetTable()->GetFieldDefsOst().Count())
            .arg(move.MovedCount())
            .arg(move.ProblemCount()));
    if (move.ProblemCount() > 0)
        Err(report.isEmpty() ? QStringLiteral("%1 records could not be moved; --report=FILE lists them with the reason\n").arg(move.ProblemCount())
                             : QStringLiteral("The records that could not be moved are listed in %1\n").arg(report));
    return 0;
}

} // namespace cli
