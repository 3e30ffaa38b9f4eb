// Conversions between user values, stored values and dataset values, and the
// SQL function that converts a column's values during a restructure.
#include "engine/store/ostvalues.h"

#include "engine/base/dbtypes.h"
#include "engine/filter/ostdatetext.h"

#include <QDateTime>
#include <QLocale>
#include <climits>
#include <cmath>
#include <sqlite3.h>

static QString Shown(const QVariant& v) {
    QString s = v.typeId() == QMetaType::QByteArray ? QStringLiteral("(binary)") : v.toString();
    if (s.size() > 40) s = s.left(37) + QStringLiteral("...");
    return s;
}

static bool ParseInteger(const QVariant& v, qint64& out) {
    switch (v.typeId()) {
    case QMetaType::Int: out = *static_cast<const int*>(v.constData()); return true;
    case QMetaType::LongLong: out = *static_cast<const qlonglong*>(v.constData()); return true;
    case QMetaType::Bool: out = v.toBool() ? 1 : 0; return true;
    case QMetaType::UInt: case QMetaType::ULongLong:
    case QMetaType::Short: case QMetaType::UShort: case QMetaType::Long: case QMetaType::ULong:
        out = v.toLongLong(); return true;
    case QMetaType::Double: case QMetaType::Float: {
        const double d = v.toDouble();
        if (!std::isfinite(d) || std::floor(d) != d || std::fabs(d) > 9.2e18) return false;
        out = static_cast<qint64>(d);
        return true;
    }
    default: {
        const QString s = v.toString().trimmed();
        bool ok = false;
        out = s.toLongLong(&ok);
        if (ok) return true;
        const double d = s.toDouble(&ok);
        if (ok && std::isfinite(d) && std::floor(d) == d && std::fabs(d) < 9.2e18) { out = static_cast<qint64>(d); return true; }
        return false;
    }
    }
}

