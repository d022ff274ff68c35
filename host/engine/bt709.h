#pragma once

struct AVFrame;

/// The colours of most pictures of high definition.
namespace Bt709 {

/// Writes the picture in the colours of BT.601 into `to`. Both are yuv420p of the same size in
/// limited range. Rounded to the nearest; what cannot be shown is cut off.
void toBt601(const AVFrame& from, AVFrame& to);

}  // namespace Bt709
