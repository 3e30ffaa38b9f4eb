// IDesigner: what editors see of the designer of one data module, and
// TDesigner, the designer over a root component with an undo stack. Every
// change made through a designer is one undoable step (or one group of steps)
// and marks the module modified.
#pragma once

#include <QJsonArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QUndoStack>
#include <QVariant>
#include <functional>

class TComponent;

class IDesigner : public QObject {
    Q_OBJECT
public:
    explicit IDesigner(QObject* parent = nullptr) : QObject(parent) {}

    // The module being designed; every designed component is owned by it.
    virtual TComponent* Root() const = 0;
    // Tells the designer something changed outside its own operations.
    virtual void Modified() = 0;
    virtual bool IsModified() const = 0;

    virtual void SelectComponent(TComponent* c) = 0; // nullptr clears the selection
    virtual void SetSelection(const QList<TComponent*>& components) = 0;
    virtual QList<TComponent*> Selection() const = 0;

    // Creates a component of a registered class owned by Root() with a unique
    // name, places it and selects it. Non-visual components ignore parent, width
    // and height. EComponentError when the class is not registered.
    virtual TComponent* CreateComponent(const QMetaObject* cls, TComponent* parent, int left, int top, int width,
                                        int height) = 0;
    // Creates streamed components (see ComponentsFromJson), renaming those whose
    // names are taken; one undoable step. Used for pasting and by editors.
    virtual QList<TComponent*> InsertComponents(const QJsonArray& components) = 0;
    // The component of that name (the root when the name is the root's), or nullptr.
    virtual TComponent* GetComponent(const QString& name) const = 0;
    // A free name: baseName (a class name loses its leading T) followed by the
    // smallest number from 1 that no component uses, e.g. "OstTable1".
    virtual QString UniqueName(const QString& baseName) const = 0;

    // Converts value to the property's type and writes it as an undoable step;
    // EComponentError with a readable message when it cannot be set.
    virtual void SetProperty(TComponent* c, const QString& propertyName, const QVariant& value) = 0;
    // Deletes a component of Root(), and with a dataset its persistent fields.
    virtual void DeleteComponent(TComponent* c) = 0;

    // Runs a component editor's verb as one undoable step: what it changes
    // through the designer, and the published properties it changes directly
    // on the module's components (recorded before and after). Tells the views
    // to show the components again.
    virtual void RunVerb(const QString& /*text*/, const std::function<void()>& verb) { verb(); }

    // Steps between these calls undo and redo as one.
    virtual void BeginUndoGroup(const QString& text) = 0;
    virtual void EndUndoGroup() = 0;
    virtual void Undo() = 0;
    virtual void Redo() = 0;
    virtual bool CanUndo() const = 0;
    virtual bool CanRedo() const = 0;

signals:
    void modifiedChanged(bool modified);
    void selectionChanged();
    void componentAdded(TComponent* c);
    // Sent just before the component is deleted.
    void componentRemoved(TComponent* c);
    void propertyChanged(TComponent* c, const QString& propertyName);
    // Modified() was called: components may have changed in ways the
    // designer did not see (a component editor's verb, say).
    void componentsChanged();
};

class TDesigner : public IDesigner {
    Q_OBJECT
public:
    // The designer does not own root.
    explicit TDesigner(TComponent* root, QObject* parent = nullptr);
    ~TDesigner() override;

    TComponent* Root() const override { return m_root; }
    void Modified() override;
    bool IsModified() const override;
    // After saving: the current state is the unmodified one.
    void SetUnmodified();

    void SelectComponent(TComponent* c) override;
    void SetSelection(const QList<TComponent*>& components) override;
    QList<TComponent*> Selection() const override { return m_selection; }

    TComponent* CreateComponent(const QMetaObject* cls, TComponent* parent, int left, int top, int width,
                                int height) override;
    QList<TComponent*> InsertComponents(const QJsonArray& components) override;
    TComponent* GetComponent(const QString& name) const override;
    QString UniqueName(const QString& baseName) const override;

    void SetProperty(TComponent* c, const QString& propertyName, const QVariant& value) override;
    void DeleteComponent(TComponent* c) override;
    void RunVerb(const QString& text, const std::function<void()>& verb) override;

    void BeginUndoGroup(const QString& text) override { m_undo.beginMacro(text); }
    void EndUndoGroup() override { m_undo.endMacro(); }
    // Raise EComponentError when a step cannot be taken back or repeated (a
    // setter refusing the old value, say); the stack moves on regardless.
    void Undo() override;
    void Redo() override;
    bool CanUndo() const override { return m_undo.canUndo(); }
    bool CanRedo() const override { return m_undo.canRedo(); }
    // For undo/redo actions and a history view. Use Undo()/Redo() of the
    // designer, or listen to stepFailed, to hear about steps that fail.
    QUndoStack* UndoStack() { return &m_undo; }

signals:
    void stepFailed(const QString& message);

private:
    struct TReference {
        TComponent* from;
        QString property;
    };
    // The reference properties of other components of the root that name one of targets.
    QList<TReference> ReferencesTo(const QList<TComponent*>& targets) const;
    friend class TPropertyStep;
    friend class TComponentsStep;
    friend class TVerbStep;
    TComponent* Find(bool isRoot, const QString& name) const;
    void Write(TComponent* c, const QString& propertyName, const QVariant& value);
    QList<TComponent*> Restore(const QJsonArray& components);
    void Remove(const QStringList& names);
    void StepFailed(const QString& message);
    void UpdateModified();
    void RunStep(bool undo);

    TComponent* m_root;
    QUndoStack m_undo;
    QList<TComponent*> m_selection;
    QString m_stepError;
    bool m_dirty = false;
    bool m_reportedModified = false;
    // While a verb runs: the properties it changed through the designer.
    QList<QPair<TComponent*, QString>>* m_verbTouched = nullptr;
};
