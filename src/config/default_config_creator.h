#pragma once

#include <string>

#include "config/json_auto_ptr.h"

class DefaultValues;

/// Makes the first configuration document of a device: every supported source with one profile, one
/// source of them active.
///
/// A step that fails throws std::runtime_error; one of packing a filter or a trigger throws
/// StatusException with StatusInternalError.
class DefaultConfigCreator {
public:
    /// With `createPerspective` profiles get an empty perspective, for builds that have one.
    explicit DefaultConfigCreator(bool createPerspective);
    virtual ~DefaultConfigCreator() = default;

    /// The whole document, for the given API version.
    JsonAutoPtr create(const DefaultValues& defaults, const std::string& apiVersion);

    /// The document's `params`.
    JsonAutoPtr createDefaultParams(const DefaultValues& defaults);

    /// A profile for each supported source of 1..nbrOfCameras.
    JsonAutoPtr createProfiles(const DefaultValues& defaults, int nbrOfCameras);

    virtual JsonAutoPtr createProfile(const DefaultValues& defaults, int camera);
    virtual JsonAutoPtr createTriggersArray(const DefaultValues& defaults);
    virtual JsonAutoPtr createFiltersArray(const DefaultValues& defaults);

private:
    bool createPerspective;
};
