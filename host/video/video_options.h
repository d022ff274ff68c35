#pragma once

#include <string>
#include <vector>

/// The command line of the video service:
///
///     video --camera WIDTHxHEIGHT... --pictures PATH --web PATH
///     --configuration PATH --state DIR
struct VideoOptions {
    struct Camera {
        int width;   ///< pixels of the native picture, upright, square
        int height;  ///< pixels
    };

    std::vector<Camera> cameras;  ///< at least one; the first is camera 1
    std::string pictures;         ///< Unix socket at which the scene engine delivers pictures
    std::string web;              ///< Unix socket at which HTTP is served
    std::string configuration;    ///< the application's config.json
    std::string state;            ///< folder in which overlays of persons are kept

    /// Throws std::invalid_argument with one line that says what is wrong.
    static VideoOptions parse(const std::vector<std::string>& arguments);
};
