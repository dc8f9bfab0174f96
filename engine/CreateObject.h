#pragma once

#include "engine/ITWObject.h"

#include <QString>

#include <memory>

// Creates an engine object by its class name. The one class Quillmont knows is
// "TWCore.TarnwickTimeline"; any other name raises error 429.
std::shared_ptr<ITWObject> CreateObject(const QString& className);
