// The component editor of engine queries: the dataset verbs.
#pragma once

#include "studio/designintf/dsdesign.h"

class TOstQuery;

class TOstQueryEditor : public TDataSetEditor {
public:
    using TDataSetEditor::TDataSetEditor;
    // Runs the verb, then tells the designer the module changed, whatever the verb did.
    void ExecuteVerb(int index) override;
    TOstQuery* Query() const;
};
