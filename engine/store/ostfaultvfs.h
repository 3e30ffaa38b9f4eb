// Fault injection for the engine's file writes. A VFS that passes every call
// to the platform VFS sits under the encrypting one; once armed it fails the
// Nth write, sync or truncate of a disk file (the file as it reaches the disk,
// after encryption) with an I/O error or a full disk, the way a failing disk
// or a full volume would. Unarmed it only passes calls through.
//
// Meant for tests that walk a failure over every write of an operation: the
// operation must fail cleanly and leave the data as it was.
#pragma once

struct sqlite3_vfs;

namespace OstFault {

enum Op { Write = 1, Sync = 2, Truncate = 4, AnyOp = Write | Sync | Truncate };
// Crash ends the process on the spot (_exit), as a kill or a power cut at that
// write would: for tests that run the operation in a child process.
enum Kind { IoError, DiskFull, Crash };
constexpr int CrashExitCode = 86;

// From now on, the nth operation (1-based) of the kinds in ops fails; with
// persistent set, so does every later one until Disarm. n = 0 only counts.
void Arm(int n, Kind kind = IoError, int ops = AnyOp, bool persistent = false);
void Disarm();
// Operations of the armed kinds seen since Arm.
int Count();
// True once an armed failure was returned.
bool Fired();

// For the engine's own file writes outside SQLite (records beside the data):
// SQLITE_OK, or the error an armed fault gives this operation.
int Check(Op op);

// The fault layer over root, made once; the encrypting VFS opens its files through it.
sqlite3_vfs* Wrap(sqlite3_vfs* root);

} // namespace OstFault
