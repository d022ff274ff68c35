#pragma once

#include <gio/gio.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "engine/listening_socket.h"
#include "video/camera_composer.h"
#include "video/chosen_streams.h"
#include "video/stream.h"
#include "video/stream_painter.h"

class StreamTable;
class Viewer;
struct VideoRequest;
typedef struct _SoupServer SoupServer;
typedef struct _SoupServerMessage SoupServerMessage;

/// Serves the composed pictures over HTTP on a Unix socket (paths: see VideoRequest), and follows
/// the configuration document by which the streams are chosen that are shown.
///
/// One thread of its own does all of it and waits for no client. Pictures come in by show() and
/// pass to that thread. A viewer who is slow misses pictures; one who takes nothing for long is cut
/// off; so are all at the end.
class VideoWeb {
public:
    struct Limits {
        std::size_t viewers = 32;
        std::chrono::milliseconds patience{10'000};  ///< with one who takes nothing
    };

    /// Told what is wanted of a stream, on this object's thread, whenever that changes.
    using Demand = std::function<void(const Stream& stream, const StreamDemand& demand)>;

    /// Clients can connect from now on; they are answered after start(). `streams` is borrowed.
    /// Throws std::runtime_error when the socket cannot be made.
    VideoWeb(const std::string& socketPath, const StreamTable& streams,
             const std::string& configurationFile, Limits mostAllowed, Demand demand);
    ~VideoWeb();
    VideoWeb(const VideoWeb&) = delete;
    VideoWeb& operator=(const VideoWeb&) = delete;

    void start();
    /// Cuts off all viewers and ends the thread; no demand is told any more.
    void stop();

    /// The next picture of a stream. Any thread.
    void show(CameraComposer::Result result);

private:
    struct Unref {
        void operator()(gpointer object) const { g_object_unref(object); }
        void operator()(GMainContext* owned) const { g_main_context_unref(owned); }
        void operator()(GMainLoop* owned) const { g_main_loop_unref(owned); }
        void operator()(GSource* source) const;
    };
    template <typename T>
    using Owned = std::unique_ptr<T, Unref>;
    struct Delivery;

    void listen();
    void watchConfiguration(const std::string& file);
    void tendViewersEachSecond();
    void run();
    void end();
    // On the thread:
    static void onRequestBegun(SoupServer*, SoupServerMessage* message, const char*, GHashTable*,
                               gpointer);
    static void onRequest(SoupServer*, SoupServerMessage* message, const char* path,
                          GHashTable* query, gpointer self);
    static void onConfigurationChanged(GFileMonitor*, GFile*, GFile*, GFileMonitorEvent event,
                                       gpointer self);
    void answer(SoupServerMessage* message, const std::string& path, GHashTable* query);
    void admit(SoupServerMessage* message, const VideoRequest& request, const Stream& stream);
    void followConfiguration();
    void deliver(const CameraComposer::Result& result);
    void cutOffStuckViewers();
    void updateDemands();

    const StreamTable& table;
    const Limits limits;
    const Demand tellDemand;
    ListeningSocket place;
    const Owned<GMainContext> context;
    const Owned<GMainLoop> loop;
    ChosenStreams chosen;
    Owned<SoupServer> server;
    Owned<GFileMonitor> monitor;  // null where files cannot be watched
    Owned<GSource> tending;
    std::list<std::unique_ptr<Viewer>> viewers;  // the thread's
    std::map<int, StreamDemand> demands;         // the thread's; told, by stream
    bool isEnding = false;                       // the thread's: nobody is served any more
    std::thread thread;
};
