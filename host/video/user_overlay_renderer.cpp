#include "video/user_overlay_renderer.h"

#include <cairo.h>
#include <glib.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "video/log.h"
#include "video/stream.h"
#include "video/user_overlay_place.h"

using UserOverlayPlace::Point;
using UserOverlayPlace::Size;

namespace {

struct CairoDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, CairoDeleter>;
using Context = std::unique_ptr<cairo_t, CairoDeleter>;

constexpr const char* fontFamily = "DejaVu Sans";
/// How much of a text's box its font takes, and what is left free to its left and right.
constexpr double fontPart = 0.9;
constexpr double sidePart = 0.25;
constexpr double backgroundAlpha = 0.5;
constexpr unsigned mostImagePixels = 4096 * 4096;

void check(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error(cairo_status_to_string(status));
    }
}

/// The part of an overlay that lies in the picture, and what is drawn there.
class Canvas {
public:
    Canvas(const Stream& stream, Point corner, Size size)
        : left(std::max(corner.x, 0)),
          top(std::max(corner.y, 0)),
          width(std::min(corner.x + size.width, stream.shownWidth()) - left),
          height(std::min(corner.y + size.height, stream.shownHeight()) - top) {
        if (!isEmpty()) {
            surface.reset(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
            context.reset(cairo_create(surface.get()));
            cairo_translate(context.get(), corner.x - left, corner.y - top);
        }
    }

    bool isEmpty() const { return width <= 0 || height <= 0; }
    /// With the overlay's corner as its origin. Null if empty.
    cairo_t* get() const { return context.get(); }

    OverlayPatch toPatch() const {
        OverlayPatch patch = {left, top, width, height, {}};
        patch.pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        check(cairo_status(context.get()));
        cairo_surface_flush(surface.get());
        const unsigned char* data = cairo_image_surface_get_data(surface.get());
        const std::ptrdiff_t stride = cairo_image_surface_get_stride(surface.get());
        for (int y = 0; y < height; ++y) {
            const unsigned char* row = data + y * stride;
            for (int x = 0; x < width; ++x, row += sizeof(std::uint32_t)) {
                std::uint32_t pixel = 0;
                std::memcpy(&pixel, row, sizeof pixel);
                patch.pixels.push_back(toColor(pixel));
            }
        }
        return patch;
    }

private:
    // A pixel's colours are already multiplied by its alpha.
    static BlendColor toColor(std::uint32_t pixel) {
        const int alpha = static_cast<int>(pixel >> 24);
        if (alpha == 0) {
            return {};
        }
        const auto channel = [&](int shift) {
            const int value = static_cast<int>(pixel >> shift & 0xFF);
            return std::min((value * 255 + alpha / 2) / alpha, 255);
        };
        return BlendColor::of(channel(16), channel(8), channel(0), alpha);
    }

    const int left;
    const int top;
    const int width;
    const int height;
    Surface surface;
    Context context;
};

/// Line ends and the like would be drawn as boxes.
std::string toOneLine(const std::string& text) {
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
        throw std::runtime_error("the text is not UTF-8");
    }
    std::string line = text;
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
    return line;
}

/// A line of text and the box around it, in pixels.
class TextBox {
public:
    TextBox(const std::string& text, int boxHeight, int mostWidth)
        : line(toOneLine(text)), height(boxHeight) {
        const Surface none(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1));
        const Context measure(cairo_create(none.get()));
        selectFont(measure.get(), 1);
        cairo_font_extents_t font;
        cairo_font_extents(measure.get(), &font);
        fontSize = fontPart * height / (font.ascent + font.descent);
        const double free = 2 * sidePart * height;
        const double mostAdvance = std::max(mostWidth - free, 1.0);
        double advance = measureLine(measure.get());
        if (advance > mostAdvance) {
            fontSize *= mostAdvance / advance;
            advance = std::min(measureLine(measure.get()), mostAdvance);
        }
        check(cairo_status(measure.get()));
        width = static_cast<int>(std::ceil(advance + free));
        baseline = (height + (font.ascent - font.descent) * fontSize) / 2;
    }

    Size getSize() const { return {width, height}; }

    void draw(cairo_t* context) const {
        cairo_set_source_rgba(context, 0, 0, 0, backgroundAlpha);
        cairo_rectangle(context, 0, 0, width, height);
        cairo_fill(context);
        cairo_set_source_rgb(context, 1, 1, 1);
        selectFont(context, fontSize);
        cairo_move_to(context, sidePart * height, baseline);
        cairo_show_text(context, line.c_str());
    }

private:
    // Not fitted to the pixels: a text is then as wide at each size as its size says.
    static void selectFont(cairo_t* context, double size) {
        cairo_font_options_t* options = cairo_font_options_create();
        cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
        cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
        cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
        cairo_set_font_options(context, options);
        cairo_font_options_destroy(options);
        cairo_select_font_face(context, fontFamily, CAIRO_FONT_SLANT_NORMAL,
                               CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(context, size);
    }

    double measureLine(cairo_t* context) const {
        selectFont(context, fontSize);
        cairo_text_extents_t extents;
        cairo_text_extents(context, line.c_str(), &extents);
        return extents.x_advance;
    }

    const std::string line;
    const int height;
    double fontSize = 0;
    double baseline = 0;
    int width = 0;
};

