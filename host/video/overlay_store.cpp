#include "video/overlay_store.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "video/stream.h"

void OverlayStore::setColor(int index, const PaletteColor& color) {
    const std::lock_guard lock(mutex);
    palette.at(static_cast<std::size_t>(index)) = color;
}

int OverlayStore::takeId() {
    do {
        lastId = lastId == std::numeric_limits<int>::max() ? 1 : lastId + 1;
    } while (palettes.contains(lastId) || users.contains(lastId));
    return lastId;
}

int OverlayStore::addPalette(const PaletteRequest& request) {
    const int id = takeId();
    auto overlay = std::make_unique<PaletteOverlay>(request, memory);
    const std::lock_guard lock(mutex);
    palettes[id] = std::move(overlay);
    return id;
}

const PaletteOverlay* OverlayStore::findPalette(int id) const {
    const auto found = palettes.find(id);
    return found != palettes.end() ? found->second.get() : nullptr;
}

std::vector<int> OverlayStore::listPalettes(const std::optional<std::string>& owner) const {
    std::vector<int> ids;
    for (const auto& [id, overlay] : palettes) {
        if (!owner || overlay->get().owner == *owner) {
            ids.push_back(id);
        }
    }
    return ids;
}

void OverlayStore::setVisible(int id, bool isVisible) {
    const std::lock_guard lock(mutex);
    palettes.at(id)->setVisible(isVisible);
}

std::optional<int> OverlayStore::handOutBuffer(int id) {
    return palettes.at(id)->handOutBuffer();
}

bool OverlayStore::submitBuffer(int id, int buffer) {
    PaletteOverlay& overlay = *palettes.at(id);
    // Copied before anybody has to wait for it.
    std::shared_ptr<const PaletteImage> image = overlay.takeBack(buffer);
    if (image == nullptr) {
        return false;
    }
    const std::lock_guard lock(mutex);
    overlay.show(std::move(image));
    return true;
}

void OverlayStore::removePalette(int id) {
    std::unique_ptr<PaletteOverlay> last;
    const std::lock_guard lock(mutex);
    if (const auto found = palettes.find(id); found != palettes.end()) {
        last = std::move(found->second);
        palettes.erase(found);
    }
}

void OverlayStore::putUser(const UserOverlay& overlay) {
    lastId = std::max(lastId, overlay.id);
    const std::lock_guard lock(mutex);
    users[overlay.id] = overlay;
}

const UserOverlay* OverlayStore::findUser(int id) const {
    const auto found = users.find(id);
    return found != users.end() ? &found->second : nullptr;
}

void OverlayStore::removeUser(int id) {
    const std::lock_guard lock(mutex);
    users.erase(id);
}

OverlaySnapshot OverlayStore::getSnapshot(const Stream& stream) const {
    OverlaySnapshot snapshot;
    const std::lock_guard lock(mutex);
    snapshot.palette = palette;
    for (const auto& [id, overlay] : palettes) {
        if (overlay->get().stream.id != stream.id) {
            continue;
        }
        if (std::optional<PaletteBand> band = overlay->getBand()) {
            snapshot.bands.push_back(std::move(*band));
        }
    }
    for (const auto& [id, overlay] : users) {
        if (overlay.camera == stream.camera) {
            snapshot.users.push_back(overlay);
        }
    }
    return snapshot;
}
