#pragma once

#include <string>
#include <vector>

#include "cgi/api_version.h"

/// The versions of a protocol that this build speaks, in ascending order. A value; copies are
/// independent.
class API_VersionHandler {
public:
    /// An empty handler, which supports nothing.
    API_VersionHandler() = default;

    /// One version for each text; a count below 1 gives an empty handler.
    API_VersionHandler(const char* const* versions, int count);

    /// Whether an entry with the same major has at least the argument's minor: every minor up to
    /// the highest counts, listed or not. False for a version that is not valid.
    bool isSupported(const API_Version& version) const;

    /// The entry with the highest minor for this major; a version that is not valid if there is
    /// none.
    API_Version findHighestSupportedVersion(int major) const;
    API_Version getHighestSupportedVersion(int major) const;

    /// The last entry; a version that is not valid from an empty handler.
    API_Version getHighestSupportedVersion() const;

    /// The entries not above the argument, from the last entry to the first.
    std::vector<API_Version> getSupportedVersions(const API_Version& version) const;

    /// All entries in order.
    const std::vector<API_Version>& getVersions() const { return versions; }

    /// The texts of all entries, each followed by a blank.
    std::string toString() const;

private:
    std::vector<API_Version> versions;
};
