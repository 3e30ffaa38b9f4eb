// TOstQuery: runs user SQL through the database's connection, under the guard
// that keeps the engine's own tables and settings out of its reach.
#include "engine/ostquery.h"

#include "engine/store/ostconnection.h"
#include "engine/filter/ostfilter.h"
#include "engine/store/ostsqlguard.h"

#include <QRegularExpression>

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
// Prepares each statement of a text in turn.
template <class F> void ForEachStatement(sqlite3* db, OstUserSqlGuard& guard, const QString& sql, F&& each) {
    const QByteArray text = sql.toUtf8();
    const char* tail = text.constData();
    while (tail && *tail) {
        sqlite3_stmt* st = nullptr;
        const char* next = nullptr;
        // -1: the text is null-terminated, so SQLite parses in place instead of copying the rest.
        const int rc = sqlite3_prepare_v2(db, tail, -1, &st, &next);
        if (rc != SQLITE_OK) {
            const QString msg = QString::fromUtf8(sqlite3_errmsg(db));
            sqlite3_finalize(st);
            if (!guard.Refusal().isEmpty()) throw EOstraError(OstErr::Sql, guard.Refusal());
            throw EOstraError(OstErr::Sql, QStringLiteral("SQL error: %1").arg(msg));
        }
        tail = next;
        if (!st) continue; // blank or comment
        try {
            each(st);
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

void TOstQuery::RunSelect() {
    auto c = RequireConnection();
    c->PrepareForSql(m_sql);
    OstUserSqlGuard guard(*c);
    m_rows.clear();
    m_columns.clear();
    QString sql = m_sql.trimmed();
    while (sql.endsWith(QLatin1Char(';'))) sql.chop(1);
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
        });
        const QString where = OstFilterToSql(GetFilter(), [&](const QString& name, int& type, QString& ref) {
            if (!types.contains(name.toLower())) return false;
            type = types.value(name.toLower());
            ref = OstQuoteIdent(name);
            return true;
        });
        sql = QStringLiteral("SELECT * FROM (%1) WHERE %2").arg(sql, where);
    }
    int statements = 0;
    ForEachStatement(c->Db(), guard, sql, [&](sqlite3_stmt* st) {
        if (++statements > 1) throw EOstraError(OstErr::Sql, QStringLiteral("A query opens exactly one statement"));
        BindParams(st, m_params);
        const int n = sqlite3_column_count(st);
        if (n == 0) throw EOstraError(OstErr::Sql, QStringLiteral("The statement returns no result set; use ExecSQL"));
        for (int i = 0; i < n; ++i) m_columns << QString::fromUtf8(sqlite3_column_name(st, i));
        int rc;
        while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
            QVariantList row;
            row.reserve(n);
            for (int i = 0; i < n; ++i) row << OstColumnValue(st, i);
            m_rows.append(row);
        }
        if (rc != SQLITE_DONE) StepFailed(c->Db());
    });
    if (statements == 0) throw EOstraError(OstErr::Sql, QStringLiteral("No SQL statement"));
}

void TOstQuery::InternalOpen() {
    RunSelect();
    FieldDefs().Clear();
    m_fieldDefsOst.Clear();
    for (int i = 0; i < m_columns.size(); ++i) {
        // A result column's type is what its first value holds.
        int t = dtString;
        for (const QVariantList& r : m_rows) {
            const QVariant& v = r.at(i);
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
    m_rows.clear();
}

int TOstQuery::InternalRecordCount() const { return m_rows.size(); }

QVariantList TOstQuery::InternalGetRecord(int recNo) const {
    return (recNo >= 0 && recNo < m_rows.size()) ? m_rows.at(recNo) : QVariantList();
}

void TOstQuery::FilterChanged() {
    RunSelect();
}
