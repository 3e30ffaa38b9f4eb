// Counting the rows a new Cascade rule will reach (see ostcascadepreview.h).
#include "designer/core/ostcascadepreview.h"

#include "engine/ostdataset.h"
#include "engine/ostquery.h"

namespace {

// A quoted identifier; names that are not valid object names (and so could
// hold a quote) are never put into the statement.
bool Quoted(const QString& name, QString& out) {
    if (!IsValidOstName(name)) return false;
    out = u'"' + name + u'"';
    return true;
}

// Rows of the table whose child columns are all set; -1 when they cannot be counted.
qint64 ReferringRows(TOstTable& table, const QStringList& childFields) {
    QString from;
    QStringList set;
    if (childFields.isEmpty() || !Quoted(table.GetTableName(), from)) return -1;
    for (const QString& f : childFields) {
        QString col;
        if (!Quoted(f.trimmed(), col)) return -1;
        set << col + QStringLiteral(" IS NOT NULL");
    }
    try {
        TOstQuery q;
        q.SetDatabaseName(table.GetDatabaseName());
        q.SetSQL(QStringLiteral("SELECT count(*) FROM %1 WHERE %2").arg(from, set.join(QStringLiteral(" AND "))));
        q.Open();
        return q.IsEmpty() ? 0 : q.Fields()[0]->Value().toLongLong();
    } catch (const Exception&) {
        return -1;
    }
}

} // namespace

QStringList CascadeNotes(TOstTable& designed, const TOstForeignKeyDefs& edited, bool newTable) {
    QStringList notes;
    if (newTable) return notes;
    const TOstForeignKeyDefs& stored = designed.GetIntegrityRules();
    for (const TOstForeignKeyDef* fk : edited) {
        const int at = stored.IndexOf(fk->Name);
        const TOstForeignKeyDef* before = at >= 0 ? stored.GetIntegrityRule(at) : nullptr;
        const bool deletes = fk->DeleteAction == faCascade && (!before || before->DeleteAction != faCascade);
        const bool changes = fk->UpdateAction == faCascade && (!before || before->UpdateAction != faCascade);
        if (!deletes && !changes) continue;
        const qint64 rows = ReferringRows(designed, fk->ChildFields.split(u';', Qt::SkipEmptyParts));
        if (rows <= 0) continue;
        const QString what = deletes && changes ? QStringLiteral("deleting that row deletes them and changing its key changes them")
                             : deletes          ? QStringLiteral("deleting that row deletes them")
                                                : QStringLiteral("changing its key changes them");
        notes << (rows == 1 ? QStringLiteral("Foreign key %1: %2 row of this table refers to a row of \"%3\"; with "
                                             "Cascade, %4.")
                            : QStringLiteral("Foreign key %1: %2 rows of this table refer to a row of \"%3\"; with "
                                             "Cascade, %4."))
                     .arg(fk->Name)
                     .arg(rows)
                     .arg(fk->ParentTable, rows == 1 ? QString(what).replace(QStringLiteral("them"), QStringLiteral("it"))
                                                     : what);
    }
    return notes;
}
