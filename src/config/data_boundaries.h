#pragma once

#include <cstdint>

struct SizePercentageFilterBoundaries {
    std::int32_t maxWidth;
    std::int32_t minWidth;
    std::int32_t maxHeight;
    std::int32_t minHeight;
};

struct PTZ_Boundaries {
    std::int32_t maxNbrPresets;
};

struct ProfileBoundaries {
    std::int32_t maxNameLength;
    std::int32_t minNameLength;
    std::int32_t maxProfilesSingleCamera;
    std::int32_t maxProfilesPTZ;
    std::int32_t maxProfilesMultiCamera;
    std::int32_t minProfilesPerCamera;

    /// The one of the three limits that holds for this device.
    std::int32_t maxProfilesPerCamera() const;
};

/// Seconds.
struct ShortLivedFilterBoundaries {
    std::int32_t max;
    std::int32_t min;
};

/// Percent of the view.
struct SwayingFilterBoundaries {
    std::int32_t max;
    std::int32_t min;
};

struct AreaDatapointsBoundaries {
    std::int32_t maxNbrVertices;
    std::int32_t minNbrVertices;
};

struct ExcludeAreaBoundaries {
    std::int32_t maxNbrInstances;
    std::int32_t minNbrInstances;
    AreaDatapointsBoundaries datapoints;
};

struct IncludeAreaBoundaries {
    std::int32_t maxNbrInstances;
    std::int32_t minNbrInstances;
    AreaDatapointsBoundaries datapoints;
};

/// Seconds.
struct ConditionBoundaries {
    std::int32_t max;
    std::int32_t min;
};

struct LoiteringBoundaries {
    std::int32_t maxNbrInstances;
    std::int32_t minNbrInstances;
    ConditionBoundaries individualTimeInArea;
    ConditionBoundaries groupTimeInArea;
    ConditionBoundaries objectStopped;
    AreaDatapointsBoundaries datapoints;
};

struct FenceBoundaries {
    std::int32_t maxNbrInstances;
    std::int32_t minNbrInstances;
    AreaDatapointsBoundaries datapoints;
};

/// The limits that configuration checks test. A null record means that the build does not have the
/// feature. Constant after construction: any thread may read.
///
/// Each constructor is for one kind of application and takes its records over (transferred).
class DataBoundaries {
public:
    DataBoundaries(SizePercentageFilterBoundaries* size, PTZ_Boundaries* ptzHead,
                   ProfileBoundaries* profiles, ShortLivedFilterBoundaries* shortLived,
                   SwayingFilterBoundaries* swaying, ExcludeAreaBoundaries* exclude,
                   IncludeAreaBoundaries* include);
    DataBoundaries(SizePercentageFilterBoundaries* size, PTZ_Boundaries* ptzHead,
                   ProfileBoundaries* profiles, SwayingFilterBoundaries* swaying,
                   ExcludeAreaBoundaries* exclude, LoiteringBoundaries* loiteringArea);
    DataBoundaries(SizePercentageFilterBoundaries* size, PTZ_Boundaries* ptzHead,
                   ProfileBoundaries* profiles, ShortLivedFilterBoundaries* shortLived,
                   FenceBoundaries* fenceLine);
    ~DataBoundaries();
    DataBoundaries(const DataBoundaries&) = delete;
    DataBoundaries& operator=(const DataBoundaries&) = delete;

    /// The limits of this build: no loitering and no fence.
    static DataBoundaries ofThisBuild();

    // Owned.
    const SizePercentageFilterBoundaries* sizePercentageFilter = nullptr;
    const PTZ_Boundaries* ptz = nullptr;
    const ProfileBoundaries* profile = nullptr;
    const ShortLivedFilterBoundaries* shortLivedFilter = nullptr;
    const SwayingFilterBoundaries* swayingFilter = nullptr;
    const ExcludeAreaBoundaries* excludeArea = nullptr;
    const IncludeAreaBoundaries* includeArea = nullptr;
    const LoiteringBoundaries* loitering = nullptr;
    const FenceBoundaries* fence = nullptr;
};
