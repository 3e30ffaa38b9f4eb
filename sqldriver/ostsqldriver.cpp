// The QOSTRA driver: a connection is a TOstDatabase; tables, records and the
// primary index come from the engine's definitions.
#include "sqldriver/ostsqldriver.h"

#include "engine/ostdataset.h"
#include "engine/ostquery.h"

#include <QAtomicInt>
#include <QDir>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlField>
#include <QSqlIndex>
#include <QSqlRecord>

namespace {

// Connect options "NAME=VALUE;FLAG", a value may be quoted ('a;b' or "a;b")
// to hold a ";".
QHash<QString, QString> ParseOptions(const QString& text) {
    QHash<QString, QString> options;
    QString name, value;
    bool inValue = false;
    QChar quote;
    auto flush = [&] {
        if (!name.trimmed().isEmpty()) options.insert(name.trimmed().toUpper(), inValue ? value : QStringLiteral("1"));
        name.clear();
        value.clear();
        inValue = false;
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar ch = text.at(i);
        if (!quote.isNull()) {
            if (ch == quote) quote = QChar();
            else value += ch;
        } else if (ch == u';') {
            flush();
        } else if (!inValue && ch == u'=') {
            inValue = true;
        } else if (inValue && (ch == u'\'' || ch == u'"') && value.trimmed().isEmpty()) {
            value.clear();
            quote = ch;
        } else {
            (inValue ? value : name) += ch;
        }
    }
    flush();
    return options;
}

QMetaType MetaTypeOf(int ostType) {
    switch (ostType & 127) {
    case dtSmallInt: case dtInteger: case dtWord: return QMetaType(QMetaType::Int);
    case dtAutoInc: case dtLink: case dtLargeLink: case dtLargeInt: return QMetaType(QMetaType::LongLong);
    case dtFloat: return QMetaType(QMetaType::Double);
    case dtBoolean: return QMetaType(QMetaType::Bool);
    case dtDate: return QMetaType(QMetaType::QDate);
    case dtTime: return QMetaType(QMetaType::QTime);
    case dtDateTime: return QMetaType(QMetaType::QDateTime);
    case dtBlob: return QMetaType(QMetaType::QByteArray);
    default: return QMetaType(QMetaType::QString);
    }
}

QMetaType MetaTypeOfDeclared(const QString& declared) {
    const QString t = declared.toUpper();
    if (t.contains(QLatin1String("INT"))) return QMetaType(QMetaType::LongLong);
    if (t.contains(QLatin1String("REAL")) || t.contains(QLatin1String("FLOA")) || t.contains(QLatin1String("DOUB")))
        return QMetaType(QMetaType::Double);
    if (t.contains(QLatin1String("BLOB"))) return QMetaType(QMetaType::QByteArray);
    return QMetaType(QMetaType::QString);
}

// The table's definitions, read without opening it.
std::unique_ptr<TOstTable> Definitions(TOstDatabase* db, const QString& tableName) {
    auto t = std::make_unique<TOstTable>();
    t->SetDatabaseName(db->GetDatabaseName());
    t->SetTableName(tableName);
    t->ReadDefinitions();
    return t;
}

QString Unquoted(QString name) {
    if (name.size() >= 2 && ((name.startsWith(u'"') && name.endsWith(u'"')) || (name.startsWith(u'[') && name.endsWith(u']'))))
        name = name.mid(1, name.size() - 2).replace(QStringLiteral("\"\""), QStringLiteral("\""));
    return name;
}

} // namespace

// ---------------------------------------------------------------- TOstSqlDriver

TOstSqlDriver::TOstSqlDriver(QObject* parent) : QSqlDriver(parent) {}

TOstSqlDriver::~TOstSqlDriver() { close(); }

bool TOstSqlDriver::hasFeature(DriverFeature feature) const {
    switch (feature) {
    case Transactions: case BLOB: case Unicode: case PreparedQueries: case NamedPlaceholders:
    case PositionalPlaceholders: case LastInsertId: case LowPrecisionNumbers: case SimpleLocking:
        return true;
    default:
        return false;
    }
}

void TOstSqlDriver::Fail(const QString& what, const Exception& e, QSqlError::ErrorType type) const {
    const auto* ost = dynamic_cast<const EOstraError*>(&e);
    const_cast<TOstSqlDriver*>(this)->setLastError(
        QSqlError(what, e.Message(), type, ost ? QString::number(ost->ErrorCode()) : QString()));
}

