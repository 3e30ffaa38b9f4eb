// TOstBatchMove: one Execute resolves the datasets and mappings, then moves
// the records in one transaction of the destination's database, by INSERT
// ... SELECT in record-id slices when both are engine tables (a source in
// another database is attached to the destination's connection for it), else
// record by record (engine/batchmove holds the plan and the writer).
#include "engine/ostbatchmove.h"

#include "engine/batchmove/ostbatchmovewriter.h"
#include "engine/ostdataset.h"
#include "engine/filter/ostfilter.h"
#include "engine/store/ostschema.h"
#include "engine/store/ostvalues.h"
#include "engine/base/sysutils.h"
#include "engine/base/tdataset.h"

#include <QSaveFile>

TOstBatchMove::TOstBatchMove(TComponent* owner) : TComponent(owner) {}
TOstBatchMove::~TOstBatchMove() = default;

void TOstBatchMove::SetRecordCount(int n) {
    if (n < 0) throw EComponentError(QStringLiteral("RecordCount cannot be negative"));
    m_recordCount = n;
}

TDataSet* TOstBatchMove::Source() const { return m_sourceDirect ? m_sourceSet.data() : Referenced<TDataSet>(m_source); }
TDataSet* TOstBatchMove::Destination() const {
    return m_destinationDirect ? m_destinationSet.data() : Referenced<TDataSet>(m_destination);
}

void TOstBatchMove::SetSource(TDataSet* dataset) {
    m_sourceSet = dataset;
    m_sourceDirect = dataset != nullptr;
    if (dataset) m_source = dataset->GetName();
}

void TOstBatchMove::SetDestination(TDataSet* dataset) {
    m_destinationSet = dataset;
    m_destinationDirect = dataset != nullptr;
    if (dataset) m_destination = dataset->GetName();
}

// One Execute: resolves and checks everything, then moves the records in one
// transaction of the destination's database.
class OstBatchRun {
public:
    explicit OstBatchRun(TOstBatchMove& m) : m_move(m) {}
    ~OstBatchRun();
    void Run();

private:
    void ResolveDatasets();
    void ResolveSource();
    void OpenReport();
    void EmptyDestination(const OstTableLocation& dst);
    void AttachSource();
    void DetachSource();
    void PrepareSql();
    void MoveBySql();
    void MoveByDataset();
    void MoveOne(qint64 recNo, const QVariantList& values);
    void Problem(qint64 recNo, const EOstraError& e, const QVariantList& values);
    void Progress(qint64 done);
    void Report(int percent);

    TOstBatchMove& m_move;
    const TOstBatchMove::TBatchMode m_mode = m_move.GetMode();
    TDataSet* m_source = nullptr;
    TOstTable* m_dst = nullptr;
    QString m_dstName, m_srcName;  // the srcName only when the source is read by SQL
    std::shared_ptr<OstConnection> m_conn, m_srcConn; // the source's only when it is read by SQL
    QString m_foreign; // the schema a source of another database is attached under, on the destination's connection
    OstBatchPlan m_plan;
    std::unique_ptr<OstBatchWriter> m_writer;
    std::unique_ptr<OstStmt> m_rows, m_copy; // the source's records by id range; the copy of a range
    std::unique_ptr<OstTableLock> m_dstLock, m_srcLock;
    std::unique_ptr<QSaveFile> m_report;
    bool m_openedSource = false;
    int m_sourceRecNo = 0;
    qint64 m_total = 0;
    int m_lastPercent = -1;
    int m_moved = 0, m_problems = 0, m_keyViols = 0;
    bool m_fast = false;
};

OstBatchRun::~OstBatchRun() {
    DetachSource();
    // The source is left as it was found: closed, or open on the same record.
    try {
        if (m_openedSource) m_source->Close();
        else if (m_sourceRecNo > 0 && m_source->Active()) m_source->SetRecNo(m_sourceRecNo);
    } catch (...) {
    }
}

