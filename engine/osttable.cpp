// TOstDataSet and TOstTable: database lookup, opening a table with its
// cursor, filters, posting and deleting records, definitions from and to
// the stored table. Structure changes are in osttableops.cpp, ostalter.cpp
// and osttablefulltext.cpp.
#include "engine/store/ostcollation.h"
#include "engine/store/ostconnection.h"
#include "engine/crypt/ostcryptaccess.h"
#include "engine/ostdataset.h"
#include "engine/filter/ostfilter.h"
#include "engine/fulltext/ostfulltext.h"
#include "engine/ostmetadefs_p.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalidate.h"
#include "engine/store/ostvalues.h"

#include <QFileInfo>
#include <QPointer>
#include <climits>

// ---------------------------------------------------------------- TOstDataSet

TOstDataSet::TOstDataSet(TComponent* owner) : TDataSet(owner) {}

TOstDataSet::~TOstDataSet() { delete m_privateDatabase; }

void TOstDataSet::SetDatabaseName(const QString& name) {
    if (name == m_databaseName) return;
    if (Active()) throw EOstraError(OstErr::General, QStringLiteral("Cannot change the database of an open dataset"));
    m_databaseName = name;
    delete m_privateDatabase;
    m_privateDatabase = nullptr;
}

TOstDatabase* TOstDataSet::GetDatabase() {
    if (m_databaseName.trimmed().isEmpty()) return nullptr;
    // A database component of the same module comes first, so that two open
    // modules may each have a database of the same name.
    if (Owner())
        for (TComponent* c : Owner()->Components())
            if (auto* db = qobject_cast<TOstDatabase*>(c); db && db->GetDatabaseName().compare(m_databaseName, Qt::CaseInsensitive) == 0)
                return db;
    if (TOstDatabase* db = FindOstDatabase(m_databaseName)) return db;
    if (!m_privateDatabase) {
        // A bare location: a directory of table files or an ".ostd" file.
        m_privateDatabase = new TOstDatabase(nullptr);
        m_privateDatabase->SetLocation(m_databaseName);
        const QFileInfo fi(m_databaseName);
        m_privateDatabase->SetDatabaseType(fi.isFile() || fi.suffix().compare(QStringLiteral("ostd"), Qt::CaseInsensitive) == 0
                                               ? dbtSingleFile : dbtDirectory);
    }
    return m_privateDatabase;
}

std::shared_ptr<OstConnection> TOstDataSet::RequireConnection() {
    TOstDatabase* db = GetDatabase();
    if (!db) throw EOstraError(OstErr::General, QStringLiteral("%1: no database name").arg(GetName().isEmpty() ? QStringLiteral("Dataset") : GetName()));
    std::shared_ptr<OstConnection> c = db->Connection();
    // A table's encryption settings (and password) go with what it asks of the connection.
    if (auto* table = qobject_cast<TOstTable*>(this))
        OstCryptNoteTable(table->CryptRequester(), *c, c->TableNameOf(table->GetTableName()));
    return c;
}

namespace {

// What the engine's encryption asks of a table component.
class TableRequester final : public OstCryptRequester {
public:
    explicit TableRequester(TOstTable* t) : m_table(t) {}
    QObject* Sender() const override { return m_table.data(); }
    int Method() const override { return m_table ? m_table->GetEncryptionMethod() : int(emDefault); }
    QString Password() const override { return m_table ? m_table->GetEncryptionPassword() : QString(); }
    QString DatabasePassword() const override {
        TOstDatabase* d = m_table ? m_table->GetDatabase() : nullptr;
        return d ? d->GetPassword() : QString();
    }

private:
    QPointer<TOstTable> m_table;
};

} // namespace

std::shared_ptr<OstCryptRequester> TOstTable::CryptRequester() {
    if (!m_cryptRequester) m_cryptRequester = std::make_shared<TableRequester>(this);
    return m_cryptRequester;
}

TField* TOstDataSet::CreateField(const TFieldDef& def) {
    TField* f = TDataSet::CreateField(def);
    if (auto* s = qobject_cast<TOstStringField*>(f)) s->SetFixedChar(def.DataType == ftFixedChar);
    return f;
}

void TOstDataSet::FieldDefsFromOst() {
    FieldDefs().Clear();
    for (TOstFieldDef* d : m_fieldDefsOst) {
        TFieldDef* f = FieldDefs().AddFieldDef(d->GetName(), static_cast<TFieldType>(OstLibraryFieldType(d->GetDataTypeOst())),
                                               IsSizedTextType(d->GetDataTypeOst()) ? d->GetSize() : 0, d->GetRequired());
        f->Precision = d->GetPrecision();
    }
}

