// The rules a table's definitions must obey before anything is written:
// table levels, names, sizes, indexes, fulltext indexes, foreign keys,
// checks and the auto-increment indication; with a connection, the linked
// and parent tables too.
#include "engine/store/ostvalidate.h"

#include "engine/filter/ostfilter.h"
#include "engine/store/ostcollation.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostfilecipher.h"
#include "engine/store/ostschema.h"

#include <QSet>

namespace {

[[noreturn]] void Invalid(const QString& msg, int16_t code = OstErr::InvalidDefinition) {
    throw EOstraError(code, msg);
}

} // namespace

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
            const QStringList enumValues = OstEnumValues(c.spec);
            if (enumValues.isEmpty())
                Invalid(QStringLiteral("Column \"%1\": an enumeration needs at least one value").arg(c.name));
            if (c.spec.contains(QChar(0))) Invalid(QStringLiteral("Column \"%1\": the enumeration values hold a NUL character").arg(c.name));
        }
        if (IsLinkType(c.type) && c.spec.trimmed().isEmpty())
            Invalid(QStringLiteral("Column \"%1\": the linked table is missing").arg(c.name));
        if (IsLinkType(c.type) && conn) {
            const QString linked = OstNormalizeTableName(c.spec, conn->SingleFile());
            if (linked.compare(m.name, Qt::CaseInsensitive) != 0 && !conn->TableExists(linked))
                Invalid(QStringLiteral("Column \"%1\": the linked table \"%2\" does not exist").arg(c.name, OstShownName(linked)));
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
        if (ix.capacity != 0 && ix.capacity < OstMinCapacity)
            Invalid(QStringLiteral("Index \"%1\": capacity must be within %2 and %3").arg(ix.name).arg(OstMinCapacity).arg(2147483647));
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
            // Any column: a value that is not text is indexed as it reads as text
            // (the digits of a number, a date as stored, a blob's bytes as UTF-8).
            if (!c) Invalid(QStringLiteral("Fulltext index \"%1\": column \"%2\" does not exist").arg(f.name, col));
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
        Invalid(QStringLiteral("Encryption method \"%1\" needs table level 4 or higher").arg(OstEncryptionMethodName(m.encryption)),
                OstErr::LevelViolation);
    // One file, one key: the tables of a single-file database share its encryption.
    if (conn && conn->SingleFile() && m.encryption != emDefault && m.encryption != OstCipher().StoredMethod(conn->Location()))
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

