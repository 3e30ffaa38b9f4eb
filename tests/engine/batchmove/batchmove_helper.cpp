// Shared fixtures of the batch move tests.
#include "batchmove_helper.h"

#include <QFile>

TOstTable* AddTable(TComponent& root, const QString& component, TestDb& db, const QString& table) {
    auto* t = new TOstTable(&root);
    t->SetName(component);
    t->SetDatabaseName(db.db->GetDatabaseName());
    t->SetTableName(table);
    return t;
}

Module::Module() {
    move->SetName(QStringLiteral("Move"));
    move->SetSourceName(QStringLiteral("Source"));
    move->SetDestinationName(QStringLiteral("Destination"));
}

TOstQuery* Module::SourceQuery(TestDb& db, const QString& sql) {
    auto* q = new TOstQuery(&root);
    q->SetName(QStringLiteral("Source"));
    q->SetDatabaseName(db.db->GetDatabaseName());
    q->SetSQL(sql);
    return q;
}

QString Rows(TestDb& db, const QString& sql) {
    TOstQuery q;
    q.SetDatabaseName(db.db->GetDatabaseName());
    q.SetSQL(sql);
    q.Open();
    QStringList rows;
    for (q.First(); !q.Eof(); q.Next()) {
        QStringList cells;
        for (TField* f : q.Fields()) cells << (f->IsNull() ? QStringLiteral("NULL") : f->AsString());
        rows << cells.join(u'|');
    }
    return rows.join(u'\n');
}

QStringList FileLines(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return {QStringLiteral("<missing>")};
    return QString::fromUtf8(f.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

void MakeSimpleTables(TestDb& db, bool keyed) {
    auto src = db.Table(QStringLiteral("Src"));
    AddColumn(*src, "Code", dtString, 10);
    AddColumn(*src, "Name", dtString, 20);
    AddColumn(*src, "Qty", dtInteger);
    src->CreateTable();
    auto dst = db.Table(QStringLiteral("Dst"));
    AddColumn(*dst, "Code", dtString, 10, false);
    AddColumn(*dst, "Name", dtString, 20);
    AddColumn(*dst, "Qty", dtInteger);
    if (keyed) dst->IndexDefs().Add(QStringLiteral("PK"), QStringLiteral("Code"), ixPrimary | ixUnique);
    dst->CreateTable();
}

void FillNumbered(TestDb& db, const QString& table, int rows) {
    db.Exec(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                           "INSERT INTO %2(Code, Name, Qty) SELECT printf('K%06d', i), 'name ' || i, i FROM n").arg(rows).arg(table));
}
