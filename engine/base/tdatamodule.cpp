// Data modules and component streams: a module and its components to JSON and back.
#include "engine/base/tdatamodule.h"

#include "engine/base/sysutils.h"
#include "engine/base/tclassregistry.h"
#include "engine/base/tdataset.h"

#include <QFile>
#include <mutex>
#include <QJsonDocument>
#include <QMetaEnum>
#include <QSaveFile>
#include <algorithm>
#include <limits>

TDataModule::TDataModule(TComponent* owner) : TComponent(owner) {}
TDataModule::~TDataModule() = default;

namespace {

// Every class a stream may name: those of the layers above, then the base's own.
void RegisterStreamClasses() {
    RegisterStandardClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        RegisterClasses({ComponentClass<TDataModule>(), ComponentClass<TDataSource>(), ComponentClass<TField>()});
    });
}

} // namespace

namespace {

const QString kFormat = QStringLiteral("ostra-datamodule");
constexpr qint64 kVersion = 1;
constexpr qint64 kNotWhole = std::numeric_limits<qint64>::min();
// Set after every other property of every component, in this order.
const QStringList kDeferred{QStringLiteral("Connected"), QStringLiteral("Active")};
// Order of the keys of a component and of a module in the file.
const QStringList kKeyOrder{"format", "version", "class",    "name",       "left",
                            "top",    "dataSet", "dataType", "properties", "components"};

QString Prefixed(const QString& source, const QString& what) {
    return source.isEmpty() ? what : source + QStringLiteral(": ") + what;
}

QString DisplayName(const TComponent* c) {
    return c->GetName().isEmpty() ? QString::fromLatin1(c->metaObject()->className()) : c->GetName();
}


QVariant JsonToValue(const QMetaProperty& p, const QJsonValue& j) {
    if (p.isEnumType()) {
        const QMetaEnum e = p.enumerator();
        if (j.isDouble() && j.toInteger(kNotWhole) != kNotWhole) return static_cast<int>(j.toInteger());
        if (!j.isString()) throw EComponentError(QStringLiteral("expected a value name of %1").arg(e.name()));
        bool ok = false;
        const QByteArray key = j.toString().toUtf8();
        const int v = e.isFlag() ? e.keysToValue(key.constData(), &ok) : e.keyToValue(key.constData(), &ok);
        if (!ok) throw EComponentError(QStringLiteral("\"%1\" is not a value of %2").arg(j.toString(), e.name()));
        return v;
    }
    const int type = p.metaType().id();
    qint64 lo = 0, hi = 0;
    if (PropertyIntegerRange(type, lo, hi)) {
        const qint64 i = j.isDouble() ? j.toInteger(kNotWhole) : kNotWhole;
        if (i == kNotWhole) throw EComponentError(QStringLiteral("expected a whole number"));
        if (i < lo || i > hi) throw EComponentError(QStringLiteral("%1 is out of range (%2 to %3)").arg(i).arg(lo).arg(hi));
        QVariant v(i);
        v.convert(p.metaType());
        return v;
    }
    switch (type) {
    case QMetaType::Bool:
        if (!j.isBool()) throw EComponentError(QStringLiteral("expected true or false"));
        return j.toBool();
    case QMetaType::Double:
    case QMetaType::Float:
        if (!j.isDouble()) throw EComponentError(QStringLiteral("expected a number"));
        return type == QMetaType::Float ? QVariant(static_cast<float>(j.toDouble())) : QVariant(j.toDouble());
    case QMetaType::QString:
        if (!j.isString()) throw EComponentError(QStringLiteral("expected text"));
        return j.toString();
    case QMetaType::QStringList: {
        QStringList list;
        const QJsonArray a = j.toArray();
        for (const QJsonValue& e : a) list.append(e.toString());
        if (!j.isArray() || std::any_of(a.begin(), a.end(), [](const QJsonValue& e) { return !e.isString(); }))
            throw EComponentError(QStringLiteral("expected a list of texts"));
        return list;
    }
    default: {
        if (!j.isString()) throw EComponentError(QStringLiteral("expected text"));
        QVariant v(j.toString());
        if (!v.convert(p.metaType()))
            throw EComponentError(QStringLiteral("\"%1\" cannot be read as %2").arg(j.toString(), p.typeName()));
        return v;
    }
    }
}

TFieldType FieldTypeFromName(const QString& name, bool* ok) {
    for (int t = ftUnknown; t <= ftWideMemo; ++t)
        if (name.compare(QLatin1String(FieldTypeName(static_cast<TFieldType>(t))), Qt::CaseInsensitive) == 0) {
            *ok = true;
            return static_cast<TFieldType>(t);
        }
    *ok = false;
    return ftUnknown;
}

QJsonObject PropertiesToJson(const TComponent& c, TStreamPasswords passwords = TStreamPasswords::AsStored) {
    QJsonObject props;
    const QMetaObject* mo = c.metaObject();
    const bool keepPasswords = passwords == TStreamPasswords::All || c.property("StorePassword").toBool();
    for (int i = 0; i < mo->propertyCount(); ++i) {
        const QMetaProperty p = mo->property(i);
        if (!IsStreamedProperty(p)) continue;
        if (!keepPasswords && IsPasswordProperty(mo, p.name())) continue;
        props.insert(QString::fromLatin1(p.name()), PropertyToJson(c, p));
    }
    return props;
}

void SetStreamedProperty(TComponent* c, const QString& name, const QJsonValue& value, const QString& source) {
    const QMetaObject* mo = c->metaObject();
    const int index = mo->indexOfProperty(name.toLatin1().constData());
    QString problem = QStringLiteral("no such property");
    if (index >= 0 && IsStreamedProperty(mo->property(index))) {
        try {
            SetPropertyFromJson(*c, mo->property(index), value);
            return;
        } catch (const EComponentError& e) {
            problem = e.Message();
        }
    }
    throw EComponentError(
        Prefixed(source, QStringLiteral("property \"%1\" of \"%2\" failed: %3").arg(name, DisplayName(c), problem)));
}

// Sets the properties of one component in the order its class declares them;
// deferred properties wait for ApplyDeferred.
void ApplyProperties(TComponent* c, const QJsonObject& props, const QString& source) {
    QStringList keys = props.keys();
    const QMetaObject* mo = c->metaObject();
    // Unknown names (index -1) come first, so a bad file fails before anything is set.
    std::stable_sort(keys.begin(), keys.end(), [mo](const QString& a, const QString& b) {
        return mo->indexOfProperty(a.toLatin1().constData()) < mo->indexOfProperty(b.toLatin1().constData());
    });
    for (const QString& k : keys)
        if (!kDeferred.contains(k) || mo->indexOfProperty(k.toLatin1().constData()) < 0)
            SetStreamedProperty(c, k, props.value(k), source);
}

void ApplyDeferred(const QList<QPair<TComponent*, QJsonObject>>& items, const QString& source) {
    for (const QString& k : kDeferred)
        for (const auto& [c, props] : items)
            if (props.contains(k)) SetStreamedProperty(c, k, props.value(k), source);
}

void DeleteAll(const QList<TComponent*>& created) {
    for (auto it = created.crbegin(); it != created.crend(); ++it) delete *it;
}

QByteArray Scalar(const QJsonValue& v) {
    const QByteArray a = QJsonDocument(QJsonArray{v}).toJson(QJsonDocument::Compact);
    return a.mid(1, a.size() - 2);
}

void WriteValue(QByteArray& out, const QJsonValue& v, int indent, const QMetaObject* propertyOrder);

void WriteObject(QByteArray& out, const QJsonObject& obj, int indent, const QMetaObject* propertyOrder) {
    if (obj.isEmpty()) {
        out += "{}";
        return;
    }
    auto rank = [&](const QString& k) -> int {
        if (propertyOrder) {
            const int i = propertyOrder->indexOfProperty(k.toLatin1().constData());
            return i < 0 ? std::numeric_limits<int>::max() : i;
        }
        const int i = kKeyOrder.indexOf(k);
        return i < 0 ? kKeyOrder.size() : i;
    };
    QStringList keys = obj.keys();
    std::stable_sort(keys.begin(), keys.end(), [&](const QString& a, const QString& b) { return rank(a) < rank(b); });
    const QByteArray pad(2 * (indent + 1), ' ');
    out += "{\n";
    for (int i = 0; i < keys.size(); ++i) {
        const QMetaObject* inner = nullptr;
        if (!propertyOrder && keys[i] == u"properties")
            if (const TClassRegistration* r = FindClass(obj.value(QStringLiteral("class")).toString())) inner = r->metaObject;
        out += pad + Scalar(keys[i]) + ": ";
        WriteValue(out, obj.value(keys[i]), indent + 1, inner);
        out += i + 1 < keys.size() ? ",\n" : "\n";
    }
    out += QByteArray(2 * indent, ' ') + '}';
}

void WriteValue(QByteArray& out, const QJsonValue& v, int indent, const QMetaObject* propertyOrder) {
    if (v.isObject()) {
        WriteObject(out, v.toObject(), indent, propertyOrder);
    } else if (v.isArray()) {
        const QJsonArray a = v.toArray();
        const bool flat = std::none_of(a.begin(), a.end(), [](const QJsonValue& e) { return e.isObject() || e.isArray(); });
        if (flat) {
            QByteArrayList items;
            for (const QJsonValue& e : a) items.append(Scalar(e));
            out += '[' + items.join(", ") + ']';
            return;
        }
        out += "[\n";
        for (int i = 0; i < a.size(); ++i) {
            out += QByteArray(2 * (indent + 1), ' ');
            WriteValue(out, a.at(i), indent + 1, nullptr);
            out += i + 1 < a.size() ? ",\n" : "\n";
        }
        out += QByteArray(2 * indent, ' ') + ']';
    } else {
        out += Scalar(v);
    }
}

} // namespace

