#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "video/camera_memory.h"
#include "video/overlay_snapshot.h"
#include "video/palette_overlay.h"

/// All overlays and the palette. Ids are of both kinds of overlays together.
///
/// Threads: changes and all other questions come from one thread; getSnapshot() from any.
class OverlayStore : public OverlaySource {
public:
    /// Throws std::system_error without memory for buffers.
    OverlayStore() = default;

    /// Descriptor of the memory that buffers are in; stays the store's.
    int getMemory() const { return memory.descriptor(); }

    /// Index 0..15.
    void setColor(int index, const PaletteColor& color);

    /// The new overlay's id.
    int addPalette(const PaletteRequest& request);
    /// Null if there is none (borrowed until the next change).
    const PaletteOverlay* findPalette(int id) const;
    /// The ids of an owner's, or of everybody's.
    std::vector<int> listPalettes(const std::optional<std::string>& owner) const;
    void setVisible(int id, bool isVisible);
    /// The offset of a buffer to fill; none when memory is short.
    std::optional<int> handOutBuffer(int id);
    /// Shows what a buffer holds; false when it is not the one that is handed out. Throws
    /// std::system_error.
    bool submitBuffer(int id, int buffer);
    void removePalette(int id);

    /// An id that no overlay has, nor had lately.
    int takeId();
    /// Lets ids up to this one be had by others.
    void skipIds(int greatest) { lastId = std::max(lastId, greatest); }
    /// Takes an overlay with its id, or takes the place of the one with this id.
    void putUser(const UserOverlay& overlay);
    /// Null if there is none (borrowed until the next change).
    const UserOverlay* findUser(int id) const;
    const std::map<int, UserOverlay>& getUsers() const { return users; }
    void removeUser(int id);

    OverlaySnapshot getSnapshot(const Stream& stream) const override;

private:
    CameraMemory memory;
    int lastId = 0;
    mutable std::mutex mutex;
    // Guarded by mutex against the one thread that changes them.
    Palette palette{};
    std::map<int, std::unique_ptr<PaletteOverlay>> palettes;
    std::map<int, UserOverlay> users;
};
