// Foreign keys across the tables of a database: enforced by temporary triggers
// on the shared connection, so that they also work between the table files of
// a directory database, and by queues settled before commit where a table's
// other side is not attached.
#include "engine/store/ostcollation.h"
#include "engine/store/ostconnection.h"
#include "engine/filter/ostfilter.h"
#include "engine/store/osttableextension.h"
#include "engine/store/ostmeta.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalues.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <memory>

static QString Q(const QString& s) { return OstQuoteIdent(s); }

const QList<OstTableMeta>& OstConnection::CachedMetas() {
    const qint64 stamp = m_singleFile ? 0 : QFileInfo(m_location).lastModified().toMSecsSinceEpoch();
    if (!m_metaCache || m_metaCacheGeneration != m_generation || m_metaCacheStamp != stamp) {
        delete m_metaCache;
        m_metaCache = new QList<OstTableMeta>(AllMetas());
        m_metaCacheGeneration = m_generation;
        m_metaCacheStamp = stamp;
    }
    return *m_metaCache;
}

static QStringList ColumnsOf(const QString& fields) {
    QStringList out;
    for (const QString& e : OstSplitFields(fields)) {
        QString c;
        int l;
        OstParseFieldEntry(e, c, l);
        out << c;
    }
    return out;
}

static QString Match(const QStringList& left, const QString& lp, const QStringList& right, const QString& rp) {
    QStringList parts;
    for (int i = 0; i < left.size() && i < right.size(); ++i)
        parts << QStringLiteral("%1%2 = %3%4").arg(lp, Q(left[i]), rp, Q(right[i]));
    return parts.join(QStringLiteral(" AND "));
}

static QString AllNotNull(const QStringList& cols, const QString& prefix) {
    QStringList parts;
    for (const QString& c : cols) parts << QStringLiteral("%1%2 IS NOT NULL").arg(prefix, Q(c));
    return parts.join(QStringLiteral(" AND "));
}

static QString AnyChanged(const QStringList& cols) {
    QStringList parts;
    for (const QString& c : cols) parts << QStringLiteral("OLD.%1 IS NOT NEW.%1").arg(Q(c));
    return parts.join(QStringLiteral(" OR "));
}

// ---------------------------------------------------------------- queues
//
// A directory database attaches at most nine table files to the connection,
// and a trigger can only reach attached files. A foreign key whose other table
// is not attached is therefore enforced through a queue: a trigger on the
// attached side records the keys that changed in a temporary table, and
// SettleForeignKeys works the queue off before the transaction commits,
// reading the other table's file through a connection of its own and
// attaching it only when its records must change. Nothing commits while a
// queue holds rows.

// Parent side: the keys of deleted or changed parent records, one queue per
// parent table and key.
static QString ParentQueue(const QString& parent, const QStringList& pc) {
    return QStringLiteral("ostfkq:p:%1:%2").arg(parent.toLower(), pc.join(QLatin1Char(',')).toLower());
}

// Child side: the keys that new or changed child records refer to.
static QString ChildQueue(const QString& child, const QString& fk) {
    return QStringLiteral("ostfkq:c:%1:%2").arg(child.toLower(), fk.toLower());
}

static QString Numbered(const QString& prefix, int n, const QString& sep = QStringLiteral(", ")) {
    QStringList out;
    for (int i = 1; i <= n; ++i) out << prefix + QString::number(i);
    return out.join(sep);
}

static QString Prefixed(const QStringList& cols, const QString& prefix) {
    QStringList out;
    for (const QString& c : cols) out << prefix + Q(c);
    return out.join(QStringLiteral(", "));
}

static void CreateQueue(OstConnection& c, const QString& queue, int keys) {
    c.Exec(QStringLiteral("CREATE TEMP TABLE IF NOT EXISTS %1(ostop TEXT, %2, %3)")
               .arg(Q(queue), Numbered(QStringLiteral("ostk"), keys), Numbered(QStringLiteral("ostn"), keys)));
}

static void OstFkQueued(sqlite3_context* ctx, int, sqlite3_value**) {
    *static_cast<bool*>(sqlite3_user_data(ctx)) = true;
    sqlite3_result_null(ctx);
}

