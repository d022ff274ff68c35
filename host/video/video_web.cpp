#include "video/video_web.h"

#include <jansson.h>
#include <libsoup/soup.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "video/log.h"
#include "video/stream_table.h"
#include "video/video_request.h"
#include "video/viewer.h"
#include "video/web_error.h"

namespace {

constexpr unsigned tendInterval = 1;  // seconds
constexpr int monitorInterval = 50;   // milliseconds
constexpr const char* allowed = "GET, HEAD";

/// Makes the context the thread's default one, for what is created meanwhile.
class DefaultContext {
public:
    explicit DefaultContext(GMainContext* pushed) : context(pushed) {
        g_main_context_push_thread_default(context);
    }
    ~DefaultContext() { g_main_context_pop_thread_default(context); }
    DefaultContext(const DefaultContext&) = delete;
    DefaultContext& operator=(const DefaultContext&) = delete;

private:
    GMainContext* const context;
};

std::map<std::string, std::string> toMap(GHashTable* query) {
    std::map<std::string, std::string> result;
    if (query != nullptr) {
        GHashTableIter iterator;
        g_hash_table_iter_init(&iterator, query);
        gpointer name = nullptr;
        gpointer value = nullptr;
        while (g_hash_table_iter_next(&iterator, &name, &value) == TRUE) {
            result[static_cast<const char*>(name)] =
                value == nullptr ? "" : static_cast<const char*>(value);
        }
    }
    return result;
}

void answerError(SoupServerMessage* message, const WebError& error) {
    soup_server_message_set_status(message, error.status, nullptr);
    json_t* object = json_pack("{s:s}", "error", error.what());
    char* text = json_dumps(object, JSON_COMPACT);
    json_decref(object);
    if (text != nullptr) {
        soup_server_message_set_response(message, "application/json", SOUP_MEMORY_COPY, text,
                                         std::strlen(text));
        std::free(text);
    }
}

bool isHead(SoupServerMessage* message) {
    return std::strcmp(soup_server_message_get_method(message), SOUP_METHOD_HEAD) == 0;
}

bool isGet(SoupServerMessage* message) {
    return std::strcmp(soup_server_message_get_method(message), SOUP_METHOD_GET) == 0;
}

void answerHead(SoupServerMessage* message, VideoRequest::Form form) {
    soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
    soup_message_headers_replace(headers, "Content-Type", Viewer::contentTypeOf(form));
    soup_message_headers_set_encoding(headers, SOUP_ENCODING_CHUNKED);
}

void add(StreamDemand& sum, const StreamDemand& demand) {
    sum.jpeg |= demand.jpeg;
    sum.video |= demand.video;
    sum.keyPicture |= demand.keyPicture;
}

}  // namespace

void VideoWeb::Unref::operator()(GSource* source) const {
    g_source_destroy(source);
    g_source_unref(source);
}

VideoWeb::VideoWeb(const std::string& socketPath, const StreamTable& streams,
                   const std::string& configurationFile, Limits mostAllowed, Demand demand)
    : table(streams),
      limits(mostAllowed),
      tellDemand(std::move(demand)),
      place(socketPath, SOCK_STREAM),
      context(g_main_context_new()),
      loop(g_main_loop_new(context.get(), FALSE)),
      chosen(streams, configurationFile) {
    const DefaultContext own(context.get());
    listen();
    watchConfiguration(configurationFile);
    tendViewersEachSecond();
}

VideoWeb::~VideoWeb() {
    stop();
    end();
}

void VideoWeb::listen() {
    server.reset(soup_server_new(nullptr, nullptr));
    g_autoptr(GError) error = nullptr;
    FileDescriptor descriptor = place.release();
    g_autoptr(GSocket) socket = g_socket_new_from_fd(descriptor.get(), &error);
    if (socket == nullptr) {
        throw std::runtime_error(error->message);
    }
    descriptor.release();
    if (soup_server_listen_socket(server.get(), socket, SoupServerListenOptions{}, &error) ==
        FALSE) {
        throw std::runtime_error(error->message);
    }
    soup_server_add_early_handler(server.get(), nullptr, onRequestBegun, nullptr, nullptr);
    soup_server_add_handler(server.get(), nullptr, onRequest, this, nullptr);
}

void VideoWeb::watchConfiguration(const std::string& path) {
    g_autoptr(GFile) file = g_file_new_for_path(path.c_str());
    g_autoptr(GError) error = nullptr;
    monitor.reset(g_file_monitor_file(file, G_FILE_MONITOR_NONE, nullptr, &error));
    if (!monitor) {
        say(path + " is not watched: " + error->message);
        return;
    }
    g_file_monitor_set_rate_limit(monitor.get(), monitorInterval);
    g_signal_connect(monitor.get(), "changed", G_CALLBACK(onConfigurationChanged), this);
    chosen.read();  // from here on no change is missed
}

void VideoWeb::tendViewersEachSecond() {
    tending.reset(g_timeout_source_new_seconds(tendInterval));
    g_source_set_callback(
        tending.get(),
        [](gpointer self) -> gboolean {
            static_cast<VideoWeb*>(self)->cutOffStuckViewers();
            return G_SOURCE_CONTINUE;
        },
        this, nullptr);
    g_source_attach(tending.get(), context.get());
}

void VideoWeb::start() {
    thread = std::thread(&VideoWeb::run, this);
}

void VideoWeb::run() {
    const DefaultContext own(context.get());
    g_main_loop_run(loop.get());
    end();
}