bool PropertyIntegerRange(int type, qint64& lo, qint64& hi) {
    switch (type) {
    case QMetaType::Int: lo = std::numeric_limits<qint32>::min(); hi = std::numeric_limits<qint32>::max(); return true;
    case QMetaType::UInt: lo = 0; hi = std::numeric_limits<quint32>::max(); return true;
    case QMetaType::Short: lo = std::numeric_limits<qint16>::min(); hi = std::numeric_limits<qint16>::max(); return true;
    case QMetaType::UShort: lo = 0; hi = std::numeric_limits<quint16>::max(); return true;
    case QMetaType::Char:
    case QMetaType::SChar: lo = std::numeric_limits<qint8>::min(); hi = std::numeric_limits<qint8>::max(); return true;
    case QMetaType::UChar: lo = 0; hi = std::numeric_limits<quint8>::max(); return true;
    case QMetaType::Long:
    case QMetaType::LongLong:
        lo = std::numeric_limits<qint64>::min() + 1; hi = std::numeric_limits<qint64>::max(); return true;
    case QMetaType::ULong:
    case QMetaType::ULongLong: lo = 0; hi = std::numeric_limits<qint64>::max(); return true;
    default: return false;
    }
}

bool IsStreamedProperty(const QMetaProperty& p) {
    return p.isStored() && p.isDesignable() && p.isWritable() && qstrcmp(p.name(), "Name") != 0 &&
           qstrcmp(p.name(), "objectName") != 0;
}

