// A table designer core with a view that records what the designer shows
// and answers its questions from a script.
#pragma once

#include "designer/core/osttabledesignercore.h"
#include "engine/ostdataset.h"

#include <QStringList>
#include <QTemporaryDir>
#include <memory>

class TRecordingView : public ITableDesignerView {
public:
    QStringList shown;    // "error: ...", "info: ...", "question: ...", "status: ..."
    QStringList confirmed; // the lines of each confirmed list, joined with "|"
    QList<int> progress;
    QList<int> selected;
    QList<bool> busy; // each SetBusy, in order
    bool confirm = true;
    TAnswer answer = Yes;
    QString key;
    int reloads = 0;
    bool allowField = true, allowIndex = true;

    void ShowErrorMsg(const QString& t) override { shown.append("error: " + t); }
    void ShowInfoMsg(const QString& t) override { shown.append("info: " + t); }
    TAnswer GetQuestionResult(const QString& t) override {
        shown.append("question: " + t);
        return answer;
    }
    bool ConfirmModifications(const TModifications& list) override {
        confirmed.append(list.Lines().join(u'|'));
        return confirm;
    }
    QString GetEncryptionKey(int method) override {
        shown.append(QStringLiteral("key for %1").arg(method));
        return key;
    }
    void SetProgress(int percent) override { progress.append(percent); }
    void SetStatusText(const QString& t) override { shown.append("status: " + t); }
    void SelectColumns(const QList<int>& p) override { selected = p; }
    void SetBusy(bool b) override { busy.append(b); }
    void DefinitionsReloaded() override { ++reloads; }
    void AllowColumnChanges(bool f, bool i) override {
        allowField = f;
        allowIndex = i;
    }
    QString Last() const { return shown.isEmpty() ? QString() : shown.last(); }
};

// The first column of what sql selects in the database at location.
QStringList ColumnOf(const QString& location, const QString& sql);

// A directory database with People(ID autoinc, Name string 30 not null,
// City string 20, Age integer) holding three rows, and a Tag table.
struct PeopleTable {
    QTemporaryDir dir;
    QString location = dir.filePath("db");
    std::unique_ptr<TOstTable> table;
    PeopleTable();
    // A fresh component on the table, open.
    std::unique_ptr<TOstTable> Open() const;
    QStringList Column(const QString& sql) const { return ColumnOf(location, sql); }
};

// The designer core on PeopleTable with a recording view; tests bind its
// parts: auto& [people, view, core] = fixture.
struct PeopleInCore {
    PeopleTable people;
    TRecordingView view;
    TOstTableDesignerCore core{&view};
    PeopleInCore() { core.SetOstDataset(people.table.get()); }
};
