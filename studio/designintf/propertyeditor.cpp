#include "studio/designintf/propertyeditor.h"

#include "engine/base/sysutils.h"
#include "engine/base/tdataset.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/dsdesign.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLocale>
#include <QMetaEnum>
#include <QPlainTextEdit>
#include <QVBoxLayout>
#include <limits>

#include "engine/base/tdatamodule.h"

namespace {


} // namespace

TPropertyEditor::TPropertyEditor(IDesigner* designer, const QList<TComponent*>& components, const QMetaProperty& prop)
    : m_designer(designer), m_components(components), m_prop(prop) {}

TPropertyEditor::~TPropertyEditor() = default;

TPropertyAttributes TPropertyEditor::GetAttributes() const {
    TPropertyAttributes a = paRevertable;
    if (qstrcmp(m_prop.name(), "Name") != 0) a |= paMultiSelect;
    if (!m_prop.isWritable()) a |= paReadOnly;
    if (!m_components.isEmpty() && m_components[0] && IsPasswordProperty(m_components[0]->metaObject(), m_prop.name()))
        a |= paPassword;
    return a;
}

void TPropertyEditor::GetValues(QStringList& values) const { values.clear(); }

QVariant TPropertyEditor::GetVariantValue(int index) const {
    TComponent* c = GetComponent(index);
    return c ? m_prop.read(c) : QVariant();
}

bool TPropertyEditor::AllEqual() const {
    for (int i = 1; i < m_components.size(); ++i)
        if (GetVariantValue(i) != GetVariantValue(0)) return false;
    return true;
}

QString TPropertyEditor::GetValue() const { return AllEqual() ? ValueToText(GetVariantValue()) : QString(); }

void TPropertyEditor::SetValue(const QString& value) { SetVariantValue(TextToValue(value)); }

void TPropertyEditor::InvalidValue(const QString& why) const {
    throw EComponentError(QStringLiteral("Invalid value for %1: %2").arg(GetName(), why));
}

QString TPropertyEditor::ValueToText(const QVariant& value) const {
    if (m_prop.isEnumType()) {
        const QMetaEnum e = m_prop.enumerator();
        const int v = value.toInt();
        if (e.isFlag()) return QString::fromLatin1(e.valueToKeys(v));
        const char* key = e.valueToKey(v);
        return key ? QString::fromLatin1(key) : QString::number(v);
    }
    switch (m_prop.metaType().id()) {
    case QMetaType::Bool: return value.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    case QMetaType::Double:
    case QMetaType::Float: return QLocale::c().toString(value.toDouble(), 'g', 15);
    case QMetaType::QStringList: return value.toStringList().join(u'\n');
    default: return value.toString();
    }
}

QVariant TPropertyEditor::TextToValue(const QString& text) const {
    const QString t = text.trimmed();
    if (m_prop.isEnumType()) {
        const QMetaEnum e = m_prop.enumerator();
        bool ok = false;
        const QByteArray key = t.toUtf8();
        int v = e.isFlag() ? e.keysToValue(key.constData(), &ok) : e.keyToValue(key.constData(), &ok);
        if (!ok) {
            v = t.toInt(&ok);
            if (!ok || (!e.isFlag() && !e.valueToKey(v)))
                InvalidValue(QStringLiteral("\"%1\" is not a value of %2").arg(text, e.name()));
        }
        return v;
    }
    const int type = m_prop.metaType().id();
    qint64 lo = 0, hi = 0;
    if (PropertyIntegerRange(type, lo, hi)) {
        bool ok = false;
        const qint64 v = t.toLongLong(&ok);
        if (!ok) InvalidValue(QStringLiteral("\"%1\" is not a whole number").arg(text));
        if (v < lo || v > hi) InvalidValue(QStringLiteral("%1 is out of range (%2 to %3)").arg(v).arg(lo).arg(hi));
        QVariant result(v);
        result.convert(m_prop.metaType());
        return result;
    }
    switch (type) {
    case QMetaType::Bool:
        if (t.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0) return true;
        if (t.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0) return false;
        InvalidValue(QStringLiteral("\"%1\" is neither True nor False").arg(text));
    case QMetaType::Double:
    case QMetaType::Float: {
        bool ok = false;
        const double d = QLocale::c().toDouble(t, &ok);
        if (!ok) InvalidValue(QStringLiteral("\"%1\" is not a number").arg(text));
        return type == QMetaType::Float ? QVariant(static_cast<float>(d)) : QVariant(d);
    }
    case QMetaType::QString: return text;
    case QMetaType::QStringList: return text.isEmpty() ? QStringList() : text.split(u'\n');
    default: {
        QVariant v(text);
        if (!v.convert(m_prop.metaType()))
            InvalidValue(QStringLiteral("\"%1\" cannot be read as %2").arg(text, m_prop.typeName()));
        return v;
    }
    }
}

