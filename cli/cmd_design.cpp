// plan and apply: a table definition file run through the table designer's
// core, so the command line lists and applies exactly what the designer's
// Apply button would, in the same order and with the same texts.
#include "cli.h"
#include "password.h"
#include "password.h"
#include "designer/core/osttabledesignercore.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "tabledef_json.h"

#include <QFileInfo>
#include <QJsonObject>
#include <QTextStream>
#include <cstdio>
#include <unistd.h>

namespace cli {

namespace {

bool StdinIsTerminal() { return isatty(STDIN_FILENO) == 1; }

// The designer's view on a terminal: messages on stderr, the change list on
// stdout, questions on stdin, progress as one updating line.
class TTerminalView : public ITableDesignerView {
public:
    TTerminalView(bool listOnly, bool assumeYes, QString password)
        : m_listOnly(listOnly), m_yes(assumeYes), m_password(std::move(password)) {}

    void ShowErrorMsg(const QString& text) override {
        EndProgress();
        Err(QStringLiteral("ostra: %1\n").arg(text));
        failed = true;
    }
    void ShowInfoMsg(const QString& text) override {
        EndProgress();
        Out(text + u'\n');
    }
    TAnswer GetQuestionResult(const QString& text) override { return Ask(text) ? Yes : No; }
    bool ConfirmModifications(const TModifications& list) override {
        for (const QString& line : list.Lines()) Out(line + u'\n');
        if (m_listOnly) return false;
        if (m_yes) return true;
        if (!StdinIsTerminal()) {
            Err(QStringLiteral("ostra: not applied; pass --yes to apply without asking\n"));
            declined = true;
            return false;
        }
        declined = !Ask(QStringLiteral("Apply these changes?"));
        return !declined;
    }
    QString GetEncryptionKey(int method) override {
        if (!m_password.isEmpty() || !StdinIsTerminal()) return m_password;
        Err(method == emClassic ? QStringLiteral("Password and key (password;key): ") : QStringLiteral("Password: "));
        return ReadTerminalLine(false);
    }
    void SetProgress(int percent) override {
        if (!StderrIsTerminal()) return;
        Err(QStringLiteral("\r%1 %2%").arg(m_status).arg(percent));
        m_progressShown = true;
    }
    void SetStatusText(const QString& text) override {
        EndProgress();
        m_status = text;
        // The designer leaves this text after a restructure that went well.
        if (text == u"Restructuring Error" && !failed) return;
        if (StderrIsTerminal() && text != u"Restructuring Done") Err(text + u'\n');
    }

    bool failed = false, declined = false;

private:
    bool Ask(const QString& question) {
        if (m_yes) return true;
        if (!StdinIsTerminal()) return false;
        Err(question + QStringLiteral(" [y/N] "));
        const QString answer = ReadTerminalLine(true).trimmed().toLower();
        return answer == u"y" || answer == u"yes";
    }
    void EndProgress() {
        if (m_progressShown) Err(QStringLiteral("\n"));
        m_progressShown = false;
    }
    bool m_listOnly, m_yes;
    QString m_password, m_status;
    bool m_progressShown = false;
};

qint64 Rows(const QString& database, const QString& table) {
    TOstQuery q(nullptr);
    q.SetDatabaseName(database);
    q.SetSQL(QStringLiteral("SELECT count(*) FROM %1").arg(SqlIdent(table)));
    q.Open();
    return q.FieldValue(0).toLongLong();
}

int Design(const Args& a, bool apply) {
    a.Check(apply ? QStringList{"yes", "table="} : QStringList{"table="}, 2, 2);
    DatabaseRef db(a.positional.at(0));
    const QJsonObject def = ReadJsonObjectFile(a.positional.at(1));
    const QString target = DefinitionTableName(def, a.positional.at(1));
    const QString given = a.Value(QStringLiteral("table")).isEmpty() ? target : a.Value(QStringLiteral("table"));
    const QString stored = db.FindTable(given);
    if (stored.isEmpty() && given != target)
        throw Failure(QStringLiteral("table \"%1\" does not exist in %2").arg(given, db.Location()));

    TOstTable table(nullptr);
    table.SetDatabaseName(db.Name());
    table.SetTableName(stored.isEmpty() ? target : stored);
    TTerminalView view(!apply, a.Has(QStringLiteral("yes")),
                       def.value(QStringLiteral("password")).toString(CommandLinePassword()));
    TOstTableDesignerCore core(&view);
    // A table that does not exist yet is created, as the designer does for a new table.
    core.SetNewTable(stored.isEmpty());
    core.SetOstDataset(&table);
    QJsonObject working = def;
    working.remove(QStringLiteral("password"));
    TableDefinitionFromJson(working, *core.WorkingTable());
    core.WorkingTable()->SetTableName(target);
    // Every column of a table yet to be made is a new one, whatever number the file gives it.
    if (stored.isEmpty())
        for (TOstFieldDef* d : core.Columns()) d->SetFieldNo(0);
    if (def.contains(QStringLiteral("password"))) core.SetEncryptionKey(def.value(QStringLiteral("password")).toString());
    core.WorkingTableReplaced();

    if (!apply) {
        const TModifications& list = core.RefreshModificationsList();
        for (const QString& line : list.Lines()) Out(line + u'\n');
        return 0;
    }
    if (core.Apply()) {
        const qint64 rows = Rows(db.Name(), target);
        Out(QStringLiteral("%1 %2 (%3 %4)\n")
                .arg(core.ChangesApplied() && stored.isEmpty() ? QStringLiteral("Created") : QStringLiteral("Applied to"),
                     target)
                .arg(rows)
                .arg(rows == 1 ? QStringLiteral("row") : QStringLiteral("rows")));
        return 0;
    }
    // Nothing to apply is no failure; a refusal or an error is.
    return view.failed || view.declined ? 1 : 0;
}

} // namespace

int CmdPlan(const Args& a) { return Design(a, false); }
int CmdApply(const Args& a) { return Design(a, true); }

} // namespace cli
