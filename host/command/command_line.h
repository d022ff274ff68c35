#pragma once

#include <cstddef>
#include <string>

/// What a command is given to read.
namespace CommandLine {

/// The number in a text. Throws UsageError when it is none between the bounds; `name` is what it
/// is for, an option say.
int number(const std::string& name, const std::string& text, int least, int most);

/// The content of a file, of standard input for "-". Throws UsageError when it cannot be read or
/// has more than so many bytes.
std::string readFile(const std::string& path, std::size_t most);

/// Throws UsageError, beginning with the name, for a text that a bus cannot carry.
void requireUtf8(const std::string& name, const std::string& text);

}  // namespace CommandLine
