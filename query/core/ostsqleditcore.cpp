#include "query/core/ostsqleditcore.h"

#include "engine/ostengine.h"

#include <QSet>
#include <algorithm>

bool DefaultReqQuoteChar(const QString& name) {
    if (name.isEmpty()) return true;
    for (QChar c : name) {
        const char16_t u = c.unicode();
        if (!((u >= u'0' && u <= u'9') || (u >= u'A' && u <= u'Z') || u == u'_')) return true;
    }
    return false;
}

QString QuoteSqlName(const QString& name, const QString& quote, const TReqQuoteCharEvent& needsQuote) {
    if (quote.isEmpty() || quote == QLatin1String(" ") || name == QLatin1String("*")) return name;
    const bool quoted = needsQuote ? needsQuote(name) : DefaultReqQuoteChar(name);
    return quoted ? quote + name + quote : name;
}

TSqlInsertion InsertSqlName(const QString& text, int caret, const QString& name, TSqlInsertMode mode) {
    caret = qBound(0, caret, static_cast<int>(text.size()));
    QString piece = name;
    if (caret > 0) {
        const QChar before = text.at(caret - 1);
        if (mode == TSqlInsertMode::Blank) {
            // A blank is a space, a tab or a line break.
            if (!before.isSpace() && before != u'(' && !name.startsWith(u' ')) piece.prepend(u' ');
        } else if (before != u',') {
            piece.prepend(QStringLiteral(", "));
        }
    }
    TSqlInsertion r;
    r.Text = text;
    r.Text.insert(caret, piece);
    r.Caret = caret + static_cast<int>(piece.size());
    return r;
}

bool AcceptTableSplitterSize(int newSize, int listPanelHeight) { return newSize > 44 && newSize < listPanelHeight - 65; }

bool AcceptMemoSplitterSize(int newSize, int clientWidth) { return newSize > 100 && newSize < clientWidth - 100; }

int SqlTabWidthInChars(int dialogAverageCharWidth, int memoCharWidth) {
    if (memoCharWidth <= 0) return 1;
    const double pixels = 10.0 * dialogAverageCharWidth / 4.0;
    return qMax(1, qRound(pixels / memoCharWidth));
}

// ---------------------------------------------------------------- TSqlEditCore

TSqlEditCore::TSqlEditCore(TGetTableNamesEvent tableNames, TGetFieldNamesEvent fieldNames, const QString& startTableName,
                           const QString& quoteChar, TReqQuoteCharEvent needsQuote)
    : m_tableNames(std::move(tableNames)), m_fieldNames(std::move(fieldNames)), m_startTable(startTableName),
      m_quote(quoteChar), m_needsQuote(std::move(needsQuote)) {}