// Once more after a start, when nothing is left to do.
void VideoWeb::end() {
    const DefaultContext own(context.get());
    isEnding = true;
    viewers.clear();
    tending.reset();
    monitor.reset();
    if (server) {
        soup_server_disconnect(server.get());
        server.reset();
    }
    // What libsoup closes, it closes in the loop.
    while (g_main_context_iteration(context.get(), FALSE) == TRUE) {
    }
}

// As a source of the loop: quitting a loop that does not run yet has no effect.
void VideoWeb::stop() {
    if (!thread.joinable()) {
        return;
    }
    GSource* quit = g_idle_source_new();
    g_source_set_priority(quit, G_PRIORITY_HIGH);
    g_source_set_callback(
        quit,
        [](gpointer running) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(running));
            return G_SOURCE_REMOVE;
        },
        loop.get(), nullptr);
    g_source_attach(quit, context.get());
    g_source_unref(quit);
    thread.join();
}

struct VideoWeb::Delivery {
    VideoWeb& web;
    CameraComposer::Result result;
};

void VideoWeb::show(CameraComposer::Result result) {
    GSource* delivery = g_idle_source_new();
    g_source_set_priority(delivery, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        delivery,
        [](gpointer data) -> gboolean {
            const auto& [web, picture] = *static_cast<const Delivery*>(data);
            if (!web.isEnding) {
                web.deliver(picture);
            }
            return G_SOURCE_REMOVE;
        },
        new Delivery{*this, std::move(result)},
        [](gpointer data) { delete static_cast<Delivery*>(data); });
    g_source_attach(delivery, context.get());
    g_source_unref(delivery);
}

// Bodies of requests are of no use: they are not kept.
void VideoWeb::onRequestBegun(SoupServer*, SoupServerMessage* message, const char*, GHashTable*,
                              gpointer) {
    soup_message_body_set_accumulate(soup_server_message_get_request_body(message), FALSE);
}

// libsoup keeps the descriptor of a connection whose client closes it between two requests.
void VideoWeb::onRequest(SoupServer*, SoupServerMessage* message, const char* path,
                         GHashTable* query, gpointer self) {
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
    soup_message_headers_replace(headers, "Connection", "close");
    soup_message_headers_replace(headers, "Cache-Control", "no-store");
    soup_message_headers_replace(headers, "X-Accel-Buffering", "no");
    try {
        static_cast<VideoWeb*>(self)->answer(message, path, query);
    } catch (const WebError& error) {
        answerError(message, error);
    }
}

void VideoWeb::answer(SoupServerMessage* message, const std::string& path, GHashTable* query) {
    const VideoRequest request = VideoRequest::parse(path, toMap(query));
    const Stream stream = chosen.find(request.wish);
    if (isHead(message)) {
        answerHead(message, request.form);
    } else if (isGet(message)) {
        admit(message, request, stream);
    } else {
        soup_message_headers_replace(soup_server_message_get_response_headers(message), "Allow",
                                     allowed);
        throw WebError(SOUP_STATUS_METHOD_NOT_ALLOWED, "pictures can only be looked at");
    }
}

void VideoWeb::admit(SoupServerMessage* message, const VideoRequest& request,
                     const Stream& stream) {
    if (isEnding || viewers.size() >= limits.viewers) {
        soup_message_headers_replace(soup_server_message_get_response_headers(message),
                                     "Retry-After", "1");
        throw WebError(SOUP_STATUS_SERVICE_UNAVAILABLE, "too many are watching");
    }
    const auto entry = viewers.emplace(viewers.end());
    *entry = Viewer::make(message, request, stream, [this, entry] {
        viewers.erase(entry);
        updateDemands();
    });
    // A key picture that is wanted already may be on its way, too early for this one: ask again.
    demands.erase(stream.id);
    updateDemands();
}

void VideoWeb::onConfigurationChanged(GFileMonitor*, GFile*, GFile*, GFileMonitorEvent event,
                                      gpointer self) {
    if (event != G_FILE_MONITOR_EVENT_ATTRIBUTE_CHANGED) {
        static_cast<VideoWeb*>(self)->followConfiguration();
    }
}

void VideoWeb::followConfiguration() {
    chosen.read();
    for (const auto& viewer : viewers) {
        const Stream stream = chosen.find(viewer->getWish());
        if (stream != viewer->getStream()) {
            viewer->changeTo(stream);
        }
    }
    updateDemands();
}

void VideoWeb::deliver(const CameraComposer::Result& result) {
    for (const auto& viewer : viewers) {
        if (viewer->getStream().id == result.stream && viewer->getBegin() <= result.time) {
            viewer->show(result.picture);
        }
    }
    updateDemands();
}

void VideoWeb::cutOffStuckViewers() {
    const auto longAgo = std::chrono::steady_clock::now() - limits.patience;
    for (const auto& viewer : viewers) {
        if (viewer->isStuckSince(longAgo)) {
            viewer->cut();
        }
    }
}

void VideoWeb::updateDemands() {
    std::map<int, StreamDemand> wanted;
    for (const auto& viewer : viewers) {
        add(wanted[viewer->getStream().id], viewer->getDemand());
    }
    std::erase_if(wanted, [](const auto& entry) { return entry.second.isNone(); });
    for (const auto& [id, demand] : demands) {
        if (!wanted.contains(id)) {
            tellDemand(*table.find(id), {});
        }
    }
    for (const auto& [id, demand] : wanted) {
        const auto told = demands.find(id);
        if (told == demands.end() || told->second != demand) {
            tellDemand(*table.find(id), demand);
        }
    }
    demands = std::move(wanted);
}
