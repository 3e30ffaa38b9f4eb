// Filters and native expressions are read by a small lexer and a recursive-descent
// parser that emits SQLite SQL while it descends. Both languages share this grammar;
// filters only allow plain values as comparison operands:
//
//   or         := and { OR and }
//   and        := not { AND not }
//   not        := NOT not | comparison                 (filters also: "(" or ")", and
//                 CONTAINS "(" [name ","] 'words' ["," 'any'|'all'] ")" when fulltext is available)
//   comparison := operand [ cmpop operand | [NOT] LIKE operand | IS [NOT] NULL ]
//   operand    := filters: value | "-" number
//                 native:  term { (+|-) term },   term := unary { (*|/) unary }
//   unary      := { "+" } [ "-" unary ] primary
//   primary    := value | function "(" [ or { "," or } ] ")" | "(" or ")"
//   value      := name | $name | [name] | "name" | 'string' | number | NULL | TRUE | FALSE
#include "engine/filter/ostfilter.h"

#include "engine/filter/ostdatetext.h"
#include "engine/types/osttypes.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QTime>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

QString OstQuoteIdent(const QString& name) { return u'"' + QString(name).replace(u'"', u"\"\""_s) + u'"'; }

QString OstQuoteString(const QString& text) { return u'\'' + QString(text).replace(u'\'', u"''"_s) + u'\''; }

// ---- literal conversion

namespace {

bool IsTextLike(int t) { return IsTextType(t) || t == dtEnum || t == dtGuid; }
bool IsNumericType(int t) { return IsIntegerType(t) || t == dtFloat; }
bool IsDigit(QChar c) { return c >= u'0' && c <= u'9'; }

// [+-] digits [. digits] [e [+-] digits]  or  [+-] . digits [...]
bool IsNumberText(QStringView s) {
    qsizetype i = 0;
    auto digits = [&] {
        const qsizetype from = i;
        while (i < s.size() && IsDigit(s[i])) ++i;
        return i - from;
    };
    auto sign = [&] {
        if (i < s.size() && (s[i] == u'+' || s[i] == u'-')) ++i;
    };
    sign();
    qsizetype mantissa = digits();
    if (i < s.size() && s[i] == u'.') {
        ++i;
        const qsizetype frac = digits();
        if (frac == 0) return false;
        mantissa += frac;
    }
    if (mantissa == 0) return false;
    if (i < s.size() && (s[i] == u'e' || s[i] == u'E')) {
        ++i;
        sign();
        if (digits() == 0) return false;
    }
    return i == s.size();
}

// A number the application's locale writes ("1,5" in German), as a quoted
// literal gives it; group separators are refused so that nothing is misread.
bool LocaleNumberToSql(const QString& s, QString& sql) {
    QLocale locale;
    locale.setNumberOptions(QLocale::RejectGroupSeparator);
    bool ok = false;
    const double d = locale.toDouble(s, &ok);
    if (!ok || !qIsFinite(d)) return false;
    sql = QString::number(d, 'g', QLocale::FloatingPointShortest);
    if (!sql.contains(u'.') && !sql.contains(u'e')) sql += u".0"_s;
    return true;
}

bool NumberToSql(const QString& text, QString& sql) {
    const QString s = text.trimmed();
    if (!IsNumberText(s)) return LocaleNumberToSql(s, sql);
    bool ok = false;
    const qlonglong v = s.toLongLong(&ok);
    if (ok) {
        sql = QString::number(v);
        return true;
    }
    const double d = s.toDouble(&ok);
    if (!ok || !qIsFinite(d)) return false;
    sql = QString::number(d, 'g', QLocale::FloatingPointShortest);
    if (!sql.contains(u'.') && !sql.contains(u'e')) sql += u".0"_s;
    return true;
}

QString TypeWord(int dataType) {
    switch (dataType) {
    case dtDate: return u"date"_s;
    case dtTime: return u"time"_s;
    case dtDateTime: return u"date/time"_s;
    case dtBoolean: return u"boolean value"_s;
    default: return IsNumericType(dataType) ? u"number"_s : u"value"_s;
    }
}

} // namespace

