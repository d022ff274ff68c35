#include "zqevent/event_format.h"

#include <jansson.h>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>

namespace {

constexpr std::size_t longestTopic = 65535;  // a length travels in two bytes
constexpr std::string_view anyLevel = "+";

struct JsonRelease {
    void operator()(json_t* json) const { json_decref(json); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

std::string validUtf8(std::string_view text) {
    g_autofree char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    return valid;
}

bool isNonCharacter(gunichar character) {
    return (character >= 0xFDD0 && character <= 0xFDEF) || (character & 0xFFFE) == 0xFFFE;
}

bool mayStandInTopic(gunichar character) {
    return character != '/' && character != '#' && character != '+' &&
           !g_unichar_iscntrl(character) && !isNonCharacter(character);
}

std::string topicText(const std::string& text) {
    const std::string valid = validUtf8(text);
    std::string kept;
    const char* next = nullptr;
    for (const char* at = valid.c_str(); *at; at = next) {
        next = g_utf8_next_char(at);
        if (mayStandInTopic(g_utf8_get_char(at))) {
            kept.append(at, next);
        }
    }
    return kept;
}

bool hasValue(const EventKey& key) {
    return !std::holds_alternative<std::monostate>(key.value);
}

std::string valueText(const EventValue& value) {
    if (const auto* number = std::get_if<int>(&value)) {
        return std::to_string(*number);
    }
    if (const auto* truth = std::get_if<bool>(&value)) {
        return *truth ? "true" : "false";
    }
    const auto* text = std::get_if<std::string>(&value);
    return text ? *text : std::string();
}

std::string levelText(const EventKey& key) {
    const std::string name = topicText(valueText(key.value));
    const bool isBare = key.nameSpace.empty() || key.nameSpace == "tns1";
    return isBare ? name : topicText(key.nameSpace) + ":" + name;
}

std::string root(std::string_view prefix) {
    return std::string(prefix) + "/onvif-ej";
}

void refuse(GError** error, const char* reason) {
    g_set_error_literal(error, ZQ_EVENT_ERROR, ZQ_EVENT_ERROR_INVALID, reason);
}

const EventKey* level(const EventKeys& keys, unsigned number) {
    for (const EventKey& key : keys) {
        if (key.topicLevel() == number) {
            return &key;
        }
    }
    return nullptr;
}

std::optional<std::string> withinLength(std::string text, GError** error) {
    if (text.size() > longestTopic) {
        refuse(error, "The topic is too long");
        return std::nullopt;
    }
    return text;
}

Json jsonText(const std::string& text) {
    return Json(json_stringn_nocheck(text.data(), text.size()));
}

Json jsonValue(const EventValue& value) {
    if (const auto* number = std::get_if<int>(&value)) {
        return Json(json_integer(*number));
    }
    if (const auto* truth = std::get_if<bool>(&value)) {
        return Json(json_boolean(*truth));
    }
    return jsonText(validUtf8(valueText(value)));
}

std::string utcText(GDateTime* time) {
    g_autoptr(GDateTime) utc = g_date_time_to_utc(time);
    g_autofree char* seconds = g_date_time_format(utc, "%Y-%m-%dT%H:%M:%S");
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%06dZ", g_date_time_get_microsecond(utc));
    return std::string(seconds) + fraction;
}

/// The value in the contract's terms; nothing for what it has no type for.
std::optional<EventKey> propertyOf(const char* name, const json_t* value) {
    EventKey key;
    key.name = name;
    if (json_is_boolean(value)) {
        key.type = ZQ_VALUE_TYPE_BOOL;
        key.value = json_is_true(value);
    } else if (json_is_string(value)) {
        key.type = ZQ_VALUE_TYPE_STRING;
        key.value = std::string(json_string_value(value), json_string_length(value));
    } else if (json_is_integer(value) &&
               json_integer_value(value) >= std::numeric_limits<int>::min() &&
               json_integer_value(value) <= std::numeric_limits<int>::max()) {
        key.type = ZQ_VALUE_TYPE_INT;
        key.value = static_cast<int>(json_integer_value(value));
    } else {
        return std::nullopt;
    }
    return key;
}

void appendProperties(EventKeys& keys, json_t* member, bool EventKey::*mark) {
    const char* name = nullptr;
    json_t* value = nullptr;
    json_object_foreach(member, name, value) {
        if (auto key = propertyOf(name, value)) {
            (*key).*mark = true;
            keys.append(std::move(*key));
        }
    }
}

GDateTime* newTime(const json_t* stamp) {
    if (!json_is_string(stamp)) {
        return nullptr;
    }
    g_autoptr(GTimeZone) utc = g_time_zone_new_utc();
    return g_date_time_new_from_iso8601(json_string_value(stamp), utc);
}

}  // namespace

namespace EventFormat {

std::optional<std::string> topic(std::string_view prefix, const EventKeys& keys, GError** error) {
    std::string text = root(prefix);
    for (unsigned number = 0; number < 3; ++number) {
        const EventKey* key = level(keys, number);
        if (!key && number > 0) {
            break;
        }
        if (!key || !hasValue(*key)) {
            refuse(error, "A level of the topic has no value");
            return std::nullopt;
        }
        text += "/" + levelText(*key);
    }
    const char* separator = "/&";
    for (const EventKey& key : keys) {
        if (!key.isSource || key.topicLevel()) {
            continue;
        }
        if (!hasValue(key)) {
            refuse(error, "A source property has no value");
            return std::nullopt;
        }
        text += separator + topicText(valueText(key.value));
        separator = "/";
    }
    return withinLength(std::move(text), error);
}

std::optional<std::string> filter(std::string_view prefix, const EventKeys& keys, GError** error) {
    std::string text = root(prefix);
    std::size_t levels = 0;
    for (const EventKey* key = nullptr; (key = level(keys, static_cast<unsigned>(levels)));) {
        text += "/" + (hasValue(*key) ? levelText(*key) : std::string(anyLevel));
        ++levels;
    }
    if (levels != keys.size()) {
        refuse(error, "A subscription names the levels of a topic, without a gap, and no more");
        return std::nullopt;
    }
    return withinLength(text + "/#", error);
}

std::string payload(const EventKeys& keys, GDateTime* time) {
    const Json event(json_object());
    json_t* const source = json_object();
    json_t* const data = json_object();
    json_object_set_new(event.get(), "UtcTime", json_string(utcText(time).c_str()));
    json_object_set_new(event.get(), "Source", source);
    json_object_set_new(event.get(), "Data", data);
    for (const EventKey& key : keys) {
        if (key.topicLevel() || !hasValue(key)) {
            continue;
        }
        Json value =
            key.isSource ? jsonText(validUtf8(valueText(key.value))) : jsonValue(key.value);
        json_object_set_new_nocheck(key.isSource ? source : data, validUtf8(key.name).c_str(),
                                    value.release());
    }
    const std::unique_ptr<char, void (*)(void*)> text(json_dumps(event.get(), JSON_COMPACT),
                                                      std::free);
    return text.get();
}

_ZQEvent* parse(std::string_view payload, GDateTime* arrival) {
    const Json event(json_loadb(payload.data(), payload.size(), 0, nullptr));
    if (!json_is_object(event.get())) {
        return nullptr;
    }
    EventKeys keys;
    appendProperties(keys, json_object_get(event.get(), "Data"), &EventKey::isData);
    appendProperties(keys, json_object_get(event.get(), "Source"), &EventKey::isSource);
    g_autoptr(GDateTime) time = newTime(json_object_get(event.get(), "UtcTime"));
    return new _ZQEvent(keys, time ? time : arrival);
}

}  // namespace EventFormat
