#include "cli_helper.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>

QByteArray CliRun::Describe() const {
    return QStringLiteral("exit %1%2\n--- stdout:\n%3--- stderr:\n%4")
        .arg(exitCode)
        .arg(finished ? QString() : QStringLiteral(" (did not finish)"), out, err)
        .toUtf8();
}

CliRun RunOstra(const QStringList& args, const QByteArray& input, int timeoutMs) {
    QProcess p;
    p.setProgram(QStringLiteral(OSTRA_CLI_PATH));
    p.setArguments(args);
    p.start();
    CliRun r;
    if (!p.waitForStarted()) {
        r.err = QStringLiteral("cannot start %1").arg(QStringLiteral(OSTRA_CLI_PATH));
        return r;
    }
    if (!input.isEmpty()) p.write(input);
    p.closeWriteChannel();
    r.finished = p.waitForFinished(timeoutMs) && p.exitStatus() == QProcess::NormalExit;
    if (!r.finished && p.state() != QProcess::NotRunning) {
        p.kill();
        p.waitForFinished();
    }
    r.exitCode = p.exitCode();
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

void WriteTextFile(const QString& path, const QByteArray& content) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
}

CliDb::CliDb(bool singleFile, const QString& name)
    : db(tmp.filePath(singleFile ? name + QStringLiteral(".ostd") : name)) {}

QString CliDb::File(const QString& name, const QByteArray& content) const {
    const QString path = tmp.filePath(name);
    WriteTextFile(path, content);
    return path;
}

CliRun CliDb::Create(const QList<QPair<QString, QByteArray>>& tables) const {
    CliRun r = RunOstra({QStringLiteral("create-db"), db});
    for (const auto& table : tables) {
        if (!r.finished || r.exitCode != 0) break;
        r = RunOstra({QStringLiteral("create-table"), db, File(table.first, table.second)});
    }
    return r;
}

QJsonObject DescribeJson(const QString& db, const QString& table) {
    const CliRun r = RunOstra({QStringLiteral("describe"), db, table, QStringLiteral("--json")});
    if (!r.finished || r.exitCode != 0) return {};
    return QJsonDocument::fromJson(r.out.toUtf8()).object();
}

QString SqlCsv(const QString& db, const QString& statement) {
    const CliRun r = RunOstra({QStringLiteral("sql"), db, statement, QStringLiteral("--csv")});
    return r.finished && r.exitCode == 0 ? r.out : QString();
}
