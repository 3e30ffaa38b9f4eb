// Data modules and their files. A data module is a root component owning
// non-visual components (databases, tables, queries and the persistent fields
// of its datasets). Its file is readable JSON:
//
//   {"format": "ostra-datamodule", "version": 1, "class": "TDataModule", "name": "DataModule1",
//    "properties": {...}, "components": [
//      {"class": "TOstTable", "name": "Table1", "left": 96, "top": 24, "properties": {...}},
//      {"class": "TField", "name": "Table1Name", "left": 0, "top": 0, "dataSet": "Table1",
//       "dataType": "String", "properties": {"FieldName": "Name", ...}}]}
//
// Every stored, designable, writable property goes into "properties" (Name and
// the design position are written beside it). Reading creates every component
// first, then sets properties component by component in the order the class
// declares them, and sets Connected and then Active last, so that a table opens
// only after its database and table name are in place.
#pragma once

#include "engine/base/tcomponent.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QMetaProperty>
#include <functional>

// The range of an integer property type (a QMetaType id); false for other types.
bool PropertyIntegerRange(int type, qint64& lo, qint64& hi);

class TDataModule : public TComponent {
    Q_OBJECT
public:
    explicit TDataModule(TComponent* owner = nullptr);
    ~TDataModule() override;
};

// Maps the name a component has in a stream to the name it gets (pasting
// renames components whose names are taken). References between the streamed
// components follow the mapping.
using TNameMapper = std::function<QString(const QString& name)>;

// Whether a property goes into streams: stored, designable, writable and not Name.
bool IsStreamedProperty(const QMetaProperty& prop);
// A property's value as JSON: text, number, bool, array of strings (QStringList),
// enumerator keys for enumerations. EComponentError for values JSON cannot hold.
QJsonValue PropertyToJson(const QObject& obj, const QMetaProperty& prop);
// Converts and writes a JSON value. EComponentError whose message says what is
// wrong (the wrong kind of value, or the setter's own error message).
void SetPropertyFromJson(QObject& obj, const QMetaProperty& prop, const QJsonValue& value);

// Password properties are those a class names in Q_CLASSINFO("PasswordProperty",
// "Name") entries. A stream leaves them out unless the component's
// StorePassword property is true: a module file and the clipboard never carry
// a password the user did not ask to keep. Undo steps keep them all.
enum class TStreamPasswords { AsStored, All };
bool IsPasswordProperty(const QMetaObject* mo, const char* propertyName);

// One component with its class, name, position and streamed properties; a field
// attached to a dataset of the same owner carries the dataset's name.
QJsonObject ComponentToJson(const TComponent& c, TStreamPasswords passwords = TStreamPasswords::AsStored);
QJsonArray ComponentsToJson(const QList<TComponent*>& components,
                            TStreamPasswords passwords = TStreamPasswords::AsStored);
// Creates the components of a stream owned by owner. All or nothing: on any
// error what was created is deleted again and EComponentError is raised with
// the source (a file name, "clipboard", ...) and what is wrong. A field's
// dataset may be one of the streamed components or a component of owner.
QList<TComponent*> ComponentsFromJson(const QJsonArray& components, TComponent* owner, const QString& source,
                                      const TNameMapper& rename = {});

QJsonObject DataModuleToJson(const TComponent& root);
// Loads a data module's name, properties and components into root (the
// components are added to those root has; the file's "class" is not checked,
// root's class is the caller's choice). root is unchanged on error.
void DataModuleFromJson(const QJsonObject& module, TComponent* root, const QString& source);
// The JSON text of streams: indented, keys in a fixed order, properties in
// the order their classes declare them.
QByteArray FormatStreamJson(const QJsonObject& obj);

// Writes atomically; EComponentError naming the file on failure.
void SaveDataModule(const TComponent& root, const QString& fileName);
// Reads a file written by SaveDataModule into root (see DataModuleFromJson).
void LoadDataModule(const QString& fileName, TComponent* root);
