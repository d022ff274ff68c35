#pragma once

#include <cstddef>
#include <cstdint>

#include "scene/scene_encoder.h"

namespace scene_frame {

/// The body in a block of its own with the frame of frame.h round it; nothing in the body is looked
/// at. A body that is too long for a payload is a std::length_error.
ScenePayload wrap(const std::uint8_t* body, std::size_t size);

}  // namespace scene_frame
