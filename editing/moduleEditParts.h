#pragma once

// What the cut, copy, delete, crop and paste routines share, inside the editing module.
#include "core/QmError.h"
#include "core/QmNumbers.h"
#include "core/QmShared.h"
#include "core/QmSpan.h"
#include "engine/ITWKeyTransition.h"
#include "engine/ITWTimeline.h"
#include "timeline/TimelineView.h"

#include <QString>

namespace moduleEdit::Parts {

// The selection edges as the edits take them, and the position slider's time.
using TimelineView::SelectionEnd;
using TimelineView::SelectionStart;
using TimelineView::SliderTime;

inline const QString Module = QStringLiteral("moduleEdit");

// Both edges at once, so that no action takes them in the wrong order.
inline QmSelection Selection()
{
    return {SelectionStart(), SelectionEnd()};
}

inline ITWTimeline& Tl()
{
    return QmShared::Eng<ITWTimeline>();
}

inline ITWKeyTransition& Keys()
{
    return QmShared::Eng<ITWKeyTransition>();
}

// A source's span as the engine holds it; false when there is no such source.
inline bool SourceSpan(int32_t track, int16_t seq, QmSpan& span)
{
    if (!Tl().GetSourceTimes(track, seq, span.start, span.stop))
        return false;
    Tl().GetSourceMediaTimes(track, seq, span.mediaStart, span.mediaStop);
    return true;
}

// A division of times as the edits make it: by zero is error 11, as a zero media or
// timeline length gives.
inline double Divide(double over, double under)
{
    if (under == 0.0)
        throw QmError(QmErr::DivisionByZero, QStringLiteral("Division by zero"));
    return over / under;
}

// A time worked out in doubles, to the nearest millisecond, ties to even.
inline int32_t Ms(double value)
{
    return QmNumbers::CLng(value);
}

// The key colour of an overlay's transition.
struct KeyColor
{
    int16_t red = 0, green = 0, blue = 0;
};

inline KeyColor KeyOf(int32_t track, int16_t seq)
{
    return {Keys().GetKeyRed(track, seq), Keys().GetKeyGreen(track, seq), Keys().GetKeyBlue(track, seq)};
}

// The command's frame: InSelectionUpdate and the hourglass around the routine; false
// when another edit runs.
bool EnterEdit();
void LeaveEdit();
// After a command that changed the timeline: the scale, bars and scroll bar, the
// preview unless it was a copy, the history count, the tools panel's actions.
void AfterEdit(bool updatePreview);

} // namespace moduleEdit::Parts
