// Keeping fulltext indexes: the FTS5 table and its triggers in the file of the
// indexed table, the dictionary table and its temporary triggers.
#include "engine/fulltext/ostfulltext.h"
#include "engine/fulltext/ostfulltext_p.h"

#include "engine/store/ostcollation.h"
#include "engine/store/ostconnection.h"
#include "engine/store/ostfilecipher.h"
#include "engine/store/osttableextension.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalidate.h"

#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>

namespace {

QString Q(const QString& s) { return OstQuoteIdent(s); }


QString DictName(const OstFulltextMeta& f) { return OstNormalizeTableName(f.dictionary, false); }

// A schema name as SQL writes it ("main" or "\"t:docs\"") back to the name itself.
QString RawSchema(const QString& schema) {
    if (schema.size() >= 2 && schema.startsWith(u'"') && schema.endsWith(u'"'))
        return schema.mid(1, schema.size() - 2).replace(QStringLiteral("\"\""), QStringLiteral("\""));
    return schema;
}

const OstColumnMeta& DictColumn(const OstTableMeta& d, const char* name) { return *d.Column(QLatin1String(name)); }

int KeywordSize(const OstTableMeta& d) {
    const OstColumnMeta* k = d.Column(QStringLiteral("Keyword"));
    return k && IsSizedTextType(k->type) ? k->size : OstMaxKeywordLen;
}

void CheckDictionaryLayout(const OstTableMeta& d, const OstFulltextMeta& f) {
    const OstColumnMeta* k = d.Column(QStringLiteral("Keyword"));
    const OstColumnMeta* r = d.Column(QStringLiteral("Relevance"));
    const OstColumnMeta* id = d.Column(QStringLiteral("RecordId"));
    if (!k || !IsTextType(k->type) || !r || !IsIntegerType(r->type) || r->type == dtAutoInc || !id || id->type != dtAutoInc)
        throw EOstraError(OstErr::InvalidDefinition,
                          QStringLiteral("Table \"%1\" cannot be the dictionary of fulltext index \"%2\": a dictionary has the "
                                         "columns Keyword (text), Relevance (dtWord) and RecordId (dtAutoInc)")
                              .arg(d.name, f.name));
}

// The collation a new dictionary gets: that of the indexed text columns when
// they agree, the table's when the first has none, "Ostra" when they differ.
QString DictionaryCollation(const OstTableMeta& m, const OstFulltextMeta& f) {
    if (!OstLevel::HasCollations(m.level)) return QString();
    const QString marker = QStringLiteral("***");
    QString result = marker;
    bool consistent = true;
    for (const QString& name : OstFts::Columns(f)) {
        const OstColumnMeta* c = m.Column(name);
        QString v;
        if (c && (c->type == dtString || c->type == dtMemo || c->type == dtWideString || c->type == dtWideMemo)) {
            v = c->spec.trimmed();
            if (v == QStringLiteral("(default)")) v.clear();
        }
        if (result == marker) result = v;
        else if (!v.isEmpty() && v != result && v.compare(QStringLiteral("Ostra"), Qt::CaseInsensitive) != 0) consistent = false;
    }
    if (result == marker || result.isEmpty()) result = m.collation.trimmed();
    if (!consistent || result.compare(QStringLiteral("Ostra"), Qt::CaseInsensitive) == 0) result.clear();
    return result;
}

// Dictionary lookups go by exact keyword, whatever the dictionary's collation.
void EnsureKeywordIndex(OstConnection& c, const OstTableMeta& d, const OstTableLocation& dl) {
    c.Exec(QStringLiteral("CREATE INDEX IF NOT EXISTS %1.%2 ON %3(%4 COLLATE BINARY)")
               .arg(dl.schema, Q(d.uid + QStringLiteral(":__ostra_keyword")), dl.table, Q(DictColumn(d, "Keyword").name)));
}

// The layout a designer gives a new dictionary (Keyword of 20 characters).
void CreateDictionary(OstConnection& c, const QString& name, const OstTableMeta& m, const OstFulltextMeta& f) {
    OstTableMeta d;
    d.name = name;
    d.uid = QString::number(QRandomGenerator::global()->generate64() & 0xFFFFFFFFFFFFull, 36);
    d.level = m.level;
    d.collation = DictionaryCollation(m, f);
    d.encryption = m.encryption; // the words are as secret as the table
    d.icuVersion = OstIcuCollatorVersion();
    bool wide = false;
    for (const QString& col : OstFts::Columns(f))
        if (const OstColumnMeta* cm = m.Column(col)) wide = wide || IsWideType(cm->type);
    const struct { const char* name; int type, size; } cols[] = {
        {"Keyword", wide ? dtWideString : dtString, 20}, {"Relevance", dtWord, 0}, {"RecordId", dtAutoInc, 0}};
    for (const auto& col : cols) {
        OstColumnMeta cm;
        cm.name = QLatin1String(col.name);
        cm.type = col.type;
        cm.size = col.size;
        cm.nullable = false;
        cm.number = d.nextNumber++;
        d.columns.append(cm);
    }
    OstIndexMeta pk;
    pk.name = QStringLiteral("sys_primary");
    pk.fields = QStringLiteral("RecordId");
    pk.options = int((ixPrimary | ixUnique).toInt());
    d.indexes.append(pk);
    OstValidateMeta(d, &c);
    OstCipher().FollowTable(c, m.name, name); // it holds the table's words: encrypted like the table
    const OstTableLocation dl = c.Locate(name, true);
    try {
        OstInTransaction(c, [&] {
            c.ExecDdl(OstCreateTableSql(d, dl.schema, dl.table));
            for (const QString& sql : OstCreateIndexesSql(d, dl.schema, dl.table)) c.ExecDdl(sql);
            c.WriteMeta(d);
            EnsureKeywordIndex(c, d, dl);
        });
    } catch (...) {
        if (!c.SingleFile()) {
            c.Release(name);
            QFile::remove(c.TableFile(name));
        }
        throw;
    }
    c.BumpGeneration();
}

bool SameMachinery(const OstFulltextMeta& a, const OstFulltextMeta& b) {
    return a.name.compare(b.name, Qt::CaseInsensitive) == 0 &&
           OstFts::Columns(a).join(u';').compare(OstFts::Columns(b).join(u';'), Qt::CaseInsensitive) == 0 &&
           DictName(a).compare(DictName(b), Qt::CaseInsensitive) == 0 && OstFts::Separators(a) == OstFts::Separators(b);
}

bool Exists(OstConnection& c, const QString& schema, const QString& name) {
    return c.QueryInt(QStringLiteral("SELECT count(*) FROM %1.sqlite_master WHERE name = ?1").arg(schema), {name}) > 0;
}

// A temporary fts5vocab table ("row": term, doc = records holding it) over an index.
class Vocab {
public:
    Vocab(OstConnection& c, const QString& schema, const QString& fts) : m_c(c) {
        c.Exec(QStringLiteral("DROP TABLE IF EXISTS temp.__ostra_vocab"));
        c.Exec(QStringLiteral("CREATE VIRTUAL TABLE temp.__ostra_vocab USING fts5vocab(%1, %2, 'row')")
                   .arg(OstQuoteString(RawSchema(schema)), OstQuoteString(fts)));
    }
    ~Vocab() { sqlite3_exec(m_c.Db(), "DROP TABLE IF EXISTS temp.__ostra_vocab", nullptr, nullptr, nullptr); }
    static QString Name() { return QStringLiteral("temp.__ostra_vocab"); }

private:
    OstConnection& m_c;
};

QString SnapshotName(const OstTableMeta& m, const OstFulltextMeta& f) {
    return QStringLiteral("__ostra_snap:%1:%2").arg(m.uid, f.name.toLower());
}

// Brings the dictionary's relevances up to date from tables of (term, doc).
// exact: the dictionary becomes plus (its only index's words); keywords that
// stay keep their rows. Otherwise the counts of plus are added and those of
// minus (either may be empty) subtracted; keywords reaching 0 go, and a capped
// count (65535) is not lowered.
void FillDictionary(OstConnection& c, const OstTableMeta& d, const OstTableLocation& dl, const QString& plus,
                    const QString& minus, bool exact) {
    const QString K = Q(DictColumn(d, "Keyword").name), R = Q(DictColumn(d, "Relevance").name);
    const QString D = dl.qualified();
    if (minus.isEmpty() && c.QueryInt(QStringLiteral("SELECT count(*) FROM (SELECT 1 FROM %1 LIMIT 1)").arg(D)) == 0) {
        c.Exec(QStringLiteral("INSERT INTO %1(%2, %3) SELECT term, min(doc, 65535) FROM %4").arg(D, K, R, plus));
        return;
    }
    c.Exec(QStringLiteral("CREATE TEMP TABLE IF NOT EXISTS __ostra_delta(term TEXT PRIMARY KEY, d INTEGER) WITHOUT ROWID"));
    c.Exec(QStringLiteral("DELETE FROM temp.__ostra_delta"));
    if (!plus.isEmpty()) c.Exec(QStringLiteral("INSERT INTO temp.__ostra_delta(term, d) SELECT term, doc FROM %1").arg(plus));
    if (exact) {
        c.Exec(QStringLiteral("DELETE FROM %1 WHERE NOT EXISTS (SELECT 1 FROM temp.__ostra_delta AS x WHERE x.term = %2.%3)")
                   .arg(D, dl.table, K));
        c.Exec(QStringLiteral("UPDATE %1 SET %3 = min(x.d, 65535) FROM temp.__ostra_delta AS x "
                              "WHERE %2.%4 = x.term COLLATE BINARY AND %2.%3 IS NOT min(x.d, 65535)")
                   .arg(D, dl.table, R, K));
    } else {
        if (!minus.isEmpty())
            c.Exec(QStringLiteral("INSERT INTO temp.__ostra_delta(term, d) SELECT term, -doc FROM %1 WHERE true "
                                  "ON CONFLICT(term) DO UPDATE SET d = d + excluded.d").arg(minus));
        c.Exec(QStringLiteral("DELETE FROM temp.__ostra_delta WHERE d = 0"));
        c.Exec(QStringLiteral("UPDATE %1 SET %3 = max(0, min(65535, %3 + x.d)) FROM temp.__ostra_delta AS x "
                              "WHERE %2.%4 = x.term COLLATE BINARY AND (x.d > 0 OR %2.%3 < 65535)")
                   .arg(D, dl.table, R, K));
    }
    c.Exec(QStringLiteral("INSERT INTO %1(%2, %3) SELECT x.term, min(x.d, 65535) FROM temp.__ostra_delta AS x WHERE x.d > 0 "
                          "AND NOT EXISTS (SELECT 1 FROM %1 AS k WHERE k.%2 = x.term COLLATE BINARY)").arg(D, K, R));
    c.Exec(QStringLiteral("DELETE FROM %1 WHERE %2 <= 0").arg(D, R));
    c.Exec(QStringLiteral("DELETE FROM temp.__ostra_delta"));
}

// True when another index than f uses f's dictionary: one of another table, or
// of this table before or after the change.
bool DictionaryShared(OstConnection& c, const OstTableMeta& before, const OstTableMeta& after, const OstFulltextMeta& f) {
    const QString dict = DictName(f);
    for (const OstTableMeta& other : c.CachedMetas()) {
        if (other.name.compare(after.name, Qt::CaseInsensitive) == 0 || other.name.compare(before.name, Qt::CaseInsensitive) == 0)
            continue;
        for (const OstFulltextMeta& g : other.fulltext)
            if (DictName(g).compare(dict, Qt::CaseInsensitive) == 0) return true;
    }
    for (const OstTableMeta* m : {&before, &after})
        for (const OstFulltextMeta& g : m->fulltext)
            if (g.name.compare(f.name, Qt::CaseInsensitive) != 0 && DictName(g).compare(dict, Qt::CaseInsensitive) == 0)
                return true;
    return false;
}

// The dictionary of an index when it has one that exists (reachable: the
// caller attached it before the transaction).
bool Dictionary(OstConnection& c, const OstFulltextMeta& f, OstTableMeta& d, OstTableLocation& dl) {
    const QString name = DictName(f);
    if (name.isEmpty() || !c.TableExists(name) || !c.ReadMeta(name, d)) return false;
    if (!d.Column(QStringLiteral("Keyword")) || !d.Column(QStringLiteral("Relevance"))) return false; // restructured away
    d.name = name;
    dl = c.Locate(name);
    return true;
}

const char* const TriggerSuffixes[] = {":ai", ":ad", ":au"};

// The temporary triggers that keep an index's dictionary (suffixes i, d, u).
QString DictionaryTrigger(const OstTableMeta& m, const OstFulltextMeta& f, QChar suffix) {
    return QStringLiteral("ostft:%1:%2:").arg(m.name.toLower(), f.name.toLower()) + suffix;
}

// Takes an index down and its words out of the dictionary. When it is built
// again in this transaction (again), a dictionary of its own is left for the
// build to set exactly, and the words of a shared one wait in a snapshot.
void DropMachinery(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before, const OstTableMeta& after,
                   const OstFulltextMeta& f, bool again) {
    const QString fts = OstFts::TableName(before, f);
    for (const char* s : TriggerSuffixes)
        c.Exec(QStringLiteral("DROP TRIGGER IF EXISTS %1.%2").arg(loc.schema, Q(fts + QLatin1String(s))));
    // The caller bumps the connection's generation: they come back with the next refresh.
    for (QChar s : {u'i', u'd', u'u'})
        c.Exec(QStringLiteral("DROP TRIGGER IF EXISTS temp.%1").arg(Q(DictionaryTrigger(before, f, s))));
    if (!Exists(c, loc.schema, fts)) return;
    OstTableMeta d;
    OstTableLocation dl;
    if (Dictionary(c, f, d, dl)) {
        if (!DictionaryShared(c, before, after, f)) {
            if (!again) c.Exec(QStringLiteral("DELETE FROM %1").arg(dl.qualified())); // no index uses it any more
        } else {
            Vocab vocab(c, loc.schema, fts);
            const QString snap = QStringLiteral("temp.") + Q(SnapshotName(before, f));
            c.Exec(QStringLiteral("DROP TABLE IF EXISTS %1").arg(snap));
            if (again) {
                c.Exec(QStringLiteral("CREATE TABLE %1(term TEXT PRIMARY KEY, doc INTEGER) WITHOUT ROWID").arg(snap));
                c.Exec(QStringLiteral("INSERT INTO %1 SELECT term, doc FROM %2").arg(snap, Vocab::Name()));
            } else {
                FillDictionary(c, d, dl, QString(), Vocab::Name(), false);
            }
        }
    }
    // Dropping without overwriting the freed pages, as a restructure drops its old table.
    const qint64 secure = c.QueryInt(QStringLiteral("PRAGMA %1.secure_delete").arg(loc.schema));
    c.Exec(QStringLiteral("PRAGMA %1.secure_delete=OFF").arg(loc.schema));
    c.Exec(QStringLiteral("DROP TABLE %1.%2").arg(loc.schema, Q(fts)));
    c.Exec(QStringLiteral("PRAGMA %1.secure_delete=%2").arg(loc.schema).arg(secure));
}

// Builds an index over the rows in place, its triggers, and its words in the dictionary.
void CreateMachinery(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before, const OstTableMeta& m,
                     const OstFulltextMeta& f) {
    const QString fts = OstFts::TableName(m, f), F = Q(fts);
    OstTableMeta d;
    OstTableLocation dl;
    const bool hasDictionary = Dictionary(c, f, d, dl);
    QStringList ftsCols, values, newVals, oldVals, changed;
    const QStringList cols = OstFts::Columns(f);
    for (int i = 0; i < cols.size(); ++i) {
        const QString col = Q(m.Column(cols[i])->name);
        ftsCols << QStringLiteral("c%1").arg(i);
        values << col;
        newVals << QStringLiteral("NEW.") + col;
        oldVals << QStringLiteral("OLD.") + col;
        changed << QStringLiteral("OLD.%1 IS NOT NEW.%1").arg(col);
    }
    const int maxLen = hasDictionary ? KeywordSize(d) : OstMaxKeywordLen;
    c.Exec(QStringLiteral("CREATE VIRTUAL TABLE %1.%2 USING fts5(%3, content='', columnsize=0, tokenize='ostra %4 %5')")
               .arg(loc.schema, F, ftsCols.join(QStringLiteral(", ")))
               .arg(maxLen)
               .arg(QString::fromLatin1(OstFts::Separators(f).toUtf8().toHex())));
    // A larger buffer of pending words than FTS5's 1 MB makes fewer, larger segments
    // and less merging while a statement indexes many records (a build, a bulk insert).
    c.Exec(QStringLiteral("INSERT INTO %1.%2(%2, rank) VALUES ('hashsize', 8388608)").arg(loc.schema, F));
    c.Exec(QStringLiteral("INSERT INTO %1.%2(rowid, %3) SELECT rowid, %4 FROM %5")
               .arg(loc.schema, F, ftsCols.join(QStringLiteral(", ")), values.join(QStringLiteral(", ")), loc.qualified()));
    const QString add = QStringLiteral("INSERT INTO %1(rowid, %2) VALUES (NEW.rowid, %3);")
                            .arg(F, ftsCols.join(QStringLiteral(", ")), newVals.join(QStringLiteral(", ")));
    const QString remove = QStringLiteral("INSERT INTO %1(%1, rowid, %2) VALUES ('delete', OLD.rowid, %3);")
                               .arg(F, ftsCols.join(QStringLiteral(", ")), oldVals.join(QStringLiteral(", ")));
    auto trigger = [&](const char* suffix, const QString& event, const QString& body) {
        const QString when = event == QStringLiteral("UPDATE")
                                 ? QStringLiteral(" WHEN OLD.rowid IS NOT NEW.rowid OR ") + changed.join(QStringLiteral(" OR "))
                                 : QString();
        c.Exec(QStringLiteral("CREATE TRIGGER %1.%2 AFTER %3 ON %4%5 BEGIN %6 END")
                   .arg(loc.schema, Q(fts + QLatin1String(suffix)), event, loc.table, when, body));
    };
    trigger(":ai", QStringLiteral("INSERT"), add);
    trigger(":ad", QStringLiteral("DELETE"), remove);
    // A changed record id counts as a change too (an edited auto-increment value).
    trigger(":au", QStringLiteral("UPDATE"), remove + u' ' + add);
    if (!hasDictionary) return;
    EnsureKeywordIndex(c, d, dl);
    Vocab vocab(c, loc.schema, fts);
    const QString snap = SnapshotName(m, f);
    const bool snapped = Exists(c, QStringLiteral("temp"), snap);
    if (!DictionaryShared(c, before, m, f)) FillDictionary(c, d, dl, Vocab::Name(), QString(), true);
    else FillDictionary(c, d, dl, Vocab::Name(), snapped ? QStringLiteral("temp.") + Q(snap) : QString(), false);
    if (snapped) c.Exec(QStringLiteral("DROP TABLE temp.%1").arg(Q(snap)));
}

} // namespace