void OstConnection::InstallForeignKeyHooks() {
    sqlite3_create_function_v2(m_db, "ost_fk_queued", 0, SQLITE_UTF8, &m_fkQueued, OstFkQueued, nullptr, nullptr, nullptr);
    // A commit that would leave queued keys unchecked (SQL that commits on its
    // own) is turned into a rollback.
    // The same for counts of the extensions that wait for the end of a statement.
    sqlite3_commit_hook(m_db, [](void* p) -> int {
        auto* c = static_cast<OstConnection*>(p);
        return c->m_fkQueued || OstExtensions::Pending(c->m_db) ? 1 : 0;
    }, this);
    sqlite3_rollback_hook(m_db, [](void* p) {
        auto* c = static_cast<OstConnection*>(p);
        OstExtensions::Discard(*c);
        c->m_fkQueued = false;
        c->m_triggersGeneration = -1;
    }, this);
}

// ---------------------------------------------------------------- triggers

void OstConnection::RefreshIntegrityTriggers() {
    QStringList reachable;
    if (m_singleFile) {
        for (const OstTableMeta& m : CachedMetas()) reachable << m.name.toLower();
    } else {
        reachable = m_attached.keys();
    }
    reachable.sort();
    const QString key = reachable.join(QLatin1Char('|'));
    if (m_triggersGeneration == m_generation && m_triggersAttached == key) return;

    QStringList drop;
    {
        OstStmt st(m_db, QStringLiteral("SELECT name FROM temp.sqlite_master WHERE type = 'trigger' AND name LIKE 'ostfk:%'"));
        while (st.Step()) drop << st.Text(0);
    }
    for (const QString& t : drop) Exec(QStringLiteral("DROP TRIGGER temp.%1").arg(Q(t)));

    const QList<OstTableMeta> metas = CachedMetas();
    QStringList parentQueues;
    for (const OstTableMeta& child : metas) {
        const bool childIn = reachable.contains(child.name.toLower());
        for (const OstForeignKeyMeta& fk : child.foreignKeys) {
            const bool parentIn = reachable.contains(fk.parentTable.toLower());
            if (!childIn && !parentIn) continue;
            const QStringList cc = ColumnsOf(fk.childFields), pc = ColumnsOf(fk.parentFields);
            if (cc.isEmpty() || cc.size() != pc.size()) continue;
            QStringList ccq, pcq;
            for (const QString& c : cc) ccq << Q(c);
            for (const QString& c : pc) pcq << Q(c);
            const int k = cc.size();
            if (childIn && !parentIn) {
                if (!TableExists(fk.parentTable)) continue;
                const QString queue = ChildQueue(child.name, fk.name);
                CreateQueue(*this, queue, k);
                const QString base = QStringLiteral("ostfk:q:%1:").arg(queue);
                const QString insert = QStringLiteral("INSERT INTO %1(ostop, %2) VALUES('c', %3); SELECT ost_fk_queued();")
                                           .arg(Q(queue), Numbered(QStringLiteral("ostk"), k), Prefixed(cc, QStringLiteral("NEW.")));
                const QString cl = Locate(child.name).qualified();
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER INSERT ON %2 WHEN %3 BEGIN %4 END")
                         .arg(Q(base + QStringLiteral("i")), cl, AllNotNull(cc, QStringLiteral("NEW.")), insert));
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER UPDATE OF %2 ON %3 WHEN %4 BEGIN %5 END")
                         .arg(Q(base + QStringLiteral("u")), ccq.join(QLatin1Char(',')), cl, AllNotNull(cc, QStringLiteral("NEW.")), insert));
                continue;
            }
            if (!childIn) {
                const QString queue = ParentQueue(fk.parentTable, pc);
                if (parentQueues.contains(queue)) continue;
                parentQueues << queue;
                CreateQueue(*this, queue, k);
                const QString base = QStringLiteral("ostfk:q:%1:").arg(queue);
                const QString pl = Locate(fk.parentTable).qualified();
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER DELETE ON %2 WHEN %3 BEGIN "
                                    "INSERT INTO %4(ostop, %5) VALUES('d', %6); SELECT ost_fk_queued(); END")
                         .arg(Q(base + QStringLiteral("d")), pl, AllNotNull(pc, QStringLiteral("OLD.")), Q(queue),
                              Numbered(QStringLiteral("ostk"), k), Prefixed(pc, QStringLiteral("OLD."))));
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER UPDATE OF %2 ON %3 WHEN %4 AND (%5) BEGIN "
                                    "INSERT INTO %6(ostop, %7, %8) VALUES('u', %9, %10); SELECT ost_fk_queued(); END")
                         .arg(Q(base + QStringLiteral("u")), pcq.join(QLatin1Char(',')), pl, AllNotNull(pc, QStringLiteral("OLD.")),
                              AnyChanged(pc), Q(queue), Numbered(QStringLiteral("ostk"), k), Numbered(QStringLiteral("ostn"), k),
                              Prefixed(pc, QStringLiteral("OLD.")))
                         .arg(Prefixed(pc, QStringLiteral("NEW."))));
                continue;
            }
            const OstTableLocation cl = Locate(child.name), pl = Locate(fk.parentTable);
            const QString base = QStringLiteral("ostfk:%1:%2:").arg(child.name.toLower(), fk.name);
            const QString C = Q(child.name), P = Q(fk.parentTable);
            const QString missing = OstQuoteString(
                QStringLiteral("Foreign key %1: table %2 refers to a record of table %3 that does not exist")
                    .arg(fk.name, child.name, fk.parentTable));
            const QString childCheck = QStringLiteral("%1 AND NOT EXISTS (SELECT 1 FROM %2 WHERE %3)")
                                           .arg(AllNotNull(cc, QStringLiteral("NEW.")), P,
                                                Match(pc, QString(), cc, QStringLiteral("NEW.")));
            Exec(QStringLiteral("CREATE TEMP TRIGGER %1 BEFORE INSERT ON %2 WHEN %3 BEGIN SELECT RAISE(ABORT, %4); END")
                     .arg(Q(base + QStringLiteral("ci")), cl.qualified(), childCheck, missing));
            Exec(QStringLiteral("CREATE TEMP TRIGGER %1 BEFORE UPDATE OF %2 ON %3 WHEN %4 BEGIN SELECT RAISE(ABORT, %5); END")
                     .arg(Q(base + QStringLiteral("cu")), ccq.join(QLatin1Char(',')), cl.qualified(), childCheck, missing));

            const QString children = QStringLiteral("SELECT 1 FROM %1 WHERE %2").arg(C, Match(cc, QString(), pc, QStringLiteral("OLD.")));
            const QString referenced = OstQuoteString(
                QStringLiteral("Foreign key %1: the record of table %2 is referenced by records of table %3")
                    .arg(fk.name, fk.parentTable, child.name));
            auto setTo = [&](const QString& prefixOrNull, bool useDefault) {
                QStringList sets;
                for (int i = 0; i < cc.size(); ++i) {
                    QString v = prefixOrNull.isEmpty() ? QStringLiteral("NULL") : prefixOrNull + Q(pc[i]);
                    if (useDefault) {
                        const OstColumnMeta* col = child.Column(cc[i]);
                        v = col ? OstColumnDefaultSql(child, *col) : QStringLiteral("NULL");
                    }
                    sets << QStringLiteral("%1 = %2").arg(Q(cc[i]), v);
                }
                return sets.join(QStringLiteral(", "));
            };
            const QString where = Match(cc, QString(), pc, QStringLiteral("OLD."));
            switch (fk.onDelete) {
            case faCascade:
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER DELETE ON %2 BEGIN DELETE FROM %3 WHERE %4; END")
                         .arg(Q(base + QStringLiteral("pd")), pl.qualified(), C, where));
                break;
            case faSetNull: case faSetDefault:
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER DELETE ON %2 BEGIN UPDATE %3 SET %4 WHERE %5; END")
                         .arg(Q(base + QStringLiteral("pd")), pl.qualified(), C, setTo(QString(), fk.onDelete == faSetDefault), where));
                break;
            default:
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 BEFORE DELETE ON %2 WHEN EXISTS (%3) BEGIN SELECT RAISE(ABORT, %4); END")
                         .arg(Q(base + QStringLiteral("pd")), pl.qualified(), children, referenced));
            }
            switch (fk.onUpdate) {
            case faCascade:
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER UPDATE OF %2 ON %3 WHEN %4 BEGIN UPDATE %5 SET %6 WHERE %7; END")
                         .arg(Q(base + QStringLiteral("pu")), pcq.join(QLatin1Char(',')), pl.qualified(), AnyChanged(pc), C,
                              setTo(QStringLiteral("NEW."), false), where));
                break;
            case faSetNull: case faSetDefault:
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER UPDATE OF %2 ON %3 WHEN %4 BEGIN UPDATE %5 SET %6 WHERE %7; END")
                         .arg(Q(base + QStringLiteral("pu")), pcq.join(QLatin1Char(',')), pl.qualified(), AnyChanged(pc), C,
                              setTo(QString(), fk.onUpdate == faSetDefault), where));
                break;
            default:
                Exec(QStringLiteral("CREATE TEMP TRIGGER %1 BEFORE UPDATE OF %2 ON %3 WHEN (%4) AND EXISTS (%5) BEGIN SELECT RAISE(ABORT, %6); END")
                         .arg(Q(base + QStringLiteral("pu")), pcq.join(QLatin1Char(',')), pl.qualified(), AnyChanged(pc), children, referenced));
            }
        }
    }
    OstExtensions::RefreshTriggers(*this, reachable); // e.g. the dictionaries of fulltext indexes
    m_triggersGeneration = m_generation;
    m_triggersAttached = key;
}

