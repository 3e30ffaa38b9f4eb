// Commands on a whole database: create-db, tables, sql.
#include "cli.h"
#include "printing.h"

#include "engine/ostquery.h"

#include <QFile>
#include <cstdio>

namespace cli {

int CmdCreateDb(const Args& a) {
    a.Check({QStringLiteral("single-file"), QStringLiteral("catalog")}, 1, 1);
    const QString path = a.positional.at(0);
    if (path.trimmed().isEmpty()) throw UsageError(QStringLiteral("create-db: the path is empty"));
    const bool single = a.Has(QStringLiteral("single-file")) || path.endsWith(QStringLiteral(".ostd"), Qt::CaseInsensitive);
    TOstDatabase db(nullptr);
    db.SetLocation(path);
    db.SetDatabaseType(single ? dbtSingleFile : dbtDirectory);
    db.SetManaged(a.Has(QStringLiteral("catalog")));
    db.CreateDatabase();
    const QString where = db.ResolvedLocation();
    db.Close();
    Out(QStringLiteral("Created %1database %2\n")
            .arg(single ? QStringLiteral("single-file ") : QStringLiteral("directory "), where));
    return 0;
}

int CmdTables(const Args& a) {
    a.Check({QStringLiteral("system")}, 1, 1);
    DatabaseRef db(a.positional.at(0));
    if (!db.ImpliedTable().isEmpty()) {
        // A table file stands for its own table only.
        const QString name = db.FindTable(db.ImpliedTable());
        if (name.isEmpty()) throw Failure(QStringLiteral("%1 is not a table file").arg(a.positional.at(0)));
        Out(name + QLatin1Char('\n'));
        return 0;
    }
    QStringList names;
    db.Database().GetTableNames(names, a.Has(QStringLiteral("system")));
    for (const QString& n : names) Out(n + QLatin1Char('\n'));
    return 0;
}

namespace {

QString ReadStandardInput() {
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly)) throw Failure(QStringLiteral("cannot read standard input"));
    return QString::fromUtf8(in.readAll());
}

} // namespace

int CmdSql(const Args& a) {
    a.Check({QStringLiteral("csv")}, 2, 2);
    const QString text = a.positional.at(1) == QStringLiteral("-") ? ReadStandardInput() : a.positional.at(1);
    if (text.trimmed().isEmpty()) throw Failure(QStringLiteral("no SQL statement given"));
    DatabaseRef db(a.positional.at(0));
    TOstQuery q(nullptr);
    q.SetDatabaseName(db.Name());
    q.SetSQL(text);
    // A statement that returns rows opens; anything else is refused before it runs and is executed instead.
    bool returnsRows = true;
    try {
        q.Open();
    } catch (const EOstraError& e) {
        if (e.ErrorCode() != OstErr::Sql || !e.Message().contains(QStringLiteral("returns no result set"))) throw;
        returnsRows = false;
    }
    if (!returnsRows) {
        q.ExecSQL();
        Out(QStringLiteral("%1 row(s) affected\n").arg(q.RowsAffected()));
        return 0;
    }
    const ResultSet r = ReadResultSet(q);
    Out(a.Has(QStringLiteral("csv")) ? ResultAsCsv(r) : ResultAsTable(r));
    return 0;
}

} // namespace cli
