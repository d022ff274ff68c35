#include "scene/scene_reader.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "scene/nolt_utils.h"

const char* SceneReader::socketPath = "/var/run/plinth/scenes";

namespace {

constexpr std::array<unsigned, 4> handshakeOrder{CapabilityBoundingBox, CapabilityPolygon,
                                                 CapabilityVelocity, CapabilityLowConfident};
constexpr std::size_t longestReply = 100;

/// Reads exactly `length` bytes; false if the connection ends or fails before.
bool readFromSocket(int fd, char* buffer, int length) {
    int got = 0;
    while (got < length) {
        const ssize_t result = recv(fd, buffer + got, static_cast<std::size_t>(length - got), 0);
        if (result < 1) {
            if (result == -1) {
                syslog(LOG_WARNING, "readFromSocket: Receive failed.\n");
            } else if (result != 0) {
                syslog(LOG_WARNING, "readFromSocket: Something really unexpected.\n");
            }
            return false;
        }
        got += static_cast<int>(result);
    }
    return true;
}

sockaddr_un makeAddress(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    return address;
}

std::string makeRequest(int capabilities, int camera, const API_Version& version) {
    std::string request = version.text + " OPEN";
    for (const unsigned capability : handshakeOrder) {
        // Looked up for each flag on purpose: an unknown version is logged once for each.
        if (NoltUtils::areCapabilitiesSupported(version, capability)) {
            const bool isWanted = (static_cast<unsigned>(capabilities) & capability) != 0;
            request += isWanted ? " 1" : " 0";
        }
    }
    return request + " " + std::to_string(camera) + "\n";
}

/// What came before the byte 0, the end of the connection or the hundredth byte.
std::string readReply(int fd) {
    std::array<char, longestReply> reply{};
    std::size_t length = 0;
    while (length < reply.size()) {
        if (!readFromSocket(fd, &reply[length], 1)) {
            syslog(LOG_ERR, "Read failed\n");
            break;
        }
        if (reply[length] == '\0') {
            break;
        }
        ++length;
    }
    if (length == reply.size()) {
        syslog(LOG_ERR, "Reached max_len without match\n");
    }
    return {reply.data(), length};
}

std::int32_t fromBigEndian(std::uint32_t word) {
    static_assert(std::endian::native == std::endian::little);
    return static_cast<std::int32_t>(__builtin_bswap32(word));
}

}  // namespace

int SceneReader::connect(const char* path) {
    if (path == nullptr) {
        return 0;
    }
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        syslog(LOG_ERR, "Invalid scene descriptor: %i\n\n", fd);
        return fd;
    }
    const sockaddr_un address = makeAddress(path);
    static_assert(sizeof address == 110);
    const int result = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (result < 0) {
        syslog(LOG_ERR, "Could not connect to service, result: %i\n\n", result);
        close(fd);
        return -1;
    }
    return fd;
}

void SceneReader::disconnect(int fd) {
    if (fd < 0) {
        syslog(LOG_ERR, "Invalid scene descriptor: %i\n\n", fd);
        return;
    }
    close(fd);
}

SceneReaderResult SceneReader::initialize(int fd, int capabilities, int camera,
                                          const API_Version& version) {
    if (fd < 0) {
        syslog(LOG_ERR, "Invalid scene descriptor: %i\n\n", fd);
        return {};
    }
    const std::string request = makeRequest(capabilities, camera, version);
    // A peer that has closed must be a failed send, not a signal that ends the process.
    if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) < 1) {
        return {};
    }
    return SceneReaderResult(readReply(fd));
}

bool SceneReader::readScene(int fd, char** payload) {
    *payload = nullptr;
    if (fd == -1) {
        return false;
    }
    std::uint32_t word = 0;
    readFromSocket(fd, reinterpret_cast<char*>(&word), sizeof word);
    std::array<char, 8> unused{};
    readFromSocket(fd, unused.data(), unused.size());

    const std::int32_t length = fromBigEndian(word);
    if (length < 1) {
        return false;
    }
    // Zeroed, because a payload that is cut off is handed on as it is; and calloc gives large
    // blocks without touching them, so a wrong length costs nothing.
    *payload = static_cast<char*>(calloc(1, static_cast<std::size_t>(length)));
    if (*payload == nullptr) {
        return false;
    }
    readFromSocket(fd, *payload, length);
    return true;
}