bool TOstSqlDriver::open(const QString& db, const QString& /*user*/, const QString& password, const QString& /*host*/,
                         int /*port*/, const QString& connectOptions) {
    if (isOpen()) close();
    const QHash<QString, QString> options = ParseOptions(connectOptions);
    const QFileInfo location(db);
    if (db.trimmed().isEmpty() || !location.exists()) {
        setLastError(QSqlError(QStringLiteral("Cannot open the database"),
                               QStringLiteral("Database \"%1\" does not exist").arg(db), QSqlError::ConnectionError));
        setOpenError(true);
        return false;
    }
    static QAtomicInt counter;
    auto database = std::make_unique<TOstDatabase>();
    try {
        // A name of its own, so that the definitions' tables find this connection.
        database->SetDatabaseName(QStringLiteral("QOSTRA_%1").arg(counter.fetchAndAddRelaxed(1) + 1));
        database->SetDatabaseType(location.isFile() ? dbtSingleFile : dbtDirectory);
        database->SetLocation(location.absoluteFilePath());
        database->SetPassword(options.value(QStringLiteral("OSTRA_PASSWORD"), password));
        database->SetReadOnly(options.contains(QStringLiteral("OSTRA_READONLY")));
        database->Open();
        QStringList names;
        database->GetTableNames(names); // reads the database: a wrong file fails here
    } catch (const Exception& e) {
        Fail(QStringLiteral("Cannot open the database"), e, QSqlError::ConnectionError);
        setOpenError(true);
        return false;
    }
    m_database = std::move(database);
    setOpen(true);
    setOpenError(false);
    return true;
}

void TOstSqlDriver::close() {
    for (TOstSqlResult* r : std::as_const(m_results)) r->Finalize();
    if (m_database) {
        try { m_database->Close(); } catch (...) {}
        m_database.reset();
    }
    if (isOpen()) {
        setOpen(false);
        setOpenError(false);
    }
}

QSqlResult* TOstSqlDriver::createResult() const { return new TOstSqlResult(this); }

bool TOstSqlDriver::beginTransaction() {
    if (!m_database) return false;
    try {
        m_database->StartTransaction();
        return true;
    } catch (const Exception& e) {
        Fail(QStringLiteral("Cannot start a transaction"), e, QSqlError::TransactionError);
        return false;
    }
}

bool TOstSqlDriver::commitTransaction() {
    if (!m_database) return false;
    try {
        m_database->Commit();
        return true;
    } catch (const Exception& e) {
        Fail(QStringLiteral("Cannot commit the transaction"), e, QSqlError::TransactionError);
        try { if (m_database->InTransaction()) m_database->Rollback(); } catch (...) {}
        return false;
    }
}

bool TOstSqlDriver::rollbackTransaction() {
    if (!m_database) return false;
    try {
        m_database->Rollback();
        return true;
    } catch (const Exception& e) {
        Fail(QStringLiteral("Cannot roll the transaction back"), e, QSqlError::TransactionError);
        return false;
    }
}

QStringList TOstSqlDriver::tables(QSql::TableType type) const {
    QStringList names;
    if (!m_database) return names;
    try {
        if (type & (QSql::Tables | QSql::SystemTables)) {
            QStringList all, user;
            m_database->GetTableNames(user);
            if (type & QSql::SystemTables) m_database->GetTableNames(all, true);
            if (type & QSql::Tables) names << user;
            for (const QString& t : std::as_const(all))
                if (!user.contains(t, Qt::CaseInsensitive)) names << t;
        }
        // The user's own views: kept in a single-file database, for the
        // connection's lifetime in a directory database (TEMP views there).
        if (type & QSql::Views) names << Views();
    } catch (const Exception& e) {
        Fail(QStringLiteral("Cannot list the tables"), e, QSqlError::StatementError);
    }
    return names;
}

QStringList TOstSqlDriver::Views() const {
    QStringList names;
    TOstStatement views(m_database.get());
    views.Prepare(QStringLiteral("SELECT name FROM sqlite_schema WHERE type = 'view' "
                                 "UNION SELECT name FROM sqlite_temp_schema WHERE type = 'view' ORDER BY 1"));
    views.Execute();
    while (views.Next()) names << views.Value(0).toString();
    return names;
}

