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

} // namespace moduleTWState
