// SQLite's messages in the engine's words, and OstStmt: one prepared
// statement with the engine's binding of values (see ostconnection.h).
#include "engine/store/ostconnection.h"

#include "engine/store/ostvalues.h"

#include <QDate>
#include <QDateTime>
#include <QTime>

// ---------------------------------------------------------------- errors

// Rewords SQLite's constraint messages into the engine's terms.
EOstraError OstReword(const QString& raw, int16_t code) {
    static const QString notNull = QStringLiteral("NOT NULL constraint failed: ");
    static const QString unique = QStringLiteral("UNIQUE constraint failed: ");
    static const QString check = QStringLiteral("CHECK constraint failed: ");
    if (raw.startsWith(notNull)) {
        const QString col = raw.mid(notNull.size());
        const int dot = col.indexOf(QLatin1Char('.'));
        return EOstraError(OstErr::ConstraintViolation,
                           QStringLiteral("Column \"%1\" of table \"%2\" must have a value")
                               .arg(col.mid(dot + 1), col.left(dot)));
    }
    if (raw.startsWith(unique)) {
        QStringList cols;
        QString table;
        for (const QString& part : raw.mid(unique.size()).split(QStringLiteral(", "))) {
            const int dot = part.indexOf(QLatin1Char('.'));
            table = part.left(dot);
            cols.append(part.mid(dot + 1));
        }
        return EOstraError(OstErr::KeyViolation,
                           QStringLiteral("Key violation: table \"%1\" already holds a record with the same %2")
                               .arg(table, cols.join(QStringLiteral(", "))));
    }
    if (raw.startsWith(check)) return EOstraError(OstErr::ConstraintViolation, raw.mid(check.size()));
    // The bare wording is the commit hook's refusal: foreign keys were still queued (see SettleForeignKeys).
    if (raw == QStringLiteral("constraint failed"))
        return EOstraError(OstErr::ForeignKeyViolation,
                           QStringLiteral("The transaction was rolled back: its changes still had foreign keys to check in "
                                          "table files that were not attached. Run the statements without BEGIN and COMMIT, "
                                          "so that the engine checks them before it commits"));
    if (raw.startsWith(QStringLiteral("Foreign key")))
        return EOstraError(OstErr::ForeignKeyViolation, raw);
    return EOstraError(code, raw);
}

// ---------------------------------------------------------------- OstStmt

namespace {
thread_local int engineSqlDepth = 0;
} // namespace

bool OstEngineSqlActive() { return engineSqlDepth > 0; }
OstEngineSqlScope::OstEngineSqlScope() { ++engineSqlDepth; }
OstEngineSqlScope::~OstEngineSqlScope() { --engineSqlDepth; }

OstStmt::OstStmt(sqlite3* db, const QString& sql) : m_db(db) {
    const OstEngineSqlScope engine;
    const QByteArray u = sql.toUtf8();
    const int rc = sqlite3_prepare_v2(db, u.constData(), u.size(), &m_stmt, nullptr);
    if (rc != SQLITE_OK) {
        const QString msg = QString::fromUtf8(sqlite3_errmsg(db));
        sqlite3_finalize(m_stmt);
        m_stmt = nullptr;
        throw EOstraError(OstErr::Sql, msg);
    }
}

OstStmt::~OstStmt() { sqlite3_finalize(m_stmt); }

