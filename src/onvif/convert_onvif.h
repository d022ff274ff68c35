#pragma once

#include <jansson.h>

#include <string>

/// One number of a rule, its sensitivity 0.0..1.0, for the three exclusion filters of a profile,
/// and back. Much is lost on the way.
namespace Convert::Onvif {

/// The filters that stand for a sensitivity, as the text of a JSON array. Sensitivity 0.0 gives no
/// filters, like the highest ones, and that is meant: it reads back as 1.0.
std::string sensitivityToFilters(double sensitivity);

/// The sensitivity that a profile's filters stand for: that of the strictest; 1.0 without any.
/// Throws StatusException for a filter that cannot be read.
double filtersToSensitivity(const json_t* filters);

}  // namespace Convert::Onvif
