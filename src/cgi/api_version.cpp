#include "cgi/api_version.h"

#include <syslog.h>

#include <cstdlib>
#include <vector>

#include "app/utils.h"

namespace {

std::int32_t toInt(const std::string& digits) {
    return static_cast<std::int32_t>(std::strtol(digits.c_str(), nullptr, 10));
}

}  // namespace

API_Version::API_Version(const std::string& version) : text(version) {
    convertVersionStrToInts(version, major, minor);
}

void API_Version::convertVersionStrToInts(const std::string& text, std::int32_t& major,
                                          std::int32_t& minor) {
    const std::vector<std::string> parts = utils::splitString(text, '.');
    if (!utils::isNumber(text) || parts.size() != 2) {
        syslog(LOG_WARNING, "unsupported format on version %s, it should be major.minor\n",
               text.c_str());
        return;
    }
    major = toInt(parts[0]);
    minor = toInt(parts[1]);
}

bool API_Version::isValid() const {
    return major != -1 && minor != -1;
}

bool API_Version::operator==(const API_Version& other) const {
    return isValid() && major == other.major && minor == other.minor;
}

bool API_Version::operator<(const API_Version& other) const {
    return major != other.major ? major < other.major : minor < other.minor;
}

bool API_Version::operator<=(const API_Version& other) const {
    return *this == other || *this < other;
}
