// From stored definitions to SQLite DDL: CREATE TABLE and CREATE INDEX, the
// checks that keep values within their columns, collations, defaults and
// expressions in the table's dialect; table names.
#include "engine/store/ostschema.h"

#include "engine/store/ostcollation.h"

#include <QDate>
#include <QSet>

static QString Q(const QString& s) { return OstQuoteIdent(s); }

[[noreturn]] static void Invalid(const QString& msg, int16_t code = OstErr::InvalidDefinition) {
    throw EOstraError(code, msg);
}

QString OstDoubleUnQuote(const QString& s) {
    const QString t = s.trimmed();
    if (t.size() >= 2 && t.startsWith(QLatin1Char('"')) && t.endsWith(QLatin1Char('"'))) return t.mid(1, t.size() - 2);
    return s;
}

QString OstNormalizeTableName(const QString& name, bool singleFile) {
    QString n = name.trimmed();
    if (!singleFile && n.endsWith(QStringLiteral(".dat"), Qt::CaseInsensitive)) n.chop(4);
    else if (!singleFile && n.endsWith(QStringLiteral(".ostt"), Qt::CaseInsensitive)) n.chop(5);
    return n;
}

QString OstShownName(const QString& name) {
    return name.size() > 64 ? name.left(60) + QStringLiteral("...") : name;
}

void OstValidateTableName(const QString& name, bool singleFile) {
    if (name.isEmpty()) Invalid(QStringLiteral("Missing table name"), OstErr::InvalidName);
    const qsizetype length = name.toUcs4().size();
    if (length > 64)
        Invalid(QStringLiteral("Table name \"%1\" is too long: %2 characters, at most 64 are allowed").arg(OstShownName(name)).arg(length),
                OstErr::InvalidName);
    if (name.contains(QStringLiteral("..")) || name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')) ||
        name.startsWith(QLatin1Char('.')))
        Invalid(QStringLiteral("Table name \"%1\" is not allowed: a table name must not contain a path").arg(OstShownName(name)),
                OstErr::InvalidName);
    if (!IsValidOstName(name))
        Invalid(QStringLiteral("Table name \"%1\" contains invalid characters").arg(OstShownName(name)), OstErr::InvalidName);
    if (name.startsWith(QStringLiteral("__ostra"), Qt::CaseInsensitive) ||
        name.startsWith(QStringLiteral("sqlite_"), Qt::CaseInsensitive))
        Invalid(QStringLiteral("Table name \"%1\" is reserved by the engine").arg(name), OstErr::InvalidName);
    Q_UNUSED(singleFile)
}

int OstAutoIncColumn(const OstTableMeta& meta) {
    for (int i = 0; i < meta.columns.size(); ++i)
        if (meta.columns[i].type == dtAutoInc) return i;
    return -1;
}

QString OstColumnCollation(const OstTableMeta& meta, const OstColumnMeta& col) {
    if (!IsTextType(col.type)) return QString();
    QString c;
    if (IsCollatedType(col.type)) {
        c = col.spec.trimmed();
        if (c == QStringLiteral("(default)")) c.clear();
    }
    if (c.isEmpty()) c = meta.collation.trimmed();
    return OstCanonicalCollation(c);
}

QString OstSqlCollation(const QString& collation) {
    // "Ostra" orders by code point, which is exactly SQLite's built-in BINARY
    // order for UTF-8; the built-in one lets SQLite compare without a callback.
    return collation == QStringLiteral("Ostra") ? QStringLiteral("BINARY") : collation;
}

bool OstIsGeneratedColumn(const OstColumnMeta& col) {
    return col.internalCalc && !col.expression.trimmed().isEmpty() && col.type != dtAutoInc;
}

static QString ZeroValueSql(const OstColumnMeta& c) {
    switch (c.type) {
    case dtChar: case dtString: case dtMemo: case dtWideString: case dtWideMemo: case dtGuid: return QStringLiteral("''");
    case dtSmallInt: case dtInteger: case dtWord: case dtLargeInt: case dtFloat: case dtBoolean: return QStringLiteral("0");
    case dtBlob: return QStringLiteral("X''");
    case dtEnum: {
        const QStringList v = OstEnumValues(c.spec);
        return v.isEmpty() ? QStringLiteral("NULL") : OstQuoteString(v.first());
    }
    default: return QStringLiteral("NULL");
    }
}

