#pragma once

#include <jansson.h>

/// Removes the cameras that the device no longer supports, and their profiles, from the document.
/// True if it was changed. Throws StatusException for a document without the members it needs.
bool upgradeConfiguration(json_t* document);
