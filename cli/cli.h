// Shared pieces of the ostra command-line tool: errors, parsed arguments,
// output helpers and how a database argument is opened.
#pragma once

#include "engine/ostdatabase.h"

#include <QString>
#include <QStringList>
#include <memory>

namespace cli {

// A wrong command line: reported with the usage text, exit code 2.
class UsageError : public Exception {
public:
    using Exception::Exception;
};

// Any other failure the tool reports itself (bad input file, unknown table...): exit code 1.
class Failure : public Exception {
public:
    using Exception::Exception;
};

// Positional arguments and "--flags" of one command, in command-line order.
struct Args {
    QString command;
    QStringList positional;
    QStringList flags; // without the leading "--"

    bool Has(const QString& flag) const { return flags.contains(flag); }
    // The value of a "--name=value" option; empty when it is not given.
    QString Value(const QString& name) const;
    // The values of a "--name=value" option given several times, in order.
    QStringList Values(const QString& name) const;
    // Raises UsageError unless every flag is one of allowed ("name=" allows
    // "--name=value") and the number of
    // positional arguments is within [minPos, maxPos].
    void Check(const QStringList& allowed, int minPos, int maxPos) const;
};

// Writes UTF-8 text to stdout / stderr as it is (no newline is added).
void Out(const QString& text);
void Err(const QString& text);
bool StderrIsTerminal();

// A database named on the command line. A directory is a directory database,
// an ".ostd" file (or any other existing file) a single-file database, and a
// "<dir>/<Name>.dat" file stands for table Name of the directory database dir.
class DatabaseRef {
public:
    explicit DatabaseRef(const QString& argument);
    ~DatabaseRef();

    // The name tables and queries take as DatabaseName.
    QString Name() const;
    TOstDatabase& Database() { return *m_db; }
    bool SingleFile() const { return m_singleFile; }
    QString Location() const { return m_location; }
    // The table a ".dat" argument named; empty otherwise.
    QString ImpliedTable() const { return m_impliedTable; }
    // The stored spelling of a table name (compared without regard to case);
    // empty when the database holds no such table.
    QString FindTable(const QString& name);
    // As FindTable, raising Failure when the table does not exist.
    QString RequireTable(const QString& name);

private:
    QString m_location, m_impliedTable;
    bool m_singleFile = false;
    std::unique_ptr<TOstDatabase> m_db;
};

// Quotes a table or column name for SQL.
QString SqlIdent(const QString& name);

// Commands; each returns the process exit code.
int CmdCreateDb(const Args& a);
int CmdTables(const Args& a);
int CmdDescribe(const Args& a);
int CmdCreateTable(const Args& a);
int CmdDropTable(const Args& a);
int CmdAlter(const Args& a);
int CmdSql(const Args& a);
int CmdPlan(const Args& a);
int CmdApply(const Args& a);
int CmdDiff(const Args& a);
int CmdSearch(const Args& a);
int CmdCopy(const Args& a);
int CmdImport(const Args& a);

} // namespace cli
