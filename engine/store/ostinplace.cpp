// Restructures made on the schema alone (see ostinplace.h). The decision
// compares the stored and the planned definitions column by column, index by
// index and check by check; the change itself uses ALTER TABLE for what it
// does (RENAME COLUMN, ADD COLUMN) and, for what remains - constraint names
// and conditions that no stored row can break - SQLite's documented edit of
// the schema text for changes that leave the stored rows as they are:
// writable_schema on, the CREATE text updated, schema_version raised by one,
// writable_schema off, all inside the restructure's transaction.
#include "engine/store/ostinplace.h"

#include "engine/filter/ostfilter.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostschema.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <atomic>

namespace {

std::atomic<bool> s_inPlaceAllowed{true};

QString Q(const QString& s) { return OstQuoteIdent(s); }

QString Column(const QString& name) { return QStringLiteral("column \"%1\"").arg(name); }

const OstColumnMeta* ByNumber(const OstTableMeta& m, int number) {
    for (const OstColumnMeta& c : m.columns)
        if (c.number > 0 && c.number == number) return &c;
    return nullptr;
}

// A default SQLite takes in ALTER TABLE ADD COLUMN: a literal, maybe signed
// or in parentheses. Anything else would be computed anew on every read.
bool IsConstant(QString sql) {
    sql = sql.trimmed();
    for (;;) {
        if (!sql.startsWith(u'(') || !sql.endsWith(u')')) break;
        // Only when the first parenthesis closes at the end.
        int depth = 0;
        bool quoted = false, wraps = true;
        for (int i = 0; i < sql.size() && wraps; ++i) {
            const QChar ch = sql.at(i);
            if (ch == u'\'') quoted = !quoted;
            else if (!quoted && ch == u'(') ++depth;
            else if (!quoted && ch == u')' && --depth == 0 && i != sql.size() - 1) wraps = false;
        }
        if (!wraps) break;
        sql = sql.mid(1, sql.size() - 2).trimmed();
    }
    static const QRegularExpression literal(
        QStringLiteral("^(?:[+-]?\\s*(?:(?:\\d+(?:\\.\\d*)?|\\.\\d+)(?:[eE][+-]?\\d+)?|0[xX][0-9a-fA-F]+)|'(?:[^']|'')*'|"
                       "[xX]'(?:[0-9a-fA-F]{2})*'|NULL|TRUE|FALSE)$"),
        QRegularExpression::CaseInsensitiveOption);
    return literal.match(sql).hasMatch();
}

// Whether a new column's default keeps the column's own rules. Evaluated on
// the value as written (no affinity): when in doubt, the answer is no.
bool DefaultKeepsRules(OstConnection& c, const OstColumnMeta& n, const QString& dflt) {
    if (dflt == QStringLiteral("NULL")) return n.nullable; // every column rule lets NULL pass
    QStringList conditions;
    for (const OstCheckSql& ck : OstColumnCheckSql(n)) conditions << QStringLiteral("(%1)").arg(ck.condition);
    if (conditions.isEmpty()) return true;
    OstStmt st(c.Db(), QStringLiteral("SELECT %1 FROM (SELECT %2 AS %3)").arg(conditions.join(QStringLiteral(" AND ")), dflt, Q(n.name)));
    return st.Step() && !st.IsNull(0) && st.Int64(0) != 0;
}

// The planned definitions with the stored names of the stored columns, index
// entries following: what the planned indexes are in terms of the stored table.
OstTableMeta WithStoredNames(const OstTableMeta& stored, const OstTableMeta& planned) {
    OstTableMeta m = planned;
    QHash<QString, QString> toStored; // lower-case planned name -> stored name
    for (OstColumnMeta& n : m.columns)
        if (const OstColumnMeta* o = ByNumber(stored, n.number)) {
            toStored.insert(n.name.toLower(), o->name);
            n.name = o->name;
        }
    auto map = [&](const QString& list) {
        QStringList out;
        for (const QString& entry : OstSplitFields(list)) {
            QString col;
            int len = 0;
            const auto it = OstParseFieldEntry(OstDoubleUnQuote(entry), col, len) ? toStored.constFind(col.toLower()) : toStored.constEnd();
            if (it == toStored.constEnd() || *it == col) out << entry;
            else out << (len > 0 ? QStringLiteral("%1:%2").arg(*it).arg(len) : *it);
        }
        return out.join(u';');
    };
    for (OstIndexMeta& ix : m.indexes) {
        ix.fields = map(ix.fields);
        ix.descFields = map(ix.descFields);
        ix.caseInsFields = map(ix.caseInsFields);
    }
    return m;
}

// What a rebuild's index is in user terms.
struct IndexOf {
    QString what; // "index \"X\"", "the primary key", "the index of link column \"X\""
    QString sql;
};

QHash<QString, IndexOf> Indexes(const OstTableMeta& m) {
    QHash<QString, IndexOf> out;
    const QVector<OstIndexStatement> statements = OstIndexStatements(m, QStringLiteral("s"), QStringLiteral("t"));
    int k = 0;
    for (const OstIndexMeta& ix : m.indexes) {
        if (ix.options & ixNonMaintained) continue;
        const QString what = (ix.options & ixPrimary) ? QStringLiteral("the primary key") : QStringLiteral("index \"%1\"").arg(ix.name);
        out.insert(statements[k].name, {what, statements[k].sql});
        ++k;
    }
    for (; k < statements.size(); ++k) out.insert(statements[k].name, {QString(), statements[k].sql});
    return out;
}

// Whether an index of the table orders the column (or may: an expression).
QString IndexOnColumn(const OstTableMeta& m, const QString& column) {
    for (const OstIndexMeta& ix : m.indexes) {
        if (ix.options & ixNonMaintained) continue;
        bool on = (ix.options & ixExpression) != 0;
        for (const QString& entry : OstSplitFields(ix.fields)) {
            QString col;
            int len = 0;
            on = on || (OstParseFieldEntry(OstDoubleUnQuote(entry), col, len) && col.compare(column, Qt::CaseInsensitive) == 0);
        }
        if (on) return ix.name;
    }
    return QString();
}

QString CheckName(const OstCheckMeta& ck) {
    return ck.name.trimmed().isEmpty() ? (ck.custom.trimmed().isEmpty() ? ck.condition : ck.custom).trimmed() : ck.name;
}

// The first check whose condition names the column (or cannot be read).
QString CheckNaming(const OstTableMeta& m, const QString& column) {
    for (const OstCheckMeta& ck : m.checks) {
        bool names = false;
        const OstColumnResolver resolve = [&](const QString& name, int& type, QString& ref) {
            const OstColumnMeta* col = m.Column(name);
            if (!col) return false;
            names = names || col->name.compare(column, Qt::CaseInsensitive) == 0;
            type = col->type;
            ref = Q(col->name);
            return true;
        };
        try {
            OstNativeExpressionToSql(ck.custom.trimmed().isEmpty() ? ck.condition : ck.custom, resolve);
        } catch (const EOstraError&) {
            names = true;
        }
        if (names) return CheckName(ck);
    }
    return QString();
}

QString ColumnsReason(const OstTableMeta& s, const OstTableMeta& p, OstInPlacePlan& plan) {
    QSet<int> storedNumbers;
    for (const OstColumnMeta& o : s.columns) storedNumbers.insert(o.number);
    for (const OstColumnMeta& o : s.columns)
        if (!ByNumber(p, o.number)) return Column(o.name) + QStringLiteral(" is deleted");
    // The stored columns keep their order; new ones come after all of them.
    int next = 0;
    for (int i = 0; i < p.columns.size(); ++i) {
        const OstColumnMeta& n = p.columns[i];
        if (!storedNumbers.contains(n.number)) {
            if (next < s.columns.size())
                return QStringLiteral("new %1 comes before %2").arg(Column(n.name), Column(ByNumber(p, s.columns[next].number)->name));
            plan.added << i;
            continue;
        }
        if (s.columns[next].number != n.number) return Column(n.name) + QStringLiteral(" moves");
        ++next;
    }
    for (const OstColumnMeta& n : p.columns) {
        const OstColumnMeta* o = ByNumber(s, n.number);
        if (!o) continue;
        const QString col = Column(n.name);
        if (o->name != n.name) plan.renames.append({o->name, n.name});
        const bool generated = OstIsGeneratedColumn(*o);
        if (generated != OstIsGeneratedColumn(n))
            return col + (generated ? QStringLiteral(" is no longer calculated") : QStringLiteral(" becomes calculated"));
        if ((o->type == dtAutoInc) != (n.type == dtAutoInc))
            return col + (n.type == dtAutoInc ? QStringLiteral(" becomes the record id") : QStringLiteral(" is no longer the record id"));
        if (OstSqlType(o->type) != OstSqlType(n.type) || !OstStoredValuesFit(*o, n)) {
            if (o->type == n.type && IsSizedTextType(n.type)) return col + QStringLiteral(" gets shorter");
            if (o->type == n.type && n.type == dtFloat) return QStringLiteral("the precision of %1 is lowered").arg(col);
            if (o->type == n.type && n.type == dtTime) return QStringLiteral("the precision of %1 changes").arg(col);
            if (o->type == n.type && n.type == dtEnum) return QStringLiteral("the values of %1 change").arg(col);
            return col + QStringLiteral(" changes its type, and its values are converted");
        }
        if (generated) {
            if (o->type != n.type || o->expression.trimmed() != n.expression.trimmed())
                return QStringLiteral("the calculation of %1 changes").arg(col);
            continue;
        }
        if (n.type == dtAutoInc) continue;
        if (o->nullable && !n.nullable) return col + QStringLiteral(" must have a value now");
        if (OstColumnDefaultSql(s, *o) != OstColumnDefaultSql(p, n))
            return QStringLiteral("the default value of %1 changes").arg(col);
        if (OstColumnCollation(s, *o) != OstColumnCollation(p, n)) {
            const QString ix = IndexOnColumn(s, o->name);
            if (!ix.isEmpty()) return QStringLiteral("the collation of %1 changes, and index \"%2\" depends on it").arg(col, ix);
            const QString check = CheckNaming(p, n.name);
            if (!check.isEmpty()) return QStringLiteral("the collation of %1 changes, and check \"%2\" compares it").arg(col, check);
            for (const OstColumnMeta& g : p.columns)
                if (OstIsGeneratedColumn(g))
                    return QStringLiteral("the collation of %1 changes, and calculated %2 may compare it").arg(col, Column(g.name));
        }
    }
    return QString();
}

QString AddedReason(const OstTableMeta& p, const OstInPlacePlan& plan, OstConnection& c) {
    for (int i : plan.added) {
        const OstColumnMeta& n = p.columns[i];
        const QString col = Column(n.name);
        if (OstIsGeneratedColumn(n)) return QStringLiteral("calculated %1 is added").arg(col);
        if (n.type == dtAutoInc) return QStringLiteral("record-id %1 is added").arg(col);
        const QString dflt = OstColumnDefaultSql(p, n);
        if (!IsConstant(dflt)) return QStringLiteral("new %1 takes its default value from an expression").arg(col);
        if (dflt == QStringLiteral("NULL") && !n.nullable) return QStringLiteral("new %1 must have a value and has no default").arg(col);
        if (!DefaultKeepsRules(c, n, dflt)) return QStringLiteral("the default value of new %1 breaks the column's rules").arg(col);
    }
    return QString();
}

QString IndexesReason(const OstTableMeta& s, const OstTableMeta& p) {
    const QHash<QString, IndexOf> was = Indexes(s);
    QHash<QString, IndexOf> now;
    try {
        now = Indexes(WithStoredNames(s, p));
    } catch (const EOstraError&) {
        return QStringLiteral("an index expression names a renamed column");
    }
    for (auto it = was.begin(); it != was.end(); ++it) {
        const auto n = now.constFind(it.key());
        if (n == now.constEnd())
            return it->what.isEmpty() ? QStringLiteral("a link column loses its index") : it->what + QStringLiteral(" is deleted");
        if (n->sql != it->sql) return it->what.isEmpty() ? QStringLiteral("a link column's index changes") : it->what + QStringLiteral(" changes");
    }
    for (auto it = now.begin(); it != now.end(); ++it)
        if (!was.contains(it.key()))
            return it->what.isEmpty() ? QStringLiteral("a link column gets an index") : it->what + QStringLiteral(" is added");
    // A link column's index is named after the column.
    for (const OstColumnMeta& n : p.columns) {
        const OstColumnMeta* o = ByNumber(s, n.number);
        if (o && IsLinkType(n.type) && !n.special && o->name != n.name)
            return QStringLiteral("link %1 is renamed, and its index with it").arg(Column(n.name));
    }
    return QString();
}

QString ChecksReason(const OstTableMeta& s, const OstTableMeta& p) {
    QStringList stored;
    for (const OstCheckSql& ck : OstTableCheckSql(s)) stored << ck.condition;
    // The planned conditions in the stored columns' names; a new column gets a name no stored check can use.
    const OstColumnResolver resolve = [&](const QString& name, int& type, QString& ref) {
        const OstColumnMeta* col = p.Column(name);
        if (!col) return false;
        type = col->type;
        const OstColumnMeta* o = ByNumber(s, col->number);
        ref = Q(o ? o->name : QStringLiteral("\x01new ") + col->name);
        return true;
    };
    for (const OstCheckMeta& ck : p.checks) {
        const QString condition = ck.custom.trimmed().isEmpty() ? ck.condition : ck.custom;
        QString sql;
        try {
            sql = OstNativeExpressionToSql(condition, resolve);
        } catch (const EOstraError&) {
        }
        if (sql.isEmpty() || !stored.contains(sql)) return QStringLiteral("check \"%1\" is added or its condition changes").arg(CheckName(ck));
    }
    return QString();
}

// writable_schema for the span of a schema edit; off again on every way out.
class WritableSchema {
public:
    explicit WritableSchema(OstConnection& c) : m_c(c) { c.Exec(QStringLiteral("PRAGMA writable_schema=ON")); }
    ~WritableSchema() {
        if (m_on) sqlite3_exec(m_c.Db(), "PRAGMA writable_schema=OFF", nullptr, nullptr, nullptr);
    }
    void Off() {
        m_on = false;
        m_c.Exec(QStringLiteral("PRAGMA writable_schema=OFF"));
    }

private:
    OstConnection& m_c;
    bool m_on = true;
};

// Renames columns of the table with ALTER TABLE (views and triggers follow).
// A name still taken by another column is reached through a temporary one.
// current: the table's column names now; updated.
void RenameColumns(OstConnection& c, const OstTableLocation& loc, QStringList& current, const QVector<OstColumnRename>& renames) {
    auto taken = [&](const QString& name, const QString& except) {
        for (const QString& n : current)
            if (n.compare(name, Qt::CaseInsensitive) == 0 && n.compare(except, Qt::CaseInsensitive) != 0) return true;
        return false;
    };
    auto rename = [&](const QString& from, const QString& to) {
        c.ExecDdl(QStringLiteral("ALTER TABLE %1 RENAME COLUMN %2 TO %3").arg(loc.qualified(), Q(from), Q(to)), true);
        for (QString& n : current)
            if (n.compare(from, Qt::CaseInsensitive) == 0) n = to;
    };
    QVector<OstColumnRename> later;
    for (int i = 0; i < renames.size(); ++i) {
        const OstColumnRename& r = renames[i];
        if (!taken(r.to, r.from)) {
            rename(r.from, r.to);
            continue;
        }
        QString temp = QStringLiteral("__ost_rename_%1").arg(i);
        while (taken(temp, QString())) temp += u'_';
        rename(r.from, temp);
        later.append({temp, r.to});
    }
    for (const OstColumnRename& r : later) rename(r.from, r.to);
}

QStringList NamesOf(const OstTableMeta& m) {
    QStringList out;
    for (const OstColumnMeta& c : m.columns) out << c.name;
    return out;
}

} // namespace

