#pragma once

#include <gio/gio.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/bus_service.h"

/// The two services for graphics in the video, com.orva.Overlay2 and com.orva.Graphics1, on a bus
/// while it lives. It answers as a device would until it is told otherwise. Any thread may call.
class OverlayDevice {
public:
    using Reply = std::function<GVariant*()>;
    using ChannelReply = std::function<std::string(const std::string& request)>;

    /// With these answers, by method, from its first moment on the bus.
    explicit OverlayDevice(const PrivateBus& bus, std::map<std::string, Reply> answers = {});
    ~OverlayDevice();
    OverlayDevice(const OverlayDevice&) = delete;
    OverlayDevice& operator=(const OverlayDevice&) = delete;

    /// The calls so far, "MEMBER PATH PARAMETERS", without the interface.
    std::vector<std::string> calls() const;
    /// The interfaces that were called, in the same order.
    std::vector<std::string> interfaces() const;
    /// What came through the command channel, each as sent, terminating zero byte and all.
    std::vector<std::string> requests() const;
    void forgetCalls();

    /// Lets the n-th call or request from now on (from 1) fail, once; 0 lets none fail.
    void failAt(int n);
    /// Whether there were fewer than n since.
    bool hasNotFailed() const;

    /// Answers a method with something else; null makes it an error. An empty function ends it.
    void answer(const std::string& member, Reply reply);
    /// What one of the object managers lists from now on: the text of "a{oa{sa{sv}}}".
    void holdObjects(const std::string& manager, const std::string& objects);
    /// Answers requests with something else; an empty text closes the channel.
    void answerRequests(ChannelReply reply);

    /// Hands out another descriptor (taken over) for the method from now on.
    void handOut(const std::string& member, int descriptor);

    /// A file in memory with these seals, as the device's buffers are in; the caller closes it.
    static int makeMemory(int size, int seals);

    /// The camera device; the caller closes it.
    int duplicateMemory() const;

    /// The device's buffers.
    const unsigned char* buffers() const { return memory; }
    unsigned char* buffers() { return memory; }
    /// The buffer that an overlay was given last, by its id.
    unsigned char* bufferOf(int overlayId);
    static constexpr int kBuffers = 64;
    static constexpr int kBufferSize = 1 << 20;

    /// A signal from the service, which has gone out on return. A floating reference of the
    /// parameters is consumed.
    void emit(const std::string& path, const std::string& interface, const std::string& signal,
              GVariant* parameters);

private:
    static GDBusMessage* filter(GDBusConnection*, GDBusMessage*, gboolean, gpointer);
    void reply(GDBusConnection* connection, GDBusMessage* call);
    GDBusMessage* makeReply(GDBusMessage* call);
    GDBusMessage* makeDescriptorReply(GDBusMessage* call, const std::string& member);
    GVariant* makeBody(const std::string& member, const std::string& path);
    void serveChannel(int descriptor);
    std::string channelReply(const std::string& request);
    bool isToFail();

    mutable std::mutex mutex;
    std::vector<std::string> callsSoFar;
    std::vector<std::string> interfacesSoFar;
    std::vector<std::string> requestsSoFar;
    std::map<std::string, Reply> replies;
    std::map<std::string, std::string> managedObjects;
    std::map<std::string, int> handedOut;
    ChannelReply requestReply;
    int untilFailure = 0;
    int lastOverlay = 0;
    int lastBuffer = -1;
    std::map<int, int> lastBuffers;
    std::vector<int> channels;
    std::vector<std::thread> channelThreads;
    int memoryDescriptor;
    unsigned char* memory;
    GDBusConnection* connection = nullptr;  // borrowed, of the service
    unsigned filterId = 0;
    std::unique_ptr<BusService> service;
};
