#pragma once

#include <string>
#include <vector>

struct UserOverlay;

/// Keeps the overlays of persons in a folder, a file ID.overlay each: one line of JSON with
/// "camera", "type" ("text" or "image"), "text", "position", "width", "height" and "scalable", and
/// behind it the bytes of an image. A file is replaced as a whole or not at all, and is on the disk
/// then. One thread at a time.
class UserOverlayFiles {
public:
    /// The folder is made when something is kept.
    explicit UserOverlayFiles(std::string folder);

    struct Content {
        std::vector<UserOverlay> overlays;
        int greatestId = 0;  ///< of any file, of those that cannot be read as well
    };

    /// All that is kept, by id. A file that cannot be used stays, with one line in the log.
    Content load(int cameras) const;
    /// Both throw std::runtime_error.
    void save(const UserOverlay& overlay) const;
    void remove(int id) const;

private:
    std::string pathOf(int id) const;

    const std::string folder;
};
