#include "ostschema.h"

#include "ostcollation.h"
#include "ostconnection.h"
#include "ostcrypt.h"
#include "ostcryptaccess.h"

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
    return n;
}

// A name as a message shows it: long ones are cut, so that an error stays readable.
static QString Shown(const QString& name) {
    return name.size() > 64 ? name.left(60) + QStringLiteral("...") : name;
}

void OstValidateTableName(const QString& name, bool singleFile) {
    if (name.isEmpty()) Invalid(QStringLiteral("Missing table name"), OstErr::InvalidName);
    const qsizetype length = name.toUcs4().size();
    if (length > 64)
        Invalid(QStringLiteral("Table name \"%1\" is too long: %2 characters, at most 64 are allowed").arg(Shown(name)).arg(length),
                OstErr::InvalidName);
    if (name.contains(QStringLiteral("..")) || name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')) ||
        name.startsWith(QLatin1Char('.')))
        Invalid(QStringLiteral("Table name \"%1\" is not allowed: a table name must not contain a path").arg(Shown(name)),
                OstErr::InvalidName);
    if (!IsValidOstName(name))
        Invalid(QStringLiteral("Table name \"%1\" contains invalid characters").arg(Shown(name)), OstErr::InvalidName);
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
        OstColumnMeta tmp = c;
        TOstFieldDef d;
        d.SetDataTypeOst(dtEnum);
        d.SetSpec(c.spec);
        const QStringList v = d.EnumValues();
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

// ---------------------------------------------------------------- validation

static void ValidateIndexFields(const OstTableMeta& m, const OstIndexMeta& ix) {
    const QStringList entries = OstSplitFields(ix.fields);
    if (entries.isEmpty()) Invalid(QStringLiteral("Index \"%1\" has no columns").arg(ix.name));
    for (const QString& e : entries) {
        QString col;
        int len = 0;
        if (!OstParseFieldEntry(e, col, len))
            Invalid(QStringLiteral("Index \"%1\": \"%2\" is not a valid column entry").arg(ix.name, e));
        const OstColumnMeta* c = m.Column(col);
        if (!c) Invalid(QStringLiteral("Index \"%1\": column \"%2\" does not exist").arg(ix.name, col));
        if (len > 0 && !IsTextType(c->type))
            Invalid(QStringLiteral("Index \"%1\": a key length is only allowed for text columns (\"%2\")").arg(ix.name, col));
        if (len > 0 && IsSizedTextType(c->type) && len > c->size)
            Invalid(QStringLiteral("Index \"%1\": key length %2 exceeds the size of column \"%3\"").arg(ix.name).arg(len).arg(col));
        if (c->type == dtBlob)
            Invalid(QStringLiteral("Index \"%1\": column \"%2\" of type %3 cannot be indexed").arg(ix.name, col, GetDataTypeName(c->type)));
    }
    for (const QString& d : OstSplitFields(ix.descFields))
        if (!entries.contains(d, Qt::CaseInsensitive))
            Invalid(QStringLiteral("Index \"%1\": descending entry \"%2\" is not one of its columns").arg(ix.name, d));
}

static void ValidateColumns(const OstTableMeta& m, OstConnection* conn) {
    if (m.columns.isEmpty()) Invalid(QStringLiteral("Table must contain at least one column"));
    QSet<QString> names;
    QSet<int> numbers;
    int autoIncs = 0;
    for (const OstColumnMeta& c : m.columns) {
        const QString tn = GetDataTypeName(c.type);
        if (!IsValidOstName(c.name))
            Invalid(QStringLiteral("Column name \"%1\" is not valid").arg(c.name), OstErr::InvalidName);
        if (names.contains(c.name.toLower()))
            Invalid(QStringLiteral("Column \"%1\" is defined twice").arg(c.name), OstErr::InvalidName);
        names.insert(c.name.toLower());
        if (c.number > 0) {
            if (numbers.contains(c.number))
                Invalid(QStringLiteral("Column \"%1\": column number %2 is used twice").arg(c.name).arg(c.number));
            numbers.insert(c.number);
        }
        if (c.type < 0 || c.type >= OstDataTypeCount)
            Invalid(QStringLiteral("Column \"%1\": unknown data type %2").arg(c.name).arg(c.type));
        if (IsSizedTextType(c.type)) {
            const int max = OstLevel::MaxTextSize(m.level);
            if (c.size < 1 || c.size > max) {
                if (c.size > 255 && c.size <= 32767 && m.level < 4)
                    Invalid(QStringLiteral("Column \"%1\": a text size of %2 needs table level 4 or higher (at most 255 below)")
                                .arg(c.name).arg(c.size), OstErr::LevelViolation);
                Invalid(QStringLiteral("Column \"%1\": the size must be between 1 and %2").arg(c.name).arg(max));
            }
        }
        if (c.nullable && c.type != dtAutoInc && !OstLevel::TypeMayBeNullable(m.level, c.type))
            Invalid(QStringLiteral("Column \"%1\": type %2 cannot be nullable below table level 4").arg(c.name, tn),
                    OstErr::LevelViolation);
        if (c.type == dtFloat && (c.precision < 0 || c.precision > 15))
            Invalid(QStringLiteral("Column \"%1\": the precision must be between 0 and 15").arg(c.name));
        if (c.type == dtTime && c.precision != 0 && (c.precision < 2 || c.precision > 4))
            Invalid(QStringLiteral("Column \"%1\": the time precision must be 2 (minutes), 3 (seconds) or 4 (milliseconds)").arg(c.name));
        if (IsCollatedType(c.type)) {
            const QString coll = c.spec.trimmed();
            if (!coll.isEmpty() && coll != QStringLiteral("(default)") && coll.compare(QStringLiteral("Ostra"), Qt::CaseInsensitive) != 0) {
                if (!OstLevel::HasCollations(m.level))
                    Invalid(QStringLiteral("Column \"%1\": collation \"%2\" needs table level 6 or higher").arg(c.name, coll),
                            OstErr::LevelViolation);
                QString err;
                if (!OstIsValidCollationName(coll, &err)) Invalid(QStringLiteral("Column \"%1\": %2").arg(c.name, err));
            }
        }
        if (c.type == dtEnum) {
            TOstFieldDef d;
            d.SetDataTypeOst(dtEnum);
            d.SetSpec(c.spec);
            if (d.EnumValues().isEmpty())
                Invalid(QStringLiteral("Column \"%1\": an enumeration needs at least one value").arg(c.name));
            if (c.spec.contains(QChar(0))) Invalid(QStringLiteral("Column \"%1\": the enumeration values hold a NUL character").arg(c.name));
        }
        if (IsLinkType(c.type) && c.spec.trimmed().isEmpty())
            Invalid(QStringLiteral("Column \"%1\": the linked table is missing").arg(c.name));
        if (IsLinkType(c.type) && conn) {
            const QString linked = OstNormalizeTableName(c.spec, conn->SingleFile());
            if (linked.compare(m.name, Qt::CaseInsensitive) != 0 && !conn->TableExists(linked))
                Invalid(QStringLiteral("Column \"%1\": the linked table \"%2\" does not exist").arg(c.name, Shown(linked)));
        }
        if (c.type == dtAutoInc && ++autoIncs > 1)
            Invalid(QStringLiteral("Column \"%1\": a table can have only one dtAutoInc column").arg(c.name));
        if (!c.expression.trimmed().isEmpty() && c.type != dtAutoInc) {
            if (!c.internalCalc && !OstLevel::HasDefaultValues(m.level))
                Invalid(QStringLiteral("Column \"%1\": default values need table level 4 or higher").arg(c.name),
                        OstErr::LevelViolation);
            try {
                OstExpressionSql(m, c.expression, c.internalCalc ? OstExprUse::Calculated : OstExprUse::Default);
            } catch (const EOstraError& e) {
                Invalid(QStringLiteral("Column \"%1\": %2").arg(c.name, e.Message()));
            }
        }
    }
    // The indication of a dtAutoInc column must be a valid index definition.
    const int ai = OstAutoIncColumn(m);
    if (ai >= 0) {
        const OstColumnMeta& c = m.columns[ai];
        const QString ind = c.spec.trimmed();
        if (!ind.isEmpty()) {
            const QStringList entries = OstSplitFields(OstDoubleUnQuote(ind));
            bool ok = !entries.isEmpty();
            QString bad;
            for (const QString& e : entries) {
                QString col;
                int len = 0;
                if (!OstParseFieldEntry(OstDoubleUnQuote(e), col, len) || !m.Column(col)) { ok = false; bad = e; break; }
            }
            if (!ok)
                throw EOstraError(OstErr::InvalidIndication,
                                  QStringLiteral("The indication %1 of the dtAutoInc column \"%2\" is not a valid index definition%3")
                                      .arg(ind, c.name, bad.isEmpty() ? QString() : QStringLiteral(": %1 is not a column").arg(OstDoubleUnQuote(bad))));
        }
    }
}

static void ValidateIndexes(const OstTableMeta& m) {
    QSet<QString> names;
    int primaries = 0;
    for (const OstIndexMeta& ix : m.indexes) {
        if (ix.name.trimmed().isEmpty()) Invalid(QStringLiteral("An index has no name"), OstErr::InvalidName);
        if (names.contains(ix.name)) Invalid(QStringLiteral("Index \"%1\" is defined twice").arg(ix.name), OstErr::InvalidName);
        names.insert(ix.name);
        if (ix.name.contains(QLatin1Char('"')) || ix.name.contains(QLatin1Char('/')) || ix.name.contains(QLatin1Char('\\')) || ix.name.contains(QChar(0)))
            Invalid(QStringLiteral("Index name \"%1\" contains invalid characters").arg(ix.name), OstErr::InvalidName);
        const bool primary = ix.options & ixPrimary;
        if (primary) {
            if (!OstLevel::HasPrimaryKeys(m.level))
                Invalid(QStringLiteral("Index \"%1\": primary keys need table level 4 or higher").arg(ix.name), OstErr::LevelViolation);
            if (++primaries > 1) Invalid(QStringLiteral("Index \"%1\": a table can have only one primary index").arg(ix.name));
        } else if (OstLevel::ReservedIndexNames(m.level)) {
            const QString up = ix.name.toUpper();
            if (up.startsWith(QStringLiteral("SYS_")) || up.startsWith(QStringLiteral("TMP")))
                Invalid(QStringLiteral("Index name \"%1\" is reserved: index names must not start with SYS_ or TMP").arg(ix.name),
                        OstErr::LevelViolation);
        }
        if (ix.options & ixExpression) {
            const QString e = ix.expression.trimmed();
            if (e.isEmpty()) Invalid(QStringLiteral("Index \"%1\" has no expression").arg(ix.name));
            const int max = OstLevel::MaxIndexExpression(m.level);
            if (e.size() > max)
                Invalid(QStringLiteral("Index \"%1\": the expression is longer than %2 characters%3")
                            .arg(ix.name).arg(max).arg(m.level < 4 ? QStringLiteral(" (255 from table level 4 on)") : QString()),
                        OstErr::LevelViolation);
            try {
                OstExpressionSql(m, e, OstExprUse::Index);
            } catch (const EOstraError& err) {
                Invalid(QStringLiteral("Index \"%1\": %2").arg(ix.name, err.Message()));
            }
        } else {
            ValidateIndexFields(m, ix);
        }
    }
}

static void ValidateFulltext(const OstTableMeta& m) {
    for (const OstFulltextMeta& f : m.fulltext) {
        if (!OstLevel::HasFulltext(m.level))
            Invalid(QStringLiteral("Fulltext index \"%1\": fulltext indexes need table level 4 or higher").arg(f.name),
                    OstErr::LevelViolation);
        if (f.name.trimmed().isEmpty()) Invalid(QStringLiteral("A fulltext index has no name"), OstErr::InvalidName);
        if (!f.separators.isEmpty() && !OstLevel::HasFulltextSeparators(m.level))
            Invalid(QStringLiteral("Fulltext index \"%1\": own separators need table level 6 or higher").arg(f.name),
                    OstErr::LevelViolation);
        const QStringList cols = OstSplitFields(f.fields);
        if (cols.isEmpty()) Invalid(QStringLiteral("Fulltext index \"%1\" has no columns").arg(f.name));
        for (const QString& col : cols) {
            const OstColumnMeta* c = m.Column(col);
            if (!c) Invalid(QStringLiteral("Fulltext index \"%1\": column \"%2\" does not exist").arg(f.name, col));
            if (!IsTextType(c->type))
                Invalid(QStringLiteral("Fulltext index \"%1\": column \"%2\" is not a text column").arg(f.name, col));
        }
    }
}

static void ValidateForeignKeys(const OstTableMeta& m, OstConnection* conn) {
    QSet<QString> names;
    for (const OstForeignKeyMeta& fk : m.foreignKeys) {
        if (fk.name.trimmed().isEmpty()) Invalid(QStringLiteral("A foreign key has no name"), OstErr::InvalidName);
        if (names.contains(fk.name.toLower())) Invalid(QStringLiteral("Foreign key \"%1\" is defined twice").arg(fk.name));
        names.insert(fk.name.toLower());
        const QStringList child = OstSplitFields(fk.childFields);
        // The parent fields are the Fields text of a unique index: an entry
        // may carry the key length of that index ("Code:5"), which names the
        // column Code. Values are matched on the whole column.
        QStringList parent;
        for (const QString& e : OstSplitFields(fk.parentFields)) {
            QString col;
            int length;
            OstParseFieldEntry(e, col, length);
            parent << col;
        }
        if (child.isEmpty() || child.size() != parent.size())
            Invalid(QStringLiteral("Foreign key \"%1\": it needs as many columns in this table as in the parent key").arg(fk.name));
        for (const QString& c : child)
            if (!m.Column(c)) Invalid(QStringLiteral("Foreign key \"%1\": column \"%2\" does not exist").arg(fk.name, c));
        if (fk.parentTable.trimmed().isEmpty()) Invalid(QStringLiteral("Foreign key \"%1\": the parent table is missing").arg(fk.name));
        const bool self = fk.parentTable.compare(m.name, Qt::CaseInsensitive) == 0;
        if (!conn && !self) continue;
        OstTableMeta pm;
        if (self) pm = m;
        else if (!conn->TableExists(fk.parentTable) || !conn->ReadMeta(fk.parentTable, pm))
            Invalid(QStringLiteral("Foreign key \"%1\": parent table \"%2\" does not exist").arg(fk.name, fk.parentTable));
        for (const QString& p : parent)
            if (!pm.Column(p)) Invalid(QStringLiteral("Foreign key \"%1\": column \"%2\" does not exist in table \"%3\"").arg(fk.name, p, fk.parentTable));
        // The parent key must be unique: a unique or primary index over exactly those columns, or the record id.
        bool unique = parent.size() == 1 && OstAutoIncColumn(pm) >= 0 &&
                      pm.columns[OstAutoIncColumn(pm)].name.compare(parent.first(), Qt::CaseInsensitive) == 0;
        for (const OstIndexMeta& ix : pm.indexes) {
            if (!(ix.options & (ixUnique | ixPrimary)) || (ix.options & ixExpression)) continue;
            QStringList cols;
            for (const QString& e : OstSplitFields(ix.fields)) { QString c; int l; OstParseFieldEntry(e, c, l); cols << c.toLower(); }
            QStringList want;
            for (const QString& p : parent) want << p.toLower();
            if (QSet<QString>(cols.begin(), cols.end()) == QSet<QString>(want.begin(), want.end())) unique = true;
        }
        if (!unique)
            Invalid(QStringLiteral("Foreign key \"%1\": the columns %2 are not a unique key of table \"%3\"")
                        .arg(fk.name, parent.join(QLatin1Char(';')), fk.parentTable));
    }
}

void OstValidateMeta(const OstTableMeta& m, OstConnection* conn) {
    OstValidateTableName(m.name, conn ? conn->SingleFile() : true);
    if (m.level < OstMinTableLevel || m.level > OstMaxTableLevel)
        Invalid(QStringLiteral("Table level %1 is not supported (%2 to %3)").arg(m.level).arg(OstMinTableLevel).arg(OstMaxTableLevel));
    if (m.capacity < OstMinCapacity)
        Invalid(QStringLiteral("Capacity must be within %1 and %2").arg(OstMinCapacity).arg(2147483647));
    const QString coll = m.collation.trimmed();
    if (!coll.isEmpty() && coll.compare(QStringLiteral("Ostra"), Qt::CaseInsensitive) != 0) {
        if (!OstLevel::HasCollations(m.level))
            Invalid(QStringLiteral("Table collation \"%1\" needs table level 6 or higher").arg(coll), OstErr::LevelViolation);
        QString err;
        if (!OstIsValidCollationName(coll, &err)) Invalid(err);
    }
    if (m.encryption < emDefault || m.encryption > emRijndael)
        Invalid(QStringLiteral("Unknown encryption method %1").arg(m.encryption));
    if (m.encryption >= emFastEncrypt && !OstLevel::StrongEncryption(m.level))
        Invalid(QStringLiteral("Encryption method \"%1\" needs table level 4 or higher").arg(OstCrypt::MethodName(m.encryption)),
                OstErr::LevelViolation);
    // One file, one key: the tables of a single-file database share its encryption.
    if (conn && conn->SingleFile() && m.encryption != emDefault && m.encryption != OstCryptStoredMethod(conn->Location()))
        Invalid(QStringLiteral("Table \"%1\" cannot be encrypted on its own: the tables of a single-file database use the "
                               "database's encryption (method \"Default\")").arg(m.name));
    ValidateColumns(m, conn);
    ValidateIndexes(m);
    ValidateFulltext(m);
    ValidateForeignKeys(m, conn);
    for (const OstCheckMeta& ck : m.checks) {
        const QString cond = ck.custom.trimmed().isEmpty() ? ck.condition : ck.custom;
        if (cond.trimmed().isEmpty()) Invalid(QStringLiteral("A check constraint has no condition"));
        if (ck.message.contains(QChar(0))) Invalid(QStringLiteral("Check \"%1\": the error message holds a NUL character").arg(cond));
        try {
            OstNativeExpressionToSql(cond, OstResolverFor(m));
        } catch (const EOstraError& e) {
            Invalid(QStringLiteral("Check \"%1\": %2").arg(cond, e.Message()));
        }
    }
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
        TOstFieldDef d;
        d.SetDataTypeOst(dtEnum);
        d.SetSpec(c.spec);
        QStringList vals;
        for (const QString& v : d.EnumValues()) vals << OstQuoteString(v);
        return named(QStringLiteral("Column \"%1\" takes one of %2").arg(c.name, d.EnumValues().join(QStringLiteral(", "))),
                     QStringLiteral("%1 IN (%2)").arg(n, vals.join(QLatin1Char(','))));
    }
    default: return {};
    }
}

