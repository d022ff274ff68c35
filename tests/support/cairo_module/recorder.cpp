// Stands for the drawing library and keeps what is called, with all numbers, in words.
#include <sstream>
#include <string>

struct _cairo;
struct _cairo_surface;

namespace {

std::string* calls = nullptr;
char surface = 0;
char context = 0;
unsigned char pixels[4] = {1, 2, 3, 4};

template <typename... Numbers>
void note(const char* name, Numbers... numbers) {
    if (calls == nullptr) {
        return;
    }
    std::ostringstream text;
    text << name;
    ((text << ' ' << numbers), ...);
    *calls += text.str() + '\n';
}

}  // namespace

extern "C" {

/// Where calls are kept from now on, a line each; null ends it.
void cairo_recorder_keep_in(std::string* lines) {
    calls = lines;
}

_cairo_surface* cairo_image_surface_create(int format, int width, int height) {
    note("image_surface_create", format, width, height);
    return reinterpret_cast<_cairo_surface*>(&surface);
}
_cairo* cairo_create(_cairo_surface*) {
    note("create");
    return reinterpret_cast<_cairo*>(&context);
}
unsigned char* cairo_image_surface_get_data(_cairo_surface*) {
    note("image_surface_get_data");
    return pixels;
}
int cairo_image_surface_get_width(_cairo_surface*) {
    note("image_surface_get_width");
    return 7;
}
int cairo_image_surface_get_height(_cairo_surface*) {
    note("image_surface_get_height");
    return 9;
}
void cairo_destroy(_cairo*) {
    note("destroy");
}
void cairo_surface_destroy(_cairo_surface*) {
    note("surface_destroy");
}
void cairo_surface_flush(_cairo_surface*) {
    note("surface_flush");
}
void cairo_fill(_cairo*) {
    note("fill");
}
void cairo_stroke(_cairo*) {
    note("stroke");
}
void cairo_close_path(_cairo*) {
    note("close_path");
}
void cairo_set_antialias(_cairo*, int antialias) {
    note("set_antialias", antialias);
}
void cairo_set_operator(_cairo*, int drawingOperator) {
    note("set_operator", drawingOperator);
}
void cairo_set_line_width(_cairo*, double width) {
    note("set_line_width", width);
}
void cairo_move_to(_cairo*, double x, double y) {
    note("move_to", x, y);
}
void cairo_line_to(_cairo*, double x, double y) {
    note("line_to", x, y);
}
void cairo_rectangle(_cairo*, double x, double y, double width, double height) {
    note("rectangle", x, y, width, height);
}
void cairo_set_source_rgba(_cairo*, double red, double green, double blue, double alpha) {
    note("set_source_rgba", red, green, blue, alpha);
}

}  // extern "C"
