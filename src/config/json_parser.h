#pragma once

#include <jansson.h>

#include <cstddef>
#include <string>

/// Stateless helpers for JSON values. All pointers are borrowed unless said otherwise.
class JsonParser {
public:
    /// True for a non-null pointer.
    static bool isValid(const json_t* value);

    /// The value of a text whose root is an object or an array (transferred to the caller); null
    /// when it is not JSON.
    static json_t* decode(const char* text);

    /// Gives one reference back; ignores null.
    static void decref(json_t* value);

    /// The member if it is an object, otherwise null. Null for a null `object`.
    static json_t* getObject(const json_t* object, const std::string& key);

    /// The member if it is an array, otherwise null. Null for a null `object`.
    static json_t* getArray(const json_t* object, const std::string& key);

    /// Compact text at full precision, members in their order. Empty for null and when dumping
    /// fails.
    static std::string dumpJsonToString(const json_t* value);

    /// As dumpJsonToString(), with json_dumps() flags of the caller's choice.
    static std::string dump(const json_t* value, std::size_t flags);

    /// json_unpack() of a value that stays as it is; `targets` are as that function's. False for a
    /// null value and for one that does not fit the format.
    template <typename... Targets>
    static bool unpack(const json_t* value, const char* format, Targets... targets) {
        return json_unpack(const_cast<json_t*>(value), format, targets...) == 0;
    }
};