// Powers of ten that a double holds exactly.
static constexpr double kTens[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// floor(log10(x)) of a positive finite x; exact for 1 <= x < 1e23.
static int DecimalExponent(double x) {
    if (x < 1 || x >= 1e23) return static_cast<int>(std::floor(std::log10(x)));
    int e = 0;
    while (e < 22 && x >= kTens[e + 1]) ++e;
    return e;
}

// 10 to the power k.
static double DigitScale(int k) { return k >= 0 && k <= 22 ? kTens[k] : std::pow(10.0, k); }

static bool ParseDouble(const QVariant& v, double& out) {
    if (v.typeId() == QMetaType::Double) {
        out = *static_cast<const double*>(v.constData());
        return std::isfinite(out);
    }
    bool ok = false;
    if (v.typeId() == QMetaType::QString) out = v.toString().trimmed().toDouble(&ok);
    else if (v.typeId() == QMetaType::Bool) { out = v.toBool() ? 1 : 0; ok = true; }
    else if (v.canConvert<double>()) out = v.toDouble(&ok);
    return ok && std::isfinite(out);
}

// A date and a time of day from a value, without going through the local
// time zone (a stored date and time is the wall-clock time as given).
static bool ParseDateAndTime(const QVariant& v, QDate& d, QTime& t) {
    switch (v.typeId()) {
    case QMetaType::QDateTime: {
        const QDateTime& dt = *static_cast<const QDateTime*>(v.constData());
        d = dt.date();
        t = dt.time();
        return dt.isValid();
    }
    case QMetaType::QDate: d = *static_cast<const QDate*>(v.constData()); t = QTime(0, 0); return true;
    case QMetaType::QTime: d = QDate(1899, 12, 30); t = v.toTime(); return true;
    default:
        // ISO first, then the locale's own formats, then month first (see ostdatetext.h).
        if (!OstParseDateTimeText(v.toString(), d, t)) return false;
        if (!t.isValid()) t = QTime(0, 0);
        return true;
    }
}

static QDateTime ParseDateTime(const QVariant& v, bool& ok) {
    QDate d;
    QTime t;
    ok = ParseDateAndTime(v, d, t);
    return ok ? QDateTime(d, t) : QDateTime();
}

// Stored text of dates and times: "yyyy-MM-dd", "HH:mm:ss.zzz" and
// "yyyy-MM-ddTHH:mm:ss.zzz", written digit by digit (bulk moves write
// millions of them); years outside 1 to 9999 go through Qt's formatting.
static void PutDigits(QChar*& out, int n, int width) {
    for (int i = width - 1; i >= 0; --i, n /= 10) out[i] = QChar(u'0' + n % 10);
    out += width;
}

// A date's parts when its year is one of 1 to 9999 (what the digits take), else false.
static bool PlainDate(const QDate& d, int& y, int& m, int& day) {
    if (!d.isValid()) return false;
    d.getDate(&y, &m, &day);
    return y >= 1 && y <= 9999;
}

static void PutDate(QChar*& out, int y, int m, int day) {
    PutDigits(out, y, 4);
    *out++ = u'-';
    PutDigits(out, m, 2);
    *out++ = u'-';
    PutDigits(out, day, 2);
}

static void PutTime(QChar*& out, const QTime& t, int parts) {
    PutDigits(out, t.hour(), 2);
    *out++ = u':';
    PutDigits(out, t.minute(), 2);
    if (parts < 3) return;
    *out++ = u':';
    PutDigits(out, t.second(), 2);
    if (parts < 4) return;
    *out++ = u'.';
    PutDigits(out, t.msec(), 3);
}

static QString IsoDate(const QDate& d) {
    int y, m, day;
    if (!PlainDate(d, y, m, day)) return d.toString(Qt::ISODate);
    QString s(10, Qt::Uninitialized);
    QChar* out = s.data();
    PutDate(out, y, m, day);
    return s;
}

static QString IsoTime(const QTime& t, int parts) {
    static const QString formats[] = {QStringLiteral("HH:mm"), QStringLiteral("HH:mm:ss"), QStringLiteral("HH:mm:ss.zzz")};
    if (!t.isValid()) return t.toString(formats[parts - 2]);
    QString s(parts == 2 ? 5 : parts == 3 ? 8 : 12, Qt::Uninitialized);
    QChar* out = s.data();
    PutTime(out, t, parts);
    return s;
}

static QString IsoDateTime(const QDate& d, const QTime& t) {
    int y, m, day;
    if (!PlainDate(d, y, m, day) || !t.isValid())
        return QDateTime(d, t).toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz"));
    QString s(23, Qt::Uninitialized);
    QChar* out = s.data();
    PutDate(out, y, m, day);
    *out++ = u'T';
    PutTime(out, t, 4);
    return s;
}

static QTime ParseTime(const QVariant& v, bool& ok) {
    ok = true;
    if (v.typeId() == QMetaType::QTime) return v.toTime();
    if (v.typeId() == QMetaType::QDateTime) return v.toDateTime().time();
    const QString s = v.toString().trimmed();
    for (const QString& f : {QStringLiteral("HH:mm:ss.zzz"), QStringLiteral("HH:mm:ss"), QStringLiteral("HH:mm"),
                             QStringLiteral("H:mm:ss"), QStringLiteral("H:mm")}) {
        const QTime t = QTime::fromString(s, f);
        if (t.isValid()) return t;
    }
    bool dok = false;
    const QDateTime dt = ParseDateTime(v, dok);
    if (dok && s.contains(QLatin1Char(':'))) return dt.time();
    ok = false;
    return {};
}

QVariant OstToStorage(const QVariant& value, const OstColumnMeta& col, QString& error) {
    error.clear();
    if (!value.isValid() || value.isNull()) return QVariant();
    const QString& name = col.name;
    auto fail = [&](const QString& what) {
        error = QStringLiteral("Column \"%1\": %2").arg(name, what);
        return QVariant();
    };
    switch (col.type) {
    case dtChar: case dtString: case dtWideString: case dtMemo: case dtWideMemo: case dtGuid: case dtEnum: {
        QString s = value.typeId() == QMetaType::QByteArray ? QString::fromUtf8(value.toByteArray()) : value.toString();
        if (value.typeId() == QMetaType::QDateTime) {
            const QDateTime dt = value.toDateTime();
            s = IsoDateTime(dt.date(), dt.time());
        }
        if (!IsWideType(col.type) && col.type != dtEnum && col.type != dtGuid) {
            for (QChar ch : s)
                if (ch.unicode() > 0xFF)
                    return fail(QStringLiteral("'%1' holds characters a narrow text column cannot store; use a wide string type")
                                    .arg(Shown(s)));
        }
        if (IsSizedTextType(col.type) && col.size > 0 && s.size() > col.size)
            return fail(QStringLiteral("'%1' is longer than %2 characters").arg(Shown(s)).arg(col.size));
        if (col.type == dtEnum) {
            const QStringList vals = OstEnumValues(col.spec);
            if (!vals.contains(s)) {
                bool isIdx = false;
                const int idx = s.toInt(&isIdx);
                if (isIdx && idx >= 0 && idx < vals.size()) return vals.at(idx);
                return fail(QStringLiteral("'%1' is not one of %2").arg(Shown(s), vals.join(QStringLiteral(", "))));
            }
        }
        return s;
    }
    case dtSmallInt: case dtInteger: case dtWord: case dtLargeInt: case dtAutoInc: case dtLink: case dtLargeLink: {
        qint64 n = 0;
        if (!ParseInteger(value, n)) return fail(QStringLiteral("'%1' is not a whole number").arg(Shown(value)));
        qint64 lo = LLONG_MIN, hi = LLONG_MAX;
        if (col.type == dtSmallInt) { lo = -32768; hi = 32767; }
        else if (col.type == dtWord) { lo = 0; hi = 65535; }
        else if (col.type == dtInteger || col.type == dtLink) { lo = INT_MIN; hi = INT_MAX; }
        if (n < lo || n > hi) return fail(QStringLiteral("%1 is outside %2 to %3").arg(n).arg(lo).arg(hi));
        return QVariant(static_cast<qlonglong>(n));
    }
    case dtFloat: {
        double d = 0;
        if (!ParseDouble(value, d)) return fail(QStringLiteral("'%1' is not a number").arg(Shown(value)));
        if (col.precision > 0 && d != 0) {
            // Precision counts significant digits.
            const double mag = DigitScale(col.precision - 1 - DecimalExponent(std::fabs(d)));
            if (std::isfinite(mag) && mag > 0) d = std::round(d * mag) / mag;
        }
        return d;
    }
    case dtBoolean: {
        if (value.typeId() == QMetaType::QString) {
            const QString s = value.toString().trimmed().toLower();
            if (s == u"true" || s == u"1" || s == u"yes") return 1;
            if (s == u"false" || s == u"0" || s == u"no") return 0;
            return fail(QStringLiteral("'%1' is not True or False").arg(Shown(value)));
        }
        qint64 n = 0;
        if (!ParseInteger(value, n) || (n != 0 && n != 1))
            return fail(QStringLiteral("'%1' is not True or False").arg(Shown(value)));
        return static_cast<qlonglong>(n);
    }
    case dtDate: {
        QDate d;
        QTime t;
        if (!ParseDateAndTime(value, d, t) || !d.isValid()) return fail(QStringLiteral("'%1' is not a date").arg(Shown(value)));
        return IsoDate(d);
    }
    case dtTime: {
        bool ok = false;
        QTime t = ParseTime(value, ok);
        if (!ok) return fail(QStringLiteral("'%1' is not a time").arg(Shown(value)));
        return IsoTime(t, col.precision == 2 ? 2 : col.precision == 4 ? 4 : 3);
    }
    case dtDateTime: {
        QDate d;
        QTime t;
        if (!ParseDateAndTime(value, d, t)) return fail(QStringLiteral("'%1' is not a date and time").arg(Shown(value)));
        return IsoDateTime(d, t);
    }
    case dtBlob:
        if (value.typeId() == QMetaType::QByteArray) return value;
        return value.toString().toUtf8();
    default: return value;
    }
}

QVariant OstFromStorage(const QVariant& v, int t) {
    if (!v.isValid() || v.isNull()) return QVariant();
    switch (t) {
    case dtDate: {
        const QDate d = QDate::fromString(v.toString().left(10), Qt::ISODate);
        return d.isValid() ? QVariant(d) : v;
    }
    case dtTime: {
        const QTime tm = QTime::fromString(v.toString(), Qt::ISODateWithMs);
        return tm.isValid() ? QVariant(tm) : v;
    }
    case dtDateTime: {
        const QDateTime dt = QDateTime::fromString(v.toString(), Qt::ISODateWithMs);
        return dt.isValid() ? QVariant(dt) : v;
    }
    case dtBoolean: return v.typeId() == QMetaType::QString ? v : QVariant(v.toLongLong() != 0);
    case dtBlob: return v.typeId() == QMetaType::QByteArray ? v : QVariant(v.toString().toUtf8());
    case dtFloat: return v.typeId() == QMetaType::QString ? v : QVariant(v.toDouble());
    default: return v;
    }
}

int OstLibraryFieldType(int t) {
    switch (t) {
    case dtChar: return ftFixedChar;
    case dtString: case dtEnum: return ftString;
    case dtSmallInt: return ftSmallint;
    case dtInteger: case dtLink: return ftInteger;
    case dtFloat: return ftFloat;
    case dtWord: return ftWord;
    case dtBlob: return ftBlob;
    case dtDate: return ftDate;
    case dtMemo: return ftMemo;
    case dtAutoInc: return ftAutoInc;
    case dtGuid: return ftGuid;
    case dtTime: return ftTime;
    case dtLargeLink: case dtLargeInt: return ftLargeint;
    case dtDateTime: return ftDateTime;
    case dtWideString: return ftWideString;
    case dtWideMemo: return ftWideMemo;
    case dtBoolean: return ftBoolean;
    default: return ftUnknown;
    }
}

// ---------------------------------------------------------------- SQL function

QVariant OstSqlArgument(sqlite3_value* v) {
    switch (sqlite3_value_type(v)) {
    case SQLITE_INTEGER: return QVariant(static_cast<qlonglong>(sqlite3_value_int64(v)));
    case SQLITE_FLOAT: return QVariant(sqlite3_value_double(v));
    case SQLITE_BLOB:
        return QVariant(QByteArray(static_cast<const char*>(sqlite3_value_blob(v)), sqlite3_value_bytes(v)));
    case SQLITE_NULL: return QVariant();
    default:
        return QVariant(QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_value_text(v)), sqlite3_value_bytes(v)));
    }
}

