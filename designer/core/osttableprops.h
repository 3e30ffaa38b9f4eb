// Table-wide properties as the designer shows them: the encryption methods
// and their names, collation names built from a base collation and the case
// and accent choices, and the capacity text.
#pragma once

#include <QString>
#include <QStringList>

// The entry that keeps a method as it is, in lists that offer it.
QString MaintainCurrentEncryptionEntry();
QString GetEncryptionMethodName(int method);
// The method whose name is exactly name; 0 ("Default") when none is.
int GetEncryptionMethodFromMethodName(const QString& name);
// Clears list, then "<maintain current>" when asked, then the methods the
// table level offers (FastEncrypt, Blowfish and Rijndael/AES from level 4).
void GetEncryptionMethods(QStringList& list, int tableLevel, bool includeMaintain);
// Whether a method needs a password (Protection and the ciphers).
inline bool EncryptionNeedsPassword(int method) { return method >= 2; }

// The engine's own collation and the inherit entry of column lists.
QString EngineCollation();  // "Ostra"
QString DefaultCollationEntry(); // "(default)"

// base followed by "_cs"/"_ci" and "_as"/"_ai", unless base is empty,
// "Ostra" or "(default)", which stand alone.
QString BuildCollationName(const QString& base, bool caseSensitive, bool accentSensitive);

// A collation name split back into its base and choices. Choices the name
// does not mention keep the values passed in.
struct TCollationParts {
    QString Base;
    bool CaseSensitive = false;
    bool AccentSensitive = true;
};
TCollationParts SplitCollationName(const QString& name, TCollationParts start = {});

// The capacity combo's items and the text of a capacity ("%.0n").
QStringList CapacityItems();
QString FormatCapacity(qint64 rows);
// The number a capacity text stands for: the locale's thousands separators
// (and those of the list's own items) dropped; 0 when it is not a number.
qint64 ParseCapacity(const QString& text);
