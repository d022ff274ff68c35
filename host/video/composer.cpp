#include "video/composer.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "engine/av_pointers.h"
#include "video/overlay_patch.h"

namespace {

constexpr unsigned opaque = 255;

std::uint8_t mix(std::uint8_t picture, unsigned colors, unsigned alphas, unsigned pixels) {
    const unsigned whole = opaque * pixels;
    return static_cast<std::uint8_t>((picture * (whole - alphas) + colors + whole / 2) / whole);
}

/// The part of a row of overlay pixels that lies in the picture.
struct Span {
    int first;  ///< of the overlay's pixels
    int end;
    bool isEmpty() const { return first >= end; }
};

Span clip(Span span, int left, int pictureWidth) {
    return {std::max(span.first, -left), std::min(span.end, pictureWidth - left)};
}

/// Two rows of an overlay that share their colour differences. `Row` gives the colour of a pixel;
/// a null row is not covered.
template <typename Row>
class RowPair {
public:
    RowPair(AVFrame& frame, int overlayLeft, int overlayWidth, int pairOfPicture, const Row* first,
            const Row* second)
        : picture(frame),
          left(overlayLeft),
          width(overlayWidth),
          pair(pairOfPicture),
          rows{first, second} {}

    void blend(Span pixels) const {
        const Span span = clip({pixels.first, std::min(pixels.end, width)}, left, picture.width);
        if (span.isEmpty()) {
            return;
        }
        for (int row = 0; row < 2; ++row) {
            if (rows[row] != nullptr) {
                blendLuma(*rows[row], span, 2 * pair + row);
            }
        }
        blendColors(span);
    }

private:
    void blendLuma(const Row& row, Span span, int y) const {
        std::uint8_t* line =
            picture.data[0] + static_cast<std::ptrdiff_t>(y) * picture.linesize[0] + left;
        for (int x = span.first; x < span.end; ++x) {
            const BlendColor& color = row[x];
            if (color.alpha != 0) {
                line[x] = mix(line[x], unsigned{color.luma} * color.alpha, color.alpha, 1);
            }
        }
    }

    void blendColors(Span span) const {
        std::uint8_t* blue = picture.data[1] + std::ptrdiff_t{pair} * picture.linesize[1];
        std::uint8_t* red = picture.data[2] + std::ptrdiff_t{pair} * picture.linesize[2];
        const int end = (left + span.end + 1) / 2;
        for (int block = (left + span.first) / 2; block < end; ++block) {
            Sum sum;
            for (const Row* row : rows) {
                if (row != nullptr) {
                    add(*row, 2 * block - left, sum);
                    add(*row, 2 * block + 1 - left, sum);
                }
            }
            blue[block] = mix(blue[block], sum.blue, sum.alpha, 4);
            red[block] = mix(red[block], sum.red, sum.alpha, 4);
        }
    }

    struct Sum {
        unsigned alpha = 0;
        unsigned blue = 0;
        unsigned red = 0;
    };

    void add(const Row& row, int x, Sum& sum) const {
        if (x < 0 || x >= width || left + x >= picture.width) {
            return;
        }
        const BlendColor& color = row[x];
        sum.alpha += color.alpha;
        sum.blue += unsigned{color.blue} * color.alpha;
        sum.red += unsigned{color.red} * color.alpha;
    }

    AVFrame& picture;
    const int left;
    const int width;
    const int pair;
    const Row* const rows[2];
};

/// Indices, two to a byte, the left one in the upper four bits.
class PaletteRow {
public:
    PaletteRow(const std::uint8_t* row, const std::array<BlendColor, 16>& palette)
        : bytes(row), colors(palette) {}

    const BlendColor& operator[](int x) const {
        return colors[bytes[x / 2] >> (x % 2 == 0 ? 4 : 0) & 0xF];
    }

private:
    const std::uint8_t* bytes;
    const std::array<BlendColor, 16>& colors;
};

class PatchRow {
public:
    explicit PatchRow(const BlendColor* row) : colors(row) {}

    const BlendColor& operator[](int x) const { return colors[x]; }

private:
    const BlendColor* colors;
};

/// Calls `visit(pair, upper, lower)` for each pair of picture rows that overlay rows lie in; a row
/// that is not the overlay's or not the picture's is -1.
template <typename Visit>
void visitPairs(int top, int height, int pictureHeight, Visit visit) {
    const int first = std::max(top, 0);
    const int end = std::min(top + height, pictureHeight);
    const auto rowAt = [&](int y) { return y >= first && y < end ? y - top : -1; };
    for (int pair = first / 2; 2 * pair < end; ++pair) {
        visit(pair, rowAt(2 * pair), rowAt(2 * pair + 1));
    }
}

/// Whether any of the overlay can lie in the picture. What is farther away than that could not even
/// be counted with.
bool isNear(int left, int top, int width, int height) {
    constexpr int most = 1 << 16;
    return left > -most && left < most && top > -most && top < most && width > 0 && width < most &&
           height > 0 && height < most;
}

/// Finds the bytes of two rows that are not clear.
class ByteRuns {
public:
    /// A row may be null.
    ByteRuns(const std::uint8_t* first, const std::uint8_t* second, std::size_t bytes,
             const std::array<bool, 256>& clearBytes)
        : rows{first, second}, count(bytes), isClear(clearBytes) {}

