// A grid's view of a dataset: one row per record, one column per field (the
// persistent fields when the dataset has them, in their order and with their
// labels). Records are read as the grid shows them and only a few thousand
// are kept, so a table of any size opens at once; a result whose size is not
// known yet grows as the grid scrolls. An edited cell is posted through the
// dataset, so the engine checks it as any post; a refused value leaves the
// record as it was and is reported with the engine's message.
#pragma once

#include "engine/base/tdataset.h"

#include <QAbstractTableModel>
#include <QCache>
#include <QPointer>

class TOstDataSetModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit TOstDataSetModel(QObject* parent = nullptr);
    ~TOstDataSetModel() override;

    // The dataset shown; it must be open (not owned). nullptr shows nothing.
    void SetDataSet(TDataSet* dataSet);
    TDataSet* DataSet() const { return m_dataSet; }
    TField* FieldOf(int column) const { return m_fields.value(column).data(); }
    // Reads the dataset again, after it changed under the model.
    void Reload();
    // The rows known afterwards count every record (a query's result is read to the end).
    void FetchAll();

    // How a value shows in a cell, and the text it is edited as.
    static QString DisplayText(const QVariant& value, TFieldType type);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // Posts the value; false, with postFailed, when the engine refuses it.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

    static constexpr int kFetchRows = 512;

signals:
    void postFailed(const QString& message);
    // A posted record stands at this row now (an index or filter may move it).
    void recordPosted(int row);
    // The number of rows changed (more of a result was read).
    void rowsKnownChanged(int rows, bool all);

private:
    const QVariantList& Row(int row) const;
    void ReadFields();

    QPointer<TDataSet> m_dataSet;
    QList<QPointer<TField>> m_fields;
    int m_rows = 0;
    mutable QCache<int, QVariantList> m_cache;
    QVariantList m_empty;
};
