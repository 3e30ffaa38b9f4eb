// Restructuring a stored table to new definitions in one transaction. Columns
// are matched by column number, so renamed and moved columns keep their
// data; record ids, the auto-increment counter, triggers and views survive,
// and views and triggers follow renamed columns; foreign keys are checked
// before the commit. Changes that no stored row can contradict are made in
// place (ostinplace); everything else copies the rows into a new table in
// record-id slices.
#include "engine/store/ostrestructure.h"

#include "engine/filter/ostfilter.h"
#include "engine/store/ostcollation.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostinplace.h"
#include "engine/store/ostschema.h"
#include "engine/store/osttableextension.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

namespace {

// Copy expression for one column of the new table, or empty to let its default apply.
QString CopyExpression(const OstTableMeta& oldMeta, const OstTableMeta& nm, const OstColumnMeta& n) {
    const OstColumnMeta* o = nullptr;
    for (const OstColumnMeta& c : oldMeta.columns)
        if (n.number > 0 && c.number == n.number) o = &c;
    if (!o || OstIsGeneratedColumn(*o)) return QString();
    const QString src = OstQuoteIdent(o->name);
    if (n.type == dtAutoInc) return o->type == dtAutoInc ? src : QStringLiteral("COALESCE(%1, rowid)").arg(src);
    QString e = OstStoredValuesFit(*o, n) ? src
                                   : QStringLiteral("ost_convert(%1, %2, %3, %4, %5, %6)")
                                         .arg(src).arg(n.type).arg(n.size).arg(n.precision)
                                         .arg(OstQuoteString(n.spec), OstQuoteString(n.name));
    if (!n.nullable && o->nullable) {
        const QString d = OstColumnDefaultSql(nm, n);
        if (d != QStringLiteral("NULL")) e = QStringLiteral("COALESCE(%1, %2)").arg(e, d);
    }
    return e;
}

// Definitions that name columns (indexes, fulltext indexes, foreign keys, the
// record-id indication) follow a column renamed in the same restructure; those
// that name a column that goes, go with it. A name that is still a column of
// the new table is left alone.
void FollowColumnChanges(const OstTableMeta& oldMeta, OstTableMeta& nm) {
    QHash<QString, QString> renamed; // lower-case old name -> new name
    QSet<QString> dropped;
    for (const OstColumnMeta& o : oldMeta.columns) {
        const OstColumnMeta* now = nullptr;
        for (const OstColumnMeta& n : nm.columns)
            if (n.number == o.number) now = &n;
        if (!now) dropped.insert(o.name.toLower());
        else if (now->name != o.name) renamed.insert(o.name.toLower(), now->name);
    }
    for (const OstColumnMeta& n : nm.columns) {
        renamed.remove(n.name.toLower());
        dropped.remove(n.name.toLower());
    }
    if (renamed.isEmpty() && dropped.isEmpty()) return;
    // Maps the entries of a ";" list; drop is set when one names a dropped column.
    auto map = [&](const QString& list, bool& drop) {
        QStringList out;
        for (const QString& entry : OstSplitFields(list)) {
            QString col;
            int len = 0;
            if (!OstParseFieldEntry(OstDoubleUnQuote(entry), col, len)) {
                out.append(entry);
                continue;
            }
            if (dropped.contains(col.toLower())) drop = true;
            const QString to = renamed.value(col.toLower(), col);
            out.append(to == col ? entry : len > 0 ? QStringLiteral("%1:%2").arg(to).arg(len) : to);
        }
        return out.join(u';');
    };
    // Keeps a definition unless its first list names a dropped column.
    auto follow = [&](auto& defs, auto list, auto... moreLists) {
        std::remove_reference_t<decltype(defs)> kept;
        for (auto def : defs) {
            bool drop = false;
            [[maybe_unused]] bool ignored = false; // the further lists only follow renames
            def.*list = map(def.*list, drop);
            ((def.*moreLists = map(def.*moreLists, ignored)), ...);
            if (!drop) kept.append(def);
        }
        defs = kept;
    };
    follow(nm.indexes, &OstIndexMeta::fields, &OstIndexMeta::descFields, &OstIndexMeta::caseInsFields);
    follow(nm.fulltext, &OstFulltextMeta::fields);
    follow(nm.foreignKeys, &OstForeignKeyMeta::childFields);
    for (OstColumnMeta& c : nm.columns) {
        if (c.type != dtAutoInc || c.spec.trimmed().isEmpty()) continue;
        const QString ind = c.spec.trimmed();
        const bool quoted = ind.size() >= 2 && ind.startsWith(u'"') && ind.endsWith(u'"');
        bool ignored = false;
        const QString mapped = map(OstDoubleUnQuote(ind), ignored);
        if (mapped != OstDoubleUnQuote(ind)) c.spec = quoted ? u'"' + mapped + u'"' : mapped;
    }
}

// True when a table other than table has companion as a companion table too.
bool CompanionOfOthers(OstConnection& c, const QString& table, const QString& companion) {
    for (const OstTableMeta& other : c.CachedMetas())
        if (other.name.compare(table, Qt::CaseInsensitive) != 0 &&
            OstExtensions::CompanionTables(other).contains(companion, Qt::CaseInsensitive))
            return true;
    return false;
}

// In place no row changes: only keys that are new or changed, or whose
// columns compare otherwise (another collation), can be broken.
OstConnection::OstForeignKeyFilter ForeignKeysToCheck(const OstTableMeta& stored, const OstTableMeta& nm) {
    QSet<int> recollated;
    for (const OstColumnMeta& n : nm.columns)
        for (const OstColumnMeta& o : stored.columns)
            if (o.number == n.number && OstColumnCollation(stored, o) != OstColumnCollation(nm, n)) recollated.insert(n.number);
    auto numbers = [](const OstTableMeta& m, const QString& fields) {
        QList<int> out;
        for (const QString& entry : OstSplitFields(fields)) {
            const OstColumnMeta* col = m.Column(OstDoubleUnQuote(entry));
            out << (col ? col->number : -1);
        }
        return out;
    };
    return [=](const OstTableMeta& child, const OstForeignKeyMeta& fk) {
        const QString table = nm.name;
        if (child.name.compare(table, Qt::CaseInsensitive) == 0) {
            const OstForeignKeyMeta* before = nullptr;
            for (const OstForeignKeyMeta& b : stored.foreignKeys)
                if (b.name.compare(fk.name, Qt::CaseInsensitive) == 0) before = &b;
            if (!before || before->parentTable.compare(fk.parentTable, Qt::CaseInsensitive) != 0 ||
                before->parentFields != fk.parentFields || numbers(stored, before->childFields) != numbers(nm, fk.childFields))
                return true;
            for (int n : numbers(nm, fk.childFields))
                if (n < 0 || recollated.contains(n)) return true;
        }
        if (fk.parentTable.compare(table, Qt::CaseInsensitive) == 0)
            for (int n : numbers(nm, fk.parentFields))
                if (n < 0 || recollated.contains(n)) return true;
        return false;
    };
}

class Restructure {
public:
    static void Run(OstConnection& c, const OstTableMeta& oldMeta, const OstTableMeta& nm,
                    const QStringList& rekeyedDictionaries, const OstProgress& progress) {
        progress(0);
        const QString name = nm.name;
        // Everything the transaction touches must be reachable before it starts.
        c.PrepareForWrite(name);
        for (const OstForeignKeyMeta& fk : nm.foreignKeys)
            if (fk.parentTable.compare(name, Qt::CaseInsensitive) != 0) c.Locate(fk.parentTable);
        for (const QString& d : rekeyedDictionaries) c.Locate(d);
        const OstTableLocation loc = c.Locate(name);
        // Changes that no stored row can contradict are made on the schema alone.
        const OstInPlacePlan plan = OstPlanInPlace(oldMeta, nm, c);

        c.Exec(QStringLiteral("PRAGMA legacy_alter_table=ON"));
        c.Begin();
        try {
            // Extensions (fulltext indexes) are taken down before a rebuild and built again over the copied rows.
            const bool rebuild = !plan.InPlace();
            OstExtensions::BeforeChange(c, loc, oldMeta, nm, rebuild);
            if (!rebuild) {
                OstChangeInPlace(c, loc, oldMeta, nm, plan);
                progress(50);
                c.WriteMeta(nm);
            } else {
                Rebuild(c, loc, oldMeta, nm, progress);
            }
            for (const QString& d : rekeyedDictionaries) {
                OstTableMeta dm;
                if (!c.ReadMeta(d, dm)) continue;
                dm.name = d;
                dm.encryption = nm.encryption;
                c.WriteMeta(dm);
            }
            OstExtensions::AfterChange(c, loc, oldMeta, nm, rebuild);
            c.BumpGeneration();
            if (rebuild) c.CheckForeignKeys(name);
            else c.CheckForeignKeys(name, ForeignKeysToCheck(oldMeta, nm));
            progress(99);
            c.Commit();
        } catch (...) {
            c.Rollback();
            c.BumpGeneration();
            c.Exec(QStringLiteral("PRAGMA legacy_alter_table=OFF"));
            throw;
        }
        c.Exec(QStringLiteral("PRAGMA legacy_alter_table=OFF"));
        c.RefreshIntegrityTriggers();
        progress(100);
    }

private:
    // Checks of the new table that the copy could not have guaranteed: the row
    // checks, and the column checks of columns filled from a default expression.
    static void ValidateCopy(OstConnection& c, const QString& table, const OstTableMeta& oldMeta, const OstTableMeta& nm) {
        QVector<OstCheckSql> checks = OstTableCheckSql(nm);
        for (const OstColumnMeta& n : nm.columns) {
            if (OstIsGeneratedColumn(n) || n.internalCalc || n.expression.trimmed().isEmpty()) continue;
            bool stored = false;
            for (const OstColumnMeta& o : oldMeta.columns) stored = stored || (n.number > 0 && o.number == n.number && o.nullable == n.nullable);
            if (!stored) checks += OstColumnCheckSql(n);
        }
        if (checks.isEmpty()) return;
        QStringList cases, any;
        for (int i = 0; i < checks.size(); ++i) {
            cases << QStringLiteral("WHEN NOT (%1) THEN %2").arg(checks[i].condition).arg(i);
            any << QStringLiteral("NOT (%1)").arg(checks[i].condition);
        }
        OstStmt st(c.Db(), QStringLiteral("SELECT CASE %1 END, rowid FROM %2 WHERE %3 LIMIT 1")
                               .arg(cases.join(QLatin1Char(' ')), table, any.join(QStringLiteral(" OR "))));
        if (st.Step())
            throw EOstraError(OstErr::ConstraintViolation, QStringLiteral("%1 (record %2)")
                                                               .arg(checks.value(static_cast<int>(st.Int64(0))).message)
                                                               .arg(st.Int64(1)));
    }

