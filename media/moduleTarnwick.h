#pragma once

// The media list's module: files and streams opened through the engine.
namespace moduleTarnwick {

// Makes the three process-wide lists (FileCollection, StreamCollection,
// TrackCollection) empty; true unless that failed.
bool Init();

} // namespace moduleTarnwick