// ---------------------------------------------------------------- attaching

// The tables a write to `tables` reaches, nearest first: the tables, their
// fulltext dictionaries and parents (baseCount of them), then their children
// and, where an action changes the children's records, those children's
// dictionaries, parents and children in turn.
QStringList OstConnection::WriteClosure(const QStringList& tables, int& baseCount) {
    const QList<OstTableMeta> metas = CachedMetas();
    QStringList out;
    auto add = [&](const QString& name) {
        if (!out.contains(name, Qt::CaseInsensitive) && TableExists(name)) out << name;
    };
    auto addNeeds = [&](const QString& name) {
        for (const OstTableMeta& m : metas) {
            if (m.name.compare(name, Qt::CaseInsensitive) != 0) continue;
            for (const QString& dict : OstExtensions::CompanionTables(m)) add(dict);
            for (const OstForeignKeyMeta& fk : m.foreignKeys) add(fk.parentTable);
        }
    };
    for (const QString& t : tables) add(t);
    for (const QString& t : tables) addNeeds(t);
    baseCount = out.size();
    QStringList changed = tables;
    for (int i = 0; i < changed.size(); ++i) {
        for (const OstTableMeta& m : metas) {
            for (const OstForeignKeyMeta& fk : m.foreignKeys) {
                if (fk.parentTable.compare(changed[i], Qt::CaseInsensitive) != 0) continue;
                add(m.name);
                if ((fk.onDelete != faReject || fk.onUpdate != faReject) && !changed.contains(m.name, Qt::CaseInsensitive)) {
                    changed << m.name;
                    addNeeds(m.name);
                }
            }
        }
    }
    return out;
}