// ---------------------------------------------------------------- hooks

QStringList OstFulltextDictionaries(const OstTableMeta& meta) {
    QStringList out;
    for (const OstFulltextMeta& f : meta.fulltext)
        if (!DictName(f).isEmpty() && !out.contains(DictName(f), Qt::CaseInsensitive)) out << DictName(f);
    return out;
}

void OstFulltextPrepare(OstConnection& c, const OstTableMeta& meta) {
    for (const OstFulltextMeta& f : meta.fulltext) {
        const QString name = DictName(f);
        if (name.isEmpty()) continue; // a dictionary still to come: the index keeps no keywords yet
        OstValidateTableName(name, c.SingleFile());
        if (name.compare(meta.name, Qt::CaseInsensitive) == 0)
            throw EOstraError(OstErr::InvalidDefinition,
                              QStringLiteral("Fulltext index \"%1\": table \"%2\" cannot be its own dictionary").arg(f.name, name));
        if (!c.TableExists(name)) {
            CreateDictionary(c, name, meta, f);
            continue;
        }
        OstTableMeta d;
        if (!c.ReadMeta(name, d))
            throw EOstraError(OstErr::NotFound, QStringLiteral("Dictionary table \"%1\" does not exist").arg(name));
        d.name = name;
        CheckDictionaryLayout(d, f);
    }
}

void OstFulltextBeforeChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before,
                             const OstTableMeta& after, bool rebuild) {
    for (const OstFulltextMeta& f : before.fulltext) {
        const OstFulltextMeta* a = OstFts::Find(after, f.name);
        if (!rebuild && a && SameMachinery(f, *a)) continue;
        const bool again = a && !DictName(f).isEmpty() && DictName(f).compare(DictName(*a), Qt::CaseInsensitive) == 0;
        DropMachinery(c, loc, before, after, f, again);
    }
}

void OstFulltextAfterChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before,
                            const OstTableMeta& after, bool rebuild) {
    for (const OstFulltextMeta& f : after.fulltext) {
        const OstFulltextMeta* b = OstFts::Find(before, f.name);
        if (!rebuild && b && SameMachinery(*b, f)) continue;
        CreateMachinery(c, loc, before, after, f);
    }
}

void OstFulltextCheckNotDictionary(OstConnection& c, const QString& table) {
    for (const OstTableMeta& other : c.CachedMetas()) {
        if (other.name.compare(table, Qt::CaseInsensitive) == 0) continue;
        for (const OstFulltextMeta& f : other.fulltext)
            if (DictName(f).compare(table, Qt::CaseInsensitive) == 0)
                throw EOstraError(OstErr::General,
                                  QStringLiteral("Table \"%1\" cannot be deleted: it is the dictionary of fulltext index \"%2\" of table \"%3\"")
                                      .arg(table, f.name, other.name));
    }
}