static QString SqlType(int t) {
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

QString OstCreateTableSql(const OstTableMeta& m, const QString& schema, const QString& table) {
    QStringList parts;
    const int ai = OstAutoIncColumn(m);
    for (int i = 0; i < m.columns.size(); ++i) {
        const OstColumnMeta& c = m.columns[i];
        QString def = Q(c.name) + QLatin1Char(' ') + SqlType(c.type);
        if (i == ai) {
            def += QStringLiteral(" PRIMARY KEY AUTOINCREMENT");
            parts << def;
            continue;
        }
        const QString coll = OstColumnCollation(m, c);
        if (!coll.isEmpty()) def += QStringLiteral(" COLLATE ") + Q(OstSqlCollation(coll));
        if (OstIsGeneratedColumn(c)) {
            def += QStringLiteral(" GENERATED ALWAYS AS (%1) VIRTUAL").arg(OstExpressionSql(m, c.expression, OstExprUse::Calculated));
        } else {
            if (!c.nullable)
                def += QStringLiteral(" CONSTRAINT %1 NOT NULL").arg(Q(QStringLiteral("Column \"%1\" must have a value").arg(c.name)));
            const QString dflt = OstColumnDefaultSql(m, c);
            if (dflt != QStringLiteral("NULL")) def += QStringLiteral(" DEFAULT ") + dflt;
            for (const OstCheckSql& ck : OstColumnCheckSql(c))
                def += QStringLiteral(" CONSTRAINT %1 CHECK (%2)").arg(Q(ck.message), ck.condition);
        }
        parts << def;
    }
    for (const OstCheckSql& ck : OstTableCheckSql(m))
        parts << QStringLiteral("CONSTRAINT %1 CHECK (%2)").arg(Q(ck.message), ck.condition);
    return QStringLiteral("CREATE TABLE %1.%2(\n  %3\n)").arg(schema, table, parts.join(QStringLiteral(",\n  ")));
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

QStringList OstCreateIndexesSql(const OstTableMeta& m, const QString& schema, const QString& table) {
    QStringList out;
    for (const OstIndexMeta& ix : m.indexes)
        if (!(ix.options & ixNonMaintained)) out << OstIndexSql(m, ix, schema, table);
    for (const OstColumnMeta& c : m.columns)
        if (IsLinkType(c.type) && !c.special)
            out << QStringLiteral("CREATE INDEX %1.%2 ON %3(%4)")
                       .arg(schema, Q(OstIndexPhysicalName(m, QStringLiteral("link$") + c.name)), table, Q(c.name));
    return out;
}