/// How large a PNG file says that its image is.
Size sizeOfPng(const std::string& file) {
    constexpr std::string_view start("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16);
    if (!file.starts_with(start) || file.size() < start.size() + 8) {
        throw std::runtime_error("the image is no PNG file");
    }
    const auto numberAt = [&](std::size_t at) {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            number = number << 8 | static_cast<unsigned char>(file[at + i]);
        }
        return number;
    };
    const std::uint32_t width = numberAt(start.size());
    const std::uint32_t height = numberAt(start.size() + 4);
    if (std::uint64_t{width} * height > mostImagePixels) {
        throw std::runtime_error("the image is too large");
    }
    return {static_cast<int>(width), static_cast<int>(height)};
}

Surface decodePng(const std::string& file) {
    sizeOfPng(file);
    std::string_view rest = file;
    const auto readSome = [](void* source, unsigned char* data, unsigned length) {
        auto& bytes = *static_cast<std::string_view*>(source);
        if (bytes.size() < length) {
            return CAIRO_STATUS_READ_ERROR;
        }
        std::memcpy(data, bytes.data(), length);
        bytes.remove_prefix(length);
        return CAIRO_STATUS_SUCCESS;
    };
    Surface surface(cairo_image_surface_create_from_png_stream(readSome, &rest));
    check(cairo_surface_status(surface.get()));
    return surface;
}

void drawImage(cairo_t* context, cairo_surface_t* image, Size size) {
    cairo_rectangle(context, 0, 0, size.width, size.height);
    cairo_clip(context);
    cairo_scale(context, static_cast<double>(size.width) / cairo_image_surface_get_width(image),
                static_cast<double>(size.height) / cairo_image_surface_get_height(image));
    cairo_set_source_surface(context, image, 0, 0);
    cairo_pattern_set_extend(cairo_get_source(context), CAIRO_EXTEND_PAD);  // no pale edges
    cairo_paint(context);
}

Point cornerOf(const UserOverlay& overlay, const Stream& stream, Size size) {
    const auto corner = UserOverlayPlace::findCorner(overlay, stream, size);
    if (!corner) {
        throw std::runtime_error("its position is not known: " + overlay.position);
    }
    return *corner;
}

/// Whether a size can be drawn; none of these can lie in a picture but in part.
bool isDrawable(int size) {
    constexpr int most = 1 << 15;
    return size > 0 && size < most;
}

OverlayPatch drawText(const Stream& stream, const UserOverlay& overlay) {
    const int height = UserOverlayPlace::toPixels(overlay.height, overlay, stream);
    if (!isDrawable(height)) {
        return {};
    }
    const TextBox box(overlay.text, height, stream.shownWidth());
    const Canvas canvas(stream, cornerOf(overlay, stream, box.getSize()), box.getSize());
    if (canvas.isEmpty()) {
        return {};
    }
    box.draw(canvas.get());
    return canvas.toPatch();
}

OverlayPatch drawImage(const Stream& stream, const UserOverlay& overlay) {
    if (!overlay.imageFile) {
        throw std::runtime_error("there is no image");
    }
    const Surface image = decodePng(*overlay.imageFile);
    const Size size = {UserOverlayPlace::toPixels(overlay.width, overlay, stream),
                       UserOverlayPlace::toPixels(overlay.height, overlay, stream)};
    if (!isDrawable(size.width) || !isDrawable(size.height)) {
        return {};
    }
    const Canvas canvas(stream, cornerOf(overlay, stream, size), size);
    if (canvas.isEmpty()) {
        return {};
    }
    drawImage(canvas.get(), image.get(), size);
    return canvas.toPatch();
}

bool looksSame(const UserOverlay& one, const UserOverlay& other) {
    return one.kind == other.kind && one.text == other.text && one.imageFile == other.imageFile &&
           one.position == other.position && one.width == other.width &&
           one.height == other.height && one.isScalable == other.isScalable;
}

}  // namespace

std::vector<UserOverlayRenderer::Patch> UserOverlayRenderer::render(
    const Stream& stream, const std::vector<UserOverlay>& overlays) {
    forgetOthers(overlays);
    std::vector<Patch> patches;
    for (const UserOverlay& overlay : overlays) {
        Drawn& entry = drawn[{overlay.id, stream.id}];
        if (entry.overlay.id != overlay.id || !looksSame(entry.overlay, overlay)) {
            entry = {overlay, draw(stream, overlay)};
        }
        if (entry.patch) {
            patches.push_back(entry.patch);
        }
    }
    return patches;
}

void UserOverlayRenderer::keepStreams(const std::function<bool(int stream)>& isKept) {
    std::erase_if(drawn, [&](const auto& entry) { return !isKept(entry.first.second); });
}

void UserOverlayRenderer::forgetOthers(const std::vector<UserOverlay>& overlays) {
    const auto isGone = [&](int id) {
        return std::none_of(overlays.begin(), overlays.end(),
                            [&](const UserOverlay& overlay) { return overlay.id == id; });
    };
    std::erase_if(drawn, [&](const auto& entry) { return isGone(entry.first.first); });
    std::erase_if(told, isGone);
}

UserOverlayRenderer::Patch UserOverlayRenderer::draw(const Stream& stream,
                                                     const UserOverlay& overlay) {
    try {
        OverlayPatch patch = overlay.kind == UserOverlay::Kind::Text ? drawText(stream, overlay)
                                                                     : drawImage(stream, overlay);
        return patch.pixels.empty() ? nullptr
                                    : std::make_shared<const OverlayPatch>(std::move(patch));
    } catch (const std::exception& failure) {
        if (told.insert(overlay.id).second) {
            say("overlay " + std::to_string(overlay.id) + " is not shown: " + failure.what());
        }
        return nullptr;
    }
}
