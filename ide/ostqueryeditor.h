// The component editor of engine queries: the dataset verbs, then "-" and
// "Import BDE Query...", enabled when the query's owner holds a classic query.
#pragma once

#include "studio/designintf/dsdesign.h"

class TOstQuery;

class TOstQueryEditor : public TDataSetEditor {
public:
    using TDataSetEditor::TDataSetEditor;

    int GetVerbCount() const override;
    QString GetVerb(int index) const override;
    // Runs the verb, then tells the designer the module changed, whatever the verb did.
    void ExecuteVerb(int index) override;
    // Own indexes up to 3 are enabled by CanEnableMenuItem, so the inherited
    // verbs before them always come out enabled.
    void PrepareItem(int index, QAction* action) override;
    // index counts from the first own verb.
    bool CanEnableMenuItem(int index) const;
    // The query import form: a classic query's SQL, parameters, properties
    // and event handlers copied onto this query.
    void ImportQueryProperties();

    TOstQuery* Query() const;
};
