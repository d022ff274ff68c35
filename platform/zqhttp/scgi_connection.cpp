#include "zqhttp/scgi_connection.h"

#include <sys/socket.h>

#include <array>
#include <string>
#include <utility>

namespace {

/// So that an answer of the usual size leaves at once, however slow its reader. The system may
/// grant less.
constexpr int sendBuffer = 1024 * 1024;

/// What is still read of a request that is refused. A sender that never pauses would otherwise keep
/// the thread from noticing that time is up.
constexpr std::size_t mostIgnored = std::size_t{1024} * 1024;

/// What has arrived by the end of the time counts, however late it is looked at.
GSource* createTimeout(unsigned milliseconds) {
    GSource* source = g_timeout_source_new(milliseconds);
    g_source_set_priority(source, G_PRIORITY_LOW);
    return source;
}

}  // namespace

ScgiConnection::ScgiConnection(GSocket* newSocket, GMainContext* context, ScgiPatience given,
                               Answer answerer, std::function<void()> whenOver)
    : socket(newSocket),
      stream(g_socket_connection_factory_create_connection(newSocket)),
      patience(given),
      answer(std::move(answerer)),
      over(std::move(whenOver)),
      readable(g_socket_create_source(newSocket, G_IO_IN, nullptr), G_SOURCE_FUNC(onReadable), this,
               context),
      timeout(createTimeout(given.request), onTimeout, this, context) {
    g_socket_set_option(socket, SOL_SOCKET, SO_SNDBUF, sendBuffer, nullptr);
}

ScgiConnection::~ScgiConnection() {
    g_io_stream_close(G_IO_STREAM(stream), nullptr, nullptr);
    g_object_unref(stream);
    g_object_unref(socket);
}

gboolean ScgiConnection::onReadable(GSocket*, GIOCondition, gpointer self) {
    auto& connection = *static_cast<ScgiConnection*>(self);
    if (connection.read()) {
        return G_SOURCE_CONTINUE;
    }
    connection.finish();
    return G_SOURCE_REMOVE;
}

gboolean ScgiConnection::onTimeout(gpointer self) {
    static_cast<ScgiConnection*>(self)->finish();
    return G_SOURCE_REMOVE;
}

bool ScgiConnection::read() {
    std::array<char, 16'384> piece;
    g_autoptr(GError) error = nullptr;
    const gssize count =
        g_socket_receive_with_blocking(socket, piece.data(), piece.size(), FALSE, nullptr, &error);
    if (count <= 0) {
        return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK);
    }
    const auto length = static_cast<std::size_t>(count);
    switch (request.add({piece.data(), length})) {
        case ScgiRequest::State::Incomplete:
            return true;
        case ScgiRequest::State::Complete:
            respond();
            return false;
        case ScgiRequest::State::Malformed:
            return refuse("400 Bad Request", length);
        case ScgiRequest::State::TooLarge:
            return refuse("413 Content Too Large", length);
    }
    return false;
}

void ScgiConnection::finish() {
    // It may destroy what it is a member of.
    const std::function<void()> tell = std::move(over);
    tell();
}

void ScgiConnection::respond() {
    g_socket_set_timeout(socket, patience.answer);
    answer(request, *g_io_stream_get_output_stream(G_IO_STREAM(stream)));
}

// A connection that is closed with bytes unread takes back what was written to it. So the rest of
// the request is still read, until its sender has seen the end of the answer, time is up, or it is
// out of all proportion.
bool ScgiConnection::refuse(const char* status, std::size_t length) {
    ignored += length;
    if (isRefused) {
        return ignored < mostIgnored;
    }
    isRefused = true;
    const std::string text = std::string("Status: ") + status +
                             "\r\nContent-Type: application/json\r\n\r\n"
                             "{\"error\":\"the request is not acceptable\"}\n";
    g_socket_send_with_blocking(socket, text.data(), text.size(), FALSE, nullptr, nullptr);
    g_socket_shutdown(socket, FALSE, TRUE, nullptr);
    return true;
}
