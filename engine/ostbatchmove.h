// TOstBatchMove: copies the records of a source dataset into a destination
// dataset of the same owner. Mappings lines read "destination=source" (a
// line with one name maps that column to itself); without mappings columns
// are matched by name.
#pragma once

#include "tcomponent.h"

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

public:
    // batAppend adds every source record; batUpdate changes destination
    // records with the same key; batAppendUpdate does both; batDelete deletes
    // the destination records with the keys of source records; batCopy
    // replaces the destination's records with the source's.
    enum TBatchMode { batAppend, batUpdate, batAppendUpdate, batDelete, batCopy };
    Q_ENUM(TBatchMode)

    explicit TOstBatchMove(TComponent* owner = nullptr);
    ~TOstBatchMove() override;

    QString GetSourceName() const { return m_source; }
    void SetSourceName(const QString& name) { m_source = name; }
    QString GetDestinationName() const { return m_destination; }
    void SetDestinationName(const QString& name) { m_destination = name; }
    TBatchMode GetMode() const { return m_mode; }
    void SetMode(TBatchMode mode) { m_mode = mode; }
    QStringList GetMappings() const { return m_mappings; }
    void SetMappings(const QStringList& lines) { m_mappings = lines; }
    // At most this many records are moved; 0 moves all.
    int GetRecordCount() const { return m_recordCount; }
    void SetRecordCount(int n);
    // The file the report of records that could not be moved is written to;
    // empty writes none.
    QString GetFileName() const { return m_fileName; }
    void SetFileName(const QString& name) { m_fileName = name; }

    TDataSet* Source() const;
    TDataSet* Destination() const;

private:
    QString m_source, m_destination, m_fileName;
    TBatchMode m_mode = batAppend;
    QStringList m_mappings;
    int m_recordCount = 0;
};
