#include "studio/designintf/designintf.h"

#include "engine/base/sysutils.h"
#include "engine/ostengine.h"
#include "engine/base/tdataset.h"
#include "studio/designintf/componenteditor.h"
#include "studio/designintf/dsdesign.h"
#include "studio/designintf/propertyeditor.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QPixmap>

ISplashScreenServices* SplashScreenServices = nullptr;

namespace {

struct ComponentEditorEntry {
    const QMetaObject* cls;
    TComponentEditorFactory factory;
};

struct PropertyEditorEntry {
    int type;
    const QMetaObject* cls;
    QString name;
    TPropertyEditorFactory factory;
};

struct Registrations {
    QStringList pages;
    QHash<QString, QList<const QMetaObject*>> palette;
    QList<ComponentEditorEntry> componentEditors;
    QList<PropertyEditorEntry> propertyEditors;
    QHash<int, QString> fieldClasses;
    QStringList log;
};

Registrations& Reg() {
    static Registrations r;
    return r;
}

QString ClassName(const QMetaObject* cls) { return cls ? QString::fromLatin1(cls->className()) : QStringLiteral("*"); }

QString TypeName(int type) {
    if (type == ptEnumeration) return QStringLiteral("enumeration");
    const char* name = QMetaType(type).name();
    return name ? QString::fromLatin1(name) : QString::number(type);
}

void CheckComponentClass(const QMetaObject* cls) {
    if (!InheritsFrom(cls, &TComponent::staticMetaObject))
        throw EComponentError(QStringLiteral("%1 is not a component class").arg(ClassName(cls)));
}

// How far up the class chain of every component cls is; -1 when it is not an ancestor of all.
int SelectionDistance(const QList<TComponent*>& components, const QMetaObject* cls) {
    int worst = 0;
    for (const TComponent* c : components) {
        const int d = InheritanceDistance(c->metaObject(), cls);
        if (d < 0) return -1;
        worst = std::max(worst, d);
    }
    return worst;
}

std::unique_ptr<TPropertyEditor> DefaultPropertyEditor(IDesigner* d, const QList<TComponent*>& cs, const QMetaProperty& p) {
    if (p.metaType().id() == QMetaType::QString && !ReferencedClassName(cs[0]->metaObject(), p.name()).isEmpty())
        return std::make_unique<TComponentProperty>(d, cs, p);
    if (p.isEnumType()) return std::make_unique<TEnumProperty>(d, cs, p);
    switch (p.metaType().id()) {
    case QMetaType::Bool: return std::make_unique<TBoolProperty>(d, cs, p);
    case QMetaType::Int: case QMetaType::UInt: case QMetaType::Short: case QMetaType::UShort: case QMetaType::Char:
    case QMetaType::SChar: case QMetaType::UChar: case QMetaType::Long: case QMetaType::ULong:
    case QMetaType::LongLong: case QMetaType::ULongLong: return std::make_unique<TIntegerProperty>(d, cs, p);
    case QMetaType::Double: case QMetaType::Float: return std::make_unique<TFloatProperty>(d, cs, p);
    case QMetaType::QString: return std::make_unique<TStringProperty>(d, cs, p);
    case QMetaType::QStringList: return std::make_unique<TStringsProperty>(d, cs, p);
    default: return std::make_unique<TPropertyEditor>(d, cs, p);
    }
}

} // namespace

void RegisterComponents(const QString& page, const QList<const QMetaObject*>& classes) {
    RegisterEngineClasses();
    if (page.trimmed().isEmpty()) throw EComponentError(QStringLiteral("Components need a palette page"));
    Registrations& r = Reg();
    for (const QMetaObject* cls : classes) {
        const TClassRegistration* known = cls ? FindClass(ClassName(cls)) : nullptr;
        if (!known || known->metaObject != cls)
            throw EComponentError(QStringLiteral("%1 cannot go on the palette: its class is not registered").arg(ClassName(cls)));
        if (!r.pages.contains(page)) r.pages.append(page);
        QList<const QMetaObject*>& list = r.palette[page];
        if (!list.contains(cls)) list.append(cls);
        r.log.append(QStringLiteral("component %1/%2").arg(page, ClassName(cls)));
    }
}

void RegisterClassList(const QList<TClassRegistration>& classes) {
    RegisterClasses(classes);
    for (const TClassRegistration& c : classes) Reg().log.append(QStringLiteral("class ") + c.ClassName());
}

void RegisterComponentEditor(const QMetaObject* componentClass, TComponentEditorFactory factory) {
    CheckComponentClass(componentClass);
    if (!factory) throw EComponentError(QStringLiteral("A component editor for %1 without a factory").arg(ClassName(componentClass)));
    Reg().componentEditors.append({componentClass, std::move(factory)});
    Reg().log.append(QStringLiteral("component editor ") + ClassName(componentClass));
}

void RegisterPropertyEditor(int propertyType, const QMetaObject* componentClass, const QString& propertyName,
                            TPropertyEditorFactory factory) {
    if (componentClass) CheckComponentClass(componentClass);
    Reg().propertyEditors.append({propertyType, componentClass, propertyName, std::move(factory)});
    Reg().log.append(QStringLiteral("property editor %1 %2.%3")
                         .arg(TypeName(propertyType), ClassName(componentClass),
                              propertyName.isEmpty() ? QStringLiteral("*") : propertyName));
}

void RegisterFieldClass(TFieldType type, const QString& className) {
    RegisterEngineClasses();
    const TClassRegistration* c = FindClass(className);
    if (!c || !InheritsFrom(c->metaObject, &TField::staticMetaObject))
        throw EComponentError(QStringLiteral("%1 is not a registered field class").arg(className));
    Reg().fieldClasses.insert(type, className);
    Reg().log.append(QStringLiteral("field class %1 %2").arg(QLatin1String(FieldTypeName(type)), className));
}

