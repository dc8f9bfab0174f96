#pragma once

#include <QString>

#include <cstdint>

// The timeline's player kept in step with the timeline: built when the timeline gets
// its first source, refreshed after every edit, closed when the timeline is emptied;
// the transport of the preview panel; the seek bar tied to the timeline's slider.
namespace ModuleTWPreview {

// 0 stopped, 1 playing, 2 paused.
inline int16_t PreviewState = 0;
// The engine's player exists.
inline bool PreviewBuilt = false;

// Builds the player on picDisplay and sizes the video.
void InitPreview();
// The one call after every change of the timeline.
void UpdatePreview();

// The transport.
void OnCmdPlayClick();
void OnCmdPauseClick();
void OnCmdStopClick();
void OnCmdRewindClick();
void OnCmdForwardClick();
// The timeline's slider has been moved by hand: pause there.
void OnSliderMove();
// The player to a place the timeline's scale or keys chose; playing, it pauses first.
void SeekPreview(int32_t position);
// The player's position.
int32_t GetCurrentPosition();
// "Play", "Pause", "Stop", "Rewind", "Forward": clicks that button; "Loop playback"
// flips the loop button.
void DoPreviewAction(const QString& action);

} // namespace ModuleTWPreview