void OstBatchRun::Run() {
    ResolveDatasets();
    ResolveSource();
    OstResolveMappings(m_plan, m_move.GetMappings());
    const bool keyed = m_mode == TOstBatchMove::batUpdate || m_mode == TOstBatchMove::batAppendUpdate ||
                       m_mode == TOstBatchMove::batDelete;
    if (keyed) OstResolveKey(m_plan);
    OpenReport();

    // Everything the transaction touches must be reachable before it starts;
    // a source of another database first, before the destination's files.
    if (!m_srcName.isEmpty()) m_srcConn->Locate(m_srcName);
    if (!m_srcName.isEmpty() && m_srcConn != m_conn && (m_mode == TOstBatchMove::batAppend || m_mode == TOstBatchMove::batCopy))
        AttachSource();
    const OstBatchWriter::Action action = m_mode == TOstBatchMove::batUpdate         ? OstBatchWriter::Update
                                          : m_mode == TOstBatchMove::batAppendUpdate ? OstBatchWriter::InsertOrUpdate
                                          : m_mode == TOstBatchMove::batDelete       ? OstBatchWriter::Delete
                                                                                     : OstBatchWriter::Insert;
    OstRegisterBatchFunctions(m_conn->Db());
    m_writer = std::make_unique<OstBatchWriter>(*m_conn, m_plan, action);
    if (!m_srcName.isEmpty()) PrepareSql();
    m_conn->PrepareForWrite(m_dstName);
    const OstTableLocation dst = m_conn->Locate(m_dstName);

    m_conn->Begin();
    try {
        Report(0);
        if (m_mode == TOstBatchMove::batCopy) EmptyDestination(dst);
        if (m_srcName.isEmpty()) MoveByDataset();
        else MoveBySql();
        Report(100);
        m_conn->Commit();
    } catch (...) {
        m_conn->Rollback();
        throw;
    }
    DetachSource();
    m_move.m_moved = m_moved;
    m_move.m_problems = m_problems;
    m_move.m_keyViols = m_keyViols;
    m_move.m_fastPath = m_fast;
    if (m_dst->Active()) m_dst->Refresh();
    if (m_report && !m_report->commit())
        throw EOstraError(OstErr::IoError, QStringLiteral("The records were moved, but the report file \"%1\" could not be written: %2")
                                               .arg(m_report->fileName(), m_report->errorString()));
}

// Without overwriting the freed pages: the old rows stay in the journal anyway.
void OstBatchRun::EmptyDestination(const OstTableLocation& dst) {
    OstConnection& c = *m_conn;
    const qint64 secure = c.QueryInt(QStringLiteral("PRAGMA %1.secure_delete").arg(dst.schema));
    c.Exec(QStringLiteral("PRAGMA %1.secure_delete=OFF").arg(dst.schema));
    struct Restore {
        OstConnection& c;
        QByteArray sql;
        ~Restore() { sqlite3_exec(c.Db(), sql.constData(), nullptr, nullptr, nullptr); }
    } restore{c, QStringLiteral("PRAGMA %1.secure_delete=%2").arg(dst.schema).arg(secure).toUtf8()};
    c.Exec(QStringLiteral("DELETE FROM %1").arg(dst.qualified()));
}

void OstBatchRun::ResolveDatasets() {
    const QString name = m_move.GetName().isEmpty() ? QStringLiteral("Batch move") : QStringLiteral("Batch move \"%1\"").arg(m_move.GetName());
    m_source = m_move.Source();
    if (!m_source)
        throw EOstraError(OstErr::NotFound, m_move.m_sourceDirect ? QStringLiteral("%1: its Source was deleted").arg(name)
                                            : m_move.GetSourceName().trimmed().isEmpty()
                                                ? QStringLiteral("%1 has no Source").arg(name)
                                                : QStringLiteral("%1: Source \"%2\" is not a dataset of the same owner").arg(name, m_move.GetSourceName()));
    TDataSet* dst = m_move.Destination();
    if (!dst)
        throw EOstraError(OstErr::NotFound, m_move.m_destinationDirect ? QStringLiteral("%1: its Destination was deleted").arg(name)
                                            : m_move.GetDestinationName().trimmed().isEmpty()
                                                ? QStringLiteral("%1 has no Destination").arg(name)
                                                : QStringLiteral("%1: Destination \"%2\" is not a dataset of the same owner").arg(name, m_move.GetDestinationName()));
    m_dst = qobject_cast<TOstTable*>(dst);
    if (!m_dst) throw EOstraError(OstErr::General, QStringLiteral("%1: Destination \"%2\" is not an Ostra table").arg(name, dst->GetName()));
    if (dst == m_source) throw EOstraError(OstErr::General, QStringLiteral("%1: Source and Destination are the same table").arg(name));
    if (m_dst->GetReadOnly())
        throw EOstraError(OstErr::ReadOnly, QStringLiteral("Table \"%1\" is opened read-only").arg(m_dst->GetTableName()));
    if (m_dst->State() == dsEdit || m_dst->State() == dsInsert)
        throw EOstraError(OstErr::General, QStringLiteral("Table \"%1\" has a record being edited; post or cancel it first").arg(m_dst->GetTableName()));
    TOstDatabase* db = m_dst->GetDatabase();
    if (!db) throw EOstraError(OstErr::General, QStringLiteral("%1: table \"%2\" has no database name").arg(name, m_dst->GetTableName()));
    m_conn = db->Connection();
    if (m_conn->ReadOnly()) throw EOstraError(OstErr::ReadOnly, QStringLiteral("The database is opened read-only"));
    m_dstName = m_conn->TableNameOf(m_dst->GetTableName());
    OstValidateTableName(m_dstName, m_conn->SingleFile());
    if (!m_conn->TableExists(m_dstName) || !m_conn->ReadMeta(m_dstName, m_plan.dst))
        throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(m_dstName));
    m_plan.dst.name = m_dstName;
    // An open table holds its lock already; a closed one is locked here as opening it would.
    if (!m_dst->Active()) m_dstLock = std::make_unique<OstTableLock>(m_conn->TableFile(m_dstName), m_dstName, false);
}

