#pragma once

#include <cstdint>

class QWidget;
class QmPicture;

// The timeline's rows and what lies on them: the tracks and their option boxes, the
// lookups from a time to an item, the press that selects, the bars, and the sliders.
namespace moduleTimeline {

// The pseudo handle of the effect lane in the timeline list; it never reaches the engine.
constexpr int32_t EffectLaneTag = 999999;

// Handles of the rows' tracks, as the timeline list knows them.
inline int32_t VideoTrackNode = 0;
inline int32_t Audio1TrackNode = 0;
inline int32_t Audio2TrackNode = 0;
inline int32_t OverlayTrackNode = 0;

// Makes the tracks once, in the order Video, Overlay, Audio 1, Audio 2, each linked,
// with their nodes in the timeline list; loads the recent lists, the bar colours and
// the working folder; sets up the scale, the sliders and the markers.
void InitTimeline();

// The highest GetTrackDuration over TrackCollection and OverlayTrack; effects do not count.
int32_t GetTimelineDuration();
// True when no track of TrackCollection and not OverlayTrack has a source.
bool IsTimelineEmpty();
// The source (or effect) that holds pos, both ends inside; -1 for none.
int16_t GetSequenceNumberFromPos(int32_t track, int32_t pos);
int16_t GetSequenceNumberAtPosEffect(int32_t track, int32_t pos);
// Clears every selected flag of every track.
void ClearMFSTSubSelections();

// A press on a row, at ClickX with ClickShift and ClickCtrl.
void OnPicMediaClick(int16_t index, bool isVideo);
void OnPicOverlayClick(int16_t index);
void OnPicEffectClick(int16_t index);

void EnableLinkOption(bool visible);
void ReInitLinkLockDisable();
void UpdateTrackOptions();

// Bars.
void RenderBar(QmPicture* pic, int32_t track, int32_t fill, int32_t shadow, bool locked);
void RenderEffectBar(QmPicture* pic, int32_t track, int32_t fill, int32_t shadow, bool locked);
void RenderEffectBars();
void RenderAllBars();
void AddColorToBars();

// Sliders. Moved controls repaint by themselves and the drag's timer ticks between
// pointer events, so no routine here needs to let pending events run.
void SetSliderPosition(int32_t pos, bool scroll);
int32_t GetSliderPosition();
void SetSelSliderPosition(int32_t pos, bool isStart);
int32_t GetSelSliderPosition(bool isStart);
void ShowStartSelSlider(bool visible);
void ShowEndSelSlider(bool visible);
void ShowSelSliders(bool visible);
void ToggleSelSliders();
void ShowOrHideTrackSelections();
void RenderAllSelections();
// Both selection handles are visible: the selection exists.
bool SelSlidersVisible();
// Places the main slider's line over the rows from its handle.
void PlaceSliderLine(QWidget* line, QWidget* handle);
// The timeline pixel where a line over the rows stands (counted from where the rows'
// pictures begin, plus the view's left edge).
int32_t LinePixel(const QWidget* line);
// An edge of the selection as the editing commands take it: from the line over the
// rows, 5 pixels (half a slider) further on.
int32_t SelectionEdge(bool isStart);

} // namespace moduleTimeline