QString OstColumnDefaultSql(const OstTableMeta& meta, const OstColumnMeta& c) {
    if (!c.internalCalc && !c.expression.trimmed().isEmpty()) return QStringLiteral("(") + OstExpressionSql(meta, c.expression, OstExprUse::Default) + QStringLiteral(")");
    if (c.nullable) return QStringLiteral("NULL");
    return ZeroValueSql(c);
}

OstColumnResolver OstResolverFor(const OstTableMeta& meta, const QString& prefix) {
    return [meta, prefix](const QString& name, int& type, QString& ref) {
        const OstColumnMeta* c = meta.Column(name);
        if (!c) return false;
        type = c->type;
        ref = prefix + Q(c->name);
        return true;
    };
}

QString OstExpressionSql(const OstTableMeta& meta, const QString& expression, OstExprUse use) {
    const QString e = expression.trimmed();
    QString sql;
    if (e.startsWith(QLatin1Char('@'))) sql = OstNativeExpressionToSql(e.mid(1), OstResolverFor(meta));
    else if (OstLevel::SqlIndexExpressions(meta.level)) sql = e;
    else sql = OstNativeExpressionToSql(e, OstResolverFor(meta));
    // Whatever its source, the text goes into DDL only as one expression.
    OstCheckSqlExpression(meta, sql, use);
    return sql;
}

QString OstIndexPhysicalName(const OstTableMeta& meta, const QString& indexName) {
    // Index names differ by case only within a table, SQLite's do not: add a hash of the exact name.
    uint32_t h = 2166136261u;
    for (char c : indexName.toUtf8()) { h ^= static_cast<uint8_t>(c); h *= 16777619u; }
    return QStringLiteral("%1:%2:%3").arg(meta.uid, indexName).arg(h, 8, 16, QLatin1Char('0'));
}

// ---------------------------------------------------------------- DDL

QVector<OstCheckSql> OstColumnCheckSql(const OstColumnMeta& c) {
    const QString n = Q(c.name);
    auto named = [&](const QString& msg, const QString& cond) {
        return QVector<OstCheckSql>{{msg, QStringLiteral("%1 IS NULL OR (%2)").arg(n, cond)}};
    };
    auto intRange = [&](qint64 lo, qint64 hi) {
        return named(QStringLiteral("Column \"%1\" takes whole numbers from %2 to %3").arg(c.name).arg(lo).arg(hi),
                     QStringLiteral("typeof(%1) = 'integer' AND %1 BETWEEN %2 AND %3").arg(n).arg(lo).arg(hi));
    };
    switch (c.type) {
    case dtChar: case dtString: case dtWideString:
        return named(QStringLiteral("Value of column \"%1\" is longer than %2 characters").arg(c.name).arg(c.size),
                     QStringLiteral("length(%1) <= %2").arg(n).arg(c.size));
    case dtSmallInt: return intRange(-32768, 32767);
    case dtWord: return intRange(0, 65535);
    case dtInteger: return intRange(-2147483648LL, 2147483647LL);
    case dtLargeInt: case dtLink: case dtLargeLink:
        return named(QStringLiteral("Column \"%1\" takes whole numbers").arg(c.name), QStringLiteral("typeof(%1) = 'integer'").arg(n));
    case dtFloat:
        return named(QStringLiteral("Column \"%1\" takes numbers").arg(c.name), QStringLiteral("typeof(%1) IN ('integer','real')").arg(n));
    case dtBoolean:
        return named(QStringLiteral("Column \"%1\" takes True or False").arg(c.name), QStringLiteral("%1 IN (0, 1)").arg(n));
    case dtDate:
        return named(QStringLiteral("Column \"%1\" takes dates (yyyy-mm-dd)").arg(c.name),
                     QStringLiteral("date(%1) = %1").arg(n));
    case dtTime:
        return named(QStringLiteral("Column \"%1\" takes times (hh:mm:ss.zzz)").arg(c.name),
                     QStringLiteral("time(%1) IS NOT NULL AND length(%1) BETWEEN 5 AND 12").arg(n));
    case dtDateTime:
        return named(QStringLiteral("Column \"%1\" takes date and time values").arg(c.name),
                     QStringLiteral("datetime(%1) IS NOT NULL AND substr(%1, 11, 1) = 'T'").arg(n));
    case dtEnum: {
        const QStringList enumValues = OstEnumValues(c.spec);
        QStringList vals;
        for (const QString& v : enumValues) vals << OstQuoteString(v);
        return named(QStringLiteral("Column \"%1\" takes one of %2").arg(c.name, enumValues.join(QStringLiteral(", "))),
                     QStringLiteral("%1 IN (%2)").arg(n, vals.join(QLatin1Char(','))));
    }
    default: return {};
    }
}

