// Property editors: how the property inspector shows and changes one property
// of the selected components. Values travel as text; the editor converts to
// and from the property's type and sets values through the designer, so every
// change is undoable.
#pragma once

#include <QFlags>
#include <QList>
#include <QMetaProperty>
#include <QStringList>
#include <QVariant>

class IDesigner;
class TComponent;
class TDataSet;

enum TPropertyAttribute {
    paValueList = 0x01,     // GetValues offers the values
    paSubProperties = 0x02, // has properties of its own
    paDialog = 0x04,        // Edit opens a dialog ("..." button)
    paMultiSelect = 0x08,   // shown when several components are selected
    paAutoUpdate = 0x10,    // set on every keystroke
    paSortList = 0x20,      // the inspector sorts the values
    paReadOnly = 0x40,      // the text cannot be typed
    paRevertable = 0x80,    // may be reverted to the inherited value
    paPassword = 0x100,     // a secret (see IsPasswordProperty): shown masked
};
Q_DECLARE_FLAGS(TPropertyAttributes, TPropertyAttribute)
Q_DECLARE_OPERATORS_FOR_FLAGS(TPropertyAttributes)

class TPropertyEditor {
public:
    // components: the selection (at least one); prop: the property of the first.
    TPropertyEditor(IDesigner* designer, const QList<TComponent*>& components, const QMetaProperty& prop);
    virtual ~TPropertyEditor();
    TPropertyEditor(const TPropertyEditor&) = delete;
    TPropertyEditor& operator=(const TPropertyEditor&) = delete;

    virtual TPropertyAttributes GetAttributes() const;
    virtual void GetValues(QStringList& values) const;
    // The value of the first component as text; empty when the selected
    // components do not all have the same value.
    virtual QString GetValue() const;
    // Converts and sets the value on every selected component (one undo step).
    // EComponentError with a readable message when the text does not convert
    // or the component refuses the value.
    virtual void SetValue(const QString& value);
    // Opens the editor's dialog (paDialog).
    virtual void Edit() {}

    TComponent* GetComponent(int index = 0) const { return m_components.value(index); }
    int ComponentCount() const { return m_components.size(); }
    QString GetName() const { return QString::fromLatin1(m_prop.name()); }
    QMetaProperty Property() const { return m_prop; }
    IDesigner* Designer() const { return m_designer; }
    bool AllEqual() const;
    QVariant GetVariantValue(int index = 0) const;
    // Sets an already converted value on every selected component.
    void SetVariantValue(const QVariant& value);

protected:
    virtual QString ValueToText(const QVariant& value) const;
    virtual QVariant TextToValue(const QString& text) const;
    [[noreturn]] void InvalidValue(const QString& why) const;

private:
    IDesigner* m_designer;
    QList<TComponent*> m_components;
    QMetaProperty m_prop;
};

// Whole numbers, checked against the range of the property's type.
class TIntegerProperty : public TPropertyEditor {
public:
    using TPropertyEditor::TPropertyEditor;
};

class TFloatProperty : public TPropertyEditor {
public:
    using TPropertyEditor::TPropertyEditor;
};

// "False" / "True".
class TBoolProperty : public TPropertyEditor {
public:
    using TPropertyEditor::TPropertyEditor;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
};

// The names of an enumeration (Q_ENUM) in declaration order.
class TEnumProperty : public TPropertyEditor {
public:
    using TPropertyEditor::TPropertyEditor;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
};

// Free text.
class TStringProperty : public TPropertyEditor {
public:
    using TPropertyEditor::TPropertyEditor;
};

// String lists: shown as "(Strings)", edited line by line in a dialog.
// SetValue takes the lines separated by newlines.
class TStringsProperty : public TPropertyEditor {
public:
    using TPropertyEditor::TPropertyEditor;
    TPropertyAttributes GetAttributes() const override;
    QString GetValue() const override;
    void Edit() override;
};

// A reference to another component of the module (see TComponent): the
// value list holds the names of the components of the referenced class;
// SetValue takes one of them or nothing.
class TComponentProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
    void SetValue(const QString& value) override;
    QString ReferencedClass() const;
};

// A column name of a dataset: the value list holds the dataset's columns.
// Subclasses say where the dataset comes from.
class TDBStringProperty : public TStringProperty {
public:
    using TStringProperty::TStringProperty;
    TPropertyAttributes GetAttributes() const override;
    void GetValues(QStringList& values) const override;
    virtual TDataSet* GetDataSet() const = 0;

protected:
    // The dataset a property of the first component names: a component
    // pointer property, or the name of a component of the designer's root.
    TDataSet* DataSetOfProperty(const char* propertyName) const;
};
