#pragma once

#include <QString>
#include <QStringView>

#include <cstdint>

// Quillmont's arithmetic and number texts. "Rounded" is always round half to even;
// Int() is the integer part; conversions to 16 and 32 bits raise error 6 when the
// value does not fit, as the program's overflow traps expect.
namespace QmNumbers {

// Round half to even (2.5 -> 2, 3.5 -> 4).
double RoundHalfEven(double value);

// The integer part, dropping the fraction towards zero.
double IntPart(double value);

// Rounded to a 16-bit or 32-bit integer; error 6 when it does not fit.
int16_t CInt(double value);
int32_t CLng(double value);

// A 32-bit result kept in 16 bits; error 6 when it does not fit.
int16_t ToInt16(int64_t value);

// A number written with one of the program's formats: "0", "00", "000", "0000"
// (at least that many digits) and "#.00" (no digit before the point when the integer
// part is 0, so zero is ".00"). Digits after the point are rounded half away from zero.
QString Format(double value, QStringView pattern);

} // namespace QmNumbers
