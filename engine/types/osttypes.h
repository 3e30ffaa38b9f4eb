// The engine's vocabulary, shared by every part of it: the error class and
// its codes, the column data types, encryption methods, foreign-key actions,
// database layouts, the table-level rules, valid object names and the events
// that report progress and ask for passwords. Knows nothing of SQLite.
#pragma once

#include "engine/base/sysutils.h"

#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>

class QObject;

// Engine error codes carried by EOstraError.
namespace OstErr {
constexpr int16_t General = -1;
constexpr int16_t NotFound = -2;
constexpr int16_t AlreadyExists = -3;
constexpr int16_t InvalidName = -4;
constexpr int16_t InvalidDefinition = -5;
constexpr int16_t LevelViolation = -6;
constexpr int16_t ConstraintViolation = -7;
constexpr int16_t ConversionFailed = -8;
constexpr int16_t Aborted = -9;
constexpr int16_t Locked = -10;
constexpr int16_t ReadOnly = -11;
constexpr int16_t InvalidFilter = -12;
constexpr int16_t Sql = -13;
constexpr int16_t IoError = -14;
constexpr int16_t NotOpen = -15;
constexpr int16_t KeyViolation = -16;
constexpr int16_t ForeignKeyViolation = -17;
constexpr int16_t InvalidIndication = -18; // dtAutoInc indication is not a valid index definition
constexpr int16_t Password = -19;
} // namespace OstErr

class EOstraError : public Exception {
public:
    EOstraError(int16_t code, const QString& message) : Exception(message), m_code(code) {}
    int16_t ErrorCode() const { return m_code; }

private:
    int16_t m_code;
};

// SQL that does not compile or is refused: Position is the character offset
// in the SQL text where the problem is (the start of the statement when the
// compiler names no place), -1 when it is not known.
class EOstraSqlError : public EOstraError {
public:
    EOstraSqlError(const QString& message, int position) : EOstraError(OstErr::Sql, message), m_position(position) {}
    int Position() const { return m_position; }

private:
    int m_position;
};

// Column data types; ordinals are stored in table files and must never change.
enum TOstDataType : uint8_t {
    dtChar = 0, dtString = 1, dtSmallInt = 2, dtInteger = 3, dtFloat = 4, dtWord = 5, dtBlob = 6, dtDate = 7,
    dtMemo = 8, dtEnum = 9, dtAutoInc = 10, dtLink = 11, dtGuid = 12, dtTime = 13, dtLargeLink = 14,
    dtDateTime = 15, dtWideString = 16, dtWideMemo = 17, dtLargeInt = 18, dtBoolean = 19
};
constexpr int OstDataTypeCount = 20;

enum TOstEncryptionMethod : uint8_t {
    emDefault = 0, emNone = 1, emProtection = 2, emClassic = 3, emFastEncrypt = 4, emBlowfish = 5, emRijndael = 6
};

enum TOstForeignKeyAction : uint8_t { faReject = 0, faSetNull = 1, faSetDefault = 2, faCascade = 3 };

enum TOstDatabaseType : uint8_t { dbtDirectory = 0, dbtSingleFile = 1 };

// Table levels. New tables get OstDefaultTableLevel.
constexpr int OstMinTableLevel = 1;
constexpr int OstMaxTableLevel = 6;
constexpr int OstDefaultTableLevel = 6;
constexpr int OstMinCapacity = 1000;

namespace OstLevel {
inline bool HasPrimaryKeys(int level) { return level >= 4; }
inline int MaxTextSize(int level) { return level >= 4 ? 32767 : 255; }
inline int MaxIndexExpression(int level) { return level >= 4 ? 255 : 40; }
inline bool SqlIndexExpressions(int level) { return level >= 5; }
inline bool HasCollations(int level) { return level >= 6; }
inline bool HasFulltext(int level) { return level >= 4; }
inline bool HasFulltextSeparators(int level) { return level >= 6; }
inline bool StrongEncryption(int level) { return level >= 4; }
inline bool ReservedIndexNames(int level) { return level >= 4; }
inline bool HasDefaultValues(int level) { return level >= 4; }
// From level 4 the table holds the capacity of all its indexes; below, each index its own.
inline bool CapacityPerTable(int level) { return level >= 4; }
// Below level 4 only these types may be nullable.
bool TypeMayBeNullable(int level, int dataType);
} // namespace OstLevel

inline bool IsTextType(int t) { return t == dtChar || t == dtString || t == dtMemo || t == dtWideString || t == dtWideMemo; }
inline bool IsSizedTextType(int t) { return t == dtChar || t == dtString || t == dtWideString; }
inline bool IsCollatedType(int t) { return t == dtString || t == dtMemo || t == dtWideString || t == dtWideMemo; }
inline bool IsWideType(int t) { return t == dtWideString || t == dtWideMemo; }
inline bool IsLinkType(int t) { return t == dtLink || t == dtLargeLink; }
inline bool IsIntegerType(int t) {
    return t == dtSmallInt || t == dtInteger || t == dtWord || t == dtLargeInt || t == dtAutoInc || IsLinkType(t);
}

using TOstPasswordEvent = std::function<void(QObject* sender, const QString& tableName, QString& password, bool& retry)>;
using TOstProgressEvent = std::function<void(QObject* sender, int percent, bool& abort)>;

// Display name of a data type ("dtString"); empty for an unknown ordinal.
QString GetDataTypeName(int dataType);
int GetDataTypeFromDisplayName(const QString& name); // -1 when unknown
// Names of tables, columns, indexes and other schema objects.
bool IsValidOstName(const QString& name);
QString ConvertToValidOstName(const QString& text);
// Values of an enumeration from its specification string (comma separated,
// a value may be quoted; trimmed, empty ones dropped).
QStringList OstEnumValues(const QString& spec);
// "Default", "None", "Protection", "Classic", "FastEncrypt", "Blowfish", "Rijndael/AES".
QString OstEncryptionMethodName(int method);

// Default separators of the fulltext word splitter.
extern const QString OstDefaultFulltextSeparators;
