#include "ide/ostqueryeditor.h"

#include "engine/ostquery.h"
#include "migration/core/classicdataset.h"
#include "migration/ostqueryimportfrm.h"
#include "studio/designintf/designer.h"

#include <QAction>

namespace {

enum TOwnVerb { ovSeparator, ovImportBde, ovCount };

// PrepareItem decides the enabled state itself up to this own index.
constexpr int kLastPreparedVerb = 3;

// Tells the designer of the change on every way out of a verb.
struct TModifiedOnExit {
    IDesigner* designer;
    ~TModifiedOnExit() {
        if (designer) designer->Modified();
    }
};

} // namespace

TOstQuery* TOstQueryEditor::Query() const { return qobject_cast<TOstQuery*>(Component()); }

int TOstQueryEditor::GetVerbCount() const { return TDataSetEditor::GetVerbCount() + ovCount; }

QString TOstQueryEditor::GetVerb(int index) const {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own < 0) return TDataSetEditor::GetVerb(index);
    if (own >= ovCount) BadVerb(index);
    return own == ovSeparator ? QStringLiteral("-") : QStringLiteral("Import BDE Query...");
}

void TOstQueryEditor::ExecuteVerb(int index) {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own >= ovCount) BadVerb(index);
    TModifiedOnExit modified{Designer()};
    if (own < 0) TDataSetEditor::ExecuteVerb(index);
    else if (own == ovImportBde) ImportQueryProperties();
}

void TOstQueryEditor::PrepareItem(int index, QAction* action) {
    const int own = index - TDataSetEditor::GetVerbCount();
    if (own <= kLastPreparedVerb)
        action->setEnabled(CanEnableMenuItem(own));
    else
        TDataSetEditor::PrepareItem(index, action);
}

bool TOstQueryEditor::CanEnableMenuItem(int index) const {
    if (index != ovImportBde) return true;
    bool found = false;
    TOstQuery* query = Query();
    if (query && query->Owner())
        for (const TComponent* c : query->Owner()->Components())
            if (qobject_cast<const TQuery*>(c)) found = true;
    return found;
}

void TOstQueryEditor::ImportQueryProperties() {
    TQueryImportBrownieFrm form;
    form.TargetQuery = Query();
    form.exec();
}
