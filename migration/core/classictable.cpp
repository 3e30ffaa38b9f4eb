// TTable and TQuery, and their registration for streaming.
#include "migration/core/classicdataset.h"

#include "engine/base/tclassregistry.h"
#include "migration/core/classicsql_p.h"

#include <QRegularExpression>
#include <QSqlDriver>

// ---------------------------------------------------------------- TTable

TTable::TTable(TComponent* owner) : TClassicDataSet(owner) {}
TTable::~TTable() {
    try { Close(); } catch (...) {}
}

void TTable::SetTableName(const QString& name) {
    if (name == m_tableName) return;
    CheckInactive("TableName");
    m_tableName = name;
    m_indexDefs.Clear();
}

void TTable::SetIndexName(const QString& name) {
    if (name == m_indexName) return;
    m_indexName = name;
    // A new order: read again.
    if (Active()) {
        Close();
        Open();
    }
}

QString TTable::SourceSelect(QVariantMap& binds) {
    Q_UNUSED(binds)
    if (m_tableName.trimmed().isEmpty()) throw EDatabaseError(QStringLiteral("%1: TableName is empty").arg(GetName()));
    TClassicConnection& c = *Connection();
    const QVector<TClassicColumn> cols = ClassicTableColumns(c, m_tableName);
    QStringList exprs;
    for (const TClassicColumn& col : cols) exprs << col.expression;
    return QStringLiteral("SELECT %1 FROM %2").arg(exprs.join(QStringLiteral(", ")), c.QuoteTable(m_tableName));
}

void TTable::ReadFieldDefs(TClassicConnection& c, const QString& select, const QVariantMap& binds) {
    Q_UNUSED(select)
    Q_UNUSED(binds)
    for (const TClassicColumn& col : ClassicTableColumns(c, m_tableName)) {
        FieldDefs().AddFieldDef(col.name, col.type, col.size, col.required)->Precision = col.precision;
        m_readers.append(col.read);
    }
    ReadIndexDefs(c);
}

void TTable::ReadIndexDefs(TClassicConnection& c) {
    m_indexDefs.Clear();
    ClassicTableIndexes(c, m_tableName, m_indexDefs);
}

void TTable::UpdateIndexDefs() {
    if (Active()) {
        ReadIndexDefs(*Connection());
        return;
    }
    TClassicConnection c(GetDatabaseName(), GetPassword());
    m_indexDefs.Clear();
    ClassicTableIndexes(c, m_tableName, m_indexDefs);
}

QStringList TTable::GetTableNames() {
    std::unique_ptr<TClassicConnection> own;
    TClassicConnection* c = Connection();
    if (!c) {
        own = std::make_unique<TClassicConnection>(GetDatabaseName(), GetPassword());
        c = own.get();
    }
    QStringList names = c->Database().tables(QSql::Tables) + c->Database().tables(QSql::Views);
    names.removeDuplicates();
    names.sort(Qt::CaseInsensitive);
    return names;
}

QString TTable::OrderBy(TClassicConnection& c) {
    if (m_indexName.trimmed().isEmpty()) return QString();
    const TIndexDef* ix = m_indexDefs.Find(m_indexName.trimmed());
    if (!ix)
        throw EDatabaseError(QStringLiteral("Table \"%1\" has no index \"%2\"").arg(m_tableName, m_indexName));
    const QStringList desc = ix->DescFields.split(u';', Qt::SkipEmptyParts);
    QStringList parts;
    for (const QString& f : ix->Fields.split(u';', Qt::SkipEmptyParts)) {
        const QString name = f.trimmed();
        if (FieldDefs().IndexOf(name) < 0)
            throw EDatabaseError(QStringLiteral("Index \"%1\" of table \"%2\" sorts by \"%3\", which is not a column")
                                     .arg(m_indexName, m_tableName, name));
        parts << c.QuoteColumn(name) + (desc.contains(name) || (ix->Options & ixDescending) ? QStringLiteral(" DESC") : QString());
    }
    return parts.join(QStringLiteral(", "));
}

// ---------------------------------------------------------------- TQuery

TQuery::TQuery(TComponent* owner) : TClassicDataSet(owner) {}
TQuery::~TQuery() {
    try { Close(); } catch (...) {}
}

void TQuery::SetSQL(const QStringList& lines) {
    if (lines == m_sql) return;
    if (Active()) Close();
    m_sql = lines;
}

void TQuery::SetParam(const QString& name, const QVariant& value) {
    QString key = name.trimmed();
    if (key.startsWith(u':')) key = key.mid(1);
    if (key.isEmpty()) throw EDatabaseError(QStringLiteral("A parameter needs a name"));
    if (!m_params.contains(key)) m_paramNames << key;
    m_params.insert(key, value);
}

void TQuery::ClearParams() {
    m_paramNames.clear();
    m_params.clear();
}

QStringList TQuery::GetParamLines() const {
    QStringList lines;
    for (const QString& n : m_paramNames) {
        const QVariant v = m_params.value(n);
        lines << (v.isNull() ? n : n + u'=' + v.toString());
    }
    return lines;
}

void TQuery::SetParamLines(const QStringList& lines) {
    ClearParams();
    for (const QString& l : lines) {
        if (l.trimmed().isEmpty()) continue;
        const qsizetype eq = l.indexOf(u'=');
        if (eq < 0) SetParam(l, QVariant());
        else SetParam(l.left(eq), l.mid(eq + 1));
    }
}

QString TQuery::SourceSelect(QVariantMap& binds) {
    // One statement: a trailing ";" and blanks go, so the text can be read as a part of another.
    QString sql = SQLText().trimmed();
    while (sql.endsWith(u';')) sql = sql.chopped(1).trimmed();
    if (sql.isEmpty()) throw EDatabaseError(QStringLiteral("%1: SQL is empty").arg(GetName().isEmpty() ? QStringLiteral("Query") : GetName()));
    // The parameters the text names, each with its value.
    // Quoted text and names are no parameters.
    QString bare = sql;
    QChar quote;
    for (QChar& ch : bare) {
        if (!quote.isNull()) {
            if (ch == quote) quote = QChar();
            else ch = u' ';
        } else if (ch == u'\'' || ch == u'"') {
            quote = ch;
        }
    }
    static const QRegularExpression param(QStringLiteral("(?<![:\\w]):([A-Za-z_]\\w*)"));
    auto it = param.globalMatch(bare);
    while (it.hasNext()) {
        const QString name = it.next().captured(1);
        QString key;
        for (const QString& n : m_paramNames)
            if (n.compare(name, Qt::CaseInsensitive) == 0) key = n;
        if (key.isEmpty()) throw EDatabaseError(QStringLiteral("Parameter \"%1\" has no value").arg(name));
        binds.insert(QStringLiteral(":") + name, m_params.value(key));
    }
    return sql;
}

void TQuery::ReadFieldDefs(TClassicConnection& c, const QString& select, const QVariantMap& binds) {
    FieldDefsFromResult(c, select, binds);
}

// ---------------------------------------------------------------- registration

void RegisterClassicClasses() {
    RegisterComponentClass<TTable>();
    RegisterComponentClass<TQuery>();
}

namespace {
// Modules that hold classic datasets load once this library is loaded.
const bool registered = [] {
    AddClassRegistrar(RegisterClassicClasses);
    return true;
}();
} // namespace
