#pragma once

#include "engine/av_pointers.h"

/// A yuv420p frame of its own memory, not initialised. Throws std::runtime_error without memory.
AvFrame makePictureFrame(int width, int height);

/// Another owner of the frame's data. Throws std::runtime_error without memory.
AvFrame sharePictureFrame(const AVFrame& frame);
