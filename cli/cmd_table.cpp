// Commands on one table: describe, create-table, alter, drop-table.
#include "cli.h"
#include "printing.h"
#include "tabledef_json.h"

#include "engine/ostquery.h"

#include <QFileInfo>
#include <QHash>
#include <QSet>

namespace cli {

QString DefinitionTableName(const QJsonObject& def, const QString& file) {
    const QString name = JsonTableName(def);
    return name.isEmpty() ? QFileInfo(file).completeBaseName() : name;
}

namespace {

qint64 RowCount(const QString& database, const QString& table) {
    TOstQuery q(nullptr);
    q.SetDatabaseName(database);
    q.SetSQL(QStringLiteral("SELECT count(*) FROM %1").arg(SqlIdent(table)));
    q.Open();
    const qint64 n = q.FieldValue(0).toLongLong();
    q.Close();
    return n;
}

// Column numbers select the stored column a new definition continues; the
// engine quietly turns an unknown or repeated number into a new, empty
// column, which would drop that column's data - refuse both instead.
void CheckColumnNumbers(TOstTable& t, const QSet<int>& stored, const QString& table) {
    QHash<int, QString> seen;
    for (TOstFieldDef* d : t.GetFieldDefsOst()) {
        const int n = d->GetFieldNo();
        if (n == 0) continue;
        if (!stored.contains(n))
            throw Failure(QStringLiteral("column \"%1\": number %2 is not a column of table \"%3\" (leave \"number\" out for a new column)")
                              .arg(d->GetName()).arg(n).arg(table));
        if (seen.contains(n))
            throw Failure(QStringLiteral("columns \"%1\" and \"%2\" both have number %3").arg(seen.value(n), d->GetName()).arg(n));
        seen.insert(n, d->GetName());
    }
}

} // namespace

int CmdDescribe(const Args& a) {
    a.Check({QStringLiteral("json")}, 1, 2);
    DatabaseRef db(a.positional.at(0));
    const QString wanted = a.positional.size() > 1 ? a.positional.at(1) : db.ImpliedTable();
    if (wanted.isEmpty()) throw UsageError(QStringLiteral("describe: missing TABLE"));
    const QString name = db.RequireTable(wanted);
    TOstTable t(nullptr);
    t.SetDatabaseName(db.Name());
    t.SetTableName(name);
    t.ReadDefinitions();
    if (a.Has(QStringLiteral("json"))) {
        QJsonObject def = TableDefinitionToJson(t, name);
        AddIndexStatistics(def, t);
        Out(FormatDefinitionJson(def));
    } else {
        Out(DefinitionSummary(t, name));
    }
    return 0;
}

int CmdCreateTable(const Args& a) {
    a.Check({}, 2, 2);
    DatabaseRef db(a.positional.at(0));
    const QJsonObject def = ReadJsonObjectFile(a.positional.at(1));
    const QString name = DefinitionTableName(def, a.positional.at(1));
    const QString existing = db.FindTable(name);
    if (!existing.isEmpty()) throw Failure(QStringLiteral("table \"%1\" already exists (use alter to change it)").arg(existing));
    TOstTable t(nullptr);
    t.SetDatabaseName(db.Name());
    t.SetTableName(name);
    TableDefinitionFromJson(def, t);
    t.CreateTable();
    Out(QStringLiteral("Created table %1 (%2 columns)\n").arg(name).arg(t.GetFieldDefsOst().Count()));
    return 0;
}

int CmdAlter(const Args& a) {
    a.Check({}, 2, 2);
    DatabaseRef db(a.positional.at(0));
    const QJsonObject def = ReadJsonObjectFile(a.positional.at(1));
    const QString given = DefinitionTableName(def, a.positional.at(1));
    const QString name = db.FindTable(given);
    if (name.isEmpty())
        throw Failure(QStringLiteral("table \"%1\" does not exist in %2 (use create-table to create it)").arg(given, db.Location()));

    TOstTable t(nullptr);
    t.SetDatabaseName(db.Name());
    t.SetTableName(name);
    t.ReadDefinitions();
    QSet<int> stored;
    for (TOstFieldDef* d : t.GetFieldDefsOst()) stored.insert(d->GetFieldNo());
    TableDefinitionFromJson(def, t);
    CheckColumnNumbers(t, stored, name);

    // A single updating line for people watching; scripts and logs get only the result line.
    bool progressShown = false;
    if (StderrIsTerminal()) {
        t.OnProgress = [&](QObject*, int percent, bool&) {
            Err(QStringLiteral("\rRestructuring %1 ... %2%").arg(name).arg(percent));
            progressShown = true;
        };
    }
    bool inPlace = false;
    try {
        inPlace = t.CanAlterInPlace();
        t.AlterTable();
    } catch (...) {
        if (progressShown) Err(QStringLiteral("\n"));
        throw;
    }
    if (progressShown) Err(QStringLiteral("\n"));
    const qint64 rows = RowCount(db.Name(), name);
    Out(QStringLiteral("Restructured %1%2 (%3 %4)\n")
            .arg(name, inPlace ? QStringLiteral(" in place") : QString())
            .arg(rows)
            .arg(rows == 1 ? QStringLiteral("row") : QStringLiteral("rows")));
    return 0;
}

int CmdDropTable(const Args& a) {
    a.Check({}, 2, 2);
    DatabaseRef db(a.positional.at(0));
    const QString name = db.RequireTable(a.positional.at(1));
    TOstTable t(nullptr);
    t.SetDatabaseName(db.Name());
    t.SetTableName(name);
    t.DeleteTable();
    Out(QStringLiteral("Deleted table %1\n").arg(name));
    return 0;
}

} // namespace cli
