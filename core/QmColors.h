#pragma once

#include <QColor>

#include <cstdint>

// Colours are 0x00BBGGRR in Quillmont's model and settings; a value with the top bit
// set names a system colour, taken from the application's palette.
namespace QmColors {

constexpr int32_t ButtonFace = static_cast<int32_t>(0x8000000Fu);
constexpr int32_t ButtonShadow = static_cast<int32_t>(0x80000010u);
constexpr int32_t WindowText = static_cast<int32_t>(0x80000008u);
constexpr int32_t ButtonHighlight = static_cast<int32_t>(0x80000014u);

QColor ToQColor(int32_t color);
int32_t FromQColor(const QColor& color);

} // namespace QmColors
