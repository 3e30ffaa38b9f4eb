#include "setup/core/ostcreatetablecore.h"

#include "engine/ostdatabase.h"
#include "engine/ostdataset.h"
#include "engine/base/sysutils.h"
#include "setup/core/ostpaths.h"
#include "setup/core/ostselectdbcore.h"

#include <QFileInfo>

namespace {

QString NoLocationText() { return QStringLiteral("<no location defined>"); }

bool HasLocation(const TOstDatabase* db) { return db && !db->GetLocation().trimmed().isEmpty(); }

// The database component of that name: one of the table's own module first.
TOstDatabase* DatabaseComponent(const TOstTable* table, const QString& name) {
    if (table && table->Owner())
        for (TComponent* c : table->Owner()->Components())
            if (auto* db = qobject_cast<TOstDatabase*>(c); db && db->GetDatabaseName().compare(name, Qt::CaseInsensitive) == 0)
                return db;
    return FindOstDatabase(name);
}

// "Orders.dat" and "/data/Orders.ostt" stand for the table "Orders".
QString BareTableName(const QString& name) {
    QString n = ExtractFileName(name.trimmed());
    for (const char* ext : {".dat", ".ostt"})
        if (n.endsWith(QLatin1String(ext), Qt::CaseInsensitive)) n.chop(qstrlen(ext));
    return n;
}

QString WithoutExtension(const QString& name) {
    const QString ext = ExtractFileExt(name);
    return ext.isEmpty() ? name : name.left(name.size() - ext.size());
}

} // namespace

TTableAssistantCore::TTableAssistantCore() : m_placeholder(std::make_unique<TOstDatabase>(nullptr)) {
    m_placeholder->SetDatabaseName(PlaceholderDatabaseName());
    m_placeholder->SetLocation(QString());
    m_placeholder->SetDatabaseType(dbtDirectory);
    m_current = m_placeholder.get();
}

TTableAssistantCore::~TTableAssistantCore() { Disconnect(); }

void TTableAssistantCore::Disconnect() {
    if (m_placeholder->GetConnected()) m_placeholder->SetConnected(false);
}

void TTableAssistantCore::UsePlaceholderAt(const QString& location, int databaseType) {
    TOstDatabase* p = m_placeholder.get();
    p->SetConnected(false);
    p->SetLocation(QString());
    p->SetDatabaseType(databaseType);
    p->SetLocation(location);
    m_current = p;
    try {
        p->SetConnected(true);
    } catch (...) {
        p->SetConnected(false);
        p->SetLocation(QString());
        p->SetConnected(true);
        throw;
    }
}

TOstDatabase* TTableAssistantCore::DatabaseForTable(TOstTable* table) {
    m_table = table;
    if (!table) return m_current;
    const QString name = table->GetDatabaseName();
    if (!name.isEmpty()) {
        if (TOstDatabase* db = DatabaseComponent(table, name)) return db;
        // Otherwise the name is a path: a database file or a folder of table files.
        // A table file stands for the directory database of its folder.
        const QFileInfo fi(name);
        if (fi.isFile() && GetFileType(name) == 2) UsePlaceholderAt(ExtractFileFolder(ExpandFileName(name)), dbtDirectory);
        else if (fi.isFile()) UsePlaceholderAt(name, dbtSingleFile);
        else if (fi.isDir()) UsePlaceholderAt(name, dbtDirectory);
        else UsePlaceholderAt(QString(), dbtDirectory);
        return m_placeholder.get();
    }
    UsePlaceholderAt(QString(), dbtDirectory);
    return m_placeholder.get();
}

bool TTableAssistantCore::IsDirectoryBasedTable() const { return !m_current || !m_current->IsSingleFile(); }

QString TTableAssistantCore::ResultTableName() const {
    const QString& name = m_newTableName;
    if (!IsDirectoryBasedTable()) return ExtractFileName(name);
    if (!IsRootPath(name) && rkIsAbsolutePath(name) && HasLocation(m_current))
        return ExtractRelativePath(IncludeTrailingPathDelimiter(m_current->GetLocation()), name);
    return name;
}

QStringList TTableAssistantCore::DatabaseNames() const {
    QStringList names;
    for (int i = 0; TOstDatabase* db = GetOstDatabase(i); ++i) {
        const QString name = db->GetDatabaseName();
        if (!name.isEmpty() && !names.contains(name, Qt::CaseInsensitive)) names.append(name);
    }
    names.sort(Qt::CaseInsensitive);
    return names;
}

QString TTableAssistantCore::LocationText() const {
    return HasLocation(m_current) ? m_current->GetLocation() : NoLocationText();
}

QStringList TTableAssistantCore::TableNames() const {
    QStringList names;
    if (m_type == dtSelectTable && HasLocation(m_current)) m_current->GetTableNames(names, false);
    return names;
}

QString TTableAssistantCore::PreferredTableEntry(const QStringList& names) const {
    if (names.isEmpty()) return QString();
    if (m_table) {
        const QString own = BareTableName(m_table->GetTableName());
        for (const QString& n : names)
            if (n.compare(m_table->GetTableName(), Qt::CaseInsensitive) == 0) return n;
        for (const QString& n : names)
            if (n.compare(own, Qt::CaseInsensitive) == 0) return n;
    }
    return names.first();
}