QSqlRecord TOstSqlDriver::record(const QString& tableName) const {
    QSqlRecord rec;
    if (!m_database) return rec;
    try {
        const QString table = Unquoted(tableName);
        if (!m_database->TableExists(table) && Views().contains(table, Qt::CaseInsensitive)) {
            // A view: its columns as its statement gives them.
            TOstStatement view(m_database.get());
            view.Prepare(QStringLiteral("SELECT * FROM %1").arg(escapeIdentifier(table, TableName)));
            for (int i = 0; i < view.ColumnCount(); ++i)
                rec.append(QSqlField(view.ColumnName(i), MetaTypeOfDeclared(view.ColumnDeclaredType(i)), table));
            return rec;
        }
        auto t = Definitions(m_database.get(), table);
        TOstFieldDefs& defs = t->GetFieldDefsOst();
        for (int i = 0; i < defs.GetCount(); ++i) {
            const TOstFieldDef* d = defs.GetFieldDef(i);
            QSqlField f(d->GetName(), MetaTypeOf(d->GetDataTypeOst()), table);
            const int type = d->GetDataTypeOst() & 127;
            if (IsTextType(type)) f.setLength(d->GetSize());
            if (type == dtFloat) f.setPrecision(d->GetPrecision());
            f.setRequiredStatus(d->GetRequired() ? QSqlField::Required : QSqlField::Optional);
            f.setAutoValue(type == dtAutoInc);
            f.setReadOnly(d->GetInternalCalcField());
            rec.append(f);
        }
    } catch (const Exception& e) {
        Fail(QStringLiteral("Cannot read the table's definition"), e, QSqlError::StatementError);
    }
    return rec;
}

QSqlIndex TOstSqlDriver::primaryIndex(const QString& tableName) const {
    QSqlIndex index;
    if (!m_database) return index;
    try {
        const QString table = Unquoted(tableName);
        auto t = Definitions(m_database.get(), table);
        const QSqlRecord fields = record(table);
        TIndexDefs& indexes = t->IndexDefs();
        if (const TIndexDef* primary = indexes.GetPrimary()) {
            index = QSqlIndex(table, primary->Name);
            const QStringList desc = primary->DescFields.split(u';', Qt::SkipEmptyParts);
            for (QString name : primary->Fields.split(u';', Qt::SkipEmptyParts)) {
                name = name.section(u':', 0, 0).trimmed();
                const int at = fields.indexOf(name);
                if (at < 0) continue;
                index.append(fields.field(at), desc.contains(name, Qt::CaseInsensitive));
            }
            return index;
        }
        // Without a primary key a record is known by its record id.
        TOstFieldDefs& defs = t->GetFieldDefsOst();
        for (int i = 0; i < defs.GetCount(); ++i)
            if ((defs.GetFieldDef(i)->GetDataTypeOst() & 127) == dtAutoInc) {
                index = QSqlIndex(table, QString());
                index.append(fields.field(defs.GetFieldDef(i)->GetName()));
                break;
            }
    } catch (const Exception& e) {
        Fail(QStringLiteral("Cannot read the table's definition"), e, QSqlError::StatementError);
    }
    return index;
}

QString TOstSqlDriver::escapeIdentifier(const QString& identifier, IdentifierType) const {
    if (isIdentifierEscaped(identifier, TableName)) return identifier;
    QString quoted = identifier;
    quoted.replace(u'"', QStringLiteral("\"\""));
    return u'"' + quoted + u'"';
}

QVariant TOstSqlDriver::handle() const { return QVariant::fromValue(static_cast<void*>(m_database.get())); }

// ---------------------------------------------------------------- TOstSqlResult

TOstSqlResult::TOstSqlResult(const TOstSqlDriver* driver) : QSqlResult(driver) {
    Driver()->Attach(this);
}

TOstSqlResult::~TOstSqlResult() {
    if (driver()) Driver()->Detach(this);
}

void TOstSqlResult::Finalize() {
    m_statement.reset();
    m_rows.clear();
    setActive(false);
    setAt(QSql::BeforeFirstRow);
}

QVariant TOstSqlResult::handle() const { return QVariant::fromValue(static_cast<void*>(m_statement.get())); }

bool TOstSqlResult::Failed(const QString& what, const Exception& e, QSqlError::ErrorType type) {
    const auto* ost = dynamic_cast<const EOstraError*>(&e);
    setLastError(QSqlError(what, e.Message(), type, ost ? QString::number(ost->ErrorCode()) : QString()));
    setActive(false);
    return false;
}

bool TOstSqlResult::reset(const QString& query) {
    return prepare(query) && exec();
}

bool TOstSqlResult::prepare(const QString& query) {
    Finalize();
    setLastError(QSqlError());
    if (!driver() || !driver()->isOpen()) {
        setLastError(QSqlError(QStringLiteral("Cannot run the statement"), QStringLiteral("The database is not open"),
                               QSqlError::ConnectionError));
        return false;
    }
    try {
        m_statement = std::make_unique<TOstStatement>(Driver()->Database());
        m_statement->Prepare(query);
    } catch (const Exception& e) {
        m_statement.reset();
        return Failed(QStringLiteral("Cannot prepare the statement"), e, QSqlError::StatementError);
    }
    setQuery(query);
    return true;
}

