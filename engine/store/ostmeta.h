// OstTableMeta: everything the engine stores about a table besides its rows,
// kept as one JSON document per table inside the table's file.
#pragma once

#include "engine/base/tdefs.h"
#include "engine/types/osttypes.h"

#include <QJsonObject>
#include <QString>
#include <QVector>

struct OstColumnMeta {
    QString name;
    int type = dtString;
    int size = 0;
    int precision = 0;
    bool nullable = true;
    bool special = false;
    bool internalCalc = false;
    QString expression;
    QString spec;
    int number = 0; // 1-based column number, stable across renames and moves
};

struct OstIndexMeta {
    QString name, fields, descFields, caseInsFields, expression;
    int groupingLevel = 0;
    int options = 0;
    int capacity = 0; // rows the index is laid out for below level 4; 0 = the table's
};

struct OstFulltextMeta {
    QString name, fields, dictionary, separators;
    int minRelevance = 0;
    int options = 0;
};

struct OstForeignKeyMeta {
    QString name, parentTable, childFields, parentFields;
    int onUpdate = faReject, onDelete = faReject;
};

struct OstCheckMeta {
    QString name, condition, custom, message;
};

struct OstTableMeta {
    QString name;
    QString uid; // stable storage id; physical index names derive from it
    int level = OstDefaultTableLevel;
    int capacity = 100000;
    QString collation; // empty = "Ostra"
    int encryption = emDefault;
    bool system = false;
    int nextNumber = 1;
    QString icuVersion;
    QVector<OstColumnMeta> columns;
    QVector<OstIndexMeta> indexes;
    QVector<OstFulltextMeta> fulltext;
    QVector<OstForeignKeyMeta> foreignKeys;
    QVector<OstCheckMeta> checks;

    QJsonObject ToJson() const;
    static OstTableMeta FromJson(const QJsonObject& o);
    const OstColumnMeta* Column(const QString& name) const;
    int ColumnIndex(const QString& name) const;
};

// Splits "A;B:10" into entries; empty entries dropped, each trimmed.
QStringList OstSplitFields(const QString& text);
// Parses one index entry "Name[:len]"; false when the length is malformed.
bool OstParseFieldEntry(const QString& entry, QString& column, int& length);
