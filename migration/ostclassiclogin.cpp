// At design time a classic dataset whose server refuses the connection asks
// for the password in a small dialog (installed when the package loads).
#include "migration/core/classicconnection.h"

#include <QApplication>
#include <QInputDialog>
#include <QLineEdit>

namespace {

void AskPassword(const QString& name, const QString& user, QString& password, bool& retry) {
    retry = false;
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return;
    bool ok = false;
    const QString label = user.isEmpty() ? QStringLiteral("Password for %1:").arg(name)
                                         : QStringLiteral("Password of %1 for %2:").arg(user, name);
    const QString answer = QInputDialog::getText(QApplication::activeWindow(), QStringLiteral("Connect"), label,
                                                 QLineEdit::Password, QString(), &ok);
    if (!ok) return;
    password = answer;
    retry = true;
}

const bool installed = [] {
    if (!GetClassicOnLogin()) SetClassicOnLogin(AskPassword);
    return true;
}();

} // namespace
