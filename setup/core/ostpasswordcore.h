// The form a new password must have for an encryption method: six
// characters at least; the method "Classic" takes a password of six
// characters or more, a semicolon and a whole number of 0 or more as its key
// (the last semicolon separates them).
#pragma once

#include <QString>

bool IsValidEncryptionKey(int method, const QString& text);
// Why text is not a valid entry for the method, in the password dialog's
// words; empty when it is valid.
QString EncryptionKeyProblem(int method, const QString& text);
// The password dialog's note for the method that takes a password and a key.
QString PasswordAndKeyNote();
