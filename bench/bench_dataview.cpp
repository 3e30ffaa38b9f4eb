// Seeing the data of a large table: the Studio's Data view opened on a table
// of 1,000,000 rows up to the first painted rows, scrolled to its last row,
// and the SQL editor running "SELECT *" on it up to the first painted rows,
// with the memory the process holds before and after, and a query's whole
// result read in order with Next. Run it offscreen:
//
//   QT_QPA_PLATFORM=offscreen build/bench/bench_dataview [DIR] [--rows=N] [--runs=N]
//
// The table (8 columns, 3 indexes, as bench_alter builds it) is made in DIR
// (a temporary folder by default) and kept there for the next run.
// Targets on a 2-core machine: first rows under 200 ms, the end under 1 s,
// the editor's first rows under 200 ms; memory that does not grow with the rows.
#include "common/ostdatasetmodel.h"
#include "engine/base/tdatamodule.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "query/ostsqledit.h"
#include "studio/dataview.h"
#include "studio/designintf/designer.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QTableView>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>

namespace {

int Option(const QStringList& args, const QString& name, int fallback) {
    for (const QString& a : args)
        if (a.startsWith("--" + name + "=")) return a.mid(name.size() + 3).toInt();
    return fallback;
}

double Median(QList<double> v) {
    std::sort(v.begin(), v.end());
    return v.isEmpty() ? 0 : v[v.size() / 2];
}

// Resident memory of the process in MB.
double ResidentMB() {
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly)) return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:")) return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    return 0;
}

