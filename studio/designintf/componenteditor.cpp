#include "studio/designintf/componenteditor.h"

#include "engine/base/sysutils.h"
#include "engine/base/tcomponent.h"

TComponentEditor::TComponentEditor(TComponent* component, IDesigner* designer)
    : m_component(component), m_designer(designer) {}

TComponentEditor::~TComponentEditor() = default;

void TComponentEditor::BadVerb(int index) const {
    throw EComponentError(QStringLiteral("%1 has no verb %2").arg(m_component ? m_component->GetName() : QString()).arg(index));
}

QString TComponentEditor::GetVerb(int index) const { BadVerb(index); }

void TComponentEditor::ExecuteVerb(int index) { BadVerb(index); }

void TComponentEditor::PrepareItem(int index, QAction* action) {
    Q_UNUSED(index) Q_UNUSED(action)
}

void TComponentEditor::Edit() {
    if (GetVerbCount() > 0) ExecuteVerb(0);
}
