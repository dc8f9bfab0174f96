#pragma once

#include "engine/ITWObject.h"

// The key colour and parameters of a "DxtKey" transition on the overlay track.
// The key colour counts among the parameters: ClearKeyParameters sets it back to
// black as well.
class ITWKeyTransition : public ITWObject
{
public:
    virtual bool SetKeyColor(int32_t track, int16_t seq, int16_t red, int16_t green, int16_t blue) = 0;
    virtual int16_t GetKeyRed(int32_t track, int16_t seq) = 0;
    virtual int16_t GetKeyGreen(int32_t track, int16_t seq) = 0;
    virtual int16_t GetKeyBlue(int32_t track, int16_t seq) = 0;
    virtual bool SetKeyParameter(int32_t track, int16_t seq, const QString& name, int32_t value) = 0;
    virtual void ClearKeyParameters(int32_t track, int16_t seq) = 0;
};
