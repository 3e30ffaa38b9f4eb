// TClassicPrefetch: a server's rows read on a thread of its own.
#include "migration/core/classicprefetch.h"

#include "migration/core/classicpgcopy.h"

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <atomic>
#include <pthread.h>

namespace {

constexpr size_t kBatchRows = 512;  // rows handed over at a time
constexpr size_t kQueueBatches = 8; // batches read ahead at most

QString PrefetchConnectionName() {
    static std::atomic<int> counter{0};
    return QStringLiteral("ostra-prefetch-%1").arg(++counter);
}

// "2024-05-01 13:45:00.123" (what a server writes for a timestamp) without
// going through the time zone machinery; an invalid QDateTime when it is no
// such value. at(i) gives the i-th character's code of the n characters.
template <typename At> QDateTime TimestampOf(qsizetype n, At at) {
    bool ok = n >= 19 && at(4) == '-' && at(7) == '-' && (at(10) == ' ' || at(10) == 'T') && at(13) == ':' && at(16) == ':';
    if (!ok) return {};
    const auto num = [&](int from, int len) {
        int v = 0;
        for (int i = from; i < from + len; ++i) {
            const auto c = at(i);
            if (c < '0' || c > '9') ok = false;
            v = v * 10 + int(c - '0');
        }
        return v;
    };
    const int y = num(0, 4), mo = num(5, 2), d = num(8, 2), h = num(11, 2), mi = num(14, 2), se = num(17, 2);
    int ms = 0;
    if (ok && n > 20 && at(19) == '.') {
        int digits = 0;
        for (qsizetype i = 20; i < n && at(i) >= '0' && at(i) <= '9'; ++i, ++digits)
            if (digits < 3) ms = ms * 10 + int(at(i) - '0');
        if (20 + digits != n) ok = false; // a zone or an era: left to the general parser
        for (; digits < 3; ++digits) ms *= 10;
    } else if (ok && n != 19) {
        ok = false;
    }
    if (!ok) return {};
    const QDate date(y, mo, d);
    const QTime time(h, mi, se, ms);
    if (!date.isValid() || !time.isValid()) return {};
    return QDateTime(date, time, Qt::UTC);
}

QVariant TimestampFromText(const QVariant& v) {
    const QString s = v.toString();
    const QDateTime dt = TimestampOf(s.size(), [&](qsizetype i) { return s.at(i).unicode(); });
    return dt.isValid() ? QVariant(dt) : v;
}

} // namespace

QDateTime ClassicTimestampOf(const char* text, qsizetype size) {
    return TimestampOf(size, [&](qsizetype i) { return text[i]; });
}

QVariant ClassicReadValue(const QVariant& v, TClassicRead read) {
    if (v.isNull()) return QVariant();
    if (read == TClassicRead::TimestampText) return TimestampFromText(v);
    return v;
}

TClassicPrefetch::TClassicPrefetch(TClassicPrefetchSource source) : m_source(std::move(source)) {
    m_thread = std::thread([this] { Run(); });
}

TClassicPrefetch::~TClassicPrefetch() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_notFull.notify_all();
    m_thread.join();
}

int TClassicPrefetch::BackendPid() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_done ? 0 : m_pid;
}

void TClassicPrefetch::SetPrepare(std::shared_ptr<const TDataSet::TRecordPrepare> prepare) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_prepare = std::move(prepare);
}

void TClassicPrefetch::Add(Batch& batch, QVariantList&& values) const {
    Row row{std::move(values), {}};
    if (m_preparing) {
        try {
            row.prepared = (*m_preparing)(row.values);
        } catch (...) {
            row.prepared.clear(); // the reader of the dataset does it then
        }
    }
    batch.push_back(std::move(row));
}

bool TClassicPrefetch::Push(Batch&& batch) {
    std::deque<Batch> toFree;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_notFull.wait(lock, [this] { return m_stop || m_queue.size() < kQueueBatches; });
    if (m_stop) return false;
    m_queue.push_back(std::move(batch));
    toFree.swap(m_toFree);
    m_preparing = m_prepare;
    lock.unlock();
    m_notEmpty.notify_one();
    return true; // toFree goes here, on this thread
}

