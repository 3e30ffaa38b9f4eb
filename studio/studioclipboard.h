// Components on the clipboard: their stream (ComponentsToJson) under the MIME
// type "application/x-ostra-components" and as text, so that they paste into
// another module, another Studio or a text editor.
#pragma once

#include <QJsonArray>
#include <QList>
#include <QString>

class IDesigner;
class QMimeData;
class TComponent;

inline constexpr char kComponentsMimeType[] = "application/x-ostra-components";

// What copying takes along: the components (never the root) and the persistent
// fields of the datasets among them, each once, in the module's order.
QList<TComponent*> ComponentsToCopy(const IDesigner* designer, const QList<TComponent*>& selection);

// The clipboard payload for components of designer's module.
QMimeData* ComponentsMimeData(const IDesigner* designer, const QList<TComponent*>& selection);
// The components of a payload; empty when it holds none. EComponentError for
// text that looks like a component stream but is not a valid one.
QJsonArray ComponentsFromMimeData(const QMimeData* data);
// Whether a payload was copied from the module designer designs.
bool CopiedFromModule(const QMimeData* data, const IDesigner* designer);

// The designer's selection (the root left out).
QList<TComponent*> SelectedComponents(const IDesigner* designer);

// Clipboard commands on the designer's selection. Paste inserts, renaming
// components whose names are taken and shifting them by 16 pixels right and
// down when they came from the same module, and selects what it inserted.
// EComponentError when there is nothing valid to paste.
void CopySelection(IDesigner* designer);
void CutSelection(IDesigner* designer);
QList<TComponent*> PasteComponents(IDesigner* designer);
bool CanPaste();
// Deletes the selected components as one undoable step.
void DeleteSelection(IDesigner* designer);
