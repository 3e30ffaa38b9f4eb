// Searching fulltext indexes: the search text, CONTAINS in filters, the
// engine's search function and the SQL function ostra_search.
#include "engine/fulltext/ostfulltext.h"
#include "engine/fulltext/ostfulltext_p.h"

#include "engine/store/ostconnection.h"
#include "engine/store/ostschema.h"

#include <QJsonDocument>
#include <algorithm>

namespace {

QString Q(const QString& s) { return OstQuoteIdent(s); }

// One search, ready for FTS5: the index's table, the MATCH expression and the
// least relevance a hit needs, in percent of the most relevant hit's.
struct Plan {
    QString fts;
    QString match;
    int minRelevance = 0;
};

// The search text as an FTS5 expression. Words are split at the index's
// separators; "*" right after a word makes it a prefix, "OR" between two
// words lets either occur, everything else must occur (or anything, with any).
QString MatchExpression(const QString& text, const QString& separators, bool any) {
    const OstWordSplitter splitter(separators, 1);
    struct Word {
        QString text;
        bool prefix = false;
    };
    std::vector<Word> words;
    QString cur;
    const QList<uint> cps = text.toUcs4();
    for (int i = 0; i <= cps.size(); ++i) {
        const bool end = i == cps.size();
        const char32_t c = end ? U'*' : cps[i];
        if (c != U'*' && !splitter.IsSeparator(c)) {
            cur += QString::fromUcs4(&c, 1);
            continue;
        }
        if (!cur.isEmpty()) words.push_back({cur, !end && c == U'*'});
        cur.clear();
    }
    auto term = [](const Word& w) {
        return u'"' + QString(w.text).replace(u'"', QStringLiteral("\"\"")) + u'"' + (w.prefix ? QStringLiteral(" *") : QString());
    };
    // Groups of alternatives; the groups must all occur.
    std::vector<QStringList> groups;
    for (size_t i = 0; i < words.size(); ++i) {
        const bool isOr = words[i].text == QStringLiteral("OR") && !words[i].prefix && i > 0 && i + 1 < words.size();
        if (isOr) {
            groups.back() << term(words[++i]);
            continue;
        }
        if (any && !groups.empty()) groups.back() << term(words[i]);
        else groups.push_back({term(words[i])});
    }
    if (groups.empty())
        throw EOstraError(OstErr::InvalidFilter, QStringLiteral("The search text \"%1\" holds no word to search for").arg(text));
    QStringList parts;
    for (const QStringList& g : groups)
        parts << (g.size() == 1 ? g.first() : u'(' + g.join(QStringLiteral(" OR ")) + u')');
    return parts.join(QStringLiteral(" AND "));
}

// Chooses the index (by name; else the one named by defaultIndex or the
// first, that holds column when one is given) and builds the plan.
Plan MakePlan(const OstTableMeta& m, const QString& indexName, const QString& defaultIndex, const QString& column,
              const QString& words, bool any) {
    if (m.fulltext.isEmpty())
        throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" has no fulltext index").arg(m.name));
    const OstFulltextMeta* f = nullptr;
    const QString named = !indexName.trimmed().isEmpty() ? indexName.trimmed() : defaultIndex.trimmed();
    if (!named.isEmpty()) {
        f = OstFts::Find(m, named);
        if (!f)
            throw EOstraError(OstErr::NotFound,
                              QStringLiteral("Fulltext index \"%1\" does not exist in table \"%2\"").arg(named, m.name));
    }
    int at = -1;
    if (!column.isEmpty()) {
        auto position = [&](const OstFulltextMeta& g) {
            const QStringList cols = OstFts::Columns(g);
            for (int i = 0; i < cols.size(); ++i)
                if (cols[i].compare(column, Qt::CaseInsensitive) == 0) return i;
            return -1;
        };
        if (!f || (position(*f) < 0 && indexName.trimmed().isEmpty())) {
            f = nullptr;
            for (const OstFulltextMeta& g : m.fulltext)
                if (!f && position(g) >= 0) f = &g;
        }
        if (!f || position(*f) < 0)
            throw EOstraError(OstErr::NotFound,
                              QStringLiteral("Column \"%1\" is not part of a fulltext index of table \"%2\"").arg(column, m.name));
        at = position(*f);
    }
    if (!f) f = &m.fulltext.first();
    Plan p;
    p.fts = OstFts::TableName(m, *f);
    p.match = MatchExpression(words, OstFts::Separators(*f), any);
    if (at >= 0) p.match = QStringLiteral("{c%1} : (%2)").arg(at).arg(p.match);
    p.minRelevance = std::clamp(f->minRelevance, 0, 100);
    return p;
}

