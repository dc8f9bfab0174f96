#pragma once

#include <cstdint>

// The scale over the rows: how time maps to pixels, the ruler's drawing, zoom, and the
// scroll bar that follows the timeline's length.
namespace moduleScaleRenderer {

void InitScale();
// A zoom factor of 0, which closing a project leaves, counts as the start zoom 10 in the
// conversions and the zoom steps.
// px x ZoomFactor; error 6 when it does not fit 32 bits.
int32_t PixelsToMs(int32_t px);
// ms / ZoomFactor, rounded half to even.
int32_t MsToPixels(int32_t ms);
// ticks x TickSpacing; error 6 when it does not fit 32 bits.
int32_t TicksToPixels(int32_t ticks);
// MsToPixels(ms) / TickSpacing, not rounded.
double MsToTicks(int32_t ms);
int16_t GetZoomFactor();
void SetZoomFactor(int16_t zoom);
int16_t GetTickSpacing();

void RenderScale();
void ZoomIn();
void ZoomOut();
void AdjustScroll();
// The thin marker that follows the pointer over the scale and the rows.
void DrawScaleLine(int x);
void ClearScaleLine();

} // namespace moduleScaleRenderer
