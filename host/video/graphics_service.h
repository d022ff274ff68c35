#pragma once

#include <gio/gio.h>

#include <list>
#include <memory>
#include <string>

#include "video/managed_objects.h"
#include "video/served_objects.h"

class BusClients;
class CommandChannel;
class FaultPlan;
class ListedStreams;
class OverlayStore;
struct Stream;

/// The objects of com.orva.Graphics1 on one connection to the bus: command channels, the camera
/// device, the streams, and a switch of the host's own that takes streams from the list.
///
/// Lives on the thread of the default main context. A client's channels are closed when it leaves
/// the bus, and all of them with this object.
class GraphicsService {
public:
    static constexpr std::size_t kMostChannels = 64;
    static constexpr std::size_t kMostChannelsOfAClient = 8;

    /// The connection is shared with the caller; all others are borrowed.
    GraphicsService(GDBusConnection* bus, BusClients& clients, OverlayStore& store,
                    ListedStreams& streams, FaultPlan& faults);
    ~GraphicsService();
    GraphicsService(const GraphicsService&) = delete;
    GraphicsService& operator=(const GraphicsService&) = delete;

private:
    struct Channel {
        std::string client;
        std::unique_ptr<CommandChannel> channel;
    };

    BusReply openChannel(const std::string& client);
    BusReply openCameraDevice() const;
    BusReply switchStream(const BusCall& call);
    void closeChannels(const std::string& client);

    BusClients& clients;     // borrowed
    OverlayStore& store;     // borrowed
    ListedStreams& streams;  // borrowed
    FaultPlan& faults;       // borrowed
    ServedObjects objects;
    ManagedObjects streamObjects;
    std::list<Channel> channels;
};
