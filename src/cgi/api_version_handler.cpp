#include "cgi/api_version_handler.h"

API_VersionHandler::API_VersionHandler(const char* const* texts, int count) {
    for (int i = 0; i < count; ++i) {
        versions.emplace_back(texts[i]);
    }
}

bool API_VersionHandler::isSupported(const API_Version& version) const {
    return version.isValid() && findHighestSupportedVersion(version.major).minor >= version.minor;
}

API_Version API_VersionHandler::findHighestSupportedVersion(int major) const {
    const API_Version* highest = nullptr;
    for (const API_Version& version : versions) {
        if (version.major == major && (highest == nullptr || version.minor > highest->minor)) {
            highest = &version;
        }
    }
    return highest != nullptr ? *highest : API_Version();
}

API_Version API_VersionHandler::getHighestSupportedVersion(int major) const {
    const API_Version highest = findHighestSupportedVersion(major);
    return highest.isValid() ? highest : API_Version();
}

API_Version API_VersionHandler::getHighestSupportedVersion() const {
    return versions.empty() ? API_Version() : versions.back();
}

std::vector<API_Version> API_VersionHandler::getSupportedVersions(
    const API_Version& version) const {
    std::vector<API_Version> result;
    for (auto entry = versions.rbegin(); entry != versions.rend(); ++entry) {
        if (*entry <= version) {
            result.push_back(*entry);
        }
    }
    return result;
}

std::string API_VersionHandler::toString() const {
    std::string text;
    for (const API_Version& version : versions) {
        text += version.text + ' ';
    }
    return text;
}
