#pragma once

#include <string>

/// The choice between motion level on and off, which survives a restart in a file of its own:
/// {"active": true}. Failures are logged.
namespace MotionLevelSettings {

/// Returns whether the choice reached the file.
bool save(bool active, const std::string& path);

/// The stored choice; false when there is none or it cannot be read.
bool load(const std::string& path);

}  // namespace MotionLevelSettings
