// The import forms' work: ImportTable through the dataset converter, ImportQuery.
#include "migration/core/ostimportcore.h"

#include "migration/core/ostdatasetconverter.h"

template <class T> static QList<T*> OwnersComponents(const TComponent* c) {
    QList<T*> out;
    if (!c || !c->Owner()) return out;
    for (TComponent* other : c->Owner()->Components())
        if (auto* t = qobject_cast<T*>(other)) out << t;
    return out;
}

QList<TTable*> ClassicTablesOf(const TComponent* c) { return OwnersComponents<TTable>(c); }
QList<TQuery*> ClassicQueriesOf(const TComponent* c) { return OwnersComponents<TQuery>(c); }

void CopyDataSetEvents(const TDataSet& from, TDataSet& to) {
    to.BeforeOpen = from.BeforeOpen;
    to.AfterOpen = from.AfterOpen;
    to.BeforeClose = from.BeforeClose;
    to.AfterClose = from.AfterClose;
    to.BeforeInsert = from.BeforeInsert;
    to.AfterInsert = from.AfterInsert;
    to.BeforeEdit = from.BeforeEdit;
    to.AfterEdit = from.AfterEdit;
    to.BeforePost = from.BeforePost;
    to.AfterPost = from.AfterPost;
    to.BeforeCancel = from.BeforeCancel;
    to.AfterCancel = from.AfterCancel;
    to.BeforeDelete = from.BeforeDelete;
    to.AfterDelete = from.AfterDelete;
    to.OnNewRecord = from.OnNewRecord;
}

QString SuggestedTableName(const TTable& source) {
    QString name = source.GetTableName().trimmed();
    // "orders.dbf" -> "orders", then "sales.orders" -> "orders".
    for (const char* ext : {".dbf", ".db", ".dat", ".sqlite", ".sqlite3", ".csv"})
        if (name.endsWith(QLatin1String(ext), Qt::CaseInsensitive)) name.chop(static_cast<int>(qstrlen(ext)));
    name = name.mid(name.lastIndexOf(u'.') + 1);
    return name.isEmpty() ? QString() : ConvertToValidOstName(name);
}

TTableImportResult ImportTable(TOstTable& target, const TTableImportOptions& o, const TOstProgressEvent& progress) {
    if (!o.Source) throw EConvertTableError(QStringLiteral("Source not specified"));
    TTable& source = *o.Source;
    // The database the new table goes to: a database component, or a bare
    // location, as a table finds it (one of no owner: nothing shows up in
    // the module while the records are copied).
    const std::unique_ptr<TOstTable> lookup(new TOstTable(nullptr));
    lookup->SetDatabaseName(o.DatabaseName.trimmed());
    TOstDatabase* db = o.DatabaseName.trimmed().isEmpty() ? nullptr : lookup->GetDatabase();
    if (!db) throw EConvertTableError(QStringLiteral("Choose the database the new table goes to"));

    // The whole table is carried over; its filter goes along as a property.
    const bool wasOpen = source.Active(), wasFiltered = source.GetFiltered();
    struct Restore {
        TTable& t;
        bool open, filtered;
        ~Restore() {
            try {
                if (!open) t.Close();
                t.SetFiltered(filtered);
            } catch (...) {
            }
        }
    } restore{source, wasOpen, wasFiltered};
    if (wasFiltered) source.SetFiltered(false);
    if (!source.Active()) source.Open();

    TDBConvertTable convert;
    convert.SetSource(&source);
    convert.SetDatabase(db);
    convert.SetTableName(o.TableName.trimmed());
    convert.SetTableLevel(o.TableLevel);
    convert.SetIndexDefs(&source.IndexDefs());
    convert.SetCopyData(o.CopyData);
    convert.BatchMove()->SetAbortOnProblem(o.AbortOnProblem);
    convert.BatchMove()->SetFileName(o.ReportFile);
    convert.OnProgress = progress;
    convert.Execute();
    TTableImportResult result{convert.BatchMove()->MovedCount(), convert.BatchMove()->ProblemCount()};
    const QString created = convert.GetTargetTable()->GetTableName();

    // The table is there: now the component follows it.
    QString indexName;
    if (const TIndexDef* ix = source.IndexDefs().Find(source.GetIndexName().trimmed()))
        indexName = ix->Name;
    target.Close();
    target.SetDatabaseName(o.DatabaseName.trimmed());
    target.SetTableName(created);
    target.GetFieldDefsOst().Clear();
    target.IndexDefs().Clear();
    target.SetIndexName(indexName);
    target.SetFilter(source.GetFilter());
    target.SetFiltered(wasFiltered);
    target.SetTag(source.GetTag());
    CopyDataSetEvents(source, target);
    if (wasOpen) target.Open();
    return result;
}

void ImportQuery(const TQuery& from, TOstQuery& to) {
    to.Close();
    to.SetSQLLines(from.GetSQL());
    to.ClearParams();
    for (const QString& name : from.ParamNames()) to.SetParam(name, from.ParamByName(name));
    to.SetFilter(from.GetFilter());
    to.SetFiltered(from.GetFiltered());
    to.SetTag(from.GetTag());
    CopyDataSetEvents(from, to);
}
