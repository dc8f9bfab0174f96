#pragma once

#include "engine/ITWKeyTransition.h"
#include "engine/tarnwick/TimelineModel.h"

struct TarnwickState;

// The key colour and parameters of the transitions on the timeline.
class TarnwickKeyTransition final : public ITWKeyTransition
{
public:
    explicit TarnwickKeyTransition(TarnwickState& state);

    bool SetKeyColor(int32_t track, int16_t seq, int16_t red, int16_t green, int16_t blue) override;
    int16_t GetKeyRed(int32_t track, int16_t seq) override;
    int16_t GetKeyGreen(int32_t track, int16_t seq) override;
    int16_t GetKeyBlue(int32_t track, int16_t seq) override;
    bool SetKeyParameter(int32_t track, int16_t seq, const QString& name, int32_t value) override;
    void ClearKeyParameters(int32_t track, int16_t seq) override;

private:
    Tarnwick::TransitionItem* Transition(int32_t track, int16_t seq);

    TarnwickState& m_state;
};
