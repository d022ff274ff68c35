#include <glib-unix.h>

#include <csignal>

#include "analytics/analytics_service.h"

int main() {
    g_autoptr(GMainLoop) loop = g_main_loop_new(nullptr, FALSE);
    const AnalyticsService service;
    for (const int number : {SIGTERM, SIGINT}) {
        g_unix_signal_add(
            number,
            [](gpointer data) -> gboolean {
                g_main_loop_quit(static_cast<GMainLoop*>(data));
                return G_SOURCE_CONTINUE;
            },
            loop);
    }
    g_main_loop_run(loop);
    return 0;
}
