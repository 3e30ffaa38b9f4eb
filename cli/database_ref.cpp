// Opening the database a command-line argument names.
#include "cli.h"
#include "password.h"

#include "engine/ostdataset.h"

#include <QDir>
#include <QFileInfo>

namespace cli {

namespace {
// Registered name of the tool's database component; tables and queries find it by this name.
const QString ComponentName = QStringLiteral("ostra-cli-database");
} // namespace

DatabaseRef::DatabaseRef(const QString& argument) {
    if (argument.trimmed().isEmpty()) throw UsageError(QStringLiteral("the database path is empty"));
    const QFileInfo fi(argument);
    if (fi.isFile() && fi.suffix().compare(QStringLiteral("dat"), Qt::CaseInsensitive) == 0) {
        m_location = fi.absolutePath();
        m_impliedTable = fi.completeBaseName();
        m_singleFile = false;
    } else if (fi.isFile() || fi.suffix().compare(QStringLiteral("ostd"), Qt::CaseInsensitive) == 0) {
        m_location = fi.absoluteFilePath();
        m_singleFile = true;
        if (!fi.exists()) throw Failure(QStringLiteral("database \"%1\" does not exist").arg(argument));
    } else {
        m_location = fi.absoluteFilePath();
        if (!fi.isDir()) throw Failure(QStringLiteral("database \"%1\" does not exist").arg(argument));
    }
    m_db = std::make_unique<TOstDatabase>(nullptr);
    m_db->SetDatabaseName(ComponentName);
    m_db->SetLocation(m_location);
    m_db->SetDatabaseType(m_singleFile ? dbtSingleFile : dbtDirectory);
    m_db->SetPassword(CommandLinePassword()); // for the database and for its tables
    m_db->Open();
}

DatabaseRef::~DatabaseRef() = default;

QString DatabaseRef::Name() const { return ComponentName; }

QString DatabaseRef::FindTable(const QString& name) {
    QString wanted = name.trimmed();
    if (!m_singleFile && wanted.endsWith(QStringLiteral(".dat"), Qt::CaseInsensitive)) wanted.chop(4);
    if (wanted.isEmpty()) return QString();
    QStringList names;
    m_db->GetTableNames(names, true);
    for (const QString& n : names)
        if (n == wanted) return n;
    for (const QString& n : names)
        if (n.compare(wanted, Qt::CaseInsensitive) == 0) return n;
    return QString();
}

QString DatabaseRef::RequireTable(const QString& name) {
    const QString found = FindTable(name);
    if (found.isEmpty()) throw Failure(QStringLiteral("table \"%1\" does not exist in %2").arg(name.trimmed(), m_location));
    return found;
}

QString SqlIdent(const QString& name) {
    QString n = name;
    n.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + n + QLatin1Char('"');
}

} // namespace cli
