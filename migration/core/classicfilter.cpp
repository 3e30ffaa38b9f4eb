// Filters of the classic datasets as SQL conditions with bound values.
#include "migration/core/classicsql_p.h"

namespace {

class FilterParser {
public:
    FilterParser(TClassicConnection& c, const QString& text, const TFieldDefs& defs, QVariantMap& binds)
        : m_c(c), m_s(text), m_defs(defs), m_binds(binds) {}

    QString Parse() {
        const QString sql = Or();
        Skip();
        if (m_i < m_s.size()) Fail(QStringLiteral("unexpected \"%1\"").arg(m_s.mid(m_i, 12)));
        return sql;
    }

private:
    [[noreturn]] void Fail(const QString& what) const {
        throw EDatabaseError(QStringLiteral("Filter \"%1\", position %2: %3").arg(m_s).arg(m_i + 1).arg(what));
    }
    void Skip() {
        while (m_i < m_s.size() && m_s.at(m_i).isSpace()) ++m_i;
    }
    // The next word (letters, digits, "_") without consuming it.
    QString PeekWord() {
        Skip();
        int j = m_i;
        while (j < m_s.size() && (m_s.at(j).isLetterOrNumber() || m_s.at(j) == u'_')) ++j;
        return m_s.mid(m_i, j - m_i);
    }
    bool Keyword(const char* word) {
        const QString w = PeekWord();
        if (w.compare(QLatin1String(word), Qt::CaseInsensitive) != 0) return false;
        m_i += w.size();
        return true;
    }
    bool Symbol(const QString& sym) {
        Skip();
        if (!m_s.mid(m_i).startsWith(sym)) return false;
        m_i += sym.size();
        return true;
    }

    QString Or() {
        QString left = And();
        while (Keyword("or")) left = QStringLiteral("(%1 OR %2)").arg(left, And());
        return left;
    }
    QString And() {
        QString left = Not();
        while (Keyword("and")) left = QStringLiteral("(%1 AND %2)").arg(left, Not());
        return left;
    }
    QString Not() {
        if (Keyword("not")) return QStringLiteral("(NOT %1)").arg(Not());
        if (Symbol(QStringLiteral("("))) {
            const QString inner = Or();
            if (!Symbol(QStringLiteral(")"))) Fail(QStringLiteral("\")\" expected"));
            return inner;
        }
        return Comparison();
    }

    QString Column() {
        Skip();
        if (m_i >= m_s.size()) Fail(QStringLiteral("a column name expected"));
        QString name;
        const QChar ch = m_s.at(m_i);
        if (ch == u'[' || ch == u'"') {
            const QChar close = ch == u'[' ? u']' : u'"';
            const int end = m_s.indexOf(close, m_i + 1);
            if (end < 0) Fail(QStringLiteral("the column name is not closed"));
            name = m_s.mid(m_i + 1, end - m_i - 1);
            m_i = end + 1;
        } else {
            if (ch == u'$') ++m_i;
            name = PeekWord();
            if (name.isEmpty()) Fail(QStringLiteral("a column name expected"));
            m_i += name.size();
        }
        const int at = m_defs.IndexOf(name);
        if (at < 0) Fail(QStringLiteral("there is no column \"%1\"").arg(name));
        return m_c.QuoteColumn(m_defs[at]->Name);
    }

    QString Bind(const QVariant& v) {
        const QString key = QStringLiteral(":ostra_f%1").arg(m_binds.size() + 1);
        m_binds.insert(key, v);
        return key;
    }

    // A value; isText tells a quoted text.
    QVariant Value(bool& isText) {
        Skip();
        isText = false;
        if (m_i < m_s.size() && m_s.at(m_i) == u'\'') {
            QString text;
            for (++m_i;; ++m_i) {
                if (m_i >= m_s.size()) Fail(QStringLiteral("the text is not closed"));
                if (m_s.at(m_i) == u'\'') {
                    if (m_i + 1 < m_s.size() && m_s.at(m_i + 1) == u'\'') { text += u'\''; ++m_i; continue; }
                    ++m_i;
                    break;
                }
                text += m_s.at(m_i);
            }
            isText = true;
            return text;
        }
        if (Keyword("null")) return QVariant();
        if (Keyword("true")) return true;
        if (Keyword("false")) return false;
        int j = m_i;
        if (j < m_s.size() && (m_s.at(j) == u'-' || m_s.at(j) == u'+')) ++j;
        while (j < m_s.size() && (m_s.at(j).isDigit() || m_s.at(j) == u'.' || m_s.at(j) == u'e' || m_s.at(j) == u'E')) ++j;
        const QString number = m_s.mid(m_i, j - m_i);
        bool ok = false;
        const qlonglong n = number.toLongLong(&ok);
        if (ok) { m_i = j; return n; }
        const double d = number.toDouble(&ok);
        if (ok) { m_i = j; return d; }
        Fail(QStringLiteral("a value expected ('text', a number, NULL, TRUE or FALSE)"));
    }

    QString Comparison() {
        const QString col = Column();
        if (Keyword("is")) {
            const bool negated = Keyword("not");
            if (!Keyword("null")) Fail(QStringLiteral("NULL expected after IS"));
            return QStringLiteral("%1 IS %2NULL").arg(col, negated ? QStringLiteral("NOT ") : QString());
        }
        QString op;
        for (const char* o : {"<=", ">=", "<>", "=", "<", ">"})
            if (Symbol(QLatin1String(o))) { op = QLatin1String(o); break; }
        if (op.isEmpty() && Keyword("like")) op = QStringLiteral("LIKE");
        if (op.isEmpty()) Fail(QStringLiteral("an operator expected (=, <>, <, >, <=, >=, LIKE, IS NULL)"));
        bool isText = false;
        const QVariant v = Value(isText);
        if (v.isNull()) {
            if (op == u"=") return col + QStringLiteral(" IS NULL");
            if (op == u"<>") return col + QStringLiteral(" IS NOT NULL");
            Fail(QStringLiteral("NULL can only be compared with = and <>"));
        }
        // = 'Sm*' matches every text that starts with "Sm".
        if (op == u"=" && isText && v.toString().endsWith(u'*')) {
            QString prefix = v.toString().chopped(1);
            // "!" escapes: a backslash means different things to different servers.
            prefix.replace(u'!', QStringLiteral("!!")).replace(u'%', QStringLiteral("!%")).replace(u'_', QStringLiteral("!_"));
            return QStringLiteral("%1 LIKE %2 ESCAPE '!'").arg(col, Bind(prefix + u'%'));
        }
        return QStringLiteral("%1 %2 %3").arg(col, op, Bind(v));
    }

    TClassicConnection& m_c;
    const QString m_s;
    const TFieldDefs& m_defs;
    QVariantMap& m_binds;
    int m_i = 0;
};

} // namespace

QString ClassicFilterToSql(TClassicConnection& c, const QString& filter, const TFieldDefs& defs, QVariantMap& binds) {
    if (filter.trimmed().isEmpty()) return QString();
    return FilterParser(c, filter, defs, binds).Parse();
}
