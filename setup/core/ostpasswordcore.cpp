#include "setup/core/ostpasswordcore.h"

#include "engine/ostengine.h"

namespace {
constexpr int kMinPasswordLength = 6;
} // namespace

bool IsValidEncryptionKey(int method, const QString& text) {
    if (method != emClassic) return text.length() >= kMinPasswordLength;
    // The password may hold semicolons of its own: the last one separates the key.
    const qsizetype separator = text.lastIndexOf(u';');
    if (separator < kMinPasswordLength) return false;
    bool ok = false;
    const int key = text.mid(separator + 1).toInt(&ok);
    return ok && key >= 0;
}

QString PasswordAndKeyNote() {
    return QStringLiteral("NOTE: The selected encryption method requires a password AND a key. "
                          "Separate them by a semicolon, e.g. KeyWrd;518274");
}

QString EncryptionKeyProblem(int method, const QString& text) {
    if (IsValidEncryptionKey(method, text)) return QString();
    if (method == emClassic) return PasswordAndKeyNote();
    return QStringLiteral("Password must have at least six characters");
}
