// ostra: command-line access to Ostra databases - create databases and
// tables, show and restructure table definitions, run SQL.
#include "cli.h"
#include "password.h"

#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace cli {

namespace {

const char* const UsageText =
    "Usage: ostra COMMAND [ARGUMENTS] [OPTIONS]\n"
    "\n"
    "Commands:\n"
    "  create-db PATH [--single-file] [--catalog [--encryption=METHOD]]\n"
    "      Create a database: a directory of table files, or one \".ostd\" file\n"
    "      (--single-file, or a PATH ending in \".ostd\"; \".ostd\" is added to a\n"
    "      PATH without extension). --catalog makes a managed database that keeps\n"
    "      a catalog of its tables and its encryption METHOD (None, Protection,\n"
    "      Classic, FastEncrypt, Blowfish, Rijndael/AES); the password comes from\n"
    "      --password or is asked for twice on the terminal.\n"
    "  tables DB [--system]\n"
    "      List the tables of DB, one per line (--system: with system tables).\n"
    "  describe DB TABLE [--json]\n"
    "      Show the definition of a table; --json prints it in the format that\n"
    "      create-table and alter read.\n"
    "  create-table DB FILE.json\n"
    "      Create a table from a JSON definition.\n"
    "  drop-table DB TABLE\n"
    "      Delete a table with its rows, indexes and file.\n"
    "  alter DB FILE.json\n"
    "      Restructure a table to exactly the JSON definition; its data is kept\n"
    "      and converted. Columns are matched by their \"number\".\n"
    "  plan DB FILE.json [--table=NAME] [--json]\n"
    "      List what applying FILE.json to the table would change, one line per\n"
    "      change (column position, a tab, the text), as the table designer\n"
    "      lists it; --json prints the list as a JSON array of objects with\n"
    "      position, tab (the designer page), text, kind and name. The table\n"
    "      is the one FILE.json names, or NAME when the file renames it; a\n"
    "      table that does not exist would be created. A column continues the\n"
    "      stored column its \"number\" gives, else the one of the same name:\n"
    "      planning a file that was applied lists no changes.\n"
    "  apply DB FILE.json [--table=NAME] [--yes]\n"
    "      Show the plan, ask, and apply it the way the table designer does\n"
    "      (--yes: without asking). A \"password\" key in FILE.json is the\n"
    "      password of an encrypted table (it opens it, and a new encrypted\n"
    "      table gets it); otherwise --password, or it is asked for.\n"
    "  diff DB TABLE DB2 TABLE2 [--json]\n"
    "  diff DB TABLE FILE.json [--json]\n"
    "      List what would turn TABLE into TABLE2 (or into the definition in\n"
    "      FILE.json), as plan does. Columns are matched by name; the table\n"
    "      names are not compared.\n"
    "  sql DB STATEMENT [--csv]\n"
    "      Run SQL. Rows are printed as a table (or CSV with --csv); other\n"
    "      statements report the rows they changed. STATEMENT \"-\" reads the\n"
    "      SQL text from standard input; several statements separated by \";\"\n"
    "      run in one transaction.\n"
    "  search DB TABLE WORDS [--any] [--index=NAME] [--csv]\n"
    "      Print the records a fulltext index finds, most relevant first, with\n"
    "      their relevance. All words must occur (--any: one of them); \"OR\"\n"
    "      between two words lets either occur; \"word*\" matches words starting\n"
    "      with \"word\". NAME chooses the fulltext index (default: the first).\n"
    "  copy SRC_DB SRC_TABLE DST_DB DST_TABLE [--mode=MODE] [--map=DEST=SRC]...\n"
    "       [--report=FILE]\n"
    "      Move the records of a table into a table of the same or another\n"
    "      database, in one transaction. MODE: append (default), update,\n"
    "      appendupdate, delete (update and delete match records by the\n"
    "      destination's primary or first unique index) or copy (replace all\n"
    "      records). --map pairs a destination column with a source column\n"
    "      (default: columns of the same name). Records that cannot be moved\n"
    "      are skipped and listed in FILE with the reason.\n"
    "  import DB TABLE --from=DRIVER:CONNECTION --source-table=NAME [--level=N]\n"
    "       [--no-data] [--report=FILE] [--abort-on-problem]\n"
    "      Create TABLE with the columns and indexes of a table of another\n"
    "      database and copy its records. DRIVER is a Qt SQL driver (QSQLITE,\n"
    "      QPSQL, QMYSQL, QODBC; or sqlite, postgres, mysql, odbc); CONNECTION\n"
    "      is a file (QSQLITE:/data/shop.db) or //USER@HOST[:PORT]/DATABASE\n"
    "      (QPSQL://ann@localhost/shop). A password is asked for on the\n"
    "      terminal when the server wants one (libpq also reads PGPASSWORD\n"
    "      and ~/.pgpass). --level: the new table's level (default 6);\n"
    "      --no-data: the structure only. Records that cannot be moved are\n"
    "      skipped and listed in FILE (--abort-on-problem: the first one\n"
    "      undoes everything).\n"
    "  import DB TABLE --csv=FILE [--type=COLUMN:TYPE]... [--delimiter=C]\n"
    "       [--level=N] [--no-data] [--report=FILE] [--abort-on-problem]\n"
    "      Create TABLE from a CSV file whose first line names the columns.\n"
    "      Each column's type is found from its values (whole numbers,\n"
    "      numbers, true/false, ISO dates and date-times, else text);\n"
    "      --type sets it: integer, smallint, largeint, float, currency,\n"
    "      boolean, date, time, datetime, string, string(N) or memo. An empty\n"
    "      value is NULL. --delimiter: the separator (default \",\"; tab).\n"
    "\n"
    "DB is a database directory, an \".ostd\" file, or a table file \"DIR/NAME.dat\"\n"
    "(which stands for table NAME; describe then needs no TABLE).\n"
    "\n"
    "Options:\n"
    "  -h, --help     Show this text.\n"
    "  --version      Show the engine version.\n"
    "  --password=PW  The password of encrypted tables and databases (with any\n"
    "                 command). Without it, ostra asks on the terminal when a\n"
    "                 file needs one; when standard input is not a terminal,\n"
    "                 such a file is refused.\n"
    "Options with a value take it as --name=VALUE or as --name VALUE.\n"
    "\n"
    "Exit codes: 0 success, 1 failure, 2 wrong usage.\n";

void PrintUsage(bool toStderr) {
    if (toStderr) Err(QString::fromLatin1(UsageText));
    else Out(QString::fromLatin1(UsageText));
}

// The options that take a value: "--name VALUE" and "--name=VALUE" are the same.
// (--csv is a flag of sql and search, so import's --csv=FILE takes the "=" form only.)
bool TakesValue(const QString& name) {
    static const QStringList names = {QStringLiteral("password"), QStringLiteral("table"), QStringLiteral("mode"),
                                      QStringLiteral("map"),      QStringLiteral("report"), QStringLiteral("index"),
                                      QStringLiteral("from"),     QStringLiteral("source-table"), QStringLiteral("type"),
                                      QStringLiteral("delimiter"), QStringLiteral("level"),
                                      QStringLiteral("encryption")};
    return names.contains(name);
}

Args Parse(const QStringList& argv) {
    Args a;
    bool onlyPositional = false;
    for (int i = 1; i < argv.size(); ++i) {
        const QString& s = argv.at(i);
        if (!onlyPositional && s == QStringLiteral("--")) {
            onlyPositional = true;
        } else if (!onlyPositional && s.startsWith(QStringLiteral("--")) && s.size() > 2) {
            const QString flag = s.mid(2);
            if (!flag.contains(u'=') && TakesValue(flag)) {
                // The value is the next argument; at the end there is none, which
                // the command reports as a missing value.
                a.flags << flag + u'=' + (i + 1 < argv.size() ? argv.at(++i) : QString());
                continue;
            }
            a.flags << flag;
        } else if (!onlyPositional && s == QStringLiteral("-h")) {
            a.flags << QStringLiteral("help");
        } else if (a.command.isEmpty()) {
            a.command = s;
        } else {
            a.positional << s;
        }
    }
    return a;
}

int Dispatch(const Args& a) {
    if (a.Has(QStringLiteral("help")) || a.command == QStringLiteral("help")) {
        PrintUsage(false);
        return 0;
    }
    if (a.Has(QStringLiteral("version")) && a.command.isEmpty()) {
        Out(QStringLiteral("ostra %1\n").arg(OstEngineVersion()));
        return 0;
    }
    if (a.command.isEmpty()) throw UsageError(QStringLiteral("no command given"));
    static const struct {
        const char* name;
        int (*run)(const Args&);
    } commands[] = {
        {"create-db", CmdCreateDb}, {"tables", CmdTables}, {"describe", CmdDescribe},
        {"create-table", CmdCreateTable}, {"drop-table", CmdDropTable}, {"alter", CmdAlter}, {"sql", CmdSql},
        {"plan", CmdPlan}, {"apply", CmdApply}, {"diff", CmdDiff}, {"search", CmdSearch}, {"copy", CmdCopy}, {"import", CmdImport},
    };
    for (const auto& c : commands)
        if (a.command == QLatin1String(c.name)) return c.run(a);
    throw UsageError(QStringLiteral("unknown command \"%1\"").arg(a.command));
}

} // namespace