// ---------------------------------------------------------------- cursor

// The open state of a table: its lock, the record ids that the current index
// and filter select, in their order, and the last record read. The ids are
// read as far as they are asked for, a block at a time, so a table of any
// size opens at once; its count comes from a count of its own.
class OstCursor {
public:
    OstTableMeta meta;
    std::unique_ptr<OstTableLock> lock;
    QVector<qint64> ids; // the first ids in order; all of them once complete
    qint64 total = 0;    // the records selected
    bool complete = false;
    QString where, orderBy;
    mutable int cachedRec = -1;
    mutable QVariantList cached;
    bool plainOrder = true; // record id order, no filter
};

// ---------------------------------------------------------------- TOstTable

TOstTable::TOstTable(TComponent* owner) : TOstDataSet(owner) {
    auto refresh = [this] { ReadDefinitions(); };
    m_fieldDefsOst.Updater = refresh;
    m_indexDefs.Updater = refresh;
    m_fulltextDefs.Updater = refresh;
    m_foreignKeys.Updater = refresh;
}

TOstTable::~TOstTable() {
    try { Close(); } catch (...) {}
}

void TOstTable::CheckInactive(const char* what) const {
    if (Active()) throw EOstraError(OstErr::General, QStringLiteral("Cannot %1 while table \"%2\" is open").arg(QLatin1String(what), m_tableName));
}

void TOstTable::SetTableName(const QString& name) {
    if (name == m_tableName) return;
    CheckInactive("change the table name");
    m_tableName = name.trimmed();
}

void TOstTable::SetTableLevel(int level) {
    if (level < OstMinTableLevel || level > OstMaxTableLevel)
        throw EOstraError(OstErr::InvalidDefinition, QStringLiteral("Table level %1 is not supported (%2 to %3)")
                                                         .arg(level).arg(OstMinTableLevel).arg(OstMaxTableLevel));
    m_tableLevel = level;
    m_fieldDefsOst.SetTableLevel(level);
}

void TOstTable::SetCapacity(int rows) {
    if (rows < OstMinCapacity)
        throw EOstraError(OstErr::InvalidDefinition, QStringLiteral("Capacity must be within %1 and %2").arg(OstMinCapacity).arg(2147483647));
    m_capacity = rows;
}

void TOstTable::SetIndexName(const QString& name) {
    if (name == m_indexName) return;
    m_indexName = name;
    if (Active()) { ReloadCursor(RecordId()); Resync(RecNo() - 1); }
}

void TOstTable::SetExclusive(bool v) { if (v != m_exclusive) { CheckInactive("change exclusive access"); m_exclusive = v; } }
void TOstTable::SetReadOnly(bool v) { if (v != m_readOnly) { CheckInactive("change read-only access"); m_readOnly = v; } }

static QString NormName(TOstTable* t, const std::shared_ptr<OstConnection>& c) {
    const QString n = c->TableNameOf(t->GetTableName());
    OstValidateTableName(n, c->SingleFile());
    return n;
}

OstTableMeta TOstTable::ToMeta() const {
    OstTableMeta m;
    m.name = m_tableName;
    m.level = m_tableLevel;
    m.capacity = m_capacity;
    m.collation = m_collation;
    m.encryption = m_encryptionMethod;
    OstMetaFromDefs(m, m_fieldDefsOst, m_indexDefs, m_fulltextDefs, m_foreignKeys, m_checks);
    return m;
}

void TOstTable::LoadFromMeta(const OstTableMeta& m) {
    m_tableLevel = m.level;
    m_fieldDefsOst.SetTableLevel(m.level);
    m_capacity = m.capacity;
    m_collation = m.collation;
    m_encryptionMethod = static_cast<uint8_t>(m.encryption);
    OstMetaToDefs(m, m_fieldDefsOst, m_indexDefs, m_fulltextDefs, m_foreignKeys, m_checks);
}

bool TOstTable::Exists() {
    auto c = RequireConnection();
    return c->TableExists(NormName(this, c));
}

void TOstTable::ReadDefinitions() {
    auto c = RequireConnection();
    const QString name = NormName(this, c);
    OstTableMeta m;
    if (!c->TableExists(name) || !c->ReadMeta(name, m)) return; // nothing stored yet: keep what the component holds
    LoadFromMeta(m);
}

void TOstTable::ValidateDefinitions() const {
    auto* self = const_cast<TOstTable*>(this);
    auto c = self->RequireConnection();
    OstTableMeta m = ToMeta();
    m.name = NormName(self, c);
    OstValidateMeta(m, c.get());
}

