// The engine's SQLite VFS: a shim over the platform's default VFS that
// encrypts the pages of every file whose keys are on the key ring (and the
// page images in its rollback journal), and keeps temporary files (sort
// spills, statement journals, temporary databases) in memory, so that no
// table data reaches the disk in the clear. Files without keys pass through.
//
// It is installed as the process's default VFS when the engine is loaded.
#pragma once

#include "engine/crypt/ostcrypt.h"

#include <QString>

void OstVfsInstall();
// The path as SQLite names the file to the VFS.
QByteArray OstVfsPath(const QString& file);
// Temporary files the VFS has kept in memory since the process started.
int OstVfsMemoryFiles();

// What the first bytes of a file say about it, and whether keys open its page
// 1. Both read through the platform VFS, which keeps the file descriptor open
// while SQLite holds locks on the file (closing another descriptor of the file
// would drop those locks).
OstCrypt::FileInfo OstVfsInspect(const QString& file);
bool OstVfsVerify(const QString& file, const OstCrypt::KeysPtr& keys);

// Keys of the files that are unlocked in this process. Each entry is held by
// owners (connections); it goes when the last owner lets go.
namespace OstKeyring {
void Put(const QString& file, OstCrypt::KeysPtr keys, const void* owner);
OstCrypt::KeysPtr Get(const QString& file);
// Keys of any unlocked file with this salt: the same file under another name
// (renamed or copied).
OstCrypt::KeysPtr FindBySalt(const OstCrypt::Salt& salt);
void Remove(const QString& file);
void Release(const void* owner);
} // namespace OstKeyring