bool TOstSqlResult::exec() {
    if (!m_statement) return false;
    m_rows.clear();
    m_atEnd = false;
    setAt(QSql::BeforeFirstRow);
    setLastError(QSqlError());
    try {
        const QVariantList values = boundValues();
        const int count = m_statement->ParamCount();
        if (count > 0 && values.size() < count && !values.isEmpty()) {
            // Named placeholders used more than once: bind by name.
            for (int i = 0; i < count; ++i) m_statement->BindValue(i, boundValue(m_statement->ParamName(i)));
        } else {
            if (values.size() < count)
                throw EOstraError(OstErr::Sql, QStringLiteral("The statement has %1 parameters, %2 values are bound")
                                                   .arg(count).arg(values.size()));
            for (int i = 0; i < count; ++i) m_statement->BindValue(i, values.at(i));
        }
        m_statement->Execute();
    } catch (const Exception& e) {
        return Failed(QStringLiteral("Cannot run the statement"), e, QSqlError::StatementError);
    }
    setSelect(m_statement->ReturnsRows());
    setActive(true);
    return true;
}

bool TOstSqlResult::ReadRow() {
    if (m_atEnd) return false;
    bool more = false;
    try {
        more = m_statement->Next();
    } catch (const Exception& e) {
        m_atEnd = true;
        return Failed(QStringLiteral("Cannot read the next row"), e, QSqlError::StatementError);
    }
    if (!more) {
        m_atEnd = true;
        return false;
    }
    QVariantList row;
    const int n = m_statement->ColumnCount();
    row.reserve(n);
    for (int i = 0; i < n; ++i) row.append(m_statement->Value(i));
    m_rows.append(row);
    return true;
}

bool TOstSqlResult::fetchNext() {
    if (!m_statement || !isSelect()) return false;
    if (isForwardOnly()) {
        bool more = false;
        try {
            more = m_statement->Next();
        } catch (const Exception& e) {
            return Failed(QStringLiteral("Cannot read the next row"), e, QSqlError::StatementError);
        }
        if (!more) {
            setAt(QSql::AfterLastRow);
            return false;
        }
        setAt(at() < 0 ? 0 : at() + 1);
        return true;
    }
    return fetch(at() < 0 ? 0 : at() + 1);
}

bool TOstSqlResult::fetch(int i) {
    if (!m_statement || !isSelect() || i < 0) return false;
    if (isForwardOnly()) {
        if (i < at()) return false;
        while (at() < i)
            if (!fetchNext()) return false;
        return true;
    }
    while (m_rows.size() <= i)
        if (!ReadRow()) {
            setAt(QSql::AfterLastRow);
            return false;
        }
    setAt(i);
    return true;
}

bool TOstSqlResult::fetchFirst() {
    if (isForwardOnly() && at() != QSql::BeforeFirstRow) return false;
    return fetch(0);
}

bool TOstSqlResult::fetchLast() {
    if (!m_statement || !isSelect()) return false;
    if (isForwardOnly()) {
        if (at() == QSql::AfterLastRow) return false;
        while (fetchNext()) {}
        return false; // the rows of a forward-only result are gone once passed
    }
    while (ReadRow()) {}
    if (m_rows.isEmpty()) return false;
    setAt(static_cast<int>(m_rows.size()) - 1);
    return true;
}

QVariant TOstSqlResult::data(int i) {
    if (!m_statement || at() < 0) return QVariant();
    if (isForwardOnly()) return m_statement->Value(i);
    return at() < m_rows.size() ? m_rows.at(at()).value(i) : QVariant();
}

bool TOstSqlResult::isNull(int i) { return data(i).isNull(); }

int TOstSqlResult::numRowsAffected() { return m_statement ? m_statement->RowsAffected() : 0; }

QVariant TOstSqlResult::lastInsertId() const {
    return m_statement && !m_statement->ReadOnly() ? QVariant(m_statement->LastInsertId()) : QVariant();
}

QSqlRecord TOstSqlResult::record() const {
    QSqlRecord rec;
    if (!m_statement) return rec;
    for (int i = 0; i < m_statement->ColumnCount(); ++i)
        rec.append(QSqlField(m_statement->ColumnName(i), MetaTypeOfDeclared(m_statement->ColumnDeclaredType(i))));
    return rec;
}

void TOstSqlResult::detachFromResultSet() {
    if (m_statement) m_statement->Finish();
}
