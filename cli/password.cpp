#include "password.h"

#include "engine/ostengine.h"

#include <QHash>
#include <QTextStream>
#include <cstdio>
#include <termios.h>
#include <unistd.h>

namespace cli {

namespace {

QString& Given() {
    static QString password;
    return password;
}

// Three tries per table or database; an empty answer gives up.
void AskOnTerminal(QObject*, const QString& name, QString& password, bool& retry) {
    static QHash<QString, int> tries;
    retry = false;
    if (++tries[name] > 3) return;
    Err(QStringLiteral("Password for %1: ").arg(name));
    password = ReadTerminalLine(false);
    retry = !password.isEmpty();
}

} // namespace

void TakePasswordOption(Args& a) {
    static const QString prefix = QStringLiteral("password=");
    for (qsizetype i = a.flags.size() - 1; i >= 0; --i) {
        const QString& f = a.flags.at(i);
        if (f == QStringLiteral("password") || (f.startsWith(prefix) && f.size() == prefix.size()))
            throw UsageError(QStringLiteral("--password needs a value (--password=PW)"));
        if (!f.startsWith(prefix)) continue;
        if (Given().isEmpty()) Given() = f.mid(prefix.size());
        a.flags.removeAt(i);
    }
    if (Given().isEmpty() && isatty(STDIN_FILENO) == 1) SetGlobalOnPassword(AskOnTerminal);
}

QString CommandLinePassword() { return Given(); }

QString ReadTerminalLine(bool echo) {
    termios saved{};
    const bool hide = !echo && isatty(STDIN_FILENO) == 1 && tcgetattr(STDIN_FILENO, &saved) == 0;
    if (hide) {
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    // One stream for every call: what it read ahead is the next line, not lost.
    static QTextStream in(stdin);
    const QString line = in.readLine();
    if (hide) {
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        Err(QStringLiteral("\n")); // the user's Enter was not echoed
    }
    return line;
}

} // namespace cli
