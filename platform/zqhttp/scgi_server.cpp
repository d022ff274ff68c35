#include "zqhttp/scgi_server.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace {

/// When there is no descriptor left for a connection.
constexpr unsigned pauseMilliseconds = 100;

/// Signals are the application's business: a thread started under this takes none.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t before;
};

GSocket* listenAt(ScgiSocket& place) {
    g_autoptr(GError) error = nullptr;
    const int descriptor = place.release();
    GSocket* listener = g_socket_new_from_fd(descriptor, &error);
    if (listener == nullptr) {
        close(descriptor);
        throw std::runtime_error(error->message);
    }
    g_socket_set_blocking(listener, FALSE);
    return listener;
}

}  // namespace

ScgiServer::ScgiServer(const ScgiServerSettings& settings, ScgiConnection::Answer answerer)
    : patience(settings.patience),
      answer(std::move(answerer)),
      place(settings.path),
      listener(listenAt(place), g_object_unref),
      context(g_main_context_new(), g_main_context_unref) {
    const BlockedSignals blocked;
    thread = std::thread([this] { run(); });
}

ScgiServer::~ScgiServer() {
    isStopping = true;
    g_main_context_wakeup(context.get());
    thread.join();
}

void ScgiServer::run() {
    pthread_setname_np(pthread_self(), "http");
    watchForConnections();
    while (!isStopping) {
        g_main_context_iteration(context.get(), TRUE);
    }
    acceptor.reset();
    connections.clear();
}

void ScgiServer::watchForConnections() {
    acceptor.emplace(g_socket_create_source(listener.get(), G_IO_IN, nullptr),
                     G_SOURCE_FUNC(onConnection), this, context.get());
}

void ScgiServer::pause() {
    acceptor.emplace(g_timeout_source_new(pauseMilliseconds), onPauseOver, this, context.get());
}

gboolean ScgiServer::onConnection(GSocket*, GIOCondition, gpointer self) {
    static_cast<ScgiServer*>(self)->accept();
    return G_SOURCE_CONTINUE;
}

gboolean ScgiServer::onPauseOver(gpointer self) {
    static_cast<ScgiServer*>(self)->watchForConnections();
    return G_SOURCE_REMOVE;
}

void ScgiServer::accept() {
    g_autoptr(GError) error = nullptr;
    GSocket* connection = g_socket_accept(listener.get(), nullptr, &error);
    if (connection != nullptr) {
        serve(connection);
    } else if (!g_error_matches(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK)) {
        pause();
    }
}

void ScgiServer::serve(GSocket* connection) {
    const unsigned id = ++lastConnection;
    const auto respond = [this](const ScgiRequest& request, GOutputStream& out) {
        if (!isStopping) {
            answer(request, out);
        }
    };
    connections[id] = std::make_unique<ScgiConnection>(connection, context.get(), patience, respond,
                                                       [this, id] { end(id); });
    if (connections.size() == mostConnections) {
        acceptor.reset();
    }
}

void ScgiServer::end(unsigned connection) {
    connections.erase(connection);
    if (!acceptor) {
        watchForConnections();
    }
}
