#pragma once

#include <gio/gio.h>

#include <memory>

class FaultPlan;
class ListedStreams;
class OverlayStore;
class UserOverlayFiles;

/// The overlay service and the graphics service on the system bus, as com.orva.Overlay2 and
/// com.orva.Graphics1. The names are taken last, when all objects are there.
///
/// States: Away <-> Serving. While the bus is away, or another has one of the names, it is tried
/// again every 100 ms. What applications made goes with the bus.
///
/// Lives on the thread of the default main context.
class VideoBus {
public:
    /// Comes to serve as soon as somebody iterates the default main context. All is borrowed.
    VideoBus(OverlayStore& store, ListedStreams& streams, const UserOverlayFiles& files,
             FaultPlan& faults, int cameras);
    ~VideoBus();
    VideoBus(const VideoBus&) = delete;
    VideoBus& operator=(const VideoBus&) = delete;

private:
    struct Services;

    void connectLater(unsigned delay);
    void connect();
    bool serve();
    void leave();
    bool own(const char* name);

    OverlayStore& store;            // borrowed
    ListedStreams& streams;         // borrowed
    const UserOverlayFiles& files;  // borrowed
    FaultPlan& faults;              // borrowed
    const int cameras;
    GDBusConnection* bus = nullptr;      // owned; null while away
    std::unique_ptr<Services> services;  // null while away
    unsigned retry = 0;                  // source
};
