#include "common/ostdatasetmodel.h"

#include "engine/base/sysutils.h"
#include "engine/base/tdataset.h"

#include <QBrush>
#include <QDate>
#include <QDateTime>
#include <QFont>
#include <QPalette>

namespace {

constexpr int kCachedRows = 4096;

bool IsBinaryType(TFieldType t) {
    return t == ftBlob || t == ftGraphic || t == ftBytes || t == ftVarBytes || t == ftTypedBinary || t == ftParadoxOle ||
           t == ftDBaseOle || t == ftOraBlob;
}

bool IsTextType(TFieldType t) {
    return t == ftString || t == ftFixedChar || t == ftWideString || t == ftFixedWideChar || t == ftMemo || t == ftWideMemo ||
           t == ftFmtMemo || t == ftGuid;
}

bool IsNull(const QVariant& v) { return !v.isValid() || v.isNull(); }

QString TimeText(const QTime& t) { return t.toString(t.msec() ? QStringLiteral("HH:mm:ss.zzz") : QStringLiteral("HH:mm:ss")); }

} // namespace

TOstDataSetModel::TOstDataSetModel(QObject* parent) : QAbstractTableModel(parent), m_cache(kCachedRows) {}

TOstDataSetModel::~TOstDataSetModel() = default;

void TOstDataSetModel::SetDataSet(TDataSet* dataSet) {
    beginResetModel();
    m_dataSet = dataSet;
    m_cache.clear();
    ReadFields();
    m_rows = m_dataSet && m_dataSet->Active() ? m_dataSet->FetchedRecordCount() : 0;
    endResetModel();
    emit rowsKnownChanged(m_rows, !m_dataSet || m_dataSet->AllRecordsFetched());
}

void TOstDataSetModel::ReadFields() {
    m_fields.clear();
    if (!m_dataSet || !m_dataSet->Active()) return;
    for (TField* f : m_dataSet->Fields()) m_fields.append(f);
}

void TOstDataSetModel::Reload() { SetDataSet(m_dataSet); }

void TOstDataSetModel::FetchAll() {
    if (!m_dataSet || !m_dataSet->Active() || m_dataSet->AllRecordsFetched()) return;
    const int all = m_dataSet->RecordCount();
    if (all > m_rows) {
        beginInsertRows(QModelIndex(), m_rows, all - 1);
        m_rows = all;
        endInsertRows();
    }
    emit rowsKnownChanged(m_rows, true);
}

QString TOstDataSetModel::DisplayText(const QVariant& value, TFieldType type) {
    if (IsNull(value)) return {};
    switch (value.typeId()) {
    case QMetaType::QDate: return value.toDate().toString(Qt::ISODate);
    case QMetaType::QTime: return TimeText(value.toTime());
    case QMetaType::QDateTime: {
        const QDateTime dt = value.toDateTime();
        return dt.date().toString(Qt::ISODate) + QLatin1Char(' ') + TimeText(dt.time());
    }
    case QMetaType::Bool: return value.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    case QMetaType::Double: return QString::number(value.toDouble(), 'g', 15);
    case QMetaType::QByteArray:
        if (IsBinaryType(type) || type == ftUnknown) return QStringLiteral("(%1 bytes)").arg(value.toByteArray().size());
        return QString::fromUtf8(value.toByteArray());
    default: return value.toString();
    }
}

int TOstDataSetModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : m_rows; }

int TOstDataSetModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_fields.size());
}

const QVariantList& TOstDataSetModel::Row(int row) const {
    if (QVariantList* cached = m_cache.object(row)) return *cached;
    if (!m_dataSet || !m_dataSet->Active()) return m_empty;
    auto* values = new QVariantList(m_dataSet->RecordValues(row + 1));
    m_cache.insert(row, values);
    return *values;
}