QJsonValue PropertyToJson(const QObject& obj, const QMetaProperty& p) {
    const QVariant v = p.read(&obj);
    if (p.isEnumType()) {
        const QMetaEnum e = p.enumerator();
        const int i = v.toInt();
        if (e.isFlag()) return QString::fromLatin1(e.valueToKeys(i));
        const char* key = e.valueToKey(i);
        return key ? QJsonValue(QString::fromLatin1(key)) : QJsonValue(i);
    }
    const int type = p.metaType().id();
    qint64 lo = 0, hi = 0;
    if (PropertyIntegerRange(type, lo, hi)) return QJsonValue(v.toLongLong());
    switch (type) {
    case QMetaType::Bool: return v.toBool();
    case QMetaType::Double:
    case QMetaType::Float: return v.toDouble();
    case QMetaType::QString: return v.toString();
    case QMetaType::QStringList: return QJsonArray::fromStringList(v.toStringList());
    default:
        if (v.canConvert<QString>()) return v.toString();
        throw EComponentError(QStringLiteral("Property \"%1\" of type %2 cannot be streamed").arg(p.name(), p.typeName()));
    }
}

void SetPropertyFromJson(QObject& obj, const QMetaProperty& prop, const QJsonValue& value) {
    const QVariant v = JsonToValue(prop, value);
    bool written = false;
    try {
        written = prop.write(&obj, v);
    } catch (const Exception& e) {
        throw EComponentError(e.Message());
    } catch (const std::exception& e) {
        throw EComponentError(QString::fromLocal8Bit(e.what()));
    }
    if (!written) throw EComponentError(QStringLiteral("the value cannot be written"));
}