bool OstFilterLiteralToSql(const QString& text, int dataType, QString& sql) {
    if (IsTextLike(dataType)) {
        sql = OstQuoteString(text);
        return true;
    }
    if (IsNumericType(dataType)) return NumberToSql(text, sql);
    QDate d;
    QTime t;
    switch (dataType) {
    case dtBoolean: {
        const QString s = text.trimmed();
        if (s.compare("true"_L1, Qt::CaseInsensitive) == 0 || s == "1"_L1) sql = u"1"_s;
        else if (s.compare("false"_L1, Qt::CaseInsensitive) == 0 || s == "0"_L1) sql = u"0"_s;
        else return false;
        return true;
    }
    case dtDate:
        if (!OstParseDateText(text, d)) return false;
        sql = OstQuoteString(d.toString(u"yyyy-MM-dd"_s));
        return true;
    case dtTime:
        if (!OstParseTimeText(text, t)) return false;
        sql = OstQuoteString(t.toString(u"HH:mm:ss.zzz"_s));
        return true;
    case dtDateTime:
        if (!OstParseDateTimeText(text, d, t)) return false;
        sql = OstQuoteString(d.toString(u"yyyy-MM-dd"_s) + u'T' + t.toString(u"HH:mm:ss.zzz"_s));
        return true;
    default: return false; // blobs and unknown types have no literal form
    }
}

// ---- lexer and parser

namespace {

enum class Tok { End, Name, String, Number, LParen, RParen, Comma, Compare, Plus, Minus, Star, Slash };

struct Token {
    Tok kind = Tok::End;
    QString text;      // name, string contents, number, or the normalised comparison operator
    QString src;       // as written, for messages
    int pos = 0;       // 0-based
    bool bare = false; // an unprefixed, unquoted name: may be a keyword or a function
};

enum class VK { Column, String, Number, Null, Bool, Expr };

struct Val {
    VK kind = VK::Expr;
    QString sql;
    QString text;       // literal text, or the column name
    int type = -1;      // column type, or the result type of an expression when known
    int pos = 0;
    int nest = 0;       // parser stack the SQL needs (see MaxNest)
    bool atomic = true; // embeddable without parentheses
};

// SQLite's parser has a stack of about 95 entries. What the generated SQL needs of it
// is tracked as "nest": an open parenthesis takes 1, a pending left operand with its
// operator 2 more, NOT/unary minus 1, a function 3 for its first argument and 5 for
// later ones, CASE 3 in WHEN, 5 in THEN, 4 in ELSE. Input needing more than MaxNest is
// rejected, so what is accepted here also parses there, with room for the caller's SQL.
constexpr int MaxNest = 75;
constexpr int NestParen = 1, NestRight = 2, NestUnary = 1, NestArg1 = 3, NestArgN = 5;
constexpr int MaxRecursion = 200;
constexpr int MaxChainTerms = 500; // SQLite's expression tree depth limit is 1000
constexpr int FlatJoin = 32;       // longer AND/OR lists are joined as a balanced tree

class Parser {
public:
    Parser(const QString& src, const OstColumnResolver& resolve, bool native, const OstContainsResolver* contains = nullptr)
        : m_src(src), m_resolve(resolve), m_native(native), m_contains(contains) {}

    // A date, time or date/time literal as written, and its ISO form.
    struct Rewrite {
        int pos, length;
        QString iso;
    };
    // Collects the rewrites of the next Run.
    void CollectRewrites(std::vector<Rewrite>* out) { m_rewrites = out; }

    QString Run() {
        Tokenize();
        if (m_toks.size() == 1) {
            if (!m_native) return QString();
            Fail(0, u"the expression is empty"_s);
        }
        const Val v = ParseOr("a condition");
        if (Cur().kind == Tok::RParen) Fail(Cur().pos, u"')' without a matching '('"_s);
        if (Cur().kind != Tok::End)
            Fail(Cur().pos, (m_native ? u"expected an operator or the end of the expression, found "_s
                                      : u"expected AND, OR or the end of the filter, found "_s) + Describe(Cur()));
        return Wrap(v);
    }

private:
    const QString& m_src;
    const OstColumnResolver& m_resolve;
    const bool m_native;
    const OstContainsResolver* m_contains;
    std::vector<Rewrite>* m_rewrites = nullptr;
    std::vector<Token> m_toks;
    size_t m_at = 0;
    int m_recursion = 0;

    struct RecursionGuard {
        Parser& p;
        explicit RecursionGuard(Parser& parser) : p(parser) {
            if (++p.m_recursion > MaxRecursion) p.Fail(p.Cur().pos, u"too deeply nested"_s);
        }
        ~RecursionGuard() { --p.m_recursion; }
    };

    [[noreturn]] void Fail(int pos, const QString& message) const {
        throw EOstraError(m_native ? OstErr::InvalidDefinition : OstErr::InvalidFilter,
                          (m_native ? u"Expression"_s : u"Filter"_s) + u" error at position "_s +
                              QString::number(pos + 1) + u": "_s + message);
    }

