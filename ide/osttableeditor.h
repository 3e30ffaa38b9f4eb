// The component editors of the engine's components: what their context menus
// offer and what a double click on them does. Table and query keep the
// dataset verbs (the fields editor) and add their own after them; the others
// have the plain component's.
#pragma once

#include "studio/designintf/componenteditor.h"
#include "studio/designintf/dsdesign.h"

class IDesigner;
class TOstDataSet;
class TOstTable;
class TOstDatabase;

// Offers a database component for a bare location (a database file or a
// folder of table files). Yes: a new TOstDatabase lands 32 pixels right of
// the dataset, at location, connected, and its DatabaseName is returned; No:
// the location itself is returned, for the dataset to address directly.
QString GetNewDatabaseConnection(TOstDataSet* dataSet, IDesigner* designer, const QString& location);

class TOstTableEditor : public TDataSetEditor {
public:
    using TDataSetEditor::TDataSetEditor;

    // The inherited verbs, then "-", "New Table...", "Select Table...",
    // "Properties..." and "Convert BDE Table...".
    int GetVerbCount() const override;
    QString GetVerb(int index) const override;
    // Runs the verb, then tells the designer the module changed, whatever the verb did.
    void ExecuteVerb(int index) override;
    // Own indexes up to 6 are enabled by CanEnableMenuItem, so the inherited
    // verbs before them always come out enabled.
    void PrepareItem(int index, QAction* action) override;
    // index counts from the first own verb.
    bool CanEnableMenuItem(int index) const;

    // Names the new table in the table assistant, clears its columns and
    // opens the table designer on it; the table is opened when the designer
    // applied. An open table is closed first, even when the assistant is
    // then cancelled.
    void CreateNewTable();
    // Lets the user pick a table in the table assistant and opens it; an
    // error opening it is shown, and the table keeps its new names, closed.
    void SelectTable();
    // Opens the table designer; true when it closed with changes applied.
    // "Cannot perform this on a closed table" unless the table is active or
    // a new table with a name is being defined.
    bool RestructureTable(bool newTable);
    // The table import wizard: a classic table of the same module carried
    // over to a new engine table that this component then names.
    void ImportTableProperties();

    TOstTable* Table() const;

private:
    bool m_replaceExisting = false;
};

// The verbs "Create New Database...", "Select Database..." and "Private
// Directory...", all always enabled.
class TOstDatabaseEditor : public TComponentEditor {
public:
    using TComponentEditor::TComponentEditor;
    int GetVerbCount() const override;
    QString GetVerb(int index) const override;
    // Runs the verb, then tells the designer the module changed.
    void ExecuteVerb(int index) override;

    // Creates a new database in the create database dialog and connects
    // the component to it.
    void CreateOstraDatabase();
    // Points the component at another database; a connected one stays
    // connected. The same location in other letter case changes nothing.
    void SelectOstraDatabase();
    void SelectPrivateDir();
    TOstDatabase* Database() const;
};

class TOstEnumSetEditor : public TComponentEditor {
public:
    using TComponentEditor::TComponentEditor;
};

class TOstBatchMoveEditor : public TComponentEditor {
public:
    using TComponentEditor::TComponentEditor;
};

class TOstBlobProviderEditor : public TComponentEditor {
public:
    using TComponentEditor::TComponentEditor;
};
