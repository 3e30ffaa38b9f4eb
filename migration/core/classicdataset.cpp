// TClassicDataSet, TTable and TQuery: streaming reads over a Qt SQL connection.
#include "migration/core/classicdataset.h"

#include "engine/base/tclassregistry.h"
#include "migration/core/classicprefetch.h"
#include "migration/core/classicsql_p.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlField>
#include <QSqlRecord>


// ---------------------------------------------------------------- TClassicDataSet

TClassicDataSet::TClassicDataSet(TComponent* owner) : TDataSet(owner) {}

TClassicDataSet::~TClassicDataSet() {
    try { Close(); } catch (...) {}
}

void TClassicDataSet::CheckInactive(const char* what) const {
    if (Active())
        throw EDatabaseError(QStringLiteral("%1: cannot change %2 of an open dataset").arg(GetName(), QLatin1String(what)));
}

void TClassicDataSet::SetDatabaseName(const QString& name) {
    if (name == m_databaseName) return;
    CheckInactive("DatabaseName");
    m_databaseName = name;
}

QString TClassicDataSet::DriverName() const {
    if (m_connection) return m_connection->DriverName();
    const QString name = m_databaseName.trimmed();
    if (QSqlDatabase::contains(name)) return QSqlDatabase::database(name, false).driverName();
    try {
        return ParseClassicConnection(name).Driver;
    } catch (const Exception&) {
        return QString();
    }
}

QString TClassicDataSet::Describe() const {
    if (auto* t = qobject_cast<const TTable*>(this)) return QStringLiteral("Table \"%1\"").arg(t->GetTableName());
    return GetName().isEmpty() ? QStringLiteral("The query") : QStringLiteral("Query \"%1\"").arg(GetName());
}

