// The class registry (see tclassregistry.h).
#include "engine/base/tclassregistry.h"

#include "engine/base/sysutils.h"
#include "engine/base/tcomponent.h"

#include <mutex>

#include <map>

namespace {

struct Registry {
    // std::map keeps entries in place, so FindClass can hand out pointers.
    std::map<QString, TClassRegistration> byName;
    QList<const QMetaObject*> order;
};

Registry& TheRegistry() {
    static Registry r;
    return r;
}

} // namespace

bool InheritsFrom(const QMetaObject* cls, const QMetaObject* base) { return InheritanceDistance(cls, base) >= 0; }

int InheritanceDistance(const QMetaObject* cls, const QMetaObject* base) {
    if (!base) return -1;
    int distance = 0;
    for (const QMetaObject* m = cls; m; m = m->superClass(), ++distance)
        if (m == base) return distance;
    return -1;
}

void RegisterClass(const QMetaObject& cls, TComponentFactory factory) {
    const QString name = QString::fromLatin1(cls.className());
    if (!InheritsFrom(&cls, &TComponent::staticMetaObject))
        throw EComponentError(QStringLiteral("Class %1 cannot be registered: it does not derive from TComponent").arg(name));
    if (!factory) throw EComponentError(QStringLiteral("Class %1 cannot be registered without a factory").arg(name));
    Registry& r = TheRegistry();
    auto it = r.byName.find(name);
    if (it == r.byName.end()) {
        r.byName.emplace(name, TClassRegistration{&cls, std::move(factory)});
        r.order.append(&cls);
    } else {
        if (it->second.metaObject != &cls) r.order.replace(r.order.indexOf(it->second.metaObject), &cls);
        it->second = TClassRegistration{&cls, std::move(factory)};
    }
}

void RegisterClasses(const QList<TClassRegistration>& classes) {
    for (const TClassRegistration& c : classes) {
        if (!c.metaObject) throw EComponentError(QStringLiteral("A class registration without a class"));
        RegisterClass(*c.metaObject, c.factory);
    }
}

const TClassRegistration* FindClass(const QString& className) {
    const Registry& r = TheRegistry();
    auto it = r.byName.find(className);
    return it == r.byName.end() ? nullptr : &it->second;
}

TComponent* CreateComponentOfClass(const QString& className, TComponent* owner) {
    const TClassRegistration* c = FindClass(className);
    if (!c) throw EComponentError(QStringLiteral("Class \"%1\" not found").arg(className));
    return c->factory(owner);
}

QList<const QMetaObject*> RegisteredClasses() { return TheRegistry().order; }

namespace {

struct Registrars {
    std::recursive_mutex mutex;
    QList<std::function<void()>> pending;
};

Registrars& TheRegistrars() {
    static Registrars r;
    return r;
}

} // namespace

void AddClassRegistrar(std::function<void()> registrar) {
    std::lock_guard<std::recursive_mutex> lock(TheRegistrars().mutex);
    TheRegistrars().pending.append(std::move(registrar));
}

void RegisterStandardClasses() {
    std::lock_guard<std::recursive_mutex> lock(TheRegistrars().mutex);
    while (!TheRegistrars().pending.isEmpty()) TheRegistrars().pending.takeFirst()();
}
