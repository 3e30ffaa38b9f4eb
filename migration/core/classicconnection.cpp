// Connections of the classic datasets: DatabaseName parsing, opening with the
// login handler, and identifier quoting per driver.
#include "migration/core/classicconnection.h"

#include <QAtomicInt>
#include <QSqlDriver>
#include <QSqlError>
#include <QStringList>
#include <QUrl>

namespace {

TClassicLoginEvent& LoginHandler() {
    static TClassicLoginEvent handler;
    return handler;
}

QString Decoded(const QString& s) { return QUrl::fromPercentEncoding(s.toUtf8()); }

// Each connection of a dataset gets a name of its own.
QString NewConnectionName() {
    static QAtomicInt counter;
    return QStringLiteral("ostra-classic-%1").arg(counter.fetchAndAddRelaxed(1) + 1);
}

[[noreturn]] void Refuse(const QString& databaseName, const QString& why) {
    throw EClassicConnectionError(QStringLiteral("DatabaseName \"%1\": %2").arg(databaseName, why));
}

bool IsMySql(const QString& driver) { return driver.startsWith(QStringLiteral("QMYSQL")) || driver == QStringLiteral("QMARIADB"); }

} // namespace

QString ClassicDriverName(const QString& name) {
    const QString n = name.trimmed().toLower();
    if (n == u"sqlite" || n == u"sqlite3" || n == u"qsqlite") return QStringLiteral("QSQLITE");
    if (n == u"postgres" || n == u"postgresql" || n == u"pg" || n == u"psql" || n == u"qpsql") return QStringLiteral("QPSQL");
    if (n == u"mysql" || n == u"mariadb" || n == u"qmysql") return QStringLiteral("QMYSQL");
    if (n == u"odbc" || n == u"qodbc") return QStringLiteral("QODBC");
    return name.trimmed().toUpper();
}

QString TClassicConnectionInfo::ToString() const {
    if (Host.isEmpty()) return Driver + u':' + Database;
    QString s = Driver + QStringLiteral("://");
    if (!User.isEmpty()) s += QString::fromUtf8(QUrl::toPercentEncoding(User)) + u'@';
    s += QString::fromUtf8(QUrl::toPercentEncoding(Host));
    if (Port > 0) s += u':' + QString::number(Port);
    s += u'/' + QString::fromUtf8(QUrl::toPercentEncoding(Database));
    if (!Options.isEmpty()) s += u'?' + Options;
    return s;
}

TClassicConnectionInfo ParseClassicConnection(const QString& databaseName) {
    const QString text = databaseName.trimmed();
    const qsizetype colon = text.indexOf(u':');
    if (colon <= 0)
        Refuse(databaseName, QStringLiteral("expected DRIVER:DATABASE or DRIVER://USER@HOST:PORT/DATABASE "
                                            "(for example QSQLITE:/data/shop.db or QPSQL://ann@localhost/shop)"));
    TClassicConnectionInfo info;
    info.Driver = ClassicDriverName(text.left(colon));
    QString rest = text.mid(colon + 1);
    if (!rest.startsWith(QStringLiteral("//"))) {
        info.Database = rest;
        if (info.Database.isEmpty()) Refuse(databaseName, QStringLiteral("the database is missing after \"%1:\"").arg(text.left(colon)));
        return info;
    }
    rest = rest.mid(2);
    const qsizetype question = rest.indexOf(u'?');
    if (question >= 0) {
        info.Options = rest.mid(question + 1);
        rest = rest.left(question);
    }
    const qsizetype slash = rest.indexOf(u'/');
    QString authority = slash < 0 ? rest : rest.left(slash);
    info.Database = slash < 0 ? QString() : Decoded(rest.mid(slash + 1));
    const qsizetype at = authority.lastIndexOf(u'@');
    if (at >= 0) {
        const QString user = authority.left(at);
        if (user.contains(u':'))
            Refuse(databaseName, QStringLiteral("a password does not belong in a DatabaseName, which modules store as "
                                                "text; give it as the dataset's Password or when asked"));
        info.User = Decoded(user);
        authority = authority.mid(at + 1);
    }
    const qsizetype portColon = authority.lastIndexOf(u':');
    if (portColon >= 0) {
        bool ok = false;
        info.Port = authority.mid(portColon + 1).toInt(&ok);
        if (!ok || info.Port <= 0 || info.Port > 65535)
            Refuse(databaseName, QStringLiteral("\"%1\" is not a port number").arg(authority.mid(portColon + 1)));
        authority = authority.left(portColon);
    }
    info.Host = Decoded(authority);
    if (info.Host.isEmpty()) Refuse(databaseName, QStringLiteral("the host is missing after \"//\""));
    if (info.Database.isEmpty()) Refuse(databaseName, QStringLiteral("the database is missing after the host"));
    return info;
}

