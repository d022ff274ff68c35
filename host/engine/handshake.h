#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The server's half of the scene socket's handshake: one request line, one answer.
///
///     REQUEST = VERSION " OPEN" (" " FLAG)... " " CAMERA "\n"
///     VERSION = "1.0", with 3 flags, or "1.1", with 4
///     FLAG    = "0" | "1", in the order bounding box, polygon, velocity, low-confidence objects
///     CAMERA  = decimal number, from 1
///     ANSWER  = VERSION " OK" 0 | VERSION " ERROR" 0
///
/// A request that is granted is answered in its own version, any other with the highest there is.
class Handshake {
public:
    /// A request that has not ended after so many bytes is none.
    static constexpr std::size_t longestRequest = 100;

    /// Judges `line`, without its line end, for a device with cameras 1..`cameras`.
    Handshake(std::string_view line, int cameras);

    bool granted() const { return cameraNumber > 0; }
    /// From 1; 0 unless granted.
    int camera() const { return cameraNumber; }
    /// SceneProperties bits.
    unsigned properties() const { return flags; }
    /// With its closing byte 0.
    std::string answer() const;

private:
    std::string version;
    unsigned flags = 0;
    int cameraNumber = 0;
};
