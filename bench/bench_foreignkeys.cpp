// Foreign-key benchmark: deleting every record of a 100,000-record parent
// table of a directory database, with the children's checks and actions.
//
//   bench_foreignkeys [DIR] [--rows=N]
//
// Parent(ID dtAutoInc, Code dtString 10 unique) with N records; children
// Child01.. (ID, Code, ParentCode -> Parent.Code). Cases, each on a fresh database:
//   none          no children: the delete alone.
//   3 cascade     3 children with one record per parent each; all attached,
//                 the temporary triggers delete 3 x N child records.
//   25 reject     25 children with no records; the delete needs more files
//                 than can be attached, so the keys are queued and every child
//                 file is read through a connection of its own.
//   25 cascade    25 children, 3 of which hold one record per parent: the 3
//                 are attached inside the transaction and 3 x N records go.
// Times are wall seconds of one TOstQuery::ExecSQL("DELETE FROM Parent").
#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <cstdio>

namespace {

int g_counter = 0;

void Exec(TOstDatabase& db, const QString& sql) {
    TOstQuery q;
    q.SetDatabaseName(db.GetDatabaseName());
    q.SetSQL(sql);
    q.ExecSQL();
}

void MakeTable(TOstDatabase& db, const QString& name, bool child, TOstForeignKeyAction action) {
    TOstTable t;
    t.SetDatabaseName(db.GetDatabaseName());
    t.SetTableName(name);
    t.GetFieldDefsOst().Add(QStringLiteral("ID"), dtAutoInc, 0);
    t.GetFieldDefsOst().Add(QStringLiteral("Code"), dtString, 10);
    t.IndexDefs().Add(QStringLiteral("ByCode"), QStringLiteral("Code"), ixUnique);
    if (child) {
        t.GetFieldDefsOst().Add(QStringLiteral("ParentCode"), dtString, 10);
        t.IndexDefs().Add(QStringLiteral("ByParent"), QStringLiteral("ParentCode"), TIndexOptions());
        TOstForeignKeyDef* fk = t.GetIntegrityRules().Add(QStringLiteral("FK_") + name);
        fk->ParentTable = QStringLiteral("Parent");
        fk->ChildFields = QStringLiteral("ParentCode");
        fk->ParentFields = QStringLiteral("Code");
        fk->DeleteAction = action;
        fk->UpdateAction = action;
    }
    t.CreateTable();
}

double Run(const QString& dir, int rows, int children, int filled, TOstForeignKeyAction action, int& left) {
    QTemporaryDir tmp(dir + QStringLiteral("/fkbench-XXXXXX"));
    TOstDatabase db(nullptr);
    db.SetDatabaseName(QStringLiteral("FkBench%1").arg(++g_counter));
    db.SetDatabaseType(dbtDirectory);
    db.SetLocation(tmp.filePath(QStringLiteral("db")));
    db.CreateDatabase();
    MakeTable(db, QStringLiteral("Parent"), false, faReject);
    Exec(db, QStringLiteral("INSERT INTO Parent(Code) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                            "SELECT 'P' || i FROM n").arg(rows));
    for (int i = 1; i <= children; ++i) {
        const QString name = QStringLiteral("Child%1").arg(i, 2, 10, QLatin1Char('0'));
        MakeTable(db, name, true, action);
        if (i <= filled)
            Exec(db, QStringLiteral("INSERT INTO %1(Code, ParentCode) SELECT 'C' || ID, Code FROM Parent").arg(name));
    }
    QElapsedTimer timer;
    timer.start();
    Exec(db, QStringLiteral("DELETE FROM Parent"));
    const double s = timer.nsecsElapsed() / 1e9;
    left = 0;
    for (int i = 1; i <= children; ++i) {
        TOstQuery q;
        q.SetDatabaseName(db.GetDatabaseName());
        q.SetSQL(QStringLiteral("SELECT count(*) FROM Child%1").arg(i, 2, 10, QLatin1Char('0')));
        q.Open();
        left += q.Fields()[0]->AsInteger();
    }
    return s;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QString dir = QDir::tempPath();
    int rows = 100000;
    for (const QString& a : app.arguments().mid(1)) {
        if (a.startsWith(QStringLiteral("--rows="))) rows = a.mid(7).toInt();
        else dir = a;
    }
    std::printf("%-12s %10s %14s\n", "case", "seconds", "child records left");
    struct Case { const char* name; int children, filled; TOstForeignKeyAction action; };
    for (const Case& c : {Case{"none", 0, 0, faReject}, Case{"3 cascade", 3, 3, faCascade}, Case{"25 reject", 25, 0, faReject},
                          Case{"25 cascade", 25, 3, faCascade}}) {
        int left = 0;
        const double s = Run(dir, rows, c.children, c.filled, c.action, left);
        std::printf("%-12s %10.2f %14d\n", c.name, s, left);
        std::fflush(stdout);
    }
    return 0;
}