void Args::Check(const QStringList& allowed, int minPos, int maxPos) const {
    for (const QString& f : flags) {
        const qsizetype eq = f.indexOf(u'=');
        if (eq > 0 ? !allowed.contains(f.left(eq + 1)) : !allowed.contains(f))
            throw UsageError(QStringLiteral("%1: unknown option --%2").arg(command, f));
        if (eq > 0 && eq == f.size() - 1) throw UsageError(QStringLiteral("%1: --%2 needs a value").arg(command, f));
    }
    if (positional.size() < minPos) throw UsageError(QStringLiteral("%1: missing arguments").arg(command));
    if (positional.size() > maxPos)
        throw UsageError(QStringLiteral("%1: unexpected argument \"%2\"").arg(command, positional.at(maxPos)));
}

QString Args::Value(const QString& name) const {
    const QString prefix = name + u'=';
    for (const QString& f : flags)
        if (f.startsWith(prefix)) return f.mid(prefix.size());
    return QString();
}

QStringList Args::Values(const QString& name) const {
    const QString prefix = name + u'=';
    QStringList out;
    for (const QString& f : flags)
        if (f.startsWith(prefix)) out << f.mid(prefix.size());
    return out;
}

void Out(const QString& text) {
    const QByteArray b = text.toUtf8();
    std::fwrite(b.constData(), 1, static_cast<size_t>(b.size()), stdout);
}

