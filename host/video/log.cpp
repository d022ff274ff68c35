#include "video/log.h"

#include <glib.h>

#include <cstdio>

void say(const std::string& text) {
    g_autoptr(GDateTime) now = g_date_time_new_now_utc();
    g_autofree char* time = g_date_time_format(now, "%Y-%m-%dT%H:%M:%S.%fZ");
    std::fprintf(stderr, "%s %s\n", time, text.c_str());
}
