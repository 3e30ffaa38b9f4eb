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

// A run that succeeded; one that failed with CODE and an "ostra: " message containing TEXT.
#define EXPECT_OK(run)                                                                                               \
    do {                                                                                                             \
        const CliRun& r_ = (run);                                                                                    \
        QVERIFY2(r_.finished && r_.exitCode == 0, r_.Describe().constData());                                        \
    } while (0)
#define EXPECT_FAIL(run, code, text)                                                                                 \
    do {                                                                                                             \
        const CliRun& r_ = (run);                                                                                    \
        QVERIFY2(r_.finished && r_.exitCode == (code), r_.Describe().constData());                                   \
        QVERIFY2(r_.err.startsWith(QStringLiteral("ostra: ")) && r_.err.contains(QStringLiteral(text)),            \
                 r_.Describe().constData());                                                                         \
    } while (0)
