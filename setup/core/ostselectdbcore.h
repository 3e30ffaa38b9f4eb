// What the database choosers make of the user's choice: the location string
// the database component takes (a database file, or a folder with a trailing
// delimiter) and the kind of a location.
#pragma once

#include <QString>

// The chooser filter of data sources.
QString DataSourceFilter(); // "Ostra data source (*.ostd,*.dat,*.ostt,*.sql,*.sqlh)|..."
// The entry that stands for the folder itself in SelectFileOrFolder.
QString SelectFolderEntry(); // "(Select Folder)"

// The kind of a location, later rules overriding earlier ones: an existing
// folder or ".ostd" 1 (a database), ".dat" or ".ostt" 2 (one table file),
// ".sql" 3, ".sqlh" 4, anything else 0. Extensions compare without case.
int GetFileType(const QString& location);

// SelectDatabase's answer for a chosen file: the file, except that a table
// file (".dat", ".ostt") or an ".sql" file stands for its folder, given with
// a trailing delimiter.
QString DatabaseLocationOfFile(const QString& fileName);
// SelectFileOrFolder's answer: the folder with a trailing delimiter when the
// name part is "(Select Folder)" (without regard to case), else the file.
QString LocationOfFileOrFolder(const QString& fileName);
