// What one picture costs the video service: bringing it to a stream's size and rotation, laying
// alarm overlays over it, encoding it. Pictures have a smooth ground with the noise of a camera, in
// which twenty squares move.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "video/composer.h"
#include "video/h264_encoder.h"
#include "video/jpeg_encoder.h"
#include "video/picture_frame.h"
#include "video/picture_turner.h"
#include "video/stream_painter.h"
#include "video/user_overlay_renderer.h"

namespace {

constexpr int countOfPictures = 8;
constexpr int countOfObjects = 20;
constexpr int objectWidth = 40;
constexpr int objectHeight = 80;
constexpr int redIndex = 4;
constexpr int clearIndex = 5;

void fill(AVFrame& frame, int plane, int left, int top, int width, int height, int value) {
    for (int y = top; y < top + height; ++y) {
        std::fill_n(frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane] + left, width,
                    static_cast<std::uint8_t>(value));
    }
}

int leftOf(int object, int time, int width) {
    return (object * 137 + 6 * time) % (width - objectWidth);
}

int topOf(int object, int height) {
    return object * 71 % (height - objectHeight);
}

AvFrame drawPicture(int width, int height, int time) {
    AvFrame frame = makePictureFrame(width, height);
    std::minstd_rand noise(static_cast<unsigned>(time + 1));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            frame->data[0][y * frame->linesize[0] + x] =
                static_cast<std::uint8_t>(60 + x * 80 / width + y * 40 / height + noise() % 5);
        }
    }
    fill(*frame, 1, 0, 0, width / 2, height / 2, 120);
    fill(*frame, 2, 0, 0, width / 2, height / 2, 134);
    for (int object = 0; object < countOfObjects; ++object) {
        fill(*frame, 0, leftOf(object, time, width), topOf(object, height), objectWidth,
             objectHeight, 40 + 8 * object);
    }
    return frame;
}

std::vector<AvFrame> drawPictures(int width, int height) {
    std::vector<AvFrame> pictures;
    pictures.reserve(countOfPictures);
    for (int time = 0; time < countOfPictures; ++time) {
        pictures.push_back(drawPicture(width, height, time));
    }
    return pictures;
}

/// A band over the whole picture with a frame around each of some objects.
PaletteBand drawBand(int width, int height, int objects) {
    PaletteImage image = {
        width, height,
        std::vector(static_cast<std::size_t>(width * height / 2), std::uint8_t{clearIndex * 0x11})};
    const auto fillBytes = [&](int left, int top, int right, int bottom) {
        for (int y = top; y < bottom; ++y) {
            std::fill(image.pixels.begin() + (y * width + left) / 2,
                      image.pixels.begin() + (y * width + right) / 2,
                      std::uint8_t{redIndex * 0x11});
        }
    };
    for (int object = 0; object < objects; ++object) {
        const int left = leftOf(object, 0, width) & ~1;
        const int top = topOf(object, height);
        const int right = left + objectWidth;
        const int bottom = top + objectHeight;
        fillBytes(left, top, right, top + 4);
        fillBytes(left, bottom - 4, right, bottom);
        fillBytes(left, top, left + 4, bottom);
        fillBytes(right - 4, top, right, bottom);
    }
    return {0, 0, std::make_shared<const PaletteImage>(std::move(image))};
}

OverlaySnapshot snapshotOf(const PaletteBand& band) {
    OverlaySnapshot snapshot;
    snapshot.palette[redIndex] = {255, 0, 0, 155};
    snapshot.bands.push_back(band);
    return snapshot;
}

class SteadySource : public OverlaySource {
public:
    explicit SteadySource(OverlaySnapshot all) : snapshot(std::move(all)) {}
    OverlaySnapshot getSnapshot(const Stream&) const override { return snapshot; }

private:
    const OverlaySnapshot snapshot;
};

int widthOf(const benchmark::State& state) {
    return static_cast<int>(state.range(0));
}

int heightOf(const benchmark::State& state) {
    return static_cast<int>(state.range(1));
}

