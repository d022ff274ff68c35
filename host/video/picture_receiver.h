#pragma once

#include <poll.h>

#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "engine/file_descriptor.h"
#include "engine/listening_socket.h"
#include "video/picture_connection.h"

class PictureSink;

/// Takes the pictures that scene engines deliver at a Unix socket, see engine/picture_link.h, one
/// connection for each camera. A second one for the same camera takes the place of the first. An
/// engine that breaks the rules is left, with a line on standard error; the same line is not
/// written twice in a row.
///
/// Threads: one of its own owns all connections, never blocks on any of them and calls the sink.
class PictureReceiver {
public:
    /// Puts a listening socket in the place of whatever stands at `socketPath`; it accepts from now
    /// on. `cameras` are numbered from 1. `sink` is borrowed. Throws std::runtime_error.
    PictureReceiver(const std::string& socketPath, int cameras, PictureSink& sink);
    /// Ends the thread, closes all connections and removes the socket.
    ~PictureReceiver();
    PictureReceiver(const PictureReceiver&) = delete;
    PictureReceiver& operator=(const PictureReceiver&) = delete;

private:
    using Connection = std::unique_ptr<PictureConnection>;

    void receive();
    bool waitForInput();
    void watch(int descriptor);
    void acceptNext();
    void readFrom(Connection& connection);
    void welcome(const PictureConnection& opened);
    void leave(Connection& connection, const std::string& reason);
    void limitWaiting();

    const int cameras;
    PictureSink& sink;  // borrowed
    ListeningSocket listener;
    FileDescriptor waker;  // readable: the thread is to end
    // The rest is the thread's.
    std::vector<Connection> connections;  // the oldest first
    std::vector<pollfd> watched;          // waker, listener, then the connections in their order
    bool acceptingRests = false;          // until the next look: no descriptor is left
    std::string lastComplaint;

    std::thread thread;
};