void Err(const QString& text) {
    std::fflush(stdout);
    const QByteArray b = text.toUtf8();
    std::fwrite(b.constData(), 1, static_cast<size_t>(b.size()), stderr);
    std::fflush(stderr);
}

bool StderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }

} // namespace cli

int main(int argc, char** argv) {
    // With TZ unset the C library looks at /etc/localtime again on every
    // local time conversion (a stat per date of a copied record); naming the
    // same file once keeps the zone and drops those calls.
    setenv("TZ", ":/etc/localtime", 0);
    QCoreApplication app(argc, argv);
    using namespace cli;
    int rc = 1;
    try {
        Args args = Parse(QCoreApplication::arguments());
        TakePasswordOption(args);
        rc = Dispatch(args);
    } catch (const UsageError& e) {
        Err(QStringLiteral("ostra: %1\n\n").arg(e.Message()));
        PrintUsage(true);
        rc = 2;
    } catch (const Exception& e) {
        // Engine errors (EOstraError), dataset and component errors, and the tool's own.
        Err(QStringLiteral("ostra: %1\n").arg(e.Message()));
        rc = 1;
    } catch (const std::exception& e) {
        Err(QStringLiteral("ostra: %1\n").arg(QString::fromLocal8Bit(e.what())));
        rc = 1;
    }
    std::fflush(stdout);
    return rc;
}