    QString What() const { return m_native ? u"expression"_s : u"filter"_s; }

    QString Describe(const Token& t) const {
        if (t.kind == Tok::End) return u"the end of the "_s + What();
        const QString s = t.src.size() > 30 ? t.src.left(27) + u"..."_s : t.src;
        if (t.kind == Tok::String) return u"the string "_s + s;
        if (t.kind == Tok::Number) return u"the number "_s + s;
        return u'\'' + s + u'\'';
    }

    // ---- lexer

    static bool IsNameStart(QChar c) { return c.isLetter() || c == u'_'; }
    static bool IsNameChar(QChar c) { return c.isLetterOrNumber() || c == u'_'; }

    void Tokenize() {
        const QString& s = m_src;
        const int n = int(s.size());
        for (int i = 0; i < n;) {
            const QChar c = s[i];
            if (c.isSpace()) {
                ++i;
                continue;
            }
            Token t;
            t.pos = i;
            t.kind = Tok::Name;
            if (c == u'\'') {
                t.kind = Tok::String;
                i = ReadQuoted(i, u'\'', t.text, u"unterminated string"_s);
            } else if (c == u'"' || c == u'[') {
                i = ReadQuotedName(i, t.text);
            } else if (c == u'$') {
                if (i + 1 < n && (s[i + 1] == u'"' || s[i + 1] == u'[')) i = ReadQuotedName(i + 1, t.text);
                else if (i + 1 < n && IsNameStart(s[i + 1])) i = ReadName(i + 1, t.text);
                else Fail(i, u"expected a column name after '$'"_s);
            } else if (IsNameStart(c)) {
                t.bare = true;
                i = ReadName(i, t.text);
            } else if (IsDigit(c) || (c == u'.' && i + 1 < n && IsDigit(s[i + 1]))) {
                t.kind = Tok::Number;
                i = ReadNumber(i);
                t.text = s.mid(t.pos, i - t.pos);
            } else {
                static const struct {
                    const char16_t* text;
                    Tok kind;
                } ops[] = {{u"<>", Tok::Compare}, {u"<=", Tok::Compare}, {u">=", Tok::Compare}, {u"!=", Tok::Compare},
                           {u"=", Tok::Compare},  {u"<", Tok::Compare},  {u">", Tok::Compare},  {u"(", Tok::LParen},
                           {u")", Tok::RParen},   {u",", Tok::Comma},    {u"+", Tok::Plus},     {u"-", Tok::Minus},
                           {u"*", Tok::Star},     {u"/", Tok::Slash}};
                t.kind = Tok::End;
                for (const auto& op : ops) {
                    if (QStringView(s).mid(i).startsWith(QStringView(op.text))) {
                        t.kind = op.kind;
                        i += int(QStringView(op.text).size());
                        break;
                    }
                }
                if (t.kind == Tok::End)
                    Fail(i, u"unexpected character "_s +
                                (c.isPrint() ? u'\'' + QString(c) + u'\'' : u"U+%1"_s.arg(c.unicode(), 4, 16, QLatin1Char('0'))));
            }
            t.src = s.mid(t.pos, i - t.pos);
            if (t.kind == Tok::Compare) t.text = t.src == u"!="_s ? u"<>"_s : t.src;
            m_toks.push_back(std::move(t));
        }
        Token end;
        end.pos = n;
        m_toks.push_back(end);
    }

    // Reads text enclosed in quote, a doubled quote standing for one. Returns the index after it.
    int ReadQuoted(int i, QChar quote, QString& out, const QString& unterminated) const {
        const int start = i++;
        for (;;) {
            if (i >= m_src.size()) Fail(start, unterminated);
            if (m_src[i] == quote) {
                if (i + 1 >= m_src.size() || m_src[i + 1] != quote) return i + 1;
                ++i;
            }
            if (m_src[i].isNull()) Fail(i, u"unexpected character U+0000"_s); // SQLite would end the statement there
            out += m_src[i++];
        }
    }

    int ReadQuotedName(int i, QString& out) const {
        int next;
        if (m_src[i] == u'"') {
            next = ReadQuoted(i, u'"', out, u"unterminated column name"_s);
        } else {
            const qsizetype close = m_src.indexOf(u']', i + 1);
            if (close < 0) Fail(i, u"unterminated column name"_s);
            out = m_src.mid(i + 1, close - i - 1);
            next = int(close) + 1;
        }
        if (out.trimmed().isEmpty()) Fail(i, u"empty column name"_s);
        return next;
    }

