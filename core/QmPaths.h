#pragma once

#include <QString>

// Where Quillmont keeps things. Each folder can be moved by an environment variable,
// which the tests always set so that nothing is written outside their own folders.
namespace QmPaths {

// The executable's folder.
QString AppFolder();
// Where the program writes what belongs beside it (the error log): QUILLMONT_DATA_DIR,
// else the executable's folder when it is writable, else the per-user data folder.
QString WritableAppFolder();
// The help pages and the tutorial: help/ beside the executable (the build folder), else
// share/quillmont/help beside its bin folder (installed).
QString HelpFolder();
// The settings store's folder: QUILLMONT_CONFIG_DIR, else the user's configuration
// folder.
QString ConfigFolder();
// The user's own data folder, for what Quillmont keeps of the user's work (the recovery
// copy): QUILLMONT_DATA_DIR, else the per-user data folder; never the program's folder.
QString UserDataFolder();
// For the lock that keeps a second Quillmont from starting: QUILLMONT_RUNTIME_DIR,
// else the user's runtime folder.
QString RuntimeFolder();

} // namespace QmPaths