void TSqlEditCore::FillTables() {
    m_tables.clear();
    m_fields.clear();
    m_selected = -1;
    if (m_tableNames) m_tableNames(m_tables, false);
    std::stable_sort(m_tables.begin(), m_tables.end(),
                     [](const QString& a, const QString& b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
    if (!m_startTable.isEmpty()) {
        const int at = static_cast<int>(m_tables.indexOf(m_startTable));
        if (at >= 0) SelectTable(at);
    }
    if (m_selected < 0 && !m_tables.isEmpty()) SelectTable(0);
}

void TSqlEditCore::SelectTable(int index) {
    m_selected = index >= 0 && index < m_tables.size() ? index : -1;
    m_fields.clear();
    if (m_selected < 0 || !m_fieldNames) return;
    const QString table = m_tables.at(m_selected);
    m_fieldNames(table, m_fields);
    m_columns.insert(table.toLower(), m_fields);
    if (!m_fields.isEmpty()) m_fields.prepend(QStringLiteral("*"));
}

TSqlInsertion TSqlEditCore::InsertTable(const QString& text, int caret) const {
    if (m_selected < 0) return {text, caret};
    TSqlInsertion r = InsertSqlName(text, caret, QuoteSqlName(m_tables.at(m_selected), m_quote, m_needsQuote),
                                    TSqlInsertMode::Blank);
    if (text.isEmpty()) r.Caret = 0;
    return r;
}

TSqlInsertion TSqlEditCore::InsertFields(const QString& text, int caret, const QStringList& fields) const {
    TSqlInsertion r{text, text.isEmpty() ? static_cast<int>(text.size()) : caret};
    for (const QString& f : fields) r = InsertSqlName(r.Text, r.Caret, QuoteSqlName(f, m_quote, m_needsQuote), TSqlInsertMode::Blank);
    return r;
}

// ---------------------------------------------------------------- completion

namespace {

struct Token {
    QString text;  // a name without its quotes, or a punctuation character
    bool name = false;
    bool quoted = false;
};

// The names and punctuation of SQL text; strings, numbers and comments are left out.
QList<Token> Tokenize(const QString& s) {
    QList<Token> out;
    const int n = static_cast<int>(s.size());
    for (int i = 0; i < n;) {
        const QChar c = s.at(i);
        if (c.isSpace()) { ++i; continue; }
        if (c == u'-' && i + 1 < n && s.at(i + 1) == u'-') {
            while (i < n && s.at(i) != u'\n') ++i;
            continue;
        }
        if (c == u'/' && i + 1 < n && s.at(i + 1) == u'*') {
            const int end = static_cast<int>(s.indexOf(QStringLiteral("*/"), i + 2));
            i = end < 0 ? n : end + 2;
            continue;
        }
        if (c == u'\'') {
            for (++i; i < n; ++i)
                if (s.at(i) == u'\'') {
                    if (i + 1 < n && s.at(i + 1) == u'\'') ++i;
                    else { ++i; break; }
                }
            continue;
        }
        if (c == u'"' || c == u'`' || c == u'[') {
            const QChar close = c == u'[' ? u']' : c;
            QString name;
            for (++i; i < n; ++i) {
                if (s.at(i) == close) {
                    if (close != u']' && i + 1 < n && s.at(i + 1) == close) { name += close; ++i; continue; }
                    ++i;
                    break;
                }
                name += s.at(i);
            }
            out.append({name, true, true});
            continue;
        }
        if (c.isLetter() || c == u'_') {
            const int start = i;
            while (i < n && (s.at(i).isLetterOrNumber() || s.at(i) == u'_' || s.at(i) == u'$')) ++i;
            out.append({s.mid(start, i - start), true, false});
            continue;
        }
        if (c.isDigit()) {
            while (i < n && (s.at(i).isLetterOrNumber() || s.at(i) == u'.')) ++i;
            continue;
        }
        out.append({QString(c), false, false});
        ++i;
    }
    return out;
}

bool IsKeyword(const Token& t) {
    static const QSet<QString> keywords = [] {
        QSet<QString> set;
        for (const QString& k : OstSqlKeywords()) set.insert(k);
        return set;
    }();
    return t.name && !t.quoted && keywords.contains(t.text.toUpper());
}

bool StartsWith(const QString& word, const QString& prefix) { return word.startsWith(prefix, Qt::CaseInsensitive); }

QString Unquoted(QString name) {
    if (name.size() >= 2 && ((name.front() == u'"' && name.back() == u'"') || (name.front() == u'`' && name.back() == u'`') ||
                             (name.front() == u'[' && name.back() == u']')))
        name = name.mid(1, name.size() - 2);
    return name;
}

} // namespace

QStringList TSqlEditCore::Keywords() {
    QStringList words = OstSqlKeywords();
    for (QString& w : words) w = w.toLower();
    return words;
}

QStringList TSqlEditCore::Functions() { return OstSqlFunctionNames(); }

QStringList TSqlEditCore::Collations(const QString& prefix) {
    QStringList out;
    if (StartsWith(QStringLiteral("Ostra"), prefix)) out.append(QStringLiteral("Ostra"));
    if (prefix.size() < 2) return out; // a locale's names once its first letters are typed
    QStringList locales;
    GetLocaleNames(locales);
    for (const QString& l : locales) {
        if (!StartsWith(l, prefix) && !StartsWith(prefix, l)) continue;
        for (const char* suffix : {"_cs_as", "_cs_ai", "_ci_as", "_ci_ai"}) {
            const QString name = l + QLatin1String(suffix);
            if (StartsWith(name, prefix)) out.append(name);
        }
    }
    return out;
}

QStringList TSqlEditCore::ColumnsOf(const QString& tableName) {
    QString table = tableName;
    for (const QString& t : m_tables)
        if (t.compare(tableName, Qt::CaseInsensitive) == 0) table = t;
    const QString key = table.toLower();
    auto it = m_columns.constFind(key);
    if (it != m_columns.constEnd()) return it.value();
    QStringList columns;
    if (m_fieldNames && !table.isEmpty()) m_fieldNames(table, columns);
    m_columns.insert(key, columns);
    return columns;
}

QString TSqlEditCore::ResolveTable(const QString& name, const QString& text) const {
    const QString wanted = Unquoted(name);
    if (wanted.isEmpty()) return {};
    for (const QString& t : m_tables)
        if (t.compare(wanted, Qt::CaseInsensitive) == 0) return t;
    // Aliases: FROM t [AS] a [, t2 [AS] a2 ...] and JOIN t [AS] a.
    const QList<Token> tokens = Tokenize(text);
    for (int i = 0; i < tokens.size(); ++i) {
        const QString word = tokens[i].name && !tokens[i].quoted ? tokens[i].text.toUpper() : QString();
        if (word != QLatin1String("FROM") && word != QLatin1String("JOIN") && word != QLatin1String("UPDATE") &&
            word != QLatin1String("INTO"))
            continue;
        int j = i + 1;
        while (j < tokens.size() && tokens[j].name && !IsKeyword(tokens[j])) {
            const QString table = tokens[j].text;
            int k = j + 1;
            if (k < tokens.size() && tokens[k].name && !tokens[k].quoted && tokens[k].text.compare(QLatin1String("AS"), Qt::CaseInsensitive) == 0)
                ++k;
            if (k < tokens.size() && tokens[k].name && !IsKeyword(tokens[k])) {
                if (tokens[k].text.compare(wanted, Qt::CaseInsensitive) == 0) {
                    for (const QString& t : m_tables)
                        if (t.compare(table, Qt::CaseInsensitive) == 0) return t;
                    return table;
                }
                ++k;
            }
            if (k < tokens.size() && !tokens[k].name && tokens[k].text == QLatin1String(",")) j = k + 1;
            else break;
        }
    }
    return {};
}

QStringList TSqlEditCore::TablesNamedIn(const QString& text) const {
    QSet<QString> names;
    for (const Token& t : Tokenize(text))
        if (t.name) names.insert(t.text.toLower());
    QStringList out;
    for (const QString& t : m_tables)
        if (names.contains(t.toLower())) out.append(t);
    return out;
}

QStringList TSqlEditCore::Completions(const QStringList& context, const QString& text, int caret, int limit) {
    QStringList out;
    const QString prefix = context.isEmpty() ? QString() : Unquoted(context.last());
    if (context.size() >= 2) {
        const QString table = ResolveTable(context.at(context.size() - 2), text);
        if (!table.isEmpty())
            for (const QString& c : ColumnsOf(table))
                if (StartsWith(c, prefix)) out.append(c);
    } else {
        // The word before the one being typed decides whether a collation is wanted.
        const QList<Token> tokens = Tokenize(text.left(qBound(0, caret, static_cast<int>(text.size()))));
        int last = static_cast<int>(tokens.size()) - 1;
        if (last >= 0 && !prefix.isEmpty() && tokens[last].text.compare(prefix, Qt::CaseInsensitive) == 0) --last;
        if (last >= 0 && tokens[last].name && tokens[last].text.compare(QLatin1String("COLLATE"), Qt::CaseInsensitive) == 0) {
            out = Collations(prefix);
        } else {
            QSet<QString> seen;
            auto add = [&](const QString& w) {
                if (StartsWith(w, prefix) && !seen.contains(w.toLower())) {
                    seen.insert(w.toLower());
                    out.append(w);
                }
            };
            for (const QString& t : m_tables) add(t);
            for (const QString& t : TablesNamedIn(text))
                for (const QString& c : ColumnsOf(t)) add(c);
            for (const QString& k : OstSqlKeywords()) add(k);
            for (const QString& f : OstSqlFunctionNames()) add(f);
        }
    }
    std::stable_sort(out.begin(), out.end(), [](const QString& a, const QString& b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
    if (out.size() > limit) out = out.mid(0, limit);
    return out;
}

bool OstSqlNeedsQuote(const QString& name) {
    if (name.isEmpty()) return true;
    for (int i = 0; i < name.size(); ++i) {
        const char16_t u = name.at(i).unicode();
        const bool letter = (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || u == u'_';
        const bool digit = (u >= u'0' && u <= u'9') || u == u'$';
        if (!letter && !(digit && i > 0)) return true;
    }
    static const QSet<QString> keywords = [] {
        QSet<QString> set;
        for (const QString& k : OstSqlKeywords()) set.insert(k);
        return set;
    }();
    return keywords.contains(name.toUpper());
}

QString SqlFromTable(const QString& sql) {
    const QList<Token> tokens = Tokenize(sql);
    for (int i = 0; i + 1 < tokens.size(); ++i)
        if (tokens[i].name && !tokens[i].quoted && tokens[i].text.compare(QLatin1String("FROM"), Qt::CaseInsensitive) == 0 &&
            tokens[i + 1].name && !IsKeyword(tokens[i + 1]))
            return tokens[i + 1].text;
    return {};
}
