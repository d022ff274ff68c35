#pragma once

#include <functional>
#include <string>

#include "engine/file_descriptor.h"
#include "video/overlay_commands.h"

class FaultPlan;

/// The service's end of a command channel: a socket that keeps messages apart, with a request and a
/// reply in each, a terminating zero byte and all. One request is answered after the other.
///
/// Lives on the thread of the default main context and never waits: a client that does not take its
/// replies loses the channel.
///
/// States: reading <-> answering late; closed once the client has hung up or is to be.
class CommandChannel {
public:
    /// Longest request, with its terminating zero byte.
    static constexpr int kMostRequestBytes = 4096;

    /// Faults are borrowed. `onClosed` is the last thing the channel does; it may delete it.
    CommandChannel(FileDescriptor end, OverlayCommands commands, FaultPlan& faults,
                   std::function<void()> onClosed);
    ~CommandChannel();
    CommandChannel(const CommandChannel&) = delete;
    CommandChannel& operator=(const CommandChannel&) = delete;

private:
    void listen();
    /// Each returns false when the channel is to be closed.
    bool readRequest();
    bool handle(const std::string& request);
    bool answer(const OverlayCommand& command);
    bool handleWithFault(const OverlayCommand& command);
    void answerLate(const OverlayCommand& command, unsigned milliseconds);
    bool send(const std::string& reply);
    bool sendBytes(const char* bytes, std::size_t size);

    const FileDescriptor end;
    const OverlayCommands commands;
    FaultPlan& faults;  // borrowed
    const std::function<void()> onClosed;
    unsigned source = 0;  // of requests
    unsigned timer = 0;   // of a late answer
    OverlayCommand late{};
};