bool OstStoredValuesFit(const OstColumnMeta& o, const OstColumnMeta& n) {
    auto integerRank = [](int t) {
        switch (t) {
        case dtSmallInt: return 1;
        case dtWord: return 2;
        case dtInteger: return 3;
        case dtLargeInt: return 4;
        default: return 0;
        }
    };
    if (o.type == n.type) {
        if (IsSizedTextType(n.type) && n.size < o.size) return false;
        if (n.type == dtFloat && n.precision != 0 && (o.precision == 0 || n.precision < o.precision)) return false;
        if (n.type == dtTime && n.precision != o.precision) return false;
        if (n.type == dtEnum && n.spec != o.spec) return false;
        return true;
    }
    // Widening integers: SmallInt and Word both fit Integer, everything fits LargeInt.
    const int ro = integerRank(o.type), rn = integerRank(n.type);
    if (ro && rn) return rn == 4 || (rn == 3 && ro < 3);
    if (o.type == dtLink && n.type == dtLargeLink) return true;
    if ((ro || o.type == dtFloat) && n.type == dtFloat) return n.precision == 0 && o.type != dtLargeInt;
    // Narrow text fits wide text, sized text fits longer or unsized text.
    const bool oNarrow = o.type == dtChar || o.type == dtString || o.type == dtMemo;
    if (!IsTextType(o.type) || !IsTextType(n.type) || (IsWideType(o.type) && !IsWideType(n.type))) return false;
    if (!oNarrow && !IsWideType(o.type)) return false;
    if (IsSizedTextType(n.type)) return IsSizedTextType(o.type) && n.size >= o.size;
    return true;
}

