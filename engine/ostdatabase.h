// TOstDatabase: a database connection component. A directory database keeps
// one "<name>.dat" file per table in its Location directory; a single-file
// database keeps every table in one ".ostd" file. A managed database keeps a
// catalog of its tables and its default encryption.
#pragma once

#include "engine/ostengine.h"
#include "engine/base/tcomponent.h"

#include <memory>

class OstConnection;

class TOstDatabase : public TComponent {
    Q_OBJECT
    Q_CLASSINFO("PasswordProperty", "Password")
    Q_PROPERTY(QString DatabaseName READ GetDatabaseName WRITE SetDatabaseName)
    Q_PROPERTY(QString Location READ GetLocation WRITE SetLocation)
    Q_PROPERTY(QString PrivateDir READ GetPrivateDir WRITE SetPrivateDir)
    Q_PROPERTY(int DatabaseType READ GetDatabaseType WRITE SetDatabaseType)
    Q_PROPERTY(bool Managed READ GetManaged WRITE SetManaged)
    Q_PROPERTY(int EncryptionMethod READ GetEncryptionMethod WRITE SetEncryptionMethod)
    Q_PROPERTY(QString Password READ GetPassword WRITE SetPassword)
    // Whether a module file keeps Password (see TStreamPasswords).
    Q_PROPERTY(bool StorePassword READ GetStorePassword WRITE SetStorePassword)
    Q_PROPERTY(bool Exclusive READ GetExclusive WRITE SetExclusive)
    Q_PROPERTY(bool ReadOnly READ GetReadOnly WRITE SetReadOnly)
    Q_PROPERTY(bool Connected READ GetConnected WRITE SetConnected)

public:
    explicit TOstDatabase(TComponent* owner = nullptr);
    ~TOstDatabase() override;

    QString GetDatabaseName() const { return m_databaseName; }
    void SetDatabaseName(const QString& v);
    QString GetLocation() const { return m_location; }
    void SetLocation(const QString& v);
    QString GetPrivateDir() const { return m_privateDir; }
    void SetPrivateDir(const QString& v);
    int GetDatabaseType() const { return m_databaseType; }
    void SetDatabaseType(int v);
    bool GetManaged() const { return m_managed; }
    void SetManaged(bool v);
    int GetEncryptionMethod() const { return m_encryptionMethod; }
    void SetEncryptionMethod(int v);
    QString GetPassword() const { return m_password; }
    void SetPassword(const QString& v) { m_password = v; }
    bool GetStorePassword() const { return m_storePassword; }
    void SetStorePassword(bool v) { m_storePassword = v; }
    bool GetExclusive() const { return m_exclusive; }
    void SetExclusive(bool v);
    bool GetReadOnly() const { return m_readOnly; }
    void SetReadOnly(bool v);
    // A database without a location connects too (it stands for "no database
    // yet"); what needs its files then raises an error that says so.
    bool GetConnected() const { return m_connection != nullptr || m_connectedWithoutLocation; }
    void SetConnected(bool v);
    void Open() { SetConnected(true); }
    void Close() { SetConnected(false); }

    // Creates the database at Location (a directory or an ".ostd" file). Fails when
    // one exists there already.
    void CreateDatabase();
    // Table names in catalogue order (directory: file names without ".dat" or
    // ".ostt", sorted).
    void GetTableNames(QStringList& list, bool systemTables = false);
    bool TableExists(const QString& tableName);

    void StartTransaction();
    void Commit();
    void Rollback();
    bool InTransaction() const;

    // The session handle OstSessFindRltnHdl takes.
    quintptr SessionHandle() const { return reinterpret_cast<quintptr>(this); }
    // Absolute location with the ".ostd" extension completed for single-file databases.
    QString ResolvedLocation() const;
    bool IsSingleFile() const;

    // Engine internals: the open connection (connects on demand).
    std::shared_ptr<OstConnection> Connection();

private:
    void CheckDisconnected(const char* what) const;
    QString m_databaseName, m_location, m_privateDir, m_password;
    int m_databaseType = dbtDirectory;
    bool m_managed = false, m_exclusive = false, m_readOnly = false;
    bool m_connectedWithoutLocation = false;
    bool m_storePassword = false;
    int m_encryptionMethod = emNone;
    std::shared_ptr<OstConnection> m_connection;
};