void OstFulltextRefreshTriggers(OstConnection& c, const QStringList& reachable) {
    QStringList drop;
    {
        OstStmt st(c.Db(), QStringLiteral("SELECT name FROM temp.sqlite_master WHERE type = 'trigger' AND name LIKE 'ostft:%'"));
        while (st.Step()) drop << st.Text(0);
    }
    for (const QString& t : drop) c.Exec(QStringLiteral("DROP TRIGGER temp.%1").arg(Q(t)));
    if (c.ReadOnly()) return;
    static const QRegularExpression params(QStringLiteral("tokenize='ostra (\\d+) ([0-9a-f]*)'"));
    const QList<OstTableMeta> metas = c.CachedMetas();
    for (const OstTableMeta& m : metas) {
        if (m.fulltext.isEmpty() || !reachable.contains(m.name.toLower())) continue;
        for (const OstFulltextMeta& f : m.fulltext) {
            const QString dict = DictName(f);
            if (dict.isEmpty() || !reachable.contains(dict.toLower())) continue;
            const OstTableMeta* d = nullptr;
            for (const OstTableMeta& x : metas)
                if (x.name.compare(dict, Qt::CaseInsensitive) == 0) d = &x;
            if (!d || !d->Column(QStringLiteral("Keyword")) || !d->Column(QStringLiteral("Relevance"))) continue;
            const OstTableLocation loc = c.Locate(m.name), dl = c.Locate(d->name);
            const QString fts = OstFts::TableName(m, f);
            const auto p = params.match(c.QueryText(QStringLiteral("SELECT sql FROM %1.sqlite_master WHERE type = 'table' AND name = ?1")
                                                        .arg(loc.schema), {fts}));
            if (!p.hasMatch()) continue; // not built
            if (!c.InTransaction()) {
                try { EnsureKeywordIndex(c, *d, dl); } catch (const EOstraError&) {} // lookups still work without it
            }
            const int cut = std::min(p.captured(1).toInt(), KeywordSize(*d));
            QStringList newVals, oldVals, cols, changed;
            for (const QString& name : OstFts::Columns(f)) {
                const OstColumnMeta* col = m.Column(name);
                if (!col) continue;
                cols << Q(col->name);
                newVals << QStringLiteral("NEW.") + Q(col->name);
                oldVals << QStringLiteral("OLD.") + Q(col->name);
                changed << QStringLiteral("OLD.%1 IS NOT NEW.%1").arg(Q(col->name));
            }
            // Each changed row notes its words; the counts reach the dictionary
            // once the statement is through (ostfulltextdict.cpp).
            const QString D = Q(d->name), K = Q(DictColumn(*d, "Keyword").name), R = Q(DictColumn(*d, "Relevance").name);
            const QString separators = QString::fromUtf8(QByteArray::fromHex(p.captured(2).toLatin1()));
            const int number = OstDictionaryNumber(c, D, K, R, separators, cut);
            auto note = [&](int sign, const QStringList& vals) {
                return QStringLiteral("SELECT ostra_dict_note(%1, %2, %3);").arg(number).arg(sign).arg(vals.join(QStringLiteral(", ")));
            };
            c.Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER INSERT ON %2 BEGIN %3 END")
                       .arg(Q(DictionaryTrigger(m, f, u'i')), loc.qualified(), note(1, newVals)));
            c.Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER DELETE ON %2 BEGIN %3 END")
                       .arg(Q(DictionaryTrigger(m, f, u'd')), loc.qualified(), note(-1, oldVals)));
            c.Exec(QStringLiteral("CREATE TEMP TRIGGER %1 AFTER UPDATE OF %2 ON %3 WHEN %4 BEGIN %5 %6 END")
                       .arg(Q(DictionaryTrigger(m, f, u'u')), cols.join(QStringLiteral(", ")), loc.qualified(), changed.join(QStringLiteral(" OR ")),
                            note(-1, oldVals), note(1, newVals)));
        }
    }
}

