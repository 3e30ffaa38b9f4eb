// ClassicPgCopy: a PostgreSQL statement's rows by COPY ... TO STDOUT.
#include "migration/core/classicpgcopy.h"

#include "migration/core/classicprefetch.h"

#include <QDate>
#include <QDateTime>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTime>
#include <cmath>
#include <cstring>
#include <libpq-fe.h>
#include <limits>

namespace {

int Hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

double DoubleOf(QByteArrayView s) {
    if (s == "NaN") return std::numeric_limits<double>::quiet_NaN();
    if (s == "Infinity") return std::numeric_limits<double>::infinity();
    if (s == "-Infinity") return -std::numeric_limits<double>::infinity();
    return s.toDouble();
}

// "yyyy-mm-dd" of the years 1 to 9999 read digit by digit (a million rows
// carry a million dates); anything else goes to Qt's parser, as the driver's does.
QDate DateOf(QByteArrayView s) {
    const char* p = s.data();
    const auto digits = [&](int from, int len) {
        int n = 0;
        for (int i = from; i < from + len; ++i) {
            if (p[i] < '0' || p[i] > '9') return -1;
            n = n * 10 + (p[i] - '0');
        }
        return n;
    };
    if (s.size() == 10 && p[4] == '-' && p[7] == '-') {
        const int y = digits(0, 4), m = digits(5, 2), d = digits(8, 2);
        if (y >= 1 && m >= 0 && d >= 0) return QDate(y, m, d);
    }
    return QDate::fromString(QString::fromLatin1(s), Qt::ISODate);
}

// The value Qt's driver gives for a column of this type, from the text of the value.
QVariant Convert(QByteArrayView s, int type) {
    switch (type) {
    case QMetaType::Bool: return QVariant(!s.isEmpty() && s.at(0) == 't');
    case QMetaType::Int: {
        // Plain digits, with a sign, of at most 9 digits: no overflow to mind.
        const char* p = s.data();
        const qsizetype n = s.size();
        const qsizetype from = n > 0 && p[0] == '-' ? 1 : 0;
        if (n > from && n - from <= 9) {
            int v = 0;
            qsizetype i = from;
            for (; i < n && p[i] >= '0' && p[i] <= '9'; ++i) v = v * 10 + (p[i] - '0');
            if (i == n) return QVariant(from ? -v : v);
        }
        return QVariant(s.toInt());
    }
    case QMetaType::LongLong: // as the driver gives it: unsigned when not negative
        return s.startsWith('-') ? QVariant(s.toLongLong()) : QVariant(s.toULongLong());
    case QMetaType::Double: return QVariant(DoubleOf(s));
    case QMetaType::QDate: return QVariant(DateOf(s));
    case QMetaType::QTime: return QVariant(QTime::fromString(QString::fromLatin1(s), Qt::ISODate));
    case QMetaType::QByteArray: {
        // The text is a copy with its end marked, as PQunescapeBytea wants it.
        const QByteArray text = s.toByteArray();
        size_t len = 0;
        unsigned char* bytes = PQunescapeBytea(reinterpret_cast<const unsigned char*>(text.constData()), &len);
        if (!bytes) return QVariant(QByteArray());
        QByteArray out(reinterpret_cast<const char*>(bytes), qsizetype(len));
        PQfreemem(bytes);
        return QVariant(out);
    }
    default: return QVariant(QString::fromUtf8(s));
    }
}

bool Converted(int type) {
    switch (type) {
    case QMetaType::Bool: case QMetaType::Int: case QMetaType::LongLong: case QMetaType::Double: case QMetaType::QDate:
    case QMetaType::QTime: case QMetaType::QByteArray: case QMetaType::QString: return true;
    default: return false; // with a time zone, for one: the driver's own conversion applies
    }
}

QString ServerMessage(PGconn* conn, PGresult* r) {
    const char* m = r ? PQresultErrorMessage(r) : PQerrorMessage(conn);
    return QString::fromUtf8(m && *m ? m : PQerrorMessage(conn)).trimmed();
}

} // namespace

