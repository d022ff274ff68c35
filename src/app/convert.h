#pragma once

#include <string>

#include "app/maybe.h"

/// Numbers from texts and back.
namespace Convert {

/// Empty for null, for a text without a decimal digit, and unless the whole text is the number.
Maybe<float> stringToFloat(const char* text);

/// Empty for null, for a text without a decimal digit, and for a value outside 32 bits. Text behind
/// the number is ignored.
Maybe<int> stringToInt(const char* text);

std::string intToString(int value);

/// Fixed notation with `precision` decimals.
std::string doubleToString(double value, int precision);

}  // namespace Convert
