#include "video/reply_stream.h"

#include <libsoup/soup.h>

#include <memory>
#include <utility>

namespace {

GBytes* toBytes(std::string text) {
    auto kept = std::make_unique<std::string>(std::move(text));
    const char* data = kept->data();
    const gsize size = kept->size();
    return g_bytes_new_with_free_func(
        data, size, [](gpointer string) { delete static_cast<std::string*>(string); },
        kept.release());
}

/// Older clients know no pieces: the end of the connection ends the body.
SoupEncoding encodingFor(SoupServerMessage* message) {
    return soup_server_message_get_http_version(message) == SOUP_HTTP_1_0 ? SOUP_ENCODING_EOF
                                                                          : SOUP_ENCODING_CHUNKED;
}

}  // namespace

ReplyStream::ReplyStream(SoupServerMessage* request, const char* contentType, Listener reporter)
    : message(SOUP_SERVER_MESSAGE(g_object_ref(request))), listener(std::move(reporter)) {
    soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
    soup_message_headers_replace(headers, "Content-Type", contentType);
    soup_message_headers_set_encoding(headers, encodingFor(message));
    // What has been written is not kept.
    soup_message_body_set_accumulate(soup_server_message_get_response_body(message), FALSE);
    g_signal_connect(message, "wrote-chunk", G_CALLBACK(onWroteChunk), this);
    g_signal_connect(message, "finished", G_CALLBACK(onFinished), this);
    soup_server_message_pause(message);
}

ReplyStream::~ReplyStream() {
    g_signal_handlers_disconnect_by_data(message, this);
    g_object_unref(message);
}

void ReplyStream::send(std::string piece) {
    busy = true;
    waitingSince = std::chrono::steady_clock::now();
    g_autoptr(GBytes) bytes = toBytes(std::move(piece));
    soup_message_body_append_bytes(soup_server_message_get_response_body(message), bytes);
    soup_server_message_unpause(message);
}

void ReplyStream::sendWhole(std::string body) {
    soup_message_headers_set_content_length(soup_server_message_get_response_headers(message),
                                            static_cast<goffset>(body.size()));
    send(std::move(body));
    finish();
}

void ReplyStream::finish() {
    if (!std::exchange(finished, true)) {
        waitingSince = std::chrono::steady_clock::now();
        soup_message_body_complete(soup_server_message_get_response_body(message));
        soup_server_message_unpause(message);
    }
}

void ReplyStream::cut() {
    if (GSocket* socket = soup_server_message_get_socket(message)) {
        g_socket_shutdown(socket, TRUE, TRUE, nullptr);
    }
}

void ReplyStream::onWroteChunk(SoupServerMessage*, void* self) {
    auto& stream = *static_cast<ReplyStream*>(self);
    stream.busy = false;
    if (!stream.finished) {
        stream.listener.onWritten();
    }
}

void ReplyStream::onFinished(SoupServerMessage*, void* self) {
    // The listener may destroy this.
    const auto onGone = static_cast<ReplyStream*>(self)->listener.onGone;
    onGone();
}
