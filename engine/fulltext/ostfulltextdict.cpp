// Keeping a dictionary's counts while rows change. The temporary triggers of
// an indexed table call ostra_dict_note(number, sign, text...) for every row inserted (+1), deleted (-1) or updated (-1 for the
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
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

// Where a dictionary's counts go: its table, keyword and relevance columns,
// each quoted for SQL (the table resolved as the triggers resolve it), and how
// the index that counts into it splits its words.
struct Target {
    QString table, keyword, relevance;
    std::shared_ptr<OstWordSplitter> splitter;
};

// The change of each word's count: open addressing over a power-of-two
// table, the words' bytes kept in one buffer. A word counts once per call (a
// record holds a word once however often it occurs).
class WordCounts {
public:
    void Add(std::string_view word, int sign, uint32_t call) {
        if (m_used * 2 >= m_slots.size()) Grow();
        const uint32_t h = Hash(word);
        const size_t mask = m_slots.size() - 1;
        for (size_t i = h & mask;; i = (i + 1) & mask) {
            Slot& e = m_slots[i];
            if (e.length == 0) { // free: words are never empty
                e = Slot{h, uint32_t(m_bytes.size()), uint32_t(word.size()), sign, call};
                m_bytes.append(word);
                ++m_used;
                return;
            }
            if (e.hash == h && e.length == word.size() && std::memcmp(m_bytes.data() + e.offset, word.data(), word.size()) == 0) {
                if (e.call != call) {
                    e.change += sign;
                    e.call = call;
                }
                return;
            }
        }
    }
    bool Empty() const { return m_used == 0; }
    template <class F> void ForEach(F&& f) const {
        for (const Slot& e : m_slots)
            if (e.length != 0) f(std::string_view(m_bytes.data() + e.offset, e.length), e.change);
    }

private:
    struct Slot {
        uint32_t hash = 0;
        uint32_t offset = 0, length = 0;
        int32_t change = 0;
        uint32_t call = 0;
    };
    // Eight bytes at a time, then mixed.
    static uint32_t Hash(std::string_view w) {
        uint64_t h = 0x9E3779B97F4A7C15ull ^ w.size();
        size_t i = 0;
        for (; i + 8 <= w.size(); i += 8) {
            uint64_t k;
            std::memcpy(&k, w.data() + i, 8);
            h = (h ^ k) * 0xBF58476D1CE4E5B9ull;
            h ^= h >> 31;
        }
        uint64_t rest = 0;
        std::memcpy(&rest, w.data() + i, w.size() - i);
        h = (h ^ rest) * 0x94D049BB133111EBull;
        h ^= h >> 29;
        return uint32_t(h ^ (h >> 32));
    }
    void Grow() {
        std::vector<Slot> old = std::move(m_slots);
        m_slots.assign(old.empty() ? 1024 : old.size() * 2, Slot());
        const size_t mask = m_slots.size() - 1;
        for (const Slot& e : old) {
            if (e.length == 0) continue;
            size_t i = e.hash & mask;
            while (m_slots[i].length != 0) i = (i + 1) & mask;
            m_slots[i] = e;
        }
    }
    std::vector<Slot> m_slots;
    std::string m_bytes;
    size_t m_used = 0;
};

// The counts of one connection, by dictionary number.
struct Deltas {
    sqlite3* db = nullptr;
    QHash<QString, int> numbers; // "table\nkeyword\nrelevance" -> number
    QVector<Target> targets;     // by number
    std::unordered_map<int, WordCounts> counts;
    uint32_t calls = 0;
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

// ostra_dict_note(number, sign, text, ...): the number the engine gave the
// dictionary and word splitting of an index.
void Note(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    try {
        auto* d = static_cast<Deltas*>(sqlite3_user_data(ctx));
        const int number = sqlite3_value_int(argv[0]);
        const int sign = sqlite3_value_int(argv[1]) < 0 ? -1 : 1;
        if (argc < 2 || number < 0 || number >= d->targets.size()) {
            sqlite3_result_error(ctx, "ostra_dict_note: unknown dictionary", -1);
            return;
        }
        const OstWordSplitter* splitter = d->targets.at(number).splitter.get();
        // A record holds a word once, however often it occurs.
        WordCounts& counts = d->counts[number];
        const uint32_t call = ++d->calls;
        for (int a = 2; a < argc; ++a) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(argv[a]));
            if (!text) continue;
            splitter->Split(text, sqlite3_value_bytes(argv[a]), [&](const char* w, int len, int, int) {
                counts.Add(std::string_view(w, size_t(len)), sign, call);
                return 0;
            });
        }
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

int OstDictionaryNumber(OstConnection& c, const QString& table, const QString& keyword, const QString& relevance,
                        const QString& separators, int maxLen) {
    Deltas* d = StateOf(c.Db());
    if (!d) throw EOstraError(OstErr::General, QStringLiteral("The connection keeps no fulltext dictionaries"));
    const QString key = QStringList({table, keyword, relevance, separators, QString::number(maxLen)}).join(u'\n');
    const auto it = d->numbers.constFind(key);
    if (it != d->numbers.constEnd()) return it.value();
    d->targets.append({table, keyword, relevance, std::make_shared<OstWordSplitter>(separators, maxLen)});
    d->numbers.insert(key, int(d->targets.size() - 1));
    return int(d->targets.size() - 1);
}

bool OstDictionaryPending(sqlite3* db) {
    const Deltas* d = StateOf(db);
    if (!d) return false;
    for (const auto& [number, counts] : d->counts)
        if (!counts.Empty()) return true;
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
        counts.ForEach([&](std::string_view, int change) { any = any || change != 0; });
        if (!any) continue;
        c.Exec(QStringLiteral("CREATE TEMP TABLE IF NOT EXISTS __ostra_dict_delta(term TEXT PRIMARY KEY, d INTEGER) WITHOUT ROWID"));
        c.Exec(QStringLiteral("DELETE FROM temp.__ostra_dict_delta"));
        {
            OstStmt insert(c.Db(), QStringLiteral("INSERT INTO temp.__ostra_dict_delta(term, d) VALUES (?1, ?2)"));
            counts.ForEach([&](std::string_view word, int change) {
                if (change == 0) return;
                sqlite3_bind_text(insert.Handle(), 1, word.data(), int(word.size()), SQLITE_STATIC);
                sqlite3_bind_int(insert.Handle(), 2, change);
                insert.Step();
                insert.Reset();
            });
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
