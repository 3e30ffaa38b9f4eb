// TField, TFields and TDataSet: the record-navigation and editing model that
// engine tables and queries implement. A dataset exposes one current record;
// editing works on a buffer that Post hands to the concrete dataset.
#pragma once

#include "engine/base/dbtypes.h"
#include "engine/base/tcomponent.h"
#include "engine/base/tdefs.h"

#include <QDateTime>
#include <QVariant>
#include <functional>

class TDataSet;

class TField : public TComponent {
    Q_OBJECT
    Q_PROPERTY(QString FieldName READ GetFieldName WRITE SetFieldName)
    Q_PROPERTY(QString DisplayLabel READ GetDisplayLabel WRITE SetDisplayLabel)
    Q_PROPERTY(bool Required READ GetRequired WRITE SetRequired)
    Q_PROPERTY(bool ReadOnly READ GetReadOnly WRITE SetReadOnly)
    Q_PROPERTY(int Size READ GetSize WRITE SetSize)

public:
    explicit TField(TComponent* owner = nullptr);
    ~TField() override;

    QString GetFieldName() const { return m_fieldName; }
    void SetFieldName(const QString& v) { m_fieldName = v; }
    QString GetDisplayLabel() const { return m_displayLabel.isEmpty() ? m_fieldName : m_displayLabel; }
    void SetDisplayLabel(const QString& v) { m_displayLabel = v; }
    bool GetRequired() const { return m_required; }
    void SetRequired(bool v) { m_required = v; }
    bool GetReadOnly() const { return m_readOnly; }
    void SetReadOnly(bool v) { m_readOnly = v; }
    int GetSize() const { return m_size; }
    void SetSize(int v) { m_size = v; }
    TFieldType DataType() const { return m_dataType; }
    void SetDataType(TFieldType t) { m_dataType = t; }

    TDataSet* DataSet() const { return m_dataSet; }
    // Attaches a persistent field to a dataset (nullptr detaches).
    void SetDataSet(TDataSet* ds);
    int FieldNo() const { return m_bindIndex + 1; }

    QVariant Value() const;
    void SetValue(const QVariant& v);
    bool IsNull() const;
    void Clear() { SetValue(QVariant()); }

    QString AsString() const;
    qint32 AsInteger() const;
    qint64 AsLargeInt() const;
    double AsFloat() const;
    bool AsBoolean() const;
    QDateTime AsDateTime() const;
    QDate AsDate() const;
    QTime AsTime() const;
    QByteArray AsBytes() const;
    void SetAsString(const QString& v) { SetValue(v); }
    void SetAsInteger(qint32 v) { SetValue(v); }
    void SetAsLargeInt(qint64 v) { SetValue(v); }
    void SetAsFloat(double v) { SetValue(v); }
    void SetAsBoolean(bool v) { SetValue(v); }
    void SetAsDateTime(const QDateTime& v) { SetValue(v); }
    void SetAsDate(const QDate& v) { SetValue(v); }
    void SetAsTime(const QTime& v) { SetValue(v); }
    void SetAsBytes(const QByteArray& v) { SetValue(v); }

    bool IsPersistent() const { return m_persistent; }

private:
    friend class TDataSet;
    TDataSet* m_dataSet = nullptr;
    QString m_fieldName, m_displayLabel;
    TFieldType m_dataType = ftUnknown;
    int m_size = 0;
    bool m_required = false, m_readOnly = false, m_persistent = true;
    int m_bindIndex = -1; // position in the record buffer, -1 while unbound
};

class TFields {
public:
    int Count() const { return m_list.size(); }
    TField* operator[](int i) const { return m_list.at(i); }
    TField* FindField(const QString& name) const;
    TField* FieldByName(const QString& name) const; // raises EDatabaseError when absent
    QVector<TField*>::const_iterator begin() const { return m_list.begin(); }
    QVector<TField*>::const_iterator end() const { return m_list.end(); }

private:
    friend class TDataSet;
    QVector<TField*> m_list;
};

using TDataSetNotifyEvent = std::function<void(TDataSet*)>;

class TDataSet : public TComponent {
    Q_OBJECT
    Q_PROPERTY(bool Active READ GetActive WRITE SetActive)
    Q_PROPERTY(QString Filter READ GetFilter WRITE SetFilter)
    Q_PROPERTY(bool Filtered READ GetFiltered WRITE SetFiltered)

public:
    explicit TDataSet(TComponent* owner = nullptr);
    ~TDataSet() override;

    void Open();
    void Close();
    bool GetActive() const { return m_state != dsInactive; }
    bool Active() const { return GetActive(); }
    void SetActive(bool v);
    TDataSetState State() const { return m_state; }

    void First();
    void Last();
    void Next();
    void Prior();
    int MoveBy(int distance);
    bool Eof() const { return m_eof; }
    bool Bof() const { return m_bof; }
    bool IsEmpty() const;
    int RecordCount() const;
    int RecNo() const { return m_recNo + 1; } // 1-based, 0 when there is no current record
    void SetRecNo(int recNo);
    bool Locate(const QString& fieldName, const QVariant& value, bool caseInsensitive = false);
    void Refresh();

    // Reading for views, without moving the cursor. RecordValues: the values
    // of record recNo (1-based) in FieldDefs() order, empty past the end.
    QVariantList RecordValues(int recNo) const;
    // The records known so far and whether they are all there is: a table
    // knows its count when it opens, a query reads its result as it is asked
    // for (RecordCount reads it to the end). FetchRecords reads on until
    // count more records are known or the result ends, and returns the
    // number known then.
    int FetchedRecordCount() const;
    bool AllRecordsFetched() const;
    int FetchRecords(int count);