bool IsPasswordProperty(const QMetaObject* mo, const char* propertyName) {
    if (!mo || !propertyName) return false;
    for (int i = 0; i < mo->classInfoCount(); ++i) {
        const QMetaClassInfo info = mo->classInfo(i);
        if (qstrcmp(info.name(), "PasswordProperty") == 0 && qstrcmp(info.value(), propertyName) == 0) return true;
    }
    return false;
}

QJsonObject ComponentToJson(const TComponent& c, TStreamPasswords passwords) {
    QJsonObject o;
    o.insert(QStringLiteral("class"), QString::fromLatin1(c.metaObject()->className()));
    o.insert(QStringLiteral("name"), c.GetName());
    o.insert(QStringLiteral("left"), c.DesignLeft());
    o.insert(QStringLiteral("top"), c.DesignTop());
    if (const auto* f = qobject_cast<const TField*>(&c)) {
        o.insert(QStringLiteral("dataType"), QString::fromLatin1(FieldTypeName(f->DataType())));
        const TDataSet* ds = f->DataSet();
        if (ds && ds->Owner() == c.Owner() && !ds->GetName().isEmpty()) o.insert(QStringLiteral("dataSet"), ds->GetName());
    }
    o.insert(QStringLiteral("properties"), PropertiesToJson(c, passwords));
    return o;
}

QJsonArray ComponentsToJson(const QList<TComponent*>& components, TStreamPasswords passwords) {
    QJsonArray a;
    for (const TComponent* c : components) a.append(ComponentToJson(*c, passwords));
    return a;
}

