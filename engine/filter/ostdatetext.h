// Dates and times written as text. Dates are read as ISO ("yyyy-M-d") first,
// then in the application's locale (QLocale(): the system's unless the
// application set another default) with day and month with or without a
// leading zero and a four- or two-digit year, then month first ("M.d.yyyy").
// A two-digit year takes the century that puts it within 50 years of today.
// Times are "H:mm[:ss[.f]]" or the locale's; a date and time is a date, a
// space (or "T" after an ISO date) and a time; a date alone is its midnight.
#pragma once

#include <QDate>
#include <QString>
#include <QTime>

bool OstParseDateText(const QString& text, QDate& d);
bool OstParseTimeText(const QString& text, QTime& t);
bool OstParseDateTimeText(const QString& text, QDate& d, QTime& t);

// The locale's written forms, which the functions above read back in the same
// locale: the short date format with a four-digit year, the long time format
// without its time zone, and the two joined by a blank.
QString OstDateToText(const QDate& d);
QString OstTimeToText(const QTime& t);
QString OstDateTimeToText(const QDate& d, const QTime& t);
