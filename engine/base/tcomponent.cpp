// TComponent: ownership, names and notification of components.
#include "engine/base/tcomponent.h"

#include "engine/base/sysutils.h"

#include <QMetaClassInfo>
#include <QStringList>

TComponent::TComponent(TComponent* owner) : QObject(nullptr), m_owner(owner) {
    if (m_owner) m_owner->InsertComponent(this);
}

TComponent::~TComponent() {
    // Owned components go first, newest first, as an owner frees them.
    while (!m_components.isEmpty()) {
        TComponent* c = m_components.takeLast();
        c->m_owner = nullptr;
        delete c;
    }
    if (m_owner) m_owner->RemoveComponent(this);
}

bool TComponent::IsValidIdent(const QString& name) {
    if (name.isEmpty()) return false;
    const QChar first = name.at(0);
    if (!(first.isLetter() || first == u'_')) return false;
    for (QChar ch : name)
        if (!(ch.isLetterOrNumber() || ch == u'_')) return false;
    return true;
}

void TComponent::SetName(const QString& name) {
    if (name == m_name) return;
    if (!name.isEmpty() && !IsValidIdent(name))
        throw EComponentError(QStringLiteral("\"%1\" is not a valid component name").arg(name));
    if (m_owner && !name.isEmpty()) {
        TComponent* other = m_owner->FindComponent(name);
        if (other && other != this)
            throw EComponentError(QStringLiteral("A component named %1 already exists").arg(name));
    }
    m_name = name;
    setObjectName(name);
}

TComponent* TComponent::FindComponent(const QString& name) const {
    if (name.isEmpty()) return nullptr;
    for (TComponent* c : m_components)
        if (c->m_name.compare(name, Qt::CaseInsensitive) == 0) return c;
    return nullptr;
}

void TComponent::SetDesignPos(int left, int top) {
    m_designInfo = static_cast<qint32>((static_cast<uint32_t>(static_cast<uint16_t>(top)) << 16) |
                                       static_cast<uint16_t>(left));
}

void TComponent::InsertComponent(TComponent* c) { m_components.append(c); }

void TComponent::RemoveComponent(TComponent* c) { m_components.removeOne(c); }

namespace {
const char kReferencePrefix[] = "reference:";
}

QString ReferencedClassName(const QMetaObject* cls, const char* propertyName) {
    if (!cls || !propertyName) return QString();
    const QByteArray key = QByteArray(kReferencePrefix) + propertyName;
    const int i = cls->indexOfClassInfo(key.constData());
    return i < 0 ? QString() : QString::fromLatin1(cls->classInfo(i).value());
}

QStringList ReferenceProperties(const QMetaObject* cls) {
    QStringList names;
    if (!cls) return names;
    for (int i = 0; i < cls->propertyCount(); ++i) {
        const char* name = cls->property(i).name();
        if (!ReferencedClassName(cls, name).isEmpty()) names.append(QString::fromLatin1(name));
    }
    return names;
}