QList<TComponent*> ComponentsFromJson(const QJsonArray& components, TComponent* owner, const QString& source,
                                      const TNameMapper& rename) {
    RegisterStreamClasses();
    struct Item {
        QJsonObject json;
        const TClassRegistration* cls = nullptr;
        QString name;
        TComponent* c = nullptr;
    };
    QVector<Item> items;
    QHash<QString, QString> newNames; // lower-case stream name -> name given
    for (int i = 0; i < components.size(); ++i) {
        if (!components.at(i).isObject())
            throw EComponentError(Prefixed(source, QStringLiteral("component %1 is not an object").arg(i + 1)));
        Item it;
        it.json = components.at(i).toObject();
        const QString cls = it.json.value(QStringLiteral("class")).toString();
        it.cls = FindClass(cls);
        if (!it.cls) throw EComponentError(Prefixed(source, QStringLiteral("unknown class \"%1\"").arg(cls)));
        if (!it.json.value(QStringLiteral("properties")).isObject() && it.json.contains(QStringLiteral("properties")))
            throw EComponentError(Prefixed(source, QStringLiteral("the properties of component %1 are not an object").arg(i + 1)));
        const QString streamName = it.json.value(QStringLiteral("name")).toString();
        it.name = rename && !streamName.isEmpty() ? rename(streamName) : streamName;
        if (!streamName.isEmpty()) newNames.insert(streamName.toLower(), it.name);
        items.append(it);
    }

    // References between the streamed components follow their new names.
    if (rename)
        for (Item& it : items) {
            QJsonObject props = it.json.value(QStringLiteral("properties")).toObject();
            bool changed = false;
            for (const QString& prop : ReferenceProperties(it.cls->metaObject)) {
                const QString value = props.value(prop).toString();
                if (!value.isEmpty() && newNames.contains(value.toLower())) {
                    props.insert(prop, newNames.value(value.toLower()));
                    changed = true;
                }
            }
            if (changed) it.json.insert(QStringLiteral("properties"), props);
        }

    QList<TComponent*> created;
    auto findCreated = [&](const QString& name) -> TComponent* {
        for (TComponent* c : created)
            if (c->GetName().compare(name, Qt::CaseInsensitive) == 0) return c;
        return owner ? owner->FindComponent(name) : nullptr;
    };
    QList<TDataSet*> reopen; // open datasets of owner that got new persistent fields
    try {
        for (Item& it : items) {
            it.c = it.cls->factory(owner);
            created.append(it.c);
            if (!it.name.isEmpty()) it.c->SetName(it.name);
        }
        for (Item& it : items) {
            it.c->SetDesignPos(it.json.value(QStringLiteral("left")).toInt(), it.json.value(QStringLiteral("top")).toInt());
            if (auto* f = qobject_cast<TField*>(it.c)) {
                if (it.json.contains(QStringLiteral("dataType"))) {
                    bool ok = false;
                    const QString typeName = it.json.value(QStringLiteral("dataType")).toString();
                    f->SetDataType(FieldTypeFromName(typeName, &ok));
                    if (!ok)
                        throw EComponentError(Prefixed(
                            source, QStringLiteral("field \"%1\" has the unknown data type \"%2\"").arg(DisplayName(f), typeName)));
                }
                const QString dsName = it.json.value(QStringLiteral("dataSet")).toString();
                if (!dsName.isEmpty()) {
                    TComponent* target = findCreated(newNames.value(dsName.toLower(), dsName));
                    auto* ds = qobject_cast<TDataSet*>(target);
                    if (!ds)
                        throw EComponentError(Prefixed(source, QStringLiteral("dataset \"%1\" of field \"%2\" %3")
                                                                   .arg(dsName, DisplayName(f),
                                                                        target ? QStringLiteral("is not a dataset")
                                                                               : QStringLiteral("not found"))));
                    if (ds->Active() && !created.contains(ds) && !reopen.contains(ds)) reopen.append(ds);
                    f->SetDataSet(ds);
                }
            }
            ApplyProperties(it.c, it.json.value(QStringLiteral("properties")).toObject(), source);
        }
        QList<QPair<TComponent*, QJsonObject>> deferred;
        for (const Item& it : items) deferred.append({it.c, it.json.value(QStringLiteral("properties")).toObject()});
        ApplyDeferred(deferred, source);
        // An open dataset binds its persistent fields when it opens.
        for (TDataSet* ds : reopen) {
            ds->Close();
            ds->Open();
        }
    } catch (const EComponentError& e) {
        DeleteAll(created);
        throw EComponentError(e.Message().startsWith(source) ? e.Message() : Prefixed(source, e.Message()));
    } catch (const Exception& e) {
        DeleteAll(created);
        throw EComponentError(Prefixed(source, e.Message()));
    } catch (...) {
        DeleteAll(created);
        throw;
    }
    return created;
}

