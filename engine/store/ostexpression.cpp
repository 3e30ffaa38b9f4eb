// SQL expressions of a table (index expressions, default values, calculated
// columns) are written into the table's DDL. Before that happens each one is
// checked to be exactly one SQL expression over the table's own columns: its
// text must keep to itself (balanced parentheses, no statement separator, no
// comment that could swallow the DDL around it), and it must compile on its
// own against a scratch table with the same columns, reading nothing else.
#include "engine/store/ostschema.h"

#include "engine/store/ostcollation.h"
#include "engine/store/ostvalues.h"

#include <sqlite3.h>

namespace {

[[noreturn]] void Refuse(const QString& expression, const QString& why) {
    QString shown = expression.simplified();
    if (shown.size() > 80) shown = shown.left(77) + QStringLiteral("...");
    throw EOstraError(OstErr::InvalidDefinition,
                      QStringLiteral("\"%1\" is not one SQL expression over the table's columns: %2").arg(shown, why));
}

// The lexical shape: strings and quoted names are skipped whole.
QString ShapeError(const QString& e) {
    int depth = 0;
    for (qsizetype i = 0; i < e.size(); ++i) {
        const QChar ch = e.at(i);
        if (ch == QLatin1Char('\'') || ch == QLatin1Char('"') || ch == QLatin1Char('`') || ch == QLatin1Char('[')) {
            const QChar close = ch == QLatin1Char('[') ? QLatin1Char(']') : ch;
            qsizetype j = i + 1;
            for (;; ++j) {
                if (j >= e.size()) return QStringLiteral("a string or quoted name is not closed");
                if (e.at(j) != close) continue;
                if (close != QLatin1Char(']') && j + 1 < e.size() && e.at(j + 1) == close) { ++j; continue; }
                break;
            }
            i = j;
            continue;
        }
        const QChar next = i + 1 < e.size() ? e.at(i + 1) : QChar();
        if (ch == QLatin1Char('(')) ++depth;
        else if (ch == QLatin1Char(')') && --depth < 0) return QStringLiteral("a \")\" closes more than was opened");
        else if (ch == QLatin1Char(';')) return QStringLiteral("\";\" separates statements");
        else if ((ch == QLatin1Char('-') && next == QLatin1Char('-')) || (ch == QLatin1Char('/') && next == QLatin1Char('*')))
            return QStringLiteral("comments are not allowed");
        else if (ch.unicode() == 0) return QStringLiteral("it contains a NUL character");
    }
    if (depth != 0) return QStringLiteral("a \"(\" is not closed");
    return QString();
}

// A private in-memory database holding one empty table shaped like the one
// being checked; rebuilt when the shape changes.
struct Scratch {
    sqlite3* db = nullptr;
    QString shape;
    ~Scratch() { sqlite3_close(db); }
};

struct AuthState {
    QByteArray table;
    bool constant = false; // a default value reads no column
    int selects = 0;
    QString refused;
};

int Authorize(void* p, int action, const char* a1, const char* a2, const char*, const char*) {
    auto* s = static_cast<AuthState*>(p);
    switch (action) {
    case SQLITE_SELECT:
        if (++s->selects == 1) return SQLITE_OK;
        s->refused = QStringLiteral("subqueries are not allowed");
        return SQLITE_DENY;
    case SQLITE_READ:
        if (s->constant) {
            s->refused = QStringLiteral("a default value cannot refer to columns");
            return SQLITE_DENY;
        }
        if (a1 && sqlite3_stricmp(a1, s->table.constData()) == 0) return SQLITE_OK;
        s->refused = QStringLiteral("it reads table \"%1\"").arg(QString::fromUtf8(a1 ? a1 : ""));
        return SQLITE_DENY;
    case SQLITE_FUNCTION:
        if (a2 && sqlite3_stricmp(a2, "load_extension") == 0) break;
        return SQLITE_OK;
    default: break;
    }
    s->refused = QStringLiteral("it does more than compute a value");
    return SQLITE_DENY;
}

sqlite3* ScratchFor(const OstTableMeta& meta, const QString& table) {
    thread_local Scratch scratch;
    QString shape = OstQuoteIdent(table) + QLatin1Char('(');
    for (int i = 0; i < meta.columns.size(); ++i) {
        if (i) shape += QLatin1Char(',');
        shape += OstQuoteIdent(meta.columns[i].name);
    }
    shape += QLatin1Char(')');
    if (scratch.db && scratch.shape == shape) return scratch.db;
    sqlite3_close(scratch.db);
    scratch.db = nullptr;
    scratch.shape.clear();
    if (sqlite3_open_v2(":memory:", &scratch.db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY, nullptr) != SQLITE_OK)
        throw EOstraError(OstErr::General, QStringLiteral("Out of memory while checking an expression"));
    sqlite3_db_config(scratch.db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(scratch.db, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    OstRegisterCollations(scratch.db);
    OstRegisterConvertFunction(scratch.db);
    const QByteArray ddl = (QStringLiteral("CREATE TABLE ") + shape).toUtf8();
    if (sqlite3_exec(scratch.db, ddl.constData(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        const QString msg = QString::fromUtf8(sqlite3_errmsg(scratch.db));
        sqlite3_close(scratch.db);
        scratch.db = nullptr;
        throw EOstraError(OstErr::InvalidDefinition, QStringLiteral("The columns of table \"%1\" cannot be checked: %2").arg(table, msg));
    }
    scratch.shape = shape;
    return scratch.db;
}

} // namespace

namespace {
// The statement that puts the expression where it goes, compiled (never run)
// against the scratch table, so that SQLite's own rules for that place apply.
QString PlacedSql(const OstTableMeta& meta, const QString& table, const QString& sql, OstExprUse use) {
    QStringList cols;
    for (const OstColumnMeta& c : meta.columns) cols << OstQuoteIdent(c.name);
    const QString probe = QStringLiteral("\"__ostra_probe\"");
    switch (use) {
    case OstExprUse::Index: return QStringLiteral("CREATE INDEX %1 ON %2((\n%3\n))").arg(probe, OstQuoteIdent(table), sql);
    case OstExprUse::Default: return QStringLiteral("CREATE TABLE %1(v DEFAULT (\n%2\n))").arg(probe, sql);
    case OstExprUse::Calculated:
        cols << QStringLiteral("\"__ostra_value\" AS (\n%1\n)").arg(sql);
        return QStringLiteral("CREATE TABLE %1(%2)").arg(probe, cols.join(QLatin1Char(',')));
    case OstExprUse::Check:
        cols << QStringLiteral("CHECK (\n%1\n)").arg(sql);
        return QStringLiteral("CREATE TABLE %1(%2)").arg(probe, cols.join(QLatin1Char(',')));
    }
    return QString();
}
} // namespace

void OstCheckSqlExpression(const OstTableMeta& meta, const QString& sql, OstExprUse use) {
    if (sql.trimmed().isEmpty()) Refuse(sql, QStringLiteral("it is empty"));
    const QString shape = ShapeError(sql);
    if (!shape.isEmpty()) Refuse(sql, shape);
    const QString table = meta.name.isEmpty() ? QStringLiteral("t") : meta.name;
    sqlite3* db = ScratchFor(meta, table);
    // A default value is computed without a row: it is compiled without one.
    const QByteArray text = (use == OstExprUse::Default ? QStringLiteral("SELECT (\n%1\n)").arg(sql)
                                                        : QStringLiteral("SELECT (\n%1\n) FROM %2").arg(sql, OstQuoteIdent(table)))
                                .toUtf8();
    AuthState auth{table.toUtf8(), use == OstExprUse::Default, 0, QString()};
    sqlite3_set_authorizer(db, Authorize, &auth);
    sqlite3_stmt* st = nullptr;
    const char* tail = nullptr;
    const int rc = sqlite3_prepare_v2(db, text.constData(), static_cast<int>(text.size()), &st, &tail);
    sqlite3_set_authorizer(db, nullptr, nullptr);
    const QString error = QString::fromUtf8(sqlite3_errmsg(db));
    const int columns = st ? sqlite3_column_count(st) : 0;
    const int parameters = st ? sqlite3_bind_parameter_count(st) : 0;
    sqlite3_finalize(st);
    if (rc != SQLITE_OK && use == OstExprUse::Default && error.startsWith(QStringLiteral("no such column")))
        Refuse(sql, QStringLiteral("a default value cannot refer to columns"));
    if (rc != SQLITE_OK) Refuse(sql, auth.refused.isEmpty() ? error : auth.refused);
    while (tail && *tail && QChar::isSpace(static_cast<uchar>(*tail))) ++tail;
    if ((tail && *tail) || columns != 1) Refuse(sql, QStringLiteral("it is more than one expression"));
    if (parameters > 0) Refuse(sql, QStringLiteral("parameters are not allowed"));

    const QByteArray placed = PlacedSql(meta, table, sql, use).toUtf8();
    st = nullptr;
    if (sqlite3_prepare_v2(db, placed.constData(), static_cast<int>(placed.size()), &st, nullptr) != SQLITE_OK) {
        const QString why = QString::fromUtf8(sqlite3_errmsg(db));
        sqlite3_finalize(st);
        Refuse(sql, why);
    }
    sqlite3_finalize(st);
}
