// "ostra-studio --design DB TABLE": the table designer straight on one table,
// without a module window. The table is opened through the same component
// editor verb a user picks on a table of a module ("Properties...", or
// "New Table..." for a table that does not exist yet), so the package that
// registered the table editor must be loaded.
#pragma once

#include <QString>

// Runs the designer modally; false (after showing why) when it could not open.
bool DesignTable(const QString& database, const QString& tableName);
