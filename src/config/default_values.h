#pragma once

#include <cstdint>
#include <string>

struct SizePercentageFilterDefaults {
    std::int32_t width;
    std::int32_t height;
    bool active;
};

struct ShortLivedFilterDefaults {
    std::int32_t seconds;
    bool active;
};

struct SwayingFilterDefaults {
    std::int32_t percent;
    bool active;
};

/// A rectangle in the normalised coordinates of a configuration, -1.0..1.0. As points it is
/// (left, bottom), (left, top), (right, top), (right, bottom).
struct RectangleDefaults {
    float left;
    float right;
    float bottom;
    float top;
};

struct IncludeAreaDefaults : RectangleDefaults {};

struct ExcludeAreaDefaults : RectangleDefaults {};

struct PTZ_Defaults {
    std::int32_t preset;
};

struct SupportedCapabilitiesDefaults {
    bool motionLevelSupported;
};

/// Times in seconds.
struct LoiteringDefaults {
    std::int32_t individualTime;
    bool individualActive;
    std::int32_t groupTime;
    bool groupActive;
    RectangleDefaults rectangle;
};

/// A line in normalised coordinates, and "leftToRight", "rightToLeft" or "both".
struct FenceDefaults {
    float startX;
    float startY;
    float endX;
    float endY;
    std::string alarmDirection;
};

/// What a new configuration document and the capabilities answer propose. A null record means that
/// the build does not have the feature. Constant after construction: any thread may read.
///
/// Each constructor is for one kind of application and takes its records over (transferred).
class DefaultValues {
public:
    DefaultValues(SizePercentageFilterDefaults* size, ShortLivedFilterDefaults* shortLived,
                  SwayingFilterDefaults* swaying, IncludeAreaDefaults* include,
                  ExcludeAreaDefaults* exclude, PTZ_Defaults* ptzHead,
                  SupportedCapabilitiesDefaults* capabilities);
    DefaultValues(SizePercentageFilterDefaults* size, SwayingFilterDefaults* swaying,
                  ExcludeAreaDefaults* exclude, PTZ_Defaults* ptzHead,
                  LoiteringDefaults* loiteringArea, SupportedCapabilitiesDefaults* capabilities);
    DefaultValues(SizePercentageFilterDefaults* size, ShortLivedFilterDefaults* shortLived,
                  SwayingFilterDefaults* swaying, ExcludeAreaDefaults* exclude,
                  PTZ_Defaults* ptzHead, FenceDefaults* fenceLine,
                  SupportedCapabilitiesDefaults* capabilities);
    ~DefaultValues();
    DefaultValues(const DefaultValues&) = delete;
    DefaultValues& operator=(const DefaultValues&) = delete;

    /// The proposals of this build: no loitering and no fence.
    static DefaultValues ofThisBuild();

    // Owned.
    const SizePercentageFilterDefaults* sizePercentageFilter = nullptr;
    const ShortLivedFilterDefaults* shortLivedFilter = nullptr;
    const SwayingFilterDefaults* swayingFilter = nullptr;
    const IncludeAreaDefaults* includeArea = nullptr;
    const ExcludeAreaDefaults* excludeArea = nullptr;
    const PTZ_Defaults* ptz = nullptr;
    const SupportedCapabilitiesDefaults* supportedCapabilities = nullptr;
    const LoiteringDefaults* loitering = nullptr;
    const FenceDefaults* fence = nullptr;
};
