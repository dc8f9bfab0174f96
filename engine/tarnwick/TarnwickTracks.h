#pragma once

#include "engine/ITWTimeline.h"
#include "engine/tarnwick/TimelineModel.h"

struct TarnwickState;

// The timeline's tracks and their sources, effects and transitions, kept in the
// engine's plain model.
class TarnwickTracks final : public ITWTimeline
{
public:
    explicit TarnwickTracks(TarnwickState& state);

    int32_t CreateTrack(bool isVideo) override;
    bool AppendSource(int32_t track, int32_t stream, int32_t start) override;
    bool AddEffectAt(int32_t track, const QString& name, int32_t start, int32_t stop) override;
    bool AddTransitionAt(int32_t track, const QString& name, int32_t start, int32_t stop) override;
    bool InsertSource(int32_t track, int32_t stream, int16_t seq, int32_t start, int32_t stop) override;
    bool InsertEffect(int32_t track, const QString& name, int16_t seq, int32_t start, int32_t stop,
                      int32_t reserved) override;
    bool InsertTransition(int32_t track, const QString& name, int16_t seq, int32_t start, int32_t stop,
                          int32_t reserved) override;
    bool RemoveSource(int32_t track, int16_t seq) override;
    bool RemoveEffect(int32_t track, int16_t seq) override;
    bool RemoveTransition(int32_t track, int16_t seq) override;
    bool IsVideoTrack(int32_t track) override;
    bool GetSourceTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) override;
    bool GetEffectTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) override;
    bool GetTransitionTimes(int32_t track, int16_t seq, int32_t& start, int32_t& stop) override;
    bool SetSourceTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) override;
    bool SetEffectTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) override;
    bool SetTransitionTimes(int32_t track, int16_t seq, int32_t start, int32_t stop) override;
    bool GetSourceMediaTimes(int32_t track, int16_t seq, int32_t& mediaStart, int32_t& mediaStop) override;
    bool SetSourceMediaTimes(int32_t track, int16_t seq, int32_t mediaStart, int32_t mediaStop) override;
    int16_t GetSourceCount(int32_t track) override;
    int16_t GetEffectCount(int32_t track) override;
    int16_t GetTransitionCount(int32_t track) override;
    int32_t GetSourceStream(int32_t track, int16_t seq) override;
    QString GetEffectName(int32_t track, int16_t seq, int32_t size) override;
    QString GetTransitionName(int32_t track, int16_t seq, int32_t size) override;
    int32_t GetTrackDuration(int32_t track) override;
    bool GetTrackLink(int32_t track) override;
    bool IsSourceSelected(int32_t track, int16_t seq) override;
    bool IsEffectItemSelected(int32_t track, int16_t seq) override;
    void SetSourceSelected(int32_t track, int16_t seq, bool selected) override;
    void SetEffectSelected(int32_t track, int16_t seq, bool selected) override;
    void SetTransitionSelected(int32_t track, int16_t seq, bool selected) override;
    void SetTrackLink(int32_t track, bool linked) override;
    bool ShiftSources(int32_t track, int16_t fromSeq, int32_t delta) override;
    bool ShiftEffects(int32_t track, int16_t fromSeq, int32_t delta) override;
    bool ShiftTransitions(int32_t track, int16_t fromSeq, int32_t delta) override;
    void SetEffectsEnabled(bool enabled) override;
    void SetTrackDisabled(int32_t track, bool disabled) override;
    void SetFrameSize(int16_t width, int16_t height) override;
    void SetSourceStretchMode(int32_t track, int16_t seq, int16_t mode) override;
    int16_t GetSourceStretchMode(int32_t track, int16_t seq) override;

private:
    // Whether the stream is known (open or retired) and of the track's kind.
    bool StreamFits(const Tarnwick::Track& track, int32_t stream) const;

    TarnwickState& m_state;
};