bool TTableAssistantCore::StoreNewTableName(const QString& name) {
    if (name == m_newTableName) return false;
    m_newTableName = name;
    return true;
}

QString TTableAssistantCore::BrowseInitialDir(const QString& text) const {
    QString folder;
    const QString location = HasLocation(m_current) ? m_current->GetLocation().trimmed() : QString();
    const QString home = location.isEmpty() ? QString() : m_current->IsSingleFile() ? ExtractFileFolder(location) : location;
    if (text.isEmpty()) folder = home;
    else if (EndsWithPathDelimiter(text)) folder = text;
    else if (ExtractFileExt(text).isEmpty()) folder = IncludeTrailingPathDelimiter(text);
    // A name relative to the database means a folder in it; one that is not there yields the database's folder.
    if (!folder.isEmpty() && !rkIsAbsolutePath(folder) && !home.isEmpty())
        folder = IncludeTrailingPathDelimiter(home) + folder;
    if (!folder.isEmpty() && !QFileInfo(folder).isDir()) folder = home;
    return folder;
}

QString TTableAssistantCore::TableFileChosen(const QString& fileName) {
    const bool databaseFile = ExtractFileExt(fileName).compare(QStringLiteral(".ostd"), Qt::CaseInsensitive) == 0;
    if (m_type == dtSelectTable && databaseFile) {
        UsePlaceholderAt(fileName, dbtSingleFile);
        return QString();
    }
    // A table file belongs to a directory database component only when it lies in its folder.
    const bool ownFile = m_current && !IsPlaceholder(m_current) && !m_current->IsSingleFile() &&
                         HasLocation(m_current) && IsFileInFolder(fileName, m_current->GetLocation());
    if (!ownFile) UsePlaceholderAt(ExtractFileFolder(fileName), dbtDirectory);
    return fileName;
}

void TTableAssistantCore::DatabaseLocationChosen(const QString& location) {
    if (QFileInfo(location).isDir()) UsePlaceholderAt(ExcludeTrailingPathDelimiter(location), dbtDirectory);
    else if (GetFileType(location) == 2) UsePlaceholderAt(ExtractFileFolder(location), dbtDirectory);
    else UsePlaceholderAt(location, dbtSingleFile);
}

QString TTableAssistantCore::PlaceholderStartDir() const {
    const QString location = m_placeholder->GetLocation().trimmed();
    return m_placeholder->IsSingleFile() && !location.isEmpty() ? ExtractFileFolder(location) : location;
}

bool TTableAssistantCore::TargetExists(const QString& text) const {
    if (text.trimmed().isEmpty()) return false;
    if (IsDirectoryBasedTable()) {
        const QString target = rkIsAbsolutePath(text) || !HasLocation(m_current)
                                   ? ExpandFileName(text)
                                   : ExpandFileName(IncludeTrailingPathDelimiter(m_current->GetLocation()) + text);
        if (QFileInfo(target).isFile()) return true;
        // "Orders" is the table of the file Orders.dat.
        if (!HasLocation(m_current)) return false;
        try {
            return m_current->TableExists(text);
        } catch (const Exception&) {
            return false; // a name the database cannot hold names no table of it
        }
    }
    QStringList names;
    if (HasLocation(m_current)) m_current->GetTableNames(names, false);
    return names.contains(ExtractFileName(text), Qt::CaseInsensitive);
}

TTableAssistantCore::TCloseCheck TTableAssistantCore::CloseCheck(const QString& text) const {
    // Selecting takes a table of a database.
    if (m_type != dtNewTable)
        return text.trimmed().isEmpty() || (!HasLocation(m_current) && !rkIsAbsolutePath(text)) ? ccStay : ccClose;
    if (TargetExists(text)) return ccAskOverwrite;
    if (WithoutExtension(text).trimmed().isEmpty()) return ccStay;
    if (!HasLocation(m_current) && !rkIsAbsolutePath(text)) return ccNoDatabase;
    return ccClose;
}

QString ShortenLocationText(const QString& text, int labelWidth, const std::function<int(const QString&)>& width) {
    QString s = text;
    if (width(s) < labelWidth) return s;
    while (!s.isEmpty() && width(s) > labelWidth) s.chop(1);
    if (s.size() >= 4) s = s.left(s.size() - 4) + QStringLiteral(" ...");
    return s;
}

void AdjustTableName(TOstTable* table) {
    if (!table) return;
    QString name = table->GetTableName();
    const QString databaseName = table->GetDatabaseName();
    if (IsRootPath(databaseName)) {
        const QString prefix = IncludeTrailingPathDelimiter(databaseName);
        if (name.startsWith(prefix)) name.remove(name.indexOf(prefix), prefix.size());
    }
    TOstDatabase* db = table->GetDatabase();
    if (db && !db->IsSingleFile()) {
        const QString prefix = IncludeTrailingPathDelimiter(db->GetLocation());
        if (!db->GetLocation().isEmpty() && name.startsWith(prefix)) name.remove(0, prefix.size());
    }
    if (name != table->GetTableName()) table->SetTableName(name);
}