void OstBatchRun::ResolveSource() {
    m_plan.sourceName = m_source->GetName();
    // An engine table in its natural order is read by SQL: on the destination's
    // connection, or on its own when that works on other files.
    if (auto* t = qobject_cast<TOstTable*>(m_source); t && t->GetDatabase()) {
        auto c = t->GetDatabase()->Connection();
        const QString name = c->TableNameOf(t->GetTableName());
        if (m_plan.sourceName.isEmpty()) m_plan.sourceName = name;
        if (c == m_conn && name.compare(m_dstName, Qt::CaseInsensitive) == 0)
            throw EOstraError(OstErr::General, QStringLiteral("Table \"%1\" cannot be moved into itself").arg(m_dstName));
        const bool filtered = t->GetFiltered() && !t->GetFilter().trimmed().isEmpty();
        const bool ownFiles = c == m_conn || c->Location() != m_conn->Location();
        if (ownFiles && t->GetIndexName().isEmpty() && !filtered) {
            OstValidateTableName(name, c->SingleFile());
            OstTableMeta meta;
            if (!c->TableExists(name) || !c->ReadMeta(name, meta))
                throw EOstraError(OstErr::NotFound, QStringLiteral("Table \"%1\" does not exist").arg(name));
            m_srcName = name;
            m_srcConn = c;
            m_plan.src = meta.columns;
            if (!t->Active()) m_srcLock = std::make_unique<OstTableLock>(c->TableFile(name), name, false);
            return;
        }
    }
    if (!m_source->Active()) {
        m_source->Open();
        m_openedSource = true;
    } else {
        m_sourceRecNo = m_source->RecNo();
    }
    for (const TField* f : m_source->Fields()) {
        OstColumnMeta c;
        c.name = f->GetFieldName();
        c.type = -1;
        m_plan.src.append(c);
    }
}

void OstBatchRun::OpenReport() {
    const QString file = m_move.GetFileName().trimmed();
    if (file.isEmpty()) return;
    // Written beside the old report and put in its place only when Execute succeeds.
    m_report = std::make_unique<QSaveFile>(file);
    if (!m_report->open(QIODevice::WriteOnly | QIODevice::Text))
        throw EOstraError(OstErr::IoError, QStringLiteral("Cannot write the report file \"%1\": %2").arg(file, m_report->errorString()));
}

// A source table of another database of the engine is attached, read-only,
// to the destination's connection: its file in a directory database, the
// whole file of a single-file one; an encrypted one with the keys its own
// connection unlocked it with. When that cannot be, it is read record by record.
void OstBatchRun::AttachSource() {
    const QString file = m_srcConn->SingleFile() ? m_srcConn->Location() : m_srcConn->TableFile(m_srcName);
    m_foreign = m_conn->AttachForeign(file);
}

void OstBatchRun::DetachSource() {
    if (m_foreign.isEmpty()) return;
    m_copy.reset();
    m_conn->DetachForeign(m_foreign);
    m_foreign.clear();
}

