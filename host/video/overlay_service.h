#pragma once

#include <gio/gio.h>

#include <string>

#include "video/managed_objects.h"
#include "video/served_objects.h"

class BusClients;
class FaultPlan;
class ListedStreams;
class OverlayStore;
class UserOverlayFiles;
struct UserOverlay;

/// The objects of com.orva.Overlay2 on one connection to the bus: the factory of palette overlays,
/// all overlays, the palette, and interfaces of the host's own: overlays of persons and switches
/// for misbehaviour.
///
/// A palette overlay belongs to the program that made it. It goes with the connection it was made
/// over, and all of them with this object; those of persons stay until they are removed.
///
/// Lives on the thread of the default main context.
class OverlayService {
public:
    static constexpr std::size_t kMostPalettes = 64;
    static constexpr std::size_t kMostPalettesOfAClient = 16;
    static constexpr std::size_t kMostUsers = 32;
    static constexpr std::size_t kMostImageBytes = 64 << 20;  ///< of all images together

    /// The connection is shared with the caller; all others are borrowed.
    OverlayService(GDBusConnection* bus, BusClients& clients, OverlayStore& store,
                   const ListedStreams& streams, const UserOverlayFiles& files, FaultPlan& faults,
                   int cameras);
    ~OverlayService();
    OverlayService(const OverlayService&) = delete;
    OverlayService& operator=(const OverlayService&) = delete;

private:
    void serve();

    // The factory, overlays and colours, for applications.
    BusReply createOverlay(const BusCall& call);
    BusReply removeOverlay(const BusCall& call);
    BusReply setProperties(const BusCall& call);
    BusReply setColor(int index, GVariant* parameters);
    void checkOwner(int id, const std::string& client);
    void removePalette(int id);
    void removePalettesOf(const std::string& client);

    // For persons.
    BusReply handleUserCall(const BusCall& call);
    BusReply addText(const BusCall& call);
    BusReply addImage(const BusCall& call);
    BusReply addUser(UserOverlay overlay);
    void checkRoomFor(const UserOverlay& overlay) const;
    BusReply moveUser(const BusCall& call);
    BusReply removeUser(const BusCall& call);
    BusReply listUsers() const;
    const UserOverlay& findUser(int id) const;

    BusReply planFaults(const BusCall& call);
    GVariant* describe(int id) const;

    BusClients& clients;            // borrowed
    OverlayStore& store;            // borrowed
    const ListedStreams& streams;   // borrowed
    const UserOverlayFiles& files;  // borrowed
    FaultPlan& faults;              // borrowed
    const int cameras;
    ServedObjects objects;
    ManagedObjects overlayObjects;
};