    static void Rebuild(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& stored, const OstTableMeta& nm,
                        const OstProgress& progress) {
        const QString name = nm.name;
        // Columns that keep their data take their new names first, and views and triggers with them.
        const OstTableMeta oldMeta = OstRenameForRebuild(c, loc, stored, nm);
        const QString temp = QStringLiteral("__ost_new_") + nm.uid;
        const QString tempQ = OstQuoteIdent(temp);

        // Triggers go with the dropped table; keep their text to recreate them.
        QStringList triggers;
        {
            OstStmt st(c.Db(), QStringLiteral("SELECT sql FROM %1.sqlite_schema WHERE type = 'trigger' AND tbl_name = ?1 COLLATE NOCASE AND sql IS NOT NULL")
                                   .arg(loc.schema));
            st.Bind(1, name);
            while (st.Step()) triggers << st.Text(0);
        }
        const bool hasSequence = c.QueryInt(QStringLiteral("SELECT count(*) FROM %1.sqlite_schema WHERE name = 'sqlite_sequence'").arg(loc.schema)) > 0;
        const qint64 oldSeq = hasSequence ? c.QueryInt(QStringLiteral("SELECT seq FROM %1.sqlite_sequence WHERE name = ?1 COLLATE NOCASE").arg(loc.schema), {name}) : 0;

        c.Exec(QStringLiteral("DROP TABLE IF EXISTS %1.%2").arg(loc.schema, tempQ));
        c.ExecDdl(OstCreateTableSql(nm, loc.schema, tempQ));

        QStringList into{QStringLiteral("rowid")}, from{QStringLiteral("rowid")};
        const int ai = OstAutoIncColumn(nm);
        for (int i = 0; i < nm.columns.size(); ++i) {
            const OstColumnMeta& n = nm.columns[i];
            if (OstIsGeneratedColumn(n)) continue;
            const QString e = CopyExpression(oldMeta, nm, n);
            if (e.isEmpty()) continue;
            if (i == ai) { from[0] = e; continue; } // the auto-increment column is the record id
            into << OstQuoteIdent(n.name);
            from << e;
        }

        // The copy skips the CHECKs: copied values satisfied them in the old table and
        // converted ones were checked by the conversion. What remains is checked once below.
        c.Exec(QStringLiteral("PRAGMA ignore_check_constraints=ON"));
        struct Restore {
            OstConnection& c;
            ~Restore() { sqlite3_exec(c.Db(), "PRAGMA ignore_check_constraints=OFF", nullptr, nullptr, nullptr); }
        } restore{c};
        // Copy in record-id slices so that progress can be reported and an abort honoured.
        const qint64 lo = c.QueryInt(QStringLiteral("SELECT min(rowid) FROM %1").arg(loc.qualified()));
        const qint64 hi = c.QueryInt(QStringLiteral("SELECT max(rowid) FROM %1").arg(loc.qualified()));
        const bool empty = c.QueryInt(QStringLiteral("SELECT count(*) FROM (SELECT 1 FROM %1 LIMIT 1)").arg(loc.qualified())) == 0;
        if (!empty) {
            const qint64 span = hi - lo + 1;
            const int slices = static_cast<int>(qBound<qint64>(qint64(1), span / 20000, qint64(50)));
            OstStmt copy(c.Db(), QStringLiteral("INSERT INTO %1.%2(%3) SELECT %4 FROM %5 WHERE rowid BETWEEN ?1 AND ?2")
                                     .arg(loc.schema, tempQ, into.join(QLatin1Char(',')), from.join(QLatin1Char(',')), loc.qualified()));
            for (int s = 0; s < slices; ++s) {
                const qint64 a = lo + span * s / slices;
                const qint64 b = (s == slices - 1) ? hi : lo + span * (s + 1) / slices - 1;
                copy.Reset();
                copy.Bind(1, a);
                copy.Bind(2, b);
                copy.Step();
                progress(5 + 70 * (s + 1) / slices);
            }
        }

        c.Exec(QStringLiteral("PRAGMA ignore_check_constraints=OFF"));
        ValidateCopy(c, loc.schema + QLatin1Char('.') + tempQ, oldMeta, nm);

        // Drop without overwriting the freed pages: the old rows stay in the journal anyway.
        const qint64 secure = c.QueryInt(QStringLiteral("PRAGMA %1.secure_delete").arg(loc.schema));
        c.Exec(QStringLiteral("PRAGMA %1.secure_delete=OFF").arg(loc.schema));
        c.Exec(QStringLiteral("DROP TABLE %1").arg(loc.qualified()));
        c.Exec(QStringLiteral("PRAGMA %1.secure_delete=%2").arg(loc.schema).arg(secure));
        c.Exec(QStringLiteral("ALTER TABLE %1.%2 RENAME TO %3").arg(loc.schema, tempQ, loc.table));
        progress(80);

        const QStringList indexes = OstCreateIndexesSql(nm, loc.schema, loc.table);
        for (int i = 0; i < indexes.size(); ++i) {
            c.ExecDdl(indexes[i]);
            progress(80 + 15 * (i + 1) / indexes.size());
        }
        static const QRegularExpression head(QStringLiteral("^\\s*CREATE\\s+TRIGGER\\s+(IF\\s+NOT\\s+EXISTS\\s+)?"),
                                             QRegularExpression::CaseInsensitiveOption);
        for (QString sql : triggers) {
            if (loc.schema != QStringLiteral("main")) {
                const auto m = head.match(sql);
                if (m.hasMatch()) sql.insert(m.capturedEnd(), loc.schema + QLatin1Char('.'));
            }
            c.Exec(sql);
        }
        if (ai >= 0) {
            const qint64 now = c.QueryInt(QStringLiteral("SELECT seq FROM %1.sqlite_sequence WHERE name = ?1").arg(loc.schema), {name});
            if (oldSeq > now) {
                OstStmt up(c.Db(), QStringLiteral("UPDATE %1.sqlite_sequence SET seq = ?1 WHERE name = ?2").arg(loc.schema));
                up.Bind(1, oldSeq);
                up.Bind(2, name);
                up.Step();
                if (sqlite3_changes(c.Db()) == 0) {
                    OstStmt ins(c.Db(), QStringLiteral("INSERT INTO %1.sqlite_sequence(name, seq) VALUES(?1, ?2)").arg(loc.schema));
                    ins.Bind(1, name);
                    ins.Bind(2, oldSeq);
                    ins.Step();
                }
            }
        }
        c.WriteMeta(nm);
    }
};

} // namespace