// The source is an engine table read in record-id slices. When it is of the
// destination's database, or attached to its connection, a slice of the
// append and copy modes is one INSERT ... SELECT; a slice in which a record
// fails is undone by SQLite (the statement fails as a whole) and redone
// record by record to report it.
void OstBatchRun::PrepareSql() {
    const QString src = m_srcConn->Locate(m_srcName).qualified();
    const QString dst = m_conn->Locate(m_dstName).qualified();
    QStringList into, select, read;
    for (const OstBatchColumn& c : m_plan.columns) read << OstQuoteIdent(m_plan.src[c.src].name);
    m_rows = std::make_unique<OstStmt>(m_srcConn->Db(), QStringLiteral("SELECT %1 FROM %2 WHERE rowid BETWEEN ?1 AND ?2 ORDER BY rowid")
                                                            .arg(read.join(u','), src));
    if (m_mode != TOstBatchMove::batAppend && m_mode != TOstBatchMove::batCopy) return;
    if (m_srcConn != m_conn && m_foreign.isEmpty()) return;
    const QString from = m_srcConn == m_conn ? src : m_foreign + QLatin1Char('.') + OstQuoteIdent(m_srcName);
    for (const OstBatchColumn& c : m_plan.columns) {
        into << OstQuoteIdent(m_plan.dst.columns[c.dst].name);
        select << OstBatchCopyExpression(*m_conn, m_plan, c);
    }
    m_copy = std::make_unique<OstStmt>(m_conn->Db(), QStringLiteral("INSERT INTO %1(%2) SELECT %3 FROM %4 AS ost_src WHERE ost_src.rowid BETWEEN ?1 AND ?2")
                                                         .arg(dst, into.join(u','), select.join(u','), from));
}

void OstBatchRun::MoveBySql() {
    OstConnection& sc = *m_srcConn;
    const QString src = sc.Locate(m_srcName).qualified();
    const qint64 count = sc.QueryInt(QStringLiteral("SELECT count(*) FROM %1").arg(src));
    if (count == 0) return;
    const qint64 lo = sc.QueryInt(QStringLiteral("SELECT min(rowid) FROM %1").arg(src));
    qint64 hi = sc.QueryInt(QStringLiteral("SELECT max(rowid) FROM %1").arg(src));
    m_total = count;
    const int limit = m_move.GetRecordCount();
    if (limit > 0 && limit < count) {
        hi = sc.QueryInt(QStringLiteral("SELECT rowid FROM %1 ORDER BY rowid LIMIT 1 OFFSET ?1").arg(src), {limit - 1});
        m_total = limit;
    }

    // Slices of at least 2,000 record ids, at most 100: progress and an abort come between them.
    const qint64 span = hi - lo + 1;
    const int slices = static_cast<int>(qBound<qint64>(qint64(1), span / 2000, qint64(100)));
    qint64 done = 0;
    for (int s = 0; s < slices; ++s) {
        const qint64 a = lo + span * s / slices;
        const qint64 b = s == slices - 1 ? hi : lo + span * (s + 1) / slices - 1;
        if (m_copy) {
            try {
                m_copy->Reset();
                m_copy->Bind(1, a);
                m_copy->Bind(2, b);
                m_copy->Step();
                const int n = sqlite3_changes(m_conn->Db());
                m_moved += n;
                done += n;
                m_fast = true;
                Progress(done);
                continue;
            } catch (const EOstraError& e) {
                if (!OstIsRecordProblem(e)) throw;
            }
        }
        m_rows->Reset();
        m_rows->Bind(1, a);
        m_rows->Bind(2, b);
        while (m_rows->Step()) {
            QVariantList values;
            for (int i = 0; i < m_plan.columns.size(); ++i)
                values << OstFromStorage(m_rows->Value(i), m_plan.src[m_plan.columns[i].src].type);
            MoveOne(++done, values);
            Progress(done);
        }
    }
}

