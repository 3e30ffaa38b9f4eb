// Commands on a whole database: create-db, tables, sql.
#include "cli.h"
#include "password.h"
#include "printing.h"

#include "designer/core/osttableprops.h"
#include "engine/ostquery.h"
#include "setup/core/ostcreatedbcore.h"
#include "setup/core/ostpasswordcore.h"

#include <QFile>
#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace cli {

namespace {

// An encryption method by its name (any letter case) or its number, among
// those the create database dialog offers.
int EncryptionMethodArgument(const QString& text) {
    const QStringList names = CreateDBEncryptionMethods();
    for (const QString& name : names)
        if (name.compare(text.trimmed(), Qt::CaseInsensitive) == 0) return GetEncryptionMethodFromMethodName(name);
    bool isNumber = false;
    const int number = text.trimmed().toInt(&isNumber);
    if (isNumber && names.contains(GetEncryptionMethodName(number))) return number;
    throw UsageError(QStringLiteral("create-db: unknown encryption method \"%1\" (one of: %2)").arg(text, names.join(QStringLiteral(", "))));
}

// The password of a new encrypted database: --password, else asked twice on the terminal.
QString NewDatabasePassword(int method) {
    QString password = CommandLinePassword();
    if (password.isEmpty() && isatty(STDIN_FILENO) == 1) {
        Err(QStringLiteral("Password: "));
        password = ReadTerminalLine(false);
        if (const QString problem = EncryptionKeyProblem(method, password); !password.isEmpty() && !problem.isEmpty())
            throw Failure(problem);
        Err(QStringLiteral("Re-enter Password: "));
        if (!password.isEmpty() && ReadTerminalLine(false) != password)
            throw Failure(QStringLiteral("The two passwords differ"));
    }
    if (password.trimmed().isEmpty()) throw Failure(CreateDBPasswordMissing());
    if (const QString problem = EncryptionKeyProblem(method, password); !problem.isEmpty()) throw Failure(problem);
    return password;
}

} // namespace

int CmdCreateDb(const Args& a) {
    a.Check({QStringLiteral("single-file"), QStringLiteral("catalog"), QStringLiteral("encryption=")}, 1, 1);
    const QString path = a.positional.at(0);
    if (path.trimmed().isEmpty()) throw Failure(CreateDBLocationMissing());
    const bool single = a.Has(QStringLiteral("single-file")) || path.trimmed().endsWith(QStringLiteral(".ostd"), Qt::CaseInsensitive);
    const bool managed = a.Has(QStringLiteral("catalog"));
    int method = emNone;
    const bool encryptionGiven = std::any_of(a.flags.cbegin(), a.flags.cend(), [](const QString& f) {
        return f.startsWith(QStringLiteral("encryption"));
    });
    if (encryptionGiven) {
        const QString value = a.Value(QStringLiteral("encryption"));
        if (value.isEmpty()) throw UsageError(QStringLiteral("--encryption needs a method (--encryption=METHOD)"));
        if (!managed)
            throw UsageError(QStringLiteral("--encryption needs --catalog: only a database with a catalog keeps an encryption method"));
        method = EncryptionMethodArgument(value);
    }
    // What the dialog asks before it closes: a password for a method that needs one.
    const QString password = EncryptionNeedsPassword(method) ? NewDatabasePassword(method) : CommandLinePassword();
    TOstDatabase db(nullptr);
    CreateNewDatabase(db, single ? dbtSingleFile : dbtDirectory, managed, CreateDBEncryptionMethod(managed, method),
                      CreateDBPassword(managed, password), CreateDBLocation(path, single));
    const QString where = db.ResolvedLocation();
    db.Close();
    QString what = single ? QStringLiteral("single-file ") : QStringLiteral("directory ");
    Out(QStringLiteral("Created %1database %2%3%4\n")
            .arg(what, where, managed ? QStringLiteral(" with a catalog") : QString(),
                 EncryptionNeedsPassword(method) ? QStringLiteral(", encrypted with %1").arg(GetEncryptionMethodName(method))
                                                 : QString()));
    return 0;
}

int CmdTables(const Args& a) {
    a.Check({QStringLiteral("system")}, 1, 1);
    DatabaseRef db(a.positional.at(0));
    if (!db.ImpliedTable().isEmpty()) {
        // A table file stands for its own table only.
        const QString name = db.FindTable(db.ImpliedTable());
        if (name.isEmpty()) throw Failure(QStringLiteral("%1 is not a table file").arg(a.positional.at(0)));
        Out(name + QLatin1Char('\n'));
        return 0;
    }
    QStringList names;
    db.Database().GetTableNames(names, a.Has(QStringLiteral("system")));
    for (const QString& n : names) Out(n + QLatin1Char('\n'));
    return 0;
}

namespace {

QString ReadStandardInput() {
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly)) throw Failure(QStringLiteral("cannot read standard input"));
    return QString::fromUtf8(in.readAll());
}

} // namespace

int CmdSql(const Args& a) {
    a.Check({QStringLiteral("csv")}, 2, 2);
    const QString text = a.positional.at(1) == QStringLiteral("-") ? ReadStandardInput() : a.positional.at(1);
    if (text.trimmed().isEmpty()) throw Failure(QStringLiteral("no SQL statement given"));
    DatabaseRef db(a.positional.at(0));
    TOstQuery q(nullptr);
    q.SetDatabaseName(db.Name());
    q.SetSQL(text);
    // A statement that returns rows opens; anything else is refused before it runs and is executed instead.
    bool returnsRows = true;
    try {
        q.Open();
    } catch (const EOstraError& e) {
        if (e.ErrorCode() != OstErr::Sql || !e.Message().contains(QStringLiteral("returns no result set"))) throw;
        returnsRows = false;
    }
    if (!returnsRows) {
        q.ExecSQL();
        Out(QStringLiteral("%1 row(s) affected\n").arg(q.RowsAffected()));
        return 0;
    }
    const ResultSet r = ReadResultSet(q);
    Out(a.Has(QStringLiteral("csv")) ? ResultAsCsv(r) : ResultAsTable(r));
    return 0;
}

} // namespace cli
