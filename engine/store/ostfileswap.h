// Replacing a table's file by a new version of it, so that a crash, a kill or
// a failing disk at any point leaves the old file or the new one, never a mix.
//
// While a swap runs, a record "<file>.swap" lies beside the file, written and
// synced before anything else, and locked by the process doing the swap. The
// new file is written as "<file>.rekey"; when it is complete the old one is
// kept as "<file>.old" and the new one takes the file's name.
//
// The record goes when the work on the new file is committed. A record found
// without a live owner (its lock is free) means the swap was interrupted: it
// is undone - the new file and its journal go and the old file takes its
// name back. An old file found without a record is what a committed swap
// had still to remove. Either way no copy remains.
#pragma once

#include <QString>
#include <QStringList>

class EOstraError;

class OstFileSwap {
public:
    // Starts a swap of file; what names it in messages ("table \"Items\"").
    // Files swapped along with it (a table's dictionaries) are its followers:
    // they name it as their master, and its record decides for them - while
    // it is there, an interrupted swap is undone for all of them.
    OstFileSwap(const QString& file, const QString& what, const QStringList& followers = {}, const QString& master = {});
    // Not committed: undone.
    ~OstFileSwap();
    OstFileSwap(const OstFileSwap&) = delete;
    OstFileSwap& operator=(const OstFileSwap&) = delete;

    // Where the new file is written.
    const QString& Fresh() const { return m_fresh; }
    // The new file, complete, takes the file's name (synced first).
    void Install();
    bool Installed() const { return m_installed; }
    // The work on the new file is committed: the old file and the record go.
    void Commit();
    // Puts the old file back, or leaves it when the new one was never put in
    // place; no new file, journal or record is left. The file must be closed.
    void Undo();

    static QString RecordOf(const QString& file) { return file + QStringLiteral(".swap"); }
    static QString FreshOf(const QString& file) { return file + QStringLiteral(".rekey"); }
    static QString BackupOf(const QString& file) { return file + QStringLiteral(".old"); }

private:
    QString m_file, m_what, m_fresh, m_backup, m_record;
    int m_fd = -1;
    bool m_installed = false;
};

// Completes or undoes an interrupted swap of file. False when a live swap
// (of this process or another) holds it; true when nothing is pending.
bool OstFileSwapRecover(const QString& file);
// The same for every file of a database directory.
void OstFileSwapRecoverAll(const QString& dir);

// An SQLite I/O error ("disk I/O error", "database or disk is full") reworded
// to name the table and its file; other errors are returned as they are.
EOstraError OstNameIoError(const EOstraError& e, const QString& what, const QString& file);