// ---------------------------------------------------------------- open / navigate

void TOstTable::InternalOpen() {
    m_conn = RequireConnection();
    const QString name = NormName(this, m_conn);
    auto cur = std::make_unique<OstCursor>();
    if (!m_conn->TableExists(name))
        throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(name));
    cur->lock = std::make_unique<OstTableLock>(m_conn->TableFile(name), name, m_exclusive);
    if (!m_conn->ReadMeta(name, cur->meta))
        throw EOstraError(OstErr::NotFound, QStringLiteral("\"%1\" is not a table of this database").arg(name));
    cur->meta.name = name;
    LoadFromMeta(cur->meta);
    FieldDefsFromOst();
    m_cursor = std::move(cur);
    if (!m_readOnly && !m_conn->ReadOnly()) {
        m_conn->PrepareForWrite(name);
        RebuildIfCollatorChanged();
    }
    ReloadCursor(0);
}

// Keys of locale collations are only valid for the collator version that built
// them; after an ICU upgrade the table's indexes are rebuilt once.
void TOstTable::RebuildIfCollatorChanged() {
    OstTableMeta& m = m_cursor->meta;
    const QString now = OstIcuCollatorVersion();
    if (m.icuVersion == now) return;
    bool usesLocale = false;
    for (const OstColumnMeta& c : m.columns) {
        const QString coll = OstColumnCollation(m, c);
        usesLocale = usesLocale || (!coll.isEmpty() && coll != QStringLiteral("Ostra"));
    }
    m.icuVersion = now;
    const OstTableLocation loc = m_conn->Locate(m.name);
    m_conn->Begin();
    try {
        if (usesLocale) m_conn->Exec(QStringLiteral("REINDEX %1").arg(loc.qualified()));
        m_conn->WriteMeta(m);
        m_conn->Commit();
    } catch (...) {
        m_conn->Rollback();
        throw;
    }
}

void TOstTable::InternalClose() {
    m_cursor.reset();
    m_conn.reset();
}

void TOstTable::FilterChanged() {
    if (m_cursor) ReloadCursor(0);
}

void TOstTable::ReloadCursor(qint64 keepId) {
    Q_UNUSED(keepId)
    OstCursor& cur = *m_cursor;
    const OstTableLocation loc = m_conn->Locate(cur.meta.name);
    cur.where.clear();
    OstFulltextFilter fulltext(cur.meta, loc, m_fulltextIndexName);
    if (GetFiltered() && !GetFilter().trimmed().isEmpty())
        cur.where = OstFilterToSql(GetFilter(), OstResolverFor(cur.meta), fulltext.Resolver());
    QStringList order;
    if (!m_indexName.isEmpty()) {
        const OstIndexMeta* ix = nullptr;
        for (const OstIndexMeta& i : cur.meta.indexes)
            if (i.name.compare(m_indexName, Qt::CaseInsensitive) == 0) ix = &i;
        if (!ix) throw EOstraError(OstErr::NotFound, QStringLiteral("Index \"%1\" does not exist in table \"%2\"").arg(m_indexName, cur.meta.name));
        // The order of the index's own key expression, so that the index serves it.
        QString sql = OstIndexSql(cur.meta, *ix, QStringLiteral("x"), QStringLiteral("y"));
        sql = sql.mid(sql.indexOf(QStringLiteral(" ON y(")) + 6);
        sql.chop(1);
        order << sql;
    } else if (!fulltext.RankSql().isEmpty()) {
        order << fulltext.RankSql() + QStringLiteral(" DESC"); // CONTAINS ranks by relevance
    }
    order << QStringLiteral("rowid");
    cur.orderBy = order.join(QStringLiteral(", "));
    cur.plainOrder = m_indexName.isEmpty() && cur.where.isEmpty();
    cur.ids.clear();
    cur.complete = false;
    cur.total = m_conn->QueryInt(QStringLiteral("SELECT count(*) FROM %1%2")
                                     .arg(loc.qualified(), cur.where.isEmpty() ? QString() : QStringLiteral(" WHERE ") + cur.where));
    cur.cachedRec = -1;
    LoadIds(0);
}