    int ReadName(int i, QString& out) const {
        const int start = i;
        while (i < m_src.size() && IsNameChar(m_src[i])) ++i;
        out = m_src.mid(start, i - start);
        return i;
    }

    // Numbers run until a character that cannot continue a name; the run must be a whole number.
    int ReadNumber(int i) const {
        const int start = i;
        while (i < m_src.size() && (IsNameChar(m_src[i]) || m_src[i] == u'.')) ++i;
        if (!IsNumberText(QStringView(m_src).mid(start, i - start)))
            Fail(start, u"invalid number '"_s + m_src.mid(start, i - start) + u'\'');
        return i;
    }

    // ---- helpers

    const Token& Cur() const { return m_toks[m_at]; }
    const Token& Next() const { return m_toks[std::min(m_at + 1, m_toks.size() - 1)]; }
    const Token& Prev() const { return m_toks[m_at ? m_at - 1 : 0]; }
    const Token& Take() { return m_toks[m_at + 1 < m_toks.size() ? m_at++ : m_at]; }

    static bool IsKw(const Token& t, const char* kw) {
        return t.kind == Tok::Name && t.bare && t.text.compare(QLatin1String(kw), Qt::CaseInsensitive) == 0;
    }
    static bool IsReserved(const Token& t) {
        return IsKw(t, "AND") || IsKw(t, "OR") || IsKw(t, "NOT") || IsKw(t, "LIKE") || IsKw(t, "IS");
    }

    // "expected <what> after <previous token>, found <current token>"
    [[noreturn]] void Expected(const char* what) const {
        QString msg = u"expected "_s + QLatin1String(what);
        if (m_at > 0) msg += u" after "_s + Describe(Prev());
        if (Cur().kind != Tok::End) msg += u", found "_s + Describe(Cur());
        Fail(Cur().pos, msg);
    }

    static QString Wrap(const Val& v) { return v.atomic ? v.sql : u'(' + v.sql + u')'; }
    static int WrapNest(const Val& v) { return v.nest + (v.atomic ? 0 : NestParen); }
    static bool IsLiteral(const Val& v) { return v.kind == VK::String || v.kind == VK::Number || v.kind == VK::Bool; }
    static bool IsText(const Val& v) { return v.kind == VK::String || (v.kind != VK::Number && IsTextLike(v.type)); }

    Val Make(const QString& sql, int type, int pos, int nest, bool atomic = true) const {
        if (nest > MaxNest) Fail(pos, u"too deeply nested"_s);
        return Val{VK::Expr, sql, QString(), type, pos, nest, atomic};
    }

    // ---- connectives

    // Joins parts with sep; long lists become a balanced tree so SQLite's parse stays shallow.
    static QString Join(const std::vector<Val>& parts, size_t from, size_t count, const QString& sep, int& nest) {
        if (count <= size_t(FlatJoin)) {
            QStringList sql;
            nest = parts[from].nest;
            for (size_t i = from; i < from + count; ++i) {
                sql << parts[i].sql;
                if (i > from) nest = std::max(nest, parts[i].nest + NestRight);
            }
            nest += NestParen;
            return u'(' + sql.join(sep) + u')';
        }
        int n1, n2;
        const QString a = Join(parts, from, count / 2, sep, n1);
        const QString b = Join(parts, from + count / 2, count - count / 2, sep, n2);
        nest = std::max(n1, n2 + NestRight) + NestParen;
        return u'(' + a + sep + b + u')';
    }

    Val ParseList(const char* what, bool isOr) {
        std::vector<Val> parts{isOr ? ParseList(what, false) : ParseNot(what)};
        while (IsKw(Cur(), isOr ? "OR" : "AND")) {
            Take();
            parts.push_back(isOr ? ParseList("a condition", false) : ParseNot("a condition"));
        }
        if (parts.size() == 1) return parts[0];
        int nest;
        const QString sql = Join(parts, 0, parts.size(), isOr ? u" OR "_s : u" AND "_s, nest);
        return Make(sql, dtBoolean, parts[0].pos, nest);
    }

    Val ParseOr(const char* what) { return ParseList(what, true); }

