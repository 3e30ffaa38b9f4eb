// Internals shared by the fulltext sources: the word splitter behind the
// tokenizer, and the names of an index's storage.
#pragma once

#include "engine/types/osttypes.h"
#include "engine/store/ostmeta.h"

#include <QString>
#include <algorithm>
#include <string>
#include <vector>

// Longest keyword kept when an index has no dictionary (the largest keyword
// size a dictionary may have).
constexpr int OstMaxKeywordLen = 32768;

// Splits UTF-8 text into keywords: every separator character ends a word,
// letters are folded to lower case, a word longer than maxLen characters is
// cut to its first maxLen.
class OstWordSplitter {
public:
    OstWordSplitter(const QString& separators, int maxLen) : m_maxLen(std::max(1, maxLen)) {
        std::fill(std::begin(m_ascii), std::end(m_ascii), false);
        for (char32_t c : separators.toUcs4()) {
            if (c < 128) m_ascii[c] = true;
            else m_other.push_back(c);
        }
        std::sort(m_other.begin(), m_other.end());
    }

    bool IsSeparator(char32_t c) const {
        return c < 128 ? m_ascii[c] : std::binary_search(m_other.begin(), m_other.end(), c);
    }
    int MaxLen() const { return m_maxLen; }

    // Calls sink(word, length, startByte, endByte) for every word; a result
    // other than 0 stops the split and is returned.
    template <class Sink> int Split(const char* text, int n, Sink&& sink) const {
        // The word is built in place; its buffer only grows.
        std::string word(64, '\0');
        size_t length = 0;
        int start = -1, chars = 0;
        auto put = [&](char ch) {
            if (length == word.size()) word.resize(word.size() * 2);
            word[length++] = ch;
        };
        auto flush = [&](int end) {
            int rc = 0;
            if (start >= 0) rc = sink(word.data(), int(length), start, end);
            length = 0;
            start = -1;
            chars = 0;
            return rc;
        };
        const auto* s = reinterpret_cast<const unsigned char*>(text);
        int i = 0;
        while (i < n) {
            const int at = i;
            const unsigned char b = s[i];
            if (b < 0x80) { // ASCII: no decoding, folded in place
                ++i;
                if (m_ascii[b]) {
                    if (const int rc = flush(at)) return rc;
                    continue;
                }
                if (start < 0) start = at;
                if (chars++ < m_maxLen) put(char(b >= 'A' && b <= 'Z' ? b + 32 : b));
                continue;
            }
            const char32_t c = Decode(s, n, i);
            if (IsSeparator(c)) {
                if (const int rc = flush(at)) return rc;
                continue;
            }
            if (start < 0) start = at;
            if (chars++ < m_maxLen) Append(put, Lower(c));
        }
        return flush(n);
    }

private:
    // The code point at i (advanced past it); a malformed byte reads as U+FFFD.
    static char32_t Decode(const unsigned char* s, int n, int& i) {
        const unsigned char b = s[i++];
        if (b < 0x80) return b;
        int more = b >= 0xF0 ? 3 : b >= 0xE0 ? 2 : b >= 0xC0 ? 1 : -1;
        if (more < 0 || b > 0xF4 || i + more > n) return 0xFFFD;
        char32_t c = b & (0x3F >> more);
        for (int k = 0; k < more; ++k) {
            if ((s[i] & 0xC0) != 0x80) return 0xFFFD;
            c = (c << 6) | (s[i++] & 0x3F);
        }
        return c;
    }
    static char32_t Lower(char32_t c) {
        if (c < 128) return (c >= 'A' && c <= 'Z') ? c + 32 : c;
        return QChar::toLower(c);
    }
    template <class Put> static void Append(Put& out, char32_t c) {
        if (c < 0x80) {
            out(char(c));
        } else if (c < 0x800) {
            out(char(0xC0 | (c >> 6)));
            out(char(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out(char(0xE0 | (c >> 12)));
            out(char(0x80 | ((c >> 6) & 0x3F)));
            out(char(0x80 | (c & 0x3F)));
        } else {
            out(char(0xF0 | (c >> 18)));
            out(char(0x80 | ((c >> 12) & 0x3F)));
            out(char(0x80 | ((c >> 6) & 0x3F)));
            out(char(0x80 | (c & 0x3F)));
        }
    }

    bool m_ascii[128];
    std::vector<char32_t> m_other;
    int m_maxLen;
};

namespace OstFts {

// The separators an index splits at.
inline QString Separators(const OstFulltextMeta& f) {
    return f.separators.isEmpty() ? OstDefaultFulltextSeparators : f.separators;
}
// The FTS5 table of an index, in the file of its table.
inline QString TableName(const OstTableMeta& m, const OstFulltextMeta& f) {
    return QStringLiteral("__ostra_fts:%1:%2").arg(m.uid, f.name.toLower());
}
// The index of that name (case-insensitive), or nullptr.
inline const OstFulltextMeta* Find(const OstTableMeta& m, const QString& name) {
    for (const OstFulltextMeta& f : m.fulltext)
        if (f.name.compare(name, Qt::CaseInsensitive) == 0) return &f;
    return nullptr;
}
// The columns of an index, as the definition names them.
QStringList Columns(const OstFulltextMeta& f);

} // namespace OstFts

// Registers ostra_search on a connection (ostfulltextsearch.cpp).
void OstRegisterFulltextSearch(sqlite3* db);

// Dictionary counts kept per statement (ostfulltextdict.cpp): the function
// ostra_dict_note of a connection, the number its triggers pass for a
// dictionary (its table, keyword and relevance columns quoted for SQL) and an
// index's word splitting, and writing, dropping and looking for the counts
// that wait.
class OstConnection;
void OstRegisterDictionaryKeeping(sqlite3* db);
int OstDictionaryNumber(OstConnection& c, const QString& table, const QString& keyword, const QString& relevance,
                        const QString& separators, int maxLen);
void OstDictionarySettle(OstConnection& c);
void OstDictionaryDiscard(sqlite3* db);
bool OstDictionaryPending(sqlite3* db);
