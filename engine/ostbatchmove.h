// TOstBatchMove: copies the records of a source dataset into a destination
// table. Source and Destination name components of the same owner, or are set
// as datasets owned anywhere (SetSource, SetDestination). Mappings lines read "destination=source" (a line
// with one name maps that column to itself); without mappings columns are
// matched by name.
//
// Execute works in one transaction of the destination's database (a savepoint
// when the application has a transaction open): a failure, or an abort from
// OnProgress, leaves the destination as it was. The mappings, the key and the
// report file are checked before anything is written.
//
// A record that cannot be moved - its key is taken, a value does not convert
// to the column's type, a constraint or foreign key rejects it - is a
// problem: it is skipped, counted and written to the report file (FileName),
// one line each: "Record N: reason; values: Name='value', ...", N counting the
// source records from 1. With AbortOnProblem the first problem rolls back
// everything instead and is raised as an EOstraError "Record N: reason".
//
// Values are converted and checked as a post of the destination table does
// it: a null value for a column with a default value gets the default on
// insert, a dtAutoInc column takes the source's value (a new one when that is
// null), calculated columns cannot be written.
//
// An engine table copied into an engine table is copied by statements in
// record-id slices (append and copy modes, the source neither filtered nor
// ordered by an index): inside the database, or with the source's file
// attached to the destination's connection when it is another database
// (encrypted files included); a slice of records in which a problem occurs is
// redone record by record, so the problems are reported as above. Records of
// any other dataset (a query, a filtered table, a classic dataset, a CSV file)
// are appended in slices of about 200 records, one INSERT with bound values
// each, redone record by record in the same way. The update and delete modes
// go record by record.
#pragma once

#include "engine/ostengine.h"
#include "engine/base/tcomponent.h"

#include <QPointer>
#include <QStringList>

class TDataSet;

class TOstBatchMove : public TComponent {
    Q_OBJECT
    Q_CLASSINFO("reference:Source", "TDataSet")
    Q_CLASSINFO("reference:Destination", "TDataSet")
    Q_PROPERTY(QString Source READ GetSourceName WRITE SetSourceName)
    Q_PROPERTY(QString Destination READ GetDestinationName WRITE SetDestinationName)
    Q_PROPERTY(TBatchMode Mode READ GetMode WRITE SetMode)
    Q_PROPERTY(QStringList Mappings READ GetMappings WRITE SetMappings)
    Q_PROPERTY(int RecordCount READ GetRecordCount WRITE SetRecordCount)
    Q_PROPERTY(QString FileName READ GetFileName WRITE SetFileName)
    Q_PROPERTY(bool AbortOnProblem READ GetAbortOnProblem WRITE SetAbortOnProblem)

public:
    // batAppend adds every source record; batUpdate changes destination
    // records with the same key; batAppendUpdate does both; batDelete deletes
    // the destination records with the keys of source records; batCopy
    // replaces the destination's records with the source's. The key is the
    // destination's primary index, else its first unique index. A source
    // record whose key matches no destination record is left alone by
    // batUpdate and batDelete (neither moved nor a problem).
    enum TBatchMode { batAppend, batUpdate, batAppendUpdate, batDelete, batCopy };
    Q_ENUM(TBatchMode)

    explicit TOstBatchMove(TComponent* owner = nullptr);
    ~TOstBatchMove() override;

    QString GetSourceName() const { return m_source; }
    // A name is looked up among the components of this one's owner; it
    // replaces a dataset set directly.
    void SetSourceName(const QString& name) { m_source = name; m_sourceSet = nullptr; m_sourceDirect = false; }
    QString GetDestinationName() const { return m_destination; }
    void SetDestinationName(const QString& name) { m_destination = name; m_destinationSet = nullptr; m_destinationDirect = false; }
    // The dataset itself, whoever owns it (or nobody); nullptr goes back to the name.
    void SetSource(TDataSet* dataset);
    void SetDestination(TDataSet* dataset);
    TBatchMode GetMode() const { return m_mode; }
    void SetMode(TBatchMode mode) { m_mode = mode; }
    QStringList GetMappings() const { return m_mappings; }
    void SetMappings(const QStringList& lines) { m_mappings = lines; }
    // At most this many source records are read, from the first; 0 reads all.
    int GetRecordCount() const { return m_recordCount; }
    void SetRecordCount(int n);
    // The file the report of records that could not be moved is written to
    // (replaced when Execute succeeds; an empty file when there were none);
    // empty writes none.
    QString GetFileName() const { return m_fileName; }
    void SetFileName(const QString& name) { m_fileName = name; }
    // false (default): problems are skipped and reported; true: the first
    // problem rolls back everything and is raised.
    bool GetAbortOnProblem() const { return m_abortOnProblem; }
    void SetAbortOnProblem(bool v) { m_abortOnProblem = v; }

    TDataSet* Source() const;
    TDataSet* Destination() const;

    // Moves the records. Raises EOstraError for anything that is not a
    // problem of one record; nothing has then changed.
    void Execute();

    // Results of the last Execute (all 0 after one that failed).
    int MovedCount() const { return m_moved; }
    // Records that could not be moved, key violations included.
    int ProblemCount() const { return m_problems; }
    int KeyViolCount() const { return m_keyViols; }
    // True when the last Execute copied with statements (INSERT ... SELECT).
    bool UsedFastPath() const { return m_fastPath; }

    // Called with this component, 0 to 100, and an abort flag; setting the
    // flag rolls back everything and raises an EOstraError (OstErr::Aborted).
    TOstProgressEvent OnProgress;

private:
    friend class OstBatchRun;
    QString m_source, m_destination, m_fileName;
    QPointer<TDataSet> m_sourceSet, m_destinationSet; // set directly; null once deleted
    bool m_sourceDirect = false, m_destinationDirect = false;
    TBatchMode m_mode = batAppend;
    QStringList m_mappings;
    int m_recordCount = 0;
    bool m_abortOnProblem = false;
    int m_moved = 0, m_problems = 0, m_keyViols = 0;
    bool m_fastPath = false;
};