// Reads record ids on until the one at position upTo is there (or all are).
// In record id order the next block starts after the last id read; in an
// index's order, after as many as were read. Blocks grow as more is read.
void TOstTable::LoadIds(int upTo) const {
    OstCursor& cur = *m_cursor;
    if (cur.complete || upTo < cur.ids.size()) return;
    const OstTableLocation loc = m_conn->Locate(cur.meta.name);
    const bool byId = cur.orderBy == QLatin1String("rowid");
    while (!cur.complete && upTo >= cur.ids.size()) {
        // An order no index serves (relevance) is sorted once: read it whole.
        const int block = !byId && m_indexName.isEmpty() ? INT_MAX : qBound(4096, static_cast<int>(cur.ids.size()), 1 << 18);
        QStringList conditions;
        if (!cur.where.isEmpty()) conditions << QStringLiteral("(%1)").arg(cur.where);
        if (byId && !cur.ids.isEmpty()) conditions << QStringLiteral("rowid > %1").arg(cur.ids.last());
        QString sql = QStringLiteral("SELECT rowid FROM %1%2 ORDER BY %3")
                          .arg(loc.qualified(), conditions.isEmpty() ? QString() : QStringLiteral(" WHERE ") + conditions.join(QStringLiteral(" AND ")),
                               cur.orderBy);
        if (block != INT_MAX) sql += QStringLiteral(" LIMIT %1").arg(block);
        if (block != INT_MAX && !byId && !cur.ids.isEmpty()) sql += QStringLiteral(" OFFSET %1").arg(cur.ids.size());
        OstStmt st(m_conn->Db(), sql);
        int read = 0;
        while (st.Step()) {
            cur.ids.append(st.Int64(0));
            ++read;
        }
        if (read < block) cur.complete = true;
    }
    if (cur.complete || cur.ids.size() > cur.total) cur.total = cur.ids.size();
}

int TOstTable::PositionOfId(qint64 id) const {
    OstCursor& cur = *m_cursor;
    qsizetype from = 0;
    for (;;) {
        const qsizetype at = cur.ids.indexOf(id, from);
        if (at >= 0) return static_cast<int>(at);
        if (cur.complete) return -1;
        from = cur.ids.size();
        LoadIds(static_cast<int>(from));
    }
}

int TOstTable::InternalRecordCount() const { return m_cursor ? static_cast<int>(m_cursor->total) : 0; }

QVariantList TOstTable::InternalGetRecord(int recNo) const {
    OstCursor& cur = *m_cursor;
    if (recNo == cur.cachedRec) return cur.cached;
    QVariantList out;
    if (recNo < 0 || recNo >= cur.total) return out;
    LoadIds(recNo);
    if (recNo >= cur.ids.size()) return out;
    const OstTableLocation loc = m_conn->Locate(cur.meta.name);
    QStringList cols;
    for (const OstColumnMeta& c : cur.meta.columns) cols << OstQuoteIdent(c.name);
    OstStmt st(m_conn->Db(), QStringLiteral("SELECT %1 FROM %2 WHERE rowid = ?1").arg(cols.join(QLatin1Char(',')), loc.qualified()));
    st.Bind(1, cur.ids.at(recNo));
    if (st.Step())
        for (int i = 0; i < cur.meta.columns.size(); ++i) out.append(OstFromStorage(st.Value(i), cur.meta.columns[i].type));
    cur.cachedRec = recNo;
    cur.cached = out;
    return out;
}

qint64 TOstTable::RecordId() const {
    if (!m_cursor || RecNo() <= 0 || RecNo() > m_cursor->total) return 0;
    LoadIds(RecNo() - 1);
    return m_cursor->ids.value(RecNo() - 1);
}

bool TOstTable::FindRecordId(qint64 id) {
    CheckActive();
    const int i = PositionOfId(id);
    if (i < 0) return false;
    SetRecNo(i + 1);
    return true;
}

void TOstTable::InternalRefresh() {
    const qint64 id = RecordId();
    ReloadCursor(id);
}

void TOstTable::InternalInitRecord(QVariantList& values) {
    // Constant defaults show in a new record; SQL fills the rest on insert.
    Q_UNUSED(values)
}

// ---------------------------------------------------------------- posting

