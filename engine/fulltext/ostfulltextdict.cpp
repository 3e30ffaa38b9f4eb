// Keeping a dictionary's counts while rows change. The temporary triggers of
// an indexed table call ostra_dict_note(dictionary, sign, maxlen, separators,
// text...) for every row inserted (+1), deleted (-1) or updated (-1 for the
// old words, +1 for the new): it splits the texts into their distinct words
// and adds the sign to each word's count in memory. Once the statement is
// through (after each statement of the user's SQL, before a savepoint starts
// and before a commit) the counts are written to each dictionary in a few
// set-based statements: so a statement inserting thousands of rows touches
// each dictionary keyword once, not once per row and word. A statement or
// transaction undone takes its counts with it; a commit that would leave
// counts unwritten is refused (turned into a rollback).
#include "engine/fulltext/ostfulltext.h"
#include "engine/fulltext/ostfulltext_p.h"

#include "engine/store/ostconnection.h"

#include <sqlite3.h>

#include <QHash>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

// Where a dictionary's counts go: its table, keyword and relevance columns,
// each quoted for SQL (the table resolved as the triggers resolve it).
struct Target {
    QString table, keyword, relevance;
};

// The counts of one connection, by dictionary number.
struct Deltas {
    sqlite3* db = nullptr;
    QHash<QString, int> numbers; // "table\nkeyword\nrelevance" -> number
    QVector<Target> targets;     // by number
    std::unordered_map<int, std::unordered_map<std::string, int>> counts;
};

std::mutex& Mutex() {
    static std::mutex m;
    return m;
}

std::unordered_map<sqlite3*, Deltas*>& States() {
    static std::unordered_map<sqlite3*, Deltas*> states;
    return states;
}

Deltas* StateOf(sqlite3* db) {
    std::lock_guard<std::mutex> lock(Mutex());
    const auto it = States().find(db);
    return it == States().end() ? nullptr : it->second;
}

void Forget(void* p) {
    auto* d = static_cast<Deltas*>(p);
    {
        std::lock_guard<std::mutex> lock(Mutex());
        const auto it = States().find(d->db);
        if (it != States().end() && it->second == d) States().erase(it);
    }
    delete d;
}

// ostra_dict_note(dictionary, sign, maxlen, hexSeparators, text, ...)
void Note(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    try {
        auto* d = static_cast<Deltas*>(sqlite3_user_data(ctx));
        const int number = sqlite3_value_int(argv[0]);
        const int sign = sqlite3_value_int(argv[1]) < 0 ? -1 : 1;
        const int maxLen = sqlite3_value_int(argv[2]);
        if (number < 0 || number >= d->targets.size()) {
            sqlite3_result_error(ctx, "ostra_dict_note: unknown dictionary", -1);
            return;
        }
        auto* splitter = static_cast<OstWordSplitter*>(sqlite3_get_auxdata(ctx, 3));
        if (!splitter || splitter->MaxLen() != std::max(1, maxLen)) {
            const auto* hex = reinterpret_cast<const char*>(sqlite3_value_text(argv[3]));
            sqlite3_set_auxdata(ctx, 3, new OstWordSplitter(QString::fromUtf8(QByteArray::fromHex(QByteArray(hex ? hex : ""))), maxLen),
                                [](void* p) { delete static_cast<OstWordSplitter*>(p); });
            splitter = static_cast<OstWordSplitter*>(sqlite3_get_auxdata(ctx, 3));
            if (!splitter) {
                sqlite3_result_error_nomem(ctx);
                return;
            }
        }
        // A record holds a word once, however often it occurs.
        std::vector<std::string> words;
        for (int a = 4; a < argc; ++a) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(argv[a]));
            if (!text) continue;
            splitter->Split(text, sqlite3_value_bytes(argv[a]), [&](const char* w, int len, int, int) {
                words.emplace_back(w, size_t(len));
                return 0;
            });
        }
        std::sort(words.begin(), words.end());
        words.erase(std::unique(words.begin(), words.end()), words.end());
        auto& counts = d->counts[number];
        for (std::string& w : words) counts[std::move(w)] += sign;
        sqlite3_result_null(ctx);
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(ctx);
    }
}

} // namespace

