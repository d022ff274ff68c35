#pragma once

#include <string>

/// Request texts of the control API.
namespace RequestText {

/// A copy without what follows the JSON in it: as long as the text is not JSON it is cut behind the
/// last "}" that stands before its last character. A text that no cut makes JSON is returned as it
/// is at the last one, so behind its first brace. Takes one parse, however many braces there are.
std::string repair(const char* request);

}  // namespace RequestText