int TOstTable::InternalPost(bool inserting, int recNo, const QVariantList& values) {
    if (m_readOnly || m_conn->ReadOnly())
        throw EOstraError(OstErr::ReadOnly, QStringLiteral("Table \"%1\" is opened read-only").arg(m_tableName));
    OstCursor& cur = *m_cursor;
    const OstTableMeta& m = cur.meta;
    if (!inserting) LoadIds(recNo);
    m_conn->PrepareForWrite(m.name);
    const OstTableLocation loc = m_conn->Locate(m.name);
    QStringList cols;
    QVariantList args;
    for (int i = 0; i < m.columns.size() && i < values.size(); ++i) {
        const OstColumnMeta& c = m.columns[i];
        if (OstIsGeneratedColumn(c)) continue;
        const QVariant& v = values.at(i);
        if (inserting && !v.isValid()) continue; // unassigned: the column default applies
        QString error;
        const QVariant stored = OstToStorage(v, c, error);
        if (!error.isEmpty()) throw EOstraError(OstErr::ConversionFailed, error);
        if (IsLinkType(c.type) && stored.isValid()) {
            const QString linked = OstNormalizeTableName(c.spec, m_conn->SingleFile());
            const OstTableLocation ll = m_conn->Locate(linked);
            if (m_conn->QueryInt(QStringLiteral("SELECT count(*) FROM %1 WHERE rowid = ?1").arg(ll.qualified()), {stored}) == 0)
                throw EOstraError(OstErr::ConstraintViolation,
                                  QStringLiteral("Column \"%1\": table \"%2\" has no record %3").arg(c.name, linked).arg(stored.toLongLong()));
            m_conn->Locate(m.name);
        }
        if (!inserting && c.type == dtAutoInc && stored == QVariant(cur.ids.value(recNo))) continue;
        cols << OstQuoteIdent(c.name);
        args << stored;
    }
    qint64 id = 0;
    m_conn->Begin();
    try {
        if (inserting) {
            QStringList marks;
            for (int i = 0; i < args.size(); ++i) marks << QStringLiteral("?%1").arg(i + 1);
            const QString sql = cols.isEmpty() ? QStringLiteral("INSERT INTO %1 DEFAULT VALUES").arg(loc.qualified())
                                               : QStringLiteral("INSERT INTO %1(%2) VALUES(%3)").arg(loc.qualified(), cols.join(QLatin1Char(',')), marks.join(QLatin1Char(',')));
            OstStmt st(m_conn->Db(), sql);
            st.BindAll(args);
            st.Step();
            id = sqlite3_last_insert_rowid(m_conn->Db());
        } else {
            id = cur.ids.at(recNo);
            if (!cols.isEmpty()) {
                QStringList sets;
                for (int i = 0; i < cols.size(); ++i) sets << QStringLiteral("%1 = ?%2").arg(cols[i]).arg(i + 1);
                OstStmt st(m_conn->Db(), QStringLiteral("UPDATE %1 SET %2 WHERE rowid = ?%3").arg(loc.qualified(), sets.join(QStringLiteral(", "))).arg(args.size() + 1));
                st.BindAll(args);
                st.Bind(args.size() + 1, id);
                st.Step();
                // An edited auto-increment value is the record id itself.
                const int ai = OstAutoIncColumn(m);
                if (ai >= 0 && cols.contains(OstQuoteIdent(m.columns[ai].name))) id = args.at(cols.indexOf(OstQuoteIdent(m.columns[ai].name))).toLongLong();
            }
        }
        m_conn->Commit();
    } catch (...) {
        m_conn->Rollback();
        throw;
    }
    cur.cachedRec = -1;
    if (cur.plainOrder) {
        // In record id order without a filter an edit keeps its place, and a
        // new record (with the highest id) comes last.
        if (!inserting && id == cur.ids.value(recNo)) return recNo;
        if (inserting && (cur.ids.isEmpty() || id > cur.ids.last())) {
            if (cur.complete) cur.ids.append(id);
            ++cur.total;
            return static_cast<int>(cur.total - 1);
        }
    }
    ReloadCursor(id);
    const int at = PositionOfId(id);
    return at >= 0 ? at : qMin(recNo, static_cast<int>(cur.total) - 1);
}

int TOstTable::InternalDelete(int recNo) {
    if (m_readOnly || m_conn->ReadOnly())
        throw EOstraError(OstErr::ReadOnly, QStringLiteral("Table \"%1\" is opened read-only").arg(m_tableName));
    OstCursor& cur = *m_cursor;
    LoadIds(recNo);
    m_conn->PrepareForWrite(cur.meta.name);
    const OstTableLocation loc = m_conn->Locate(cur.meta.name);
    m_conn->Begin();
    try {
        OstStmt st(m_conn->Db(), QStringLiteral("DELETE FROM %1 WHERE rowid = ?1").arg(loc.qualified()));
        st.Bind(1, cur.ids.at(recNo));
        st.Step();
        m_conn->Commit();
    } catch (...) {
        m_conn->Rollback();
        throw;
    }
    cur.ids.removeAt(recNo);
    --cur.total;
    cur.cachedRec = -1;
    return qMin(recNo, static_cast<int>(cur.total) - 1);
}
