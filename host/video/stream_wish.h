#pragma once

#include <optional>
#include <string>

/// Which stream of a camera somebody wants. What is left open, the configuration chooses.
struct StreamWish {
    struct Size {
        int width;
        int height;

        /// "WIDTHxHEIGHT" in decimal digits, both above 0; nothing else.
        static std::optional<Size> parse(const std::string& text);
        friend bool operator==(const Size&, const Size&) = default;
    };

    int camera = 1;
    std::optional<Size> size;
    std::optional<int> rotation;

    friend bool operator==(const StreamWish&, const StreamWish&) = default;
};

/// A decimal number from 0 to 999999 without sign, blanks or leading zeros; nothing else.
std::optional<int> parseSmallNumber(const std::string& text);
