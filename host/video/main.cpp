#include <glib-unix.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "video/fault_plan.h"
#include "video/listed_streams.h"
#include "video/overlay_store.h"
#include "video/picture_receiver.h"
#include "video/stream_table.h"
#include "video/user_overlay_files.h"
#include "video/video_bus.h"
#include "video/video_options.h"
#include "video/video_server.h"

namespace {

constexpr int kBadInput = 2;

void loadUsers(const UserOverlayFiles& files, int cameras, OverlayStore& store) {
    const UserOverlayFiles::Content content = files.load(cameras);
    for (const UserOverlay& overlay : content.overlays) {
        store.putUser(overlay);
    }
    store.skipIds(content.greatestId);
}

/// Runs until a signal asks for the end, from when it is made on.
class SignalLoop {
public:
    SignalLoop() {
        for (const int number : {SIGTERM, SIGINT}) {
            g_unix_signal_add(
                number,
                [](gpointer data) -> gboolean {
                    g_main_loop_quit(static_cast<GMainLoop*>(data));
                    return G_SOURCE_CONTINUE;
                },
                loop);
        }
    }
    ~SignalLoop() { g_main_loop_unref(loop); }
    SignalLoop(const SignalLoop&) = delete;
    SignalLoop& operator=(const SignalLoop&) = delete;

    void run() { g_main_loop_run(loop); }

private:
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
};

void run(const VideoOptions& options) {
    SignalLoop loop;
    const int cameras = static_cast<int>(options.cameras.size());
    const StreamTable table(options.cameras);
    const UserOverlayFiles files(options.state + "/overlays");
    ListedStreams streams(table);
    FaultPlan faults;
    OverlayStore store;
    loadUsers(files, cameras, store);
    VideoServer server(options, table, store);
    const PictureReceiver pictures(options.pictures, cameras, server);
    // Last: whoever sees the names finds everything.
    const VideoBus bus(store, streams, files, faults, cameras);
    loop.run();
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        run(VideoOptions::parse({argv + 1, argv + argc}));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "video: %s\n", error.what());
        return kBadInput;
    }
    return 0;
}
