#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/av_pointers.h"
#include "video/overlay_snapshot.h"

/// Pictures and images for tests.
namespace TestPictures {

/// A picture of one colour.
AvFrame plain(int width, int height, int luma = 128, int blue = 128, int red = 128);

/// A picture in which neighbours differ everywhere: at (x, y), luma is 16 + (3 x + 7 y) mod 200,
/// and in block (x, y) the colour differences are 40 + (5 x + y) mod 150 and
/// 60 + (x + 9 y) mod 150.
AvFrame varied(int width, int height);

/// The value of a plane (0 luma, 1 blue, 2 red), at its own coordinates.
int at(const AVFrame& picture, int plane, int x, int y);

/// All planes, without padding.
std::vector<std::uint8_t> bytesOf(const AVFrame& picture);

/// An image with one index everywhere.
PaletteBand bandOf(int left, int top, int width, int height, int index);

/// Changes a pixel of a band that nobody else has.
void setIndex(PaletteBand& band, int x, int y, int index);

/// The one picture in a JPEG file; null if there is none.
AvFrame decodeJpeg(const std::string& file);

}  // namespace TestPictures
