#pragma once

#include <QList>
#include <QString>

#include <cstdint>

// The timeline's view state as the rest of Quillmont reads and sets it: the rows and
// their tracks, the rows' link, lock and disable boxes, the position slider, the
// selection and the scroll. Only the timeline's own modules touch the panel's controls;
// editing, history, the media list, the preview, the shell and the project go through
// here.
namespace TimelineView {

enum class RowKind { Video, Effect, Overlay, Audio };

struct Row
{
    RowKind kind;
    int index;     // within its kind, from 0
    int32_t track; // its engine track; the effect row's is its video track
};

// The rows in the order they stand on the screen: Video, Effect, Overlay, Audio 1, Audio 2.
QList<Row> Rows();
// How many rows of a kind the panel has.
int RowCount(RowKind kind);
// The caption of a row's label ("Video", "Effect", "Overlay", "Audio 1", "Audio 2").
QString RowCaption(RowKind kind, int index);
// The engine track of a row.
int32_t TrackOf(RowKind kind, int index);

enum class Option { Link, Lock, Disable };
// A row's option box (on is the box at 1).
bool RowOption(RowKind kind, int index, Option option);
// Sets a row's box as a click on it would, with its picture and what its change does.
void SetRowOption(RowKind kind, int index, Option option, bool on);
// The box of the video, audio or overlay row that shows track; false when none does.
bool TrackOption(int32_t track, Option option);
// The box of the effect row of a video track; false when it has none.
bool EffectOption(int32_t videoTrack, Option option);

// The selection exists while both selection sliders show.
bool SelectionShown();
// A selection slider's handle shows; at least one does.
bool SelHandleShown(bool start);
bool AnySelHandleShown();
// Whether the line of a selection slider over the rows shows (the edits ask the lines).
bool SelLineShown(bool start);
// The selection's edges as the edits take them: from the lines over the rows, half a
// slider (5 pixels) further on.
int32_t SelectionStart();
int32_t SelectionEnd();
// A selection slider's time, read from its handle (the same half slider included).
int32_t SelSliderTime(bool start);
// Both selection sliders at their times, shown or hidden, with the menus, bars and the
// preview's bounds following.
void SetSelection(int32_t start, int32_t end, bool shown);

// The zoom factor, ms a pixel (0 for none yet, when the view keeps the start zoom). Set,
// the sliders keep their times and the scale, bars, selection and markers follow.
int16_t Zoom();
void SetZoom(int16_t zoom);

// The position slider's time as the edits read it: from its line over the rows.
int32_t SliderTime();

// The scroll bar under the rows, in ticks.
int32_t ScrollValue();
int32_t ScrollMaximum();
void SetScrollValue(int32_t value);

// Whether the rows take drops from the media list (while one of its rows is dragged).
void AcceptMediaDrops(bool on);

} // namespace TimelineView
