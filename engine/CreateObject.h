#pragma once

#include "engine/ITWObject.h"

#include <QString>

#include <memory>

// Creates an engine object by its class name, in any letter case. Implementations enter
// their classes with RegisterEngineClass; a name that none entered raises error 429.
std::shared_ptr<ITWObject> CreateObject(const QString& className);

using EngineClassFactory = std::shared_ptr<ITWObject> (*)();

// Enters a class under name. An implementation calls it from a static initialiser in
// its own source, so that the registry names no implementation; the returned true lets
// that initialiser be a constant.
bool RegisterEngineClass(const char* name, EngineClassFactory make);
