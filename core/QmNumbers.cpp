#include "core/QmNumbers.h"

#include "core/QmError.h"

#include <cmath>
#include <limits>

namespace QmNumbers {

namespace {

QmError OverflowError()
{
    return QmError(QmErr::Overflow, QStringLiteral("Overflow"));
}

} // namespace

double RoundHalfEven(double value)
{
    return std::nearbyint(value); // the default rounding mode is to nearest, ties to even
}

double IntPart(double value)
{
    return std::trunc(value);
}

int16_t CInt(double value)
{
    const double r = RoundHalfEven(value);
    if (!(r >= std::numeric_limits<int16_t>::min() && r <= std::numeric_limits<int16_t>::max()))
        throw OverflowError();
    return static_cast<int16_t>(r);
}

int32_t CLng(double value)
{
    const double r = RoundHalfEven(value);
    if (!(r >= std::numeric_limits<int32_t>::min() && r <= std::numeric_limits<int32_t>::max()))
        throw OverflowError();
    return static_cast<int32_t>(r);
}

int16_t ToInt16(int64_t value)
{
    if (value < std::numeric_limits<int16_t>::min() || value > std::numeric_limits<int16_t>::max())
        throw OverflowError();
    return static_cast<int16_t>(value);
}

QString Format(double value, QStringView pattern)
{
    // Digits required before the point are the '0's there; '#' asks for none.
    const qsizetype point = pattern.indexOf(u'.');
    const QStringView whole = point < 0 ? pattern : pattern.left(point);
    const QStringView fraction = point < 0 ? QStringView() : pattern.mid(point + 1);
    const int minWholeDigits = static_cast<int>(whole.count(u'0'));
    const int decimals = static_cast<int>(fraction.count(u'0'));

    const bool negative = std::signbit(value) && value != 0.0;
    const double scale = std::pow(10.0, decimals);
    // Half away from zero, on the magnitude; the small nudge keeps 1.005 from
    // reading as 1.00499999 in binary.
    const double scaled = std::floor(std::fabs(value) * scale + 0.5 + 1e-9);
    const double wholePart = std::floor(scaled / scale);
    const double fractionPart = scaled - wholePart * scale;

    QString digits = wholePart == 0.0 ? QString() : QString::number(wholePart, 'f', 0);
    if (digits.size() < minWholeDigits)
        digits = QString(minWholeDigits - digits.size(), u'0') + digits;

    QString text;
    if (negative && (scaled != 0.0))
        text += u'-';
    text += digits;
    if (point >= 0) {
        text += u'.';
        if (decimals > 0)
            text += QStringLiteral("%1").arg(static_cast<qlonglong>(fractionPart), decimals, 10, QChar(u'0'));
    }
    return text;
}

} // namespace QmNumbers
