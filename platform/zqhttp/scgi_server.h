#pragma once

#include <gio/gio.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "zqhttp/scgi_connection.h"
#include "zqhttp/scgi_socket.h"
#include "zqhttp/scgi_watch.h"

struct ScgiServerSettings {
    std::string path = "/run/device/http.sock";
    ScgiPatience patience;
};

/// Takes connections on a socket, reads a request from each without waiting for any, and has the
/// complete ones answered, one after the other.
///
/// One thread, "http", with a main context of its own. It is not the thread's default one: what an
/// answer creates reports to the default main context, since this one ends.
class ScgiServer {
public:
    /// While there are so many connections, further ones wait to be taken: what they hold in memory
    /// is bounded.
    static constexpr std::size_t mostConnections = 32;

    /// `answer` is called on the server's thread. Throws std::runtime_error when the socket cannot
    /// be made.
    ScgiServer(const ScgiServerSettings& settings, ScgiConnection::Answer answer);
    /// Waits for an answer that is being written, closes all connections and removes the socket.
    ~ScgiServer();
    ScgiServer(const ScgiServer&) = delete;
    ScgiServer& operator=(const ScgiServer&) = delete;

private:
    // All on the thread:
    static gboolean onConnection(GSocket*, GIOCondition, gpointer self);
    static gboolean onPauseOver(gpointer self);
    void run();
    void watchForConnections();
    void pause();
    void accept();
    void serve(GSocket* connection);
    void end(unsigned connection);

    const ScgiPatience patience;
    const ScgiConnection::Answer answer;
    ScgiSocket place;
    const std::unique_ptr<GSocket, void (*)(gpointer)> listener;
    const std::unique_ptr<GMainContext, void (*)(GMainContext*)> context;
    /// Waits for a connection, or for the end of a pause; none while there are too many.
    std::optional<ScgiWatch> acceptor;
    std::map<unsigned, std::unique_ptr<ScgiConnection>> connections;
    unsigned lastConnection = 0;
    std::atomic<bool> isStopping = false;
    std::thread thread;
};
