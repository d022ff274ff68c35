#pragma once

#include <string>

namespace utils {

/// "label: name", and on a device with several cameras, for a camera counted from 1, the camera's
/// name behind it: "label: name (camera name)".
std::string generateEventNiceName(const std::string& label, const std::string& name, int camera);

}  // namespace utils
