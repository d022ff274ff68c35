#pragma once

#include <string>
#include <vector>

/// Stands in for the alarm overlay in a test program and writes down what it is told, a line each:
/// "profiles 4 7" for a configuration, "scene 1000 profiles 4:2" for a scene's verdicts, with the
/// number of object entries of each profile that is watched. Any thread may call.
namespace AlarmOverlayDouble {

/// Forgets the lines; verdicts are looked at for these profiles.
void reset(const std::vector<int>& watchedProfiles = {});
std::vector<std::string> lines();

}  // namespace AlarmOverlayDouble
