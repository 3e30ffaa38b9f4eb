// A database for the index definition tests, and table components on it.
#pragma once

#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"

#include <QStringList>
#include <QTemporaryDir>
#include <memory>

// A directory (or single-file) database.
struct Db {
    QTemporaryDir dir;
    QString location;
    std::unique_ptr<TOstDatabase> db;
    explicit Db(bool singleFile = false) {
        location = singleFile ? dir.filePath("db.ostd") : dir.filePath("db");
        db = std::make_unique<TOstDatabase>();
        db->SetLocation(location);
        if (singleFile) db->SetDatabaseType(dbtSingleFile);
        db->CreateDatabase();
    }
    // A table component (created only when asked) at level with the columns
    // name:type[:size[:collation]], nullable where the level allows it.
    std::unique_ptr<TOstTable> Table(const QString& name, int level, const QStringList& columns, bool create = false) {
        auto t = std::make_unique<TOstTable>();
        t->SetDatabaseName(location);
        t->SetTableName(name);
        t->SetTableLevel(level);
        for (const QString& c : columns) {
            const QStringList p = c.split(u':');
            TOstFieldDef* d = t->GetFieldDefsOst().Add(p[0], p[1].toInt(), p.size() > 2 ? p[2].toInt() : 0);
            d->SetNullable(OstLevel::TypeMayBeNullable(level, p[1].toInt()));
            if (p.size() > 3) d->SetSpec(p[3]);
        }
        if (create) t->CreateTable();
        return t;
    }
};