// When everything a write reaches fits, it is all attached and the triggers
// do the work. Otherwise only the tables and what they need are attached and
// the other files are let go, which leaves room to attach the children whose
// records must change while the queues are settled.
void OstConnection::AttachForWrite(const QStringList& tables) {
    if (!m_singleFile && !InTransaction()) {
        int baseCount = 0;
        const QStringList closure = WriteClosure(tables, baseCount);
        const int limit = AttachLimit();
        QStringList keep = closure.size() <= limit ? closure : closure.mid(0, qMin(baseCount, limit));
        if (closure.size() > limit) {
            for (const QString& name : m_attached.keys()) {
                if (keep.contains(name, Qt::CaseInsensitive)) continue;
                try { Release(name); } catch (const EOstraError&) {} // still in use: it stays attached
            }
        }
        // Attached ones first become most recent, so that attaching the rest evicts none of them.
        for (int i = keep.size() - 1; i >= 0; --i)
            if (m_attached.contains(keep[i].toLower())) Locate(keep[i]);
        for (int i = keep.size() - 1; i >= 0; --i)
            if (!m_attached.contains(keep[i].toLower())) Locate(keep[i]);
        for (int i = tables.size() - 1; i >= 0; --i) Locate(tables[i]);
    }
    RefreshIntegrityTriggers();
}

