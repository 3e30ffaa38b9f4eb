// Mappings, keys and the record writer of a batch move (see ostbatchmovewriter.h).
#include "engine/batchmove/ostbatchmovewriter.h"

#include "engine/filter/ostfilter.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalues.h"

#include <QDateTime>
#include <atomic>

namespace {

QString Q(const QString& s) { return OstQuoteIdent(s); }

// The name in a quoted identifier.
QString Unquote(const QString& quoted) {
    if (quoted.size() < 2 || !quoted.startsWith(u'"') || !quoted.endsWith(u'"')) return quoted;
    return quoted.mid(1, quoted.size() - 2).replace(QStringLiteral("\"\""), QStringLiteral("\""));
}

// True when the table as stored has exactly the checks the engine gives its
// definitions, nothing of the table's own and no triggers.
bool ChecksAreTheEnginesOwn(OstConnection& c, const OstTableLocation& loc, const OstTableMeta& m) {
    if (!m.checks.isEmpty()) return false;
    const QString name = Unquote(loc.table);
    OstStmt triggers(c.Db(), QStringLiteral("SELECT count(*) FROM %1.sqlite_master WHERE type = 'trigger' AND tbl_name = ?1").arg(loc.schema));
    triggers.Bind(1, name);
    if (!triggers.Step() || triggers.Int64(0) != 0) return false;
    OstStmt table(c.Db(), QStringLiteral("SELECT sql FROM %1.sqlite_master WHERE type = 'table' AND name = ?1").arg(loc.schema));
    table.Bind(1, name);
    if (!table.Step()) return false;
    // The body after the name, as the engine writes it for these definitions.
    const auto body = [](const QString& sql) {
        const int at = sql.indexOf(QStringLiteral("(\n"));
        return at < 0 ? QString() : sql.mid(at);
    };
    const QString stored = body(table.Text(0));
    return !stored.isEmpty() && stored == body(OstCreateTableSql(m, loc.schema, loc.table));
}

[[noreturn]] void Refuse(const QString& message) { throw EOstraError(OstErr::InvalidDefinition, message); }

// The source column of a name: the exact spelling first, then regardless of case.
int SourceIndex(const OstBatchPlan& p, const QString& name) {
    for (int i = 0; i < p.src.size(); ++i)
        if (p.src[i].name == name) return i;
    for (int i = 0; i < p.src.size(); ++i)
        if (p.src[i].name.compare(name, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

// Splits the key list of a CREATE INDEX statement at its top-level commas.
QStringList KeyParts(const QString& keys) {
    QStringList parts;
    int depth = 0, start = 0;
    bool quoted = false;
    for (int i = 0; i < keys.size(); ++i) {
        const QChar ch = keys.at(i);
        if (ch == u'"') quoted = !quoted;
        else if (!quoted && ch == u'(') ++depth;
        else if (!quoted && ch == u')') --depth;
        else if (!quoted && depth == 0 && ch == u',') {
            parts << keys.mid(start, i - start).trimmed();
            start = i + 1;
        }
    }
    parts << keys.mid(start).trimmed();
    return parts;
}

QString DefaultOrEmpty(const OstTableMeta& m, const OstColumnMeta& c) {
    const QString d = OstColumnDefaultSql(m, c);
    return d == QStringLiteral("NULL") ? QString() : d;
}


// ---- SQL functions of the copy statement


// ost_batch_value(value, source type, type, size, precision, spec, column):
// a stored value of the source type as the writer converts it - read as the
// dataset reads it, then converted as a post converts it.
void BatchValueFunc(sqlite3_context* ctx, int, sqlite3_value** argv) {
    OstColumnMeta col;
    col.type = sqlite3_value_int(argv[2]);
    col.size = sqlite3_value_int(argv[3]);
    col.precision = sqlite3_value_int(argv[4]);
    col.spec = OstSqlTextArgument(argv[5]);
    col.name = OstSqlTextArgument(argv[6]);
    QString error;
    const QVariant out = OstToStorage(OstFromStorage(OstSqlArgument(argv[0]), sqlite3_value_int(argv[1])), col, error);
    if (!error.isEmpty()) {
        const QByteArray msg = (QStringLiteral("Cannot convert: ") + error).toUtf8();
        sqlite3_result_error(ctx, msg.constData(), msg.size());
        return;
    }
    OstSqlResult(ctx, out);
}

// ost_batch_fail(message): ends the statement as a broken constraint would.
void BatchFailFunc(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const QByteArray msg = OstSqlTextArgument(argv[0]).toUtf8();
    sqlite3_result_error(ctx, msg.constData(), msg.size());
    sqlite3_result_error_code(ctx, SQLITE_CONSTRAINT_FUNCTION);
}

// A value in a report line: text quoted, special characters escaped.
QString Shown(const QVariant& v) {
    if (!v.isValid() || v.isNull()) return QStringLiteral("NULL");
    QString s;
    switch (v.typeId()) {
    case QMetaType::QByteArray: return QStringLiteral("(binary, %1 bytes)").arg(v.toByteArray().size());
    case QMetaType::Bool: return v.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    case QMetaType::Int: case QMetaType::LongLong: case QMetaType::Double: return v.toString();
    case QMetaType::QDateTime: s = v.toDateTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")); break;
    case QMetaType::QTime: s = v.toTime().toString(QStringLiteral("HH:mm:ss.zzz")); break;
    default: s = v.toString();
    }
    s.replace(u'\\', QStringLiteral("\\\\")).replace(u'\n', QStringLiteral("\\n")).replace(u'\r', QStringLiteral("\\r"));
    s.replace(u'\t', QStringLiteral("\\t")).replace(u'\'', QStringLiteral("''"));
    return u'\'' + s + u'\'';
}

} // namespace

// ---------------------------------------------------------------- plan

void OstResolveMappings(OstBatchPlan& p, const QStringList& lines) {
    const QString table = p.dst.name;
    p.columns.clear();
    bool any = false;
    for (const QString& l : lines) any = any || !l.trimmed().isEmpty();
    if (!any) {
        for (int d = 0; d < p.dst.columns.size(); ++d) {
            if (OstIsGeneratedColumn(p.dst.columns[d])) continue;
            const int s = SourceIndex(p, p.dst.columns[d].name);
            if (s >= 0) p.columns.append({d, s});
        }
        if (p.columns.isEmpty())
            Refuse(QStringLiteral("Source \"%1\" and table \"%2\" have no column names in common; give Mappings (destination=source)")
                       .arg(p.sourceName, table));
        return;
    }
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        if (line.isEmpty()) continue;
        const QString where = QStringLiteral("Mappings line %1 \"%2\"").arg(QString::number(i + 1), line);
        const int eq = line.indexOf(u'=');
        const QString dstName = (eq < 0 ? line : line.left(eq)).trimmed();
        const QString srcName = (eq < 0 ? line : line.mid(eq + 1)).trimmed();
        if (dstName.isEmpty() || srcName.isEmpty())
            Refuse(QStringLiteral("%1: the %2 column is missing (a line reads destination=source)")
                       .arg(where, dstName.isEmpty() ? QStringLiteral("destination") : QStringLiteral("source")));
        const int d = p.dst.ColumnIndex(dstName);
        if (d < 0) Refuse(QStringLiteral("%1: table \"%2\" has no column \"%3\"").arg(where, table, dstName));
        const OstColumnMeta& col = p.dst.columns[d];
        if (OstIsGeneratedColumn(col))
            Refuse(QStringLiteral("%1: column \"%2\" of table \"%3\" is calculated and cannot be written").arg(where, col.name, table));
        for (const OstBatchColumn& c : p.columns)
            if (c.dst == d) Refuse(QStringLiteral("%1: column \"%2\" is mapped twice").arg(where, col.name));
        const int s = SourceIndex(p, srcName);
        if (s < 0) Refuse(QStringLiteral("%1: source \"%2\" has no column \"%3\"").arg(where, p.sourceName, srcName));
        p.columns.append({d, s});
    }
}

void OstResolveKey(OstBatchPlan& p) {
    const OstTableMeta& m = p.dst;
    const OstIndexMeta* ix = nullptr;
    for (const OstIndexMeta& i : m.indexes)
        if (!ix && (i.options & ixPrimary)) ix = &i;
    for (const OstIndexMeta& i : m.indexes)
        if (!ix && (i.options & ixUnique)) ix = &i;
    if (!ix)
        Refuse(QStringLiteral("Table \"%1\" has no primary or unique index to find its records by; updating or deleting "
                              "records needs one").arg(m.name));
    if (ix->options & ixExpression)
        Refuse(QStringLiteral("The key of table \"%1\" is the expression index \"%2\"; updating or deleting records needs a "
                              "key of columns").arg(m.name, ix->name));
    // The key parts as the index itself writes them, with their collations and key lengths.
    const QString sql = OstIndexSql(m, *ix, QStringLiteral("s"), QStringLiteral("t"));
    const int open = sql.lastIndexOf(QStringLiteral(" ON t(")) + 6;
    const QStringList parts = KeyParts(sql.mid(open, sql.size() - open - 1));
    const QStringList entries = OstSplitFields(ix->fields);
    p.key.clear();
    p.keyBefore.clear();
    p.keyAfter.clear();
    for (int k = 0; k < entries.size() && k < parts.size(); ++k) {
        QString colName;
        int len = 0;
        OstParseFieldEntry(entries[k], colName, len);
        const int d = m.ColumnIndex(colName);
        int at = -1;
        for (int c = 0; c < p.columns.size(); ++c)
            if (p.columns[c].dst == d) at = c;
        if (at < 0)
            Refuse(QStringLiteral("Key column \"%1\" of table \"%2\" (index \"%3\") is not mapped from the source")
                       .arg(m.columns.value(d).name, m.name, ix->name));
        QString part = parts[k];
        if (part.endsWith(QStringLiteral(" DESC"))) part.chop(5);
        const QString ref = Q(m.columns[d].name);
        const int pos = part.indexOf(ref);
        p.key << at;
        p.keyBefore << part.left(pos);
        p.keyAfter << part.mid(pos + ref.size());
    }
}

bool OstIsRecordProblem(const EOstraError& e) {
    switch (e.ErrorCode()) {
    case OstErr::KeyViolation: case OstErr::ConstraintViolation: case OstErr::ConversionFailed:
    case OstErr::ForeignKeyViolation: return true;
    default: return false;
    }
}

// ---------------------------------------------------------------- writer

namespace {
// The value a variant holds, known to be of type T.
template <typename T> const T& Raw(const QVariant& v) { return *static_cast<const T*>(v.constData()); }
} // namespace

// What converting and checking a slice's records needs, apart from the connection.
struct OstBatchWriter::SliceRules {
    QVector<OstColumnMeta> columns; // the destination's, one per plan column
    bool checksInCode = false;      // the table's checks are the engine's own ones
    QVector<bool> keyColumn, hasDefault;
    // Marks what these rules prepared: a dataset may still hold records an
    // earlier move had prepared.
    const qulonglong id = NextRulesId();
    static qulonglong NextRulesId() {
        static std::atomic<qulonglong> next{0};
        return ++next;
    }
};

OstBatchWriter::OstBatchWriter(OstConnection& c, const OstBatchPlan& p, Action action) : m_conn(c), m_plan(p), m_action(action) {
    const OstTableMeta& m = p.dst;
    const OstTableLocation loc = c.Locate(m.name);
    const int ai = OstAutoIncColumn(m);
    if (action == Insert || action == InsertOrUpdate) {
        // A null value lets the column's default apply, as it does when a post leaves a column unassigned.
        QStringList cols, values, anonymous;
        for (int i = 0; i < p.columns.size(); ++i) {
            const OstColumnMeta& col = m.columns[p.columns[i].dst];
            const QString d = DefaultOrEmpty(m, col);
            cols << Q(col.name);
            values << (d.isEmpty() ? QStringLiteral("?%1").arg(i + 1) : QStringLiteral("COALESCE(?%1, ").arg(i + 1) + d + u')');
            anonymous << (d.isEmpty() ? QStringLiteral("?") : QStringLiteral("COALESCE(?, ") + d + u')');
        }
        m_insert = std::make_unique<OstStmt>(c.Db(), QStringLiteral("INSERT INTO %1(%2) VALUES(%3)")
                                                         .arg(loc.qualified(), cols.join(u','), values.join(u',')));
        if (action == Insert) {
            // The same values for many records, their parameters numbered in turn.
            m_sliceHead = QStringLiteral("INSERT INTO %1(%2) VALUES").arg(loc.qualified(), cols.join(u','));
            m_sliceRow = u'(' + anonymous.join(u',') + u')';
            // About 200 records, within the parameters a statement may have.
            const int params = sqlite3_limit(c.Db(), SQLITE_LIMIT_VARIABLE_NUMBER, -1);
            m_sliceSize = p.columns.isEmpty() ? 1 : qBound(1, params / int(p.columns.size()), 200);
            m_rules = std::make_shared<SliceRules>();
            for (const OstBatchColumn& bc : p.columns) m_rules->columns << m.columns[bc.dst];
            SetUpChecksInCode(loc);
        }
    }
    if (action != Insert) {
        QStringList where;
        for (int k = 0; k < p.key.size(); ++k) {
            const QString ref = Q(m.columns[p.columns[p.key[k]].dst].name);
            where << p.keyBefore[k] + ref + p.keyAfter[k] + QStringLiteral(" = ") + p.keyBefore[k] +
                         QStringLiteral("?%1").arg(k + 1) + p.keyAfter[k];
        }
        m_find = std::make_unique<OstStmt>(c.Db(), QStringLiteral("SELECT rowid FROM %1 WHERE %2 LIMIT 1")
                                                       .arg(loc.qualified(), where.join(QStringLiteral(" AND "))));
    }
    if (action == Update || action == InsertOrUpdate) {
        // An update keeps the record id.
        QStringList sets;
        for (int i = 0; i < p.columns.size(); ++i) {
            if (p.columns[i].dst == ai) continue;
            m_updated << i;
            sets << Q(m.columns[p.columns[i].dst].name) + QStringLiteral(" = ?%1").arg(m_updated.size());
        }
        if (!sets.isEmpty())
            m_update = std::make_unique<OstStmt>(c.Db(), QStringLiteral("UPDATE %1 SET %2 WHERE rowid = ?%3")
                                                             .arg(loc.qualified(), sets.join(QStringLiteral(", ")))
                                                             .arg(m_updated.size() + 1));
    }
    if (action == Delete)
        m_delete = std::make_unique<OstStmt>(c.Db(), QStringLiteral("DELETE FROM %1 WHERE rowid = ?1").arg(loc.qualified()));
    if (action != Delete) {
        for (int i = 0; i < p.columns.size(); ++i) {
            const OstColumnMeta& col = m.columns[p.columns[i].dst];
            if (!IsLinkType(col.type)) continue;
            const OstTableLocation linked = c.Locate(OstNormalizeTableName(col.spec, c.SingleFile()));
            m_links.append({i, std::make_shared<OstStmt>(c.Db(), QStringLiteral("SELECT 1 FROM %1 WHERE rowid = ?1").arg(linked.qualified()))});
        }
    }
}

OstBatchWriter::~OstBatchWriter() {
    if (m_checksSkipped) sqlite3_exec(m_conn.Db(), "PRAGMA ignore_check_constraints=OFF", nullptr, nullptr, nullptr);
}

void OstBatchWriter::SkipChecks(bool skip) {
    if (skip == m_checksSkipped) return;
    // Turning the checks off or on makes SQLite prepare its statements again:
    // seldom, not per slice. SQLite sets this flag while it prepares the
    // pragma, not when it runs it: a prepared pragma kept for later would set
    // it when it is prepared again, so it is prepared each time.
    const char* sql = skip ? "PRAGMA ignore_check_constraints=ON" : "PRAGMA ignore_check_constraints=OFF";
    if (sqlite3_exec(m_conn.Db(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw EOstraError(OstErr::IoError, QStringLiteral("Cannot switch column checks: %1").arg(QString::fromUtf8(sqlite3_errmsg(m_conn.Db()))));
    m_checksSkipped = skip;
}

bool OstBatchWriter::Write(const QVariantList& values) {
    RestoreChecks();
    const OstTableMeta& m = m_plan.dst;
    QVariantList stored;
    stored.reserve(values.size());
    for (int i = 0; i < m_plan.columns.size(); ++i) {
        if (m_action == Delete && !m_plan.key.contains(i)) {
            stored << QVariant();
            continue;
        }
        QString error;
        stored << OstToStorage(values.value(i), m.columns[m_plan.columns[i].dst], error);
        if (!error.isEmpty()) throw EOstraError(OstErr::ConversionFailed, error);
    }
    qint64 id = 0;
    const bool found = m_action != Insert && Find(stored, id);
    switch (m_action) {
    case Delete:
        if (!found) return false;
        m_delete->Reset();
        m_delete->Bind(1, id);
        m_delete->Step();
        return true;
    case Update:
        if (!found) return false;
        CheckLinks(stored);
        DoUpdate(stored, id);
        return true;
    case InsertOrUpdate:
        CheckLinks(stored);
        if (found) DoUpdate(stored, id);
        else DoInsert(stored);
        return true;
    case Insert:
        CheckLinks(stored);
        DoInsert(stored);
        return true;
    }
    return false;
}

bool OstBatchWriter::Find(const QVariantList& stored, qint64& id) {
    m_find->Reset();
    for (int k = 0; k < m_plan.key.size(); ++k) {
        const QVariant& v = stored.at(m_plan.key[k]);
        if (!v.isValid() || v.isNull()) return false; // a null key matches no record
        m_find->Bind(k + 1, v);
    }
    if (!m_find->Step()) return false;
    id = m_find->Int64(0);
    return true;
}

void OstBatchWriter::CheckLinks(const QVariantList& stored) {
    for (const auto& [i, st] : std::as_const(m_links)) {
        const QVariant& v = stored.at(i);
        if (!v.isValid() || v.isNull()) continue;
        st->Reset();
        st->Bind(1, v);
        if (!st->Step()) {
            const OstColumnMeta& col = m_plan.dst.columns[m_plan.columns[i].dst];
            throw EOstraError(OstErr::ConstraintViolation, QStringLiteral("Column \"%1\": table \"%2\" has no record %3")
                                                               .arg(col.name, col.spec.trimmed(), QString::number(v.toLongLong())));
        }
    }
}

void OstBatchWriter::SetUpChecksInCode(const OstTableLocation& loc) {
    const OstTableMeta& m = m_plan.dst;
    if (!ChecksAreTheEnginesOwn(m_conn, loc, m)) return;
    QSet<QString> keyColumns;
    for (const OstIndexMeta& ix : m.indexes) {
        if (!(ix.options & ixPrimary)) continue;
        if (ix.options & ixExpression) return;
        for (const QString& e : OstSplitFields(ix.fields)) {
            QString col;
            int len;
            if (!OstParseFieldEntry(e, col, len)) return;
            keyColumns << col.toLower();
        }
    }
    QVector<bool> keyColumn, hasDefault;
    for (const OstBatchColumn& bc : m_plan.columns) {
        const OstColumnMeta& col = m.columns[bc.dst];
        keyColumn << keyColumns.remove(col.name.toLower());
        hasDefault << !DefaultOrEmpty(m, col).isEmpty();
    }
    if (!keyColumns.isEmpty()) return; // a key column the records leave to its default
    m_checksInCode = true;
    m_rules->keyColumn = keyColumn;
    m_rules->hasDefault = hasDefault;
    m_rules->checksInCode = true;
}

bool OstBatchWriter::Store(const SliceRules& r, const QVariantList& values, QVariantList& stored) {
    const int n = int(r.columns.size());
    stored.resize(n);
    QVariant* out = stored.data();
    QString error;
    for (int i = 0; i < n; ++i) {
        out[i] = OstToStorage(i < values.size() ? values.at(i) : QVariant(), r.columns[i], error);
        if (!error.isEmpty()) return false;
    }
    return true;
}

bool OstBatchWriter::ChecksHoldInCode(const SliceRules& r, const QVariantList& stored) {
    if (!r.checksInCode) return false;
    for (int i = 0; i < r.columns.size(); ++i) {
        const QVariant& v = stored.at(i);
        if (v.isNull() && (r.keyColumn[i] || r.hasDefault[i])) return false;
        if (!OstStoredMeetsColumnCheck(v, r.columns[i])) return false;
    }
    return true;
}

std::function<QVariantList(const QVariantList&)> OstBatchWriter::SlicePreparer() const {
    if (!m_rules) return {};
    return [rules = std::shared_ptr<const SliceRules>(m_rules)](const QVariantList& values) {
        QVariantList stored;
        stored.reserve(rules->columns.size() + 3);
        if (!Store(*rules, values, stored)) return QVariantList();
        const bool certain = ChecksHoldInCode(*rules, stored);
        // Text in the encoding SQLite keeps it in, marked by a bit of its column.
        qulonglong utf8 = 0;
        QVariant* out = stored.data();
        for (int i = 0; i < stored.size() && i < 64; ++i) {
            if (out[i].typeId() != QMetaType::QString) continue;
            out[i] = QVariant(static_cast<const QString*>(out[i].constData())->toUtf8());
            utf8 |= 1ULL << i;
        }
        stored.append(QVariant(certain));
        stored.append(QVariant(rules->id));
        stored.append(QVariant(utf8));
        return stored;
    };
}

OstStmt& OstBatchWriter::SliceStatement(int rows) {
    auto make = [&] {
        QString sql = m_sliceHead;
        sql.reserve(sql.size() + rows * (m_sliceRow.size() + 1));
        for (int r = 0; r < rows; ++r) {
            if (r) sql += u',';
            sql += m_sliceRow;
        }
        return std::make_unique<OstStmt>(m_conn.Db(), sql);
    };
    if (rows == m_sliceSize) {
        if (!m_slice) m_slice = make();
        return *m_slice;
    }
    if (!m_sliceTail || m_sliceTailRows != rows) {
        m_sliceTail.reset();
        m_sliceTail = make();
        m_sliceTailRows = rows;
    }
    return *m_sliceTail;
}

bool OstBatchWriter::InsertSlice(const QVector<QVariantList>& records, const QVector<QVariantList>& prepared) {
    Q_ASSERT(m_action == Insert && !m_sliceHead.isEmpty());
    if (records.isEmpty()) return true;
    const int n = m_plan.columns.size();
    OstStmt& st = SliceStatement(int(records.size()));
    sqlite3_reset(st.Handle()); // every parameter is bound again below
    if (m_texts.size() < size_t(records.size()) * n) m_texts.resize(size_t(records.size()) * n);
    sqlite3_stmt* h = st.Handle();
    int param = 0;
    bool checked = m_checksInCode;
    for (qsizetype r = 0; r < records.size(); ++r) {
        // Prepared on another thread, or here.
        const bool ready = r < prepared.size() && prepared[r].size() == n + 3 &&
                           prepared[r].at(n + 1).typeId() == QMetaType::ULongLong && Raw<qulonglong>(prepared[r].at(n + 1)) == m_rules->id;
        const qulonglong utf8 = ready ? Raw<qulonglong>(prepared[r].at(n + 2)) : 0;
        if (!ready && !Store(*m_rules, records[r], m_stored)) return false;
        const QVariantList& stored = ready ? prepared[r] : m_stored;
        try {
            CheckLinks(stored);
        } catch (const EOstraError& e) {
            if (!OstIsRecordProblem(e)) throw;
            return false;
        }
        checked = checked && (ready ? Raw<bool>(stored.at(n)) : ChecksHoldInCode(*m_rules, stored));
        for (int i = 0; i < n; ++i) {
            const QVariant& v = stored.at(i);
            ++param;
            const int type = v.isNull() ? QMetaType::UnknownType : v.typeId();
            if (type == QMetaType::LongLong) {
                sqlite3_bind_int64(h, param, Raw<qlonglong>(v));
                continue;
            }
            if (type == QMetaType::QByteArray && i < 64 && (utf8 >> i & 1)) {
                // Prepared text: it stays in prepared until the statement has run.
                const QByteArray& t = Raw<QByteArray>(v);
                sqlite3_bind_text(h, param, t.constData(), int(t.size()), SQLITE_STATIC);
                continue;
            }
            const bool text = type == QMetaType::QString;
            if (!text && type != QMetaType::QByteArray) {
                OstBindValue(h, param, v);
                continue;
            }
            // Text and bytes are kept here until the statement has run, so SQLite need not copy them.
            QByteArray& t = m_texts[param - 1];
            t = type == QMetaType::QString ? static_cast<const QString*>(v.constData())->toUtf8() : Raw<QByteArray>(v);
            if (!text) {
                sqlite3_bind_blob64(h, param, t.constData(), sqlite3_uint64(t.size()), SQLITE_STATIC);
                continue;
            }
            const bool plain = qstrlen(t.constData()) == size_t(t.size());
            sqlite3_bind_text(h, param, t.constData(), plain ? -1 : int(t.size()), SQLITE_STATIC);
        }
    }
    // Any pending work of the statements before belongs to them, not to this one.
    m_conn.SettleStatement();
    if (m_checksInCode) {
        // A slice that is not certain: SQLite checks this one and the rest of the move.
        if (!checked) m_checksInCode = false;
        SkipChecks(checked);
    }
    try {
        st.Step();
    } catch (const EOstraError& e) {
        if (!OstIsRecordProblem(e)) throw;
        // SQLite has undone the statement; what it left to be done goes with it.
        m_conn.DiscardStatement();
        return false;
    }
    return true;
}

void OstBatchWriter::DoInsert(const QVariantList& stored) {
    m_insert->Reset();
    m_insert->BindAll(stored);
    m_insert->Step();
}

void OstBatchWriter::DoUpdate(const QVariantList& stored, qint64 id) {
    if (!m_update) return;
    m_update->Reset();
    for (int j = 0; j < m_updated.size(); ++j) m_update->Bind(j + 1, stored.at(m_updated[j]));
    m_update->Bind(m_updated.size() + 1, id);
    m_update->Step();
}

// ---------------------------------------------------------------- copy statement

void OstRegisterBatchFunctions(sqlite3* db) {
    sqlite3_create_function_v2(db, "ost_batch_value", 7, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, BatchValueFunc,
                               nullptr, nullptr, nullptr);
    sqlite3_create_function_v2(db, "ost_batch_fail", 1, SQLITE_UTF8, nullptr, BatchFailFunc, nullptr, nullptr, nullptr);
}

QString OstBatchCopyExpression(OstConnection& c, const OstBatchPlan& p, const OstBatchColumn& bc) {
    const OstColumnMeta& n = p.dst.columns[bc.dst];
    const OstColumnMeta& o = p.src[bc.src];
    // Stored values of the same type that the destination's size, precision
    // and values take as they are; everything else is converted.
    bool same = o.type == n.type;
    if (same && IsSizedTextType(n.type)) same = n.size >= o.size;
    if (same && n.type == dtFloat) same = n.precision == 0 || (o.precision != 0 && o.precision <= n.precision);
    if (same && n.type == dtTime) same = n.precision == o.precision;
    if (same && n.type == dtEnum) same = n.spec == o.spec;
    // Qualified: the link check's subquery has columns of its own.
    QString e = QStringLiteral("ost_src.") + Q(o.name);
    if (!same)
        e = QStringLiteral("ost_batch_value(%1, %2, %3, %4, %5, ").arg(e).arg(o.type).arg(n.type).arg(n.size).arg(n.precision) +
            OstQuoteString(n.spec) + QStringLiteral(", ") + OstQuoteString(n.name) + u')';
    const QString d = DefaultOrEmpty(p.dst, n);
    if (!d.isEmpty()) e = QStringLiteral("COALESCE(") + e + QStringLiteral(", ") + d + u')';
    if (IsLinkType(n.type)) {
        const QString linked = OstNormalizeTableName(n.spec, c.SingleFile());
        const OstTableLocation ll = c.Locate(linked);
        e = QStringLiteral("CASE WHEN (%1) IS NULL OR EXISTS (SELECT 1 FROM %2 WHERE rowid = (%1)) THEN (%1) ELSE ost_batch_fail(%3) END")
                .arg(e, ll.qualified(), OstQuoteString(QStringLiteral("Column \"%1\": table \"%2\" has no such record").arg(n.name, linked)));
    }
    return e;
}

QString OstBatchReportLine(qint64 recNo, const QString& reason, const QStringList& names, const QVariantList& values) {
    QStringList parts;
    for (int i = 0; i < names.size(); ++i) parts << names[i] + u'=' + Shown(values.value(i));
    QString why = reason;
    why.replace(u'\n', u' ').replace(u'\r', u' ');
    return QStringLiteral("Record %1: %2; values: %3").arg(QString::number(recNo), why, parts.join(QStringLiteral(", ")));
}