QString FieldClassName(TFieldType type, const TDataSet* dataSet) {
    if (Reg().fieldClasses.contains(type)) return Reg().fieldClasses.value(type);
    if (const QMetaObject* cls = dataSet ? dataSet->GetFieldClass(type) : nullptr) return QString::fromLatin1(cls->className());
    return QStringLiteral("TField");
}

QStringList PalettePages() { return Reg().pages; }
QList<const QMetaObject*> PaletteClasses(const QString& page) { return Reg().palette.value(page); }
QStringList RegistrationLog() { return Reg().log; }
void ClearRegistrations() { Reg() = Registrations(); }

std::unique_ptr<TComponentEditor> GetComponentEditor(TComponent* component, IDesigner* designer) {
    if (!component) return nullptr;
    const ComponentEditorEntry* best = nullptr;
    int bestDistance = -1;
    for (const ComponentEditorEntry& e : Reg().componentEditors) {
        const int d = InheritanceDistance(component->metaObject(), e.cls);
        if (d >= 0 && (!best || d <= bestDistance)) {
            best = &e;
            bestDistance = d;
        }
    }
    if (best) return best->factory(component, designer);
    if (qobject_cast<TDataSet*>(component)) return std::make_unique<TDataSetEditor>(component, designer);
    return std::make_unique<TDefaultEditor>(component, designer);
}

std::unique_ptr<TPropertyEditor> GetPropertyEditor(IDesigner* designer, const QList<TComponent*>& components,
                                                   const QString& propertyName) {
    if (components.isEmpty() || !components[0]) return nullptr;
    const QByteArray name = propertyName.toLatin1();
    const QMetaProperty p = components[0]->metaObject()->property(components[0]->metaObject()->indexOfProperty(name.constData()));
    if (!p.isValid()) return nullptr;
    for (const TComponent* c : components) {
        const int i = c ? c->metaObject()->indexOfProperty(name.constData()) : -1;
        if (i < 0 || c->metaObject()->property(i).metaType() != p.metaType()) return nullptr;
    }
    const int type = p.metaType().id();
    // Ranks compare as tuples: named, class nearness, exact type; ties go to the later registration.
    struct Rank {
        int named, nearness, exactType;
        bool operator<=(const Rank& o) const {
            return std::tie(named, nearness, exactType) <= std::tie(o.named, o.nearness, o.exactType);
        }
    };
    const PropertyEditorEntry* best = nullptr;
    Rank bestRank{};
    for (const PropertyEditorEntry& e : Reg().propertyEditors) {
        const bool exactType = e.type == type;
        if (!exactType && !(e.type == ptEnumeration && p.isEnumType())) continue;
        if (!e.name.isEmpty() && e.name != propertyName) continue;
        const int distance = e.cls ? SelectionDistance(components, e.cls) : std::numeric_limits<int>::max() - 1;
        if (distance < 0) continue;
        const Rank rank{e.name.isEmpty() ? 0 : 1, -distance, exactType ? 1 : 0};
        if (!best || bestRank <= rank) {
            best = &e;
            bestRank = rank;
        }
    }
    if (!best) return DefaultPropertyEditor(designer, components, p);
    return best->factory ? best->factory(designer, components, p) : nullptr;
}

std::vector<std::unique_ptr<TPropertyEditor>> GetComponentProperties(IDesigner* designer,
                                                                     const QList<TComponent*>& components) {
    std::vector<std::unique_ptr<TPropertyEditor>> editors;
    if (components.isEmpty() || !components[0]) return editors;
    const QMetaObject* mo = components[0]->metaObject();
    for (int i = 0; i < mo->propertyCount(); ++i) {
        const QMetaProperty p = mo->property(i);
        if (!p.isDesignable() || qstrcmp(p.name(), "objectName") == 0) continue;
        std::unique_ptr<TPropertyEditor> e = GetPropertyEditor(designer, components, QString::fromLatin1(p.name()));
        if (!e || (components.size() > 1 && !(e->GetAttributes() & paMultiSelect))) continue;
        editors.push_back(std::move(e));
    }
    return editors;
}

QIcon ComponentIcon(const QMetaObject* cls) {
    static QHash<const QMetaObject*, QIcon> cache;
    if (!cls) return QIcon();
    if (auto it = cache.constFind(cls); it != cache.constEnd()) return *it;
    for (const QMetaObject* c = cls; c; c = c->superClass()) {
        const QString base = QStringLiteral(":/palette/") + QString::fromLatin1(c->className());
        for (const char* ext : {".svg", ".png"})
            if (QFile::exists(base + QLatin1String(ext))) return cache[cls] = QIcon(base + QLatin1String(ext));
        if (c == &TComponent::staticMetaObject) break;
    }
    // The capitals of the class name without its leading T: "OT" for TOstTable.
    QString name = QString::fromLatin1(cls->className());
    if (name.startsWith(u'T') && name.size() > 1 && name.at(1).isUpper()) name.remove(0, 1);
    QString initials;
    for (QChar ch : name)
        if (ch.isUpper() && initials.size() < 3) initials += ch;
    if (initials.isEmpty()) initials = name.left(2);
    QPixmap pm(48, 48);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(0x55, 0x5d, 0x6b), 2));
    p.setBrush(QColor(0xf2, 0xf4, 0xf7));
    p.drawRoundedRect(QRectF(3, 3, 42, 42), 6, 6);
    QFont f = p.font();
    f.setPixelSize(initials.size() > 2 ? 14 : 18);
    f.setBold(true);
    p.setFont(f);
    p.drawText(QRect(3, 3, 42, 42), Qt::AlignCenter, initials);
    p.end();
    return cache[cls] = QIcon(pm);
}
