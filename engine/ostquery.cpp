// TOstQuery: runs user SQL through the database's connection, under the guard
// that keeps the engine's own tables and settings out of its reach.
#include "engine/ostquery.h"

#include "engine/store/ostconnection.h"
#include "engine/filter/ostfilter.h"
#include "engine/store/ostsqlguard.h"

#include <QRegularExpression>
#include <climits>
#include <type_traits>

namespace {
constexpr int kPageRows = 256;
constexpr int kKeptPages = 256;  // 65,536 rows at the most
constexpr int kBatchPages = 128; // pages read at once, going through a result in order
} // namespace

TOstQuery::TOstQuery(TComponent* owner) : TOstDataSet(owner) {}

TOstQuery::~TOstQuery() {
    try { Close(); } catch (...) {}
}

void TOstQuery::SetSQL(const QString& sql) {
    if (sql == m_sql) return;
    if (Active()) Close();
    m_sql = sql;
}

QStringList TOstQuery::GetSQLLines() const {
    if (m_sql.isEmpty()) return {};
    QString text = m_sql;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return text.split(u'\n');
}

QStringList TOstQuery::ColumnNames() const { return m_columns; }

QStringList TOstQuery::GetParamLines() const {
    QStringList lines;
    for (auto it = m_params.begin(); it != m_params.end(); ++it)
        lines << (it.value().isNull() ? it.key() : it.key() + u'=' + it.value().toString());
    return lines;
}

void TOstQuery::SetParamLines(const QStringList& lines) {
    m_params.clear();
    for (const QString& l : lines) {
        const qsizetype eq = l.indexOf(u'=');
        const QString name = (eq < 0 ? l : l.left(eq)).trimmed();
        if (!name.isEmpty()) m_params.insert(name, eq < 0 ? QVariant() : QVariant(l.mid(eq + 1)));
    }
}