QJsonObject DataModuleToJson(const TComponent& root) {
    RegisterStreamClasses();
    QJsonObject m;
    m.insert(QStringLiteral("format"), kFormat);
    m.insert(QStringLiteral("version"), kVersion);
    m.insert(QStringLiteral("class"), QString::fromLatin1(root.metaObject()->className()));
    m.insert(QStringLiteral("name"), root.GetName());
    m.insert(QStringLiteral("properties"), PropertiesToJson(root));
    for (const TComponent* c : root.Components())
        if (!FindClass(QString::fromLatin1(c->metaObject()->className())))
            throw EComponentError(QStringLiteral("Component \"%1\" cannot be saved: class %2 is not registered")
                                      .arg(DisplayName(c), c->metaObject()->className()));
    m.insert(QStringLiteral("components"), ComponentsToJson(root.Components().toList()));
    return m;
}

void DataModuleFromJson(const QJsonObject& module, TComponent* root, const QString& source) {
    auto fail = [&](const QString& what) { throw EComponentError(Prefixed(source, what)); };
    if (module.value(QStringLiteral("format")).toString() != kFormat) fail(QStringLiteral("not a data module file"));
    const qint64 version = module.value(QStringLiteral("version")).toInteger(0);
    if (version < 1) fail(QStringLiteral("the format version is missing or not valid"));
    if (version > kVersion)
        fail(QStringLiteral("written in a newer format (version %1; this program reads version %2)").arg(version).arg(kVersion));
    const QString name = module.value(QStringLiteral("name")).toString();
    if (!name.isEmpty() && !TComponent::IsValidIdent(name)) fail(QStringLiteral("\"%1\" is not a valid module name").arg(name));
    const QJsonValue list = module.value(QStringLiteral("components"));
    if (!list.isUndefined() && !list.isArray()) fail(QStringLiteral("\"components\" is not a list"));
    const QJsonValue props = module.value(QStringLiteral("properties"));
    if (!props.isUndefined() && !props.isObject()) fail(QStringLiteral("\"properties\" is not an object"));

    const QList<TComponent*> created = ComponentsFromJson(list.toArray(), root, source);
    const QJsonObject before = PropertiesToJson(*root);
    const QString nameBefore = root->GetName();
    try {
        if (!name.isEmpty()) root->SetName(name);
        ApplyProperties(root, props.toObject(), source);
        ApplyDeferred({{root, props.toObject()}}, source);
    } catch (const EComponentError& e) {
        DeleteAll(created);
        try {
            root->SetName(nameBefore);
            ApplyProperties(root, before, QString());
        } catch (const EComponentError&) {
            // the root keeps what could not be put back; the first error is the one to report
        }
        throw EComponentError(e.Message().startsWith(source) ? e.Message() : Prefixed(source, e.Message()));
    }
}

QByteArray FormatStreamJson(const QJsonObject& obj) {
    QByteArray out;
    WriteObject(out, obj, 0, nullptr);
    out += '\n';
    return out;
}

void SaveDataModule(const TComponent& root, const QString& fileName) {
    const QByteArray text = FormatStreamJson(DataModuleToJson(root));
    QSaveFile f(fileName);
    if (!f.open(QIODevice::WriteOnly) || f.write(text) != text.size() || !f.commit())
        throw EComponentError(QStringLiteral("%1: cannot write the file: %2").arg(fileName, f.errorString()));
}

void LoadDataModule(const QString& fileName, TComponent* root) {
    QFile f(fileName);
    if (!f.open(QIODevice::ReadOnly))
        throw EComponentError(QStringLiteral("%1: cannot read the file: %2").arg(fileName, f.errorString()));
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(f.readAll(), &err);
    if (err.error != QJsonParseError::NoError)
        throw EComponentError(QStringLiteral("%1: not valid JSON: %2 at offset %3").arg(fileName, err.errorString()).arg(err.offset));
    if (!doc.isObject()) throw EComponentError(QStringLiteral("%1: not a data module file").arg(fileName));
    DataModuleFromJson(doc.object(), root, fileName);
}
