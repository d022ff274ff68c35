#include "config/data_boundaries.h"

#include "device/camera_info.h"

std::int32_t ProfileBoundaries::maxProfilesPerCamera() const {
    if (CameraInfo::isMultiCamera()) {
        return maxProfilesMultiCamera;
    }
    return CameraInfo::isMechanicalPTZ() ? maxProfilesPTZ : maxProfilesSingleCamera;
}

DataBoundaries::DataBoundaries(SizePercentageFilterBoundaries* size, PTZ_Boundaries* ptzHead,
                               ProfileBoundaries* profiles, ShortLivedFilterBoundaries* shortLived,
                               SwayingFilterBoundaries* swaying, ExcludeAreaBoundaries* exclude,
                               IncludeAreaBoundaries* include)
    : sizePercentageFilter(size),
      ptz(ptzHead),
      profile(profiles),
      shortLivedFilter(shortLived),
      swayingFilter(swaying),
      excludeArea(exclude),
      includeArea(include) {}

DataBoundaries::DataBoundaries(SizePercentageFilterBoundaries* size, PTZ_Boundaries* ptzHead,
                               ProfileBoundaries* profiles, SwayingFilterBoundaries* swaying,
                               ExcludeAreaBoundaries* exclude, LoiteringBoundaries* loiteringArea)
    : sizePercentageFilter(size),
      ptz(ptzHead),
      profile(profiles),
      swayingFilter(swaying),
      excludeArea(exclude),
      loitering(loiteringArea) {}

DataBoundaries::DataBoundaries(SizePercentageFilterBoundaries* size, PTZ_Boundaries* ptzHead,
                               ProfileBoundaries* profiles, ShortLivedFilterBoundaries* shortLived,
                               FenceBoundaries* fenceLine)
    : sizePercentageFilter(size),
      ptz(ptzHead),
      profile(profiles),
      shortLivedFilter(shortLived),
      fence(fenceLine) {}

DataBoundaries::~DataBoundaries() {
    delete fence;
    delete loitering;
    delete includeArea;
    delete excludeArea;
    delete swayingFilter;
    delete shortLivedFilter;
    delete profile;
    delete ptz;
    delete sizePercentageFilter;
}

DataBoundaries DataBoundaries::ofThisBuild() {
    constexpr AreaDatapointsBoundaries kAreaPoints{.maxNbrVertices = 20, .minNbrVertices = 3};
    return DataBoundaries(
        new SizePercentageFilterBoundaries{
            .maxWidth = 100, .minWidth = 3, .maxHeight = 100, .minHeight = 3},
        new PTZ_Boundaries{.maxNbrPresets = 1},
        new ProfileBoundaries{.maxNameLength = 64,
                              .minNameLength = 1,
                              .maxProfilesSingleCamera = 3,
                              .maxProfilesPTZ = 10,
                              .maxProfilesMultiCamera = 3,
                              .minProfilesPerCamera = 0},
        new ShortLivedFilterBoundaries{.max = 5, .min = 1},
        new SwayingFilterBoundaries{.max = 20, .min = 3},
        new ExcludeAreaBoundaries{
            .maxNbrInstances = 3, .minNbrInstances = 0, .datapoints = kAreaPoints},
        new IncludeAreaBoundaries{
            .maxNbrInstances = 1, .minNbrInstances = 1, .datapoints = kAreaPoints});
}
