#pragma once

#include <cstdint>

// Questions about the timeline's state, asked afresh at each call from the engine and
// the option boxes of the timeline's rows; nothing is cached.
namespace moduleTWState {

// The track's lock box is 1. A handle that belongs to no row is false.
bool IsTrackLocked(int32_t track);
bool IsTrackDisabled(int32_t track);
// The effect lane of that video track is locked, disabled, or linked (takes part in
// selection edits). A handle of an audio track is false.
bool IsEffectLocked(int32_t track);
bool IsEffectDisabled(int32_t track);
bool IsEffectSelected(int32_t track);
// Some item of the track has the engine's selected flag (and the timeline is not empty).
bool IsAnySourceSelected(int32_t track);
bool IsAnyEffectSelected(int32_t track);

// The whole timeline.
bool IsTimelineEmpty();
bool IsVideoTrackEmpty();
bool IsEffectTrackEmpty();
bool IsOverlayTrackEmpty();
// A selected source on any audio track.
bool IsAudioSourceSelected();
// A selected source on the first (audioTrack 1) or second (audioTrack 2) audio track.
bool IsAudioSourceSelected(int audioTrack);
bool IsVideoSourceSelected();
bool IsOverlaySourceSelected();
// Cut, copy, delete and crop have something to work on: selected items when the
// selection sliders are hidden, a linked, unlocked track with items under them when
// they are shown.
bool IsEditingValid();
// A selected source whose timeline length differs from its media length.
bool IsRestoreSizeValid();
// A selected source on an unlocked overlay track, with the sliders hidden.
bool IsSetOverlayTransparencyValid();
// Exactly one row of the media list is selected.
bool IsOneMediaFileSelected();

} // namespace moduleTWState
