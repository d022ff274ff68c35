#include "config/default_values.h"

DefaultValues::DefaultValues(SizePercentageFilterDefaults* size,
                             ShortLivedFilterDefaults* shortLived, SwayingFilterDefaults* swaying,
                             IncludeAreaDefaults* include, ExcludeAreaDefaults* exclude,
                             PTZ_Defaults* ptzHead, SupportedCapabilitiesDefaults* capabilities)
    : sizePercentageFilter(size),
      shortLivedFilter(shortLived),
      swayingFilter(swaying),
      includeArea(include),
      excludeArea(exclude),
      ptz(ptzHead),
      supportedCapabilities(capabilities) {}

DefaultValues::DefaultValues(SizePercentageFilterDefaults* size, SwayingFilterDefaults* swaying,
                             ExcludeAreaDefaults* exclude, PTZ_Defaults* ptzHead,
                             LoiteringDefaults* loiteringArea,
                             SupportedCapabilitiesDefaults* capabilities)
    : sizePercentageFilter(size),
      swayingFilter(swaying),
      excludeArea(exclude),
      ptz(ptzHead),
      supportedCapabilities(capabilities),
      loitering(loiteringArea) {}

DefaultValues::DefaultValues(SizePercentageFilterDefaults* size,
                             ShortLivedFilterDefaults* shortLived, SwayingFilterDefaults* swaying,
                             ExcludeAreaDefaults* exclude, PTZ_Defaults* ptzHead,
                             FenceDefaults* fenceLine, SupportedCapabilitiesDefaults* capabilities)
    : sizePercentageFilter(size),
      shortLivedFilter(shortLived),
      swayingFilter(swaying),
      excludeArea(exclude),
      ptz(ptzHead),
      supportedCapabilities(capabilities),
      fence(fenceLine) {}

DefaultValues::~DefaultValues() {
    delete fence;
    delete loitering;
    delete supportedCapabilities;
    delete ptz;
    delete excludeArea;
    delete includeArea;
    delete swayingFilter;
    delete shortLivedFilter;
    delete sizePercentageFilter;
}

DefaultValues DefaultValues::ofThisBuild() {
    return DefaultValues(
        new SizePercentageFilterDefaults{.width = 5, .height = 5, .active = true},
        new ShortLivedFilterDefaults{.seconds = 1, .active = true},
        new SwayingFilterDefaults{.percent = 5, .active = true},
        new IncludeAreaDefaults{{.left = -0.97F, .right = 0.97F, .bottom = -0.97F, .top = 0.97F}},
        new ExcludeAreaDefaults{{.left = -0.2F, .right = 0.2F, .bottom = -0.2F, .top = 0.2F}},
        new PTZ_Defaults{.preset = -2},
        new SupportedCapabilitiesDefaults{.motionLevelSupported = true});
}
