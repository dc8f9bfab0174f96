#include "editing/moduleTWState.h"

#include "core/QmShared.h"
#include "core/QmTrap.h"
#include "core/QmImageBox.h"
#include "core/QmListView.h"
#include "engine/ITWTimeline.h"
#include "media/frmMediaList.h"
#include "timeline/moduleTimeline.h"
#include "timeline/TimelineView.h"


using namespace QmShared;
using TimelineView::EffectOption;
using TimelineView::Option;
using TimelineView::TrackOption;

namespace moduleTWState {

namespace {

const QString kModule = QStringLiteral("moduleTWState");

bool IsOn(const QString& function, const std::function<bool()>& box)
{
    return QmTrap::Value<bool>(kModule, function, false, box);
}

// The answer, or false (with the routine's name in the log) when the engine fails.
bool Ask(const QString& function, const std::function<bool()>& question)
{
    return QmTrap::Value<bool>(kModule, function + u'*', false, question);
}

ITWTimeline& Tl()
{
    return Eng<ITWTimeline>();
}

bool AnyFlag(int32_t track, int16_t (ITWTimeline::*count)(int32_t), bool (ITWTimeline::*flag)(int32_t, int16_t))
{
    auto& tl = Tl();
    const int16_t n = (tl.*count)(track);
    for (int16_t seq = 0; seq < n; ++seq)
        if ((tl.*flag)(track, seq))
            return true;
    return false;
}

bool AnySelectedSource(int32_t track)
{
    return AnyFlag(track, &ITWTimeline::GetSourceCount, &ITWTimeline::IsSourceSelected);
}

bool AnySelectedEffect(int32_t track)
{
    return AnyFlag(track, &ITWTimeline::GetEffectCount, &ITWTimeline::IsEffectItemSelected);
}

// A selected source on a video track (video) or an audio track (!video).
bool AnySelectedSourceOn(bool video)
{
    if (IsTimelineEmpty())
        return false;
    for (int32_t track : TrackCollection)
        if (Tl().IsVideoTrack(track) == video && AnySelectedSource(track))
            return true;
    return false;
}

// A selected source whose timeline length is not its media length.
bool HasResizedSelection(int32_t track)
{
    auto& tl = Tl();
    int32_t s = 0, e = 0, ms = 0, me = 0;
    for (int16_t seq = 0; tl.GetSourceTimes(track, seq, s, e); ++seq) {
        if (tl.IsSourceSelected(track, seq) && tl.GetSourceMediaTimes(track, seq, ms, me) && e - s != me - ms)
            return true;
    }
    return false;
}

} // namespace

bool IsTrackLocked(int32_t track)
{
    return IsOn(QStringLiteral("IsTrackLocked"), [track] { return TrackOption(track, Option::Lock); });
}

bool IsTrackDisabled(int32_t track)
{
    return IsOn(QStringLiteral("IsTrackDisabled"), [track] { return TrackOption(track, Option::Disable); });
}

bool IsEffectLocked(int32_t track)
{
    return IsOn(QStringLiteral("IsEffectLocked"), [track] { return EffectOption(track, Option::Lock); });
}

bool IsEffectDisabled(int32_t track)
{
    return IsOn(QStringLiteral("IsEffectDisabled"), [track] { return EffectOption(track, Option::Disable); });
}

bool IsEffectSelected(int32_t track)
{
    return IsOn(QStringLiteral("IsEffectSelected"), [track] { return EffectOption(track, Option::Link); });
}

bool IsAnySourceSelected(int32_t track)
{
    return Ask(QStringLiteral("IsAnySourceSelected"), [track] {
        return !IsTimelineEmpty() && AnySelectedSource(track);
    });
}

bool IsAnyEffectSelected(int32_t track)
{
    return Ask(QStringLiteral("IsAnyEffectSelected"), [track] {
        return !IsTimelineEmpty() && AnySelectedEffect(track);
    });
}

bool IsTimelineEmpty()
{
    return Ask(QStringLiteral("IsTimelineEmpty"), [] { return moduleTimeline::IsTimelineEmpty(); });
}

bool IsVideoTrackEmpty()
{
    return Ask(QStringLiteral("IsVideoTrackEmpty"),
               [] { return IsTimelineEmpty() || Tl().GetSourceCount(TrackCollection.Item(1)) == 0; });
}

bool IsEffectTrackEmpty()
{
    return Ask(QStringLiteral("IsEffectTrackEmpty"), [] {
        for (int32_t track : TrackCollection)
            if (Tl().IsVideoTrack(track) && Tl().GetEffectCount(track) > 0)
                return false;
        return true;
    });
}

bool IsOverlayTrackEmpty()
{
    return Ask(QStringLiteral("IsOverlayTrackEmpty"), [] { return Tl().GetSourceCount(OverlayTrack) == 0; });
}

bool IsAudioSourceSelected()
{
    return Ask(QStringLiteral("IsAudioSourceSelected"), [] { return AnySelectedSourceOn(false); });
}

bool IsAudioSourceSelected(int audioTrack)
{
    return Ask(QStringLiteral("IsAudioSourceSelected"), [audioTrack] {
        const int item = TimelineView::RowCount(TimelineView::RowKind::Video) + audioTrack;
        return !IsTimelineEmpty() && item <= TrackCollection.Count()
               && AnySelectedSource(TrackCollection.Item(item));
    });
}

bool IsVideoSourceSelected()
{
    return Ask(QStringLiteral("IsVideoSourceSelected"), [] { return AnySelectedSourceOn(true); });
}

bool IsOverlaySourceSelected()
{
    return IsAnySourceSelected(OverlayTrack);
}

bool IsEditingValid()
{
    return Ask(QStringLiteral("IsEditingValid"), [] {
        if (IsTimelineEmpty())
            return false;
        auto& tl = Tl();
        const int videoRows = TimelineView::RowCount(TimelineView::RowKind::Video);
        if (!TimelineView::SelectionShown()) {
            for (int i = 1; i <= TrackCollection.Count(); ++i) {
                const int32_t track = TrackCollection.Item(i);
                if (!IsTrackLocked(track) && AnySelectedSource(track))
                    return true;
                if (i <= videoRows && !IsEffectLocked(track) && AnySelectedEffect(track))
                    return true;
            }
            return !IsTrackLocked(OverlayTrack) && AnySelectedSource(OverlayTrack);
        }
        const int32_t edges[] = {TimelineView::SelectionStart(), TimelineView::SelectionEnd()};
        for (int32_t track : TrackCollection) {
            if (tl.GetTrackLink(track) && !IsTrackLocked(track) && tl.GetSourceCount(track) > 0)
                return true;
            if (!IsEffectLocked(track) && IsEffectSelected(track) && tl.GetEffectCount(track) > 0)
                return true;
            if (tl.GetTrackLink(OverlayTrack) && !IsTrackLocked(OverlayTrack)
                && (moduleTimeline::GetSequenceNumberFromPos(OverlayTrack, edges[0]) != -1
                    || moduleTimeline::GetSequenceNumberFromPos(OverlayTrack, edges[1]) != -1))
                return true;
        }
        return false;
    });
}

bool IsRestoreSizeValid()
{
    return Ask(QStringLiteral("IsRestoreSizeValid"), [] {
        if (IsTimelineEmpty() || TimelineView::AnySelHandleShown())
            return false;
        for (int32_t track : TrackCollection)
            if (!IsTrackLocked(track) && HasResizedSelection(track))
                return true;
        return !IsTrackLocked(OverlayTrack) && HasResizedSelection(OverlayTrack);
    });
}

bool IsSetOverlayTransparencyValid()
{
    return Ask(QStringLiteral("IsSetOverlayTransparencyValid"), [] {
        return !IsTimelineEmpty() && !TimelineView::AnySelHandleShown() && !IsTrackLocked(OverlayTrack)
               && AnySelectedSource(OverlayTrack);
    });
}

bool IsOneMediaFileSelected()
{
    return Ask(QStringLiteral("IsOneMediaFileSelected"), [] {
        QmListView* list = frmMediaList::instance()->lvwMediaList;
        int selected = 0;
        for (int row = 0; row < list->Count(); ++row)
            selected += list->Selected(row) ? 1 : 0;
        return selected == 1;
    });
}

} // namespace moduleTWState
