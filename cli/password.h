// Passwords of encrypted tables and databases on the command line.
#pragma once

#include "cli.h"

namespace cli {

// Takes the global option "--password=PW" (allowed with every command) out of
// the arguments. Without it, a file that needs a password is asked for on the
// terminal, without echo, when standard input is one; otherwise it is refused.
void TakePasswordOption(Args& a);
// The password given with --password; empty when none was given.
QString CommandLinePassword();
// One line from standard input; without echo on a terminal unless echo.
QString ReadTerminalLine(bool echo);

} // namespace cli