void OstConnection::PrepareForWrite(const QString& tableName) {
    Locate(tableName);
    AttachForWrite({tableName});
}

void OstConnection::PrepareForSql(const QString& sql) {
    if (m_singleFile) { RefreshIntegrityTriggers(); return; }
    if (InTransaction()) { RefreshIntegrityTriggers(); return; }
    // Every identifier that names a table file makes that file reachable.
    static const QRegularExpression ident(QStringLiteral("\"((?:[^\"]|\"\")+)\"|\\[([^\\]]+)\\]|`([^`]+)`|([A-Za-z_][A-Za-z0-9_$]*)"));
    const QStringList tables = TableFileNames();
    QStringList wanted;
    auto it = ident.globalMatch(sql);
    while (it.hasNext()) {
        const auto m = it.next();
        QString name;
        for (int g = 1; g <= 4 && name.isEmpty(); ++g) name = m.captured(g);
        name.replace(QStringLiteral("\"\""), QStringLiteral("\""));
        for (const QString& t : tables)
            if (t.compare(name, Qt::CaseInsensitive) == 0 && !wanted.contains(t, Qt::CaseInsensitive)) wanted << t;
    }
    if (wanted.size() > AttachLimit())
        throw EOstraError(OstErr::General,
                          QStringLiteral("A statement can use at most %1 tables of a directory database (%2 named)")
                              .arg(AttachLimit())
                              .arg(wanted.size()));
    AttachForWrite(wanted);
}

void OstConnection::AttachForSettle(const QString& tableName, const QString& why) {
    if (m_attached.contains(tableName.toLower())) return;
    if (m_attached.size() >= AttachLimit())
        throw EOstraError(OstErr::ForeignKeyViolation,
                          QStringLiteral("%1, and that needs more than %2 table files of the database at once; "
                                         "change the records of table %3 first")
                              .arg(why)
                              .arg(AttachLimit())
                              .arg(tableName));
    m_attachInTransaction = true;
    try {
        Locate(tableName);
    } catch (...) {
        m_attachInTransaction = false;
        throw;
    }
    m_attachInTransaction = false;
    RefreshIntegrityTriggers();
}

// ---------------------------------------------------------------- settling

