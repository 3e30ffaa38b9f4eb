// QOSTRA: Ostra databases for Qt SQL. QSqlDatabase::addDatabase("QOSTRA")
// opens a directory database or an ".ostd" file; its statements run through
// the engine (TOstStatement), so the engine's rules hold exactly as they do
// through TOstQuery: checks, sizes, foreign keys across files, collations,
// encryption and fulltext search.
#pragma once

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlResult>
#include <QSet>
#include <memory>

class TOstDatabase;
class TOstStatement;
class Exception;

class TOstSqlDriver : public QSqlDriver {
    Q_OBJECT

public:
    explicit TOstSqlDriver(QObject* parent = nullptr);
    ~TOstSqlDriver() override;

    bool hasFeature(DriverFeature feature) const override;
    // db: the database directory or ".ostd" file. The password of an
    // encrypted database or its tables comes from password or the connect
    // option OSTRA_PASSWORD=...; OSTRA_READONLY opens it read-only.
    bool open(const QString& db, const QString& user, const QString& password, const QString& host, int port,
              const QString& connectOptions) override;
    void close() override;
    QSqlResult* createResult() const override;
    bool beginTransaction() override;
    bool commitTransaction() override;
    bool rollbackTransaction() override;
    QStringList tables(QSql::TableType type) const override;
    QSqlRecord record(const QString& tableName) const override;
    QSqlIndex primaryIndex(const QString& tableName) const override;
    QString escapeIdentifier(const QString& identifier, IdentifierType type) const override;
    QVariant handle() const override;

    TOstDatabase* Database() const { return m_database.get(); }
    // Results stop reading (their statements are finalized) before the database closes.
    void Attach(class TOstSqlResult* r) { m_results.insert(r); }
    void Detach(class TOstSqlResult* r) { m_results.remove(r); }
    // The engine's message as the driver's last error.
    void Fail(const QString& what, const Exception& e, QSqlError::ErrorType type) const;

private:
    QStringList Views() const;
    std::unique_ptr<TOstDatabase> m_database;
    QSet<class TOstSqlResult*> m_results;
};

class TOstSqlResult : public QSqlResult {
public:
    explicit TOstSqlResult(const TOstSqlDriver* driver);
    ~TOstSqlResult() override;
    void Finalize();
    QVariant handle() const override;

protected:
    bool reset(const QString& query) override;
    bool prepare(const QString& query) override;
    bool exec() override;
    bool fetch(int i) override;
    bool fetchFirst() override;
    bool fetchLast() override;
    bool fetchNext() override;
    QVariant data(int i) override;
    bool isNull(int i) override;
    int size() override { return -1; }
    int numRowsAffected() override;
    QVariant lastInsertId() const override;
    QSqlRecord record() const override;
    void detachFromResultSet() override;

private:
    TOstSqlDriver* Driver() const { return const_cast<TOstSqlDriver*>(static_cast<const TOstSqlDriver*>(driver())); }
    bool Failed(const QString& what, const Exception& e, QSqlError::ErrorType type);
    // Reads the next row of the statement into the cache (scrollable results).
    bool ReadRow();
    std::unique_ptr<TOstStatement> m_statement;
    // A scrollable result keeps the rows read so far, so that the models can
    // go back; a forward-only one reads straight from the statement.
    QVector<QVariantList> m_rows;
    bool m_atEnd = false;
};
