// TClassicDataSet, TTable and TQuery: streaming reads over a Qt SQL connection.
#include "migration/core/classicdataset.h"

#include "engine/base/tclassregistry.h"
#include "migration/core/classicsql_p.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlField>
#include <QSqlRecord>

namespace {

// "2024-05-01 13:45:00.123" (what a server writes for a timestamp) without
// going through the time zone machinery; the text itself when it is no such value.
QVariant TimestampFromText(const QVariant& v) {
    if (v.isNull()) return QVariant();
    const QString s = v.toString();
    const auto num = [&](int from, int len, bool& ok) {
        int n = 0;
        for (int i = from; i < from + len; ++i) {
            const QChar c = s.at(i);
            if (c < u'0' || c > u'9') { ok = false; return 0; }
            n = n * 10 + (c.unicode() - u'0');
        }
        return n;
    };
    bool ok = s.size() >= 19 && s.at(4) == u'-' && s.at(7) == u'-' && (s.at(10) == u' ' || s.at(10) == u'T') &&
              s.at(13) == u':' && s.at(16) == u':';
    if (!ok) return v;
    const int y = num(0, 4, ok), mo = num(5, 2, ok), d = num(8, 2, ok), h = num(11, 2, ok), mi = num(14, 2, ok),
              se = num(17, 2, ok);
    int ms = 0;
    if (ok && s.size() > 20 && s.at(19) == u'.') {
        int digits = 0;
        for (int i = 20; i < s.size() && s.at(i).isDigit(); ++i, ++digits)
            if (digits < 3) ms = ms * 10 + (s.at(i).unicode() - u'0');
        for (; digits < 3; ++digits) ms *= 10;
    } else if (ok && s.size() != 19) {
        ok = false; // a zone or an era: leave it to the general parser
    }
    const QDate date(y, mo, d);
    const QTime time(h, mi, se, ms);
    if (!ok || !date.isValid() || !time.isValid()) return v;
    return QDateTime(date, time, Qt::UTC);
}

} // namespace

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
    m_connection.reset();
    m_count = 0;
}

void TClassicDataSet::StopReading() const {
    m_query.reset();
    m_pos = -1;
    m_current.clear();
    m_first.clear();
}

void TClassicDataSet::Start() const {
    StopReading();
    m_query = std::make_unique<QSqlQuery>(ClassicExec(*m_connection, m_select, m_binds));
}

QVariantList TClassicDataSet::InternalGetRecord(int recNo) const {
    if (!m_connection) return {};
    if (recNo == m_pos) return m_current;
    // The first record is kept: going back to it (as First does) runs nothing
    // again until a later record is asked for.
    if (recNo == 0 && m_pos > 0 && !m_first.isEmpty()) return m_first;
    if (recNo < m_pos || !m_query) Start();
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
        const QVariant v = m_query->value(i);
        if (v.isNull()) m_current.append(QVariant());
        else if (i < m_readers.size() && m_readers[i] == TClassicRead::TimestampText) m_current.append(TimestampFromText(v));
        else m_current.append(v);
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