void TPropertyEditor::SetVariantValue(const QVariant& value) {
    if (!m_designer) {
        for (TComponent* c : m_components) {
            bool written = false;
            try {
                written = m_prop.write(c, value);
            } catch (const Exception& e) {
                throw EComponentError(e.Message());
            }
            if (!written) InvalidValue(QStringLiteral("the value cannot be written"));
        }
        return;
    }
    const bool group = m_components.size() > 1;
    if (group) m_designer->BeginUndoGroup(QStringLiteral("Change %1").arg(GetName()));
    try {
        for (TComponent* c : m_components) m_designer->SetProperty(c, GetName(), value);
    } catch (...) {
        if (group) m_designer->EndUndoGroup();
        throw;
    }
    if (group) m_designer->EndUndoGroup();
}

TPropertyAttributes TBoolProperty::GetAttributes() const { return TPropertyEditor::GetAttributes() | paValueList; }

void TBoolProperty::GetValues(QStringList& values) const { values = {QStringLiteral("False"), QStringLiteral("True")}; }

TPropertyAttributes TEnumProperty::GetAttributes() const { return TPropertyEditor::GetAttributes() | paValueList; }

void TEnumProperty::GetValues(QStringList& values) const {
    values.clear();
    const QMetaEnum e = Property().enumerator();
    for (int i = 0; i < e.keyCount(); ++i) values.append(QString::fromLatin1(e.key(i)));
}

TPropertyAttributes TStringsProperty::GetAttributes() const {
    return TPropertyEditor::GetAttributes() | paDialog | paReadOnly;
}

QString TStringsProperty::GetValue() const { return QStringLiteral("(Strings)"); }

void TStringsProperty::Edit() {
    QDialog dialog;
    dialog.setWindowTitle(QStringLiteral("%1 - String List Editor").arg(GetName()));
    auto* text = new QPlainTextEdit(&dialog);
    text->setPlainText(GetVariantValue().toStringList().join(u'\n'));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(text);
    layout->addWidget(buttons);
    if (dialog.exec() == QDialog::Accepted) SetVariantValue(TextToValue(text->toPlainText()));
}

TPropertyAttributes TDBStringProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paValueList | paSortList;
}

void TDBStringProperty::GetValues(QStringList& values) const { values = DataSetColumnNames(GetDataSet()); }

TDataSet* TDBStringProperty::DataSetOfProperty(const char* propertyName) const {
    TComponent* c = GetComponent();
    if (!c) return nullptr;
    const QVariant v = c->property(propertyName);
    if (v.metaType().flags() & QMetaType::PointerToQObject)
        return qobject_cast<TDataSet*>(*static_cast<QObject* const*>(v.constData()));
    if (v.typeId() != QMetaType::QString) return nullptr;
    if (Designer()) return qobject_cast<TDataSet*>(Designer()->GetComponent(v.toString()));
    return c->Owner() ? qobject_cast<TDataSet*>(c->Owner()->FindComponent(v.toString())) : nullptr;
}

// ---------------------------------------------------------------- TComponentProperty

namespace {
bool HasClass(const QMetaObject* cls, const QString& className) {
    for (; cls; cls = cls->superClass())
        if (className == QLatin1String(cls->className())) return true;
    return false;
}

TComponent* ModuleRoot(const TPropertyEditor& e) {
    if (e.Designer()) return e.Designer()->Root();
    return e.GetComponent() ? e.GetComponent()->Owner() : nullptr;
}
} // namespace

QString TComponentProperty::ReferencedClass() const {
    return GetComponent() ? ReferencedClassName(GetComponent()->metaObject(), Property().name()) : QString();
}

TPropertyAttributes TComponentProperty::GetAttributes() const {
    return TStringProperty::GetAttributes() | paValueList | paSortList;
}

void TComponentProperty::GetValues(QStringList& values) const {
    const TComponent* root = ModuleRoot(*this);
    if (!root) return;
    const QString cls = ReferencedClass();
    for (const TComponent* c : root->Components())
        if (c != GetComponent() && !c->GetName().isEmpty() && HasClass(c->metaObject(), cls)) values.append(c->GetName());
}

void TComponentProperty::SetValue(const QString& value) {
    const QString name = value.trimmed();
    if (!name.isEmpty()) {
        const TComponent* root = ModuleRoot(*this);
        const TComponent* c = root ? root->FindComponent(name) : nullptr;
        if (!c) InvalidValue(QStringLiteral("There is no component named %1").arg(name));
        if (!HasClass(c->metaObject(), ReferencedClass()))
            InvalidValue(QStringLiteral("%1 is not a %2").arg(c->GetName(), ReferencedClass()));
        if (c == GetComponent()) InvalidValue(QStringLiteral("%1 cannot refer to itself").arg(name));
        TStringProperty::SetValue(c->GetName());
        return;
    }
    TStringProperty::SetValue(QString());
}
