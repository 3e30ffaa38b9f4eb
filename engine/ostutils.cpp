// Free routines of the engine: list parsing, locale names, paths, the
// process-wide password handler, the written forms of filter values and
// the version.
#include "engine/ostengine.h"
#include "engine/ostversion.h"

#include "engine/crypt/ostcryptaccess.h"
#include "engine/filter/ostdatetext.h"
#include "engine/filter/ostfilter.h"
#include "engine/store/ostcollation.h"

#include <QDir>
#include <QFileInfo>
#include <sqlite3.h>

namespace {

bool IsDriveRoot(const QString& p) {
    return p.size() == 3 && p.at(0).isLetter() && p.at(0).unicode() < 128 && p.at(1) == u':' &&
           (p.at(2) == u'\\' || p.at(2) == u'/');
}

bool IsSep(QChar c) {
    return c == u'\\' || c == u'/';
}

} // namespace

// Walks a separated list such as "A;B;;C;". position is 1-based; each call
// returns the text from position up to (not including) the next separator and
// moves position just past it. Pieces are not trimmed. Two adjacent separators
// give an empty piece, a separator at the very end gives none, so "a;b;;c;"
// yields "a", "b", "", "c" and an empty string yields nothing. Returns false
// once position is past the end. A position below 1 starts at the beginning.
bool ExtractPartialString(const QString& s, QChar separator, int& position, QString& piece) {
    if (position < 1) position = 1;
    if (position > s.size()) return false;
    const qsizetype start = position - 1;
    const qsizetype sep = s.indexOf(separator, start);
    if (sep < 0) {
        piece = s.mid(start);
        position = static_cast<int>(s.size()) + 1;
    } else {
        piece = s.mid(start, sep - start);
        position = static_cast<int>(sep) + 2;
    }
    return true;
}

void SetGlobalOnPassword(TOstPasswordEvent handler) {
    OstCryptSetPasswordHandler(std::move(handler));
}

TOstPasswordEvent GetGlobalOnPassword() {
    return OstCryptPasswordHandler();
}

void GetLocaleNames(QStringList& list) {
    list = OstIcuLocaleNames();
}

bool rkDirectoryExists(const QString& path) {
    if (path.isEmpty()) return false;
    const QFileInfo fi(path);
    return fi.exists() && fi.isDir();
}

// Absolute on this system, or in a form other systems use: a drive root
// ("C:\..." or "C:/...") or a network share ("\\server\share").
bool rkIsAbsolutePath(const QString& path) {
    if (path.isEmpty()) return false;
    if (QDir::isAbsolutePath(path)) return true;
    if (path.size() >= 3 && IsDriveRoot(path.left(3))) return true;
    return path.size() >= 3 && IsSep(path.at(0)) && IsSep(path.at(1)) && !IsSep(path.at(2));
}

// "/", a drive root ("C:\" or "C:/") or the root of a share ("\\server\share",
// with or without a trailing separator).
bool IsRootPath(const QString& path) {
    if (path == QLatin1String("/")) return true;
    if (IsDriveRoot(path)) return true;
    if (path.size() < 5 || !IsSep(path.at(0)) || !IsSep(path.at(1))) return false;
    QString rest = path.mid(2);
    rest.replace(u'\\', u'/');
    if (rest.endsWith(u'/')) rest.chop(1);
    const QStringList parts = rest.split(u'/');
    return parts.size() == 2 && !parts.at(0).isEmpty() && !parts.at(1).isEmpty();
}

QString OstEngineVersion() {
    return QStringLiteral(OSTRA_VERSION_STRING);
}

QString OstFilterQuotedName(const QString& name) { return OstQuoteIdent(name); }
QString OstFilterQuotedText(const QString& text) { return OstQuoteString(text); }
QString OstFilterDateText(const QDate& date) { return OstDateToText(date); }
QString OstFilterTimeText(const QTime& time) { return OstTimeToText(time); }
QString OstFilterDateTimeText(const QDate& date, const QTime& time) { return OstDateTimeToText(date, time); }

QStringList OstSqlKeywords() {
    QStringList words;
    for (int i = 0; i < sqlite3_keyword_count(); ++i) {
        const char* name = nullptr;
        int size = 0;
        if (sqlite3_keyword_name(i, &name, &size) == SQLITE_OK) words.append(QString::fromLatin1(name, size).toUpper());
    }
    words.sort();
    return words;
}

QStringList OstSqlFunctionNames() {
    static const QStringList names = [] {
        QStringList out{QStringLiteral("ostra_search")};
        sqlite3* db = nullptr;
        if (sqlite3_open_v2(":memory:", &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
            sqlite3_stmt* st = nullptr;
            if (sqlite3_prepare_v2(db, "SELECT DISTINCT name FROM pragma_function_list", -1, &st, nullptr) == SQLITE_OK)
                while (sqlite3_step(st) == SQLITE_ROW)
                    out.append(QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(st, 0))).toLower());
            sqlite3_finalize(st);
        }
        sqlite3_close(db);
        out.removeDuplicates();
        out.sort();
        return out;
    }();
    return names;
}
