#pragma once

#include <QString>

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

// The engine tracks of the rows, index 0 upward: the video tracks come first in
// TrackCollection, the audio tracks after them.
int32_t VideoTrackOf(int index);
int32_t AudioTrackOf(int index);

// The time under pixel x of a row or the scale, in ms.
int32_t TimeAt(int32_t x);
// The other way: the pixel of a row or the scale where time ms stands, left of 0 or
// past the width when out of view.
int32_t PixelAt(int32_t ms);
// The name, without folder, of an open file; "" when there is none.
QString GetMediaFileName(int32_t file);
// The same for the file of a source's stream.
QString GetSourceFileName(int32_t track, int16_t seq);

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
// The selection's edges at the position slider (Edit > Start Selection, End Selection):
// the selection appears at the slider first if it is not shown; an edge never comes
// closer than 6 pixels to the other.
void OnEditStartSelClick();
void OnEditEndSelClick();
void RenderAllSelections();
// Places the main slider's line over the rows from its handle.
void PlaceSliderLine(QWidget* line, QWidget* handle);
// Places both lines of a handle, over the rows and on the scale, at its point.
void PlaceHandleLines(QWidget* handle, QWidget* lineOverRows, QWidget* lineOnScale);
// The timeline pixel where a line over the rows stands (counted from where the rows'
// pictures begin, plus the view's left edge).
int32_t LinePixel(const QWidget* line);

// Adding to the timeline (moduleTimelineAdd.cpp).
// Opens an operation's history entry (the image before it) and counts it in force at
// once; an operation that comes to nothing takes it back with DeleteLastEntry, and the
// count stays right.
void OpenHistoryEntry(const QString& word);
// The selected rows of the media list, each file behind the longest track: video
// streams on the first video track, audio streams on the first audio track. One history
// entry per file.
void OnEditAddToTimelineClick();
// The video streams of the selected rows, each after the last overlay with its key
// transition; one history entry per stream.
void OnEditAddToOverlayClick();
// The effect chosen in the tools panel at the slider, or over the selection; false when
// a message said that it could not be added.
bool OnEditAddEffectToTimelineClick();
// A "DxtKey" transition over the track's last source, with "KeyType" 0 and the colour.
void AddNewKeyTransition(int32_t track, int16_t red, int16_t green, int16_t blue);
// The key colour dialogue for the first selected overlay source, with its transition's
// colour and its stream; nothing without one.
void OnEditSetOverlayTransparencyClick();
// Each overlay's transition takes its source's times where both ends differ.
void SyncOverlayTransitions();
// The commands of the menus, the tools panel and the drops, each one operation in the
// history: the files to the timeline, the files to the overlay, the effect chosen in
// the tools panel's list.
void AddToTimelineCommand();
void AddToOverlayCommand();
void AddEffectCommand();
// Gives the adding commands above, the Edit menu's six effects and the overlay's key
// colour to the command table.
void RegisterAddCommands();

// Whole-track commands (moduleTimelineTracks.cpp). Those that change the timeline count
// their history entry in force themselves.
// Every gap closes: on each unlocked track (and lane, and the overlay with its
// transitions) each item moves, with all after it, to where the one before it ends.
void PackTracks();
// Each selected source, on any track, takes its media length on the timeline from its
// start; nothing after it moves.
void RestoreSize();
// The last sound of Audio 1 (or of Audio 2, when Audio 1 has nothing selected) repeats
// until the sound ends where the video ends; nothing, and no count, when it already does.
void RepeateAudio();
// Splits every unlocked track, lane and the overlay at the position slider. A source is
// split only where neither piece would be shorter than 11 ms.
void SplitTracks();
// Removes every overlay with its transition, and redraws.
void EmptyOverlayTrack();
// The menu entries' commands, each one operation of the history.
void OnToolsPackTimelineBarsClick();
void OnEditRestoreSizeClick();
void OnToolsRepeatAudioClick();
void OnToolsSplitTimelineClick();
// The clear commands refuse a locked track with a message; clearing the whole timeline
// asks first.
void OnEditClearEffectClick();
void OnEditClearOverlayClick();
void OnEditClearTimelineClick();
// Gives the commands above to the command table.
void RegisterTrackCommands();

// Pointer work on the rows.
// The tool tip and pointer of a row for the pointer at x, y; true inside the resize
// zone of the item under it (its last 12 pixels, in the top 12).
bool OnPicVideoMouseMove(int x, int y, int16_t index);
bool OnPicAudioMouseMove(int x, int y, int16_t index);
bool OnPicEffectMouseMove(int x, int y, int16_t index);
bool OnPicOverlayMouseMove(int x, int y, int16_t index);
// The room before an item: its start for the first, else the gap to the one before.
int32_t GetSourceLeftMoveLength(int32_t track, int16_t seq);
int32_t GetEffectLeftMoveLength(int32_t track, int16_t seq);
// The smallest room before the first selected item of each track, lane and the
// overlay; 0 with nothing selected.
int32_t GetSelMinLeftMoveLength();
// Moves the first selected item of each unlocked track, lane and the overlay, with
// everything after it, by delta ms.
void ShiftSelSources(int32_t delta);
// Lengthens every selected item by delta ms at its end, and moves what follows it; a
// step that would leave an item 10 ms or shorter is passed over for that item.
void ResizeSelSources(int32_t delta);

} // namespace moduleTimeline
