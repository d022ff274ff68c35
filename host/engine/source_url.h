#pragma once

#include <string>

/// A URL that pictures can be fetched from.
struct SourceUrl {
    std::string text;
    std::string scheme;

    /// Throws SourceError "URL: reason" if it is malformed or of a kind that cannot be read.
    static SourceUrl parse(const std::string& text);

    /// Whether pictures come at their own pace, not as fast as they are taken.
    bool isLive() const;
};