    Val ParseNot(const char* what) {
        RecursionGuard guard(*this);
        if (IsKw(Cur(), "NOT")) {
            const int pos = Take().pos;
            const Val v = ParseNot("a condition");
            return Make(u"NOT "_s + Wrap(v), dtBoolean, pos, WrapNest(v) + NestUnary, false);
        }
        if (!m_native && Cur().kind == Tok::LParen) return ParseGroup();
        if (!m_native && IsKw(Cur(), "CONTAINS") && Next().kind == Tok::LParen) return ParseContains();
        return ParseComparison(what);
    }

    // CONTAINS([column,] 'words' [, 'any'|'all']), CONTAINS being the current token.
    Val ParseContains() {
        const int pos = Take().pos;
        Take(); // "("
        QString column, mode;
        if (Cur().kind == Tok::Name) {
            column = Take().text;
            if (Cur().kind != Tok::Comma) Expected("','");
            Take();
        }
        if (Cur().kind != Tok::String) Expected("the words to search for as a string");
        const QString words = Take().text;
        if (Cur().kind == Tok::Comma) {
            Take();
            if (Cur().kind != Tok::String) Expected("'any' or 'all'");
            mode = Take().text.trimmed().toLower();
            if (mode != "any"_L1 && mode != "all"_L1) Fail(Prev().pos, u"the mode of CONTAINS is 'any' or 'all'"_s);
        }
        if (Cur().kind != Tok::RParen) Expected("')' to close CONTAINS");
        Take();
        if (!m_contains || !*m_contains) Fail(pos, u"CONTAINS needs a table with a fulltext index"_s);
        QString sql;
        try {
            sql = (*m_contains)(column, words, mode == "any"_L1);
        } catch (const EOstraError& e) {
            Fail(pos, e.Message());
        }
        return Make(sql, dtBoolean, pos, 10, false); // a subquery with a function call inside
    }

    // "(" or ")", the opening parenthesis being the current token.
    Val ParseGroup() {
        const Token open = Take();
        const Val v = ParseOr("a condition");
        if (Cur().kind != Tok::RParen) {
            const QString where = u" to close '(' at position "_s + QString::number(open.pos + 1);
            if (Cur().kind == Tok::End) Fail(Cur().pos, u"missing ')'"_s + where);
            Fail(Cur().pos, u"expected ')'"_s + where + u", found "_s + Describe(Cur()));
        }
        Take();
        return Make(Wrap(v), v.type, open.pos, WrapNest(v));
    }

    // ---- comparisons

    Val ParseComparison(const char* what) {
        const Val left = m_native ? ParseChain("a value", true) : ParseFilterValue(what);
        const Token& t = Cur();
        QString op;
        if (t.kind == Tok::Compare) {
            op = t.text;
        } else if (IsKw(t, "LIKE")) {
            op = u"LIKE"_s;
        } else if (IsKw(t, "NOT") && IsKw(Next(), "LIKE")) {
            Take();
            op = u"NOT LIKE"_s;
        } else if (IsKw(t, "IS")) {
            Take();
            const bool negated = IsKw(Cur(), "NOT");
            if (negated) Take();
            if (!IsKw(Cur(), "NULL")) Expected("NULL");
            Take();
            return Make(LiteralSql(left) + (negated ? u" IS NOT NULL"_s : u" IS NULL"_s), dtBoolean, left.pos,
                        WrapNest(left), false);
        } else {
            if (m_native) return left;
            Fail(t.pos, u"expected a comparison operator after "_s + Describe(Prev()) +
                            (t.kind == Tok::End ? QString() : u", found "_s + Describe(t)));
        }
        Take();
        const Val right = m_native ? ParseChain("a value", true) : ParseFilterValue("a value");
        return Compare(left, op, right);
    }

    void CheckNotBlob(const Val& v) const {
        if (v.kind == VK::Column && v.type == dtBlob)
            Fail(v.pos, u"Column '"_s + v.text + u"' cannot be used in "_s +
                            (m_native ? u"a comparison or arithmetic"_s : u"a filter"_s));
    }

    static QString LiteralSql(const Val& v) {
        if (v.kind == VK::String) return OstQuoteString(v.text);
        if (v.kind == VK::Bool) return v.text.compare("TRUE"_L1, Qt::CaseInsensitive) == 0 ? u"1"_s : u"0"_s;
        return Wrap(v);
    }

    // The SQL for a literal compared with a column of the column's type.
    QString ConvertLiteral(const Val& lit, const Val& col) const {
        if (lit.kind == VK::Bool && IsNumericType(col.type)) return LiteralSql(lit);
        QString sql;
        if (!OstFilterLiteralToSql(lit.text, col.type, sql))
            Fail(lit.pos, u'\'' + lit.text + u"' is not a valid "_s + TypeWord(col.type) + u" for column '"_s + col.text +
                              u'\'');
        if (lit.kind == VK::String && (col.type == dtDate || col.type == dtTime || col.type == dtDateTime)) NoteRewrite(lit, sql);
        return sql;
    }

