#include "engine/source_url.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>

#include "engine/source_error.h"

namespace {

struct Scheme {
    std::string_view name;
    bool live;
};

constexpr Scheme schemes[] = {{"rtsp", true},  {"rtsps", true}, {"rtmp", true}, {"rtmps", true},
                              {"udp", true},   {"rtp", true},   {"srt", true},  {"tcp", true},
                              {"http", false}, {"https", false}};

const Scheme* find(std::string_view name) {
    const auto* found = std::find_if(std::begin(schemes), std::end(schemes),
                                     [&](const Scheme& scheme) { return scheme.name == name; });
    return found == std::end(schemes) ? nullptr : found;
}

bool isPort(std::string_view text) {
    unsigned port = 0;
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && stopped == text.data() + text.size() && port >= 1 &&
           port <= 65535;
}

// [user[:password]@]host[:port], the host perhaps an IPv6 address in brackets.
bool isAuthority(std::string_view text, bool hostMayBeMissing) {
    const std::size_t at = text.rfind('@');
    if (at != std::string_view::npos) {
        text.remove_prefix(at + 1);
    }
    std::size_t hostEnd = text.find(':');
    if (text.starts_with('[')) {
        const std::size_t bracket = text.find(']');
        if (bracket == std::string_view::npos || bracket == 1) {
            return false;
        }
        hostEnd = bracket + 1 == text.size() ? std::string_view::npos : bracket + 1;
    }
    if (hostEnd != std::string_view::npos &&
        (text[hostEnd] != ':' || !isPort(text.substr(hostEnd + 1)))) {
        return false;
    }
    return hostMayBeMissing || (!text.empty() && hostEnd != 0);
}

}  // namespace

SourceUrl SourceUrl::parse(const std::string& text) {
    const auto refuse = [&](const std::string& reason) -> SourceError {
        return SourceError(text + ": " + reason);
    };
    const std::size_t colon = text.find("://");
    if (colon == std::string::npos) {
        throw refuse("is no URL");
    }
    if (std::any_of(text.begin(), text.end(), [](unsigned char letter) {
            return std::isspace(letter) != 0 || std::iscntrl(letter) != 0;
        })) {
        throw refuse("is no URL: there is a blank or control character in it");
    }
    std::string name = text.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const Scheme* scheme = find(name);
    if (scheme == nullptr) {
        throw refuse("is of a kind that cannot be read");
    }
    const std::size_t begin = colon + 3;
    const std::size_t end = std::min(text.find_first_of("/?#", begin), text.size());
    const bool hostMayBeMissing = name == "udp" || name == "rtp" || name == "srt";
    if (!isAuthority(std::string_view(text).substr(begin, end - begin), hostMayBeMissing)) {
        throw refuse("is no URL: its host or port is bad");
    }
    return {name + text.substr(colon), name};
}

bool SourceUrl::isLive() const {
    return find(scheme)->live;
}
