#pragma once

// Pixel checks the picture tests share: a colour near another within the rounding of a
// codec, and a pixel written out for a failure's message.
#include <QColor>
#include <QString>

#include <cstdlib>

namespace QmTest {

inline bool Near(QRgb pixel, int r, int g, int b, int tolerance = 40)
{
    return std::abs(qRed(pixel) - r) <= tolerance && std::abs(qGreen(pixel) - g) <= tolerance
           && std::abs(qBlue(pixel) - b) <= tolerance;
}

inline QString Rgb(QRgb pixel)
{
    return QStringLiteral("(%1,%2,%3)").arg(qRed(pixel)).arg(qGreen(pixel)).arg(qBlue(pixel));
}

} // namespace QmTest
