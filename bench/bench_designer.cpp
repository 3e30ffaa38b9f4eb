// Table designer benchmark on a wide table: opening the designer (its core
// alone, and the whole window up to its first paint) on a table of 2,000
// columns, and one edit of a column name there, from the change of the name
// to refreshed dirty flags (the change list rebuilt and compared column by
// column), which the designer does after every edit. Run it offscreen:
//
//   QT_QPA_PLATFORM=offscreen build/bench/bench_designer
//
//   bench_designer [DIR] [--columns=N] [--edits=N]
//
// Target: below 5 ms per edit on a 2-core machine.
#include "designer/core/osttabledesignercore.h"
#include "designer/osttabledesigner.h"
#include "engine/ostdataset.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>

namespace {

class TQuietView : public ITableDesignerView {
public:
    void ShowErrorMsg(const QString& t) override { std::fprintf(stderr, "error: %s\n", qPrintable(t)); }
    void ShowInfoMsg(const QString&) override {}
    TAnswer GetQuestionResult(const QString&) override { return Yes; }
    bool ConfirmModifications(const TModifications&) override { return true; }
    QString GetEncryptionKey(int) override { return QString(); }
    void SetProgress(int) override {}
    void SetStatusText(const QString&) override {}
};

int Option(const QStringList& args, const QString& name, int fallback) {
    for (const QString& a : args)
        if (a.startsWith("--" + name + "=")) return a.mid(name.size() + 3).toInt();
    return fallback;
}

double Percentile(QList<double> v, int percent) {
    std::sort(v.begin(), v.end());
    return v.isEmpty() ? 0 : v[std::min<qsizetype>(v.size() - 1, v.size() * percent / 100)];
}
double Median(const QList<double>& v) { return Percentile(v, 50); }

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    const int columns = Option(args, "columns", 2000);
    const int edits = Option(args, "edits", 200);
    QTemporaryDir tmp;
    QString dir = tmp.path();
    for (const QString& a : args)
        if (!a.startsWith("--")) dir = a;

    const QString location = dir + "/wide.ostd";
    QFile::remove(location);
    {
        TOstDatabase db;
        db.SetLocation(location);
        db.SetDatabaseType(dbtSingleFile);
        db.CreateDatabase();
        TOstTable t;
        t.SetDatabaseName(location);
        t.SetTableName("Wide");
        for (int i = 1; i <= columns; ++i)
            t.GetFieldDefsOst().Add(QStringLiteral("Column%1").arg(i), i % 3 == 0 ? dtInteger : dtString, 20);
        t.CreateTable();
    }
    TOstTable table;
    table.SetDatabaseName(location);
    table.SetTableName("Wide");
    table.Open();

    TQuietView view;
    QList<double> opens;
    for (int run = 0; run < 5; ++run) {
        TOstTableDesignerCore core(&view);
        QElapsedTimer t;
        t.start();
        core.SetOstDataset(&table);
        opens.append(t.nsecsElapsed() / 1e6);
        core.RestoreIndexName();
    }

    QList<double> windows;
    for (int run = 0; run < 3; ++run) {
        QElapsedTimer t;
        t.start();
        TOstTableDesigner designer;
        designer.SetOstDataset(&table);
        designer.show();
        QApplication::processEvents();
        windows.append(t.nsecsElapsed() / 1e6);
        designer.Core().RestoreIndexName();
    }

    TOstTableDesignerCore core(&view);
    core.SetOstDataset(&table);
    QList<double> perEdit;
    for (int i = 0; i < edits; ++i) {
        TOstFieldDef* def = core.Columns()[(i * 7919) % columns];
        QElapsedTimer t;
        t.start();
        const QString old = def->GetName();
        def->SetName(old + QStringLiteral("_x"));
        core.ColumnRenamed(old, def->GetName());
        core.UpdateDirtyFlags();
        perEdit.append(t.nsecsElapsed() / 1e6);
    }
    std::printf("columns                 %d\n", columns);
    std::printf("open designer core      %.1f ms (median of %lld)\n", Median(opens), static_cast<long long>(opens.size()));
    std::printf("open designer window    %.1f ms (median of %lld, to the first paint)\n", Median(windows),
                static_cast<long long>(windows.size()));
    std::printf("edit to dirty flags     %.3f ms median, %.3f ms 95th percentile, %.3f ms worst (%d edits; target < 5 ms)\n",
                Median(perEdit), Percentile(perEdit, 95), *std::max_element(perEdit.begin(), perEdit.end()), edits);
    std::printf("change list entries     %d\n", core.Modifications().Count());
    return 0;
}
