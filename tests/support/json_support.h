#pragma once

#include <jansson.h>

#include <string>
#include <utility>
#include <vector>

#include "config/json_auto_ptr.h"

/// The value of a JSON text of any kind; null when it is not JSON.
JsonAutoPtr json(const std::string& text);

/// Compact text with the members in their order, reals with 4 significant digits; empty for null.
std::string textOf(const json_t* value);
std::string textOf(const JsonAutoPtr& value);

/// The object of the text with members set to other JSON texts; an empty text removes the member.
std::string with(const std::string& object,
                 const std::vector<std::pair<std::string, std::string>>& changes);
