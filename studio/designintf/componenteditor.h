// Component editors: the verbs a component adds to its context menu and what
// a double click on it does. An editor for a class derived from one with its
// own editor puts its verbs first and hands higher indexes to the inherited
// editor:
//
//   int GetVerbCount() const override { return 2 + TDataSetEditor::GetVerbCount(); }
//   QString GetVerb(int i) const override { return i < 2 ? kOwn[i] : TDataSetEditor::GetVerb(i - 2); }
#pragma once

#include <QString>

class IDesigner;
class QAction;
class TComponent;

class TComponentEditor {
public:
    TComponentEditor(TComponent* component, IDesigner* designer);
    virtual ~TComponentEditor();
    TComponentEditor(const TComponentEditor&) = delete;
    TComponentEditor& operator=(const TComponentEditor&) = delete;

    virtual int GetVerbCount() const { return 0; }
    // EComponentError for an index outside 0..GetVerbCount()-1.
    virtual QString GetVerb(int index) const;
    virtual void ExecuteVerb(int index);
    // Called before the menu shows the verb's action; may disable or check it.
    virtual void PrepareItem(int index, QAction* action);
    // Double click: the first verb, when there is one.
    virtual void Edit();

    TComponent* Component() const { return m_component; }
    IDesigner* Designer() const { return m_designer; }

protected:
    [[noreturn]] void BadVerb(int index) const;

private:
    TComponent* m_component;
    IDesigner* m_designer;
};

// The editor of components nobody registered one for: no verbs.
class TDefaultEditor : public TComponentEditor {
public:
    using TComponentEditor::TComponentEditor;
};