    /// The next run from `at` on; empty at the end.
    Span next(std::size_t at) const {
        while (at < count && isClearAt(at)) {
            ++at;
            while (at + 8 <= count && isClearFor8(at)) {
                at += 8;
            }
        }
        std::size_t end = at;
        while (end < count && !isClearAt(end)) {
            ++end;
        }
        return {static_cast<int>(at), static_cast<int>(end)};
    }

private:
    bool isClearAt(std::size_t at) const {
        return (rows[0] == nullptr || isClear[rows[0][at]]) &&
               (rows[1] == nullptr || isClear[rows[1][at]]);
    }

    bool isClearFor8(std::size_t at) const {
        return isClearFor8(rows[0], at) && isClearFor8(rows[1], at);
    }

    // One and the same clear byte all through, as it is where nothing is drawn.
    bool isClearFor8(const std::uint8_t* row, std::size_t at) const {
        if (row == nullptr) {
            return true;
        }
        std::uint64_t eight = 0;
        std::memcpy(&eight, row + at, sizeof eight);
        return isClear[row[at]] && eight == row[at] * 0x0101010101010101U;
    }

    const std::uint8_t* const rows[2];
    const std::size_t count;
    const std::array<bool, 256>& isClear;
};

}  // namespace

std::array<bool, 256> Composer::makeAllClear() {
    std::array<bool, 256> clear;
    clear.fill(true);
    return clear;
}

void Composer::setPalette(const Palette& palette) {
    for (std::size_t i = 0; i < palette.size(); ++i) {
        const PaletteColor& color = palette[i];
        colors[i] = BlendColor::of(color.red, color.green, color.blue, color.alpha);
    }
    for (std::size_t pair = 0; pair < isClear.size(); ++pair) {
        isClear[pair] = colors[pair >> 4].alpha == 0 && colors[pair & 0xF].alpha == 0;
    }
}

void Composer::blend(const PaletteBand& band, AVFrame& picture) const {
    if (!band.image || !isNear(band.left, band.top, band.image->width, band.image->height)) {
        return;
    }
    const PaletteImage& image = *band.image;
    const auto stride = static_cast<std::size_t>(image.width) / 2;
    if (image.pixels.size() < stride * static_cast<std::size_t>(image.height)) {
        return;
    }
    const auto bytesOf = [&](int row) {
        return row < 0 ? nullptr : image.pixels.data() + static_cast<std::size_t>(row) * stride;
    };
    visitPairs(band.top, image.height, picture.height, [&](int pair, int upper, int lower) {
        const PaletteRow upperRow(bytesOf(upper), colors);
        const PaletteRow lowerRow(bytesOf(lower), colors);
        const RowPair<PaletteRow> rows(picture, band.left, static_cast<int>(2 * stride), pair,
                                       upper < 0 ? nullptr : &upperRow,
                                       lower < 0 ? nullptr : &lowerRow);
        const ByteRuns runs(bytesOf(upper), bytesOf(lower), stride, isClear);
        for (Span run = runs.next(0); !run.isEmpty();
             run = runs.next(static_cast<std::size_t>(run.end))) {
            rows.blend({2 * run.first, 2 * run.end});
        }
    });
}

void Composer::blend(const OverlayPatch& patch, AVFrame& picture) const {
    if (!isNear(patch.left, patch.top, patch.width, patch.height)) {
        return;
    }
    const auto rowAt = [&](int row) {
        return PatchRow(patch.pixels.data() +
                        static_cast<std::ptrdiff_t>(std::max(row, 0)) * patch.width);
    };
    visitPairs(patch.top, patch.height, picture.height, [&](int pair, int upper, int lower) {
        const PatchRow upperRow = rowAt(upper);
        const PatchRow lowerRow = rowAt(lower);
        const RowPair<PatchRow> rows(picture, patch.left, patch.width, pair,
                                     upper < 0 ? nullptr : &upperRow,
                                     lower < 0 ? nullptr : &lowerRow);
        rows.blend({0, patch.width});
    });
}
