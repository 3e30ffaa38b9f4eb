// Shared fixtures of the migration tests: SQLite source files made through
// Qt SQL itself, and an engine database to convert into.
#pragma once

#include "engine/ostdataset.h"

#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

// A SQLite file written through its own Qt SQL connection (closed again
// before the datasets open it); Name() is the DatabaseName of the datasets.
struct SqliteSource {
    QTemporaryDir dir;
    QString file = dir.filePath(QStringLiteral("source.db"));
    explicit SqliteSource(const QStringList& statements);
    QString Name() const { return QStringLiteral("QSQLITE:") + file; }
    QVariant Scalar(const QString& sql) const;
};

// A single-file engine database in a temporary folder.
struct TargetDb {
    QTemporaryDir dir;
    std::unique_ptr<TOstDatabase> db;
    TargetDb();
    QVariant Scalar(const QString& sql);
    bool TableExists(const QString& name);
};

// Runs f and returns the message of the exception of type E it raises (empty when none).
template <class E, class F> QString MessageOf(F&& f) {
    try {
        f();
    } catch (const E& e) {
        return e.Message();
    }
    return QString();
}
