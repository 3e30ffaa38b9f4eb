#include "ide/ostqueryeditor.h"

#include "studio/designintf/designer.h"
#include "engine/ostquery.h"

TOstQuery* TOstQueryEditor::Query() const { return qobject_cast<TOstQuery*>(Component()); }

void TOstQueryEditor::ExecuteVerb(int index) {
    TDataSetEditor::ExecuteVerb(index);
    if (Designer()) Designer()->Modified();
}
