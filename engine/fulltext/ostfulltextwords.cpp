// The word splitting of fulltext indexes on a connection: the FTS5 tokenizer
// "ostra", the relevance function and ostra_words (the distinct keywords of texts).
#include "engine/fulltext/ostfulltext.h"
#include "engine/fulltext/ostfulltext_p.h"

#include <sqlite3.h>

#include <cstdlib>
#include <new>

QStringList OstFts::Columns(const OstFulltextMeta& f) {
    QStringList out;
    for (const QString& e : OstSplitFields(f.fields)) {
        QString col;
        int len = 0;
        out << (OstParseFieldEntry(e, col, len) ? col : e);
    }
    return out;
}

QStringList OstFulltextWords(const QString& text, const QString& separators, int maxLen) {
    const OstWordSplitter splitter(separators, maxLen);
    const QByteArray u = text.toUtf8();
    QStringList out;
    splitter.Split(u.constData(), int(u.size()), [&](const char* w, int len, int, int) {
        out << QString::fromUtf8(w, len);
        return 0;
    });
    return out;
}

namespace {

// ---- tokenizer "ostra": arguments are the keyword length and the separators
// as hex-coded UTF-8 (so that no separator needs quoting in the schema).

int TokenizerCreate(void*, const char** args, int nArgs, Fts5Tokenizer** out) {
    int maxLen = OstMaxKeywordLen;
    QString separators = OstDefaultFulltextSeparators;
    if (nArgs >= 1) maxLen = std::atoi(args[0]);
    if (nArgs >= 2) separators = QString::fromUtf8(QByteArray::fromHex(QByteArray(args[1])));
    if (maxLen <= 0 || nArgs > 2) return SQLITE_ERROR;
    try {
        *out = reinterpret_cast<Fts5Tokenizer*>(new OstWordSplitter(separators, maxLen));
    } catch (const std::bad_alloc&) {
        return SQLITE_NOMEM;
    }
    return SQLITE_OK;
}

void TokenizerDelete(Fts5Tokenizer* t) { delete reinterpret_cast<OstWordSplitter*>(t); }

int TokenizerSplit(Fts5Tokenizer* t, void* ctx, int, const char* text, int n,
                   int (*token)(void*, int, const char*, int, int, int)) {
    try {
        return reinterpret_cast<OstWordSplitter*>(t)->Split(
            text, n, [&](const char* w, int len, int start, int end) { return token(ctx, 0, w, len, start, end); });
    } catch (const std::bad_alloc&) {
        return SQLITE_NOMEM;
    }
}

// ostra_relevance(fts): how often the searched words occur in the current row.
void Relevance(const Fts5ExtensionApi* api, Fts5Context* ctx, sqlite3_context* out, int, sqlite3_value**) {
    int n = 0;
    const int rc = api->xInstCount(ctx, &n);
    if (rc != SQLITE_OK) {
        sqlite3_result_error_code(out, rc);
        return;
    }
    sqlite3_result_int(out, std::min(n, 65535));
}

void AppendJsonString(std::string& out, const char* s, int n) {
    out += '"';
    for (int i = 0; i < n; ++i) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20) {
            static const char hex[] = "0123456789abcdef";
            out += "\\u00";
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += char(c);
        }
    }
    out += '"';
}

// ostra_words(maxlen, hexSeparators, text, ...): the distinct keywords of the
// texts as a JSON array, for json_each in the dictionary triggers.
void Words(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    try {
        auto* splitter = static_cast<OstWordSplitter*>(sqlite3_get_auxdata(ctx, 1));
        const int maxLen = sqlite3_value_int(argv[0]);
        if (!splitter || splitter->MaxLen() != std::max(1, maxLen)) {
            const auto* hex = reinterpret_cast<const char*>(sqlite3_value_text(argv[1]));
            splitter = new OstWordSplitter(QString::fromUtf8(QByteArray::fromHex(QByteArray(hex ? hex : ""))), maxLen);
            sqlite3_set_auxdata(ctx, 1, splitter, [](void* p) { delete static_cast<OstWordSplitter*>(p); });
            splitter = static_cast<OstWordSplitter*>(sqlite3_get_auxdata(ctx, 1));
            if (!splitter) {
                sqlite3_result_error_nomem(ctx);
                return;
            }
        }
        std::vector<std::string> words;
        for (int a = 2; a < argc; ++a) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(argv[a]));
            if (!text) continue;
            splitter->Split(text, sqlite3_value_bytes(argv[a]), [&](const char* w, int len, int, int) {
                words.emplace_back(w, size_t(len));
                return 0;
            });
        }
        std::sort(words.begin(), words.end());
        words.erase(std::unique(words.begin(), words.end()), words.end());
        std::string json = "[";
        for (size_t i = 0; i < words.size(); ++i) {
            if (i) json += ',';
            AppendJsonString(json, words[i].data(), int(words[i].size()));
        }
        json += ']';
        sqlite3_result_text(ctx, json.data(), int(json.size()), SQLITE_TRANSIENT);
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(ctx);
    }
}

fts5_api* Fts5Api(sqlite3* db) {
    fts5_api* api = nullptr;
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db, "SELECT fts5(?1)", -1, &st, nullptr) == SQLITE_OK) {
        sqlite3_bind_pointer(st, 1, &api, "fts5_api_ptr", nullptr);
        sqlite3_step(st);
    }
    sqlite3_finalize(st);
    return api;
}

} // namespace

void OstRegisterFulltext(sqlite3* db) {
    fts5_api* api = Fts5Api(db);
    if (!api) throw EOstraError(OstErr::General, QStringLiteral("This SQLite library has no FTS5: fulltext indexes are not available"));
    static fts5_tokenizer tokenizer{TokenizerCreate, TokenizerDelete, TokenizerSplit};
    api->xCreateTokenizer(api, "ostra", nullptr, &tokenizer, nullptr);
    api->xCreateFunction(api, "ostra_relevance", nullptr, Relevance, nullptr);
    sqlite3_create_function_v2(db, "ostra_words", -1, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, nullptr,
                               Words, nullptr, nullptr, nullptr);
    OstRegisterFulltextSearch(db);
    OstRegisterDictionaryKeeping(db);
}
