#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "video/overlay_patch.h"
#include "video/overlay_snapshot.h"

struct Stream;

/// Draws the texts and images that persons have put into the pictures of one camera. What has been
/// drawn for a stream is kept until the overlay changes or goes, or the stream is not kept. An
/// overlay that cannot be drawn is left out; that is told once. Used from one thread.
class UserOverlayRenderer {
public:
    using Patch = std::shared_ptr<const OverlayPatch>;

    /// All that lies over the picture of the stream, in the order of the overlays.
    std::vector<Patch> render(const Stream& stream, const std::vector<UserOverlay>& overlays);

    /// Forgets what has been drawn for other streams than these.
    void keepStreams(const std::function<bool(int stream)>& isKept);

private:
    struct Drawn {
        UserOverlay overlay;
        Patch patch;  // null if there is nothing to be seen
    };

    void forgetOthers(const std::vector<UserOverlay>& overlays);
    Patch draw(const Stream& stream, const UserOverlay& overlay);

    std::map<std::pair<int, int>, Drawn> drawn;  // by overlay and stream
    std::set<int> told;                          // overlays that could not be drawn
};