namespace {

// Reads table files that are not attached, through a connection of its own:
// a read needs no room among the attached files and takes no part in the
// transaction. The keys to look for are loaded once into its temp.k.
class OstFileReader {
public:
    explicit OstFileReader(OstConnection& c) : m_c(c) {
        if (sqlite3_open_v2(":memory:", &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
            sqlite3_close(m_db);
            throw EOstraError(OstErr::IoError, QStringLiteral("Cannot open a connection to read table files"));
        }
        sqlite3_busy_timeout(m_db, 5000);
        OstRegisterCollations(m_db);
        OstRegisterConvertFunction(m_db);
    }
    ~OstFileReader() { sqlite3_close(m_db); }

    // Copies the rows of a query of the main connection into temp.k.
    void LoadKeys(const QString& sql, int keys) {
        if (sql == m_loaded) return;
        m_loaded.clear();
        sqlite3_exec(m_db, "DROP TABLE IF EXISTS temp.k", nullptr, nullptr, nullptr);
        Exec(QStringLiteral("CREATE TEMP TABLE k(%1)").arg(Numbered(QStringLiteral("a"), keys)));
        Exec(QStringLiteral("BEGIN"));
        {
            OstStmt ins(m_db, QStringLiteral("INSERT INTO temp.k VALUES(%1)").arg(Numbered(QStringLiteral("?"), keys)));
            OstStmt src(m_c.Db(), sql);
            while (src.Step()) {
                for (int i = 0; i < keys; ++i) ins.Bind(i + 1, src.Value(i));
                ins.Step();
                ins.Reset();
            }
        }
        Exec(QStringLiteral("COMMIT"));
        m_loaded = sql;
    }

    // Counts over a table file; %1 in the query is the table.
    qint64 Count(const QString& tableName, const QString& sql) {
        const QString file = m_c.TableFile(tableName);
        m_c.BeforeAttachFile(tableName, file, false);
        OstStmt att(m_db, QStringLiteral("ATTACH ?1 AS f"));
        att.Bind(1, file);
        att.Step();
        qint64 n = 0;
        try {
            OstStmt st(m_db, sql.arg(QStringLiteral("f.") + Q(tableName)));
            n = st.Step() ? st.Int64(0) : 0;
        } catch (...) {
            sqlite3_exec(m_db, "DETACH f", nullptr, nullptr, nullptr);
            throw;
        }
        sqlite3_exec(m_db, "DETACH f", nullptr, nullptr, nullptr);
        return n;
    }

private:
    void Exec(const QString& sql) {
        if (sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, nullptr) != SQLITE_OK)
            throw EOstraError(OstErr::Sql, QString::fromUtf8(sqlite3_errmsg(m_db)));
    }
    OstConnection& m_c;
    sqlite3* m_db = nullptr;
    QString m_loaded; // the query whose keys temp.k holds
};

// "(a, b)" as a row value, or "a" for a single column.
QString RowOf(const QStringList& items) {
    return items.size() == 1 ? items.first() : QStringLiteral("(%1)").arg(items.join(QStringLiteral(", ")));
}

QStringList Quoted(const QStringList& cols) {
    QStringList out;
    for (const QString& c : cols) out << Q(c);
    return out;
}

QStringList NumberedList(const QString& prefix, int n) {
    QStringList out;
    for (int i = 1; i <= n; ++i) out << prefix + QString::number(i);
    return out;
}

} // namespace

