#pragma once

#include "engine/tarnwick/TimelineGraph.h"

#include <pugixml.hpp>

// A graph plan written as MLT's XML under an <mlt> element: the profile, the black
// ground, one producer per layer with its effects, and the tractor that joins them, which
// the element names as its producer. MLT's loader passes over the element's other
// children, as long as their names are none of its own (track, filter, producer, ...).
namespace Tarnwick {

void WriteGraphDocument(pugi::xml_node mlt, const GraphPlan& plan, int width, int height);

} // namespace Tarnwick
