// Folder selection shared by the dialogs and property editors.
#pragma once

#include <QString>

// Shows a modal folder chooser captioned Caption with Directory preselected.
// On true, Directory holds the chosen folder; on false it is left as it was.
// Root is accepted and ignored: the chooser always starts from the file
// system's own root. Callers pass an empty string.
bool rkSelectDirectory(const QString& Caption, const QString& Root, QString& Directory);