QString OstSqlTextArgument(sqlite3_value* v) {
    const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(v));
    return p ? QString::fromUtf8(p, sqlite3_value_bytes(v)) : QString();
}

void OstSqlResult(sqlite3_context* ctx, const QVariant& out) {
    if (!out.isValid() || out.isNull()) { sqlite3_result_null(ctx); return; }
    switch (out.typeId()) {
    case QMetaType::LongLong: case QMetaType::Int: sqlite3_result_int64(ctx, out.toLongLong()); break;
    case QMetaType::Double: sqlite3_result_double(ctx, out.toDouble()); break;
    case QMetaType::QByteArray: {
        const QByteArray b = out.toByteArray();
        sqlite3_result_blob64(ctx, b.constData(), static_cast<sqlite3_uint64>(b.size()), SQLITE_TRANSIENT);
        break;
    }
    default: {
        const QByteArray t = out.toString().toUtf8();
        sqlite3_result_text64(ctx, t.constData(), static_cast<sqlite3_uint64>(t.size()), SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    }
}

static void ConvertFunc(sqlite3_context* ctx, int, sqlite3_value** argv) {
    OstColumnMeta col;
    col.type = sqlite3_value_int(argv[1]);
    col.size = sqlite3_value_int(argv[2]);
    col.precision = sqlite3_value_int(argv[3]);
    col.spec = OstSqlTextArgument(argv[4]);
    col.name = OstSqlTextArgument(argv[5]);
    QString error;
    const QVariant in = OstSqlArgument(argv[0]);
    const QVariant out = OstToStorage(in, col, error);
    if (!error.isEmpty()) {
        const QByteArray msg = QStringLiteral("Cannot convert: %1 (as %2)").arg(error, GetDataTypeName(col.type)).toUtf8();
        sqlite3_result_error(ctx, msg.constData(), msg.size());
        return;
    }
    OstSqlResult(ctx, out);
}

void OstRegisterConvertFunction(sqlite3* db) {
    sqlite3_create_function_v2(db, "ost_convert", 6, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, ConvertFunc, nullptr,
                               nullptr, nullptr);
}
