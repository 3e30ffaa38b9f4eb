// Foreign keys across the tables of a database: enforced by temporary triggers
// on the shared connection, so that they also work between the table files of
// a directory database.
#include "ostconnection.h"
#include "ostfilter.h"
#include "ostfulltext.h"
#include "ostmeta.h"
#include "ostschema.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

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

    for (const OstTableMeta& child : CachedMetas()) {
        if (!reachable.contains(child.name.toLower())) continue;
        for (const OstForeignKeyMeta& fk : child.foreignKeys) {
            if (!reachable.contains(fk.parentTable.toLower())) continue;
            const QStringList cc = ColumnsOf(fk.childFields), pc = ColumnsOf(fk.parentFields);
            if (cc.isEmpty() || cc.size() != pc.size()) continue;
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
            QStringList ccq;
            for (const QString& c : cc) ccq << Q(c);
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
            QStringList pcq;
            for (const QString& c : pc) pcq << Q(c);
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
    OstFulltextRefreshTriggers(*this, reachable); // the dictionaries of fulltext indexes
    m_triggersGeneration = m_generation;
    m_triggersAttached = key;
}

void OstConnection::CheckForeignKeys(const QString& tableName) {
    for (const OstTableMeta& child : CachedMetas()) {
        for (const OstForeignKeyMeta& fk : child.foreignKeys) {
            const bool isChild = child.name.compare(tableName, Qt::CaseInsensitive) == 0;
            const bool isParent = fk.parentTable.compare(tableName, Qt::CaseInsensitive) == 0;
            if (!isChild && !isParent) continue;
            const QStringList cc = ColumnsOf(fk.childFields), pc = ColumnsOf(fk.parentFields);
            const OstTableLocation cl = Locate(child.name), pl = Locate(fk.parentTable);
            const qint64 bad = QueryInt(QStringLiteral("SELECT count(*) FROM %1 AS c WHERE %2 AND NOT EXISTS (SELECT 1 FROM %3 AS p WHERE %4)")
                                            .arg(cl.qualified(), AllNotNull(cc, QStringLiteral("c.")), pl.qualified(),
                                                 Match(pc, QStringLiteral("p."), cc, QStringLiteral("c."))));
            if (bad > 0)
                throw EOstraError(OstErr::ForeignKeyViolation,
                                  QStringLiteral("Foreign key %1: %2 record(s) of table %3 refer to records of table %4 that do not exist")
                                      .arg(fk.name).arg(bad).arg(child.name, fk.parentTable));
        }
    }
}

void OstConnection::PrepareForWrite(const QString& tableName) {
    Locate(tableName);
    if (!m_singleFile && !InTransaction()) {
        for (const OstTableMeta& m : CachedMetas()) {
            const bool self = m.name.compare(tableName, Qt::CaseInsensitive) == 0;
            if (self)
                for (const QString& dict : OstFulltextDictionaries(m))
                    if (TableExists(dict)) Locate(dict);
            for (const OstForeignKeyMeta& fk : m.foreignKeys) {
                if (self && TableExists(fk.parentTable)) Locate(fk.parentTable);
                if (fk.parentTable.compare(tableName, Qt::CaseInsensitive) == 0) Locate(m.name);
            }
        }
        Locate(tableName); // most recently used again
    }
    RefreshIntegrityTriggers();
}

void OstConnection::PrepareForSql(const QString& sql) {
    if (m_singleFile) { RefreshIntegrityTriggers(); return; }
    if (InTransaction()) return;
    // Every identifier that names a table file makes that file reachable.
    static const QRegularExpression ident(QStringLiteral("\"((?:[^\"]|\"\")+)\"|\\[([^\\]]+)\\]|`([^`]+)`|([A-Za-z_][A-Za-z0-9_$]*)"));
    QStringList tables;
    for (const QString& f : QDir(m_location).entryList({QStringLiteral("*.dat")}, QDir::Files))
        tables << f.left(f.size() - 4);
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
    if (wanted.size() > 9)
        throw EOstraError(OstErr::General,
                          QStringLiteral("A statement can use at most 9 tables of a directory database (%1 named)").arg(wanted.size()));
    for (const QString& t : wanted) PrepareForWrite(t);
    for (const QString& t : wanted) Locate(t);
    RefreshIntegrityTriggers();
}
