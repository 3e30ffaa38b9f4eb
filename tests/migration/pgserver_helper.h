// A private PostgreSQL 15 server for tests: a cluster made in a temporary
// folder and started as the postgres user (the server refuses to run as
// root), listening only on a Unix socket in that folder; stopped and removed
// with the object, or by the next test when the process died first.
#pragma once

#include <QString>
#include <QTemporaryDir>
#include <QVariant>
#include <memory>

class TestPgServer {
public:
    TestPgServer();
    ~TestPgServer();
    // False, with the reason in Why(), when the server could not start.
    bool Ok() const { return m_ok; }
    QString Why() const { return m_why; }
    // A DatabaseName of the classic datasets for a database of the server.
    QString DatabaseName(const QString& database = QStringLiteral("postgres")) const;
    // The socket folder and port, for psql and for connections made by hand.
    QString SocketDir() const { return m_dir ? m_dir->path() : QString(); }
    int Port() const { return m_port; }
    // Runs SQL as the server's superuser on a database; false with the error in Why().
    bool Exec(const QString& sql, const QString& database = QStringLiteral("postgres"));
    QVariant Scalar(const QString& sql, const QString& database = QStringLiteral("postgres"));
    // A new empty database of its own name.
    QString CreateDatabase();

private:
    void StopOrphans();
    bool Run(const QStringList& command, QString& output);
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_bin, m_why;
    int m_port = 0;
    bool m_ok = false, m_started = false;
    int m_databases = 0;
};
