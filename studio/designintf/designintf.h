// The design interface: what a package registers with the Studio (palette
// pages, classes for streaming, component editors, property editors, field
// classes) and how the Studio finds the editor for a component or property.
//
// A package's registration function looks like this:
//
//   RegisterComponents<TOstDatabase, TOstTable, TOstQuery>(QStringLiteral("Data Access"));
//   RegisterComponentEditor(&TOstTable::staticMetaObject, ComponentEditorOf<TOstTableEditor>());
//   RegisterPropertyEditor(QMetaType::QString, &TOstDataSet::staticMetaObject, QStringLiteral("DatabaseName"),
//                          PropertyEditorOf<TDatabaseNameProperty>());
#pragma once

#include "engine/base/dbtypes.h"
#include "engine/base/tclassregistry.h"

#include <QIcon>
#include <QList>
#include <QMetaProperty>
#include <QPixmap>
#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

class IDesigner;
class TComponent;
class TDataSet;
class TComponentEditor;
class TPropertyEditor;

// Property types editors are registered for: a QMetaType id, or one of these.
constexpr int ptStrings = QMetaType::QStringList; // string lists
constexpr int ptEnumeration = -2;                 // any enumeration (Q_ENUM) property

using TComponentEditorFactory = std::function<std::unique_ptr<TComponentEditor>(TComponent*, IDesigner*)>;
using TPropertyEditorFactory =
    std::function<std::unique_ptr<TPropertyEditor>(IDesigner*, const QList<TComponent*>&, const QMetaProperty&)>;

template <class E> TComponentEditorFactory ComponentEditorOf() {
    return [](TComponent* c, IDesigner* d) -> std::unique_ptr<TComponentEditor> { return std::make_unique<E>(c, d); };
}
template <class E> TPropertyEditorFactory PropertyEditorOf() {
    return [](IDesigner* d, const QList<TComponent*>& c, const QMetaProperty& p) -> std::unique_ptr<TPropertyEditor> {
        return std::make_unique<E>(d, c, p);
    };
}

// ---- registration

// Puts classes on a palette page (pages and the classes of a page keep the
// order they were registered in). The classes must be registered for
// streaming already; EComponentError otherwise.
void RegisterComponents(const QString& page, const QList<const QMetaObject*>& classes);
// Registers classes with the engine's class registry and notes them in the log.
void RegisterClassList(const QList<TClassRegistration>& classes);
template <class... T> void RegisterClasses() { RegisterClassList({ComponentClass<T>()...}); }
template <class... T> void RegisterComponents(const QString& page) {
    RegisterClasses<T...>();
    RegisterComponents(page, {&T::staticMetaObject...});
}
// The editor for components of componentClass and its descendants; the
// registration for the nearest class of a component wins, the later of two
// for the same class.
void RegisterComponentEditor(const QMetaObject* componentClass, TComponentEditorFactory factory);
// The editor for properties of propertyType, of componentClass and its
// descendants (null: any class), named propertyName (empty: any name). The
// most specific registration wins: a named one beats one for any name, then
// the nearer class (any class comes last), then an exact type beats
// ptEnumeration, then the later registration. An empty factory hides the
// properties it matches.
void RegisterPropertyEditor(int propertyType, const QMetaObject* componentClass, const QString& propertyName,
                            TPropertyEditorFactory factory);
// The class (registered for streaming, derived from TField) of the persistent
// fields the fields editor creates for columns of a type, in place of the
// class the dataset itself uses for them.
void RegisterFieldClass(TFieldType type, const QString& className);
// The registered field class of a type, else the dataset's (GetFieldClass),
// else TField.
QString FieldClassName(TFieldType type, const TDataSet* dataSet = nullptr);

QStringList PalettePages();
QList<const QMetaObject*> PaletteClasses(const QString& page);
// What was registered, in order: "component Page/TClass", "class TClass",
// "component editor TClass", "property editor Type TClass.Property" (* for
// any class or name), "field class Type TClass".
QStringList RegistrationLog();
// Forgets the palette, the editors, the field classes and the log (the
// engine's class registry stays).
void ClearRegistrations();

// ---- lookup

// The registered editor, else TDataSetEditor for datasets and TDefaultEditor for the rest.
std::unique_ptr<TComponentEditor> GetComponentEditor(TComponent* component, IDesigner* designer);
// The editor of a property the selected components share; nullptr when they
// do not all have it or a registration hides it. Without a registration:
// TEnumProperty, TBoolProperty, TIntegerProperty, TFloatProperty,
// TStringProperty, TStringsProperty by type, TPropertyEditor for the rest.
std::unique_ptr<TPropertyEditor> GetPropertyEditor(IDesigner* designer, const QList<TComponent*>& components,
                                                   const QString& propertyName);
// Editors of the designable properties the selected components share, in the
// order the first component's class declares them; with several components
// only those whose editors allow paMultiSelect.
std::vector<std::unique_ptr<TPropertyEditor>> GetComponentProperties(IDesigner* designer,
                                                                     const QList<TComponent*>& components);

// The icon of a class on the palette and the module canvas: the resource
// ":/palette/<ClassName>.svg" (or ".png") that the package registering the
// class carries, else that of its nearest ancestor with one, else a plain
// box with the class's initials.
QIcon ComponentIcon(const QMetaObject* cls);

// ---- splash screen

class ISplashScreenServices {
public:
    virtual ~ISplashScreenServices() = default;
    virtual void StatusMessage(const QString& message) = 0;
    virtual void AddPluginBitmap(const QString& caption, const QPixmap& bitmap, bool unlicensed = false,
                                 const QString& status = QString(), const QString& edition = QString()) = 0;
};

// Set by the Studio while its splash screen shows; null otherwise.
extern ISplashScreenServices* SplashScreenServices;
