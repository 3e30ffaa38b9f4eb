// The create database dialog without its window: the encryption methods it
// offers, what its answers mean, the checks before it closes, and what the
// database component does with the answers. The command line's create-db
// goes the same way.
#pragma once

#include <QString>
#include <QStringList>

class TOstDatabase;

// The methods offered: those of the highest table level, without "Default".
QStringList CreateDBEncryptionMethods();

// The location to create: the text trimmed; a single-file database without
// an extension gets ".ostd".
QString CreateDBLocation(const QString& text, bool singleFile);
// The method and password the database gets: the chosen ones when managed,
// method None and no password otherwise.
int CreateDBEncryptionMethod(bool managed, int chosenMethod);
QString CreateDBPassword(bool managed, const QString& password);

// The close checks' messages.
QString CreateDBLocationMissing(); // "Select a location for the new database"
QString CreateDBPasswordMissing(); // "Password missing"
// What keeps the answers from being accepted, checked in the dialog's
// order: no location, then a method that needs a password without one
// (the chosen method counts even when the database is not managed). Empty
// when they may be accepted.
QString CreateDBProblem(const QString& locationText, int chosenMethod, const QString& password);

// Hands the answers to the database component and creates the database: a
// connected component is disconnected first, connected afterwards. Engine
// errors pass on, and the component is then as it was before.
void CreateNewDatabase(TOstDatabase& db, int databaseType, bool managed, int encryptionMethod,
                       const QString& password, const QString& location);
