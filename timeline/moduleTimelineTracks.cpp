// The whole-track commands of the Edit and Tools menus: close every gap, give selected
// sources back their natural length, repeat a sound up to the video's end, split every
// track at the position slider, and clear the effects, the overlays or everything. Each
// is one operation of the history; those that change the timeline count it in force
// themselves.
#include "timeline/moduleTimeline.h"

#include "core/QmMsgBox.h"
#include "core/QmShared.h"
#include "core/QmSpan.h"
#include "core/QmTrap.h"
#include "editing/moduleEdit.h"
#include "editing/moduleTWState.h"
#include "engine/ITWTimeline.h"
#include "history/ModuleHistory.h"
#include "preview/ModuleTWPreview.h"
#include "shell/QmCommands.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/TimelineView.h"
#include "timeline/moduleScaleRenderer.h"

#include <algorithm>
#include <vector>

using namespace QmShared;

namespace moduleTimeline {

namespace {

const QString kModule = QStringLiteral("moduleTimeline");

ITWTimeline& Tl()
{
    return Eng<ITWTimeline>();
}

// The operation took effect: its history entry counts in force.
void CountInForce()
{
    ++ModuleHistory::HistoryIndex;
    ModuleHistory::RearrangeHistoryCollection();
}

// A track command as the menus run it: the entry with the image before, the routine,
// the image after. A routine that changed nothing leaves its entry out of force, and
// the next operation drops it.
void RunTrackCommand(const QString& word, void (*routine)())
{
    ModuleHistory::RemoveDisabledEntries();
    ModuleHistory::AddOperationToHistory(word);
    routine();
    ModuleHistory::StoreCurrentTLImage();
    ProjectModified = true;
}

// One list of a track (sources or effects) as packing walks it.
struct PackList
{
    int16_t (ITWTimeline::*count)(int32_t);
    bool (ITWTimeline::*times)(int32_t, int16_t, int32_t&, int32_t&);
    bool (ITWTimeline::*setTimes)(int32_t, int16_t, int32_t, int32_t);
};

const PackList kPackSources{&ITWTimeline::GetSourceCount, &ITWTimeline::GetSourceTimes, &ITWTimeline::SetSourceTimes};
const PackList kPackEffects{&ITWTimeline::GetEffectCount, &ITWTimeline::GetEffectTimes, &ITWTimeline::SetEffectTimes};

// Each item moves, with all after it, to where the one before it ends (the first to 0);
// withTransitions moves the overlay's transitions by the same steps, each transition with
// the source of its place. An item's whole move is the sum of the steps up to its own,
// and each step is the gap before it as it stood: one pass sets every item at once,
// where moving all after each item in turn would take as many passes as items.
void PackItems(int32_t track, const PackList& list, bool withTransitions)
{
    auto& tl = Tl();
    const int16_t n = (tl.*list.count)(track);
    std::vector<QmSpan> times(static_cast<size_t>(n));
    std::vector<int32_t> moved(static_cast<size_t>(n));
    int32_t total = 0, previousStop = 0;
    for (int16_t seq = 0; seq < n; ++seq) {
        QmSpan& item = times[static_cast<size_t>(seq)];
        (tl.*list.times)(track, seq, item.start, item.stop);
        total += previousStop - item.start;
        moved[static_cast<size_t>(seq)] = total;
        previousStop = item.stop;
    }
    for (int16_t seq = 0; seq < n; ++seq) {
        const QmSpan& item = times[static_cast<size_t>(seq)];
        const int32_t by = moved[static_cast<size_t>(seq)];
        (tl.*list.setTimes)(track, seq, item.start + by, item.stop + by);
    }
    if (!withTransitions || n == 0)
        return;
    const int16_t keys = tl.GetTransitionCount(track);
    for (int16_t seq = 0; seq < keys; ++seq) {
        int32_t start = 0, stop = 0;
        tl.GetTransitionTimes(track, seq, start, stop);
        const int32_t by = moved[static_cast<size_t>(std::min<int16_t>(seq, static_cast<int16_t>(n - 1)))];
        tl.SetTransitionTimes(track, seq, start + by, stop + by);
    }
}

} // namespace

void PackTracks()
{
    QmTrap::Run(kModule, QStringLiteral("PackTracks"), [] {
        using namespace moduleTWState;
        for (int32_t track : TrackCollection) {
            if (!IsTrackLocked(track))
                PackItems(track, kPackSources, false);
            if (!IsEffectLocked(track))
                PackItems(track, kPackEffects, false);
        }
        if (!IsTrackLocked(OverlayTrack))
            PackItems(OverlayTrack, kPackSources, true);
        CountInForce();
        RenderAllBars();
        moduleScaleRenderer::AdjustScroll();
        ModuleTWPreview::UpdatePreview();
    });
}

void RestoreSize()
{
    QmTrap::Run(kModule, QStringLiteral("RestoreSize"), [] {
        // No lock is asked, and what follows is not moved: a source made longer may
        // come to lie over the next one.
        auto& tl = Tl();
        auto restore = [&tl](int32_t track, bool overlay) {
            const int16_t n = tl.GetSourceCount(track);
            for (int16_t seq = 0; seq < n; ++seq) {
                if (!tl.IsSourceSelected(track, seq))
                    continue;
                QmSpan span;
                tl.GetSourceTimes(track, seq, span.start, span.stop);
                tl.GetSourceMediaTimes(track, seq, span.mediaStart, span.mediaStop);
                const int32_t stop = span.start + span.MediaLength();
                tl.SetSourceTimes(track, seq, span.start, stop);
                if (overlay)
                    tl.SetTransitionTimes(track, seq, span.start, stop);
            }
        };
        for (int32_t track : TrackCollection)
            restore(track, false);
        restore(OverlayTrack, true);
        CountInForce();
        RenderAllBars();
        moduleScaleRenderer::AdjustScroll();
        ModuleTWPreview::UpdatePreview();
    });
}

void RepeateAudio()
{
    QmTrap::Run(kModule, QStringLiteral("RepeateAudio"), [] {
        auto& tl = Tl();
        const int32_t video = TrackCollection.Item(1);
        const int32_t audio1 = TrackCollection.Item(2);
        const int32_t audio2 = TrackCollection.Item(3);
        const int16_t videoCount = tl.GetSourceCount(video);
        if (videoCount == 0 || (tl.GetSourceCount(audio1) == 0 && tl.GetSourceCount(audio2) == 0))
            return;
        int32_t videoStart = 0, videoEnd = 0;
        tl.GetSourceTimes(video, static_cast<int16_t>(videoCount - 1), videoStart, videoEnd);
        int32_t track = 0;
        if (moduleTWState::IsAnySourceSelected(audio1))
            track = audio1;
        else if (moduleTWState::IsAnySourceSelected(audio2))
            track = audio2;
        else
            return;

        // The track's last source repeats, whichever of its sources is selected.
        int16_t seq = static_cast<int16_t>(tl.GetSourceCount(track) - 1);
        const int32_t stream = tl.GetSourceStream(track, seq);
        int32_t audioStart = 0, audioEnd = 0, mediaStart = 0, mediaStop = 0;
        tl.GetSourceTimes(track, seq, audioStart, audioEnd);
        tl.GetSourceMediaTimes(track, seq, mediaStart, mediaStop);
        if (audioEnd >= videoEnd)
            return; // already long enough: the entry made for it stays out of force

        while (audioEnd < videoEnd) {
            const int32_t mediaLength = mediaStop - mediaStart;
            const int32_t remaining = videoEnd - audioEnd;
            if (!tl.AppendSource(track, stream, audioEnd))
                break; // the track holds no more
            ++seq;
            if (remaining >= mediaLength) {
                tl.SetSourceTimes(track, seq, audioEnd, audioEnd + mediaLength);
                tl.SetSourceMediaTimes(track, seq, mediaStart, mediaStop);
            } else {
                // The last repeat ends with the video. Its media stop is the remaining
                // length itself, not counted from the media start: a sound that starts
                // into its file plays a shorter stretch, or none.
                tl.SetSourceTimes(track, seq, audioEnd, videoEnd);
                tl.SetSourceMediaTimes(track, seq, mediaStart, remaining);
            }
            const int32_t reached = audioEnd;
            tl.GetSourceTimes(track, seq, audioStart, audioEnd);
            tl.GetSourceMediaTimes(track, seq, mediaStart, mediaStop);
            if (audioEnd <= reached)
                break; // a sound with no media length would repeat for ever
        }
        CountInForce();
        RenderAllBars();
        moduleScaleRenderer::AdjustScroll();
        ModuleTWPreview::UpdatePreview();
        ModuleTreeView::UpdateTreeView();
    });
}

void SplitTracks()
{
    QmTrap::Run(kModule, QStringLiteral("SplitTracks"), [] {
        using namespace moduleTWState;
        auto& tl = Tl();
        const int32_t p = TimelineView::SliderTime();
        // Neither piece of a source may be shorter than 11 ms; effects have no such rule.
        auto splits = [&tl, p](int32_t track, int16_t seq) {
            int32_t s = 0, e = 0;
            tl.GetSourceTimes(track, seq, s, e);
            return e - p >= 11 && p - s > 10;
        };
        for (int32_t track : TrackCollection) {
            if (!IsTrackLocked(track)) {
                const int16_t seq = GetSequenceNumberFromPos(track, p);
                if (seq >= 0 && splits(track, seq))
                    moduleEdit::SplitSourceAt(track, seq, p);
            }
            if (!IsEffectLocked(track)) {
                const int16_t seq = GetSequenceNumberAtPosEffect(track, p);
                if (seq >= 0)
                    moduleEdit::SplitEffectAt(track, seq, p, 10);
            }
        }
        if (!IsTrackLocked(OverlayTrack)) {
            const int16_t seq = GetSequenceNumberFromPos(OverlayTrack, p);
            if (seq >= 0 && splits(OverlayTrack, seq))
                moduleEdit::SplitOverlayAt(OverlayTrack, seq, p);
        }
        CountInForce();
        RenderAllBars();
        ModuleTWPreview::UpdatePreview();
        ModuleTreeView::UpdateTreeView();
    });
}

void EmptyOverlayTrack()
{
    QmTrap::Run(kModule, QStringLiteral("EmptyOverlayTrack"), [] {
        moduleEdit::RemoveAllItems(OverlayTrack, moduleEdit::ItemList::Transitions);
        moduleEdit::RemoveAllItems(OverlayTrack, moduleEdit::ItemList::Sources);
        CountInForce();
        moduleScaleRenderer::RenderScale();
        RenderAllBars();
        RenderAllSelections();
    });
}

void OnToolsPackTimelineBarsClick()
{
    RunTrackCommand(QStringLiteral("Pack"), PackTracks);
}

void OnEditRestoreSizeClick()
{
    RunTrackCommand(QStringLiteral("Restore"), RestoreSize);
}

void OnToolsRepeatAudioClick()
{
    RunTrackCommand(QStringLiteral("Repeat"), RepeateAudio);
}

void OnToolsSplitTimelineClick()
{
    RunTrackCommand(QStringLiteral("Split"), SplitTracks);
}

void OnEditClearEffectClick()
{
    for (int32_t track : TrackCollection) {
        if (moduleTWState::IsEffectLocked(track)) {
            MsgBox(QStringLiteral("Please unlock the Effect Track before attempting to clear it."),
                   QmMsgBox::Icon::Information);
            return;
        }
    }
    ModuleHistory::RemoveDisabledEntries();
    ModuleHistory::AddOperationToHistory(QStringLiteral("Clear Effects"));
    moduleEdit::EmptyEffectTrack();
    CountInForce();
    ProjectModified = true;
    ModuleHistory::StoreCurrentTLImage();
    ModuleTWPreview::UpdatePreview();
    // The list follows the timeline after every command.
    ModuleTreeView::UpdateTreeView();
}

void OnEditClearOverlayClick()
{
    if (moduleTWState::IsTrackLocked(OverlayTrack)) {
        MsgBox(QStringLiteral("Please unlock the Overlays Track before attempting to clear it."),
               QmMsgBox::Icon::Information);
        return;
    }
    ModuleHistory::RemoveDisabledEntries();
    ModuleHistory::AddOperationToHistory(QStringLiteral("Clear Overlays"));
    EmptyOverlayTrack();
    ProjectModified = true;
    ModuleHistory::StoreCurrentTLImage();
    ModuleTreeView::UpdateTreeView();
    ModuleTWPreview::UpdatePreview();
}

void OnEditClearTimelineClick()
{
    using namespace moduleTWState;
    bool locked = IsTrackLocked(OverlayTrack);
    for (int32_t track : TrackCollection)
        locked = locked || IsTrackLocked(track) || IsEffectLocked(track);
    if (locked) {
        MsgBox(QStringLiteral("One or more tracks in the timeline are locked. Please unlock these tracks before "
                              "attempting to clear the timeline."),
               QmMsgBox::Icon::Information);
        return;
    }
    if (MsgBox(QStringLiteral("Are you sure you want to clear the timeline?"), QmMsgBox::Icon::Question,
               QmMsgBox::Buttons::YesNo)
        != QmMsgBox::Yes)
        return;
    ModuleHistory::RemoveDisabledEntries();
    ModuleHistory::AddOperationToHistory(QStringLiteral("Clear"));
    ModuleHistory::EmptyTimeline();
    QmCommands::RefreshStates();
    ModuleTreeView::UpdateTreeView();
    ModuleTWPreview::UpdatePreview();
    ProjectModified = true;
    CountInForce();
    ModuleHistory::StoreCurrentTLImage();
}

void RegisterTrackCommands()
{
    QmCommands::Register(QStringLiteral("mnuToolsPackTimelineBars"), [] { OnToolsPackTimelineBarsClick(); });
    QmCommands::Register(QStringLiteral("mnuEditRestoreSize"), [] { OnEditRestoreSizeClick(); });
    QmCommands::Register(QStringLiteral("mnuToolsRepeatAudio"), [] { OnToolsRepeatAudioClick(); });
    QmCommands::Register(QStringLiteral("mnuToolsSplitTimeline"), [] { OnToolsSplitTimelineClick(); });
    QmCommands::Register(QStringLiteral("mnuEditClearEffect"), [] { OnEditClearEffectClick(); });
    QmCommands::Register(QStringLiteral("mnuEditClearOverlay"), [] { OnEditClearOverlayClick(); });
    QmCommands::Register(QStringLiteral("mnuEditClearTimeline"), [] { OnEditClearTimelineClick(); });
}

} // namespace moduleTimeline
