#include "engine/tarnwick/TarnwickKeyTransition.h"

#include "engine/tarnwick/TarnwickState.h"

using namespace Tarnwick;

TarnwickKeyTransition::TarnwickKeyTransition(TarnwickState& state)
    : m_state(state)
{
}

TransitionItem* TarnwickKeyTransition::Transition(int32_t track, int16_t seq)
{
    return Items::Find(m_state.model.At(track).transitions, seq);
}

bool TarnwickKeyTransition::SetKeyColor(int32_t track, int16_t seq, int16_t red, int16_t green, int16_t blue)
{
    TransitionItem* transition = Transition(track, seq);
    if (!transition)
        return false;
    transition->keyRed = red;
    transition->keyGreen = green;
    transition->keyBlue = blue;
    return true;
}

int16_t TarnwickKeyTransition::GetKeyRed(int32_t track, int16_t seq)
{
    const TransitionItem* transition = Transition(track, seq);
    return transition ? transition->keyRed : 0;
}

int16_t TarnwickKeyTransition::GetKeyGreen(int32_t track, int16_t seq)
{
    const TransitionItem* transition = Transition(track, seq);
    return transition ? transition->keyGreen : 0;
}

int16_t TarnwickKeyTransition::GetKeyBlue(int32_t track, int16_t seq)
{
    const TransitionItem* transition = Transition(track, seq);
    return transition ? transition->keyBlue : 0;
}

bool TarnwickKeyTransition::SetKeyParameter(int32_t track, int16_t seq, const QString& name, int32_t value)
{
    TransitionItem* transition = Transition(track, seq);
    if (!transition || name.isEmpty())
        return false;
    for (auto& [key, current] : transition->parameters) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) {
            current = value;
            return true;
        }
    }
    transition->parameters.emplace_back(name, value);
    return true;
}

void TarnwickKeyTransition::ClearKeyParameters(int32_t track, int16_t seq)
{
    if (TransitionItem* transition = Transition(track, seq)) {
        transition->parameters.clear();
        transition->keyRed = transition->keyGreen = transition->keyBlue = 0;
    }
}

