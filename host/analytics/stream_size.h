#pragma once

#include "analytics/rules_options.h"

/// The stream in whose pixels the command tells rules.
namespace StreamSize {

/// The size that was asked for or else the size of the source's picture, from the device
/// parameters; 1280x720 for a source without one.
RulesOptions::Size of(const RulesOptions& options);

}  // namespace StreamSize
