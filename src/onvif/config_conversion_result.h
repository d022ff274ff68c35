#pragma once

#include <string>

#include "app/maybe.h"
#include "app/status.h"

/// What became of a conversion between rules and the configuration document.
struct ConfigConversionResult {
    /// On success the result: a whole configuration document, or the XML of getRules().
    Maybe<std::string> text;
    /// After a failure its status, if it had one. Whoever finds neither takes StatusInternalError.
    Maybe<StatusCode_e> status;
};