namespace {

bool Digits(const QString& s, int from, int len, int& out) {
    out = 0;
    for (int i = from; i < from + len; ++i) {
        const char16_t c = s.at(i).unicode();
        if (c < u'0' || c > u'9') return false;
        out = out * 10 + (c - u'0');
    }
    return true;
}

// Whether d of month m of year y (1 to 9999) is a day of the calendar.
bool CalendarDay(int y, int m, int d) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (m < 1 || m > 12 || d < 1) return false;
    const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    return d <= days[m - 1] + (m == 2 && leap ? 1 : 0);
}

// "yyyy-mm-dd" at from, a day of the years 1 to 9999.
bool IsoDateAt(const QString& s, int from) {
    int y, m, d;
    return s.size() >= from + 10 && s.at(from + 4) == u'-' && s.at(from + 7) == u'-' && Digits(s, from, 4, y) &&
           Digits(s, from + 5, 2, m) && Digits(s, from + 8, 2, d) && y >= 1 && CalendarDay(y, m, d);
}

// "hh:mm", or "hh:mm:ss" with up to three digits of a second after a ".", from from to the end.
bool IsoTimeFrom(const QString& s, int from) {
    const int len = s.size() - from;
    int h, m, sec = 0, frac;
    if (len < 5 || (len > 5 && len < 8) || len == 9 || len > 12 || s.at(from + 2) != u':') return false;
    if (!Digits(s, from, 2, h) || !Digits(s, from + 3, 2, m)) return false;
    if (len > 5 && (s.at(from + 5) != u':' || !Digits(s, from + 6, 2, sec))) return false;
    if (len > 8 && (s.at(from + 8) != u'.' || !Digits(s, from + 9, len - 9, frac))) return false;
    return h < 24 && m < 60 && sec < 60;
}

bool IsInteger(const QVariant& v) {
    const int id = v.typeId();
    return id == QMetaType::LongLong || id == QMetaType::Int;
}

} // namespace

bool OstStoredMeetsColumnCheck(const QVariant& v, const OstColumnMeta& c) {
    if (!v.isValid() || v.isNull()) return true;
    const bool text = v.typeId() == QMetaType::QString;
    static const QString none;
    const QString& s = text ? *static_cast<const QString*>(v.constData()) : none;
    const auto inRange = [&](qint64 lo, qint64 hi) { return IsInteger(v) && v.toLongLong() >= lo && v.toLongLong() <= hi; };
    switch (c.type) {
    case dtChar: case dtString: case dtWideString:
        // UTF-16 units are never fewer than the characters SQLite counts.
        return text && s.size() <= c.size;
    case dtSmallInt: return inRange(-32768, 32767);
    case dtWord: return inRange(0, 65535);
    case dtInteger: return inRange(-2147483648LL, 2147483647LL);
    case dtLargeInt: case dtLink: case dtLargeLink: return IsInteger(v);
    case dtFloat: return IsInteger(v) || v.typeId() == QMetaType::Double;
    case dtBoolean: return inRange(0, 1);
    case dtDate: return text && s.size() == 10 && IsoDateAt(s, 0);
    case dtTime: return text && IsoTimeFrom(s, 0);
    case dtDateTime: return text && s.size() >= 16 && IsoDateAt(s, 0) && s.at(10) == u'T' && IsoTimeFrom(s, 11);
    case dtEnum: return text && OstEnumValues(c.spec).contains(s);
    default: return true; // memo, blob, GUID, auto-increment: no column checks
    }
}

