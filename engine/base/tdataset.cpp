// TDataSet: the record buffer, navigation, editing, filtering and events
// that every dataset shares; TField and TDataSource.
#include "engine/base/tdataset.h"

#include "engine/base/tclassregistry.h"

#include "engine/base/sysutils.h"

#include <climits>

// ---------------------------------------------------------------- TField

TField::TField(TComponent* owner) : TComponent(owner) {}

TField::~TField() {
    if (m_dataSet) m_dataSet->DetachField(this);
}

void TField::SetDataSet(TDataSet* ds) {
    if (ds == m_dataSet) return;
    if (m_dataSet) m_dataSet->DetachField(this);
    m_dataSet = ds;
    if (m_dataSet) m_dataSet->AttachField(this);
}

QVariant TField::Value() const { return m_dataSet ? m_dataSet->BufferValue(this) : QVariant(); }

void TField::SetValue(const QVariant& v) {
    if (!m_dataSet) throw EDatabaseError(QStringLiteral("Field '%1' has no dataset").arg(m_fieldName));
    m_dataSet->SetBufferValue(this, v);
}

bool TField::IsNull() const { return !Value().isValid() || Value().isNull(); }
QString TField::AsString() const { return IsNull() ? QString() : Value().toString(); }
qint32 TField::AsInteger() const { return Value().toInt(); }
qint64 TField::AsLargeInt() const { return Value().toLongLong(); }
double TField::AsFloat() const { return Value().toDouble(); }

bool TField::AsBoolean() const {
    const QVariant v = Value();
    if (v.typeId() == QMetaType::QString) {
        const QString s = v.toString().trimmed().toLower();
        return s == u"true" || s == u"1" || s == u"yes";
    }
    return v.toBool();
}

QDateTime TField::AsDateTime() const {
    const QVariant v = Value();
    if (v.typeId() == QMetaType::QDate) return QDateTime(v.toDate(), QTime(0, 0));
    if (v.typeId() == QMetaType::QString) return QDateTime::fromString(v.toString(), Qt::ISODateWithMs);
    return v.toDateTime();
}

QDate TField::AsDate() const {
    const QVariant v = Value();
    if (v.typeId() == QMetaType::QString) return QDate::fromString(v.toString().left(10), Qt::ISODate);
    return v.toDate();
}

QTime TField::AsTime() const {
    const QVariant v = Value();
    if (v.typeId() == QMetaType::QString) return QTime::fromString(v.toString(), Qt::ISODateWithMs);
    return v.toTime();
}

QByteArray TField::AsBytes() const { return Value().toByteArray(); }

TField* TFields::FindField(const QString& name) const {
    for (TField* f : m_list)
        if (f->GetFieldName().compare(name, Qt::CaseInsensitive) == 0) return f;
    return nullptr;
}

TField* TFields::FieldByName(const QString& name) const {
    TField* f = FindField(name);
    if (!f) throw EDatabaseError(QStringLiteral("Field '%1' not found").arg(name));
    return f;
}

// ---------------------------------------------------------------- TDataSet

TDataSet::TDataSet(TComponent* owner) : TComponent(owner) {}

TDataSet::~TDataSet() {
    // Subclasses close in their own destructors; here only the bookkeeping goes.
    FreeDefaultFields();
    for (TField* f : m_persistentFields) f->m_dataSet = nullptr;
}

void TDataSet::CheckActive() const {
    if (m_state == dsInactive) throw EDatabaseError(QStringLiteral("Cannot perform this operation on a closed dataset"));
}

void TDataSet::SetActive(bool v) {
    if (v) Open(); else Close();
}

void TDataSet::Open() {
    if (m_state != dsInactive) return;
    if (BeforeOpen) BeforeOpen(this);
    InternalOpen();
    m_state = dsBrowse;
    BindFields();
    Resync(0);
    if (AfterOpen) AfterOpen(this);
}

void TDataSet::Close() {
    if (m_state == dsInactive) return;
    if (BeforeClose) BeforeClose(this);
    if (m_state == dsEdit || m_state == dsInsert) Cancel();
    InternalClose();
    m_state = dsInactive;
    FreeDefaultFields();
    for (TField* f : m_persistentFields) f->m_bindIndex = -1;
    m_buffer.clear();
    m_recNo = -1;
    m_eof = m_bof = true;
    if (AfterClose) AfterClose(this);
}

const QMetaObject* TDataSet::GetFieldClass(TFieldType) const { return &TField::staticMetaObject; }

TField* TDataSet::CreateField(const TFieldDef& def) {
    RegisterStandardClasses();
    const QMetaObject* cls = GetFieldClass(def.DataType);
    TField* f = cls ? qobject_cast<TField*>(CreateComponentOfClass(QString::fromLatin1(cls->className()), nullptr)) : nullptr;
    if (!f) f = new TField(nullptr);
    f->m_persistent = false;
    f->SetFieldName(def.Name);
    f->SetDataType(def.DataType);
    f->SetSize(def.Size);
    f->SetRequired(def.Required);
    return f;
}

