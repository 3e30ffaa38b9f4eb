// A shop database of either layout for the Checks and Relationships pages:
// Customers(ID autoinc, Code string 10 not null, Name string 20) with the
// unique index ByCode on Code and three customers, and Orders(ID autoinc,
// CustCode string 10, Amount integer) with four orders, two of them for
// customer "A".
#pragma once

#include "engine/ostdataset.h"

#include <QTemporaryDir>
#include <memory>

struct ShopDb {
    QTemporaryDir dir;
    TOstDatabase db;
    explicit ShopDb(bool singleFile);
    // A fresh component on a table, open.
    std::unique_ptr<TOstTable> Open(const QString& table) const;
    QVariant Scalar(const QString& sql) const;
    void Exec(const QString& sql) const;
    // Runs sql and returns the engine's message, empty when it succeeded.
    QString Refused(const QString& sql) const;
};
