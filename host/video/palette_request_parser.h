#pragma once

#include <map>
#include <string>

#include "video/palette_overlay.h"

class ListedStreams;

/// Reads the properties with which an application makes an overlay.
namespace PaletteRequestParser {

using Properties = std::map<std::string, std::string>;

/// Needed: "Size" as WIDTHxHEIGHT, "Position" as X,Y, "OverlayFormat" "palette", "Stream" and
/// "Camera"; "Visible" is "true" or "false", and false when it is missing. Throws BusError
/// that says what is wrong.
PaletteRequest parse(const Properties& properties, const ListedStreams& streams,
                     const std::string& owner);

/// "true" or "false". Throws BusError.
bool parseVisible(const std::string& text);

}  // namespace PaletteRequestParser
