#pragma once

#include <string>

/// Writes a line about an event to standard error, with the time before it. Any thread.
void say(const std::string& text);