QByteArray ClassicCopyUnescape(const char* p, const char* end) {
    QByteArray out;
    out.reserve(end - p);
    while (p < end) {
        const char c = *p++;
        if (c != '\\' || p == end) {
            out.append(c);
            continue;
        }
        const char e = *p++;
        switch (e) {
        case 'b': out.append('\b'); break;
        case 'f': out.append('\f'); break;
        case 'n': out.append('\n'); break;
        case 'r': out.append('\r'); break;
        case 't': out.append('\t'); break;
        case 'v': out.append('\v'); break;
        case 'x': {
            int v = 0, digits = 0;
            while (digits < 2 && p < end && Hex(*p) >= 0) v = v * 16 + Hex(*p++), ++digits;
            if (digits) out.append(char(v));
            else out.append('x');
            break;
        }
        default:
            if (e >= '0' && e <= '7') {
                int v = e - '0', digits = 1;
                while (digits < 3 && p < end && *p >= '0' && *p <= '7') v = v * 8 + (*p++ - '0'), ++digits;
                out.append(char(v));
            } else {
                out.append(e); // "\\" and any other character stand for themselves
            }
        }
    }
    return out;
}

TClassicCopyResult ClassicPgCopy(QSqlDatabase& db, const QString& select, const QVector<TClassicRead>& readers,
                                 const TClassicRowSink& sink, QString& error) {
    const QVariant handle = db.driver() ? db.driver()->handle() : QVariant();
    // The driver hands out its PGconn* (named by its struct, pg_conn*).
    if (!handle.isValid() || (qstrcmp(handle.typeName(), "PGconn*") != 0 && qstrcmp(handle.typeName(), "pg_conn*") != 0))
        return TClassicCopyResult::NotUsed;
    PGconn* conn = *static_cast<PGconn* const*>(handle.constData());
    if (!conn) return TClassicCopyResult::NotUsed;

    // The types the driver gives the columns.
    QVector<int> types;
    {
        QSqlQuery q(db);
        if (!q.exec(QStringLiteral("SELECT * FROM (%1) ostra_copy LIMIT 0").arg(select))) return TClassicCopyResult::NotUsed;
        const QSqlRecord r = q.record();
        for (int i = 0; i < r.count(); ++i) {
            const int type = r.field(i).metaType().id();
            if (!Converted(type)) return TClassicCopyResult::NotUsed;
            types << type;
        }
    }
    const int n = int(types.size());

    PGresult* started = PQexec(conn, QStringLiteral("COPY (%1) TO STDOUT").arg(select).toUtf8().constData());
    if (PQresultStatus(started) != PGRES_COPY_OUT) {
        error = ServerMessage(conn, started);
        PQclear(started);
        return TClassicCopyResult::Failed;
    }
    PQclear(started);

    bool stopped = false;
    QByteArray unescaped;
    for (;;) {
        char* line = nullptr;
        const int len = PQgetCopyData(conn, &line, 0);
        if (len < 0) break; // -1: all sent; -2: failed (PQgetResult says why)
        if (!stopped) {
            QVariantList row;
            row.reserve(n);
            const char* p = line;
            const char* end = line + len;
            if (end > p && end[-1] == '\n') --end;
            for (int i = 0; i < n; ++i) {
                const char* tab = static_cast<const char*>(memchr(p, '\t', size_t(end - p)));
                if (!tab) tab = end;
                if (tab - p == 2 && p[0] == '\\' && p[1] == 'N') {
                    row.append(QVariant(QMetaType(types[i]))); // a null of the column's type, as the driver gives it
                } else {
                    // Most values have no escapes: their text is read where it is.
                    const bool plain = !memchr(p, '\\', size_t(tab - p));
                    if (!plain) unescaped = ClassicCopyUnescape(p, tab);
                    const QByteArrayView text = plain ? QByteArrayView(p, tab - p) : QByteArrayView(unescaped);
                    const TClassicRead read = i < readers.size() ? readers[i] : TClassicRead::AsIs;
                    if (read == TClassicRead::TimestampText && types[i] == QMetaType::QString) {
                        QDateTime dt = ClassicTimestampOf(text.data(), text.size());
                        if (dt.isValid()) {
                            row.append(QVariant(std::move(dt)));
                            p = tab < end ? tab + 1 : end;
                            continue;
                        }
                    }
                    QVariant v = Convert(text, types[i]);
                    row.append(read != TClassicRead::AsIs ? ClassicReadValue(v, read) : std::move(v));
                }
                p = tab < end ? tab + 1 : end;
            }
            // The rest is read to its end (the caller has the server cancel the statement).
            stopped = !sink(std::move(row));
        }
        PQfreemem(line);
    }
    TClassicCopyResult result = TClassicCopyResult::Done;
    while (PGresult* r = PQgetResult(conn)) {
        if (PQresultStatus(r) != PGRES_COMMAND_OK && !stopped) {
            error = ServerMessage(conn, r);
            result = TClassicCopyResult::Failed;
        }
        PQclear(r);
    }
    return result;
}
