#pragma once

#include <gio/gio.h>

#include <string>

class StreamOverlay;
struct ExternalOverlayUnion;
struct StreamSettings;

/// Makes overlays at the overlay service and takes them away again. Blocks on the service; one
/// thread at a time.
class StreamOverlayCreator {
public:
    /// Throws std::runtime_error when the service cannot be reached.
    StreamOverlayCreator();
    ~StreamOverlayCreator();
    StreamOverlayCreator(const StreamOverlayCreator&) = delete;
    StreamOverlayCreator& operator=(const StreamOverlayCreator&) = delete;

    /// An overlay of a stream, of the full picture width between the union's margins (the caller
    /// deletes it); a placeholder when they leave no room, or more than a buffer can have. Throws
    /// std::runtime_error on failure, with nothing left behind.
    StreamOverlay* createStreamOverlay(const StreamSettings& settings, int streamId,
                                       const ExternalOverlayUnion& externalUnion);

    /// Takes an overlay away from the service. A failure is logged; a placeholder is not there.
    void unregister(const StreamOverlay& overlay);

private:
    std::string createOverlay(GVariant* properties);
    void removeOverlay(const std::string& objectPath);

    GDBusProxy* factory;  // owned
};
