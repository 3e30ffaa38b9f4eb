// Databases the setup dialogs' tests choose from: a directory database
// "shop" with Items and Orders, and a single-file database "books.ostd" with
// Authors and Titles, in a temporary folder.
#pragma once

#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"

#include <QTemporaryDir>

inline void MakeSetupTable(const QString& databaseName, const QString& table) {
    TOstTable t;
    t.SetDatabaseName(databaseName);
    t.SetTableName(table);
    t.GetFieldDefsOst().Add("ID", dtAutoInc, 0);
    t.GetFieldDefsOst().Add("Name", dtString, 20);
    t.CreateTable();
}

struct TSetupDatabases {
    QTemporaryDir dir;
    QString shop = dir.filePath("shop");
    QString books = dir.filePath("books.ostd");
    TSetupDatabases() {
        TOstDatabase d;
        d.SetLocation(shop);
        d.CreateDatabase();
        MakeSetupTable(shop, "Items");
        MakeSetupTable(shop, "Orders");
        TOstDatabase f;
        f.SetDatabaseType(dbtSingleFile);
        f.SetLocation(books);
        f.CreateDatabase();
        MakeSetupTable(books, "Authors");
        MakeSetupTable(books, "Titles");
    }
};