// Runs a plan against the index in schema (quoted); hits ranked.
QVector<OstFulltextHit> Run(sqlite3* db, const QString& schema, const Plan& p) {
    QVector<OstFulltextHit> hits;
    OstStmt st(db, QStringLiteral("SELECT rowid, ostra_relevance(%2) FROM %1.%2 WHERE %2 MATCH ?1").arg(schema, Q(p.fts)));
    st.Bind(1, p.match);
    int best = 0;
    while (st.Step()) {
        const int rel = int(st.Int64(1));
        hits.append({st.Int64(0), rel});
        best = std::max(best, rel);
    }
    // A hit less relevant than the index's minimum share of the best one is no hit.
    if (p.minRelevance > 0)
        hits.removeIf([&](const OstFulltextHit& h) { return qint64(h.relevance) * 100 < qint64(p.minRelevance) * best; });
    std::stable_sort(hits.begin(), hits.end(), [](const OstFulltextHit& a, const OstFulltextHit& b) { return a.relevance > b.relevance; });
    return hits;
}

} // namespace

QVector<OstFulltextHit> OstFulltextSearch(OstConnection& c, const QString& table, const QString& words,
                                          const QString& indexName, bool any) {
    const QString name = OstNormalizeTableName(table, c.SingleFile());
    OstTableMeta m;
    if (!c.TableExists(name) || !c.ReadMeta(name, m))
        throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(name));
    m.name = name;
    const Plan p = MakePlan(m, indexName, QString(), QString(), words, any);
    return Run(c.Db(), c.Locate(name).schema, p);
}

// ---------------------------------------------------------------- CONTAINS

struct OstFulltextFilter::Data {
    OstTableMeta meta;
    OstTableLocation loc;
    QString defaultIndex;
    QStringList ranks;
};

OstFulltextFilter::OstFulltextFilter(const OstTableMeta& meta, const OstTableLocation& loc, const QString& defaultIndex)
    : d(std::make_shared<Data>(Data{meta, loc, defaultIndex, {}})) {}

OstFulltextFilter::~OstFulltextFilter() = default;

OstContainsResolver OstFulltextFilter::Resolver() {
    std::shared_ptr<Data> data = d;
    return [data](const QString& column, const QString& words, bool any) {
        const Plan p = MakePlan(data->meta, QString(), data->defaultIndex, column, words, any);
        const QString fts = data->loc.schema + u'.' + Q(p.fts), match = OstQuoteString(p.match);
        const QString least =
            p.minRelevance > 0
                ? QStringLiteral(" AND ostra_relevance(%1) * 100 >= %2 * (SELECT ostra_relevance(%1) FROM %3 WHERE %1 MATCH %4 "
                                 "ORDER BY ostra_relevance(%1) DESC LIMIT 1)")
                      .arg(Q(p.fts)).arg(p.minRelevance).arg(fts, match)
                : QString();
        data->ranks << QStringLiteral("coalesce((SELECT ostra_relevance(%1) FROM %2 WHERE %1 MATCH %3 AND %1.rowid = %4.rowid), 0)")
                           .arg(Q(p.fts), fts, match, data->loc.table);
        return QStringLiteral("rowid IN (SELECT rowid FROM %1 WHERE %2 MATCH %3%4)").arg(fts, Q(p.fts), match, least);
    };
}

QString OstFulltextFilter::RankSql() const { return d->ranks.join(QStringLiteral(" + ")); }

// ---------------------------------------------------------------- ostra_search

namespace {

// ostra_search(table, words [, index [, mode]]) -> (RecordId, Relevance), ranked.
struct SearchTable {
    sqlite3_vtab base{};
    sqlite3* db = nullptr;
};

struct SearchCursor {
    sqlite3_vtab_cursor base{};
    QVector<OstFulltextHit> hits;
    int at = 0;
};

enum { ColRecordId, ColRelevance, ColTable, ColWords, ColIndex, ColMode };

int SearchConnect(sqlite3* db, void*, int, const char* const*, sqlite3_vtab** out, char**) {
    const int rc = sqlite3_declare_vtab(db, "CREATE TABLE x(RecordId INTEGER, Relevance INTEGER, "
                                            "tbl HIDDEN, words HIDDEN, idx HIDDEN, mode HIDDEN)");
    if (rc != SQLITE_OK) return rc;
    auto* t = new SearchTable;
    t->db = db;
    *out = &t->base;
    return SQLITE_OK;
}

int SearchDisconnect(sqlite3_vtab* v) {
    delete reinterpret_cast<SearchTable*>(v);
    return SQLITE_OK;
}

// The arguments are equality constraints on the hidden columns; the table and
// the words are required.
int SearchBestIndex(sqlite3_vtab*, sqlite3_index_info* info) {
    int slot[4] = {-1, -1, -1, -1};
    for (int i = 0; i < info->nConstraint; ++i) {
        const auto& c = info->aConstraint[i];
        if (c.iColumn < ColTable || c.op != SQLITE_INDEX_CONSTRAINT_EQ) continue;
        if (!c.usable) return SQLITE_CONSTRAINT;
        slot[c.iColumn - ColTable] = i;
    }
    if (slot[0] < 0 || slot[1] < 0) return SQLITE_CONSTRAINT;
    int n = 0, mask = 0;
    for (int k = 0; k < 4; ++k) {
        if (slot[k] < 0) continue;
        info->aConstraintUsage[slot[k]].argvIndex = ++n;
        info->aConstraintUsage[slot[k]].omit = 1;
        mask |= 1 << k;
    }
    info->idxNum = mask;
    info->estimatedCost = 100;
    info->estimatedRows = 100;
    return SQLITE_OK;
}

int SearchOpen(sqlite3_vtab*, sqlite3_vtab_cursor** out) {
    *out = &(new SearchCursor)->base;
    return SQLITE_OK;
}

int SearchClose(sqlite3_vtab_cursor* c) {
    delete reinterpret_cast<SearchCursor*>(c);
    return SQLITE_OK;
}

QString Text(sqlite3_value* v) {
    const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(v));
    return p ? QString::fromUtf8(p, sqlite3_value_bytes(v)) : QString();
}