void SetClassicOnLogin(TClassicLoginEvent handler) { LoginHandler() = std::move(handler); }
TClassicLoginEvent GetClassicOnLogin() { return LoginHandler(); }

TClassicConnection::TClassicConnection(const QString& databaseName, const QString& password) {
    const QString name = databaseName.trimmed();
    if (name.isEmpty()) throw EClassicConnectionError(QStringLiteral("DatabaseName is empty: name a connection (for example QSQLITE:/data/shop.db)"));
    // A connection the application added under this name.
    if (QSqlDatabase::contains(name)) {
        QSqlDatabase db = QSqlDatabase::database(name, false);
        if (!db.isOpen() && !db.open())
            throw EClassicConnectionError(QStringLiteral("Cannot open connection \"%1\": %2").arg(name, db.lastError().text()));
        m_name = name;
        m_display = name;
        return;
    }
    const TClassicConnectionInfo info = ParseClassicConnection(name);
    m_display = info.ToString();
    if (!QSqlDatabase::isDriverAvailable(info.Driver))
        throw EClassicConnectionError(QStringLiteral("The Qt SQL driver %1 is not installed (installed: %2)")
                                          .arg(info.Driver, QSqlDatabase::drivers().join(QStringLiteral(", "))));
    m_name = NewConnectionName();
    m_own = true;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(info.Driver, m_name);
        db.setDatabaseName(info.Database);
        if (!info.Host.isEmpty()) db.setHostName(info.Host);
        if (info.Port > 0) db.setPort(info.Port);
        if (!info.User.isEmpty()) db.setUserName(info.User);
        if (!info.Options.isEmpty()) db.setConnectOptions(info.Options);
        // A file database must exist: opening one must never create an empty file.
        if (info.Driver == QStringLiteral("QSQLITE")) {
            const QString opts = info.Options.isEmpty() ? QStringLiteral("QSQLITE_OPEN_READONLY")
                                                        : info.Options + QStringLiteral(";QSQLITE_OPEN_READONLY");
            db.setConnectOptions(opts);
        }
        QString pw = password;
        for (int attempt = 0;; ++attempt) {
            db.setPassword(pw);
            if (db.open()) break;
            const QString error = db.lastError().text();
            bool retry = false;
            // Only a refused login is worth a password: a server that is down is not.
            const bool login = error.contains(QStringLiteral("password"), Qt::CaseInsensitive) ||
                               error.contains(QStringLiteral("authentication"), Qt::CaseInsensitive) ||
                               error.contains(QStringLiteral("Access denied"), Qt::CaseInsensitive);
            if (LoginHandler() && login && attempt < 3 && info.Driver != QStringLiteral("QSQLITE")) {
                QString asked;
                LoginHandler()(m_display, info.User, asked, retry);
                if (retry) pw = asked;
            }
            if (!retry) {
                db = QSqlDatabase();
                QSqlDatabase::removeDatabase(m_name);
                m_own = false;
                throw EClassicConnectionError(QStringLiteral("Cannot connect to %1: %2").arg(m_display, error.trimmed()));
            }
        }
    }
}

TClassicConnection::~TClassicConnection() {
    if (!m_own) return;
    {
        QSqlDatabase db = QSqlDatabase::database(m_name, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(m_name);
}

QSqlDatabase TClassicConnection::Database() const { return QSqlDatabase::database(m_name, false); }

QString TClassicConnection::DriverName() const { return Database().driverName(); }

// Quoted by hand rather than by QSqlDriver::escapeIdentifier, which returns a
// name that already starts and ends with the quote character unchanged and
// splits names at every ".": neither is safe for names that come from users.
QString TClassicConnection::QuoteColumn(const QString& name) const {
    if (name.isEmpty() || name.contains(QChar(0)))
        throw EDatabaseError(QStringLiteral("\"%1\" cannot be used as a column or table name").arg(name));
    if (IsMySql(DriverName())) return u'`' + QString(name).replace(u'`', QStringLiteral("``")) + u'`';
    return u'"' + QString(name).replace(u'"', QStringLiteral("\"\"")) + u'"';
}

QString TClassicConnection::QuoteTable(const QString& name) const {
    // "schema.table" of a server is two names (PostgreSQL lists tables of
    // other schemas so); a SQLite table name is one, whatever it holds.
    const QString driver = DriverName();
    const qsizetype dot = name.indexOf(u'.');
    if (dot > 0 && dot < name.size() - 1 && driver != QStringLiteral("QSQLITE") &&
        (driver == QStringLiteral("QPSQL") || !Database().tables(QSql::AllTables).contains(name)))
        return QuoteColumn(name.left(dot)) + u'.' + QuoteColumn(name.mid(dot + 1));
    return QuoteColumn(name);
}