void OstBindValue(sqlite3_stmt* m_stmt, int i, const QVariant& v) {
    if (!v.isValid() || v.isNull()) { sqlite3_bind_null(m_stmt, i); return; }
    switch (v.typeId()) {
    case QMetaType::Bool: sqlite3_bind_int(m_stmt, i, v.toBool() ? 1 : 0); break;
    case QMetaType::Int: case QMetaType::UInt: case QMetaType::LongLong: case QMetaType::ULongLong:
    case QMetaType::Short: case QMetaType::UShort: case QMetaType::Long: case QMetaType::ULong:
        sqlite3_bind_int64(m_stmt, i, v.toLongLong()); break;
    case QMetaType::Double: case QMetaType::Float: sqlite3_bind_double(m_stmt, i, v.toDouble()); break;
    case QMetaType::QByteArray: {
        const QByteArray b = v.toByteArray();
        sqlite3_bind_blob64(m_stmt, i, b.constData(), static_cast<sqlite3_uint64>(b.size()), SQLITE_TRANSIENT);
        break;
    }
    case QMetaType::QDate: {
        const QByteArray t = v.toDate().toString(Qt::ISODate).toUtf8();
        sqlite3_bind_text(m_stmt, i, t.constData(), t.size(), SQLITE_TRANSIENT);
        break;
    }
    case QMetaType::QTime: {
        const QByteArray t = v.toTime().toString(QStringLiteral("HH:mm:ss.zzz")).toUtf8();
        sqlite3_bind_text(m_stmt, i, t.constData(), t.size(), SQLITE_TRANSIENT);
        break;
    }
    case QMetaType::QDateTime: {
        const QByteArray t = v.toDateTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")).toUtf8();
        sqlite3_bind_text(m_stmt, i, t.constData(), t.size(), SQLITE_TRANSIENT);
        break;
    }
    default: {
        // Bound with its terminating NUL where the text holds none: SQLite then
        // keeps it terminated, and the functions of the column checks read it
        // without copying it again.
        const QByteArray t = v.toString().toUtf8();
        const bool plain = qstrlen(t.constData()) == size_t(t.size());
        sqlite3_bind_text(m_stmt, i, t.constData(), plain ? -1 : int(t.size()), SQLITE_TRANSIENT);
    }
    }
}

void OstStmt::Bind(int i, const QVariant& v) { OstBindValue(m_stmt, i, v); }

void OstStmt::BindAll(const QVariantList& values) {
    for (int i = 0; i < values.size(); ++i) Bind(i + 1, values.at(i));
}

bool OstStmt::Step() {
    const int rc = sqlite3_step(m_stmt);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    const QString msg = QString::fromUtf8(sqlite3_errmsg(m_db));
    const int ext = sqlite3_extended_errcode(m_db);
    sqlite3_reset(m_stmt);
    if ((ext & 0xFF) == SQLITE_CONSTRAINT) throw OstReword(msg, OstErr::ConstraintViolation);
    if ((ext & 0xFF) == SQLITE_INTERRUPT) throw EOstraError(OstErr::Aborted, QStringLiteral("Operation aborted"));
    if ((ext & 0xFF) == SQLITE_BUSY || (ext & 0xFF) == SQLITE_LOCKED)
        throw EOstraError(OstErr::Locked, QStringLiteral("The database is locked by another user"));
    if (msg.startsWith(QStringLiteral("Cannot convert: ")))
        throw EOstraError(OstErr::ConversionFailed, msg.mid(16));
    throw OstReword(msg, OstErr::Sql);
}

void OstStmt::Reset() {
    sqlite3_reset(m_stmt);
    sqlite3_clear_bindings(m_stmt);
}

QString OstStmt::Text(int i) const {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(m_stmt, i));
    return p ? QString::fromUtf8(p, sqlite3_column_bytes(m_stmt, i)) : QString();
}

QVariant OstColumnValue(sqlite3_stmt* st, int i) {
    switch (sqlite3_column_type(st, i)) {
    case SQLITE_INTEGER: return QVariant(static_cast<qlonglong>(sqlite3_column_int64(st, i)));
    case SQLITE_FLOAT: return QVariant(sqlite3_column_double(st, i));
    case SQLITE_BLOB:
        return QVariant(QByteArray(static_cast<const char*>(sqlite3_column_blob(st, i)), sqlite3_column_bytes(st, i)));
    case SQLITE_NULL: return QVariant();
    default:
        return QVariant(QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(st, i)), sqlite3_column_bytes(st, i)));
    }
}

QVariant OstStmt::Value(int i) const { return OstColumnValue(m_stmt, i); }
