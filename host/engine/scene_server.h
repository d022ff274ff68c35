#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "engine/file_descriptor.h"
#include "engine/listening_socket.h"
#include "engine/scene_record.h"

class SceneClient;

/// Serves the scenes of all cameras on a Unix stream socket, to any number of clients.
///
/// Threads: one of its own owns all clients and does all input and output, never blocking. Source
/// threads only put frames into its inbox, so no client can hold up a source or another client. A
/// scene is encoded once for each set of properties that some client asked for, on the source's
/// thread.
///
/// A client that has fallen behind, that does not finish its handshake in time, or that breaks its
/// connection is closed; scenes are never left out.
class SceneServer {
public:
    struct Limits {
        std::chrono::milliseconds handshake{5000};
        std::size_t scenesBehind = 50;
        std::size_t clients = 64;
    };
    /// Told a camera's number when a client has opened its stream, on the server's thread.
    using Opened = std::function<void(int camera)>;

    /// Puts a listening socket in the place of whatever stands at `socketPath`. Throws SourceError.
    SceneServer(const std::string& socketPath, int cameras, Opened opened, Limits limits);
    SceneServer(const std::string& socketPath, int cameras, Opened opened)
        : SceneServer(socketPath, cameras, std::move(opened), Limits()) {}
    /// Closes all clients and removes the socket.
    ~SceneServer();
    SceneServer(const SceneServer&) = delete;
    SceneServer& operator=(const SceneServer&) = delete;

    /// Sends the scene to the clients of `camera` (from 1). For each camera from one thread.
    void publish(int camera, const SceneRecord& scene);

private:
    static constexpr std::size_t propertySets = SceneAllProperties + 1;
    using Frame = std::shared_ptr<const std::string>;
    using Time = std::chrono::steady_clock::time_point;

    struct Delivery {
        int camera;
        std::array<Frame, propertySets> frames;  // null where nobody asked
    };

    struct Channel {
        SceneEncoder encoder;                        // the publishing thread's
        std::atomic<std::uint32_t> propertySets{0};  // bit n: some client asked for the set n
    };

    void serve();
    void handleEvent(int descriptor, std::uint32_t events);
    void acceptClients();
    void readFrom(SceneClient& client);
    void deliver(const Delivery& delivery);
    void close(int descriptor);
    void updatePropertySets();
    void watch(SceneClient& client);
    void listenAgain();
    int tendClients();
    std::vector<Delivery> takeInbox();

    const std::string path;
    const Opened onOpened;
    const Limits limits;
    std::vector<std::unique_ptr<Channel>> channels;
    ListeningSocket listener;
    FileDescriptor poller;
    FileDescriptor waker;            // readable: the inbox is not empty, or the server is to end
    Time acceptAgain = Time::max();  // unless max, the listener rests until then
    std::unordered_map<int, std::unique_ptr<SceneClient>> clients;  // the server thread's
    bool fullTold = false;  // of clients turned away since the last one was taken

    std::mutex inboxMutex;
    std::vector<Delivery> inbox;  // guarded by inboxMutex
    bool ending = false;          // guarded by inboxMutex

    std::thread thread;
};