QVariant TOstDataSetModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_rows || index.column() >= m_fields.size()) return {};
    TField* f = m_fields.at(index.column()).data();
    if (!f) return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
    case Qt::ToolTipRole: {
        const QVariant v = Row(index.row()).value(f->FieldNo() - 1);
        if (IsNull(v)) return role == Qt::DisplayRole ? QStringLiteral("(null)") : QString();
        QString text = DisplayText(v, f->DataType());
        if (role == Qt::DisplayRole) {
            // One line of a memo; the whole text shows as the tooltip and in the editor.
            const int eol = static_cast<int>(text.indexOf(u'\n'));
            if (eol >= 0) text = text.left(eol) + QStringLiteral(" \u2026");
        } else if (role == Qt::ToolTipRole && text.size() > 2000) {
            text = text.left(2000) + QStringLiteral("\u2026");
        }
        return text;
    }
    case Qt::ForegroundRole:
        if (IsNull(Row(index.row()).value(f->FieldNo() - 1))) return QBrush(QPalette().color(QPalette::Disabled, QPalette::Text));
        return {};
    case Qt::FontRole:
        if (IsNull(Row(index.row()).value(f->FieldNo() - 1))) {
            QFont font;
            font.setItalic(true);
            return font;
        }
        return {};
    case Qt::TextAlignmentRole: {
        const TFieldType t = f->DataType();
        const bool number = t == ftSmallint || t == ftInteger || t == ftWord || t == ftFloat || t == ftCurrency ||
                            t == ftBCD || t == ftAutoInc || t == ftLargeint || t == ftFMTBcd;
        return QVariant::fromValue(Qt::AlignVCenter | (number ? Qt::AlignRight : Qt::AlignLeft));
    }
    default: return {};
    }
}

QVariant TOstDataSetModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole) return {};
    if (orientation == Qt::Vertical) return section + 1;
    TField* f = m_fields.value(section).data();
    if (!f) return {};
    if (role == Qt::ToolTipRole)
        return QStringLiteral("%1 (%2)").arg(f->GetFieldName(), QString::fromLatin1(FieldTypeName(f->DataType())));
    return f->GetDisplayLabel();
}

Qt::ItemFlags TOstDataSetModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    TField* f = m_fields.value(index.column()).data();
    if (index.isValid() && f && m_dataSet && m_dataSet->CanModify() && !f->GetReadOnly() && !IsBinaryType(f->DataType()))
        flags |= Qt::ItemIsEditable;
    return flags;
}

bool TOstDataSetModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::EditRole || !index.isValid() || !m_dataSet || !(flags(index) & Qt::ItemIsEditable)) return false;
    TField* f = m_fields.at(index.column()).data();
    const QString before = data(index, Qt::EditRole).toString();
    const bool wasNull = IsNull(Row(index.row()).value(f->FieldNo() - 1));
    if (value.toString() == before && !(wasNull && IsTextType(f->DataType()) && !value.toString().isEmpty())) return false;
    QString error;
    try {
        m_dataSet->SetRecNo(index.row() + 1);
        m_dataSet->Edit();
        // An emptied cell is no value, except in text columns, which may hold an empty text.
        if (value.toString().isEmpty() && !IsTextType(f->DataType())) f->Clear();
        else f->SetValue(value.toString());
        m_dataSet->Post();
    } catch (const std::exception& e) {
        const auto* ex = dynamic_cast<const Exception*>(&e);
        error = ex ? ex->Message() : QString::fromLocal8Bit(e.what());
        try {
            m_dataSet->Cancel();
        } catch (...) {
        }
    }
    m_cache.clear();
    if (!error.isEmpty()) {
        emit dataChanged(this->index(index.row(), 0), this->index(index.row(), columnCount() - 1));
        emit postFailed(error);
        return false;
    }
    // The record may have moved (an index orders by the value) or left the filter.
    const int rows = m_dataSet->AllRecordsFetched() ? m_dataSet->FetchedRecordCount() : qMax(m_rows, m_dataSet->FetchedRecordCount());
    if (rows != m_rows) {
        beginResetModel();
        m_rows = rows;
        endResetModel();
    } else if (m_rows > 0) {
        emit dataChanged(this->index(0, 0), this->index(m_rows - 1, columnCount() - 1));
    }
    emit recordPosted(m_dataSet->RecNo() - 1);
    return true;
}

bool TOstDataSetModel::canFetchMore(const QModelIndex& parent) const {
    return !parent.isValid() && m_dataSet && m_dataSet->Active() && !m_dataSet->AllRecordsFetched();
}

void TOstDataSetModel::fetchMore(const QModelIndex& parent) {
    if (!canFetchMore(parent)) return;
    const int known = m_dataSet->FetchRecords(kFetchRows);
    if (known > m_rows) {
        beginInsertRows(QModelIndex(), m_rows, known - 1);
        m_rows = known;
        endInsertRows();
    }
    emit rowsKnownChanged(m_rows, m_dataSet->AllRecordsFetched());
}
