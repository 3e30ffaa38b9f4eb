// The class registry: component classes that streams may name. A data module
// file names each component's class; the loader looks the name up here and
// creates the component with the registered factory.
#pragma once

#include <QList>
#include <QMetaObject>
#include <QString>
#include <functional>

class TComponent;

// Creates a component of one class owned by owner (which may be null).
using TComponentFactory = std::function<TComponent*(TComponent* owner)>;

struct TClassRegistration {
    const QMetaObject* metaObject = nullptr;
    TComponentFactory factory;
    QString ClassName() const { return metaObject ? QString::fromLatin1(metaObject->className()) : QString(); }
};

// Registers (or re-registers, replacing the factory) a class derived from
// TComponent. Raises EComponentError for any other class or an empty factory.
void RegisterClass(const QMetaObject& cls, TComponentFactory factory);
void RegisterClasses(const QList<TClassRegistration>& classes);
// The registration of a class name (compared exactly), nullptr when unknown.
// The pointer stays valid for the life of the program.
const TClassRegistration* FindClass(const QString& className);
// Creates a component of a registered class; EComponentError when the class is unknown.
TComponent* CreateComponentOfClass(const QString& className, TComponent* owner);
// Registered classes in the order of their first registration.
QList<const QMetaObject*> RegisteredClasses();

// True when cls is base or derives from it (both non-null).
bool InheritsFrom(const QMetaObject* cls, const QMetaObject* base);
// Steps from cls up to base: 0 for the class itself, -1 when cls does not derive from base.
int InheritanceDistance(const QMetaObject* cls, const QMetaObject* base);

// Registration that a higher layer adds (the engine adds its components);
// RegisterStandardClasses runs each added registrar once. Safe to call any
// number of times; streams call it before they name a class, and register
// the base's own classes (data modules, data sources, fields) after it.
void AddClassRegistrar(std::function<void()> registrar);
void RegisterStandardClasses();

template <class T> TClassRegistration ComponentClass() {
    return TClassRegistration{&T::staticMetaObject, [](TComponent* owner) -> TComponent* { return new T(owner); }};
}

template <class T> void RegisterComponentClass() {
    RegisterClass(T::staticMetaObject, [](TComponent* owner) -> TComponent* { return new T(owner); });
}
