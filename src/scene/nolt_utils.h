#pragma once

class API_Version;

/// The properties of objects that a scene stream may carry. A mask of these is asked for when a
/// stream is opened. The values travel.
enum SceneCapability : unsigned {
    CapabilityBoundingBox = 1,
    CapabilityPolygon = 2,
    CapabilityVelocity = 4,
    /// Low-confidence objects are delivered, and each object carries a confidence.
    CapabilityLowConfident = 8,
};

/// What the versions of the scene protocol can deliver. A version that is not valid or not known is
/// logged and delivers nothing.
namespace NoltUtils {

/// The mask of a version: 7 for 1.0, 15 for 1.1.
unsigned getSupportedCapabilities(const API_Version& version);

/// The bits of `mask` that the version has.
unsigned removeUnsupportedCapabilites(const API_Version& version, unsigned mask);

/// Whether the version has all bits of `mask`.
bool areCapabilitiesSupported(const API_Version& version, unsigned mask);

}  // namespace NoltUtils