void OstAllowInPlace(bool allowed) { s_inPlaceAllowed = allowed; }

OstInPlacePlan OstPlanInPlace(const OstTableMeta& stored, const OstTableMeta& planned, OstConnection& c) {
    OstInPlacePlan plan;
    if (!s_inPlaceAllowed) {
        plan.rebuildReason = QStringLiteral("changes in place are switched off");
        return plan;
    }
    try {
        plan.rebuildReason = ColumnsReason(stored, planned, plan);
        if (plan.rebuildReason.isEmpty()) plan.rebuildReason = AddedReason(planned, plan, c);
        if (plan.rebuildReason.isEmpty()) plan.rebuildReason = IndexesReason(stored, planned);
        if (plan.rebuildReason.isEmpty()) plan.rebuildReason = ChecksReason(stored, planned);
    } catch (const EOstraError& e) {
        plan.rebuildReason = QStringLiteral("the definitions cannot be compared (%1)").arg(e.Message());
    }
    if (!plan.InPlace()) {
        plan.renames.clear();
        plan.added.clear();
    }
    return plan;
}

void OstChangeInPlace(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& stored,
                      const OstTableMeta& planned, const OstInPlacePlan& plan) {
    const QString schema = loc.schema;
    // What a rebuild would leave in the schema; checked to compile before anything is written.
    const QString tableSql = OstStoredSql(OstCreateTableSql(planned, schema, loc.table), schema);
    QVector<OstIndexStatement> indexes = OstIndexStatements(planned, schema, loc.table);
    for (OstIndexStatement& ix : indexes) ix.sql = OstStoredSql(ix.sql, schema);
    { OstStmt compiles(c.Db(), OstCreateTableSql(planned, QStringLiteral("temp"), Q(QStringLiteral("__ost_check_") + planned.uid))); }

    WritableSchema writable(c);
    // The table's name as a rebuild spells it.
    const QString spelled = c.QueryText(QStringLiteral("SELECT name FROM %1.sqlite_schema WHERE type = 'table' AND name = ?1 COLLATE NOCASE").arg(schema),
                                        {planned.name});
    if (spelled.isEmpty())
        throw EOstraError(OstErr::InvalidDefinition, QStringLiteral("Table \"%1\" is missing from its file").arg(planned.name));
    if (spelled != planned.name) {
        const QString temp = Q(QStringLiteral("__ost_rename_") + planned.uid);
        c.ExecDdl(QStringLiteral("ALTER TABLE %1.%2 RENAME TO %3").arg(schema, Q(spelled), temp), true);
        c.ExecDdl(QStringLiteral("ALTER TABLE %1.%2 RENAME TO %3").arg(schema, temp, loc.table), true);
    }
    QStringList names = NamesOf(stored);
    RenameColumns(c, loc, names, plan.renames);
    for (int i : plan.added)
        c.ExecDdl(QStringLiteral("ALTER TABLE %1 ADD COLUMN %2").arg(loc.qualified(), OstColumnSql(planned, planned.columns[i], false)), true);

    // The rest changes constraints only: the text edit, and schema_version one up.
    const qint64 version = c.QueryInt(QStringLiteral("PRAGMA %1.schema_version").arg(schema));
    bool edited = false;
    auto edit = [&](const QString& type, const QString& name, const QString& sql) {
        OstStmt now(c.Db(), QStringLiteral("SELECT sql FROM %1.sqlite_schema WHERE type = ?1 AND name = ?2").arg(schema));
        now.Bind(1, type);
        now.Bind(2, name);
        if (!now.Step())
            throw EOstraError(OstErr::InvalidDefinition, QStringLiteral("Table \"%1\" lacks its %2 \"%3\": the table's file is damaged")
                                                             .arg(planned.name, type, name));
        if (now.Text(0) == sql) return;
        OstStmt up(c.Db(), QStringLiteral("UPDATE %1.sqlite_schema SET sql = ?1 WHERE type = ?2 AND name = ?3").arg(schema));
        up.Bind(1, sql);
        up.Bind(2, type);
        up.Bind(3, name);
        up.Step();
        edited = true;
    };
    edit(QStringLiteral("table"), planned.name, tableSql);
    for (const OstIndexStatement& ix : indexes) edit(QStringLiteral("index"), ix.name, ix.sql);
    if (edited) c.Exec(QStringLiteral("PRAGMA %1.schema_version=%2").arg(schema).arg(version + 1));
    writable.Off();
    if (!edited) return;
    // The schema is read again here: a text SQLite cannot read fails now, inside the transaction.
    if (c.QueryInt(QStringLiteral("PRAGMA %1.schema_version").arg(schema)) != version + 1)
        throw EOstraError(OstErr::General, QStringLiteral("Table \"%1\" could not be changed in place: its schema version did not change")
                                               .arg(planned.name));
    OstStmt reads(c.Db(), QStringLiteral("SELECT * FROM %1 LIMIT 0").arg(loc.qualified()));
    reads.Step();
}

