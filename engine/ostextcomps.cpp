// Auxiliary components: enumeration value sets and blob providers.
#include "engine/ostextcomps.h"

#include "engine/ostdataset.h"
#include "engine/base/sysutils.h"
#include "engine/base/tdataset.h"

#include <QBuffer>

// ---------------------------------------------------------------- TOstDataSourceLink

TDataSource* TOstDataSourceLink::GetDataSource() const { return Referenced<TDataSource>(m_dataSource); }

TDataSet* TOstDataSourceLink::DataSet() const {
    const TDataSource* src = GetDataSource();
    return src ? src->DataSet() : nullptr;
}

QString TOstDataSourceLink::DisplayName() const {
    return GetName().isEmpty() ? QString::fromLatin1(metaObject()->className()) : GetName();
}

TField* TOstDataSourceLink::OpenField(const QString& fieldName) const {
    TDataSet* ds = DataSet();
    if (!ds) throw EDatabaseError(QStringLiteral("%1: no dataset").arg(DisplayName()));
    if (!ds->Active()) throw EDatabaseError(QStringLiteral("%1: dataset %2 is closed").arg(DisplayName(), ds->GetName()));
    return ds->FieldByName(fieldName);
}

// ---------------------------------------------------------------- TOstEnumValueSet

TOstEnumValueSet::TOstEnumValueSet(TComponent* owner) : TOstDataSourceLink(owner) {}
TOstEnumValueSet::~TOstEnumValueSet() = default;

QStringList TOstEnumValueSet::Values() const {
    auto* ds = qobject_cast<TOstDataSet*>(DataSet());
    const QString me = DisplayName();
    if (!ds) throw EDatabaseError(QStringLiteral("%1: no engine dataset").arg(me));
    if (auto* t = qobject_cast<TOstTable*>(ds); t && !t->Active() && t->GetFieldDefsOst().Count() == 0) t->ReadDefinitions();
    const int i = ds->GetFieldDefsOst().IndexOf(m_enumField);
    if (i < 0) throw EDatabaseError(QStringLiteral("%1: field '%2' not found").arg(me, m_enumField));
    const TOstFieldDef* d = ds->GetFieldDefsOst()[i];
    if (d->GetDataTypeOst() != dtEnum)
        throw EDatabaseError(QStringLiteral("%1: field '%2' is not an enumeration").arg(me, m_enumField));
    return d->EnumValues();
}

int TOstEnumValueSet::IndexOfValue(const QString& value) const { return Values().indexOf(value); }

QString TOstEnumValueSet::CurrentValue() const { return OpenField(m_enumField)->AsString(); }

void TOstEnumValueSet::SetCurrentValue(const QString& value) const {
    if (!Values().contains(value))
        throw EDatabaseError(QStringLiteral("'%1' is not a value of field '%2'").arg(value, m_enumField));
    OpenField(m_enumField)->SetAsString(value);
}

// ---------------------------------------------------------------- TOstBlobProvider

TOstBlobProvider::TOstBlobProvider(TComponent* owner) : TOstDataSourceLink(owner) {}
TOstBlobProvider::~TOstBlobProvider() = default;

QByteArray TOstBlobProvider::GetBlob() const {
    const TField* f = OpenField(m_fieldName);
    if (f->IsNull()) return QByteArray();
    const QVariant v = f->Value();
    return v.typeId() == QMetaType::QByteArray ? v.toByteArray() : v.toString().toUtf8();
}

std::unique_ptr<QIODevice> TOstBlobProvider::CreateStream() const {
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(GetBlob());
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

QString TOstBlobProvider::ContentType() const { return ContentTypeOf(GetBlob()); }

QString TOstBlobProvider::ContentTypeOf(const QByteArray& d) {
    if (d.isEmpty()) return QString();
    if (d.startsWith("\x89PNG\r\n\x1a\n")) return QStringLiteral("image/png");
    if (d.startsWith("\xff\xd8\xff")) return QStringLiteral("image/jpeg");
    if (d.startsWith("GIF87a") || d.startsWith("GIF89a")) return QStringLiteral("image/gif");
    if (d.startsWith("BM") && d.size() > 14) return QStringLiteral("image/bmp");
    if (d.startsWith("%PDF-")) return QStringLiteral("application/pdf");
    // Text: valid UTF-8 without control characters other than white space.
    const QByteArray head = d.left(4096);
    for (char ch : head) {
        const auto u = static_cast<unsigned char>(ch);
        if (u < 0x20 && ch != '\n' && ch != '\r' && ch != '\t') return QStringLiteral("application/octet-stream");
    }
    const QString text = QString::fromUtf8(head);
    if (text.contains(QChar::ReplacementCharacter) && head.size() < 4096) return QStringLiteral("application/octet-stream");
    return QStringLiteral("text/plain");
}
