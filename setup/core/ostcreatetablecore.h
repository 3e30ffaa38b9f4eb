// The table assistant without its window: which database's tables are
// offered (a database component, or the assistant's own placeholder database
// standing for a bare location), the table name in the form the table
// component needs, and the checks before the assistant closes.
#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

class TOstDatabase;
class TOstTable;

enum TTableDialogType { dtSelectTable, dtNewTable };

// The database name of the placeholder: one blank.
inline QString PlaceholderDatabaseName() { return QStringLiteral(" "); }

class TTableAssistantCore {
public:
    // Creates the placeholder (no location, directory database) and makes it current.
    TTableAssistantCore();
    ~TTableAssistantCore();
    TTableAssistantCore(const TTableAssistantCore&) = delete;
    TTableAssistantCore& operator=(const TTableAssistantCore&) = delete;

    void SetDialogType(TTableDialogType type) { m_type = type; }
    TTableDialogType DialogType() const { return m_type; }

    // Remembers the table and returns the database it starts on: its
    // database component, else the placeholder at the file or folder its
    // DatabaseName names (no location when neither exists). An error
    // connecting the placeholder leaves it without a location and passes on.
    TOstDatabase* DatabaseForTable(TOstTable* table);
    TOstTable* OstTable() const { return m_table; }

    TOstDatabase* Placeholder() const { return m_placeholder.get(); }
    bool IsPlaceholder(const TOstDatabase* db) const { return db && db == m_placeholder.get(); }
    TOstDatabase* CurrentDatabase() const { return m_current; }
    void SetCurrentDatabase(TOstDatabase* db) { m_current = db; }
    TOstDatabase* ResultDatabase() const { return m_current; }
    // Directory-based: a path in the database's folder given relative to it,
    // anything else as it stands; single-file: only the name part.
    QString ResultTableName() const;
    // No current database, or one that is not a single file.
    bool IsDirectoryBasedTable() const;

    // Every non-empty DatabaseName of the database components the engine
    // knows (the placeholder's blank included), sorted, each once.
    QStringList DatabaseNames() const;
    // The current location, or "<no location defined>".
    QString LocationText() const;
    // The table names to offer: in select mode those of a current database
    // with a location, else none. May raise the engine's error.
    QStringList TableNames() const;
    // The entry to select among names: the edited table's, else the first.
    QString PreferredTableEntry(const QStringList& names) const;

    const QString& NewTableName() const { return m_newTableName; }
    // Stores the raw name or path; true when it differed from the stored one.
    bool StoreNewTableName(const QString& name);

    // The folder a file chooser starts in for the text of the name box.
    QString BrowseInitialDir(const QString& text) const;
    // A file chosen with "...": a database file makes the placeholder that
    // database; a table file of the current directory database component is
    // its table, any other makes the placeholder the directory database of
    // the file's folder. Returns the new table name (empty for a database file).
    QString TableFileChosen(const QString& fileName);
    // The placeholder as the database at location (a database file or a
    // folder), connected and current. On a connect error it is left
    // without a location and the error passes on.
    void UsePlaceholderAt(const QString& location, int databaseType);
    // The placeholder as the database a location chosen for it stands for:
    // a folder or a database file, or the folder of a table file.
    void DatabaseLocationChosen(const QString& location);
    // Where choosers for the placeholder's location start.
    QString PlaceholderStartDir() const;

    enum TCloseCheck { ccClose, ccAskOverwrite, ccStay, ccNoDatabase };
    // Whether the assistant may close with OK in new mode for the name typed:
    // an existing table is overwritten only after asking, a blank name (or
    // one that is only an extension) keeps it open, and so does a new table
    // with no database to go to. Selecting needs a name and a database.
    TCloseCheck CloseCheck(const QString& text) const;

    // Disconnects the placeholder.
    void Disconnect();

private:
    bool TargetExists(const QString& text) const;

    TTableDialogType m_type = dtSelectTable;
    std::unique_ptr<TOstDatabase> m_placeholder;
    TOstDatabase* m_current = nullptr;
    TOstTable* m_table = nullptr;
    QString m_newTableName;
};

// The location label's text cut to fit: while it is at least as wide as the
// label, characters go from its end until it is no wider; then, when four or
// more remain, the last four become " ...".
QString ShortenLocationText(const QString& text, int labelWidth, const std::function<int(const QString&)>& width);

// Shortens a table's TableName relative to its database: a root-path
// DatabaseName, then the location of a directory database, are taken off
// its front.
void AdjustTableName(TOstTable* table);