// ---------------------------------------------------------------- the store's extension

namespace {

class FulltextExtension final : public OstTableExtension {
public:
    void Register(sqlite3* db) override { OstRegisterFulltext(db); }
    QStringList CompanionTables(const OstTableMeta& meta) override { return OstFulltextDictionaries(meta); }
    void Prepare(OstConnection& c, const OstTableMeta& meta) override { OstFulltextPrepare(c, meta); }
    void BeforeChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before, const OstTableMeta& after,
                      bool rebuild) override {
        OstFulltextBeforeChange(c, loc, before, after, rebuild);
    }
    void AfterChange(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& before, const OstTableMeta& after,
                     bool rebuild) override {
        OstFulltextAfterChange(c, loc, before, after, rebuild);
    }
    void CheckDeletable(OstConnection& c, const QString& table) override { OstFulltextCheckNotDictionary(c, table); }
    void RefreshTriggers(OstConnection& c, const QStringList& reachable) override {
        OstFulltextRefreshTriggers(c, reachable);
    }
    void Settle(OstConnection& c) override { OstDictionarySettle(c); }
    void Discard(OstConnection& c) override { OstDictionaryDiscard(c.Db()); }
    bool Pending(sqlite3* db) override { return OstDictionaryPending(db); }
};

} // namespace

void OstFulltextInstall() {
    static FulltextExtension extension;
    OstInstallTableExtension(&extension);
}
