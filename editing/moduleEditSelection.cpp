// Cut, copy, delete and crop: over whole selected items, or over the range between the
// selection sliders across every linked, unlocked track. Nothing that survives moves in
// time: a cut leaves a gap, which only a paste over a selection or packing closes.
#include "editing/moduleEdit.h"
#include "editing/moduleEditParts.h"

#include "core/QmPointer.h"
#include "core/QmTrap.h"
#include "editing/moduleTWState.h"
#include "history/ModuleHistory.h"
#include "preview/ModuleTWPreview.h"
#include "shell/QmCommands.h"
#include "shell/frmTools.h"
#include "timeline/ModuleTreeView.h"
#include "timeline/moduleScaleRenderer.h"
#include "timeline/moduleTimeline.h"
#include "timeline/TimelineView.h"

#include <algorithm>
#include <functional>

using namespace QmShared;
using namespace moduleEdit::Parts;

namespace moduleEdit {

namespace {

// The state of a walk over the selection, reset per track.
int16_t WalkSeq = 0;
int16_t ClipSeq = 0;
int16_t TransitionClipSeq = 0;
int32_t PrevStart = 0;
int32_t PrevStop = 0;
bool CropSourcesOnly = false;

void AddSourceClip(int32_t track, int32_t stream, int32_t mediaStart, int32_t mediaStop, int16_t seq, int32_t length,
                   int16_t stretchMode)
{
    SourceClips.append(SourceClip{track, stream, mediaStart, mediaStop, seq, length, stretchMode});
}

void AddEffectClip(int32_t track, const QString& name, int32_t length, int16_t seq)
{
    EffectClips.append(EffectClip{track, name, length, seq});
}

void AddTransitionClip(int32_t track, const QString& name, int32_t length, KeyColor key, int16_t seq)
{
    TransitionClips.append(TransitionClip{track, name, length, key.red, key.green, key.blue, seq});
}

// One item against the selection a..b: where it lies decides what is cut.
enum class Case { Whole, LeftIn, RightIn, Inside };

Case CaseOf(int32_t s, int32_t e, int32_t a, int32_t b)
{
    if (a <= s)
        return b >= e ? Case::Whole : Case::LeftIn;
    return b >= e ? Case::RightIn : Case::Inside;
}

// The guard of cut, copy and every overlay and effect action, delete and crop
// included: the item meets the selection.
bool Meets(int32_t s, int32_t e, int32_t a, int32_t b)
{
    return e > a && s < b;
}

// The guard of a source's delete and crop, which lets a source wholly after the
// selection through.
bool MeetsForDelete(int32_t s, int32_t e, int32_t a, int32_t b)
{
    return e > a && s != b;
}

// A source's media times at the selection's edges.
struct Edges
{
    int32_t atA = 0;
    int32_t atB = 0;
};

Edges MediaEdges(int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    const double rate = Divide(e - s, me - ms);
    return {Ms(Divide(a - s, rate) + ms), Ms(me - Divide(e - b, rate))};
}

// Gap records: the empty stretches inside the selection, so that a paste restores the
// spacing. Which list, which counter and how a stretch before an item is judged differ.
struct GapBook
{
    // Items of the list: count and times.
    int16_t (*count)(int32_t track);
    bool (*times)(int32_t track, int16_t seq, int32_t& start, int32_t& stop);
    // A stretch between two items that both lie in the selection is kept (sources only).
    bool keepsInnerGaps;
    void (*record)(int32_t track, int32_t gap, bool trailing);
};

void LogGapsBy(const GapBook& book, int32_t track, int16_t seq, int32_t s, int32_t e, int32_t a, int32_t b, bool before)
{
    int32_t gap = 0;
    if (before) {
        if (seq == 0)
            return; // a gap ahead of the track's first item is not kept
        const int32_t p = PrevStop;
        if (p == s && a == p)
            return;
        if (p < a && a < s) {
            gap = s - a;
        } else if (book.keepsInnerGaps) {
            if (a > p || p == s)
                return;
            gap = s - p;
        } else {
            if (a > p || a <= s)
                return;
            gap = s - p;
        }
        book.record(track, gap, false);
        return;
    }
    const int16_t n = book.count(track);
    if (seq >= n - 1 && b > e) {
        book.record(track, b - e, true);
        return;
    }
    int32_t nextStart = 0, nextStop = 0;
    book.times(track, static_cast<int16_t>(seq + 1), nextStart, nextStop);
    if (e < b && b < nextStart)
        book.record(track, b - e, false);
}

const GapBook SourceGaps{
    [](int32_t t) { return Tl().GetSourceCount(t); },
    [](int32_t t, int16_t s, int32_t& a, int32_t& b) { return Tl().GetSourceTimes(t, s, a, b); }, true,
    [](int32_t t, int32_t gap, bool) { AddSourceClip(t, 0, 0, gap, ClipSeq++, -1, 0); }};

const GapBook EffectGaps{
    [](int32_t t) { return Tl().GetEffectCount(t); },
    [](int32_t t, int16_t s, int32_t& a, int32_t& b) { return Tl().GetEffectTimes(t, s, a, b); }, false,
    [](int32_t t, int32_t gap, bool) { AddEffectClip(t, QStringLiteral("0"), gap, ClipSeq++); }};

// The trailing gap of the overlay's transitions counts on the source records' counter,
// and the transitions' own counter stays where it was.
const GapBook TransitionGaps{
    [](int32_t t) { return Tl().GetTransitionCount(t); },
    [](int32_t t, int16_t s, int32_t& a, int32_t& b) { return Tl().GetTransitionTimes(t, s, a, b); }, false,
    [](int32_t t, int32_t gap, bool trailing) {
        AddTransitionClip(t, QStringLiteral("0"), gap, {}, TransitionClipSeq);
        ++(trailing ? ClipSeq : TransitionClipSeq);
    }};

void LogGaps(int32_t track, int16_t seq, int32_t s, int32_t e, int32_t a, int32_t b, bool before)
{
    LogGapsBy(SourceGaps, track, seq, s, e, a, b, before);
}

void LogGapsEffects(int32_t track, int16_t seq, int32_t s, int32_t e, int32_t a, int32_t b, bool before)
{
    LogGapsBy(EffectGaps, track, seq, s, e, a, b, before);
}

void LogGapsTransition(int32_t track, int16_t seq, int32_t s, int32_t e, int32_t a, int32_t b, bool before)
{
    LogGapsBy(TransitionGaps, track, seq, s, e, a, b, before);
}

// The part of an item the selection takes: where it overlaps the selection and, for a
// source, the media under that stretch. Cut and copy record it; a crop keeps it.
struct Part
{
    int32_t start = 0, stop = 0;
    int32_t mediaStart = 0, mediaStop = 0;
    int32_t Length() const { return stop - start; }
};

Part PartOf(int32_t s, int32_t e, int32_t a, int32_t b)
{
    return {std::max(s, a), std::min(e, b)};
}

Part PartOf(int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b, const Edges& at)
{
    return {std::max(s, a), std::min(e, b), a <= s ? ms : at.atA, b >= e ? me : at.atB};
}

// The track changes of cut and delete on a source; the flag of the last engine call.
bool CutSourceOnTrack(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b,
                      const Edges& at)
{
    auto& tl = Tl();
    switch (CaseOf(s, e, a, b)) {
    case Case::Whole: {
        const bool ok = tl.RemoveSource(track, seq);
        --seq;
        return ok;
    }
    case Case::LeftIn:
        tl.SetSourceTimes(track, seq, b, e);
        return tl.SetSourceMediaTimes(track, seq, at.atB, me);
    case Case::RightIn:
        tl.SetSourceTimes(track, seq, s, a);
        return tl.SetSourceMediaTimes(track, seq, ms, at.atA);
    case Case::Inside: {
        const int32_t stream = tl.GetSourceStream(track, seq);
        const int16_t mode = tl.GetSourceStretchMode(track, seq);
        // The right piece, then the left one, then the source as it stood goes.
        tl.InsertSource(track, stream, seq, b, 0);
        tl.SetSourceTimes(track, seq, b, e);
        tl.SetSourceMediaTimes(track, seq, at.atB, me);
        tl.SetSourceStretchMode(track, seq, mode);
        tl.InsertSource(track, stream, seq, s, 0);
        tl.SetSourceTimes(track, seq, s, a);
        tl.SetSourceMediaTimes(track, seq, ms, at.atA);
        tl.SetSourceStretchMode(track, seq, mode);
        return tl.RemoveSource(track, static_cast<int16_t>(seq + 2));
    }
    }
    return true;
}

// The transition paired with an overlay follows its source's change.
bool CutTransitionOnTrack(int32_t track, int16_t seq, int32_t s, int32_t e, int32_t a, int32_t b, const QString& name,
                          KeyColor key, Case which)
{
    auto& tl = Tl();
    switch (which) {
    case Case::Whole:
        return tl.RemoveTransition(track, static_cast<int16_t>(seq + 1)); // the source went first
    case Case::LeftIn:
        return tl.SetTransitionTimes(track, seq, b, e);
    case Case::RightIn:
        return tl.SetTransitionTimes(track, seq, s, a);
    case Case::Inside:
        tl.InsertTransition(track, name, seq, b, e, 0);
        ApplyTransitionKey(track, seq, key.red, key.green, key.blue);
        tl.InsertTransition(track, name, seq, s, a, 0);
        ApplyTransitionKey(track, seq, key.red, key.green, key.blue);
        return tl.RemoveTransition(track, static_cast<int16_t>(seq + 2));
    }
    return true;
}

// A crop keeps the part inside the selection, where it was; an item wholly inside stays.
bool CropSourceOnTrack(int32_t track, int16_t seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b,
                       const Edges& at)
{
    if (CaseOf(s, e, a, b) == Case::Whole)
        return true;
    const Part kept = PartOf(s, e, ms, me, a, b, at);
    Tl().SetSourceTimes(track, seq, kept.start, kept.stop);
    return Tl().SetSourceMediaTimes(track, seq, kept.mediaStart, kept.mediaStop);
}

// Source actions.

bool CutOrCopySource(bool cut, int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a,
                     int32_t b)
{
    if (!Meets(s, e, a, b))
        return true;
    auto& tl = Tl();
    const int32_t stream = tl.GetSourceStream(track, seq);
    const int16_t mode = tl.GetSourceStretchMode(track, seq);
    LogGaps(track, seq, s, e, a, b, true);
    PrevStart = s;
    PrevStop = e;
    const Edges at = MediaEdges(s, e, ms, me, a, b);
    const Part piece = PartOf(s, e, ms, me, a, b, at);
    const bool ok = !cut || CutSourceOnTrack(track, seq, s, e, ms, me, a, b, at);
    AddSourceClip(track, stream, piece.mediaStart, piece.mediaStop, ClipSeq++, piece.Length(), mode);
    LogGaps(track, seq, s, e, a, b, false);
    return ok;
}

bool CutAction(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    return CutOrCopySource(true, track, seq, s, e, ms, me, a, b);
}

bool CopyAction(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    return CutOrCopySource(false, track, seq, s, e, ms, me, a, b);
}

bool DeleteAction(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    if (!MeetsForDelete(s, e, a, b))
        return true;
    return CutSourceOnTrack(track, seq, s, e, ms, me, a, b, MediaEdges(s, e, ms, me, a, b));
}

bool CropAction(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    if (!MeetsForDelete(s, e, a, b))
        return true;
    return CropSourceOnTrack(track, seq, s, e, ms, me, a, b, MediaEdges(s, e, ms, me, a, b));
}

// Overlay actions: the source's action, with the paired transition kept in step.

bool CutOrCopyOverlay(bool cut, int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a,
                      int32_t b)
{
    if (!Meets(s, e, a, b))
        return true;
    auto& tl = Tl();
    const QString name = tl.GetTransitionName(track, seq, 20).trimmed();
    const KeyColor key = KeyOf(track, seq);
    const int32_t stream = tl.GetSourceStream(track, seq);
    const int16_t mode = tl.GetSourceStretchMode(track, seq);
    LogGaps(track, seq, s, e, a, b, true);
    LogGapsTransition(track, seq, s, e, a, b, true);
    PrevStart = s;
    PrevStop = e;
    const Edges at = MediaEdges(s, e, ms, me, a, b);
    const Part piece = PartOf(s, e, ms, me, a, b, at);
    bool ok = true;
    if (cut) {
        CutSourceOnTrack(track, seq, s, e, ms, me, a, b, at);
        ok = CutTransitionOnTrack(track, seq, s, e, a, b, name, key, CaseOf(s, e, a, b));
    }
    AddSourceClip(track, stream, piece.mediaStart, piece.mediaStop, ClipSeq++, piece.Length(), mode);
    AddTransitionClip(track, name, piece.Length(), key, TransitionClipSeq++);
    LogGaps(track, seq, s, e, a, b, false);
    LogGapsTransition(track, seq, s, e, a, b, false);
    return ok;
}

bool CutActionOverlay(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    return CutOrCopyOverlay(true, track, seq, s, e, ms, me, a, b);
}

bool CopyActionOverlay(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    return CutOrCopyOverlay(false, track, seq, s, e, ms, me, a, b);
}

bool DeleteActionOverlay(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    // Unlike a source's, an overlay's delete and crop keep the common guard.
    if (!Meets(s, e, a, b))
        return true;
    const QString name = Tl().GetTransitionName(track, seq, 260).trimmed();
    const KeyColor key = KeyOf(track, seq);
    const Edges at = MediaEdges(s, e, ms, me, a, b);
    const Case which = CaseOf(s, e, a, b);
    CutSourceOnTrack(track, seq, s, e, ms, me, a, b, at);
    return CutTransitionOnTrack(track, seq, s, e, a, b, name, key, which);
}

bool CropActionOverlay(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t ms, int32_t me, int32_t a, int32_t b)
{
    if (!Meets(s, e, a, b))
        return true;
    const bool ok = CropSourceOnTrack(track, seq, s, e, ms, me, a, b, MediaEdges(s, e, ms, me, a, b));
    if (CaseOf(s, e, a, b) == Case::Whole)
        return ok;
    const Part kept = PartOf(s, e, a, b);
    return Tl().SetTransitionTimes(track, seq, kept.start, kept.stop);
}

// Effect actions: no media side.

bool CutOrDeleteEffect(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t a, int32_t b, const QString& name)
{
    auto& tl = Tl();
    switch (CaseOf(s, e, a, b)) {
    case Case::Whole: {
        const bool ok = tl.RemoveEffect(track, seq);
        --seq;
        return ok;
    }
    case Case::LeftIn:
        return tl.SetEffectTimes(track, seq, b, e);
    case Case::RightIn:
        return tl.SetEffectTimes(track, seq, s, a);
    case Case::Inside:
        tl.RemoveEffect(track, seq);
        tl.InsertEffect(track, name, seq, b, e, 0);
        return tl.InsertEffect(track, name, seq, s, a, 0);
    }
    return true;
}

// Cut reads the effect's name through a narrower buffer than copy does.
bool CutOrCopyEffect(bool cut, int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t a, int32_t b)
{
    if (!Meets(s, e, a, b))
        return true;
    const QString name = Tl().GetEffectName(track, seq, cut ? 10 : 260).trimmed();
    LogGapsEffects(track, seq, s, e, a, b, true);
    PrevStart = s;
    PrevStop = e;
    const bool ok = !cut || CutOrDeleteEffect(track, seq, s, e, a, b, name);
    AddEffectClip(track, name, PartOf(s, e, a, b).Length(), ClipSeq++);
    LogGapsEffects(track, seq, s, e, a, b, false);
    return ok;
}

bool CutActionEffect(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t a, int32_t b)
{
    return CutOrCopyEffect(true, track, seq, s, e, a, b);
}

bool CopyActionEffect(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t a, int32_t b)
{
    return CutOrCopyEffect(false, track, seq, s, e, a, b);
}

bool DeleteActionEffect(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t a, int32_t b)
{
    if (!Meets(s, e, a, b))
        return true;
    const QString name = Tl().GetEffectName(track, seq, 260).trimmed();
    return CutOrDeleteEffect(track, seq, s, e, a, b, name);
}

bool CropActionEffect(int32_t track, int16_t& seq, int32_t s, int32_t e, int32_t a, int32_t b)
{
    if (!Meets(s, e, a, b) || CaseOf(s, e, a, b) == Case::Whole)
        return true;
    const Part kept = PartOf(s, e, a, b);
    return Tl().SetEffectTimes(track, seq, kept.start, kept.stop);
}

using SourceAction = bool (*)(int32_t, int16_t&, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t);
using EffectAction = bool (*)(int32_t, int16_t&, int32_t, int32_t, int32_t, int32_t);

// Each action has a trap of its own: an error ends that item, and the walk goes on.
bool Trapped(const char* name, const std::function<bool()>& action)
{
    return QmTrap::Value<bool>(Module, QLatin1String(name), true, action);
}

SourceAction SourceActionOf(int16_t mode, bool overlay)
{
    switch (mode) {
    case ModeCut:
        return overlay ? CutActionOverlay : CutAction;
    case ModeCopy:
        return overlay ? CopyActionOverlay : CopyAction;
    case ModeDelete:
        return overlay ? DeleteActionOverlay : DeleteAction;
    case ModeCrop:
        return overlay ? CropActionOverlay : CropAction;
    default:
        return nullptr; // 2 is reserved
    }
}

EffectAction EffectActionOf(int16_t mode)
{
    switch (mode) {
    case ModeCut:
        return CutActionEffect;
    case ModeCopy:
        return CopyActionEffect;
    case ModeDelete:
        return DeleteActionEffect;
    case ModeCrop:
        return CropActionEffect;
    default:
        return nullptr;
    }
}

void StartTrackWalk()
{
    WalkSeq = 0;
    ClipSeq = 0;
    PrevStart = 0;
    PrevStop = 0;
}

// One track's sources against the selection.
void WalkSources(int32_t track, int16_t mode, bool overlay, int32_t a, int32_t b, bool& result)
{
    auto& tl = Tl();
    StartTrackWalk();
    if (overlay)
        TransitionClipSeq = 0;
    const SourceAction action = SourceActionOf(mode, overlay);
    static const char* const names[2][5] = {{"CutAction", "CopyAction", "", "DeleteAction", "CropAction"},
                                            {"CutActionOverlay", "CopyActionOverlay", "", "DeleteActionOverlay",
                                             "CropActionOverlay"}};
    const char* name = action ? names[overlay ? 1 : 0][mode] : "";
    for (;;) {
        int32_t s = 0, e = 0, ms = 0, me = 0;
        if (!tl.GetSourceTimes(track, WalkSeq, s, e))
            return;
        tl.GetSourceMediaTimes(track, WalkSeq, ms, me);
        if (tl.GetTrackLink(track)) {
            if (moduleTWState::IsTrackLocked(track))
                return;
            if (action)
                result = Trapped(name, [&] { return action(track, WalkSeq, s, e, ms, me, a, b); });
            if (a > s && b < e)
                return; // the selection lay inside this one source
        }
        ++WalkSeq;
    }
}

void WalkEffects(int32_t track, int16_t mode, int32_t a, int32_t b, bool& result)
{
    auto& tl = Tl();
    StartTrackWalk();
    const EffectAction action = EffectActionOf(mode);
    static const char* const names[5] = {"CutActionEffect", "CopyActionEffect", "", "DeleteActionEffect",
                                         "CropActionEffect"};
    const char* name = action ? names[mode] : "";
    for (;;) {
        int32_t s = 0, e = 0;
        if (!tl.GetEffectTimes(track, WalkSeq, s, e))
            return;
        if (moduleTWState::IsEffectSelected(track)) {
            if (moduleTWState::IsEffectLocked(track))
                return;
            if (action)
                result = Trapped(name, [&] { return action(track, WalkSeq, s, e, a, b); });
            if (a > s && b < e)
                return;
        }
        ++WalkSeq;
    }
}

// The whole-item forms share one walk: the items of a track in order, the selected ones
// taken while the track is unlocked.
struct ItemWalk
{
    int16_t (*count)(int32_t track);
    bool (*selected)(int32_t track, int16_t seq);
    bool (*locked)(int32_t track);
};

const ItemWalk SourceItems{[](int32_t t) { return Tl().GetSourceCount(t); },
                           [](int32_t t, int16_t s) { return Tl().IsSourceSelected(t, s); }, moduleTWState::IsTrackLocked};
const ItemWalk EffectItems{[](int32_t t) { return Tl().GetEffectCount(t); },
                           [](int32_t t, int16_t s) { return Tl().IsEffectItemSelected(t, s); },
                           moduleTWState::IsEffectLocked};

// Visits the selected items (or, for a crop, the others) of a track; take returns
// whether it removed the item. A locked track is left at the first item visited.
template <class Take>
void WalkItems(const ItemWalk& walk, int32_t track, bool selectedOnes, Take take)
{
    int16_t count = walk.count(track);
    int16_t run = 0;
    for (int16_t seq = 0; seq < count; ++seq) {
        if (walk.selected(track, seq) != selectedOnes)
            continue;
        if (walk.locked(track))
            return;
        if (take(seq, run)) {
            --seq;
            --count;
        }
        ++run;
    }
}

enum class Whole { Cut, Copy, Delete };

// A whole source as a clipboard record of the run; its length is returned.
int32_t RecordWholeSource(int32_t track, int16_t seq, int16_t run)
{
    auto& tl = Tl();
    int32_t ms = 0, me = 0, s = 0, e = 0;
    tl.GetSourceMediaTimes(track, seq, ms, me);
    tl.GetSourceTimes(track, seq, s, e);
    AddSourceClip(track, tl.GetSourceStream(track, seq), ms, me, run, e - s, tl.GetSourceStretchMode(track, seq));
    return e - s;
}

// An overlay goes with its transition; whether the source went is the answer.
bool RemoveOverlay(int32_t track, int16_t seq)
{
    const bool removed = Tl().RemoveSource(track, seq);
    Tl().RemoveTransition(track, seq);
    return removed;
}

bool SourcesWhole(const QString& routine, Whole how)
{
    return QmTrap::Value<bool>(Module, routine, false, [how] {
        for (int32_t track : TrackCollection) {
            WalkItems(SourceItems, track, true, [&](int16_t seq, int16_t run) {
                if (how != Whole::Delete)
                    RecordWholeSource(track, seq, run);
                return how != Whole::Copy && Tl().RemoveSource(track, seq);
            });
        }
        return true;
    });
}

bool EffectsWhole(const QString& routine, Whole how)
{
    return QmTrap::Value<bool>(Module, routine, false, [how] {
        auto& tl = Tl();
        for (int32_t track : TrackCollection) {
            WalkItems(EffectItems, track, true, [&](int16_t seq, int16_t run) {
                if (how != Whole::Delete) {
                    int32_t s = 0, e = 0;
                    tl.GetEffectTimes(track, seq, s, e);
                    AddEffectClip(track, tl.GetEffectName(track, seq, 10).trimmed(), e - s, run);
                }
                return how != Whole::Copy && tl.RemoveEffect(track, seq);
            });
        }
        return true;
    });
}

bool OverlayWhole(const QString& routine, Whole how)
{
    return QmTrap::Value<bool>(Module, routine, false, [how] {
        const int32_t track = OverlayTrack;
        WalkItems(SourceItems, track, true, [&](int16_t seq, int16_t run) {
            if (how != Whole::Delete) {
                const int32_t length = RecordWholeSource(track, seq, run);
                AddTransitionClip(track, Tl().GetTransitionName(track, seq, 20).trimmed(), length, KeyOf(track, seq),
                                  run);
            }
            return how != Whole::Copy && RemoveOverlay(track, seq);
        });
        return true;
    });
}

// Runs the routine of a command between the frame's first and last steps.
void RunEdit(const QString& name, int16_t mode, bool clears, bool emptiesBareEffects)
{
    if (!EnterEdit())
        return;
    QmTrap::Run(Module, name, [&] {
        if (clears) {
            ClearSourceClips();
            ClearEffectClips();
            ClearTransitionClips();
        }
        bool result = false;
        if (TimelineView::SelLineShown(true) && TimelineView::SelLineShown(false)) {
            result = EditSelection(mode);
        } else {
            switch (mode) {
            case ModeCut:
                EditCutSource();
                EditCutEffect();
                result = EditCutOverlay();
                break;
            case ModeCopy:
                EditCopySource();
                EditCopyEffect();
                result = EditCopyOverlay();
                break;
            case ModeDelete:
                EditDeleteSource();
                EditDeleteEffect();
                result = EditDeleteOverlay();
                break;
            default:
                EditCropSource();
                EditCropEffect();
                result = EditCropOverlay();
                break;
            }
        }
        if (!result)
            return;
        if (emptiesBareEffects)
            EmptyEffectsOfBareTracks();
        AfterEdit(mode != ModeCopy);
    });
    LeaveEdit();
}

// The menu handler's frame: history entry, routine, image, list.
void RunCommand(const QString& word, bool updatesTree, const std::function<void()>& routine)
{
    if (moduleTWState::IsTimelineEmpty())
        return; // the menus are brought up to date by the caller
    ModuleHistory::RemoveDisabledEntries();
    ModuleHistory::AddOperationToHistory(word);
    routine();
    ModuleHistory::StoreCurrentTLImage();
    ProjectModified = true;
    if (updatesTree)
        ModuleTreeView::UpdateTreeView();
}

} // namespace

namespace Parts {

bool EnterEdit()
{
    if (InSelectionUpdate)
        return false;
    InSelectionUpdate = true;
    QmPointer::Hourglass();
    return true;
}

void LeaveEdit()
{
    InSelectionUpdate = false;
    QmPointer::Normal();
}

void AfterEdit(bool updatePreview)
{
    moduleScaleRenderer::RenderScale();
    moduleTimeline::RenderAllBars();
    moduleScaleRenderer::AdjustScroll();
    if (updatePreview)
        ModuleTWPreview::UpdatePreview();
    ++ModuleHistory::HistoryIndex;
    ModuleHistory::RearrangeHistoryCollection();
    frmTools* tools = frmTools::instance();
    tools->ActionsClear();
    tools->ActionsBuildTimeline();
    tools->ActionsBuildCommon();
}

} // namespace Parts

void EditCut()
{
    RunEdit(QStringLiteral("EditCut"), ModeCut, true, true);
}

void EditCopy()
{
    RunEdit(QStringLiteral("EditCopy"), ModeCopy, true, false);
}

void EditDelete()
{
    RunEdit(QStringLiteral("EditDelete"), ModeDelete, false, true);
}

void EditCrop(bool cropSourcesOnly)
{
    CropSourcesOnly = cropSourcesOnly;
    RunEdit(QStringLiteral("EditCrop"), ModeCrop, false, true);
}

bool EditSelection(int16_t mode)
{
    bool result = true;
    QmTrap::Run(Module, QStringLiteral("EditSelection"), [&] {
        if (mode == ModeCrop && !CropSourcesOnly)
            DropOutsideSelection();
        const int32_t a = SelectionStart();
        const int32_t b = SelectionEnd();
        // Video tracks, audio tracks, effect lanes, then the overlay.
        using TimelineView::RowKind;
        for (RowKind kind : {RowKind::Video, RowKind::Audio, RowKind::Effect, RowKind::Overlay}) {
            for (int i = 0; i < TimelineView::RowCount(kind); ++i) {
                const int32_t track = TimelineView::TrackOf(kind, i);
                if (kind == RowKind::Effect)
                    WalkEffects(track, mode, a, b, result);
                else
                    WalkSources(track, mode, kind == RowKind::Overlay, a, b, result);
            }
        }
    });
    moduleTimeline::ShowSelSliders(false);
    return result;
}

bool EditCutSource()
{
    return SourcesWhole(QStringLiteral("EditCutSource"), Whole::Cut);
}

bool EditCopySource()
{
    return SourcesWhole(QStringLiteral("EditCopySource"), Whole::Copy);
}

bool EditDeleteSource()
{
    return SourcesWhole(QStringLiteral("EditDeleteSource"), Whole::Delete);
}

bool EditCutEffect()
{
    return EffectsWhole(QStringLiteral("EditCutEffect"), Whole::Cut);
}

bool EditCopyEffect()
{
    return EffectsWhole(QStringLiteral("EditCopyEffect"), Whole::Copy);
}

bool EditDeleteEffect()
{
    return EffectsWhole(QStringLiteral("EditDeleteEffect"), Whole::Delete);
}

bool EditCutOverlay()
{
    return OverlayWhole(QStringLiteral("EditCutOverlay"), Whole::Cut);
}

bool EditCopyOverlay()
{
    return OverlayWhole(QStringLiteral("EditCopyOverlay"), Whole::Copy);
}

bool EditDeleteOverlay()
{
    return OverlayWhole(QStringLiteral("EditDeleteOverlay"), Whole::Delete);
}

bool EditCropSource()
{
    return QmTrap::Value<bool>(Module, QStringLiteral("EditCropSource"), false, [] {
        for (int32_t track : TrackCollection) {
            if (moduleTWState::IsAnySourceSelected(track))
                WalkItems(SourceItems, track, false, [track](int16_t seq, int16_t) { return Tl().RemoveSource(track, seq); });
        }
        return true;
    });
}

bool EditCropEffect()
{
    return QmTrap::Value<bool>(Module, QStringLiteral("EditCropEffect"), false, [] {
        for (int32_t track : TrackCollection) {
            if (moduleTWState::IsAnyEffectSelected(track))
                WalkItems(EffectItems, track, false, [track](int16_t seq, int16_t) { return Tl().RemoveEffect(track, seq); });
        }
        return true;
    });
}

bool EditCropOverlay()
{
    return QmTrap::Value<bool>(Module, QStringLiteral("EditCropOverlay"), false, [] {
        const int32_t track = OverlayTrack;
        if (moduleTWState::IsAnySourceSelected(track))
            WalkItems(SourceItems, track, false, [track](int16_t seq, int16_t) { return RemoveOverlay(track, seq); });
        return true;
    });
}

void DropOutsideSelection()
{
    QmTrap::Run(Module, QStringLiteral("DropOutsideSelection"), [] {
        auto& tl = Tl();
        const int32_t a = SelectionStart();
        const int32_t b = SelectionEnd();
        auto edgeInside = [a, b](int32_t s, int32_t e) { return (s < a && a < e) || (s < b && b < e); };
        const int videoRows = TimelineView::RowCount(TimelineView::RowKind::Video);
        int i = 1;
        for (int32_t track : TrackCollection) {
            if (!moduleTWState::IsTrackLocked(track) && tl.GetTrackLink(track)) {
                int32_t s = 0, e = 0;
                for (int16_t seq = 0; tl.GetSourceTimes(track, seq, s, e);) {
                    if (!edgeInside(s, e) && (s < a || e > b))
                        tl.RemoveSource(track, seq);
                    else
                        ++seq;
                }
            }
            // An effect that shares an edge with the selection goes, where a source stays.
            if (i <= videoRows && moduleTWState::IsEffectSelected(track) && !moduleTWState::IsEffectLocked(track)) {
                int32_t s = 0, e = 0;
                for (int16_t seq = 0; tl.GetEffectTimes(track, seq, s, e);) {
                    if (!edgeInside(s, e) && (s <= a || e >= b))
                        tl.RemoveEffect(track, seq);
                    else
                        ++seq;
                }
            }
            ++i;
        }
        const int32_t overlay = OverlayTrack;
        if (!moduleTWState::IsTrackLocked(overlay) && tl.GetTrackLink(overlay)) {
            int32_t s = 0, e = 0;
            for (int16_t seq = 0; tl.GetSourceTimes(overlay, seq, s, e);) {
                if (!edgeInside(s, e) && (s <= a || e >= b))
                    RemoveOverlay(overlay, seq);
                else
                    ++seq;
            }
        }
    });
}

void OnEditCutClick()
{
    RunCommand(QStringLiteral("Cut"), true, EditCut);
}

void OnEditCopyClick()
{
    RunCommand(QStringLiteral("Copy"), false, EditCopy);
}

void OnEditClearClick()
{
    RunCommand(QStringLiteral("Delete"), true, EditDelete);
}

void OnEditCropClick()
{
    RunCommand(QStringLiteral("Crop"), true, [] { EditCrop(false); });
}

void OnEditCropSourcesClick()
{
    RunCommand(QStringLiteral("CropSources"), true, [] { EditCrop(true); });
}

void RegisterCommands()
{
    QmCommands::Register(QStringLiteral("mnuEditCut"), [] { OnEditCutClick(); });
    QmCommands::Register(QStringLiteral("mnuEditCopy"), [] { OnEditCopyClick(); });
    QmCommands::Register(QStringLiteral("mnuEditClear"), [] { OnEditClearClick(); });
    QmCommands::Register(QStringLiteral("mnuEditCrop"), [] { OnEditCropClick(); });
    QmCommands::Register(QStringLiteral("mnuEditCropSources"), [] { OnEditCropSourcesClick(); });
    QmCommands::Register(QStringLiteral("mnuEditPaste"), [] { OnEditPasteClick(); });
}

} // namespace moduleEdit
