#include "events/svg_style.h"

#include <glib.h>

std::string createSvgStyle(const std::string& colour, float fillOpacity, float strokeWidth) {
    g_autofree char* style = g_strdup_printf("fill:%s;fill-opacity:%f;stroke:%s;stroke-width:%f;",
                                             colour.c_str(), static_cast<double>(fillOpacity),
                                             colour.c_str(), static_cast<double>(strokeWidth));
    return style;
}