void TDataSet::BindFields() {
    FreeDefaultFields();
    m_fields.m_list.clear();
    if (!m_persistentFields.isEmpty()) {
        for (TField* f : m_persistentFields) {
            const int i = m_fieldDefs.IndexOf(f->GetFieldName());
            if (i < 0) {
                const QString name = f->GetFieldName();
                InternalClose();
                m_state = dsInactive;
                throw EDatabaseError(QStringLiteral("%1: Field '%2' not found").arg(GetName(), name));
            }
            f->m_bindIndex = i;
            m_fields.m_list.append(f);
        }
        return;
    }
    for (int i = 0; i < m_fieldDefs.Count(); ++i) {
        TField* f = CreateField(*m_fieldDefs[i]);
        f->m_dataSet = this;
        f->m_persistent = false;
        f->m_bindIndex = i;
        m_fields.m_list.append(f);
    }
}

void TDataSet::FreeDefaultFields() {
    QVector<TField*> keep;
    for (TField* f : m_fields.m_list) {
        if (f->m_persistent) keep.append(f);
        else { f->m_dataSet = nullptr; delete f; }
    }
    m_fields.m_list = keep;
}

void TDataSet::DetachField(TField* f) {
    m_persistentFields.removeOne(f);
    m_fields.m_list.removeOne(f);
}

void TDataSet::LoadCurrent() {
    if (m_recNo >= 0) m_buffer = InternalGetRecord(m_recNo);
    else m_buffer = QVariantList();
    while (m_buffer.size() < m_fieldDefs.Count()) m_buffer.append(QVariant());
}

void TDataSet::Resync(int recNo) {
    recNo = qMax(0, recNo);
    if (!InternalRecordExists(recNo)) recNo = InternalRecordCount() - 1; // past the end: the last one
    if (recNo < 0) {
        m_recNo = -1;
        m_eof = m_bof = true;
    } else {
        m_recNo = recNo;
        m_eof = m_bof = false;
    }
    LoadCurrent();
}

QVariant TDataSet::BufferValue(const TField* f) const {
    if (m_state == dsInactive || f->m_bindIndex < 0 || f->m_bindIndex >= m_buffer.size()) return QVariant();
    return m_buffer.at(f->m_bindIndex);
}

QVariant TDataSet::FieldValue(int index) const {
    return (index >= 0 && index < m_buffer.size()) ? m_buffer.at(index) : QVariant();
}

void TDataSet::SetBufferValue(TField* f, const QVariant& v) {
    if (m_state != dsEdit && m_state != dsInsert)
        throw EDatabaseError(QStringLiteral("Dataset not in edit or insert mode"));
    if (f->m_bindIndex < 0) throw EDatabaseError(QStringLiteral("Field '%1' is not bound").arg(f->GetFieldName()));
    m_buffer[f->m_bindIndex] = v;
    m_modified = true;
}

bool TDataSet::IsEmpty() const { return m_state == dsInactive || !InternalRecordExists(0); }

int TDataSet::RecordCount() const { return m_state == dsInactive ? 0 : InternalRecordCount(); }

QVariantList TDataSet::RecordValues(int recNo) const {
    if (m_state == dsInactive || recNo < 1 || !InternalRecordExists(recNo - 1)) return {};
    return InternalGetRecord(recNo - 1);
}

int TDataSet::FetchedRecordCount() const { return m_state == dsInactive ? 0 : InternalFetchedCount(); }

bool TDataSet::AllRecordsFetched() const { return m_state == dsInactive || InternalAllFetched(); }

int TDataSet::FetchRecords(int count) {
    if (m_state == dsInactive) return 0;
    const int known = InternalFetchedCount();
    if (count > 0 && !InternalAllFetched()) InternalRecordExists(count > INT_MAX - known ? INT_MAX - 1 : known + count - 1);
    return InternalFetchedCount();
}

void TDataSet::CheckBrowseMode() {
    CheckActive();
    if (m_state == dsEdit || m_state == dsInsert) Post();
}

void TDataSet::First() {
    CheckBrowseMode();
    Resync(0);
    m_bof = true;
}

void TDataSet::Last() {
    CheckBrowseMode();
    Resync(InternalRecordCount() - 1);
    m_eof = true;
}

void TDataSet::Next() {
    CheckBrowseMode();
    m_bof = false;
    if (!InternalRecordExists(m_recNo + 1)) { m_eof = true; return; }
    ++m_recNo;
    m_eof = false;
    LoadCurrent();
}