OstTableMeta OstRenameForRebuild(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& stored,
                                 const OstTableMeta& planned) {
    OstTableMeta now = stored;
    QVector<OstColumnRename> renames;
    QSet<QString> finalNames;
    for (const OstColumnMeta& n : planned.columns) finalNames.insert(n.name.toLower());
    for (OstColumnMeta& o : now.columns) {
        const OstColumnMeta* n = ByNumber(planned, o.number);
        if (n && n->name != o.name) renames.append({o.name, n->name});
        // A column that goes, named like a column that stays, steps aside.
        else if (!n && finalNames.contains(o.name.toLower())) renames.append({o.name, QStringLiteral("__ost_gone_%1").arg(o.number)});
    }
    if (renames.isEmpty()) return stored;
    QStringList names = NamesOf(stored);
    // Following renames into views and triggers is worth having, not worth
    // failing for: when SQLite refuses, the rebuild goes on without it.
    int code = SQLITE_OK;
    c.Begin();
    try {
        WritableSchema writable(c);
        try {
            RenameColumns(c, loc, names, renames);
        } catch (const EOstraError&) {
            code = sqlite3_extended_errcode(c.Db()) & 0xFF;
            throw;
        }
        writable.Off();
        c.Commit();
    } catch (const EOstraError&) {
        c.Rollback();
        if (code != SQLITE_ERROR) throw;
        return stored;
    }
    for (int i = 0; i < now.columns.size(); ++i) now.columns[i].name = names[i];
    return now;
}