    // The literal's token in the source is replaced by the SQL literal, which
    // is a string of the filter language too.
    void NoteRewrite(const Val& lit, const QString& sql) const {
        if (!m_rewrites) return;
        for (const Token& t : m_toks)
            if (t.pos == lit.pos && t.kind == Tok::String) m_rewrites->push_back({t.pos, int(t.src.size()), sql});
    }

    Val Compare(const Val& left, const QString& op, const Val& right) const {
        CheckNotBlob(left);
        CheckNotBlob(right);
        const int nest = std::max(WrapNest(left), WrapNest(right) + NestRight);
        auto result = [&](const QString& sql) { return Make(sql, dtBoolean, left.pos, nest, false); };
        // "= NULL" and "<> NULL" mean what the user surely intended
        if ((op == "="_L1 || op == "<>"_L1) && (left.kind == VK::Null || right.kind == VK::Null)) {
            const Val& other = left.kind == VK::Null ? right : left;
            return result(LiteralSql(other) + (op == "="_L1 ? u" IS NULL"_s : u" IS NOT NULL"_s));
        }
        if (op.endsWith("LIKE"_L1)) { // the pattern is taken as written, numbers included
            auto side = [](const Val& v) { return v.kind == VK::Number ? OstQuoteString(v.text) : LiteralSql(v); };
            return result(side(left) + u' ' + op + u' ' + side(right));
        }
        const bool colLeft = left.kind == VK::Column, colRight = right.kind == VK::Column;
        const Val* col = colLeft != colRight ? (colLeft ? &left : &right) : nullptr;
        const Val* lit = col && IsLiteral(col == &left ? right : left) ? (col == &left ? &right : &left) : nullptr;
        // filter idiom: Name = 'Sm*' is a prefix match
        if (!m_native && op == "="_L1 && lit && lit->kind == VK::String && IsTextLike(col->type) &&
            lit->text.endsWith(u'*')) {
            QString prefix = lit->text.chopped(1);
            const bool escape = prefix.contains(u'%') || prefix.contains(u'_') || prefix.contains(u'\\');
            if (escape) prefix.replace(u'\\', u"\\\\"_s).replace(u'%', u"\\%"_s).replace(u'_', u"\\_"_s);
            return result(col->sql + u" LIKE "_s + OstQuoteString(prefix + u'%') + (escape ? u" ESCAPE '\\'"_s : QString()));
        }
        QString l = lit == &left ? ConvertLiteral(left, right) : LiteralSql(left);
        QString r = lit == &right ? ConvertLiteral(right, left) : LiteralSql(right);
        if (lit && col->type == dtTime) {
            // A time is stored to its column's precision ("13:45", "13:45:30" or
            // "13:45:30.250"), a time literal with milliseconds: the column is
            // compared in that full form.
            QString& c = col == &left ? l : r;
            c = u"strftime('%H:%M:%f', "_s + c + u')';
            return Make(l + u' ' + op + u' ' + r, dtBoolean, left.pos, nest + NestArg1, false);
        }
        return result(l + u' ' + op + u' ' + r);
    }

    // ---- values

    // A column, literal, NULL, TRUE or FALSE; anything else is reported as missing <what>.
    Val ParseValue(const char* what) {
        const Token& t = Cur();
        Val v;
        v.pos = t.pos;
        v.text = t.text;
        if (t.kind == Tok::String) {
            v.kind = VK::String;
            v.type = dtString;
        } else if (t.kind == Tok::Number) {
            v.kind = VK::Number;
        } else if (IsKw(t, "NULL")) {
            v.kind = VK::Null;
            v.text = u"NULL"_s;
        } else if (IsKw(t, "TRUE") || IsKw(t, "FALSE")) {
            v.kind = VK::Bool;
            v.type = dtBoolean;
        } else if (t.kind != Tok::Name || IsReserved(t)) {
            Expected(what);
        } else {
            v.kind = VK::Column;
            if (!m_resolve || !m_resolve(t.text, v.type, v.sql))
                Fail(t.pos, u"Unknown column '"_s + t.text + u"' in "_s + What());
        }
        if (v.kind != VK::Column) v.sql = v.kind == VK::Number || v.kind == VK::Null ? v.text : LiteralSql(v);
        Take();
        return v;
    }