void MakeTable(const QString& location, int rows) {
    TOstDatabase db;
    db.SetLocation(location);
    db.SetDatabaseType(dbtSingleFile);
    if (QFile::exists(location)) {
        TOstQuery q;
        q.SetDatabaseName(location);
        q.SetSQL("SELECT count(*) FROM Items");
        try {
            q.Open();
            if (q.Fields()[0]->AsInteger() == rows) return;
        } catch (const Exception&) {
        }
        q.Close();
        QFile::remove(location);
    }
    std::fprintf(stderr, "making %d rows in %s ...\n", rows, qPrintable(location));
    db.CreateDatabase();
    TOstTable t;
    t.SetDatabaseName(location);
    t.SetTableName("Items");
    t.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
    t.GetFieldDefsOst().Add("Name", dtString, 40);
    t.GetFieldDefsOst().Add("City", dtString, 30);
    t.GetFieldDefsOst().Add("Qty", dtInteger, 0);
    t.GetFieldDefsOst().Add("Price", dtFloat, 0);
    t.GetFieldDefsOst().Add("Day", dtDate, 0);
    t.GetFieldDefsOst().Add("Note", dtMemo, 0);
    t.GetFieldDefsOst().Add("Flag", dtBoolean, 0);
    t.IndexDefs().Add("ByName", "Name", TIndexOptions(ixUnique));
    t.IndexDefs().Add("ByCityQty", "City;Qty", TIndexOptions());
    t.IndexDefs().Add("ByDay", "Day", TIndexOptions());
    t.CreateTable();
    TOstQuery fill;
    fill.SetDatabaseName(location);
    fill.SetSQL(QStringLiteral("WITH RECURSIVE k(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM k WHERE i < %1) "
                               "INSERT INTO Items(Name, City, Qty, Price, Day, Note, Flag) SELECT 'Name ' || (i * 7919 % %2), "
                               "'City ' || (i % 100), i % 1000, (i % 10000) / 100.0, date('2020-01-01', '+' || (i % 1500) || ' days'), "
                               "'A note for row ' || i, i % 2 FROM k")
                    .arg(rows)
                    .arg(1000003));
    fill.ExecSQL();
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    const int rows = Option(args, "rows", 1000000);
    const int runs = Option(args, "runs", 5);
    QTemporaryDir tmp;
    QString dir = tmp.path();
    for (const QString& a : args)
        if (!a.startsWith("--")) dir = a;
    QDir().mkpath(dir);
    const QString location = QDir(dir).absoluteFilePath("dataview.ostd");
    MakeTable(location, rows);

    QList<double> open, end, editor, counted;
    double memoryBefore = 0, memoryAfter = 0;
    for (int run = 0; run < runs; ++run) {
        TDataModule module;
        module.SetName("Bench");
        auto* table = new TOstTable(&module);
        table->SetName("Items");
        table->SetDatabaseName(location);
        table->SetTableName("Items");
        TDesigner designer(&module);
        TDataView view;
        view.resize(1000, 600);
        view.show();
        view.SetDesigner(&designer);
        app.processEvents();
        if (run == 0) memoryBefore = ResidentMB();

        // The Data view on the table, up to its first painted rows.
        QElapsedTimer clock;
        clock.start();
        view.ShowComponent(table);
        view.Grid()->viewport()->repaint();
        open << clock.nsecsElapsed() / 1e6;
        if (view.Model()->rowCount() != rows) {
            std::fprintf(stderr, "the view shows %d rows, not %d: %s\n", view.Model()->rowCount(), rows,
                         qPrintable(view.StatusLabel()->text()));
            return 1;
        }
        // Straight to the last row.
        clock.restart();
        view.Grid()->scrollToBottom();
        view.Grid()->viewport()->repaint();
        end << clock.nsecsElapsed() / 1e6;
        const QString last = view.Model()->index(rows - 1, 6).data().toString();
        if (last != QStringLiteral("A note for row %1").arg(rows)) {
            std::fprintf(stderr, "the last row shows \"%s\"\n", qPrintable(last));
            return 1;
        }
        if (run == 0) memoryAfter = ResidentMB();

        // The SQL editor running SELECT * on it, up to its first painted rows, then its count.
        TSQLEditForm form({}, {}, QString(), "\"", {}, [&] {
            auto q = std::make_unique<TOstQuery>(nullptr);
            q->SetDatabaseName(location);
            return q;
        });
        form.resize(1000, 700);
        form.show();
        form.SetSQLText("SELECT * FROM Items");
        app.processEvents();
        clock.restart();
        form.RunActExecute();
        form.ResultGrid()->viewport()->repaint();
        editor << clock.nsecsElapsed() / 1e6;
        clock.restart();
        while (form.ResultModel()->rowCount() < rows && clock.elapsed() < 10000) app.processEvents();
        counted << clock.nsecsElapsed() / 1e6;
    }
    // A whole result read in order (as ostra sql prints it): a run of pages at a time.
    QList<double> walk;
    for (int run = 0; run < qMin(runs, 3); ++run) {
        TOstQuery q;
        q.SetDatabaseName(location);
        q.SetSQL("SELECT * FROM Items");
        QElapsedTimer clock;
        clock.start();
        q.Open();
        qint64 sum = 0;
        for (; !q.Eof(); q.Next()) sum += q.Fields()[3]->AsInteger();
        walk << clock.nsecsElapsed() / 1e6;
        if (sum <= 0) return 1;
    }
    std::printf("rows %d, runs %d (median ms)\n", rows, runs);
    std::printf("  Data view, first painted rows   %8.1f ms  (target < 200)\n", Median(open));
    std::printf("  Data view, scrolled to the end  %8.1f ms  (target < 1000)\n", Median(end));
    std::printf("  SQL editor SELECT *, first rows %8.1f ms  (target < 200)\n", Median(editor));
    std::printf("  SQL editor, all rows counted    %8.1f ms\n", Median(counted));
    std::printf("  TOstQuery, every row with Next  %8.1f ms\n", Median(walk));
    std::printf("  resident memory %.0f MB before, %.0f MB after the first run's view (%.1f bytes per row)\n",
                memoryBefore, memoryAfter, (memoryAfter - memoryBefore) * 1024 * 1024 / rows);
    return 0;
}
