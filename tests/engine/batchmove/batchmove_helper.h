// Shared fixtures of the batch move tests: tables of a test database, a
// module owning a batch move and its datasets, reading results back.
#pragma once

#include "engine/engine_helper.h"
#include "engine/ostbatchmove.h"

TOstTable* AddTable(TComponent& root, const QString& component, TestDb& db, const QString& table);

// The batch move and the datasets it names share one owner.
struct Module {
    TComponent root;
    TOstBatchMove* move = new TOstBatchMove(&root);
    Module();
    TOstTable* Source(TestDb& db, const QString& table) { return AddTable(root, QStringLiteral("Source"), db, table); }
    TOstTable* Destination(TestDb& db, const QString& table) { return AddTable(root, QStringLiteral("Destination"), db, table); }
    TOstQuery* SourceQuery(TestDb& db, const QString& sql);
};

// Rows of a query, cells joined by "|", rows by newlines.
QString Rows(TestDb& db, const QString& sql);
QStringList FileLines(const QString& path);
// Src(Code, Name, Qty) and Dst(Code, Name, Qty) keyed by Code.
void MakeSimpleTables(TestDb& db, bool keyed = true);
// Records K000001/"name 1"/1 to rows into a table of Code, Name, Qty.
void FillNumbered(TestDb& db, const QString& table, int rows);
