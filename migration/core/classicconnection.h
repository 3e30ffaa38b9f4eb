// Connections of the classic datasets (TTable, TQuery) to databases that Qt
// SQL reaches. A DatabaseName names either a connection the application has
// added itself (QSqlDatabase::addDatabase(..., "Shop")), or describes one:
//
//   QSQLITE:/data/shop.db                      a file of the driver
//   QPSQL://ann@db.example.com:5432/shop       a server: user, host, port, database
//   QPSQL://ann@%2Frun%2Fpostgresql/shop       a host that is a socket folder, percent-encoded
//   QMYSQL://ann@localhost/shop?SSL_KEY=...    "?..." are the driver's connect options
//   QODBC:DSN=Shop;UID=ann                     anything else after the driver: its database name
//
// The driver is a Qt SQL driver name (QSQLITE, QPSQL, QMYSQL, QODBC, ...);
// the short names sqlite, postgres, postgresql, pg, mysql, mariadb and odbc
// stand for them. A password is never part of a DatabaseName: it is the
// dataset's Password (kept in memory, never written to a module file), else
// what the login handler answers, else what the driver finds itself (libpq's
// PGPASSWORD and ~/.pgpass, for example).
#pragma once

#include "engine/base/sysutils.h"

#include <QSqlDatabase>
#include <QString>
#include <functional>
#include <memory>

// Raised for a DatabaseName that does not parse, a driver that is not
// installed, and a connection that cannot be opened.
class EClassicConnectionError : public EDatabaseError {
public:
    using EDatabaseError::EDatabaseError;
};

struct TClassicConnectionInfo {
    QString Driver;   // Qt SQL driver name, e.g. "QPSQL"
    QString Host;     // empty for file databases
    int Port = -1;
    QString Database; // file, database or ODBC connection string
    QString User;
    QString Options;  // the driver's connect options
    bool IsServer() const { return !Host.isEmpty(); }
    // The DatabaseName text that describes this connection (no password).
    QString ToString() const;
};

// Parses a DatabaseName that describes a connection; EClassicConnectionError
// naming what is wrong. A text that holds a password ("user:secret@") is
// refused, so that no password ends up in a module file.
TClassicConnectionInfo ParseClassicConnection(const QString& databaseName);
// The Qt SQL driver a short or full name stands for ("postgres" -> "QPSQL"),
// the name itself when it is none of the known ones.
QString ClassicDriverName(const QString& name);

// Asked for the password of a connection that refused to open; retry true
// tries again with the password given. Installed by the Studio (a password
// dialog) and the command line (the terminal).
using TClassicLoginEvent = std::function<void(const QString& databaseName, const QString& user, QString& password, bool& retry)>;
void SetClassicOnLogin(TClassicLoginEvent handler);
TClassicLoginEvent GetClassicOnLogin();

// One open connection of a dataset, closed and removed with the object.
// A connection the application added is used as it is (and left open).
class TClassicConnection {
public:
    // Opens the connection; EClassicConnectionError with the driver's message.
    TClassicConnection(const QString& databaseName, const QString& password);
    ~TClassicConnection();
    TClassicConnection(const TClassicConnection&) = delete;
    TClassicConnection& operator=(const TClassicConnection&) = delete;

    QSqlDatabase Database() const;
    QString DriverName() const;
    // "QPSQL://ann@host/shop" or the application's connection name, for messages.
    QString DisplayName() const { return m_display; }
    // Quotes a table (an optional schema before a ".") or column name for
    // this driver; EDatabaseError for a name the driver cannot quote.
    QString QuoteTable(const QString& name) const;
    QString QuoteColumn(const QString& name) const;

private:
    QString m_name, m_display;
    bool m_own = false;
};