void OstRegisterDictionaryKeeping(sqlite3* db) {
    auto* d = new Deltas;
    d->db = db;
    {
        std::lock_guard<std::mutex> lock(Mutex());
        States()[db] = d;
    }
    // The destructor runs when the connection closes (or the function is replaced).
    sqlite3_create_function_v2(db, "ostra_dict_note", -1, SQLITE_UTF8, d, Note, nullptr, nullptr, Forget);
}

int OstDictionaryNumber(OstConnection& c, const QString& table, const QString& keyword, const QString& relevance) {
    Deltas* d = StateOf(c.Db());
    if (!d) throw EOstraError(OstErr::General, QStringLiteral("The connection keeps no fulltext dictionaries"));
    const QString key = table + u'\n' + keyword + u'\n' + relevance;
    const auto it = d->numbers.constFind(key);
    if (it != d->numbers.constEnd()) return it.value();
    d->targets.append({table, keyword, relevance});
    d->numbers.insert(key, int(d->targets.size() - 1));
    return int(d->targets.size() - 1);
}

bool OstDictionaryPending(sqlite3* db) {
    const Deltas* d = StateOf(db);
    if (!d) return false;
    for (const auto& [number, counts] : d->counts)
        if (!counts.empty()) return true;
    return false;
}

void OstDictionaryDiscard(sqlite3* db) {
    if (Deltas* d = StateOf(db)) d->counts.clear();
}

void OstDictionarySettle(OstConnection& c) {
    Deltas* d = StateOf(c.Db());
    if (!d || d->counts.empty()) return;
    auto work = std::move(d->counts);
    d->counts.clear();
    for (auto& [number, counts] : work) {
        const Target& t = d->targets.at(number);
        bool any = false;
        for (const auto& [word, n] : counts) any = any || n != 0;
        if (!any) continue;
        c.Exec(QStringLiteral("CREATE TEMP TABLE IF NOT EXISTS __ostra_dict_delta(term TEXT PRIMARY KEY, d INTEGER) WITHOUT ROWID"));
        c.Exec(QStringLiteral("DELETE FROM temp.__ostra_dict_delta"));
        {
            OstStmt insert(c.Db(), QStringLiteral("INSERT INTO temp.__ostra_dict_delta(term, d) VALUES (?1, ?2)"));
            for (const auto& [word, n] : counts) {
                if (n == 0) continue;
                sqlite3_bind_text(insert.Handle(), 1, word.data(), int(word.size()), SQLITE_STATIC);
                sqlite3_bind_int(insert.Handle(), 2, n);
                insert.Step();
                insert.Reset();
            }
        }
        // A count capped at 65535 stays there; a keyword no record holds goes.
        const QString& D = t.table;
        const QString& K = t.keyword;
        const QString& R = t.relevance;
        c.Exec(QStringLiteral("UPDATE %1 SET %3 = max(0, min(65535, %3 + x.d)) FROM temp.__ostra_dict_delta AS x "
                              "WHERE %1.%2 = x.term COLLATE BINARY AND (x.d > 0 OR %1.%3 < 65535)")
                   .arg(D, K, R));
        c.Exec(QStringLiteral("INSERT INTO %1(%2, %3) SELECT x.term, min(x.d, 65535) FROM temp.__ostra_dict_delta AS x "
                              "WHERE x.d > 0 AND NOT EXISTS (SELECT 1 FROM %1 AS k WHERE k.%2 = x.term COLLATE BINARY)")
                   .arg(D, K, R));
        c.Exec(QStringLiteral("DELETE FROM %1 WHERE %3 <= 0 AND %2 COLLATE BINARY IN (SELECT term FROM temp.__ostra_dict_delta WHERE d < 0)")
                   .arg(D, K, R));
        c.Exec(QStringLiteral("DELETE FROM temp.__ostra_dict_delta"));
    }
}