QString OstSqlType(int t) {
    switch (t) {
    case dtSmallInt: case dtInteger: case dtWord: case dtAutoInc: case dtLink: case dtLargeLink: case dtLargeInt:
    case dtBoolean: return QStringLiteral("INTEGER");
    case dtFloat: return QStringLiteral("REAL");
    case dtBlob: return QStringLiteral("BLOB");
    default: return QStringLiteral("TEXT");
    }
}

QVector<OstCheckSql> OstTableCheckSql(const OstTableMeta& m) {
    QVector<OstCheckSql> out;
    // Primary key columns must hold a value.
    for (const OstIndexMeta& ix : m.indexes) {
        if (!(ix.options & ixPrimary) || (ix.options & ixExpression)) continue;
        for (const QString& e : OstSplitFields(ix.fields)) {
            QString col;
            int len;
            if (!OstParseFieldEntry(e, col, len) || !m.Column(col)) continue;
            const QString name = m.Column(col)->name;
            out.append({QStringLiteral("Primary key column \"%1\" must have a value").arg(name),
                        QStringLiteral("%1 IS NOT NULL").arg(Q(name))});
        }
    }
    for (const OstCheckMeta& ck : m.checks) {
        const QString cond = ck.custom.trimmed().isEmpty() ? ck.condition : ck.custom;
        const QString msg = ck.message.trimmed().isEmpty() ? QStringLiteral("Check \"%1\" failed").arg(cond.trimmed()) : ck.message;
        const QString sql = OstNativeExpressionToSql(cond, OstResolverFor(m));
        OstCheckSqlExpression(m, sql, OstExprUse::Check); // the translation, too, goes into DDL only as one expression
        out.append({msg, sql});
    }
    return out;
}

QString OstColumnSql(const OstTableMeta& m, const OstColumnMeta& c, bool withChecks) {
    QString def = Q(c.name) + QLatin1Char(' ') + OstSqlType(c.type);
    if (c.type == dtAutoInc && OstAutoIncColumn(m) == m.ColumnIndex(c.name)) return def + QStringLiteral(" PRIMARY KEY AUTOINCREMENT");
    const QString coll = OstColumnCollation(m, c);
    if (!coll.isEmpty()) def += QStringLiteral(" COLLATE ") + Q(OstSqlCollation(coll));
    if (OstIsGeneratedColumn(c))
        return def + QStringLiteral(" GENERATED ALWAYS AS (%1) VIRTUAL").arg(OstExpressionSql(m, c.expression, OstExprUse::Calculated));
    if (!c.nullable)
        def += QStringLiteral(" CONSTRAINT %1 NOT NULL").arg(Q(QStringLiteral("Column \"%1\" must have a value").arg(c.name)));
    const QString dflt = OstColumnDefaultSql(m, c);
    if (dflt != QStringLiteral("NULL")) def += QStringLiteral(" DEFAULT ") + dflt;
    if (withChecks)
        for (const OstCheckSql& ck : OstColumnCheckSql(c))
            def += QStringLiteral(" CONSTRAINT %1 CHECK (%2)").arg(Q(ck.message), ck.condition);
    return def;
}

QString OstCreateTableSql(const OstTableMeta& m, const QString& schema, const QString& table) {
    QStringList parts;
    for (const OstColumnMeta& c : m.columns) parts << OstColumnSql(m, c, true);
    for (const OstCheckSql& ck : OstTableCheckSql(m))
        parts << QStringLiteral("CONSTRAINT %1 CHECK (%2)").arg(Q(ck.message), ck.condition);
    return QStringLiteral("CREATE TABLE %1.%2(\n  %3\n)").arg(schema, table, parts.join(QStringLiteral(",\n  ")));
}

QString OstStoredSql(const QString& sql, const QString& schema) {
    // SQLite keeps a CREATE statement without the schema before the name.
    for (const QString& head : {QStringLiteral("CREATE TABLE "), QStringLiteral("CREATE UNIQUE INDEX "), QStringLiteral("CREATE INDEX ")})
        if (sql.startsWith(head + schema + QLatin1Char('.'))) return head + sql.mid(head.size() + schema.size() + 1);
    return sql;
}

