#pragma once

#include <cstdint>

// The timeline's common lookups over the engine's tracks.
namespace moduleTimeline {

// Makes the tracks once, in the order Video, Overlay, Audio 1, Audio 2, each linked;
// loads the recent lists, the bar colours and the working folder.
void InitTimeline();

// The highest GetTrackDuration over TrackCollection and OverlayTrack; effects do not count.
int32_t GetTimelineDuration();
// True when no track of TrackCollection and not OverlayTrack has a source.
bool IsTimelineEmpty();

} // namespace moduleTimeline
