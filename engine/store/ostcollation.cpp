// The "Ostra" collation and ICU locale collations for SQLite connections.
#include "engine/store/ostcollation.h"

#include <sqlite3.h>
#include <unicode/ucol.h>
#include <unicode/uloc.h>
#include <unicode/uversion.h>

#include <QHash>

#include <algorithm>
#include <cstring>

namespace {

const char OstraCollationName[] = "Ostra";

// A collation name split into its locale and optional sensitivity suffixes.
struct ParsedCollation {
    QString locale;           // as written
    QString icuLocale;        // ICU's spelling; empty when the locale is unknown
    int caseSensitive = -1;   // -1 = not given (sensitive), 0 = _ci, 1 = _cs
    int accentSensitive = -1; // -1 = not given (sensitive), 0 = _ai, 1 = _as
};

// Every locale name ICU knows, keyed by its lower-case spelling. The general
// locale list holds regional variants such as "de_DE" that have no collation
// data of their own (they sort like their language); the collation list adds
// the few collation-only entries. Built once, read-only afterwards.
const QHash<QString, QString>& KnownLocales() {
    static const QHash<QString, QString> known = [] {
        QHash<QString, QString> h;
        const int32_t n = uloc_countAvailable();
        for (int32_t i = 0; i < n; ++i) {
            const QString name = QString::fromLatin1(uloc_getAvailable(i));
            h.insert(name.toLower(), name);
        }
        const int32_t c = ucol_countAvailable();
        for (int32_t i = 0; i < c; ++i) {
            const QString name = QString::fromLatin1(ucol_getAvailable(i));
            h.insert(name.toLower(), name);
        }
        return h;
    }();
    return known;
}

bool IsOstraName(const QString& name) {
    return name.compare(QLatin1String(OstraCollationName), Qt::CaseInsensitive) == 0;
}

// Suffixes are read from the end: first an accent suffix (_as/_ai), then a
// case suffix (_cs/_ci) before it. The first part is never taken as a suffix,
// so "cs" alone is the Czech locale while "cs_ci" is Czech, case-insensitive.
// A locale whose region code looks like a suffix ("en_AS", "en_AI", "fr_CI")
// is read as language plus suffix; ICU has no collation data for those
// regions, so they sort exactly like their language anyway.
ParsedCollation ParseCollationName(const QString& name) {
    ParsedCollation p;
    QStringList parts = name.split(QLatin1Char('_'));
    if (parts.size() > 1) {
        const QString last = parts.last().toLower();
        if (last == QLatin1String("as") || last == QLatin1String("ai")) {
            p.accentSensitive = last == QLatin1String("as") ? 1 : 0;
            parts.removeLast();
        }
    }
    if (parts.size() > 1) {
        const QString last = parts.last().toLower();
        if (last == QLatin1String("cs") || last == QLatin1String("ci")) {
            p.caseSensitive = last == QLatin1String("cs") ? 1 : 0;
            parts.removeLast();
        }
    }
    p.locale = parts.join(QLatin1Char('_'));
    if (!p.locale.isEmpty()) p.icuLocale = KnownLocales().value(p.locale.toLower());
    return p;
}

QString CanonicalLocaleCollation(const ParsedCollation& p) {
    QString s = p.icuLocale;
    if (p.caseSensitive >= 0) s += p.caseSensitive ? QLatin1String("_cs") : QLatin1String("_ci");
    if (p.accentSensitive >= 0) s += p.accentSensitive ? QLatin1String("_as") : QLatin1String("_ai");
    return s;
}

// Opens a collator for a parsed name; nullptr when ICU cannot provide one.
UCollator* OpenCollator(const ParsedCollation& p) {
    if (p.icuLocale.isEmpty()) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    UCollator* coll = ucol_open(p.icuLocale.toLatin1().constData(), &status);
    if (U_FAILURE(status) || !coll) {
        if (coll) ucol_close(coll);
        return nullptr;
    }
    const bool caseSens = p.caseSensitive != 0;
    const bool accentSens = p.accentSensitive != 0;
    UColAttributeValue strength = UCOL_TERTIARY;
    bool caseLevel = false;
    if (caseSens && accentSens)
        strength = UCOL_TERTIARY;
    else if (!caseSens && accentSens)
        strength = UCOL_SECONDARY;
    else if (!caseSens && !accentSens)
        strength = UCOL_PRIMARY;
    else {
        // Case matters, accents do not: primary strength plus the case level.
        strength = UCOL_PRIMARY;
        caseLevel = true;
    }
    ucol_setStrength(coll, strength);
    ucol_setAttribute(coll, UCOL_CASE_LEVEL, caseLevel ? UCOL_ON : UCOL_OFF, &status);
    // Canonical equivalence, so that precomposed and decomposed accents compare equal.
    ucol_setAttribute(coll, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    if (U_FAILURE(status)) {
        ucol_close(coll);
        return nullptr;
    }
    return coll;
}

// Code point order: UTF-8 byte order is code point order, the shorter string
// first when one is a prefix of the other.
int CompareOstra(void*, int len1, const void* s1, int len2, const void* s2) {
    const int n = std::min(len1, len2);
    const int c = n > 0 ? std::memcmp(s1, s2, static_cast<size_t>(n)) : 0;
    if (c != 0) return c < 0 ? -1 : 1;
    return len1 < len2 ? -1 : (len1 > len2 ? 1 : 0);
}

int CompareIcu(void* ctx, int len1, const void* s1, int len2, const void* s2) {
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult r =
        ucol_strcollUTF8(static_cast<const UCollator*>(ctx), static_cast<const char*>(s1), len1,
                         static_cast<const char*>(s2), len2, &status);
    if (U_FAILURE(status)) return CompareOstra(nullptr, len1, s1, len2, s2);
    return r == UCOL_LESS ? -1 : (r == UCOL_GREATER ? 1 : 0);
}

void DestroyCollator(void* ctx) {
    ucol_close(static_cast<UCollator*>(ctx));
}

// Called by SQLite when a statement names a collation the connection lacks.
// Names that are not valid locale collations are left unregistered, so SQLite
// reports "no such collation sequence".
void CollationNeeded(void*, sqlite3* db, int, const char* name) {
    if (!name) return;
    const QString qname = QString::fromUtf8(name);
    if (IsOstraName(qname)) {
        sqlite3_create_collation_v2(db, OstraCollationName, SQLITE_UTF8, nullptr, CompareOstra, nullptr);
        return;
    }
    UCollator* coll = OpenCollator(ParseCollationName(qname));
    if (!coll) return;
    // Registered under the name as asked for; SQLite matches names without regard to case.
    if (sqlite3_create_collation_v2(db, name, SQLITE_UTF8, coll, CompareIcu, DestroyCollator) != SQLITE_OK)
        ucol_close(coll); // not called back on failure
}

} // namespace

void OstRegisterCollations(sqlite3* db) {
    if (!db) return;
    sqlite3_create_collation_v2(db, OstraCollationName, SQLITE_UTF8, nullptr, CompareOstra, nullptr);
    sqlite3_collation_needed(db, nullptr, CollationNeeded);
}

bool OstIsValidCollationName(const QString& name, QString* error) {
    if (name.isEmpty() || IsOstraName(name)) return true;
    const ParsedCollation p = ParseCollationName(name);
    QString message;
    if (p.locale.isEmpty())
        message = QStringLiteral("Unknown collation \"%1\": the locale is missing").arg(name);
    else if (p.icuLocale.isEmpty())
        message = QStringLiteral("Unknown collation \"%1\": \"%2\" is not a locale known to the engine")
                      .arg(name, p.locale);
    else {
        UCollator* coll = OpenCollator(p);
        if (coll) {
            ucol_close(coll);
            return true;
        }
        message = QStringLiteral("Unknown collation \"%1\": no collator is available for \"%2\"")
                      .arg(name, p.icuLocale);
    }
    if (error) *error = message;
    return false;
}

QString OstCanonicalCollation(const QString& name) {
    if (name.isEmpty() || IsOstraName(name)) return QLatin1String(OstraCollationName);
    const ParsedCollation p = ParseCollationName(name);
    if (p.icuLocale.isEmpty()) return name; // not a valid name: left as written
    return CanonicalLocaleCollation(p);
}

QStringList OstIcuLocaleNames() {
    QStringList list;
    const int32_t n = ucol_countAvailable();
    list.reserve(n);
    for (int32_t i = 0; i < n; ++i)
        list.append(QString::fromLatin1(ucol_getAvailable(i)));
    list.sort();
    list.removeDuplicates();
    return list;
}

QString OstIcuCollatorVersion() {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* coll = ucol_open("", &status);
    if (U_FAILURE(status) || !coll) {
        if (coll) ucol_close(coll);
        return QString();
    }
    UVersionInfo version;
    ucol_getVersion(coll, version);
    ucol_close(coll);
    char text[U_MAX_VERSION_STRING_LENGTH] = {};
    u_versionToString(version, text);
    return QString::fromLatin1(text);
}