// The case-insensitive variant of a collation, for case-insensitive key columns.
static QString CaseInsensitiveCollation(const QString& coll) {
    if (coll.isEmpty() || coll == QStringLiteral("Ostra")) return QStringLiteral("NOCASE");
    QString base = coll;
    QString accent;
    if (base.endsWith(QStringLiteral("_as"), Qt::CaseInsensitive) || base.endsWith(QStringLiteral("_ai"), Qt::CaseInsensitive)) {
        accent = base.right(3);
        base.chop(3);
    }
    if (base.endsWith(QStringLiteral("_cs"), Qt::CaseInsensitive) || base.endsWith(QStringLiteral("_ci"), Qt::CaseInsensitive))
        base.chop(3);
    return OstCanonicalCollation(base + QStringLiteral("_ci") + accent);
}

QString OstIndexSql(const OstTableMeta& m, const OstIndexMeta& ix, const QString& schema, const QString& table) {
    const bool unique = ix.options & (ixUnique | ixPrimary);
    QStringList keys;
    if (ix.options & ixExpression) {
        keys << QStringLiteral("(") + OstExpressionSql(m, ix.expression, OstExprUse::Index) + QStringLiteral(")");
        if (ix.options & ixDescending) keys.last() += QStringLiteral(" DESC");
    } else {
        const QStringList desc = OstSplitFields(ix.descFields);
        const QStringList ci = OstSplitFields(ix.caseInsFields);
        for (const QString& e : OstSplitFields(ix.fields)) {
            QString col;
            int len = 0;
            const OstColumnMeta* c = OstParseFieldEntry(e, col, len) ? m.Column(col) : nullptr;
            // A stored definition may be damaged; it is an error, never a null column.
            if (!c)
                throw EOstraError(OstErr::InvalidDefinition,
                                  QStringLiteral("Index \"%1\" of table \"%2\" names column \"%3\", which does not exist: the "
                                                 "table's definition is damaged").arg(ix.name, m.name, col.isEmpty() ? e : col));
            QString k = len > 0 ? QStringLiteral("substr(%1, 1, %2)").arg(Q(c->name)).arg(len) : Q(c->name);
            const bool caseIns = (ix.options & ixCaseInsensitive) || ci.contains(e, Qt::CaseInsensitive) ||
                                 ci.contains(col, Qt::CaseInsensitive);
            if (IsTextType(c->type)) {
                QString coll = OstColumnCollation(m, *c);
                if (caseIns) coll = CaseInsensitiveCollation(coll);
                k += QStringLiteral(" COLLATE ") + Q(OstSqlCollation(coll));
            }
            if ((ix.options & ixDescending) || desc.contains(e, Qt::CaseInsensitive)) k += QStringLiteral(" DESC");
            keys << k;
        }
    }
    return QStringLiteral("CREATE %1INDEX %2.%3 ON %4(%5)")
        .arg(unique ? QStringLiteral("UNIQUE ") : QString(), schema, Q(OstIndexPhysicalName(m, ix.name)),
             table, keys.join(QStringLiteral(", ")));
}

QVector<OstIndexStatement> OstIndexStatements(const OstTableMeta& m, const QString& schema, const QString& table) {
    QVector<OstIndexStatement> out;
    for (const OstIndexMeta& ix : m.indexes)
        if (!(ix.options & ixNonMaintained)) out.append({OstIndexPhysicalName(m, ix.name), OstIndexSql(m, ix, schema, table)});
    for (const OstColumnMeta& c : m.columns)
        if (IsLinkType(c.type) && !c.special) {
            const QString name = OstIndexPhysicalName(m, QStringLiteral("link$") + c.name);
            out.append({name, QStringLiteral("CREATE INDEX %1.%2 ON %3(%4)").arg(schema, Q(name), table, Q(c.name))});
        }
    return out;
}

QStringList OstCreateIndexesSql(const OstTableMeta& m, const QString& schema, const QString& table) {
    QStringList out;
    for (const OstIndexStatement& st : OstIndexStatements(m, schema, table)) out << st.sql;
    return out;
}