void OstConnection::SettleForeignKeys() {
    if (!m_fkQueued) return;
    for (int round = 0; round < 64; ++round) {
        QHash<QString, qint64> upTo; // queue -> last row of this round
        {
            QStringList queues;
            OstStmt st(m_db, QStringLiteral("SELECT name FROM temp.sqlite_master WHERE type = 'table' AND name LIKE 'ostfkq:%'"));
            while (st.Step()) queues << st.Text(0);
            for (const QString& q : queues) {
                const qint64 hi = QueryInt(QStringLiteral("SELECT ifnull(max(rowid), 0) FROM temp.%1").arg(Q(q)));
                if (hi > 0) upTo.insert(q, hi);
            }
        }
        if (upTo.isEmpty()) {
            m_fkQueued = false;
            return;
        }
        std::unique_ptr<OstFileReader> reader;
        auto files = [&]() -> OstFileReader& {
            if (!reader) reader = std::make_unique<OstFileReader>(*this);
            return *reader;
        };
        const QList<OstTableMeta> metas = CachedMetas();
        for (const OstTableMeta& child : metas) {
            for (const OstForeignKeyMeta& fk : child.foreignKeys) {
                const QStringList cc = ColumnsOf(fk.childFields), pc = ColumnsOf(fk.parentFields);
                if (cc.isEmpty() || cc.size() != pc.size()) continue;
                const int k = cc.size();
                const QStringList keys = NumberedList(QStringLiteral("ostk"), k);
                const QString C = Q(child.name), P = Q(fk.parentTable);

                // Parent records deleted or given new keys: their children are checked or changed.
                const QString pq = ParentQueue(fk.parentTable, pc);
                if (upTo.contains(pq)) {
                    for (const QString& op : {QStringLiteral("d"), QStringLiteral("u")}) {
                        // Keys gone from the parent (not those deleted and added again).
                        const QString gone = QStringLiteral("SELECT %1 FROM temp.%2 WHERE ostop = '%3' AND rowid <= %4 "
                                                            "AND NOT EXISTS (SELECT 1 FROM %5 WHERE %6)")
                                                 .arg(keys.join(QStringLiteral(", ")), Q(pq), op)
                                                 .arg(upTo.value(pq))
                                                 .arg(P, Match(pc, QString(), keys, QString()));
                        if (QueryInt(QStringLiteral("SELECT EXISTS(%1)").arg(gone)) == 0) continue;
                        bool referenced;
                        if (m_attached.contains(child.name.toLower())) {
                            referenced = QueryInt(QStringLiteral("SELECT EXISTS(SELECT 1 FROM %1 WHERE %2 IN (%3))")
                                                      .arg(C, RowOf(Quoted(cc)), gone)) != 0;
                        } else {
                            files().LoadKeys(gone, k);
                            referenced = files().Count(child.name,
                                                       QStringLiteral("SELECT EXISTS(SELECT 1 FROM %1 WHERE %2 IN (SELECT %3 FROM temp.k))")
                                                           .arg(QStringLiteral("%1"), RowOf(Quoted(cc)), Numbered(QStringLiteral("a"), k))) != 0;
                        }
                        if (!referenced) continue;
                        const int action = op == QStringLiteral("d") ? fk.onDelete : fk.onUpdate;
                        if (action == faReject)
                            throw EOstraError(OstErr::ForeignKeyViolation,
                                              QStringLiteral("Foreign key %1: the record of table %2 is referenced by records of table %3")
                                                  .arg(fk.name, fk.parentTable, child.name));
                        AttachForSettle(child.name,
                                        QStringLiteral("Foreign key %1 would change records of table %2 with those of table %3")
                                            .arg(fk.name, child.name, fk.parentTable));
                        const QString cl = Locate(child.name).qualified();
                        const QString where = QStringLiteral("%1 IN (%2)").arg(RowOf(Quoted(cc)), gone);
                        QStringList sets;
                        for (int i = 0; i < k; ++i) {
                            QString v = QStringLiteral("NULL");
                            if (action == faSetDefault) {
                                const OstColumnMeta* col = child.Column(cc[i]);
                                v = col ? OstColumnDefaultSql(child, *col) : QStringLiteral("NULL");
                            } else if (action == faCascade) {
                                v = QStringLiteral("(SELECT ostn%1 FROM temp.%2 WHERE ostop = 'u' AND rowid <= %3 AND %4 "
                                                   "ORDER BY rowid DESC LIMIT 1)")
                                        .arg(i + 1)
                                        .arg(Q(pq))
                                        .arg(upTo.value(pq))
                                        .arg(Match(cc, QString(), keys, QString()));
                            }
                            sets << QStringLiteral("%1 = %2").arg(Q(cc[i]), v);
                        }
                        if (action == faCascade && op == QStringLiteral("d"))
                            Exec(QStringLiteral("DELETE FROM %1 WHERE %2").arg(cl, where));
                        else
                            Exec(QStringLiteral("UPDATE %1 SET %2 WHERE %3").arg(cl, sets.join(QStringLiteral(", ")), where));
                    }
                }

                // Child records given keys: their parents must exist.
                const QString cq = ChildQueue(child.name, fk.name);
                if (upTo.contains(cq)) {
                    // Keys of records still there.
                    const QString given = QStringLiteral("SELECT DISTINCT %1 FROM temp.%2 WHERE rowid <= %3 "
                                                         "AND EXISTS (SELECT 1 FROM %4 WHERE %5)")
                                              .arg(keys.join(QStringLiteral(", ")), Q(cq))
                                              .arg(upTo.value(cq))
                                              .arg(C, Match(cc, QString(), keys, QString()));
                    qint64 missing;
                    if (m_attached.contains(fk.parentTable.toLower())) {
                        missing = QueryInt(QStringLiteral("SELECT count(*) FROM (%1) WHERE NOT EXISTS (SELECT 1 FROM %2 WHERE %3)")
                                               .arg(given, P, Match(pc, QString(), keys, QString())));
                    } else {
                        files().LoadKeys(given, k);
                        missing = files().Count(fk.parentTable,
                                                QStringLiteral("SELECT count(*) FROM temp.k WHERE NOT EXISTS (SELECT 1 FROM %1 WHERE %2)")
                                                    .arg(QStringLiteral("%1"), Match(pc, QString(), NumberedList(QStringLiteral("a"), k), QString())));
                    }
                    if (missing > 0)
                        throw EOstraError(OstErr::ForeignKeyViolation,
                                          QStringLiteral("Foreign key %1: table %2 refers to a record of table %3 that does not exist")
                                              .arg(fk.name, child.name, fk.parentTable));
                }
            }
        }
        for (auto it = upTo.cbegin(); it != upTo.cend(); ++it)
            Exec(QStringLiteral("DELETE FROM temp.%1 WHERE rowid <= %2").arg(Q(it.key())).arg(it.value()));
    }
    throw EOstraError(OstErr::ForeignKeyViolation, QStringLiteral("Foreign keys keep changing records in a cycle; nothing was changed"));
}