namespace {

// Where a statement stands in the text it was compiled from, in bytes of
// its UTF-8 form.
struct StatementSpan {
    int start = 0; // first byte that is not blank
    int end = 0;   // byte after the statement (after its ";")
};

int CharOffset(const QByteArray& utf8, int bytes) {
    return QString::fromUtf8(utf8.constData(), qBound(0, bytes, static_cast<int>(utf8.size()))).size();
}

// The first byte from at that is neither blank nor part of a comment.
int SkipBlanks(const char* text, int at) {
    for (;;) {
        while (text[at] == ' ' || text[at] == '\t' || text[at] == '\n' || text[at] == '\r' || text[at] == '\f') ++at;
        if (text[at] == '-' && text[at + 1] == '-') {
            while (text[at] && text[at] != '\n') ++at;
        } else if (text[at] == '/' && text[at + 1] == '*') {
            at += 2;
            while (text[at] && !(text[at] == '*' && text[at + 1] == '/')) ++at;
            if (text[at]) at += 2;
        } else {
            return at;
        }
    }
}

// Prepares each statement of a text in turn. With positions, a statement
// that does not compile raises EOstraSqlError with the character offset in
// sql where the compiler stopped (else the statement's start).
template <class F>
void ForEachStatement(sqlite3* db, OstUserSqlGuard& guard, const QString& sql, F&& each, bool positions = true) {
    const QByteArray text = sql.toUtf8();
    const char* tail = text.constData();
    while (tail && *tail) {
        sqlite3_stmt* st = nullptr;
        const char* next = nullptr;
        guard.Clear();
        // -1: the text is null-terminated, so SQLite parses in place instead of copying the rest.
        const int rc = sqlite3_prepare_v2(db, tail, -1, &st, &next);
        const int from = static_cast<int>(tail - text.constData());
        if (rc != SQLITE_OK) {
            const QString msg = QString::fromUtf8(sqlite3_errmsg(db));
            int offset = -1;
#if SQLITE_VERSION_NUMBER >= 3038000
            offset = sqlite3_error_offset(db);
#endif
            sqlite3_finalize(st);
            const int at = !positions ? -1 : CharOffset(text, offset >= 0 && guard.Refusal().isEmpty() ? from + offset : SkipBlanks(text.constData(), from));
            if (!guard.Refusal().isEmpty()) throw EOstraSqlError(guard.Refusal(), at);
            throw EOstraSqlError(QStringLiteral("SQL error: %1").arg(msg), at);
        }
        tail = next;
        if (!st) continue; // blank or comment
        const StatementSpan span{SkipBlanks(text.constData(), from), static_cast<int>(next - text.constData())};
        try {
            if constexpr (std::is_invocable_v<F, sqlite3_stmt*, const StatementSpan&>) each(st, span);
            else each(st);
        } catch (...) {
            sqlite3_finalize(st);
            throw;
        }
        sqlite3_finalize(st);
    }
}

void BindParams(sqlite3_stmt* st, const QVariantMap& params) {
    const int n = sqlite3_bind_parameter_count(st);
    for (int i = 1; i <= n; ++i) {
        const char* raw = sqlite3_bind_parameter_name(st, i);
        QString key = raw ? QString::fromUtf8(raw) : QString::number(i);
        if (raw && (key.startsWith(QLatin1Char(':')) || key.startsWith(QLatin1Char('@')) || key.startsWith(QLatin1Char('$'))))
            key = key.mid(1);
        if (raw && key.startsWith(QLatin1Char('?'))) key = key.mid(1);
        QVariant v;
        if (params.contains(key)) v = params.value(key);
        else {
            bool found = false;
            for (auto it = params.begin(); it != params.end(); ++it)
                if (it.key().compare(key, Qt::CaseInsensitive) == 0) { v = it.value(); found = true; }
            if (!found) throw EOstraError(OstErr::Sql, QStringLiteral("Parameter \"%1\" has no value").arg(key));
        }
        OstBindValue(st, i, v);
    }
}

[[noreturn]] void StepFailed(sqlite3* db) {
    const int ext = sqlite3_extended_errcode(db);
    const QString msg = QString::fromUtf8(sqlite3_errmsg(db));
    if ((ext & 0xFF) == SQLITE_CONSTRAINT) throw OstReword(msg, OstErr::ConstraintViolation);
    if ((ext & 0xFF) == SQLITE_BUSY || (ext & 0xFF) == SQLITE_LOCKED)
        throw EOstraError(OstErr::Locked, QStringLiteral("The database is locked by another user"));
    throw OstReword(msg.startsWith(QStringLiteral("Cannot convert: ")) ? msg.mid(16) : QStringLiteral("SQL error: ") + msg, OstErr::Sql);
}

// The text of one compiled statement without its ";", ready to be the
// subquery of another: a trailing line comment ends at the line break added.
QString AsSubquery(sqlite3_stmt* st) {
    QString text = QString::fromUtf8(sqlite3_sql(st)).trimmed();
    while (text.endsWith(QLatin1Char(';'))) text = text.chopped(1).trimmed();
    return text + QLatin1Char('\n');
}

} // namespace

