#pragma once

#include "engine/ITWObject.h"

// The timeline: tracks, and on each track ordered lists of sources, effects and
// transitions, addressed by track handle and sequence number (from 0, in list
// order). Sequence numbers shift at every insertion or removal.
//
// The engine accepts the program's calling orders as they come: an item may be
// half filled for a moment (InsertSource with stop 0 before SetSourceTimes), and
// items may overlap for a moment (a split inserts before it removes). List order is
// the order the program gives; the engine does not reorder items when their times
// change. An ok of false means that there is no such item or that it does not fit;
// an unknown track handle is a failure status.
class ITWTimeline : public ITWObject
{
public:
    // Default length of an effect or transition added with stop -1, in ms.
    static constexpr int32_t DefaultEffectLength = 5000;

    virtual int32_t CreateTrack(bool isVideo) = 0;
    // The whole stream as a new last source; start -1 places it right after the
    // track's last source. The stream's kind must match the track's.
    virtual bool AppendSource(int32_t track, int32_t stream, int32_t start) = 0;
    // An effect from start to stop, placed among the others by its start. With stop
    // -1 it is DefaultEffectLength long, cut at the next effect and at the end of the
    // track's last source. It does not fit (ok false) when the track is not of video
    // kind, the range is empty or starts before 0, or it overlaps another effect.
    virtual bool AddEffectAt(int32_t track, const QString& name, int32_t start, int32_t stop) = 0;
    // A transition in the same way; transitions may overlap one another.
    virtual bool AddTransitionAt(int32_t track, const QString& name, int32_t start, int32_t stop) = 0;
    // Inserts at seq (0 to count) and renumbers the later ones. With stop 0 the
    // caller sets the times at once; otherwise the media times are 0 to stop - start.
    virtual bool InsertSource(int32_t track, int32_t stream, int16_t seq, int32_t start, int32_t stop) = 0;
    virtual bool InsertEffect(int32_t track, const QString& name, int16_t seq, int32_t start, int32_t stop,
                              int32_t reserved) = 0;
    virtual bool InsertTransition(int32_t track, const QString& name, int16_t seq, int32_t start, int32_t stop,
                                  int32_t reserved) = 0;
    virtual bool RemoveSource(int32_t track, int16_t seq) = 0;
    virtual bool RemoveEffect(int32_t track, int16_t seq) = 0;
    virtual bool RemoveTransition(int32_t track, int16_t seq) = 0;
    virtual bool IsVideoTrack(int32_t track) = 0;
    virtual bool GetSourceTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) = 0;
    virtual bool GetEffectTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) = 0;
    virtual bool GetTransitionTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) = 0;
    virtual bool SetSourceTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) = 0;
    virtual bool SetEffectTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) = 0;
    virtual bool SetTransitionTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) = 0;
    virtual bool GetSourceMediaTimes(int32_t track, int16_t seq, int32_t& mediaStart, int32_t& mediaStop) = 0;
    virtual bool SetSourceMediaTimes(int32_t track, int16_t seq, int32_t mediaStart, int32_t mediaStop) = 0;
    virtual int16_t GetSourceCount(int32_t track) = 0;
    virtual int16_t GetEffectCount(int32_t track) = 0;
    virtual int16_t GetTransitionCount(int32_t track) = 0;
    // 0 when there is no such source.
    virtual int32_t GetSourceStream(int32_t track, int16_t seq) = 0;
    // Empty when there is no such item.
    virtual QString GetEffectName(int32_t track, int16_t seq, int32_t size) = 0;
    virtual QString GetTransitionName(int32_t track, int16_t seq, int32_t size) = 0;
    // The latest stop of the track's sources; 0 when it has none.
    virtual int32_t GetTrackDuration(int32_t track) = 0;
    virtual bool GetTrackLink(int32_t track) = 0;
    virtual bool IsSourceSelected(int32_t track, int16_t seq) = 0;
    virtual bool IsEffectItemSelected(int32_t track, int16_t seq) = 0;
    // The selection setters ignore a seq that does not exist.
    virtual void SetSourceSelected(int32_t track, int16_t seq, bool selected) = 0;
    virtual void SetEffectSelected(int32_t track, int16_t seq, bool selected) = 0;
    virtual void SetTransitionSelected(int32_t track, int16_t seq, bool selected) = 0;
    virtual void SetTrackLink(int32_t track, bool linked) = 0;
    // Adds delta to the timeline start and stop of item fromSeq and all after it.
    // fromSeq equal to the count shifts nothing and is ok; outside 0..count it is not.
    virtual bool ShiftSources(int32_t track, int16_t fromSeq, int32_t delta) = 0;
    virtual bool ShiftEffects(int32_t track, int16_t fromSeq, int32_t delta) = 0;
    virtual bool ShiftTransitions(int32_t track, int16_t fromSeq, int32_t delta) = 0;
    virtual void SetEffectsEnabled(bool enabled) = 0;
    virtual void SetTrackDisabled(int32_t track, bool disabled) = 0;
    virtual void SetFrameSize(int16_t width, int16_t height) = 0;
    // Stretch modes 0 to 3: stretch, crop, preserve aspect with borders, fill.
    virtual void SetSourceStretchMode(int32_t track, int16_t seq, int16_t mode) = 0;
    virtual int16_t GetSourceStretchMode(int32_t track, int16_t seq) = 0;
};