// The other table of a foreign key may be one that is not attached (a
// directory database with many tables); its file is then read on its own.
// The table being checked is attached, and may hold changes not yet committed.
void OstConnection::CheckForeignKeys(const QString& tableName, const OstForeignKeyFilter& which) {
    const QList<OstTableMeta> metas = CachedMetas();
    std::unique_ptr<OstFileReader> reader;
    auto attached = [&](const QString& name) { return m_singleFile || m_attached.contains(name.toLower()); };
    for (const OstTableMeta& child : metas) {
        for (const OstForeignKeyMeta& fk : child.foreignKeys) {
            const bool isChild = child.name.compare(tableName, Qt::CaseInsensitive) == 0;
            const bool isParent = fk.parentTable.compare(tableName, Qt::CaseInsensitive) == 0;
            if ((!isChild && !isParent) || (which && !which(child, fk))) continue;
            const QStringList cc = ColumnsOf(fk.childFields), pc = ColumnsOf(fk.parentFields);
            if (cc.isEmpty() || cc.size() != pc.size()) continue;
            const int k = cc.size();
            const QStringList a = NumberedList(QStringLiteral("a"), k);
            qint64 bad = 0;
            if (attached(child.name) && attached(fk.parentTable)) {
                const OstTableLocation cl = Locate(child.name), pl = Locate(fk.parentTable);
                bad = QueryInt(QStringLiteral("SELECT count(*) FROM %1 AS c WHERE %2 AND NOT EXISTS (SELECT 1 FROM %3 AS p WHERE %4)")
                                   .arg(cl.qualified(), AllNotNull(cc, QStringLiteral("c.")), pl.qualified(),
                                        Match(pc, QStringLiteral("p."), cc, QStringLiteral("c."))));
            } else if (!TableExists(isChild ? fk.parentTable : child.name)) {
                continue;
            } else {
                if (!reader) reader = std::make_unique<OstFileReader>(*this);
                if (isChild) { // the parent's file is read: the keys the children use that it lacks
                    reader->LoadKeys(QStringLiteral("SELECT DISTINCT %1 FROM %2 WHERE %3")
                                         .arg(Quoted(cc).join(QStringLiteral(", ")), Locate(child.name).qualified(),
                                              AllNotNull(cc, QString())),
                                     k);
                    bad = reader->Count(fk.parentTable, QStringLiteral("SELECT count(*) FROM temp.k WHERE NOT EXISTS (SELECT 1 FROM %1 WHERE %2)")
                                                            .arg(QStringLiteral("%1"), Match(pc, QString(), a, QString())));
                } else { // the child's file is read: its records whose key the parent lacks
                    reader->LoadKeys(QStringLiteral("SELECT %1 FROM %2").arg(Quoted(pc).join(QStringLiteral(", ")), Locate(fk.parentTable).qualified()), k);
                    bad = reader->Count(child.name, QStringLiteral("SELECT count(*) FROM %1 AS c WHERE %2 AND NOT EXISTS (SELECT 1 FROM temp.k WHERE %3)")
                                                        .arg(QStringLiteral("%1"), AllNotNull(cc, QStringLiteral("c.")),
                                                             Match(cc, QStringLiteral("c."), a, QString())));
                }
            }
            if (bad > 0)
                throw EOstraError(OstErr::ForeignKeyViolation,
                                  QStringLiteral("Foreign key %1: %2 record(s) of table %3 refer to records of table %4 that do not exist")
                                      .arg(fk.name).arg(bad).arg(child.name, fk.parentTable));
        }
    }
}
