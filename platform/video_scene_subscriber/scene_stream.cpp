#include "video_scene_subscriber/scene_stream.h"

#include <gio/gunixsocketaddress.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "video_scene_subscriber/result.h"
#include "video_scene_subscriber/video_scene_subscriber.h"

namespace {

constexpr gint64 handshakeLimit = G_USEC_PER_SEC;
/// As long as an answer may be, its closing 0 included.
constexpr std::size_t longestAnswer = 100;
constexpr std::string_view granted = "1.1 OK";
constexpr std::string_view refused = "1.1 ERROR";
/// Length, and 8 bytes without a meaning.
constexpr std::size_t headSize = 12;

int resultOf(const GError* error) {
    if (error->domain != G_IO_ERROR) {
        return result::outOfResources;
    }
    switch (error->code) {
        case G_IO_ERROR_NOT_FOUND:
        case G_IO_ERROR_CONNECTION_REFUSED:
            return result::noProvider;
        case G_IO_ERROR_PERMISSION_DENIED:
            return result::notAllowed;
        case G_IO_ERROR_TOO_MANY_OPEN_FILES:
            return result::outOfResources;
        default:
            return result::invalidState;
    }
}

/// GIO lets the whole process ignore SIGPIPE when it makes its first socket. That is not this
/// module's to decide, and its sockets never raise one.
void prepareSockets() {
    [[maybe_unused]] static const gpointer socketClass = [] {
        struct sigaction before = {};
        sigaction(SIGPIPE, nullptr, &before);
        const gpointer made = g_type_class_ref(G_TYPE_SOCKET);
        sigaction(SIGPIPE, &before, nullptr);
        return made;
    }();
}

}  // namespace

SceneStream::~SceneStream() {
    g_clear_object(&socket);
}

int SceneStream::open(const char* path, const Request& request) {
    const gint64 deadline = g_get_monotonic_time() + handshakeLimit;
    int code = connect(path);
    if (code == result::success) {
        code = ask(request);
    }
    return code == result::success ? takeAnswer(deadline) : code;
}

int SceneStream::connect(const char* path) {
    prepareSockets();
    g_autoptr(GError) error = nullptr;
    socket =
        g_socket_new(G_SOCKET_FAMILY_UNIX, G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_DEFAULT, &error);
    if (socket == nullptr) {
        return result::outOfResources;
    }
    // Never waits: an engine whose queue of connections is full does not answer.
    g_autoptr(GSocketAddress) address = g_unix_socket_address_new(path);
    return g_socket_connect(socket, address, nullptr, &error) ? result::success : resultOf(error);
}

int SceneStream::ask(const Request& request) {
    char line[longestAnswer];
    const int length = std::snprintf(
        line, sizeof line, "1.1 OPEN %d %d %d %d %lld\n", request.boundingBox, request.polygon,
        request.velocity, request.lowConfident, static_cast<long long>(request.channel) + 1);
    // A fresh connection takes so little in one piece.
    return g_socket_send(socket, line, static_cast<gsize>(length), nullptr, nullptr) == length
               ? result::success
               : result::invalidState;
}

// Byte by byte: what follows the answer's closing 0 is the first scene's.
int SceneStream::takeAnswer(gint64 deadline) {
    char answer[longestAnswer];
    std::size_t length = 0;
    while (length < sizeof answer) {
        const gint64 left = deadline - g_get_monotonic_time();
        if (left <= 0 || !g_socket_condition_timed_wait(socket, G_IO_IN, left, nullptr, nullptr) ||
            g_socket_receive(socket, answer + length, 1, nullptr, nullptr) != 1) {
            return result::invalidState;
        }
        if (answer[length] == '\0') {
            break;
        }
        ++length;
    }
    const std::string_view told(answer, length);
    return told == granted   ? result::success
           : told == refused ? result::noProvider
                             : result::invalidState;
}

char* SceneStream::read() {
    unsigned char head[headSize];
    if (!receive(head, sizeof head)) {
        return nullptr;
    }
    std::uint32_t length = 0;
    std::memcpy(&length, head, sizeof length);
    length = GUINT32_FROM_BE(length);
    if (length == 0 || length > SCENE_MAX_PAYLOAD) {
        return nullptr;
    }
    char* payload = static_cast<char*>(std::malloc(length));
    if (payload != nullptr && !receive(payload, length)) {
        std::free(payload);
        payload = nullptr;
    }
    return payload;
}

bool SceneStream::receive(void* buffer, std::size_t size) {
    char* const start = static_cast<char*>(buffer);
    for (std::size_t got = 0; got < size;) {
        const gssize count = g_socket_receive(socket, start + got, size - got, nullptr, nullptr);
        if (count <= 0) {
            return false;
        }
        got += static_cast<std::size_t>(count);
    }
    return true;
}

// Not g_socket_shutdown(): that writes to the object, which the reader is using.
void SceneStream::shutDown() {
    ::shutdown(g_socket_get_fd(socket), SHUT_RDWR);
}
