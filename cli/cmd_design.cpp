// plan and apply: a table definition file run through the table designer's
// core, so the command line lists and applies exactly what the designer's
// Apply button would, in the same order and with the same texts.
#include "cli.h"
#include "password.h"
#include "designer/core/osttabledesignercore.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "tabledef_json.h"

#include "designer/core/osttableprops.h"
#include "indexdef/core/ostindexdefcore.h"

#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <cstdio>
#include <functional>
#include <unistd.h>

namespace cli {

namespace {

bool StdinIsTerminal() { return isatty(STDIN_FILENO) == 1; }

// The designer's view on a terminal: messages on stderr, the change list on
// stdout, questions on stdin, progress as one updating line.
class TTerminalView : public ITableDesignerView {
public:
    TTerminalView(bool listOnly, bool assumeYes, QString password, QString table)
        : m_listOnly(listOnly), m_yes(assumeYes), m_password(std::move(password)), m_table(std::move(table)) {}

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
        // What the apply will cost: in place, or a rebuild that copies every row.
        if (cost && !list.IsEmpty())
            if (const QString line = cost(); !line.isEmpty()) Out(line + u'\n');
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
        if (!m_password.isEmpty()) return m_password;
        if (!StdinIsTerminal()) {
            ShowErrorMsg(QStringLiteral("table \"%1\" is to be encrypted with \"%2\" and needs a password: give "
                                        "--password or a \"password\" key in the definition")
                             .arg(m_table, GetEncryptionMethodName(method)));
            return QString();
        }
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
    std::function<QString()> cost; // the line after the change list

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
    QString m_password, m_table, m_status;
    bool m_progressShown = false;
};

qint64 Rows(const QString& database, const QString& table) {
    TOstQuery q(nullptr);
    q.SetDatabaseName(database);
    q.SetSQL(QStringLiteral("SELECT count(*) FROM %1").arg(SqlIdent(table)));
    q.Open();
    return q.FieldValue(0).toLongLong();
}

// Columns of the file are matched with the stored ones: a "number" names
// the stored column it continues, and a column without one continues the
// stored column of the same name that no other column claims. Without this
// a column added by a file would be planned as deleted and added again on
// every run.
void MatchColumns(TOstFieldDefs& stored, TOstFieldDefs& working, const QString& table) {
    QHash<int, QString> numbers; // stored column number -> working column claiming it
    for (const TOstFieldDef* s : stored) numbers.insert(s->GetFieldNo(), QString());
    for (const TOstFieldDef* w : working) {
        const int n = w->GetFieldNo();
        if (n == 0) continue;
        if (!numbers.contains(n))
            throw Failure(QStringLiteral("column \"%1\": number %2 is not a column of table \"%3\" (leave \"number\" out "
                                         "for a new column)")
                              .arg(w->GetName())
                              .arg(n)
                              .arg(table));
        if (!numbers.value(n).isEmpty())
            throw Failure(QStringLiteral("columns \"%1\" and \"%2\" both give number %3").arg(numbers.value(n), w->GetName()).arg(n));
        numbers.insert(n, w->GetName());
    }
    for (TOstFieldDef* w : working) {
        if (w->GetFieldNo() != 0) continue;
        const TOstFieldDef* s = stored.Find(w->GetName());
        if (s && numbers.value(s->GetFieldNo()).isEmpty()) {
            w->SetFieldNo(s->GetFieldNo());
            numbers.insert(s->GetFieldNo(), w->GetName());
        }
    }
}

QString PageOf(TModificationType kind) {
    switch (kind) {
    case mtIndex:
    case mtFulltext: return QStringLiteral("Indexes");
    case mtForeignKey: return QStringLiteral("Relationships");
    case mtCheckConstraint: return QStringLiteral("Checks");
    default: return QStringLiteral("General");
    }
}

QString KindName(TModificationType kind) {
    switch (kind) {
    case mtTable: return QStringLiteral("table");
    case mtColumn: return QStringLiteral("column");
    case mtIndex: return QStringLiteral("index");
    case mtFulltext: return QStringLiteral("fulltext");
    case mtCheckConstraint: return QStringLiteral("check");
    case mtForeignKey: return QStringLiteral("foreignKey");
    default: return QStringLiteral("unknown");
    }
}

void PrintPlan(const TModifications& list, bool json) {
    if (!json) {
        for (const QString& line : list.Lines()) Out(line + u'\n');
        return;
    }
    QJsonArray changes;
    for (const TModification& m : list)
        changes.append(QJsonObject{{"position", m.Position},
                                   {"tab", PageOf(m.Kind)},
                                   {"text", m.GetText()},
                                   {"kind", KindName(m.Kind)},
                                   {"name", m.Name}});
    Out(QString::fromUtf8(QJsonDocument(changes).toJson(QJsonDocument::Indented)));
}

// A fulltext index of the file asks for a new dictionary: the designer's
// pending entry, made as the index definition dialog makes it. A dictionary
// of that name that the index uses already is simply its dictionary.
void RequestDictionary(TOstTableDesignerCore& core, DatabaseRef& db, const TNewDictionaryRequest& d, TOstTable& stored,
                       const QString& tablePassword, bool apply) {
    TOstFulltextIndexDef* ft = core.WorkingTable()->FulltextIndexDefs()[d.Fulltext];
    const QString existing = db.FindTable(d.Name);
    if (!existing.isEmpty()) {
        const int held = stored.FulltextIndexDefs().IndexOf(ft->Name);
        if (held >= 0 && stored.FulltextIndexDefs()[held]->Dictionary.compare(existing, Qt::CaseInsensitive) == 0) {
            ft->Dictionary = stored.FulltextIndexDefs()[held]->Dictionary;
            return;
        }
        throw Failure(QStringLiteral("fulltext index \"%1\": %2").arg(ft->Name, IndexDefText::DictionaryExists().arg(d.Name)));
    }
    if (db.SingleFile() && d.Encryption != emDefault)
        throw Failure(QStringLiteral("fulltext index \"%1\": a new dictionary of a single-file database uses the database's "
                                     "encryption (method \"Default\")").arg(ft->Name));
    if (d.Encryption >= emFastEncrypt && !OstLevel::StrongEncryption(core.WorkingTable()->GetTableLevel()))
        throw Failure(QStringLiteral("fulltext index \"%1\": encryption method \"%2\" needs table level 4 or higher")
                          .arg(ft->Name, OstEncryptionMethodName(d.Encryption)));
    QString key = d.Password;
    if (EncryptionNeedsPassword(d.Encryption) && !d.HasPassword) {
        key = CommandLinePassword().isEmpty() ? tablePassword : CommandLinePassword();
        if (key.isEmpty() && apply) {
            if (!StdinIsTerminal())
                throw Failure(QStringLiteral("dictionary \"%1\" is to be encrypted with \"%2\" and needs a password: give "
                                             "\"password\" in \"newDictionary\" or --password")
                                  .arg(d.Name, OstEncryptionMethodName(d.Encryption)));
            Err(QStringLiteral("Password for dictionary %1: ").arg(d.Name));
            key = ReadTerminalLine(false);
        }
    }
    // Unicode and collation as the dialog finds them for the index's columns.
    TIndexDefinitionCore dialog;
    dialog.SetTable(core.WorkingTable());
    dialog.ModifyIndexDef(ft);
    ft->Dictionary.clear();
    core.Dictionaries().Add(d.Name, ft->ID(), d.MaxKeywordLength, dialog.GetIndexHasWidestring(ifFulltext),
                            ft->Separators, dialog.GetDictionaryCollation(), d.Encryption, key);
}

// What a plan, an apply or a diff works on.
struct TDesignRequest {
    QString database;  // the database argument
    QJsonObject def;   // the definition wanted
    QString defaultName; // the table's name when the definition has none
    QString table;     // the stored table to change (--table), else the definition's name
    bool apply = false, yes = false, json = false;
    bool ignoreName = false; // diff: the name is not part of the comparison
};

int Design(const TDesignRequest& r) {
    DatabaseRef db(r.database);
    const QJsonValue nameValue = r.def.value(QStringLiteral("name"));
    const bool named = !nameValue.isUndefined() && !nameValue.isNull();
    QString target = named ? JsonTableName(r.def) : r.defaultName;
    if (target.isEmpty() && !r.ignoreName) throw Failure(DesignerText::MissingTableName());
    const QString given = r.table.isEmpty() ? target : r.table;
    const QString stored = db.FindTable(given);
    if (stored.isEmpty() && given != target)
        throw Failure(QStringLiteral("table \"%1\" does not exist in %2").arg(given, db.Location()));
    // A name that differs only in letter case is the same table.
    if (r.ignoreName || (!stored.isEmpty() && stored.compare(target, Qt::CaseInsensitive) == 0)) target = stored;

    const QJsonValue passwordValue = r.def.value(QStringLiteral("password"));
    if (!passwordValue.isUndefined() && !passwordValue.isNull() && !passwordValue.isString())
        throw Failure(QStringLiteral("table definition: \"password\": expected a string"));
    const QString password = passwordValue.toString(CommandLinePassword());

    TOstTable table(nullptr);
    table.SetDatabaseName(db.Name());
    table.SetTableName(stored.isEmpty() ? target : stored);
    // The password opens an encrypted table and is the one it keeps: given
    // unchanged, it is no change of the encryption.
    table.SetEncryptionPassword(password);
    TTerminalView view(!r.apply, r.yes, password, target);
    TOstTableDesignerCore core(&view);
    // A table that does not exist yet is created, as the designer does for a new table.
    core.SetNewTable(stored.isEmpty());
    core.SetOstDataset(&table);
    QJsonObject working = r.def;
    working.remove(QStringLiteral("password"));
    QList<TNewDictionaryRequest> newDictionaries;
    TableDefinitionFromJson(working, *core.WorkingTable(), &newDictionaries);
    core.WorkingTable()->SetTableName(target);
    if (stored.isEmpty() || r.ignoreName) {
        // Every column of a table yet to be made is a new one, whatever number
        // the file gives it; another table's numbers mean nothing here.
        for (TOstFieldDef* d : core.Columns()) d->SetFieldNo(0);
    }
    if (!stored.isEmpty()) MatchColumns(table.GetFieldDefsOst(), core.Columns(), stored);
    for (const TNewDictionaryRequest& d : newDictionaries) RequestDictionary(core, db, d, table, password, r.apply);
    core.WorkingTableReplaced();

    if (!r.apply) {
        const TModifications& list = core.RefreshModificationsList();
        PrintPlan(list, r.json);
        // A plan the designer would refuse to apply says so.
        if (const QString refusal = core.IndexChangesRefusal(); !refusal.isEmpty()) {
            view.ShowErrorMsg(refusal);
            return 1;
        }
        // A plan says after the list what applying it costs (a diff lists only).
        if (!r.json && !r.ignoreName && !list.IsEmpty())
            if (const QString line = core.ApplyCost(); !line.isEmpty()) Out(line + u'\n');
        return 0;
    }
    view.cost = [&core] { return core.ApplyCost(); };
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

int Design(const Args& a, bool apply) {
    a.Check(apply ? QStringList{"yes", "table="} : QStringList{"table=", "json"}, 2, 2);
    TDesignRequest r;
    r.database = a.positional.at(0);
    r.def = ReadJsonObjectFile(a.positional.at(1));
    r.defaultName = QFileInfo(a.positional.at(1)).completeBaseName();
    r.table = a.Value(QStringLiteral("table"));
    r.apply = apply;
    r.yes = a.Has(QStringLiteral("yes"));
    r.json = a.Has(QStringLiteral("json"));
    return Design(r);
}

} // namespace

int CmdPlan(const Args& a) { return Design(a, false); }
int CmdApply(const Args& a) { return Design(a, true); }

// diff DB1 T1 DB2 T2 | diff DB1 T1 FILE.json: what would turn T1 into the
// other definition. Columns are matched by name; table names are not compared.
int CmdDiff(const Args& a) {
    a.Check({QStringLiteral("json")}, 3, 4);
    TDesignRequest r;
    r.database = a.positional.at(0);
    r.table = a.positional.at(1);
    if (a.positional.size() == 4) {
        DatabaseRef other(a.positional.at(2));
        const QString name = other.RequireTable(a.positional.at(3));
        TOstTable t(nullptr);
        t.SetDatabaseName(other.Location());
        t.SetTableName(name);
        t.SetEncryptionPassword(CommandLinePassword());
        t.ReadDefinitions();
        r.def = TableDefinitionToJson(t, name);
        if (EncryptionNeedsPassword(t.GetEncryptionMethod())) r.def.insert(QStringLiteral("password"), CommandLinePassword());
    } else {
        r.def = ReadJsonObjectFile(a.positional.at(2));
    }
    {
        // The table compared must exist.
        DatabaseRef db(r.database);
        r.table = db.RequireTable(r.table);
    }
    r.ignoreName = true;
    r.json = a.Has(QStringLiteral("json"));
    return Design(r);
}

} // namespace cli