// Records of a dataset are read in turn. For the append and copy modes they
// are inserted in slices, each by one statement; a slice with a record that
// cannot be moved is undone by SQLite and moved record by record, which
// reports it. At most one slice of records is held at a time.
void OstBatchRun::MoveByDataset() {
    // Where each moved column's value is in the record; when they are all of
    // them in order, a record is taken as it is.
    QVector<int> at;
    for (const OstBatchColumn& c : m_plan.columns) at << m_source->FieldByName(m_plan.src[c.src].name)->FieldNo() - 1;
    bool inOrder = true;
    for (int i = 0; i < at.size(); ++i) inOrder = inOrder && at[i] == i;
    const int limit = m_move.GetRecordCount();
    m_total = m_source->RecordCount();
    if (limit > 0) m_total = qMin<qint64>(m_total, limit);
    const bool sliced = (m_mode == TOstBatchMove::batAppend || m_mode == TOstBatchMove::batCopy) && m_writer->SliceSize() > 1;
    QVector<QVariantList> slice, prepared;
    if (sliced) slice.reserve(m_writer->SliceSize());
    // A source that reads ahead on a thread of its own converts and checks
    // the records there too, while this one writes.
    struct PrepareGuard {
        TDataSet* source = nullptr;
        ~PrepareGuard() { if (source) source->SetRecordPrepare({}); }
    } guard;
    bool preparing = false;
    if (sliced && inOrder) {
        guard.source = m_source;
        preparing = m_source->SetRecordPrepare(m_writer->SlicePreparer());
    }
    qint64 done = 0;
    auto flush = [&] {
        if (slice.isEmpty()) return;
        if (m_writer->InsertSlice(slice, prepared)) {
            m_moved += slice.size();
        } else {
            qint64 recNo = done - slice.size();
            for (const QVariantList& values : std::as_const(slice)) MoveOne(++recNo, values);
        }
        slice.clear();
        prepared.clear();
    };
    m_source->First();
    while (!m_source->Eof() && (limit == 0 || done < limit)) {
        const QVariantList& record = m_source->CurrentRecord();
        QVariantList values;
        if (inOrder && record.size() == at.size()) {
            values = record;
        } else {
            values.reserve(at.size());
            for (int i : std::as_const(at)) values << record.value(i);
        }
        ++done;
        if (const QString problem = m_source->RecordProblem(); !problem.isEmpty()) {
            flush(); // the report stays in the order of the records
            Problem(done, EOstraError(OstErr::ConversionFailed, problem), values);
        } else if (sliced) {
            slice << values;
            if (preparing) prepared << m_source->PreparedRecord();
            if (slice.size() == m_writer->SliceSize()) flush();
        } else {
            MoveOne(done, values);
        }
        Progress(done);
        m_source->Next();
    }
    flush();
    m_writer->RestoreChecks();
}

void OstBatchRun::MoveOne(qint64 recNo, const QVariantList& values) {
    try {
        if (m_writer->Write(values)) ++m_moved;
    } catch (const EOstraError& e) {
        if (!OstIsRecordProblem(e)) throw;
        Problem(recNo, e, values);
    }
}

// A record that cannot be moved: counted and reported, or with AbortOnProblem raised.
void OstBatchRun::Problem(qint64 recNo, const EOstraError& e, const QVariantList& values) {
    if (m_move.GetAbortOnProblem())
        throw EOstraError(e.ErrorCode(), QStringLiteral("Record %1: %2").arg(QString::number(recNo), e.Message()));
    ++m_problems;
    if (e.ErrorCode() == OstErr::KeyViolation) ++m_keyViols;
    if (m_report) {
        QStringList names;
        for (const OstBatchColumn& c : m_plan.columns) names << m_plan.src[c.src].name;
        m_report->write((OstBatchReportLine(recNo, e.Message(), names, values) + u'\n').toUtf8());
    }
}

void OstBatchRun::Progress(qint64 done) {
    if (m_move.OnProgress && m_total > 0) Report(static_cast<int>(qMin<qint64>(99, done * 100 / m_total)));
}

void OstBatchRun::Report(int percent) {
    if (!m_move.OnProgress || percent == m_lastPercent) return;
    m_lastPercent = percent;
    // The handler may use the connection: with every check.
    if (m_writer) m_writer->RestoreChecks();
    bool abort = false;
    m_move.OnProgress(&m_move, percent, abort);
    if (abort) throw EOstraError(OstErr::Aborted, QStringLiteral("Batch move into table \"%1\" was aborted").arg(m_dstName));
}

void TOstBatchMove::Execute() {
    m_moved = m_problems = m_keyViols = 0;
    m_fastPath = false;
    OstBatchRun run(*this);
    run.Run();
}
