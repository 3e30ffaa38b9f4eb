// Components that present one column of a dataset to an application:
// TOstEnumValueSet holds the values of an enumeration column (for pick lists
// and combo boxes), TOstBlobProvider serves the content of a blob column of
// the current record (as bytes, a stream, or an image a GUI decodes).
// Both reach their dataset through a TDataSource of the same owner.
#pragma once

#include "engine/base/tcomponent.h"

#include <QByteArray>
#include <QStringList>
#include <memory>

class QIODevice;
class TDataSet;
class TDataSource;
class TField;

// What both have: the data source (a TDataSource of the same owner) that
// leads to their dataset.
class TOstDataSourceLink : public TComponent {
    Q_OBJECT
    Q_CLASSINFO("reference:DataSource", "TDataSource")
    Q_PROPERTY(QString DataSource READ GetDataSourceName WRITE SetDataSourceName)

public:
    using TComponent::TComponent;
    QString GetDataSourceName() const { return m_dataSource; }
    void SetDataSourceName(const QString& name) { m_dataSource = name; }
    TDataSource* GetDataSource() const;
    // The data source's dataset, or nullptr.
    TDataSet* DataSet() const;

protected:
    // The column of the open dataset; EDatabaseError naming this component
    // when there is no dataset, it is closed, or has no such column.
    TField* OpenField(const QString& fieldName) const;
    QString DisplayName() const;

private:
    QString m_dataSource;
};

class TOstEnumValueSet : public TOstDataSourceLink {
    Q_OBJECT
    Q_PROPERTY(QString EnumField READ GetEnumField WRITE SetEnumField)

public:
    explicit TOstEnumValueSet(TComponent* owner = nullptr);
    ~TOstEnumValueSet() override;

    QString GetEnumField() const { return m_enumField; }
    void SetEnumField(const QString& name) { m_enumField = name; }

    // The values of the enumeration column, in their defined order. Read from
    // the dataset's column definitions (an engine table need not be open).
    // EDatabaseError when the column is missing or is not an enumeration.
    QStringList Values() const;
    // Position of a value in Values(), -1 when it is not one of them.
    int IndexOfValue(const QString& value) const;
    // The value of the current record of the open dataset (empty when null).
    QString CurrentValue() const;
    // Stores value in the current record; the dataset must be editing.
    // EDatabaseError when it is not one of the values.
    void SetCurrentValue(const QString& value) const;

private:
    QString m_enumField;
};

class TOstBlobProvider : public TOstDataSourceLink {
    Q_OBJECT
    Q_PROPERTY(QString FieldName READ GetFieldName WRITE SetFieldName)

public:
    explicit TOstBlobProvider(TComponent* owner = nullptr);
    ~TOstBlobProvider() override;

    QString GetFieldName() const { return m_fieldName; }
    void SetFieldName(const QString& name) { m_fieldName = name; }

    // Content of the column in the current record of the open dataset; empty
    // for null. EDatabaseError without an open dataset or with an unknown column.
    QByteArray GetBlob() const;
    // The content as a read-only stream positioned at its start.
    std::unique_ptr<QIODevice> CreateStream() const;
    // What the content is, from its first bytes: "image/png", "image/jpeg",
    // "image/gif", "image/bmp", "application/pdf", "text/plain" or
    // "application/octet-stream"; empty for an empty blob.
    QString ContentType() const;
    static QString ContentTypeOf(const QByteArray& data);

private:
    QString m_fieldName;
};
