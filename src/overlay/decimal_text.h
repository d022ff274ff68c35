#pragma once

#include <string_view>

#include "app/maybe.h"

namespace utils {

/// The number when the whole text is one decimal integer of 32 bits.
Maybe<int> parseDecimal(std::string_view text);

}  // namespace utils
