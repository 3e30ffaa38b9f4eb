// TComponent: the root of every designable object. Owns the components created
// with it as owner, carries a name unique among its owner's components and the
// design position a host keeps for non-visual components.
//
// A component refers to another component of the same owner by a string
// property holding that component's name, declared with a class info entry
// "reference:<property>" naming the class the referenced component must have:
//
//   Q_CLASSINFO("reference:DataSource", "TDataSource")
//   Q_PROPERTY(QString DataSource READ GetDataSourceName WRITE SetDataSourceName)
//
// Hosts offer the names of the components of that class, rename the
// reference with the component it names and clear it when that goes.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVector>
#include <cstdint>

class TComponent : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString Name READ GetName WRITE SetName)
    Q_PROPERTY(qint32 DesignInfo READ GetDesignInfo WRITE SetDesignInfo DESIGNABLE false)
    Q_PROPERTY(qint32 Tag READ GetTag WRITE SetTag)

public:
    explicit TComponent(TComponent* owner = nullptr);
    ~TComponent() override;

    QString GetName() const { return m_name; }
    // Raises EComponentError when the owner already holds a component of that name
    // (compared without regard to case) or the name is not a valid identifier.
    virtual void SetName(const QString& name);

    TComponent* Owner() const { return m_owner; }
    const QVector<TComponent*>& Components() const { return m_components; }
    int ComponentCount() const { return m_components.size(); }
    TComponent* FindComponent(const QString& name) const;

    // Left in the low and top in the high 16 bits, as a form designer stores it.
    qint32 GetDesignInfo() const { return m_designInfo; }
    void SetDesignInfo(qint32 v) { m_designInfo = v; }
    int DesignLeft() const { return static_cast<int16_t>(m_designInfo & 0xFFFF); }
    int DesignTop() const { return static_cast<int16_t>((static_cast<uint32_t>(m_designInfo) >> 16) & 0xFFFF); }
    void SetDesignPos(int left, int top);

    qint32 GetTag() const { return m_tag; }
    void SetTag(qint32 v) { m_tag = v; }

    static bool IsValidIdent(const QString& name);

    // The component of this one's owner that a reference property names, if it
    // has class T; nullptr otherwise.
    template <class T> T* Referenced(const QString& name) const {
        return m_owner ? qobject_cast<T*>(m_owner->FindComponent(name)) : nullptr;
    }

protected:
    void InsertComponent(TComponent* c);
    void RemoveComponent(TComponent* c);

private:
    TComponent* m_owner = nullptr;
    QVector<TComponent*> m_components;
    QString m_name;
    qint32 m_designInfo = 0;
    qint32 m_tag = 0;
};

// The class name a reference property must name a component of ("TDataSource"),
// empty when the property is not a reference.
QString ReferencedClassName(const QMetaObject* cls, const char* propertyName);
// The reference properties of a class, in declaration order.
QStringList ReferenceProperties(const QMetaObject* cls);
