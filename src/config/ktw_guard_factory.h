#pragma once

#include "config/area_guard_factory.h"

/// The factory of this build: it demands an include area and refuses perspective bars and the
/// filter that needs them.
class KTW_GuardFactory final : public AreaGuardFactory {
public:
    /// Parses the profile; does not throw for a bad one but leaves the failure in `status`.
    KTW_GuardFactory(const json_t& profile, int cameraRotation, const DataBoundaries& boundaries);

    Guard* createGuard() const override;
    void validateConfiguration() override;
    void createOneExclusionFilter(const json_t& filter) override;
    void parseJson(const json_t& profile) override;

    void validateNonSupportedPerspective(const json_t& profile) const;
};
