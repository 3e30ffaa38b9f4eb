// The tests' private PostgreSQL server (see pgserver_helper.h).
#include "pgserver_helper.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <cerrno>
#include <csignal>
#include <pwd.h>
#include <unistd.h>

namespace {
const char* const kUser = "ostra";
}

bool TestPgServer::Run(const QStringList& command, QString& output) {
    QStringList args = command;
    QString program = args.takeFirst();
    // The server does not run as root: its tools run as the postgres user.
    if (geteuid() == 0) {
        args.prepend(program);
        args.prepend(QStringLiteral("--"));
        args.prepend(QStringLiteral("postgres"));
        args.prepend(QStringLiteral("-u"));
        program = QStringLiteral("runuser");
    }
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    if (!p.waitForFinished(120000)) {
        output = QStringLiteral("%1 did not finish: %2").arg(program, p.errorString());
        p.kill();
        return false;
    }
    output = QString::fromLocal8Bit(p.readAll());
    return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

// Servers of test processes that died before they could stop theirs (a
// crash, a kill, an abort) are stopped and removed by the next test.
void TestPgServer::StopOrphans() {
    const QDir tmp(QDir::tempPath());
    for (const QString& name : tmp.entryList({QStringLiteral("ostra-pg-*")}, QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString dir = tmp.filePath(name);
        QFile owner(dir + QStringLiteral("/owner.pid"));
        if (!owner.open(QIODevice::ReadOnly)) continue;
        const pid_t pid = static_cast<pid_t>(owner.readAll().trimmed().toLong());
        if (pid <= 0 || kill(pid, 0) == 0 || errno != ESRCH) continue;
        QString out;
        Run({m_bin + QStringLiteral("/pg_ctl"), QStringLiteral("-D"), dir + QStringLiteral("/data"), QStringLiteral("-m"),
             QStringLiteral("immediate"), QStringLiteral("-w"), QStringLiteral("stop")},
            out);
        QDir(dir).removeRecursively();
    }
}

TestPgServer::TestPgServer() {
    m_bin = QStringLiteral("/usr/lib/postgresql/15/bin");
    if (!QFileInfo::exists(m_bin + QStringLiteral("/initdb"))) {
        m_why = QStringLiteral("PostgreSQL 15 is not installed (%1/initdb is missing; scripts/install-deps.sh installs it)").arg(m_bin);
        return;
    }
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL"))) {
        m_why = QStringLiteral("the Qt SQL driver QPSQL is not installed (libqt6sql6-psql)");
        return;
    }
    StopOrphans();
    m_dir = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/ostra-pg-XXXXXX"));
    if (!m_dir->isValid()) {
        m_why = QStringLiteral("no temporary folder");
        return;
    }
    {
        QFile owner(m_dir->filePath(QStringLiteral("owner.pid")));
        if (owner.open(QIODevice::WriteOnly)) owner.write(QByteArray::number(static_cast<qint64>(getpid())));
    }
    if (geteuid() == 0) {
        const passwd* pw = getpwnam("postgres");
        if (!pw || chown(QFile::encodeName(m_dir->path()).constData(), pw->pw_uid, pw->pw_gid) != 0) {
            m_why = QStringLiteral("running as root, and the postgres user cannot own %1").arg(m_dir->path());
            return;
        }
    }
    // The socket's name carries the port; in a folder of our own any number is free.
    m_port = 54320 + static_cast<int>(getpid() % 500);
    const QString data = m_dir->path() + QStringLiteral("/data");
    QString out;
    if (!Run({m_bin + QStringLiteral("/initdb"), QStringLiteral("-D"), data, QStringLiteral("-A"), QStringLiteral("trust"),
              QStringLiteral("-U"), QLatin1String(kUser), QStringLiteral("-E"), QStringLiteral("UTF8"),
              QStringLiteral("--locale=C.UTF-8"), QStringLiteral("--no-sync")},
             out)) {
        m_why = QStringLiteral("initdb failed: %1").arg(out.trimmed());
        return;
    }
    // The tests' own user comes in without a password; every other user needs one.
    {
        QFile hba(data + QStringLiteral("/pg_hba.conf"));
        if (!hba.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            m_why = QStringLiteral("cannot write %1").arg(hba.fileName());
            return;
        }
        hba.write(QByteArray("local all ") + kUser + " trust\nlocal all all scram-sha-256\n");
    }
    const QString options = QStringLiteral("-k %1 -c listen_addresses='' -p %2 -c fsync=off -c synchronous_commit=off "
                                           "-c full_page_writes=off")
                                .arg(m_dir->path())
                                .arg(m_port);
    if (!Run({m_bin + QStringLiteral("/pg_ctl"), QStringLiteral("-D"), data, QStringLiteral("-o"), options, QStringLiteral("-l"),
              m_dir->path() + QStringLiteral("/server.log"), QStringLiteral("-w"), QStringLiteral("-t"), QStringLiteral("60"),
              QStringLiteral("start")},
             out)) {
        m_why = QStringLiteral("the server did not start: %1").arg(out.trimmed());
        m_started = true; // stop whatever may have started
        return;
    }
    m_started = true;
    m_ok = true;
}

TestPgServer::~TestPgServer() {
    for (const QString& name : QSqlDatabase::connectionNames())
        if (name.startsWith(QStringLiteral("pgtest-"))) QSqlDatabase::removeDatabase(name);
    if (m_started) {
        QString out;
        Run({m_bin + QStringLiteral("/pg_ctl"), QStringLiteral("-D"), m_dir->path() + QStringLiteral("/data"),
             QStringLiteral("-m"), QStringLiteral("immediate"), QStringLiteral("-w"), QStringLiteral("stop")},
            out);
    }
}

QString TestPgServer::DatabaseName(const QString& database) const {
    // Concatenated: the percent-encoded folder holds "%2F", which arg() would replace.
    return QStringLiteral("QPSQL://") + QLatin1String(kUser) + u'@' + QString::fromUtf8(QUrl::toPercentEncoding(SocketDir())) +
           u':' + QString::number(m_port) + u'/' + database;
}

static QSqlDatabase AdminConnection(const TestPgServer& s, const QString& database) {
    const QString name = QStringLiteral("pgtest-") + database;
    if (QSqlDatabase::contains(name)) return QSqlDatabase::database(name);
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), name);
    db.setHostName(s.SocketDir());
    db.setPort(s.Port());
    db.setUserName(QLatin1String(kUser));
    db.setDatabaseName(database);
    db.open();
    return db;
}

bool TestPgServer::Exec(const QString& sql, const QString& database) {
    QSqlDatabase db = AdminConnection(*this, database);
    QSqlQuery q(db);
    if (q.exec(sql)) return true;
    m_why = q.lastError().text();
    qWarning("%s", qPrintable(m_why));
    return false;
}

QVariant TestPgServer::Scalar(const QString& sql, const QString& database) {
    QSqlDatabase db = AdminConnection(*this, database);
    QSqlQuery q(db);
    if (!q.exec(sql) || !q.next()) {
        qWarning("%s", qPrintable(q.lastError().text()));
        return QVariant();
    }
    return q.value(0);
}

QString TestPgServer::CreateDatabase() {
    const QString name = QStringLiteral("db%1").arg(++m_databases);
    Exec(QStringLiteral("CREATE DATABASE %1").arg(name));
    return name;
}
