// Components that present one column of a dataset to an application:
// TOstEnumValueSet holds the values of an enumeration column (for pick lists
// and combo boxes), TOstBlobProvider serves the content of a blob column of
// the current record (as bytes, a stream, or an image a GUI decodes).
// Both reach their dataset through a TDataSource of the same owner.
#pragma once

#include "tcomponent.h"

#include <QByteArray>
#include <QStringList>
#include <memory>

class QIODevice;
class TDataSet;
class TDataSource;
class TField;

class TOstEnumValueSet : public TComponent {
    Q_OBJECT
    Q_CLASSINFO("reference:DataSource", "TDataSource")
    Q_PROPERTY(QString DataSource READ GetDataSourceName WRITE SetDataSourceName)
    Q_PROPERTY(QString EnumField READ GetEnumField WRITE SetEnumField)

public:
    explicit TOstEnumValueSet(TComponent* owner = nullptr);
    ~TOstEnumValueSet() override;

    QString GetDataSourceName() const { return m_dataSource; }
    void SetDataSourceName(const QString& name) { m_dataSource = name; }
    QString GetEnumField() const { return m_enumField; }
    void SetEnumField(const QString& name) { m_enumField = name; }

    TDataSource* GetDataSource() const;
    TDataSet* DataSet() const;
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
    TField* Field() const;
    QString m_dataSource, m_enumField;
};

class TOstBlobProvider : public TComponent {
    Q_OBJECT
    Q_CLASSINFO("reference:DataSource", "TDataSource")
    Q_PROPERTY(QString DataSource READ GetDataSourceName WRITE SetDataSourceName)
    Q_PROPERTY(QString FieldName READ GetFieldName WRITE SetFieldName)

public:
    explicit TOstBlobProvider(TComponent* owner = nullptr);
    ~TOstBlobProvider() override;

    QString GetDataSourceName() const { return m_dataSource; }
    void SetDataSourceName(const QString& name) { m_dataSource = name; }
    QString GetFieldName() const { return m_fieldName; }
    void SetFieldName(const QString& name) { m_fieldName = name; }

    TDataSource* GetDataSource() const;
    TDataSet* DataSet() const;
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
    QString m_dataSource, m_fieldName;
};