void TDataSet::Prior() {
    CheckBrowseMode();
    m_eof = false;
    if (m_recNo <= 0) { m_bof = true; return; }
    --m_recNo;
    m_bof = false;
    LoadCurrent();
}

int TDataSet::MoveBy(int distance) {
    int moved = 0;
    while (distance > 0 && !m_eof) { Next(); if (!m_eof) ++moved; --distance; }
    while (distance < 0 && !m_bof) { Prior(); if (!m_bof) --moved; ++distance; }
    return moved;
}

void TDataSet::SetRecNo(int recNo) {
    CheckBrowseMode();
    Resync(recNo - 1);
}

bool TDataSet::Locate(const QString& fieldName, const QVariant& value, bool caseInsensitive) {
    CheckBrowseMode();
    TField* f = FieldByName(fieldName);
    const int n = InternalRecordCount();
    for (int i = 0; i < n; ++i) {
        const QVariant v = InternalGetRecord(i).value(f->m_bindIndex);
        const bool eq = caseInsensitive ? v.toString().compare(value.toString(), Qt::CaseInsensitive) == 0
                                        : (v == value || v.toString() == value.toString());
        if (eq) { Resync(i); return true; }
    }
    return false;
}

void TDataSet::Refresh() {
    CheckBrowseMode();
    InternalRefresh();
    Resync(m_recNo);
}

void TDataSet::Append() { Insert(); }

void TDataSet::Insert() {
    CheckBrowseMode();
    if (!CanModify()) throw EDatabaseError(QStringLiteral("Cannot modify a read-only dataset"));
    if (BeforeInsert) BeforeInsert(this);
    m_buffer = QVariantList();
    for (int i = 0; i < m_fieldDefs.Count(); ++i) m_buffer.append(QVariant());
    InternalInitRecord(m_buffer);
    m_state = dsInsert;
    m_modified = false;
    if (OnNewRecord) OnNewRecord(this);
    if (AfterInsert) AfterInsert(this);
}

void TDataSet::Edit() {
    CheckActive();
    if (m_state == dsEdit || m_state == dsInsert) return;
    if (!CanModify()) throw EDatabaseError(QStringLiteral("Cannot modify a read-only dataset"));
    if (m_recNo < 0) { Insert(); return; }
    if (BeforeEdit) BeforeEdit(this);
    m_state = dsEdit;
    m_modified = false;
    if (AfterEdit) AfterEdit(this);
}

void TDataSet::Post() {
    CheckActive();
    if (m_state != dsEdit && m_state != dsInsert) return;
    if (BeforePost) BeforePost(this);
    const bool inserting = m_state == dsInsert;
    const int at = InternalPost(inserting, m_recNo, m_buffer);
    m_state = dsBrowse;
    m_modified = false;
    Resync(at);
    if (AfterPost) AfterPost(this);
}

void TDataSet::Cancel() {
    if (m_state != dsEdit && m_state != dsInsert) return;
    if (BeforeCancel) BeforeCancel(this);
    m_state = dsBrowse;
    m_modified = false;
    Resync(m_recNo);
    if (AfterCancel) AfterCancel(this);
}

void TDataSet::Delete() {
    CheckActive();
    if (m_state == dsInsert) { Cancel(); return; }
    if (m_recNo < 0) throw EDatabaseError(QStringLiteral("Cannot perform this operation on an empty dataset"));
    if (!CanModify()) throw EDatabaseError(QStringLiteral("Cannot modify a read-only dataset"));
    if (BeforeDelete) BeforeDelete(this);
    m_state = dsBrowse;
    const int at = InternalDelete(m_recNo);
    Resync(at);
    if (AfterDelete) AfterDelete(this);
}

void TDataSet::AppendRecord(const QVariantList& values) {
    Append();
    for (int i = 0; i < values.size() && i < m_fields.Count(); ++i) m_fields[i]->SetValue(values.at(i));
    Post();
}

void TDataSet::SetFilter(const QString& f) {
    if (f == m_filter) return;
    m_filter = f;
    if (m_state != dsInactive && m_filtered) { FilterChanged(); Resync(0); }
}

void TDataSet::SetFiltered(bool f) {
    if (f == m_filtered) return;
    m_filtered = f;
    if (m_state != dsInactive) { FilterChanged(); Resync(0); }
}

int TDataSet::InternalPost(bool, int, const QVariantList&) {
    throw EDatabaseError(QStringLiteral("Cannot modify a read-only dataset"));
}

int TDataSet::InternalDelete(int) { throw EDatabaseError(QStringLiteral("Cannot modify a read-only dataset")); }

// ---------------------------------------------------------------- TDataSource

TDataSource::TDataSource(TComponent* owner) : TComponent(owner) {}
TDataSource::~TDataSource() = default;
