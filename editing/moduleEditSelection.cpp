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

// A piece of a source: its media and its length on the timeline.
void AddSourceClip(int32_t track, int32_t stream, const QmSpan& piece, int16_t seq, int16_t stretchMode)
{
    SourceClips.append(
        SourceClip{track, stream, piece.mediaStart, piece.mediaStop, seq, piece.Length(), stretchMode});
}

// A gap keeps its length where a piece keeps its media stop.
void AddSourceGap(int32_t track, int32_t gap, int16_t seq)
{
    SourceClips.append(SourceClip{track, 0, 0, gap, seq, -1, 0});
}

void AddEffectClip(int32_t track, const QString& name, int32_t length, int16_t seq)
{
    EffectClips.append(EffectClip{track, name, length, seq});
}

void AddTransitionClip(int32_t track, const QString& name, int32_t length, KeyColor key, int16_t seq)
{
    TransitionClips.append(TransitionClip{track, name, length, key.red, key.green, key.blue, seq});
}

// Where the item lies against the selection decides what is cut.
enum class Case { Whole, LeftIn, RightIn, Inside };

Case CaseOf(const QmSpan& item, const QmSelection& sel)
{
    if (sel.start <= item.start)
        return sel.end >= item.stop ? Case::Whole : Case::LeftIn;
    return sel.end >= item.stop ? Case::RightIn : Case::Inside;
}

// The guard of cut, copy and every overlay and effect action, delete and crop
// included: the item meets the selection.
bool Meets(const QmSpan& item, const QmSelection& sel)
{
    return item.stop > sel.start && item.start < sel.end;
}

// The guard of a source's delete and crop, which lets a source wholly after the
// selection through.
bool MeetsForDelete(const QmSpan& item, const QmSelection& sel)
{
    return item.stop > sel.start && item.start != sel.end;
}

// A source's media times at the selection's edges.
struct Edges
{
    int32_t atA = 0;
    int32_t atB = 0;
};

