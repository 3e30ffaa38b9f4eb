// What a table holds - definition, stored encryption method, rows - taken as a
// whole, to show that a failed or interrupted operation changed nothing.
#pragma once

#include "engine/ostdatabase.h"

#include <QString>
#include <QStringList>

struct TableState {
    QString definition; // the stored definition as JSON
    QString schema;     // the table's CREATE statements in SQLite's schema (table, indexes, triggers)
    int method = -1;     // encryption method of the table's file
    qint64 rows = -1;
    QByteArray checksum; // over every row, in record-id order
    bool operator==(const TableState& o) const {
        return definition == o.definition && schema == o.schema && method == o.method && rows == o.rows && checksum == o.checksum;
    }
    bool operator!=(const TableState& o) const { return !(*this == o); }
    QByteArray Describe() const;
};

// Reads the table through the database component's connection.
TableState StateOf(TOstDatabase& db, const QString& table);

// Files of a database directory (or beside a single-file database) that are
// neither data nor lock files: what an operation may not leave behind.
QStringList Leftovers(const QString& location);
