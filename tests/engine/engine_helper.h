// Shared fixtures for engine tests: fresh databases of both layouts.
#pragma once

#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QTemporaryDir>
#include <QtTest>
#include <memory>

// A database in a temporary directory: the directory itself, or one ".ostd" file in it.
struct TestDb {
    QTemporaryDir dir;
    std::unique_ptr<TOstDatabase> db;
    QString location;
    explicit TestDb(bool singleFile, bool managed = false);
    // A table component on this database with the given columns ("Name:type:size").
    std::unique_ptr<TOstTable> Table(const QString& name);
    QVariant Scalar(const QString& sql);
    void Exec(const QString& sql);
};

// Adds a column definition and returns it.
TOstFieldDef* AddColumn(TOstTable& t, const QString& name, int type, int size = 0, bool nullable = true);

// Runs f and returns the EOstraError it raises (code 0 and empty text when none).
template <class F> EOstraError Raised(F&& f) {
    try {
        f();
    } catch (const EOstraError& e) {
        return e;
    }
    return EOstraError(0, QString());
}

#define OST_DATA_LAYOUTS()                                                                                             \
    QTest::addColumn<bool>("singleFile");                                                                              \
    QTest::newRow("directory") << false;                                                                               \
    QTest::newRow("single-file") << true;
