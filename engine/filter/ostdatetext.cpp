// Dates and times written as text, as filters and check conditions give them.
#include "engine/filter/ostdatetext.h"

#include <QLocale>
#include <QRegularExpression>

namespace {

bool IsDigit(QChar c) { return c >= u'0' && c <= u'9'; }

// A run of ASCII digits of the given length range, as a number.
bool TakeDigits(QStringView s, int minLen, int maxLen, int& value) {
    if (s.size() < minLen || s.size() > maxLen) return false;
    value = 0;
    for (QChar c : s) {
        if (!IsDigit(c)) return false;
        value = value * 10 + (c.unicode() - '0');
    }
    return true;
}

// "yyyy-M-d": ISO order, the form dates are stored in.
bool ParseIsoDate(QStringView s, QDate& d) {
    const auto parts = s.split(u'-');
    if (parts.size() != 3) return false;
    int y, m, day;
    if (!TakeDigits(parts[0], 4, 4, y) || !TakeDigits(parts[1], 1, 2, m) || !TakeDigits(parts[2], 1, 2, day)) return false;
    d = QDate(y, m, day);
    return d.isValid();
}

// "M.d.yyyy": month first, for text that the locale does not read.
bool ParseMonthFirstDate(QStringView s, QDate& d) {
    const auto parts = s.split(u'.');
    if (parts.size() != 3) return false;
    int y, m, day;
    if (!TakeDigits(parts[2], 4, 4, y) || !TakeDigits(parts[0], 1, 2, m) || !TakeDigits(parts[1], 1, 2, day)) return false;
    d = QDate(y, m, day);
    return d.isValid();
}

// Dates and times are read in the application's locale (the system's unless
// the application set another as the default).
QLocale ReadingLocale() { return QLocale(); }

// A two-digit year takes the century that puts it within 50 years of today.
QDate WithNearCentury(const QDate& d) {
    const int now = QDate::currentDate().year();
    int y = now - now % 100 + d.year() % 100;
    if (y >= now + 50) y -= 100;
    else if (y < now - 50) y += 100;
    return QDate(y, d.month(), d.day());
}

// The locale's short date format in the variants people type: day and month
// with or without a leading zero, the year with four digits or two. Two-digit
// variants come last and are flagged.
QList<QPair<QString, bool>> LocaleDateFormats(const QLocale& locale) {
    static const QRegularExpression day(QStringLiteral("(?<!d)dd(?!d)")), month(QStringLiteral("(?<!M)MM(?!M)")),
        year(QStringLiteral("y+"));
    QString f = locale.dateFormat(QLocale::ShortFormat);
    f.replace(day, QStringLiteral("d")).replace(month, QStringLiteral("M"));
    QString four = f, two = f;
    four.replace(year, QStringLiteral("yyyy"));
    two.replace(year, QStringLiteral("yy"));
    return {{four, false}, {two, true}};
}

// The locale's long time format without the time zone, which a written time
// leaves out.
QString LocaleTimeFormat(const QLocale& locale) {
    static const QRegularExpression zone(QStringLiteral("\\s*\\(t+\\)|\\s*\\bt+\\b"));
    return locale.timeFormat(QLocale::LongFormat).remove(zone).trimmed();
}

bool ParseLocaleDate(const QString& s, QDate& d) {
    const QLocale locale = ReadingLocale();
    for (const auto& [format, twoDigits] : LocaleDateFormats(locale)) {
        d = locale.toDate(s, format);
        if (d.isValid()) {
            if (twoDigits) d = WithNearCentury(d);
            return d.isValid();
        }
    }
    return false;
}

// ISO first, then the locale's own format, then month first.
bool ParseDate(const QString& text, QDate& d) {
    const QString s = text.trimmed();
    return ParseIsoDate(s, d) || ParseLocaleDate(s, d) || ParseMonthFirstDate(s, d);
}

// "H:mm", "H:mm:ss" or "H:mm:ss.f" with up to nine fraction digits (milliseconds are kept).
bool ParseClock(QStringView s, QTime& t) {
    const auto parts = s.split(u':');
    if (parts.size() < 2 || parts.size() > 3) return false;
    int h, m, sec = 0, ms = 0, unused;
    if (!TakeDigits(parts[0], 1, 2, h) || !TakeDigits(parts[1], 2, 2, m)) return false;
    if (parts.size() == 3) {
        QStringView secPart = parts[2];
        const qsizetype dot = secPart.indexOf(u'.');
        if (dot >= 0) {
            const QStringView frac = secPart.mid(dot + 1);
            if (!TakeDigits(frac, 1, 9, unused)) return false;
            TakeDigits(frac.left(3), 1, 3, ms);
            for (qsizetype i = frac.size(); i < 3; ++i) ms *= 10;
            secPart = secPart.left(dot);
        }
        if (!TakeDigits(secPart, 2, 2, sec)) return false;
    }
    t = QTime(h, m, sec, ms);
    return t.isValid();
}

bool ParseTime(const QString& text, QTime& t) {
    const QString s = text.trimmed();
    if (ParseClock(s, t)) return true;
    const QLocale locale = ReadingLocale();
    t = locale.toTime(s, QLocale::ShortFormat);
    if (!t.isValid()) t = locale.toTime(s, QLocale::LongFormat);
    if (!t.isValid()) t = locale.toTime(s, LocaleTimeFormat(locale));
    return t.isValid();
}

// Date and time stay apart so that no time zone rule can shift the value.
// The date part is read as ParseDate reads a date; a date alone means its midnight.
bool ParseDateTime(const QString& text, QDate& d, QTime& t) {
    const QString s = text.trimmed();
    const qsizetype iso = s.indexOf(u'T');
    if (iso > 0 && ParseIsoDate(QStringView(s).left(iso), d) && ParseClock(QStringView(s).mid(iso + 1).trimmed(), t))
        return true;
    for (qsizetype split = s.indexOf(u' '); split > 0; split = s.indexOf(u' ', split + 1)) {
        QString datePart = s.left(split).trimmed();
        if (datePart.endsWith(u',')) datePart.chop(1);
        if (ParseDate(datePart, d) && ParseTime(s.mid(split + 1), t)) return true;
    }
    t = QTime(0, 0);
    return ParseDate(s, d);
}

} // namespace

bool OstParseDateText(const QString& text, QDate& d) { return ParseDate(text, d); }
bool OstParseTimeText(const QString& text, QTime& t) { return ParseTime(text, t); }
bool OstParseDateTimeText(const QString& text, QDate& d, QTime& t) { return ParseDateTime(text, d, t); }

QString OstDateToText(const QDate& d) {
    static const QRegularExpression year(QStringLiteral("y+"));
    const QLocale locale = ReadingLocale();
    return locale.toString(d, locale.dateFormat(QLocale::ShortFormat).replace(year, QStringLiteral("yyyy")));
}

QString OstTimeToText(const QTime& t) {
    const QLocale locale = ReadingLocale();
    return locale.toString(t, LocaleTimeFormat(locale));
}

QString OstDateTimeToText(const QDate& d, const QTime& t) { return OstDateToText(d) + u' ' + OstTimeToText(t); }
