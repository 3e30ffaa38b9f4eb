// Column types and indexes of the databases Qt SQL reaches, and statements.
#include "migration/core/classicsql_p.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlField>
#include <QSqlIndex>
#include <QSqlRecord>
#include <QRegularExpression>

QSqlQuery ClassicExec(TClassicConnection& c, const QString& sql, const QVariantMap& binds, bool forwardOnly) {
    QSqlQuery q(c.Database());
    q.setForwardOnly(forwardOnly);
    bool ok;
    if (binds.isEmpty()) {
        ok = q.exec(sql);
    } else {
        ok = q.prepare(sql);
        if (ok) {
            for (auto it = binds.begin(); it != binds.end(); ++it) q.bindValue(it.key(), it.value());
            ok = q.exec();
        }
    }
    if (!ok) throw EDatabaseError(QStringLiteral("%1: %2").arg(c.DisplayName(), q.lastError().text().trimmed()));
    return q;
}

namespace {

// ---- PostgreSQL

void PgType(const QString& typname, int typmod, TClassicColumn& col) {
    const int mod = typmod - 4; // varchar(n) and numeric(p,s) keep n, p and s past a 4-byte header
    col.expression = QString(); // the quoted name
    if (typname == u"bool") col.type = ftBoolean;
    else if (typname == u"int2") col.type = ftSmallint;
    else if (typname == u"int4") col.type = ftInteger;
    else if (typname == u"int8" || typname == u"oid") col.type = ftLargeint;
    else if (typname == u"float4") { col.type = ftFloat; col.precision = 7; }
    else if (typname == u"float8") { col.type = ftFloat; col.precision = 15; }
    else if (typname == u"money") { col.type = ftCurrency; col.read = TClassicRead::AsIs; col.expression = QStringLiteral("::numeric"); }
    else if (typname == u"numeric") {
        if (typmod >= 4) { col.type = ftFMTBcd; col.precision = (mod >> 16) & 0xFFFF; col.size = mod & 0xFFFF; }
        else col.type = ftFloat;
    } else if (typname == u"varchar") {
        if (typmod >= 4) { col.type = ftWideString; col.size = mod; }
        else col.type = ftWideMemo;
    } else if (typname == u"bpchar") { col.type = ftFixedWideChar; col.size = typmod >= 4 ? mod : 1; }
    else if (typname == u"char") { col.type = ftFixedWideChar; col.size = 1; }
    else if (typname == u"name") { col.type = ftWideString; col.size = 63; }
    else if (typname == u"text") col.type = ftWideMemo;
    else if (typname == u"bytea") col.type = ftBlob;
    else if (typname == u"date") col.type = ftDate;
    else if (typname == u"time" || typname == u"timetz") { col.type = ftTime; col.expression = QStringLiteral("::time"); }
    else if (typname == u"timestamp") { col.type = ftDateTime; col.read = TClassicRead::TimestampText; col.expression = QStringLiteral("::text"); }
    else if (typname == u"timestamptz") col.type = ftDateTime;
    else if (typname == u"uuid") { col.type = ftGuid; col.size = 38; col.expression = QStringLiteral("::text"); }
    else { col.type = ftWideMemo; col.expression = QStringLiteral("::text"); } // json, arrays, intervals, ...: their text
}

QVector<TClassicColumn> PgColumns(TClassicConnection& c, const QString& table) {
    QSqlQuery q = ClassicExec(c, QStringLiteral(
        "SELECT a.attname, t.typname, a.atttypmod, a.attnotnull, a.attidentity, "
        "coalesce(pg_get_expr(d.adbin, d.adrelid), '') "
        "FROM pg_attribute a JOIN pg_type t ON t.oid = a.atttypid "
        "LEFT JOIN pg_attrdef d ON d.adrelid = a.attrelid AND d.adnum = a.attnum "
        "WHERE a.attrelid = to_regclass(:t) AND a.attnum > 0 AND NOT a.attisdropped ORDER BY a.attnum"),
        {{QStringLiteral(":t"), c.QuoteTable(table)}}, false);
    QVector<TClassicColumn> cols;
    int autoInc = 0;
    while (q.next()) {
        TClassicColumn col;
        col.name = q.value(0).toString();
        PgType(q.value(1).toString(), q.value(2).toInt(), col);
        col.required = q.value(3).toBool();
        const QString cast = col.expression;
        col.expression = c.QuoteColumn(col.name) + cast;
        // A serial or identity column numbers the records.
        const bool numbering = !q.value(4).toString().isEmpty() || q.value(5).toString().startsWith(QStringLiteral("nextval("));
        if (numbering && (col.type == ftInteger || col.type == ftLargeint || col.type == ftSmallint)) {
            col.type = ftAutoInc;
            ++autoInc;
        }
        cols << col;
    }
    // The engine numbers a table's records by one column at most.
    if (autoInc > 1)
        for (TClassicColumn& col : cols)
            if (col.type == ftAutoInc) col.type = ftLargeint;
    return cols;
}

void PgIndexes(TClassicConnection& c, const QString& table, TIndexDefs& defs) {
    const QVariantMap t{{QStringLiteral(":t"), c.QuoteTable(table)}};
    QHash<int, QString> names;
    {
        QSqlQuery a = ClassicExec(c, QStringLiteral("SELECT attnum, attname FROM pg_attribute WHERE attrelid = to_regclass(:t) "
                                                    "AND attnum > 0 AND NOT attisdropped"), t, false);
        while (a.next()) names.insert(a.value(0).toInt(), a.value(1).toString());
    }
    QSqlQuery q = ClassicExec(c, QStringLiteral(
        "SELECT c.relname, ix.indisprimary, ix.indisunique, ix.indexprs IS NOT NULL OR ix.indpred IS NOT NULL, "
        "ix.indkey::text, ix.indoption::text, ix.indnkeyatts "
        "FROM pg_index ix JOIN pg_class c ON c.oid = ix.indexrelid WHERE ix.indrelid = to_regclass(:t) "
        "ORDER BY ix.indisprimary DESC, c.relname"), t, false);
    while (q.next()) {
        if (q.value(3).toBool()) continue; // expressions and partial indexes are no column lists
        const QStringList keys = q.value(4).toString().split(u' ', Qt::SkipEmptyParts);
        const QStringList opts = q.value(5).toString().split(u' ', Qt::SkipEmptyParts);
        const int keyCount = q.value(6).toInt();
        QStringList fields, desc;
        for (int i = 0; i < keys.size() && i < keyCount; ++i) {
            const QString name = names.value(keys[i].toInt());
            fields << name;
            if (opts.value(i).toInt() & 1) desc << name;
        }
        TIndexOptions o;
        if (q.value(1).toBool()) o |= ixPrimary;
        if (q.value(2).toBool()) o |= ixUnique;
        TIndexDef* d = defs.Add(q.value(0).toString(), fields.join(u';'), o);
        d->DescFields = desc.join(u';');
    }
}

// ---- SQLite

void SqliteType(const QString& declared, TClassicColumn& col) {
    const QString t = declared.trimmed().toUpper();
    static const QRegularExpression sized(QStringLiteral("\\(\\s*(\\d+)\\s*(?:,\\s*(\\d+)\\s*)?\\)"));
    const QRegularExpressionMatch m = sized.match(t);
    const int n1 = m.hasMatch() ? m.captured(1).toInt() : 0, n2 = m.hasMatch() ? m.captured(2).toInt() : 0;
    const QString base = t.left(t.indexOf(u'(')).trimmed();
    if (base == u"INTEGER" || base.contains(QStringLiteral("BIGINT")) || base == u"INT8") col.type = ftLargeint;
    else if (base.contains(QStringLiteral("SMALLINT")) || base.contains(QStringLiteral("TINYINT")) || base == u"INT2") col.type = ftSmallint;
    else if (base.contains(QStringLiteral("BOOL"))) col.type = ftBoolean;
    else if (base.contains(QStringLiteral("INT"))) col.type = ftInteger;
    else if (base.contains(QStringLiteral("CHAR")) && n1 > 0)
        { col.type = base.contains(QStringLiteral("VAR")) ? ftWideString : ftFixedWideChar; col.size = n1; }
    else if (base.contains(QStringLiteral("CHAR")) || base.contains(QStringLiteral("CLOB")) || base.contains(QStringLiteral("TEXT")) || base.isEmpty())
        col.type = ftWideMemo;
    else if (base.contains(QStringLiteral("BLOB")) || base.contains(QStringLiteral("BINARY"))) col.type = ftBlob;
    else if (base.contains(QStringLiteral("MONEY")) || base.contains(QStringLiteral("CURRENCY"))) col.type = ftCurrency;
    else if ((base.contains(QStringLiteral("NUMERIC")) || base.contains(QStringLiteral("DECIMAL"))) && n1 > 0)
        { col.type = ftFMTBcd; col.precision = n1; col.size = n2; }
    else if (base.contains(QStringLiteral("REAL")) || base.contains(QStringLiteral("FLOA")) || base.contains(QStringLiteral("DOUB")) ||
             base.contains(QStringLiteral("NUMERIC")) || base.contains(QStringLiteral("DECIMAL")))
        { col.type = ftFloat; col.precision = 15; }
    else if (base.contains(QStringLiteral("DATETIME")) || base.contains(QStringLiteral("TIMESTAMP")))
        { col.type = ftDateTime; col.read = TClassicRead::TimestampText; }
    else if (base.contains(QStringLiteral("DATE"))) col.type = ftDate;
    else if (base.contains(QStringLiteral("TIME"))) col.type = ftTime;
    else if (base.contains(QStringLiteral("GUID")) || base.contains(QStringLiteral("UUID"))) { col.type = ftGuid; col.size = 38; }
    else col.type = ftWideMemo;
}

QVector<TClassicColumn> SqliteColumns(TClassicConnection& c, const QString& table) {
    QSqlQuery q = ClassicExec(c, QStringLiteral("SELECT name, type, \"notnull\", pk FROM pragma_table_info(:t) ORDER BY cid"),
                              {{QStringLiteral(":t"), table}}, false);
    QVector<TClassicColumn> cols;
    int pkCount = 0;
    QVector<int> pk;
    while (q.next()) {
        TClassicColumn col;
        col.name = q.value(0).toString();
        SqliteType(q.value(1).toString(), col);
        col.required = q.value(2).toInt() != 0;
        col.expression = c.QuoteColumn(col.name);
        pk << q.value(3).toInt();
        if (q.value(3).toInt() > 0) ++pkCount;
        cols << col;
    }
    // INTEGER PRIMARY KEY is the record number.
    for (int i = 0; i < cols.size(); ++i)
        if (pkCount == 1 && pk[i] == 1 && cols[i].type == ftLargeint) cols[i].type = ftAutoInc;
    return cols;
}

void SqliteIndexes(TClassicConnection& c, const QString& table, TIndexDefs& defs) {
    QSqlQuery list = ClassicExec(c, QStringLiteral("SELECT name, \"unique\", origin FROM pragma_index_list(:t) ORDER BY origin = 'pk' DESC, name"),
                                 {{QStringLiteral(":t"), table}}, false);
    bool primary = false;
    while (list.next()) {
        const QString name = list.value(0).toString(), origin = list.value(2).toString();
        QSqlQuery cols = ClassicExec(c, QStringLiteral("SELECT name, \"desc\" FROM pragma_index_xinfo(:i) WHERE key = 1 ORDER BY seqno"),
                                     {{QStringLiteral(":i"), name}}, false);
        QStringList fields, desc;
        bool expression = false;
        while (cols.next()) {
            if (cols.value(0).isNull()) expression = true;
            fields << cols.value(0).toString();
            if (cols.value(1).toInt()) desc << cols.value(0).toString();
        }
        if (expression) continue;
        TIndexOptions o;
        if (list.value(1).toInt()) o |= ixUnique;
        QString ixName = name;
        if (origin == u"pk") {
            o |= ixPrimary;
            ixName.clear(); // SQLite's own name for the key's index is none of the user's
            primary = true;
        } else if (origin == u"u") {
            ixName = QStringLiteral("Unique_") + fields.join(u'_');
        }
        defs.Add(ixName, fields.join(u';'), o)->DescFields = desc.join(u';');
    }
    // A rowid key (INTEGER PRIMARY KEY) has no index of its own.
    if (!primary) {
        QSqlQuery pk = ClassicExec(c, QStringLiteral("SELECT name FROM pragma_table_info(:t) WHERE pk > 0 ORDER BY pk"),
                                   {{QStringLiteral(":t"), table}}, false);
        QStringList fields;
        while (pk.next()) fields << pk.value(0).toString();
        if (!fields.isEmpty()) {
            TIndexDef* d = defs.Add(QString(), fields.join(u';'), ixPrimary | ixUnique);
            defs.Move(d->Index(), 0);
        }
    }
}

// ---- any other driver: what Qt SQL itself knows

TFieldType TypeOfMeta(const QMetaType& t, int length, int& size) {
    switch (t.id()) {
    case QMetaType::Bool: return ftBoolean;
    case QMetaType::Short: case QMetaType::UShort: case QMetaType::SChar: case QMetaType::UChar: return ftSmallint;
    case QMetaType::Int: return ftInteger;
    case QMetaType::UInt: case QMetaType::LongLong: case QMetaType::ULongLong: case QMetaType::Long: case QMetaType::ULong:
        return ftLargeint;
    case QMetaType::Float: case QMetaType::Double: return ftFloat;
    case QMetaType::QDate: return ftDate;
    case QMetaType::QTime: return ftTime;
    case QMetaType::QDateTime: return ftDateTime;
    case QMetaType::QByteArray: return ftBlob;
    case QMetaType::QUuid: size = 38; return ftGuid;
    default:
        if (length > 0 && length <= 32767) { size = length; return ftWideString; }
        return ftWideMemo;
    }
}

} // namespace

