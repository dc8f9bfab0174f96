#pragma once

#include "engine/ITWObject.h"

#include <QString>

#include <memory>

// Creates an engine object by its class name, in any letter case. Implementations enter
// their classes with RegisterEngineClass; a name that none entered raises error 429.
std::shared_ptr<ITWObject> CreateObject(const QString& className);

using EngineClassFactory = std::shared_ptr<ITWObject> (*)();

// Enters a class under name. Each implementation calls it from a static initialiser in
// its own source, so that this registry names none of them; it returns true so that the
// call can initialise a constant.
bool RegisterEngineClass(const char* name, EngineClassFactory make);
