#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqevent/event_keys.h"

/// Events as the bus carries them: topic and payload.
///
///   topic    PREFIX/onvif-ej/LEVEL[/LEVEL[/LEVEL]][/&SOURCE[/SOURCE...]]
///   LEVEL    Name in the namespace "tns1" or in none, else namespace:Name
///   SOURCE   the value of a source property, in declared order
///   payload  {"UtcTime":"2026-01-01T00:00:00.000000Z","Source":{NAME:TEXT},"Data":{NAME:VALUE}}
///
/// "/", "#", "+", control characters and Unicode's non-characters are left out of levels and source
/// values in a topic. The payload has them all.
namespace EventFormat {

/// The topic of an event with these keys. Nothing, and `error` set, if the first level is missing,
/// or a level or source property has no value, or the topic is longer than a topic may be.
std::optional<std::string> topic(std::string_view prefix, const EventKeys& keys, GError** error);

/// The filter of a subscription with these keys: the topic they give and all below it; a level
/// without a value is any. Nothing, and `error` set, if there are other keys than levels, or a
/// level stands above a missing one.
std::optional<std::string> filter(std::string_view prefix, const EventKeys& keys, GError** error);

/// The payload of an event at `time` (borrowed, any time zone). Properties that are not marked as
/// source are data; those without a value are left out.
std::string payload(const EventKeys& keys, GDateTime* time);

/// What a payload says; owned by the caller. Its time is `arrival` (borrowed) if it names none, or
/// none that can be understood. Null if it is no JSON object.
_ZQEvent* parse(std::string_view payload, GDateTime* arrival);

}  // namespace EventFormat