Edges MediaEdges(const QmSpan& item, const QmSelection& sel)
{
    const double rate = Divide(item.Length(), item.MediaLength());
    return {Ms(Divide(sel.start - item.start, rate) + item.mediaStart),
            Ms(item.mediaStop - Divide(item.stop - sel.end, rate))};
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

void LogGapsBy(const GapBook& book, int32_t track, int16_t seq, const QmSpan& item, const QmSelection& sel,
               bool before)
{
    const int32_t s = item.start, e = item.stop, a = sel.start, b = sel.end;
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
    [](int32_t t, int16_t q, int32_t& start, int32_t& stop) { return Tl().GetSourceTimes(t, q, start, stop); }, true,
    [](int32_t t, int32_t gap, bool) { AddSourceGap(t, gap, ClipSeq++); }};

const GapBook EffectGaps{
    [](int32_t t) { return Tl().GetEffectCount(t); },
    [](int32_t t, int16_t q, int32_t& start, int32_t& stop) { return Tl().GetEffectTimes(t, q, start, stop); }, false,
    [](int32_t t, int32_t gap, bool) { AddEffectClip(t, QStringLiteral("0"), gap, ClipSeq++); }};

// The trailing gap of the overlay's transitions counts on the source records' counter,
// and the transitions' own counter stays where it was.
const GapBook TransitionGaps{
    [](int32_t t) { return Tl().GetTransitionCount(t); },
    [](int32_t t, int16_t q, int32_t& start, int32_t& stop) { return Tl().GetTransitionTimes(t, q, start, stop); }, false,
    [](int32_t t, int32_t gap, bool trailing) {
        AddTransitionClip(t, QStringLiteral("0"), gap, {}, TransitionClipSeq);
        ++(trailing ? ClipSeq : TransitionClipSeq);
    }};

void LogGaps(int32_t track, int16_t seq, const QmSpan& item, const QmSelection& sel, bool before)
{
    LogGapsBy(SourceGaps, track, seq, item, sel, before);
}

void LogGapsEffects(int32_t track, int16_t seq, const QmSpan& item, const QmSelection& sel, bool before)
{
    LogGapsBy(EffectGaps, track, seq, item, sel, before);
}

void LogGapsTransition(int32_t track, int16_t seq, const QmSpan& item, const QmSelection& sel, bool before)
{
    LogGapsBy(TransitionGaps, track, seq, item, sel, before);
}

// The part of an item the selection takes: where it overlaps the selection and, for a
// source, the media under that stretch (at its edges where the selection cuts it). Cut
// and copy record it; a crop keeps it.
QmSpan PartOf(const QmSpan& item, const QmSelection& sel, const Edges& at = {})
{
    return {std::max(item.start, sel.start), std::min(item.stop, sel.end),
            sel.start <= item.start ? item.mediaStart : at.atA, sel.end >= item.stop ? item.mediaStop : at.atB};
}

// The track changes of cut and delete on a source; the flag of the last engine call.
bool CutSourceOnTrack(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel, const Edges& at)
{
    auto& tl = Tl();
    switch (CaseOf(item, sel)) {
    case Case::Whole: {
        const bool ok = tl.RemoveSource(track, seq);
        --seq;
        return ok;
    }
    case Case::LeftIn:
        tl.SetSourceTimes(track, seq, sel.end, item.stop);
        return tl.SetSourceMediaTimes(track, seq, at.atB, item.mediaStop);
    case Case::RightIn:
        tl.SetSourceTimes(track, seq, item.start, sel.start);
        return tl.SetSourceMediaTimes(track, seq, item.mediaStart, at.atA);
    case Case::Inside: {
        const int32_t stream = tl.GetSourceStream(track, seq);
        const int16_t mode = tl.GetSourceStretchMode(track, seq);
        // The right piece, then the left one, then the source as it stood goes.
        tl.InsertSource(track, stream, seq, sel.end, 0);
        tl.SetSourceTimes(track, seq, sel.end, item.stop);
        tl.SetSourceMediaTimes(track, seq, at.atB, item.mediaStop);
        tl.SetSourceStretchMode(track, seq, mode);
        tl.InsertSource(track, stream, seq, item.start, 0);
        tl.SetSourceTimes(track, seq, item.start, sel.start);
        tl.SetSourceMediaTimes(track, seq, item.mediaStart, at.atA);
        tl.SetSourceStretchMode(track, seq, mode);
        return tl.RemoveSource(track, static_cast<int16_t>(seq + 2));
    }
    }
    return true;
}

// The transition paired with an overlay follows its source's change.
bool CutTransitionOnTrack(int32_t track, int16_t seq, const QmSpan& item, const QmSelection& sel, const QString& name,
                          KeyColor key, Case which)
{
    auto& tl = Tl();
    switch (which) {
    case Case::Whole:
        return tl.RemoveTransition(track, static_cast<int16_t>(seq + 1)); // the source went first
    case Case::LeftIn:
        return tl.SetTransitionTimes(track, seq, sel.end, item.stop);
    case Case::RightIn:
        return tl.SetTransitionTimes(track, seq, item.start, sel.start);
    case Case::Inside:
        tl.InsertTransition(track, name, seq, sel.end, item.stop, 0);
        ApplyTransitionKey(track, seq, key.red, key.green, key.blue);
        tl.InsertTransition(track, name, seq, item.start, sel.start, 0);
        ApplyTransitionKey(track, seq, key.red, key.green, key.blue);
        return tl.RemoveTransition(track, static_cast<int16_t>(seq + 2));
    }
    return true;
}

// A crop keeps the part inside the selection, where it was; an item wholly inside stays.
bool CropSourceOnTrack(int32_t track, int16_t seq, const QmSpan& item, const QmSelection& sel, const Edges& at)
{
    if (CaseOf(item, sel) == Case::Whole)
        return true;
    const QmSpan kept = PartOf(item, sel, at);
    Tl().SetSourceTimes(track, seq, kept.start, kept.stop);
    return Tl().SetSourceMediaTimes(track, seq, kept.mediaStart, kept.mediaStop);
}

// Every action takes the item at seq of a track against the selection; seq steps back
// when the item went. The answer is the flag of the action's last engine call.
using Action = bool (*)(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel);

// Source actions.

bool CutOrCopySource(bool cut, int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    if (!Meets(item, sel))
        return true;
    auto& tl = Tl();
    const int32_t stream = tl.GetSourceStream(track, seq);
    const int16_t mode = tl.GetSourceStretchMode(track, seq);
    LogGaps(track, seq, item, sel, true);
    PrevStart = item.start;
    PrevStop = item.stop;
    const Edges at = MediaEdges(item, sel);
    const QmSpan piece = PartOf(item, sel, at);
    const bool ok = !cut || CutSourceOnTrack(track, seq, item, sel, at);
    AddSourceClip(track, stream, piece, ClipSeq++, mode);
    LogGaps(track, seq, item, sel, false);
    return ok;
}

bool CutAction(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    return CutOrCopySource(true, track, seq, item, sel);
}

bool CopyAction(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    return CutOrCopySource(false, track, seq, item, sel);
}

bool DeleteAction(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    if (!MeetsForDelete(item, sel))
        return true;
    return CutSourceOnTrack(track, seq, item, sel, MediaEdges(item, sel));
}

bool CropAction(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    if (!MeetsForDelete(item, sel))
        return true;
    return CropSourceOnTrack(track, seq, item, sel, MediaEdges(item, sel));
}

// Overlay actions: the source's action, with the paired transition kept in step.

bool CutOrCopyOverlay(bool cut, int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    if (!Meets(item, sel))
        return true;
    auto& tl = Tl();
    const QString name = tl.GetTransitionName(track, seq, 20).trimmed();
    const KeyColor key = KeyOf(track, seq);
    const int32_t stream = tl.GetSourceStream(track, seq);
    const int16_t mode = tl.GetSourceStretchMode(track, seq);
    LogGaps(track, seq, item, sel, true);
    LogGapsTransition(track, seq, item, sel, true);
    PrevStart = item.start;
    PrevStop = item.stop;
    const Edges at = MediaEdges(item, sel);
    const QmSpan piece = PartOf(item, sel, at);
    bool ok = true;
    if (cut) {
        CutSourceOnTrack(track, seq, item, sel, at);
        ok = CutTransitionOnTrack(track, seq, item, sel, name, key, CaseOf(item, sel));
    }
    AddSourceClip(track, stream, piece, ClipSeq++, mode);
    AddTransitionClip(track, name, piece.Length(), key, TransitionClipSeq++);
    LogGaps(track, seq, item, sel, false);
    LogGapsTransition(track, seq, item, sel, false);
    return ok;
}

bool CutActionOverlay(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    return CutOrCopyOverlay(true, track, seq, item, sel);
}

bool CopyActionOverlay(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    return CutOrCopyOverlay(false, track, seq, item, sel);
}

bool DeleteActionOverlay(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    // Unlike a source's, an overlay's delete and crop keep the common guard.
    if (!Meets(item, sel))
        return true;
    const QString name = Tl().GetTransitionName(track, seq, 260).trimmed();
    const KeyColor key = KeyOf(track, seq);
    const Edges at = MediaEdges(item, sel);
    const Case which = CaseOf(item, sel);
    CutSourceOnTrack(track, seq, item, sel, at);
    return CutTransitionOnTrack(track, seq, item, sel, name, key, which);
}

bool CropActionOverlay(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    if (!Meets(item, sel))
        return true;
    const bool ok = CropSourceOnTrack(track, seq, item, sel, MediaEdges(item, sel));
    if (CaseOf(item, sel) == Case::Whole)
        return ok;
    const QmSpan kept = PartOf(item, sel);
    return Tl().SetTransitionTimes(track, seq, kept.start, kept.stop);
}

// Effect actions: no media side.

bool CutOrDeleteEffect(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel, const QString& name)
{
    auto& tl = Tl();
    switch (CaseOf(item, sel)) {
    case Case::Whole: {
        const bool ok = tl.RemoveEffect(track, seq);
        --seq;
        return ok;
    }
    case Case::LeftIn:
        return tl.SetEffectTimes(track, seq, sel.end, item.stop);
    case Case::RightIn:
        return tl.SetEffectTimes(track, seq, item.start, sel.start);
    case Case::Inside:
        tl.RemoveEffect(track, seq);
        tl.InsertEffect(track, name, seq, sel.end, item.stop, 0);
        return tl.InsertEffect(track, name, seq, item.start, sel.start, 0);
    }
    return true;
}

// Cut reads the effect's name through a narrower buffer than copy does.
bool CutOrCopyEffect(bool cut, int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    if (!Meets(item, sel))
        return true;
    const QString name = Tl().GetEffectName(track, seq, cut ? 10 : 260).trimmed();
    LogGapsEffects(track, seq, item, sel, true);
    PrevStart = item.start;
    PrevStop = item.stop;
    const bool ok = !cut || CutOrDeleteEffect(track, seq, item, sel, name);
    AddEffectClip(track, name, PartOf(item, sel).Length(), ClipSeq++);
    LogGapsEffects(track, seq, item, sel, false);
    return ok;
}

bool CutActionEffect(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    return CutOrCopyEffect(true, track, seq, item, sel);
}

bool CopyActionEffect(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    return CutOrCopyEffect(false, track, seq, item, sel);
}

bool DeleteActionEffect(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    if (!Meets(item, sel))
        return true;
    const QString name = Tl().GetEffectName(track, seq, 260).trimmed();
    return CutOrDeleteEffect(track, seq, item, sel, name);
}

bool CropActionEffect(int32_t track, int16_t& seq, const QmSpan& item, const QmSelection& sel)
{
    if (!Meets(item, sel) || CaseOf(item, sel) == Case::Whole)
        return true;
    const QmSpan kept = PartOf(item, sel);
    return Tl().SetEffectTimes(track, seq, kept.start, kept.stop);
}

// Each action has a trap of its own: an error ends that item, and the walk goes on.
bool Trapped(const char* name, const std::function<bool()>& action)
{
    return QmTrap::Value<bool>(Module, QLatin1String(name), true, action);
}

Action SourceActionOf(int16_t mode, bool overlay)
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

Action EffectActionOf(int16_t mode)
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
void WalkSources(int32_t track, int16_t mode, bool overlay, const QmSelection& sel, bool& result)
{
    StartTrackWalk();
    if (overlay)
        TransitionClipSeq = 0;
    const Action action = SourceActionOf(mode, overlay);
    static const char* const names[2][5] = {{"CutAction", "CopyAction", "", "DeleteAction", "CropAction"},
                                            {"CutActionOverlay", "CopyActionOverlay", "", "DeleteActionOverlay",
                                             "CropActionOverlay"}};
    const char* name = action ? names[overlay ? 1 : 0][mode] : "";
    for (;;) {
        QmSpan item;
        if (!SourceSpan(track, WalkSeq, item))
            return;
        if (Tl().GetTrackLink(track)) {
            if (moduleTWState::IsTrackLocked(track))
                return;
            if (action)
                result = Trapped(name, [&] { return action(track, WalkSeq, item, sel); });
            if (CaseOf(item, sel) == Case::Inside)
                return; // the selection lay inside this one source
        }
        ++WalkSeq;
    }
}

void WalkEffects(int32_t track, int16_t mode, const QmSelection& sel, bool& result)
{
    StartTrackWalk();
    const Action action = EffectActionOf(mode);
    static const char* const names[5] = {"CutActionEffect", "CopyActionEffect", "", "DeleteActionEffect",
                                         "CropActionEffect"};
    const char* name = action ? names[mode] : "";
    for (;;) {
        QmSpan item;
        if (!Tl().GetEffectTimes(track, WalkSeq, item.start, item.stop))
            return;
        if (moduleTWState::IsEffectSelected(track)) {
            if (moduleTWState::IsEffectLocked(track))
                return;
            if (action)
                result = Trapped(name, [&] { return action(track, WalkSeq, item, sel); });
            if (CaseOf(item, sel) == Case::Inside)
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
    QmSpan whole;
    SourceSpan(track, seq, whole);
    AddSourceClip(track, tl.GetSourceStream(track, seq), whole, run, tl.GetSourceStretchMode(track, seq));
    return whole.Length();
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
        const QmSelection sel = Selection();
        // Video tracks, audio tracks, effect lanes, then the overlay.
        using TimelineView::RowKind;
        for (RowKind kind : {RowKind::Video, RowKind::Audio, RowKind::Effect, RowKind::Overlay}) {
            for (int i = 0; i < TimelineView::RowCount(kind); ++i) {
                const int32_t track = TimelineView::TrackOf(kind, i);
                if (kind == RowKind::Effect)
                    WalkEffects(track, mode, sel, result);
                else
                    WalkSources(track, mode, kind == RowKind::Overlay, sel, result);
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
        const QmSelection sel = Selection();
        // An item goes unless it lies inside the selection or an edge of the selection
        // cuts through it; whether an item on an edge stays differs by kind.
        auto edgeInside = [sel](const QmSpan& item) {
            return (item.start < sel.start && sel.start < item.stop) || (item.start < sel.end && sel.end < item.stop);
        };
        auto outside = [&](const QmSpan& item) {
            return !edgeInside(item) && (item.start < sel.start || item.stop > sel.end);
        };
        auto outsideOrOnEdge = [&](const QmSpan& item) {
            return !edgeInside(item) && (item.start <= sel.start || item.stop >= sel.end);
        };
        // Each track is walked from its end: what goes after the selection is then taken
        // from the end of the engine's list, and what goes before it moves only what
        // stays, not everything after it again and again.
        const int videoRows = TimelineView::RowCount(TimelineView::RowKind::Video);
        int i = 1;
        for (int32_t track : TrackCollection) {
            if (!moduleTWState::IsTrackLocked(track) && tl.GetTrackLink(track)) {
                QmSpan item;
                for (int16_t seq = tl.GetSourceCount(track) - 1; seq >= 0; --seq)
                    if (tl.GetSourceTimes(track, seq, item.start, item.stop) && outside(item))
                        tl.RemoveSource(track, seq);
            }
            // An effect that shares an edge with the selection goes, where a source stays.
            if (i <= videoRows && moduleTWState::IsEffectSelected(track) && !moduleTWState::IsEffectLocked(track)) {
                QmSpan item;
                for (int16_t seq = tl.GetEffectCount(track) - 1; seq >= 0; --seq)
                    if (tl.GetEffectTimes(track, seq, item.start, item.stop) && outsideOrOnEdge(item))
                        tl.RemoveEffect(track, seq);
            }
            ++i;
        }
        const int32_t overlay = OverlayTrack;
        if (!moduleTWState::IsTrackLocked(overlay) && tl.GetTrackLink(overlay)) {
            QmSpan item;
            for (int16_t seq = tl.GetSourceCount(overlay) - 1; seq >= 0; --seq)
                if (tl.GetSourceTimes(overlay, seq, item.start, item.stop) && outsideOrOnEdge(item))
                    RemoveOverlay(overlay, seq);
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
