// Reading a server's rows on a thread of its own, so that the driver's work
// (fetching, converting values) overlaps with what the reader of the dataset
// does with them (a batch move writing them into an Ostra table).
//
// The thread opens its own connection with the settings of the dataset's and
// reads in the dataset's snapshot (PostgreSQL: the transaction snapshot that
// the dataset's connection exported), so count and records still agree. Rows
// arrive in batches through a short queue: memory stays that of a few
// batches, whatever the size of the source.
#pragma once

#include "migration/core/classicdataset.h"

#include <QVariantList>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct TClassicPrefetchSource {
    QString Driver, Host, Database, User, Password, Options;
    int Port = -1;
    QString Snapshot;      // PostgreSQL's exported snapshot to read in
    QString Select;
    bool Copy = false;     // a statement of our own: PostgreSQL may send it by COPY
    QVariantMap Binds;
    int Columns = 0;
    QVector<TClassicRead> Readers;
};

class TClassicPrefetch {
public:
    // Starts reading. Throws nothing: a failure to connect is reported by Next.
    explicit TClassicPrefetch(TClassicPrefetchSource source);
    // Stops the thread (the server stops sending first) and waits for it.
    ~TClassicPrefetch();
    TClassicPrefetch(const TClassicPrefetch&) = delete;
    TClassicPrefetch& operator=(const TClassicPrefetch&) = delete;

    // Rows read from now on are prepared on the reading thread (see
    // TDataSet::SetRecordPrepare); nullptr: no longer.
    void SetPrepare(std::shared_ptr<const TDataSet::TRecordPrepare> prepare);

    enum class Result { Row, End, Failed };
    // The next record into row and what preparing it gave into prepared
    // (empty when it was not); Failed with the driver's message in error.
    Result Next(QVariantList& row, QVariantList& prepared, QString& error);
    // The server process of the reading connection, 0 until it is known.
    int BackendPid() const;

private:
    struct Row {
        QVariantList values, prepared;
    };
    using Batch = std::vector<Row>;
    void Run();
    void Add(Batch& batch, QVariantList&& values) const;
    bool Push(Batch&& batch); // false: stop asked

    TClassicPrefetchSource m_source;
    mutable std::mutex m_mutex;
    std::condition_variable m_notEmpty, m_notFull;
    std::deque<Batch> m_queue;
    Batch m_batch; // being handed out
    size_t m_batchPos = 0;
    // Batches handed out are freed on the reading thread, which allocated
    // them (freeing across threads makes both wait for the allocator's locks):
    // the last two stay here, since the dataset's reader may still hold their records.
    std::deque<Batch> m_handedOut, m_toFree;
    std::shared_ptr<const TDataSet::TRecordPrepare> m_prepare; // under m_mutex
    std::shared_ptr<const TDataSet::TRecordPrepare> m_preparing; // the reading thread's copy
    bool m_done = false, m_stop = false;
    QString m_error;
    int m_pid = 0;
    std::thread m_thread;
};

// A value read from the driver as the dataset hands it on (timestamps that
// the driver gives as text become date-times).
QVariant ClassicReadValue(const QVariant& v, TClassicRead read);
// The date-time of a server's timestamp text (UTF-8), invalid when it is no
// plain "yyyy-mm-dd hh:mm:ss[.fff]": then ClassicReadValue of the text applies.
QDateTime ClassicTimestampOf(const char* text, qsizetype size);