void TClassicDataSet::InternalOpen() {
    m_connection = std::make_unique<TClassicConnection>(m_databaseName, m_password);
    try {
        QVariantMap binds;
        const QString source = SourceSelect(binds);
        FieldDefs().Clear();
        m_readers.clear();
        ReadFieldDefs(*m_connection, source, binds);
        QString where;
        if (GetFiltered() && !GetFilter().trimmed().isEmpty())
            where = ClassicFilterToSql(*m_connection, GetFilter(), FieldDefs(), binds);
        // The statement that reads; a query's own text is wrapped only when it must be.
        QString select = source;
        if (!where.isEmpty()) select = QStringLiteral("SELECT * FROM (%1) ostra_source WHERE %2").arg(source, where);
        const QString order = OrderBy(*m_connection);
        if (!order.isEmpty()) select += QStringLiteral(" ORDER BY ") + order;
        m_select = select;
        m_binds = binds;

        // Count and records from one snapshot (a connection the application
        // added is used as it is: it may be in a transaction of its own).
        QSqlDatabase db = m_connection->Database();
        const QString driver = db.driverName();
        if (db.connectionName().startsWith(QStringLiteral("ostra-classic-"))) {
            if (driver == QStringLiteral("QPSQL")) {
                ClassicExec(*m_connection, QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ, READ ONLY"));
                m_inTransaction = true;
                // The records are read on a connection of their own in this
                // transaction's snapshot; a server that cannot share it is read here.
                QSqlQuery snapshot(db);
                if (snapshot.exec(QStringLiteral("SELECT pg_export_snapshot()")) && snapshot.next()) {
                    m_snapshot = snapshot.value(0).toString();
                } else {
                    snapshot.finish();
                    ClassicExec(*m_connection, QStringLiteral("ROLLBACK"));
                    ClassicExec(*m_connection, QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ, READ ONLY"));
                }
            } else if (db.driver()->hasFeature(QSqlDriver::Transactions)) {
                m_inTransaction = db.transaction();
            }
        }
        const QString counted = where.isEmpty() ? source : QStringLiteral("SELECT * FROM (%1) ostra_source WHERE %2").arg(source, where);
        {
            QSqlQuery count = ClassicExec(*m_connection, QStringLiteral("SELECT count(*) FROM (%1) ostra_count").arg(counted), binds);
            m_count = count.next() ? count.value(0).toInt() : 0;
        }
        m_pos = -1;
        m_current.clear();
        Start();
    } catch (...) {
        InternalClose();
        throw;
    }
}

void TClassicDataSet::InternalClose() {
    StopReading();
    if (m_connection && m_inTransaction) {
        QSqlDatabase db = m_connection->Database();
        if (db.driverName() == QStringLiteral("QPSQL")) {
            QSqlQuery end(db);
            end.exec(QStringLiteral("ROLLBACK"));
        } else {
            db.rollback();
        }
    }
    m_inTransaction = false;
    m_snapshot.clear();
    m_connection.reset();
    m_count = 0;
}

bool TClassicDataSet::SetRecordPrepare(TRecordPrepare prepare) {
    m_prepare = prepare ? std::make_shared<const TRecordPrepare>(std::move(prepare)) : nullptr;
    if (m_prefetch) m_prefetch->SetPrepare(m_prepare);
    return m_prepare && GetActive() && !m_snapshot.isEmpty();
}

QVariantList TClassicDataSet::PreparedRecord() const {
    return m_prefetch && RecNo() - 1 == m_pos ? m_currentPrepared : QVariantList();
}

void TClassicDataSet::StopReading() const {
    if (m_prefetch && m_connection) {
        // Records still to come: the server stops sending them first.
        if (const int pid = m_prefetch->BackendPid()) {
            QSqlQuery cancel(m_connection->Database());
            if (cancel.prepare(QStringLiteral("SELECT pg_cancel_backend(:pid)"))) {
                cancel.bindValue(QStringLiteral(":pid"), pid);
                cancel.exec();
            }
        }
    }
    m_prefetch.reset();
    m_query.reset();
    m_pos = -1;
    m_current.clear();
    m_currentPrepared.clear();
    m_first.clear();
}

void TClassicDataSet::Start() const {
    StopReading();
    if (!m_snapshot.isEmpty()) {
        const QSqlDatabase db = m_connection->Database();
        TClassicPrefetchSource source;
        source.Driver = db.driverName();
        source.Host = db.hostName();
        source.Port = db.port();
        source.Database = db.databaseName();
        source.User = db.userName();
        source.Password = db.password();
        source.Options = db.connectOptions();
        source.Snapshot = m_snapshot;
        source.Select = m_select;
        source.Copy = qobject_cast<const TTable*>(this) != nullptr;
        source.Binds = m_binds;
        source.Columns = const_cast<TClassicDataSet*>(this)->FieldDefs().Count();
        source.Readers = m_readers;
        m_prefetch = std::make_unique<TClassicPrefetch>(std::move(source));
        m_prefetch->SetPrepare(m_prepare);
        return;
    }
    m_query = std::make_unique<QSqlQuery>(ClassicExec(*m_connection, m_select, m_binds));
}

QVariantList TClassicDataSet::InternalGetRecord(int recNo) const {
    if (!m_connection) return {};
    if (recNo == m_pos) return m_current;
    // The first record is kept: going back to it (as First does) runs nothing
    // again until a later record is asked for.
    if (recNo == 0 && m_pos > 0 && !m_first.isEmpty()) return m_first;
    if (recNo < m_pos || (!m_query && !m_prefetch)) Start();
    if (m_prefetch) {
        while (m_pos < recNo) {
            QString error;
            const auto result = m_prefetch->Next(m_current, m_currentPrepared, error);
            if (result != TClassicPrefetch::Result::Row) {
                const int failed = m_pos + 2;
                StopReading();
                if (result == TClassicPrefetch::Result::Failed)
                    throw EDatabaseError(QStringLiteral("%1: reading record %2 failed: %3").arg(Describe(), QString::number(failed), error));
                throw EDatabaseError(QStringLiteral("%1 ended after %2 of its %3 records while it was read")
                                         .arg(Describe(), QString::number(failed - 1), QString::number(m_count)));
            }
            ++m_pos;
        }
        if (m_pos == 0) m_first = m_current;
        return m_current;
    }
    while (m_pos < recNo) {
        if (!m_query->next()) {
            const QSqlError error = m_query->lastError();
            const int failed = m_pos + 2;
            StopReading();
            if (error.isValid() && error.type() != QSqlError::NoError)
                throw EDatabaseError(QStringLiteral("%1: reading record %2 failed: %3")
                                         .arg(Describe(), QString::number(failed), error.text().trimmed()));
            throw EDatabaseError(QStringLiteral("%1 ended after %2 of its %3 records while it was read")
                                     .arg(Describe(), QString::number(failed - 1), QString::number(m_count)));
        }
        ++m_pos;
    }
    const int n = const_cast<TClassicDataSet*>(this)->FieldDefs().Count();
    m_current.clear();
    m_current.reserve(n);
    for (int i = 0; i < n; ++i) {
        m_current.append(ClassicReadValue(m_query->value(i), i < m_readers.size() ? m_readers[i] : TClassicRead::AsIs));
    }
    if (m_pos == 0) m_first = m_current;
    return m_current;
}

void TClassicDataSet::InternalRefresh() { StopReading(); }

void TClassicDataSet::FilterChanged() {
    // The filter is part of the statement: read again with the new one.
    Close();
    Open();
}

void TClassicDataSet::FieldDefsFromResult(TClassicConnection& c, const QString& select, const QVariantMap& binds) {
    // The statement's columns without reading its rows.
    QSqlQuery q = ClassicExec(c, QStringLiteral("SELECT * FROM (%1) ostra_columns WHERE 1 = 0").arg(select), binds);
    const QSqlRecord r = q.record();
    for (int i = 0; i < r.count(); ++i) {
        const TClassicColumn col = ClassicResultColumn(c.DriverName(), r.field(i));
        FieldDefs().AddFieldDef(col.name, col.type, col.size, col.required)->Precision = col.precision;
        m_readers.append(col.read);
    }
}
