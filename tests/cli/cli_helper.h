// Running the ostra binary from tests.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

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

// A database path in a temporary directory (NAME.ostd, or the folder NAME),
// with the files of a test written beside it.
struct CliDb {
    QTemporaryDir tmp;
    QString db;
    explicit CliDb(bool singleFile = true, const QString& name = QStringLiteral("shop"));
    // Writes a file beside the database; its path.
    QString File(const QString& name, const QByteArray& content) const;
    // `ostra create-db`, then `ostra create-table` of each definition (a file
    // name, which names a table without a "name", and its JSON): the first
    // run that failed, else the last one.
    CliRun Create(const QList<QPair<QString, QByteArray>>& tables = {}) const;
};

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