QVector<TClassicColumn> ClassicTableColumns(TClassicConnection& c, const QString& table) {
    const QString driver = c.DriverName();
    QVector<TClassicColumn> cols;
    if (driver == QStringLiteral("QPSQL")) cols = PgColumns(c, table);
    else if (driver == QStringLiteral("QSQLITE")) cols = SqliteColumns(c, table);
    else {
        const QSqlRecord r = c.Database().record(c.QuoteTable(table));
        for (int i = 0; i < r.count(); ++i) {
            TClassicColumn col = ClassicResultColumn(driver, r.field(i));
            col.required = r.field(i).requiredStatus() == QSqlField::Required;
            if (r.field(i).isAutoValue() && (col.type == ftInteger || col.type == ftLargeint)) col.type = ftAutoInc;
            col.expression = c.QuoteColumn(col.name);
            cols << col;
        }
    }
    if (cols.isEmpty()) throw EDatabaseError(QStringLiteral("%1 has no table \"%2\"").arg(c.DisplayName(), table));
    return cols;
}

TClassicColumn ClassicResultColumn(const QString& driver, const QSqlField& f) {
    TClassicColumn col;
    col.name = f.name();
    if (driver == QStringLiteral("QPSQL")) {
        // typeID is the type's oid; length and precision as the result describes them.
        static const QHash<int, QString> oids{{16, "bool"}, {17, "bytea"}, {18, "char"}, {19, "name"}, {20, "int8"}, {21, "int2"},
                                              {23, "int4"}, {25, "text"}, {26, "oid"}, {700, "float4"}, {701, "float8"},
                                              {790, "money"}, {1042, "bpchar"}, {1043, "varchar"}, {1082, "date"}, {1083, "time"},
                                              {1114, "timestamp"}, {1184, "timestamptz"}, {1266, "timetz"}, {1700, "numeric"},
                                              {2950, "uuid"}};
        const QString typname = oids.value(f.typeID());
        if (!typname.isEmpty()) {
            int typmod = -1;
            if (typname == u"varchar" || typname == u"bpchar") typmod = f.length() > 0 ? f.length() + 4 : -1;
            if (typname == u"numeric" && f.length() > 0) typmod = ((f.length() << 16) | qMax(0, f.precision())) + 4;
            PgType(typname, typmod, col);
            // A result is read as the driver gives it.
            col.read = TClassicRead::AsIs;
            col.expression.clear();
            return col;
        }
    }
    col.type = TypeOfMeta(f.metaType(), f.length(), col.size);
    return col;
}

void ClassicTableIndexes(TClassicConnection& c, const QString& table, TIndexDefs& defs) {
    const QString driver = c.DriverName();
    if (driver == QStringLiteral("QPSQL")) return PgIndexes(c, table, defs);
    if (driver == QStringLiteral("QSQLITE")) return SqliteIndexes(c, table, defs);
    const QSqlIndex pk = c.Database().primaryIndex(c.QuoteTable(table));
    if (pk.isEmpty()) return;
    QStringList fields, desc;
    for (int i = 0; i < pk.count(); ++i) {
        fields << pk.fieldName(i);
        if (pk.isDescending(i)) desc << pk.fieldName(i);
    }
    QString name = pk.name();
    if (name.compare(QStringLiteral("PRIMARY"), Qt::CaseInsensitive) == 0) name.clear();
    defs.Add(name, fields.join(u';'), ixPrimary | ixUnique)->DescFields = desc.join(u';');
}