    static Val Negate(Val v, int pos) {
        v.text = v.text.startsWith(u'-') ? v.text.mid(1) : u'-' + v.text;
        v.sql = v.text;
        v.pos = pos;
        return v;
    }

    Val ParseFilterValue(const char* what) {
        if (Cur().kind != Tok::Minus) return ParseValue(what);
        const int pos = Take().pos;
        if (Cur().kind != Tok::Number) Expected("a number");
        return Negate(ParseValue(what), pos);
    }

    // ---- native arithmetic

    // A run of same-precedence operators: additive (+ -) over terms, or multiplicative (* /) over unary values.
    // "+" concatenates when either side is text; runs of one kind are emitted flat to keep the SQL shallow.
    Val ParseChain(const char* what, bool additive) {
        Val left = additive ? ParseChain(what, false) : ParseUnary(what);
        QString body;
        int runKind = 0, nest = left.nest, terms = 1;
        for (;;) {
            const Tok k = Cur().kind;
            if (additive ? k != Tok::Plus && k != Tok::Minus : k != Tok::Star && k != Tok::Slash) break;
            const int opPos = Take().pos;
            if (++terms > MaxChainTerms) Fail(opPos, u"too many terms in a row"_s);
            const Val right = additive ? ParseChain("a value", false) : ParseUnary("a value");
            CheckNotBlob(left);
            CheckNotBlob(right);
            const bool concat = k == Tok::Plus && (IsText(left) || IsText(right));
            const int kind = concat ? 2 : 1;
            if (kind != runKind) { // a new run encloses what came before
                if (runKind) nest += NestParen;
                body = LiteralSql(left);
                runKind = kind;
            }
            static const char16_t* const ops[] = {u" + ", u" - ", u" * ", u" / "};
            body += concat ? u" || "_s : QString::fromUtf16(ops[int(k) - int(Tok::Plus)]);
            body += LiteralSql(right);
            nest = std::max(nest, WrapNest(right) + NestRight);
            left = Make(u'(' + body + u')', concat ? int(dtString) : NumericResult(left, right), left.pos,
                        nest + NestParen);
        }
        return left;
    }

    static int NumericResult(const Val& a, const Val& b) {
        auto isInt = [](const Val& v) {
            return v.kind == VK::Number ? !v.text.contains(u'.') && !v.text.contains(u'e', Qt::CaseInsensitive)
                                        : IsIntegerType(v.type);
        };
        return isInt(a) && isInt(b) ? dtLargeInt : dtFloat;
    }

    Val ParseUnary(const char* what) {
        RecursionGuard guard(*this);
        while (Cur().kind == Tok::Plus) Take();
        if (Cur().kind != Tok::Minus) return ParsePrimary(what);
        const int pos = Take().pos;
        const Val v = ParseUnary("a value");
        CheckNotBlob(v);
        if (v.kind == VK::Number) return Negate(v, pos);
        return Make(u"(- "_s + LiteralSql(v) + u')', IsIntegerType(v.type) ? v.type : dtFloat, pos,
                    WrapNest(v) + NestParen + NestUnary);
    }

    Val ParsePrimary(const char* what) {
        if (Cur().kind == Tok::LParen) return ParseGroup();
        if (Cur().kind == Tok::Name && Cur().bare && Next().kind == Tok::LParen && !IsReserved(Cur())) return ParseCall();
        return ParseValue(what);
    }

    // ---- native functions

    struct Function {
        const char* name;
        const char* sql; // the SQL function, or the strftime format for YEAR/MONTH/DAY
        int minArgs, maxArgs;
        int type; // result type; -1: that of the first argument
    };