void TClassicPrefetch::Run() {
    pthread_setname_np(pthread_self(), "ostra-read");
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_preparing = m_prepare;
    }
    const QString name = PrefetchConnectionName();
    QString error;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(m_source.Driver, name);
        db.setDatabaseName(m_source.Database);
        if (!m_source.Host.isEmpty()) db.setHostName(m_source.Host);
        if (m_source.Port > 0) db.setPort(m_source.Port);
        if (!m_source.User.isEmpty()) db.setUserName(m_source.User);
        if (!m_source.Password.isEmpty()) db.setPassword(m_source.Password);
        if (!m_source.Options.isEmpty()) db.setConnectOptions(m_source.Options);
        const auto run = [&](QSqlQuery& q, const QString& sql) {
            if (q.exec(sql)) return true;
            error = q.lastError().text().trimmed();
            return false;
        };
        if (!db.open()) {
            error = db.lastError().text().trimmed();
        } else {
            QSqlQuery setup(db);
            bool ok = true;
            if (!m_source.Snapshot.isEmpty()) {
                // The snapshot id comes from the server; it is checked before it is written.
                static const QRegularExpression snapshotId(QStringLiteral("^[0-9A-Fa-f-]+$"));
                ok = snapshotId.match(m_source.Snapshot).hasMatch();
                if (!ok) error = QStringLiteral("the server gave an unexpected snapshot id");
                ok = ok && run(setup, QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ, READ ONLY")) &&
                     run(setup, QStringLiteral("SET TRANSACTION SNAPSHOT '%1'").arg(m_source.Snapshot));
                if (ok && run(setup, QStringLiteral("SELECT pg_backend_pid()")) && setup.next()) {
                    std::lock_guard<std::mutex> lock(m_mutex);
                    m_pid = setup.value(0).toInt();
                }
            }
            bool copied = false;
            if (ok && m_source.Copy && m_source.Binds.isEmpty()) {
                Batch batch;
                batch.reserve(kBatchRows);
                bool more = true;
                const auto sink = [&](QVariantList&& row) {
                    Add(batch, std::move(row));
                    if (batch.size() < kBatchRows) return true;
                    more = Push(std::move(batch));
                    batch = {};
                    batch.reserve(kBatchRows);
                    return more;
                };
                const TClassicCopyResult r = ClassicPgCopy(db, m_source.Select, m_source.Readers, sink, error);
                if (r != TClassicCopyResult::NotUsed) {
                    copied = true;
                    std::lock_guard<std::mutex> lock(m_mutex);
                    m_pid = 0;
                }
                if (copied && more && !batch.empty()) Push(std::move(batch));
            }
            if (ok && !copied) {
                QSqlQuery q(db);
                q.setForwardOnly(true);
                if (m_source.Binds.isEmpty()) {
                    ok = q.exec(m_source.Select);
                } else if ((ok = q.prepare(m_source.Select))) {
                    for (auto it = m_source.Binds.begin(); it != m_source.Binds.end(); ++it) q.bindValue(it.key(), it.value());
                    ok = q.exec();
                }
                if (!ok) error = q.lastError().text().trimmed();
                Batch batch;
                batch.reserve(kBatchRows);
                const int n = m_source.Columns;
                const bool readers = m_source.Readers.size() >= n;
                while (ok && q.next()) {
                    QVariantList row;
                    row.reserve(n);
                    for (int i = 0; i < n; ++i) {
                        QVariant v = q.value(i);
                        row.append(readers && m_source.Readers[i] != TClassicRead::AsIs ? ClassicReadValue(v, m_source.Readers[i])
                                                                                       : std::move(v));
                    }
                    Add(batch, std::move(row));
                    if (batch.size() == kBatchRows) {
                        if (!Push(std::move(batch))) break;
                        batch = {};
                        batch.reserve(kBatchRows);
                    }
                }
                if (ok && q.lastError().isValid() && q.lastError().type() != QSqlError::NoError)
                    error = q.lastError().text().trimmed();
                {
                    std::lock_guard<std::mutex> lock(m_mutex);
                    m_pid = 0; // nothing left to stop on the server
                }
                if (!batch.empty()) Push(std::move(batch));
            }
            setup.finish();
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(name);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_error = error;
        m_done = true;
    }
    m_notEmpty.notify_all();
}

TClassicPrefetch::Result TClassicPrefetch::Next(QVariantList& row, QVariantList& prepared, QString& error) {
    if (m_batchPos >= m_batch.size()) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_notEmpty.wait(lock, [this] { return m_done || !m_queue.empty(); });
        if (m_queue.empty()) {
            error = m_error;
            return error.isEmpty() ? Result::End : Result::Failed;
        }
        m_handedOut.push_back(std::move(m_batch));
        m_batch = std::move(m_queue.front());
        m_queue.pop_front();
        m_batchPos = 0;
        if (m_handedOut.size() > 2) {
            m_toFree.push_back(std::move(m_handedOut.front()));
            m_handedOut.pop_front();
        }
        lock.unlock();
        m_notFull.notify_one();
    }
    // Shared, not moved: the batch keeps them, so that they are freed on the
    // reading thread once this one has let go of them.
    const Row& r = m_batch[m_batchPos++];
    row = r.values;
    prepared = r.prepared;
    return Result::Row;
}