// Finds a table's definitions on the connection: in the file attached for it
// (directory database) or in the main file.
bool FindMeta(sqlite3* db, const QString& table, QString& schema, OstTableMeta& m) {
    QStringList schemas;
    {
        OstStmt st(db, QStringLiteral("SELECT name FROM pragma_database_list WHERE name <> 'temp'"));
        while (st.Step()) schemas << st.Text(0);
    }
    const QString own = QStringLiteral("t:") + OstNormalizeTableName(table, false).toLower();
    if (schemas.contains(own)) schemas = QStringList{own};
    else if (schemas.contains(QStringLiteral("main"))) schemas = QStringList{QStringLiteral("main")};
    for (const QString& s : schemas) {
        try {
            OstStmt st(db, QStringLiteral("SELECT def FROM %1.%2 WHERE name = ?1 COLLATE NOCASE OR %3")
                               .arg(Q(s), OstMetaTableName(), s == own ? QStringLiteral("1") : QStringLiteral("0")));
            st.Bind(1, OstNormalizeTableName(table, false));
            if (!st.Step()) continue;
            m = OstTableMeta::FromJson(QJsonDocument::fromJson(st.Text(0).toUtf8()).object());
            if (s == own) m.name = OstNormalizeTableName(table, false);
            schema = Q(s);
            return true;
        } catch (const EOstraError&) {
        }
    }
    return false;
}

int SearchFilter(sqlite3_vtab_cursor* cur, int mask, const char*, int argc, sqlite3_value** argv) {
    auto* c = reinterpret_cast<SearchCursor*>(cur);
    auto* vt = reinterpret_cast<SearchTable*>(cur->pVtab);
    c->hits.clear();
    c->at = 0;
    QString args[4];
    for (int k = 0, a = 0; k < 4 && a < argc; ++k)
        if (mask & (1 << k)) args[k] = Text(argv[a++]);
    try {
        const QString mode = args[3].trimmed().toLower();
        if (!mode.isEmpty() && mode != QStringLiteral("any") && mode != QStringLiteral("all"))
            throw EOstraError(OstErr::InvalidFilter, QStringLiteral("the mode is 'any' or 'all', not '%1'").arg(args[3]));
        QString schema;
        OstTableMeta m;
        if (!FindMeta(vt->db, args[0], schema, m))
            throw EOstraError(OstErr::NotFound, QStringLiteral("table \"%1\" does not exist").arg(args[0]));
        c->hits = Run(vt->db, schema, MakePlan(m, args[2], QString(), QString(), args[1], mode == QStringLiteral("any")));
    } catch (const Exception& e) {
        sqlite3_free(cur->pVtab->zErrMsg);
        cur->pVtab->zErrMsg = sqlite3_mprintf("ostra_search: %s", e.Message().toUtf8().constData());
        return SQLITE_ERROR;
    }
    return SQLITE_OK;
}

int SearchNext(sqlite3_vtab_cursor* cur) {
    ++reinterpret_cast<SearchCursor*>(cur)->at;
    return SQLITE_OK;
}

int SearchEof(sqlite3_vtab_cursor* cur) {
    auto* c = reinterpret_cast<SearchCursor*>(cur);
    return c->at >= c->hits.size();
}

int SearchColumn(sqlite3_vtab_cursor* cur, sqlite3_context* ctx, int col) {
    auto* c = reinterpret_cast<SearchCursor*>(cur);
    const OstFulltextHit& h = c->hits.at(c->at);
    if (col == ColRecordId) sqlite3_result_int64(ctx, h.recordId);
    else if (col == ColRelevance) sqlite3_result_int(ctx, h.relevance);
    else sqlite3_result_null(ctx);
    return SQLITE_OK;
}

int SearchRowid(sqlite3_vtab_cursor* cur, sqlite_int64* rowid) {
    *rowid = reinterpret_cast<SearchCursor*>(cur)->at + 1;
    return SQLITE_OK;
}

} // namespace

void OstRegisterFulltextSearch(sqlite3* db) {
    static sqlite3_module module = {
        0, nullptr, SearchConnect, SearchBestIndex, SearchDisconnect, nullptr, SearchOpen, SearchClose, SearchFilter,
        SearchNext, SearchEof, SearchColumn, SearchRowid, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
        nullptr, nullptr, nullptr, nullptr};
    sqlite3_create_module(db, "ostra_search", &module, nullptr);
}