OstTableMeta OstRestructurePlan(const OstTableMeta& stored, const OstTableMeta& wanted) {
    OstTableMeta nm = wanted;
    nm.name = stored.name;
    nm.uid = stored.uid;
    nm.system = stored.system;
    nm.icuVersion = OstIcuCollatorVersion();
    nm.nextNumber = stored.nextNumber;
    QSet<int> known, taken;
    for (const OstColumnMeta& o : stored.columns) known.insert(o.number);
    for (OstColumnMeta& n : nm.columns) {
        // A number not stored, or already given to an earlier column, makes a new column.
        if (n.number <= 0 || !known.contains(n.number) || taken.contains(n.number)) n.number = nm.nextNumber++;
        taken.insert(n.number);
    }
    FollowColumnChanges(stored, nm);
    return nm;
}

QStringList OstOwnCompanionTables(OstConnection& c, const OstTableMeta& meta) {
    QStringList out;
    if (c.SingleFile()) return out;
    for (const QString& d : OstExtensions::CompanionTables(meta))
        if (c.TableExists(d) && !CompanionOfOthers(c, meta.name, d)) out.append(d);
    return out;
}

void OstRestructure(OstConnection& c, const OstTableMeta& stored, const OstTableMeta& nm,
                    const QStringList& rekeyedCompanions, const OstProgress& progress) {
    Restructure::Run(c, stored, nm, rekeyedCompanions, progress ? progress : OstProgress([](int) {}));
}