    TFields& Fields() { return m_fields; }
    const TFields& Fields() const { return m_fields; }
    TField* FieldByName(const QString& name) const { return m_fields.FieldByName(name); }
    TField* FindField(const QString& name) const { return m_fields.FindField(name); }
    TFieldDefs& FieldDefs() { return m_fieldDefs; }
    // The field class (registered for streaming, derived from TField) of this
    // dataset's fields of a type: what it creates as default fields and what
    // a fields editor should create as persistent ones.
    virtual const QMetaObject* GetFieldClass(TFieldType type) const;
    QVariant FieldValue(int index) const;
    // The current record's values in FieldDefs() order (a field's value is at
    // its FieldNo() - 1): what a reader of every record takes without copying each value.
    const QVariantList& CurrentRecord() const { return m_buffer; }
    // A reader of every record in turn (a batch move) may have each record
    // prepared as it is read: a dataset that reads ahead on a thread of its
    // own runs prepare there on the records it reads from then on, and
    // PreparedRecord() gives the result while such a record is current (empty
    // for any other record). prepare only reads the record and what it owns
    // itself. Returns whether the dataset prepares records; an empty function stops it.
    using TRecordPrepare = std::function<QVariantList(const QVariantList& record)>;
    virtual bool SetRecordPrepare(TRecordPrepare prepare) { Q_UNUSED(prepare) return false; }
    virtual QVariantList PreparedRecord() const { return {}; }
    // Why the current record could not be read whole from its source (a line
    // of a file with too few or too many values), empty when it could. A
    // batch move reports such a record as a problem instead of moving it.
    virtual QString RecordProblem() const { return QString(); }

    void Append();
    void Insert();
    void Edit();
    void Post();
    void Cancel();
    void Delete();
    // Appends a record with the values in field order and posts it.
    void AppendRecord(const QVariantList& values);
    bool Modified() const { return m_modified; }
    virtual bool CanModify() const { return true; }

    QString GetFilter() const { return m_filter; }
    void SetFilter(const QString& f);
    bool GetFiltered() const { return m_filtered; }
    void SetFiltered(bool f);

    TDataSetNotifyEvent BeforeOpen, AfterOpen, BeforeClose, AfterClose, BeforeInsert, AfterInsert, BeforeEdit,
        AfterEdit, BeforePost, AfterPost, BeforeCancel, AfterCancel, BeforeDelete, AfterDelete, OnNewRecord;

protected:
    // Fill FieldDefs() and prepare the record source; called by Open.
    virtual void InternalOpen() = 0;
    virtual void InternalClose() = 0;
    virtual int InternalRecordCount() const = 0;
    // Whether record recNo (0-based) exists; datasets that read their records
    // as they go answer without counting them all.
    virtual bool InternalRecordExists(int recNo) const { return recNo >= 0 && recNo < InternalRecordCount(); }
    virtual int InternalFetchedCount() const { return InternalRecordCount(); }
    virtual bool InternalAllFetched() const { return true; }
    // Values of record recNo (0-based) in FieldDefs() order.
    virtual QVariantList InternalGetRecord(int recNo) const = 0;
    // Stores the buffer; returns the record number of the stored record afterwards.
    virtual int InternalPost(bool inserting, int recNo, const QVariantList& values);
    // Removes record recNo; returns the record number to make current afterwards.
    virtual int InternalDelete(int recNo);
    // Re-reads the record source keeping the position where possible.
    virtual void InternalRefresh() {}
    virtual void InternalInitRecord(QVariantList& values) { Q_UNUSED(values) }
    virtual void FilterChanged() {}
    // Creates the default field object for a definition, of GetFieldClass's class.
    virtual TField* CreateField(const TFieldDef& def);
    void CheckActive() const;
    void CheckBrowseMode();
    void Resync(int recNo);

private:
    friend class TField;
    void BindFields();
    void FreeDefaultFields();
    void LoadCurrent();
    void AttachField(TField* f) { if (!m_persistentFields.contains(f)) m_persistentFields.append(f); }
    void DetachField(TField* f);
    QVariant BufferValue(const TField* f) const;
    void SetBufferValue(TField* f, const QVariant& v);

    TDataSetState m_state = dsInactive;
    TFields m_fields;
    QVector<TField*> m_persistentFields;
    TFieldDefs m_fieldDefs;
    QVariantList m_buffer;
    int m_recNo = -1;
    bool m_eof = true, m_bof = true, m_modified = false;
    QString m_filter;
    bool m_filtered = false;
};

// Connects components that present data (enumeration value sets, blob
// providers, data-aware controls) to a dataset of the same owner.
class TDataSource : public TComponent {
    Q_OBJECT
    Q_CLASSINFO("reference:DataSet", "TDataSet")
    Q_PROPERTY(QString DataSet READ GetDataSetName WRITE SetDataSetName)
    Q_PROPERTY(bool Enabled READ GetEnabled WRITE SetEnabled)

public:
    explicit TDataSource(TComponent* owner = nullptr);
    ~TDataSource() override;

    QString GetDataSetName() const { return m_dataSetName; }
    void SetDataSetName(const QString& name) { m_dataSetName = name; }
    bool GetEnabled() const { return m_enabled; }
    void SetEnabled(bool v) { m_enabled = v; }
    // The dataset named by DataSet among the owner's components, or nullptr.
    TDataSet* DataSet() const { return Referenced<TDataSet>(m_dataSetName); }

private:
    QString m_dataSetName;
    bool m_enabled = true;
};
