#include "engine/handshake.h"

#include <charconv>

namespace {

struct ProtocolVersion {
    std::string_view text;
    int flags;
};

constexpr ProtocolVersion versions[] = {{"1.0", 3}, {"1.1", 4}};

/// Takes `prefix` off the front of `text`.
bool take(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

/// Reads `count` flags; the first is the lowest bit.
bool takeFlags(std::string_view& text, int count, unsigned& flags) {
    for (int i = 0; i < count; ++i) {
        if (take(text, " 1")) {
            flags |= 1u << i;
        } else if (!take(text, " 0")) {
            return false;
        }
    }
    return true;
}

bool takeCamera(std::string_view text, int& camera) {
    if (!take(text, " ") || text.empty() || text.front() < '1' || text.front() > '9') {
        return false;
    }
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, camera);
    return error == std::errc() && stopped == end;
}

}  // namespace

Handshake::Handshake(std::string_view line, int cameras) : version(std::end(versions)[-1].text) {
    for (const ProtocolVersion& known : versions) {
        std::string_view rest = line;
        unsigned wanted = 0;
        int camera = 0;
        if (take(rest, known.text) && take(rest, " OPEN") && takeFlags(rest, known.flags, wanted) &&
            takeCamera(rest, camera) && camera <= cameras) {
            version = known.text;
            flags = wanted;
            cameraNumber = camera;
        }
    }
}

std::string Handshake::answer() const {
    return version + (granted() ? " OK" : " ERROR") + '\0';
}
