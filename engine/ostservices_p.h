// The engine's parts put together: what the store and the base reach only
// through interfaces they own is installed here. Inside the engine only.
#pragma once

// Installs the file cipher (engine/crypt) and the fulltext extension
// (engine/fulltext) in the store, tells the encryption where the database
// components' passwords are, and adds the engine's component classes to the
// class registry. Runs once, when the engine library is loaded (a static
// build must link ostservices.o whole, as the fuzz build does).
void OstInstallEngineServices();