void TOstQuery::ExecSQL() {
    if (Active()) Close();
    auto c = RequireConnection();
    c->PrepareForSql(m_sql);
    OstUserSqlGuard guard(*c);
    m_rowsAffected = 0;
    // A script that manages its own transactions runs as written; anything else
    // runs in one transaction, so that an error changes nothing.
    static const QRegularExpression txStatement(
        QStringLiteral("(^|;)\\s*(BEGIN|COMMIT|END|ROLLBACK|SAVEPOINT|RELEASE)\\b"), QRegularExpression::CaseInsensitiveOption);
    const bool scripted = txStatement.match(m_sql).hasMatch();
    const bool ownTx = !scripted && !c->InTransaction();
    const bool wasInTx = c->InTransaction();
    if (ownTx) c->Begin();
    try {
        ForEachStatement(c->Db(), guard, m_sql, [&](sqlite3_stmt* st) {
            BindParams(st, m_params);
            int rc;
            while ((rc = sqlite3_step(st)) == SQLITE_ROW) {}
            if (rc != SQLITE_DONE) {
                // What the failed statement changed is undone, its counts too.
                c->DiscardStatement();
                StepFailed(c->Db());
            }
            if (!sqlite3_stmt_readonly(st)) {
                m_rowsAffected += sqlite3_changes(c->Db());
                // Counts kept per statement (fulltext dictionaries) are written now.
                c->SettleStatement();
            }
        });
        if (ownTx) c->Commit();
    } catch (...) {
        if (ownTx) c->Rollback();
        else if (scripted && !wasInTx && c->InTransaction()) sqlite3_exec(c->Db(), "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
    c->BumpGeneration();
}

QList<TOstSQLStatement> TOstQuery::CheckSQL() {
    auto c = RequireConnection();
    c->PrepareForSql(m_sql);
    OstUserSqlGuard guard(*c);
    const QByteArray text = m_sql.toUtf8();
    QList<TOstSQLStatement> out;
    ForEachStatement(c->Db(), guard, m_sql, [&](sqlite3_stmt* st, const StatementSpan& span) {
        TOstSQLStatement s;
        s.Start = CharOffset(text, span.start);
        s.Length = CharOffset(text, span.end) - s.Start;
        s.ReadOnly = sqlite3_stmt_readonly(st) != 0;
        s.ReturnsRows = sqlite3_column_count(st) > 0;
        out.append(s);
    });
    return out;
}

void TOstQuery::RunSelect() {
    m_pages.clear();
    m_recentPages.clear();
    m_lastPage = -1;
    m_batch = 1;
    m_known = 0;
    m_complete = false;
    m_columns.clear();
    m_resultSql.clear();
    m_pagedOffset = true;
    m_keptWhole = false;
    if (!SelectStatement()) return;
    ReadPage(0);
}

// Checks that the SQL is one statement returning rows and sets what the rows
// are read from; a statement that writes runs here and its rows are kept.
// False when the rows are all there already.
bool TOstQuery::SelectStatement() {
    auto c = RequireConnection();
    c->PrepareForSql(m_sql);
    OstUserSqlGuard guard(*c);
    // The one statement, checked before anything runs.
    QString statement;
    bool readOnly = true;
    int statements = 0;
    ForEachStatement(c->Db(), guard, m_sql, [&](sqlite3_stmt* st) {
        if (++statements > 1) throw EOstraError(OstErr::Sql, QStringLiteral("A query opens exactly one statement"));
        if (sqlite3_column_count(st) == 0)
            throw EOstraError(OstErr::Sql, QStringLiteral("The statement returns no result set; use ExecSQL"));
        statement = AsSubquery(st);
        readOnly = sqlite3_stmt_readonly(st) != 0;
    });
    if (statements == 0) throw EOstraError(OstErr::Sql, QStringLiteral("No SQL statement"));
    if (!readOnly) {
        // It writes: it runs once, here, and its rows are kept.
        QVector<QVariantList> rows;
        ForEachStatement(c->Db(), guard, m_sql, [&](sqlite3_stmt* st) {
            BindParams(st, m_params);
            const int n = sqlite3_column_count(st);
            for (int i = 0; i < n; ++i) m_columns << QString::fromUtf8(sqlite3_column_name(st, i));
            int rc;
            while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
                QVariantList row;
                row.reserve(n);
                for (int i = 0; i < n; ++i) row << OstColumnValue(st, i);
                rows.append(row);
            }
            if (rc != SQLITE_DONE) StepFailed(c->Db());
        });
        c->BumpGeneration();
        m_resultSql = statement;
        m_keptWhole = true;
        m_known = rows.size();
        m_complete = true;
        // Kept whole, as pages that are never dropped.
        for (int p = 0; p * kPageRows < rows.size(); ++p) m_pages.insert(p, rows.mid(p * kPageRows, kPageRows));
        return false;
    }
    QString sql = statement;
    if (GetFiltered() && !GetFilter().trimmed().isEmpty()) {
        // Column types come from an unfiltered look at the result's first row.
        QHash<QString, int> types;
        ForEachStatement(c->Db(), guard, QStringLiteral("SELECT * FROM (%1) LIMIT 1").arg(sql), [&](sqlite3_stmt* st) {
            BindParams(st, m_params);
            const bool row = sqlite3_step(st) == SQLITE_ROW;
            for (int i = 0; i < sqlite3_column_count(st); ++i) {
                const int t = row ? sqlite3_column_type(st, i) : SQLITE_TEXT;
                types.insert(QString::fromUtf8(sqlite3_column_name(st, i)).toLower(),
                             t == SQLITE_INTEGER ? dtLargeInt : t == SQLITE_FLOAT ? dtFloat : t == SQLITE_BLOB ? dtBlob : dtString);
            }
        }, false);
        const QString where = OstFilterToSql(GetFilter(), [&](const QString& name, int& type, QString& ref) {
            if (!types.contains(name.toLower())) return false;
            type = types.value(name.toLower());
            ref = OstQuoteIdent(name);
            return true;
        });
        sql = QStringLiteral("SELECT * FROM (%1) WHERE %2\n").arg(sql, where);
    }
    m_resultSql = sql;
    return true;
}

void TOstQuery::ReadPage(int page) const {
    if (m_keptWhole) return;
    auto* self = const_cast<TOstQuery*>(this);
    auto c = self->RequireConnection();
    c->PrepareForSql(m_resultSql);
    OstUserSqlGuard guard(*c);
    // Read in order, a run of pages at once that doubles with every next
    // page asked for, so that going through a whole result runs its
    // statement only a few times; a jump reads one page.
    m_batch = page > 0 && page == m_lastPage + 1 ? qMin(m_batch * 2, kBatchPages) : 1;
    const int first = page * kPageRows;
    const int wanted = m_batch * kPageRows;
    QVector<QVariantList> rows;
    bool columns = m_columns.isEmpty();
    auto read = [&](sqlite3_stmt* st, int skip) {
        BindParams(st, m_params);
        const int n = sqlite3_column_count(st);
        if (columns) {
            for (int i = 0; i < n; ++i) self->m_columns << QString::fromUtf8(sqlite3_column_name(st, i));
            columns = false;
        }
        int rc = SQLITE_ROW;
        while (skip > 0 && (rc = sqlite3_step(st)) == SQLITE_ROW) --skip;
        while (rc == SQLITE_ROW && rows.size() < wanted && (rc = sqlite3_step(st)) == SQLITE_ROW) {
            QVariantList row;
            row.reserve(n);
            for (int i = 0; i < n; ++i) row << OstColumnValue(st, i);
            rows.append(row);
        }
        if (rc != SQLITE_DONE && rc != SQLITE_ROW) StepFailed(c->Db());
    };
    bool done = false;
    if (page > 0 && m_pagedOffset) {
        // Rows before the page are skipped by the statement itself, without being read.
        try {
            ForEachStatement(c->Db(), guard,
                             QStringLiteral("SELECT * FROM (%1) LIMIT %2 OFFSET %3").arg(m_resultSql).arg(wanted).arg(first),
                             [&](sqlite3_stmt* st) { read(st, 0); }, false);
            done = true;
        } catch (const EOstraSqlError&) {
            // Not a statement that can be a subquery (a pragma, say): stepped over instead.
            self->m_pagedOffset = false;
        }
    }
    if (!done) ForEachStatement(c->Db(), guard, m_resultSql, [&](sqlite3_stmt* st) { read(st, first); }, false);
    if (rows.size() < wanted && (rows.size() > 0 || first <= m_known)) {
        m_known = first + rows.size();
        m_complete = true;
    } else {
        m_known = qMax(m_known, first + static_cast<int>(rows.size()));
    }
    int p = page;
    for (int at = 0; at == 0 || at < rows.size(); at += kPageRows, ++p) {
        m_pages.insert(p, rows.mid(at, kPageRows));
        m_recentPages.removeOne(p);
        m_recentPages.append(p);
    }
    m_lastPage = p - 1;
    while (m_recentPages.size() > kKeptPages) m_pages.remove(m_recentPages.takeFirst());
}

const QVector<QVariantList>* TOstQuery::Page(int page) const {
    auto it = m_pages.constFind(page);
    if (it == m_pages.constEnd()) {
        ReadPage(page);
        it = m_pages.constFind(page);
    } else if (!m_recentPages.isEmpty() && m_recentPages.last() != page && m_recentPages.removeOne(page)) {
        m_recentPages.append(page);
    }
    return it == m_pages.constEnd() ? nullptr : &it.value();
}

void TOstQuery::CountAll() const {
    if (m_complete || m_keptWhole) return;
    auto* self = const_cast<TOstQuery*>(this);
    auto c = self->RequireConnection();
    c->PrepareForSql(m_resultSql);
    OstUserSqlGuard guard(*c);
    qint64 count = -1;
    try {
        ForEachStatement(c->Db(), guard, QStringLiteral("SELECT count(*) FROM (%1)").arg(m_resultSql), [&](sqlite3_stmt* st) {
            BindParams(st, m_params);
            if (sqlite3_step(st) != SQLITE_ROW) StepFailed(c->Db());
            count = sqlite3_column_int64(st, 0);
        }, false);
    } catch (const EOstraSqlError&) {
        ForEachStatement(c->Db(), guard, m_resultSql, [&](sqlite3_stmt* st) {
            BindParams(st, m_params);
            int rc;
            count = 0;
            while ((rc = sqlite3_step(st)) == SQLITE_ROW) ++count;
            if (rc != SQLITE_DONE) StepFailed(c->Db());
        }, false);
    }
    m_known = static_cast<int>(qMin<qint64>(count, INT_MAX));
    m_complete = true;
}

void TOstQuery::InternalOpen() {
    RunSelect();
    FieldDefs().Clear();
    m_fieldDefsOst.Clear();
    const QVector<QVariantList>* first = m_known > 0 ? Page(0) : nullptr;
    for (int i = 0; i < m_columns.size(); ++i) {
        // A result column's type is what its first value holds (among the first rows).
        int t = dtString;
        if (first)
            for (const QVariantList& r : *first) {
                const QVariant& v = r.value(i);
                if (!v.isValid() || v.isNull()) continue;
                t = v.typeId() == QMetaType::LongLong ? dtLargeInt : v.typeId() == QMetaType::Double ? dtFloat
                  : v.typeId() == QMetaType::QByteArray ? dtBlob : dtMemo;
                break;
            }
        TOstFieldDef* d = m_fieldDefsOst.Add(m_columns[i], t, 0);
        d->SetFieldNo(static_cast<uint16_t>(i + 1));
    }
    FieldDefsFromOst();
}

void TOstQuery::InternalClose() {
    m_pages.clear();
    m_recentPages.clear();
    m_lastPage = -1;
    m_batch = 1;
    m_known = 0;
    m_complete = false;
}

int TOstQuery::InternalRecordCount() const {
    CountAll();
    return m_known;
}

bool TOstQuery::InternalRecordExists(int recNo) const {
    if (recNo < 0) return false;
    if (recNo < m_known) return true;
    if (m_complete) return false;
    // Near what is known: read on page by page; far beyond it: count.
    const int page = recNo / kPageRows;
    if (page <= m_known / kPageRows + 4) {
        while (!m_complete && recNo >= m_known) {
            const int before = m_known;
            ReadPage(m_known / kPageRows);
            if (m_known == before && !m_complete) break; // the result shrank under us
        }
    } else {
        CountAll();
    }
    return recNo < m_known;
}

QVariantList TOstQuery::InternalGetRecord(int recNo) const {
    if (recNo < 0) return {};
    const QVector<QVariantList>* page = Page(recNo / kPageRows);
    const int at = recNo % kPageRows;
    return page && at < page->size() ? page->at(at) : QVariantList();
}

void TOstQuery::InternalRefresh() {
    if (m_keptWhole) return; // it ran once: these are its rows
    m_pages.clear();
    m_recentPages.clear();
    m_lastPage = -1;
    m_batch = 1;
    m_known = 0;
    m_complete = false;
    ReadPage(0);
}

void TOstQuery::FilterChanged() {
    RunSelect();
}

// ---------------------------------------------------------------- TOstStatement

TOstStatement::TOstStatement(TOstDatabase* database) : m_database(database) {}

TOstStatement::~TOstStatement() { Clear(); }

bool TOstStatement::IsPrepared() const { return m_stmt != nullptr; }

void TOstStatement::StartReading() {
    m_reading = true;
    m_rowsRead = 0;
    if (!m_reader) m_reader = m_connection->AddReader([this] { Park(); });
}

void TOstStatement::StopReading() {
    m_reading = false;
    m_parked = false;
    m_parkedRow.clear();
    if (m_reader && m_connection) m_connection->RemoveReader(m_reader);
    m_reader = 0;
}

void TOstStatement::Park() {
    if (!m_reading || m_parked) return;
    m_parkedRow.clear();
    if (m_rowsRead > 0)
        for (int i = 0; i < sqlite3_data_count(m_stmt); ++i) m_parkedRow << OstColumnValue(m_stmt, i);
    sqlite3_reset(m_stmt); // the bound values stay
    m_parked = true;
}

void TOstStatement::Clear() {
    StopReading();
    if (m_stmt) sqlite3_finalize(m_stmt);
    m_stmt = nullptr;
    m_connection.reset();
    m_sql.clear();
    m_kept.clear();
    m_keptAt = -1;
    m_keptRows = false;
    m_reading = false;
    m_rowsAffected = 0;
}

void TOstStatement::Finish() {
    if (m_stmt && m_reading) sqlite3_reset(m_stmt);
    StopReading();
    m_kept.clear();
    m_keptAt = -1;
    m_keptRows = false;
}

void TOstStatement::Prepare(const QString& sql) {
    Clear();
    if (!m_database) throw EOstraError(OstErr::General, QStringLiteral("The statement has no database"));
    auto c = m_database->Connection();
    c->PrepareForSql(sql);
    OstUserSqlGuard guard(*c);
    sqlite3_stmt* kept = nullptr;
    try {
        ForEachStatement(c->Db(), guard, sql, [&](sqlite3_stmt* st) {
            if (kept) throw EOstraError(OstErr::Sql, QStringLiteral("Only one statement can be run at a time"));
            // The statement is kept: compiled again from its own text, which
            // is already checked, so that ForEachStatement may finalize its copy.
            const int rc = sqlite3_prepare_v2(c->Db(), sqlite3_sql(st), -1, &kept, nullptr);
            if (rc != SQLITE_OK) StepFailed(c->Db());
        });
    } catch (...) {
        sqlite3_finalize(kept);
        throw;
    }
    if (!kept) throw EOstraError(OstErr::Sql, QStringLiteral("No SQL statement"));
    m_stmt = kept;
    m_connection = c;
    m_sql = sql;
}

int TOstStatement::ParamCount() const { return m_stmt ? sqlite3_bind_parameter_count(m_stmt) : 0; }

QString TOstStatement::ParamName(int i) const {
    const char* name = m_stmt ? sqlite3_bind_parameter_name(m_stmt, i + 1) : nullptr;
    return name ? QString::fromUtf8(name) : QString();
}

void TOstStatement::BindValue(int i, const QVariant& value) {
    if (!m_stmt) throw EOstraError(OstErr::Sql, QStringLiteral("No SQL statement"));
    if (i < 0 || i >= ParamCount())
        throw EOstraError(OstErr::Sql, QStringLiteral("The statement has no parameter %1").arg(i + 1));
    if (m_reading) Finish();
    OstBindValue(m_stmt, i + 1, value);
}

void TOstStatement::Execute() {
    if (!m_stmt) throw EOstraError(OstErr::Sql, QStringLiteral("No SQL statement"));
    Finish();
    OstConnection& c = *m_connection;
    c.PrepareForSql(m_sql);
    m_rowsAffected = 0;
    if (sqlite3_stmt_readonly(m_stmt)) {
        StartReading();
        return;
    }
    // It writes: it runs to its end now, as ExecSQL runs a statement.
    const bool ownTx = !c.InTransaction();
    if (ownTx) c.Begin();
    try {
        const int n = sqlite3_column_count(m_stmt);
        int rc;
        while ((rc = sqlite3_step(m_stmt)) == SQLITE_ROW) {
            QVariantList row;
            row.reserve(n);
            for (int i = 0; i < n; ++i) row << OstColumnValue(m_stmt, i);
            m_kept.append(row);
        }
        if (rc != SQLITE_DONE) {
            c.DiscardStatement();
            StepFailed(c.Db());
        }
        m_rowsAffected = sqlite3_changes(c.Db());
        m_lastInsertId = sqlite3_last_insert_rowid(c.Db());
        sqlite3_reset(m_stmt);
        c.SettleStatement();
        if (ownTx) c.Commit();
    } catch (...) {
        sqlite3_reset(m_stmt);
        m_kept.clear();
        if (ownTx) c.Rollback();
        throw;
    }
    c.BumpGeneration();
    m_keptRows = true;
}

bool TOstStatement::Next() {
    if (m_keptRows) return ++m_keptAt < m_kept.size();
    if (!m_reading) return false;
    int rc = SQLITE_ROW;
    if (m_parked) {
        // Its files attached again, it runs anew up to where it was.
        try {
            m_connection->PrepareForSql(m_sql);
        } catch (...) {
            StopReading();
            throw;
        }
        m_parked = false;
        m_parkedRow.clear();
        for (qint64 skip = m_rowsRead; skip > 0 && (rc = sqlite3_step(m_stmt)) == SQLITE_ROW; --skip) {}
    }
    if (rc == SQLITE_ROW) rc = sqlite3_step(m_stmt);
    if (rc == SQLITE_ROW) {
        ++m_rowsRead;
        return true;
    }
    StopReading();
    sqlite3_reset(m_stmt);
    if (rc != SQLITE_DONE) StepFailed(m_connection->Db());
    return false;
}

int TOstStatement::ColumnCount() const { return m_stmt ? sqlite3_column_count(m_stmt) : 0; }

QString TOstStatement::ColumnName(int i) const {
    const char* name = m_stmt ? sqlite3_column_name(m_stmt, i) : nullptr;
    return name ? QString::fromUtf8(name) : QString();
}

QString TOstStatement::ColumnDeclaredType(int i) const {
    const char* type = m_stmt ? sqlite3_column_decltype(m_stmt, i) : nullptr;
    return type ? QString::fromUtf8(type) : QString();
}

QVariant TOstStatement::Value(int i) const {
    if (m_keptRows) return m_keptAt >= 0 && m_keptAt < m_kept.size() ? m_kept.at(m_keptAt).value(i) : QVariant();
    if (m_parked) return m_parkedRow.value(i);
    return m_reading && i >= 0 && i < sqlite3_data_count(m_stmt) ? OstColumnValue(m_stmt, i) : QVariant();
}

bool TOstStatement::ReturnsRows() const { return ColumnCount() > 0; }

bool TOstStatement::ReadOnly() const { return !m_stmt || sqlite3_stmt_readonly(m_stmt); }
