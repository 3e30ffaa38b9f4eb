// The engine's vocabulary: data type names, the level rules, valid names and
// encryption method names.
#include "engine/types/osttypes.h"

const QString OstDefaultFulltextSeparators = QStringLiteral(" \t\r\n.,;:!?\"'()[]{}<>/\\|+-*=&%$#@^~`");

namespace {

const char* const DataTypeNames[OstDataTypeCount] = {
    "dtChar",      "dtString",   "dtSmallInt",   "dtInteger",  "dtFloat",    "dtWord",   "dtBlob",
    "dtDate",      "dtMemo",     "dtEnum",       "dtAutoInc",  "dtLink",     "dtGuid",   "dtTime",
    "dtLargeLink", "dtDateTime", "dtWideString", "dtWideMemo", "dtLargeInt", "dtBoolean"};

// Longest name of a table, column or other schema object, in characters (code points).
constexpr int MaxOstNameLength = 64;

// Splits UTF-16 text into code points; an unpaired surrogate comes back as
// itself, which no character class below accepts.
QList<char32_t> CodePoints(const QString& s) {
    QList<char32_t> out;
    out.reserve(s.size());
    for (qsizetype i = 0; i < s.size(); ++i) {
        const char16_t c = s.at(i).unicode();
        if (QChar::isHighSurrogate(c) && i + 1 < s.size() && QChar::isLowSurrogate(s.at(i + 1).unicode())) {
            out.append(QChar::surrogateToUcs4(c, s.at(i + 1).unicode()));
            ++i;
        } else {
            out.append(c);
        }
    }
    return out;
}

bool IsSurrogate(char32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}

bool IsNameStartChar(char32_t c) {
    return c == U'_' || (!IsSurrogate(c) && QChar::isLetter(c));
}

bool IsNameChar(char32_t c) {
    if (IsNameStartChar(c) || c == U' ' || c == U'-') return true;
    if (IsSurrogate(c)) return false;
    return QChar::isDigit(c) || QChar::isMark(c);
}

QString FromCodePoints(const QList<char32_t>& cps) {
    return QString::fromUcs4(cps.constData(), cps.size());
}

} // namespace

bool OstLevel::TypeMayBeNullable(int level, int dataType) {
    if (level >= 4) return dataType != dtAutoInc;
    switch (dataType) {
    case dtSmallInt:
    case dtInteger:
    case dtFloat:
    case dtWord:
    case dtTime:
    case dtDateTime:
    case dtLargeInt:
    case dtBoolean:
        return true;
    default:
        return false;
    }
}

QString GetDataTypeName(int dataType) {
    const int t = dataType & 127;
    return t < OstDataTypeCount ? QString::fromLatin1(DataTypeNames[t]) : QString();
}

int GetDataTypeFromDisplayName(const QString& name) {
    const QString n = name.trimmed();
    if (n.isEmpty()) return -1;
    for (int i = 0; i < OstDataTypeCount; ++i) {
        const QLatin1String full(DataTypeNames[i]);
        if (n.compare(full, Qt::CaseInsensitive) == 0 || n.compare(full.sliced(2), Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

// A name of a table, column, index or other schema object is 1 to 64
// characters (code points) long. It starts with a letter or '_'; the
// characters after the first are letters, combining marks, decimal digits,
// '_', '-' or a blank (U+0020), and the name does not end in a blank. Control
// characters, other white space, quotes, '.', '/', '\', ';', ':' and all other
// punctuation and symbols are rejected, so a name can be quoted in SQL and
// used in a file name and in ";"-separated field lists.
bool IsValidOstName(const QString& name) {
    const QList<char32_t> cps = CodePoints(name);
    if (cps.isEmpty() || cps.size() > MaxOstNameLength) return false;
    if (!IsNameStartChar(cps.first())) return false;
    for (char32_t c : cps)
        if (!IsNameChar(c)) return false;
    return cps.last() != U' ';
}

// A valid name is returned unchanged. Otherwise white space is trimmed, every
// character a name cannot hold becomes '_', and a run of underscores that
// contains such a replacement shrinks to one '_' (underscores the text already
// had in a row stay as they are). A leading digit gets a '_' in front, the
// result is cut to 64 characters and trailing blanks are dropped. Nothing
// left: "Field".
QString ConvertToValidOstName(const QString& text) {
    if (IsValidOstName(text)) return text;
    const QList<char32_t> in = CodePoints(text.trimmed());
    QList<char32_t> out;
    out.reserve(in.size() + 1);
    qsizetype runStart = -1;  // start of the '_' run that ends the output so far
    bool runReplaced = false; // that run holds a replacement
    for (char32_t c : in) {
        const bool keep =
            out.isEmpty() ? (IsNameStartChar(c) || (!IsSurrogate(c) && QChar::isDigit(c))) : IsNameChar(c);
        const bool replaced = !keep;
        const char32_t ch = keep ? c : U'_';
        if (ch != U'_') {
            out.append(ch);
            runStart = -1;
            continue;
        }
        if (runStart < 0) {
            runStart = out.size();
            runReplaced = replaced;
            out.append(U'_');
        } else if (runReplaced) {
            // already a single '_'
        } else if (replaced) {
            out.resize(runStart + 1); // collapse the run to one '_'
            runReplaced = true;
        } else {
            out.append(U'_');
        }
    }
    if (!out.isEmpty() && !IsNameStartChar(out.first())) out.prepend(U'_'); // a leading digit
    if (out.size() > MaxOstNameLength) out.resize(MaxOstNameLength);
    while (!out.isEmpty() && out.last() == U' ')
        out.removeLast();
    if (out.isEmpty()) return QStringLiteral("Field");
    return FromCodePoints(out);
}

QString OstEncryptionMethodName(int method) {
    static const char* const names[] = {"Default", "None", "Protection", "Classic", "FastEncrypt", "Blowfish", "Rijndael/AES"};
    return method >= emDefault && method <= emRijndael ? QString::fromLatin1(names[method])
                                                       : QStringLiteral("method %1").arg(method);
}

// An enumeration's value list is comma text: values are separated by commas, and a value
// that starts with '"' runs to the closing quote, so it may hold commas ("" in
// it stands for one quote). A quote later in a value is an ordinary character.
// Values are trimmed; empty ones are dropped.
QStringList OstEnumValues(const QString& spec) {
    QStringList values;
    const QString& s = spec;
    const qsizetype n = s.size();
    qsizetype i = 0;
    while (i <= n) {
        QString value;
        while (i < n && s.at(i).isSpace())
            ++i;
        if (i < n && s.at(i) == u'"') {
            ++i;
            while (i < n) {
                if (s.at(i) == u'"') {
                    if (i + 1 < n && s.at(i + 1) == u'"') {
                        value += u'"';
                        i += 2;
                        continue;
                    }
                    ++i;
                    break;
                }
                value += s.at(i++);
            }
        }
        while (i < n && s.at(i) != u',')
            value += s.at(i++);
        value = value.trimmed();
        if (!value.isEmpty()) values.append(value);
        ++i; // past the comma (or the end)
    }
    return values;
}

