// Paste: the clipboard's records back on the tracks they were taken from, at one time.
// It inserts: what lies after the position moves right by the pasted length, and an item
// under the position is split first. Over a selection the selection is deleted first and
// the items after it close up, so that the clip takes the selection's place.
#include "editing/moduleEdit.h"
#include "editing/moduleEditParts.h"

#include "core/QmTrap.h"
#include "editing/moduleTWState.h"
#include "history/ModuleHistory.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/moduleTimeline.h"

using namespace QmShared;
using namespace moduleEdit::Parts;

namespace moduleEdit {

namespace {

// The index of a track's last record, -1 for none; its run starts Seq records earlier.
template <class Clip>
int LastClip(const QList<Clip>& clips, int32_t track)
{
    for (int i = static_cast<int>(clips.size()) - 1; i >= 0; --i)
        if (clips[i].Track == track)
            return i;
    return -1;
}

int LastSourceClip(int32_t track)
{
    return LastClip(SourceClips, track);
}

int LastEffectClip(int32_t track)
{
    return LastClip(EffectClips, track);
}

int LastTransitionClip(int32_t track)
{
    return LastClip(TransitionClips, track);
}

bool HasSourceClip(int32_t track)
{
    return LastSourceClip(track) >= 0;
}

bool HasEffectClip(int32_t track)
{
    return LastEffectClip(track) >= 0;
}

// Where the position falls on a track: the item j before or in which it lies (or the
// last one), with j's timeline times. The walk closes the gap after an item ending at the
// position first when the paste replaces a selection.
struct Place
{
    int16_t j = 0;
    QmSpan item;
};

template <class Times, class Count, class Shift>
Place FindPlace(int32_t position, bool shift, Times times, Count count, Shift shiftFrom)
{
    Place place;
    for (;;) {
        if (shift)
            shiftFrom();
        times(place.j, place.item.start, place.item.stop);
        const int16_t n = count();
        if (place.j < n - 1) {
            int32_t nextStart = 0, nextStop = 0;
            times(static_cast<int16_t>(place.j + 1), nextStart, nextStop);
            if (position >= nextStart) {
                ++place.j;
                continue;
            }
        }
        return place;
    }
}

// The seq to paste before, by where the position falls; -1 when it falls inside j.
int16_t PasteSeq(const Place& place, int32_t position)
{
    const QmSpan& item = place.item;
    if (position == item.start)
        return place.j;
    if (position == item.stop)
        return static_cast<int16_t>(place.j + 1);
    if (item.start < position && position < item.stop)
        return -1;
    if (position < item.start && place.j == 0)
        return place.j;
    return static_cast<int16_t>(place.j + 1);
}

Place SourcePlace(int32_t track, int32_t position, bool shift, bool withTransitions)
{
    auto& tl = Tl();
    return FindPlace(
        position, shift, [&](int16_t seq, int32_t& s, int32_t& e) { tl.GetSourceTimes(track, seq, s, e); },
        [&] { return tl.GetSourceCount(track); },
        [&] {
            ShiftSourcesFromPos(position, track);
            if (withTransitions)
                ShiftTransitionsFromPos(position, track);
        });
}

} // namespace

void SplitSourceAt(int32_t track, int16_t seq, int32_t position)
{
    auto& tl = Tl();
    QmSpan item;
    SourceSpan(track, seq, item);
    const int32_t stream = tl.GetSourceStream(track, seq);
    const int16_t mode = tl.GetSourceStretchMode(track, seq);
    const double rate = Divide(item.Length(), item.MediaLength());
    // Here the whole expression is divided by the rate, unlike the selection edits'
    // edges; for a source at its own speed both agree.
    tl.InsertSource(track, stream, seq, position, 0);
    tl.SetSourceTimes(track, seq, position, item.stop);
    tl.SetSourceMediaTimes(track, seq, Ms(Divide(item.mediaStop - (item.stop - position), rate)), item.mediaStop);
    tl.SetSourceStretchMode(track, seq, mode);
    tl.InsertSource(track, stream, seq, item.start, 0);
    tl.SetSourceTimes(track, seq, item.start, position);
    tl.SetSourceMediaTimes(track, seq, item.mediaStart, Ms(Divide((position - item.start) + item.mediaStart, rate)));
    tl.SetSourceStretchMode(track, seq, mode);
    tl.RemoveSource(track, static_cast<int16_t>(seq + 2));
}

void SplitOverlayAt(int32_t track, int16_t seq, int32_t position)
{
    auto& tl = Tl();
    int32_t start = 0, stop = 0;
    tl.GetSourceTimes(track, seq, start, stop);
    const QString name = tl.GetTransitionName(track, seq, 20).trimmed();
    const KeyColor key = KeyOf(track, seq);
    SplitSourceAt(track, seq, position);
    // The transition is split over the source's times, whatever its own were.
    tl.RemoveTransition(track, seq);
    tl.InsertTransition(track, name, seq, position, stop, 0);
    ApplyTransitionKey(track, seq, key.red, key.green, key.blue);
    tl.InsertTransition(track, name, seq, start, position, 0);
    ApplyTransitionKey(track, seq, key.red, key.green, key.blue);
}

void SplitEffectAt(int32_t track, int16_t seq, int32_t position, int32_t nameBuffer)
{
    auto& tl = Tl();
    int32_t start = 0, stop = 0;
    tl.GetEffectTimes(track, seq, start, stop);
    const QString name = tl.GetEffectName(track, seq, nameBuffer).trimmed();
    tl.RemoveEffect(track, seq);
    tl.InsertEffect(track, name, seq, position, stop, 0);
    tl.InsertEffect(track, name, seq, start, position, 0);
}

void OnEditPasteClick()
{
    ModuleHistory::RemoveDisabledEntries();
    ModuleHistory::AddOperationToHistory(QStringLiteral("Paste"));
    EditPaste();
    ModuleHistory::StoreCurrentTLImage();
    ProjectModified = true;
    ModuleTreeView::UpdateTreeView();
}

void EditPaste()
{
    if (!EnterEdit())
        return;
    QmTrap::Run(Module, QStringLiteral("EditPaste"), [] {
        moduleTimeline::ClearMFSTSubSelections();
        int32_t position = 0;
        bool shift = false;
        // One slider showing is enough here, where a cut wants both.
        if (!TimelineView::SelLineShown(true) && !TimelineView::SelLineShown(false)) {
            position = SliderTime();
        } else {
            EditSelection(ModeDelete);
            position = SelectionStart();
            shift = true;
        }
        EditPasteSource(position, shift);
        EditPasteEffect(position, shift);
        if (EditPasteOverlay(position, shift))
            AfterEdit(true);
    });
    LeaveEdit();
}

bool EditPasteSource(int32_t position, bool shift)
{
    return QmTrap::Value<bool>(Module, QStringLiteral("EditPasteSource"), false, [&] {
        auto& tl = Tl();
        for (int32_t track : TrackCollection) {
            // An empty track takes its records whether locked or not.
            if (tl.GetSourceCount(track) == 0) {
                PasteBefore(track, 0, position);
                continue;
            }
            if (moduleTWState::IsTrackLocked(track))
                continue;
            const Place place = SourcePlace(track, position, shift, false);
            int16_t seq = PasteSeq(place, position);
            if (seq < 0) {
                if (!HasSourceClip(track))
                    continue; // nothing to paste here: the source stays whole
                SplitSourceAt(track, place.j, position);
                seq = static_cast<int16_t>(place.j + 1);
            }
            PasteBefore(track, seq, position);
        }
        return true;
    });
}

bool EditPasteOverlay(int32_t position, bool shift)
{
    return QmTrap::Value<bool>(Module, QStringLiteral("EditPasteOverlay"), false, [&] {
        auto& tl = Tl();
        const int32_t track = OverlayTrack;
        if (tl.GetSourceCount(track) == 0) {
            PasteBefore(track, 0, position);
            PasteTransitionBefore(track, 0, position);
            return true;
        }
        if (moduleTWState::IsTrackLocked(track))
            return true;
        const Place place = SourcePlace(track, position, shift, true);
        int16_t seq = PasteSeq(place, position);
        if (seq < 0) {
            if (!HasSourceClip(track))
                return true;
            SplitOverlayAt(track, place.j, position);
            seq = static_cast<int16_t>(place.j + 1);
        }
        PasteBefore(track, seq, position);
        PasteTransitionBefore(track, seq, position);
        return true;
    });
}

bool EditPasteEffect(int32_t position, bool shift)
{
    return QmTrap::Value<bool>(Module, QStringLiteral("EditPasteEffect"), false, [&] {
        auto& tl = Tl();
        for (int32_t track : TrackCollection) {
            if (tl.GetEffectCount(track) == 0) {
                PasteEffectBefore(track, 0, position);
                continue;
            }
            if (moduleTWState::IsEffectLocked(track))
                continue;
            const Place place = FindPlace(
                position, shift, [&](int16_t seq, int32_t& s, int32_t& e) { tl.GetEffectTimes(track, seq, s, e); },
                [&] { return tl.GetEffectCount(track); }, [&] { ShiftEffectsFromPos(position, track); });
            int16_t seq = PasteSeq(place, position);
            if (seq < 0) {
                if (!HasEffectClip(track))
                    continue;
                SplitEffectAt(track, place.j, position, 260);
                seq = static_cast<int16_t>(place.j + 1);
            }
            PasteEffectBefore(track, seq, position);
        }
        return true;
    });
}

bool PasteBefore(int32_t track, int16_t seq, int32_t position)
{
    return QmTrap::Value<bool>(Module, QStringLiteral("PasteBefore"), false, [&] {
        auto& tl = Tl();
        const int last = LastSourceClip(track);
        if (last < 0)
            return true;
        const int first = last - SourceClips[last].Seq;
        int32_t pendingGap = 0;
        // Backwards, so that each piece lands at seq and pushes the ones placed before.
        for (int i = last; i >= first; --i) {
            const SourceClip& clip = SourceClips[i];
            if (clip.Stream != 0) {
                tl.InsertSource(track, clip.Stream, seq, position, 0);
                tl.SetSourceTimes(track, seq, position, position + clip.Length);
                tl.SetSourceMediaTimes(track, seq, clip.MediaStart, clip.MediaStop);
                tl.SetSourceStretchMode(track, seq, clip.StretchMode);
                tl.ShiftSources(track, static_cast<int16_t>(seq + 1), clip.Length + pendingGap);
                pendingGap = 0;
            } else if (tl.GetSourceCount(track) != 0) {
                pendingGap = clip.MediaStop;
                if (clip.Seq == 0) // a gap at the very start of the run
                    tl.ShiftSources(track, seq, pendingGap);
            }
        }
        return true;
    });
}

bool PasteEffectBefore(int32_t track, int16_t seq, int32_t position)
{
    return QmTrap::Value<bool>(Module, QStringLiteral("PasteEffectBefore"), false, [&] {
        auto& tl = Tl();
        const int last = LastEffectClip(track);
        if (last < 0 || !tl.IsVideoTrack(track))
            return true;
        const int first = last - EffectClips[last].Seq;
        int32_t pendingGap = 0;
        for (int i = last; i >= first; --i) {
            const EffectClip& clip = EffectClips[i];
            if (clip.Name != u"0") {
                tl.InsertEffect(track, clip.Name, seq, position, position + clip.Length, 0);
                tl.ShiftEffects(track, static_cast<int16_t>(seq + 1), clip.Length + pendingGap);
                pendingGap = 0;
            } else if (tl.GetEffectCount(track) != 0) {
                pendingGap = clip.Length;
                if (clip.Seq == 0)
                    tl.ShiftEffects(track, seq, pendingGap);
            }
        }
        return true;
    });
}

bool PasteTransitionBefore(int32_t track, int16_t seq, int32_t position)
{
    return QmTrap::Value<bool>(Module, QStringLiteral("PasteTransitionBefore"), false, [&] {
        auto& tl = Tl();
        const int last = LastTransitionClip(track);
        if (last < 0 || !tl.IsVideoTrack(track))
            return true;
        const int first = last - TransitionClips[last].Seq;
        int32_t pendingGap = 0;
        for (int i = last; i >= first; --i) {
            const TransitionClip& clip = TransitionClips[i];
            if (clip.Name != u"0") {
                tl.InsertTransition(track, clip.Name, seq, position, position + clip.Length, 0);
                ApplyTransitionKey(track, seq, clip.KeyRed, clip.KeyGreen, clip.KeyBlue);
                tl.ShiftTransitions(track, static_cast<int16_t>(seq + 1), clip.Length + pendingGap);
                pendingGap = 0;
            } else if (tl.GetTransitionCount(track) != 0) {
                pendingGap = clip.Length;
                if (clip.Seq == 0)
                    tl.ShiftTransitions(track, seq, pendingGap);
            }
        }
        return true;
    });
}

namespace {

// The gap after the item that ends exactly at the position closes; without one nothing
// moves, and the clip goes in with the old spacing.
template <class Count, class Times, class Shift>
bool CloseGapAt(int32_t position, Count count, Times times, Shift shift)
{
    const int16_t n = count();
    for (int16_t i = 0; i <= n - 2; ++i) {
        int32_t s = 0, e = 0;
        times(i, s, e);
        if (e != position)
            continue;
        int32_t nextStart = 0, nextStop = 0;
        times(static_cast<int16_t>(i + 1), nextStart, nextStop);
        return shift(static_cast<int16_t>(i + 1), -(nextStart - position));
    }
    return false;
}

} // namespace

bool ShiftSourcesFromPos(int32_t position, int32_t track)
{
    auto& tl = Tl();
    return CloseGapAt(
        position, [&] { return tl.GetSourceCount(track); },
        [&](int16_t i, int32_t& s, int32_t& e) { tl.GetSourceTimes(track, i, s, e); },
        [&](int16_t from, int32_t delta) { return tl.ShiftSources(track, from, delta); });
}

bool ShiftEffectsFromPos(int32_t position, int32_t track)
{
    auto& tl = Tl();
    return CloseGapAt(
        position, [&] { return tl.GetEffectCount(track); },
        [&](int16_t i, int32_t& s, int32_t& e) { tl.GetEffectTimes(track, i, s, e); },
        [&](int16_t from, int32_t delta) { return tl.ShiftEffects(track, from, delta); });
}

bool ShiftTransitionsFromPos(int32_t position, int32_t track)
{
    auto& tl = Tl();
    return CloseGapAt(
        position, [&] { return tl.GetTransitionCount(track); },
        [&](int16_t i, int32_t& s, int32_t& e) { tl.GetTransitionTimes(track, i, s, e); },
        [&](int16_t from, int32_t delta) { return tl.ShiftTransitions(track, from, delta); });
}

} // namespace moduleEdit