void turn(benchmark::State& state) {
    const AvFrame picture = drawPicture(widthOf(state), heightOf(state), 0);
    PictureTurner turner(widthOf(state), heightOf(state), static_cast<int>(state.range(2)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(turner.turn(*picture).data[0]);
    }
}

void scaleTo640(benchmark::State& state) {
    const AvFrame picture = drawPicture(widthOf(state), heightOf(state), 0);
    PictureTurner turner(640, 480, 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(turner.turn(*picture).data[0]);
    }
}

void compose(benchmark::State& state) {
    const AvFrame picture = drawPicture(widthOf(state), heightOf(state), 0);
    const OverlaySnapshot snapshot =
        snapshotOf(drawBand(widthOf(state), heightOf(state), static_cast<int>(state.range(2))));
    Composer composer;
    for (auto _ : state) {
        composer.setPalette(snapshot.palette);
        composer.blend(snapshot.bands[0], *picture);
        benchmark::ClobberMemory();
    }
}

void encodeJpeg(benchmark::State& state) {
    const auto pictures = drawPictures(widthOf(state), heightOf(state));
    JpegEncoder encoder(widthOf(state), heightOf(state));
    std::size_t time = 0;
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes += encoder.encode(*pictures[time++ % countOfPictures])->size();
    }
    state.counters["bytes"] =
        benchmark::Counter(static_cast<double>(bytes), benchmark::Counter::kAvgIterations);
}

void encodeH264(benchmark::State& state) {
    const auto pictures = drawPictures(widthOf(state), heightOf(state));
    H264Encoder encoder(widthOf(state), heightOf(state));
    std::int64_t time = 0;
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes += encoder
                     .encode(*pictures[static_cast<std::size_t>(time) % countOfPictures],
                             40'000 * time, false)
                     ->data.size();
        ++time;
    }
    state.counters["bytes"] =
        benchmark::Counter(static_cast<double>(bytes), benchmark::Counter::kAvgIterations);
}

/// All that is done for a picture of a stream with a viewer, `range(2)`: 1 JPEG, 2 video, 3 both.
void paint(benchmark::State& state) {
    const auto pictures = drawPictures(widthOf(state), heightOf(state));
    const SteadySource overlays(
        snapshotOf(drawBand(widthOf(state), heightOf(state), countOfObjects)));
    UserOverlayRenderer users;
    StreamPainter painter({1, 1, widthOf(state), heightOf(state), 0}, overlays, users);
    const StreamDemand demand = {(state.range(2) & 1) != 0, (state.range(2) & 2) != 0, false};
    std::int64_t time = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(painter.paint(
            *pictures[static_cast<std::size_t>(time) % countOfPictures], 40'000 * time, demand));
        ++time;
    }
}

/// As when a single picture is asked for.
void paintOnce(benchmark::State& state) {
    const AvFrame picture = drawPicture(widthOf(state), heightOf(state), 0);
    const SteadySource overlays(
        snapshotOf(drawBand(widthOf(state), heightOf(state), countOfObjects)));
    UserOverlayRenderer users;
    for (auto _ : state) {
        StreamPainter painter({1, 1, widthOf(state), heightOf(state), 0}, overlays, users);
        benchmark::DoNotOptimize(painter.paint(*picture, 0, {true, false, false}));
    }
}

void bothSizes(benchmark::internal::Benchmark* one) {
    one->Args({768, 576})->Args({1280, 960})->Unit(benchmark::kMicrosecond);
}

template <int... values>
void bothSizesWith(benchmark::internal::Benchmark* one) {
    for (const int value : {values...}) {
        one->Args({768, 576, value})->Args({1280, 960, value});
    }
    one->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK(turn)->Apply(bothSizesWith<0, 90, 180>);
BENCHMARK(scaleTo640)->Apply(bothSizes);
BENCHMARK(compose)->Apply(bothSizesWith<0, countOfObjects>);
BENCHMARK(encodeJpeg)->Apply(bothSizes);
BENCHMARK(encodeH264)->Apply(bothSizes);
BENCHMARK(paint)->Apply(bothSizesWith<1, 2, 3>);
BENCHMARK(paintOnce)->Apply(bothSizes);

BENCHMARK_MAIN();