    Val ParseCall() {
        static const Function functions[] = {
            {"UPPER", "upper", 1, 1, dtString},      {"LOWER", "lower", 1, 1, dtString},
            {"TRIM", "trim", 1, 1, dtString},        {"LENGTH", "length", 1, 1, dtLargeInt},
            {"SUBSTR", "substr", 2, 3, dtString},    {"COPY", "substr", 2, 3, dtString},
            {"ABS", "abs", 1, 1, -1},                {"ROUND", "round", 1, 2, dtFloat},
            {"COALESCE", "coalesce", 2, 255, -1},    {"IIF", "", 3, 3, -1},
            {"YEAR", "%Y", 1, 1, dtInteger},         {"MONTH", "%m", 1, 1, dtInteger},
            {"DAY", "%d", 1, 1, dtInteger},
        };
        RecursionGuard guard(*this);
        const Token name = Take();
        const QString fn = name.text.toUpper();
        const auto f = std::find_if(std::begin(functions), std::end(functions),
                                    [&](const Function& x) { return fn == QLatin1String(x.name); });
        if (f == std::end(functions)) Fail(name.pos, u"unknown function '"_s + name.text + u'\'');
        Take(); // "("
        std::vector<Val> args;
        int nest = 0;
        while (Cur().kind != Tok::RParen || (!args.empty() && Prev().kind == Tok::Comma)) {
            args.push_back(ParseOr("a value"));
            nest = std::max(nest, WrapNest(args.back()) + (args.size() == 1 ? NestArg1 : NestArgN));
            if (Cur().kind == Tok::Comma) {
                Take();
            } else if (Cur().kind != Tok::RParen) {
                if (Cur().kind == Tok::End) Fail(Cur().pos, u"missing ')' to close the argument list of "_s + fn);
                Fail(Cur().pos, u"expected ',' or ')' in the argument list of "_s + fn + u", found "_s + Describe(Cur()));
            }
        }
        Take(); // ")"
        const int n = int(args.size());
        if (n < f->minArgs || n > f->maxArgs) {
            const int lo = f->minArgs, hi = f->maxArgs;
            const QString count = lo == hi ? QString::number(lo) + (lo == 1 ? u" argument"_s : u" arguments"_s)
                                  : hi > 9 ? u"at least %1 arguments"_s.arg(lo)
                                           : u"%1 or %2 arguments"_s.arg(lo).arg(hi);
            Fail(name.pos, fn + u" expects "_s + count + u", not "_s + QString::number(n));
        }
        const int type = f->type >= 0 ? f->type : args[0].type;
        if (fn == "IIF"_L1)
            return Make(u"CASE WHEN "_s + args[0].sql + u" THEN "_s + LiteralSql(args[1]) + u" ELSE "_s +
                            LiteralSql(args[2]) + u" END"_s,
                        args[1].type >= 0 ? args[1].type : args[2].type, name.pos,
                        std::max({args[0].nest + 3, WrapNest(args[1]) + 5, WrapNest(args[2]) + 4}));
        if (f->sql[0] == '%') { // YEAR, MONTH, DAY
            const Val& a = args[0];
            QString arg = LiteralSql(a);
            bool ok = a.kind == VK::Null || (a.kind == VK::Column && (a.type == dtDate || a.type == dtDateTime)) ||
                      (a.kind == VK::Expr && a.type != dtTime && !IsNumericType(a.type));
            if (a.kind == VK::String) {
                ok = OstFilterLiteralToSql(a.text, dtDate, arg) || OstFilterLiteralToSql(a.text, dtDateTime, arg);
                if (ok) NoteRewrite(a, arg);
            }
            if (!ok) Fail(a.pos, fn + u" needs a date or date/time value"_s);
            return Make(u"CAST(strftime('"_s + QLatin1String(f->sql) + u"', "_s + arg + u") AS INTEGER)"_s, type,
                        name.pos, WrapNest(a) + 7);
        }
        QStringList sql;
        for (const Val& a : args) sql << LiteralSql(a);
        return Make(QLatin1String(f->sql) + u'(' + sql.join(u", "_s) + u')', type, name.pos, nest);
    }
};

} // namespace

QString OstFilterToSql(const QString& filter, const OstColumnResolver& resolve) {
    return Parser(filter, resolve, false).Run();
}

QString OstFilterToSql(const QString& filter, const OstColumnResolver& resolve, const OstContainsResolver& contains) {
    return Parser(filter, resolve, false, &contains).Run();
}

QString OstNativeExpressionToSql(const QString& expression, const OstColumnResolver& resolve) {
    return Parser(expression, resolve, true).Run();
}

QString OstExpressionWithIsoDates(const QString& expression, const OstColumnResolver& resolve) {
    std::vector<Parser::Rewrite> rewrites;
    try {
        Parser p(expression, resolve, true);
        p.CollectRewrites(&rewrites);
        p.Run();
    } catch (const EOstraError&) {
        return expression; // reported where the expression is used
    }
    std::sort(rewrites.begin(), rewrites.end(), [](const auto& a, const auto& b) { return a.pos > b.pos; });
    QString out = expression;
    int last = -1;
    for (const auto& r : rewrites) {
        if (r.pos == last) continue;
        out.replace(r.pos, r.length, r.iso);
        last = r.pos;
    }
    return out;
}
