#pragma once

/// The module's result codes; video_scene_subscriber.h tells what they mean.
namespace result {

constexpr int success = 0;
constexpr int outOfResources = -1;
constexpr int invalidState = -2;
constexpr int noProvider = -3;
constexpr int invalidFormat = -4;
constexpr int notAllowed = -6;

}  // namespace result
