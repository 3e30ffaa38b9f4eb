#include "designer/core/osttableprops.h"

#include "designer/core/ostmodifications.h"
#include "engine/ostengine.h"

#include <QLocale>

namespace {
const char* const kMethodNames[] = {"Default", "None", "Protection", "Classic", "FastEncrypt", "Blowfish", "Rijndael/AES"};
constexpr int kMethodCount = 7;
} // namespace

QString MaintainCurrentEncryptionEntry() { return QStringLiteral("<maintain current>"); }

QString GetEncryptionMethodName(int method) {
    return method >= 0 && method < kMethodCount ? QString::fromLatin1(kMethodNames[method]) : QString();
}

int GetEncryptionMethodFromMethodName(const QString& name) {
    for (int m = 0; m < kMethodCount; ++m)
        if (name == QLatin1String(kMethodNames[m])) return m;
    return 0;
}

void GetEncryptionMethods(QStringList& list, int tableLevel, bool includeMaintain) {
    list.clear();
    if (includeMaintain) list.append(MaintainCurrentEncryptionEntry());
    for (int m = 0; m < kMethodCount; ++m)
        if (m < emFastEncrypt || OstLevel::StrongEncryption(tableLevel)) list.append(GetEncryptionMethodName(m));
}

QString EngineCollation() { return QStringLiteral("Ostra"); }
QString DefaultCollationEntry() { return QStringLiteral("(default)"); }

QString BuildCollationName(const QString& base, bool caseSensitive, bool accentSensitive) {
    if (base.isEmpty() || base == EngineCollation() || base == DefaultCollationEntry()) return base;
    return base + (caseSensitive ? QStringLiteral("_cs") : QStringLiteral("_ci")) +
           (accentSensitive ? QStringLiteral("_as") : QStringLiteral("_ai"));
}

TCollationParts SplitCollationName(const QString& name, TCollationParts parts) {
    parts.Base = name;
    if (name.isEmpty() || name == DefaultCollationEntry()) return parts;
    const qsizetype cut = name.indexOf(u'_');
    if (cut < 0) return parts;
    // Locale names hold underscores of their own ("de_DE"): the flags are the
    // two-letter parts at the end.
    QStringList pieces = name.split(u'_');
    QString flags;
    while (pieces.size() > 1) {
        const QString last = pieces.last().toUpper();
        if (last != u"CS" && last != u"CI" && last != u"AS" && last != u"AI") break;
        flags.prepend(last);
        pieces.removeLast();
    }
    parts.Base = pieces.join(u'_');
    if (flags.contains(QStringLiteral("AS")) || flags.contains(QStringLiteral("AI")))
        parts.AccentSensitive = flags.contains(QStringLiteral("AS"));
    if (flags.contains(QStringLiteral("CS")) || flags.contains(QStringLiteral("CI")))
        parts.CaseSensitive = flags.contains(QStringLiteral("CS"));
    return parts;
}

QStringList CapacityItems() {
    return {QStringLiteral("1.000"),      QStringLiteral("10.000"),      QStringLiteral("100.000"),
            QStringLiteral("1.000.000"),  QStringLiteral("10.000.000"),  QStringLiteral("100.000.000")};
}

QString FormatCapacity(qint64 rows) { return FormatThousands(rows); }

qint64 ParseCapacity(const QString& text) {
    QString digits = text.trimmed();
    if (CapacityItems().contains(digits)) digits.remove(u'.');
    digits.remove(QLocale().groupSeparator());
    bool ok = false;
    const qint64 v = digits.toLongLong(&ok);
    return ok ? v : 0;
}
