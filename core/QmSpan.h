#pragma once

#include <cstdint>

// Times of the timeline's items as the edits pass them around, in ms. An item's span and
// the selection are two types, so that the compiler tells them apart where eight plain
// integers in a row would not.

// Where an item lies on the timeline, and the stretch of its media played there. Effects
// and transitions have no media: theirs stay 0.
struct QmSpan
{
    int32_t start = 0;
    int32_t stop = 0;
    int32_t mediaStart = 0;
    int32_t mediaStop = 0;

    int32_t Length() const { return stop - start; }
    int32_t MediaLength() const { return mediaStop - mediaStart; }
    bool operator==(const QmSpan&) const = default;
};

// The range between the selection sliders, as the edits take it.
struct QmSelection
{
    int32_t start = 0;
    int32_t end = 0;
};
