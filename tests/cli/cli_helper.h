// Running the ostra binary from tests.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

struct CliRun {
    int exitCode = -1;
    bool finished = false; // false when it crashed or timed out
    QString out, err;
    // For QVERIFY2 messages.
    QByteArray Describe() const;
};

// Runs ostra with the arguments (and stdin data) and waits for it to end.
CliRun RunOstra(const QStringList& args, const QByteArray& input = {}, int timeoutMs = 120000);

// Writes a file, failing the process when it cannot.
void WriteTextFile(const QString& path, const QByteArray& content);

// `ostra describe DB TABLE --json` parsed; an empty object when it failed.
QJsonObject DescribeJson(const QString& db, const QString& table);

// `ostra sql DB STATEMENT --csv` output; empty when it failed.
QString SqlCsv(const QString& db, const QString& statement);
