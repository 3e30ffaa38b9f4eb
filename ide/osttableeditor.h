// The component editors of the engine's components: what their context menus
// offer and what a double click on them does. Table and query keep the
// dataset verbs (the fields editor) and add their own after them; the others
// have the plain component's.
#pragma once

#include "studio/designintf/componenteditor.h"
#include "studio/designintf/dsdesign.h"

class TOstTable;
class TOstDatabase;

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

    // Asks for the new table's name, clears its columns and opens the table
    // designer on it; the table is opened when the designer applied.
    void CreateNewTable();
    // Lets the user pick one of the database's tables and opens it.
    void SelectTable();
    // Opens the table designer; true when it closed with changes applied.
    // "Cannot perform this on a closed table" unless the table is active or
    // a new table with a name is being defined.
    bool RestructureTable(bool newTable);
    // The table import wizard: a classic table of the same module carried
    // over to a new engine table that this component then names.
    void ImportTableProperties();

    TOstTable* Table() const;
};

class TOstDatabaseEditor : public TComponentEditor {
public:
    using TComponentEditor::TComponentEditor;
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
