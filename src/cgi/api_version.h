#pragma once

#include <cstdint>
#include <string>

// The C library's <sys/types.h> may define these as macros.
#undef major
#undef minor

/// A version of the form major.minor, of the control API, the scene protocol or the platform.
/// Versions compare by their two numbers; the text takes no part.
class API_Version {
public:
    /// Not valid: both numbers -1, the text empty.
    API_Version() = default;

    /// Keeps the text as written. A text that is not two numbers with a point between them is
    /// logged and leaves the version not valid.
    explicit API_Version(const std::string& text);

    /// Reads major and minor from a text; on failure logs and leaves both alone.
    static void convertVersionStrToInts(const std::string& text, std::int32_t& major,
                                        std::int32_t& minor);

    bool isValid() const;

    /// False whenever the left side has a number of -1: such a version equals nothing, not even
    /// itself.
    bool operator==(const API_Version& other) const;
    bool operator<(const API_Version& other) const;
    bool operator<=(const API_Version& other) const;

    std::int32_t major = -1;
    std::int32_t minor = -1;
    std::string text;
};
