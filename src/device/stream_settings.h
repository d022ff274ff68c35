#pragma once

#include <cstdint>

/// What a video stream looks like: size in pixels, rotation (0, 90, 180 or 270 degrees), mirror
/// flag.
struct StreamSettings {
    StreamSettings() = default;
    StreamSettings(int width, int height, int rotation, bool mirrored);

    friend bool operator==(const StreamSettings&, const StreamSettings&) = default;

    /// The height at rotation 0 or 180, else the width.
    int getRotationCorrectedHeight() const;
    /// The viewed width (the width at rotation 0 or 180, else the height), less its remainder
    /// by 16.
    int getRotationAndMacroBlockCorrectedWidth() const;
    /// The viewed height (the height at rotation 0 or 180, else the width), less its remainder by
    /// 16.
    int getRotationAndMacroBlockCorrectedHeight() const;

    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t rotation = 0;
    bool mirrored = false;
};
