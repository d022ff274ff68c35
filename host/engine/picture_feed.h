#pragma once

#include <sys/un.h>

#include <cstdint>
#include <optional>
#include <string>

#include "engine/file_descriptor.h"
#include "engine/picture_converter.h"
#include "engine/picture_link.h"
#include "engine/picture_memory.h"
#include "engine/picture_shape.h"
#include "engine/source.h"

/// Hands the pictures of one camera to the video service, see picture_link.h. Used from one thread.
///
/// Never waits: a picture for which there is no connection or no free slot is left out. While the
/// service is away a connection is tried with a picture's coming, every 500 ms at most, by the
/// pictures' own times. A loss or a refusal is told once on standard error, and again after the
/// service has taken a picture.
///
///     Away --connected--> Connected --closed, broken, a packet that is none--> Away
class PictureFeed : public PictureListener {
public:
    static constexpr std::int64_t retryInterval = 500'000'000;  ///< nanoseconds
    static constexpr std::uint32_t slots = 4;

    /// Connects with the first picture. `cameraNumber` counts from 1. Pictures are brought to
    /// `size`, without one each to square pixels, and always within what the link carries. Throws
    /// SourceError if the path is too long.
    PictureFeed(const std::string& socketPath, int cameraNumber, std::optional<PictureShape> size);
    ~PictureFeed() override;
    PictureFeed(const PictureFeed&) = delete;
    PictureFeed& operator=(const PictureFeed&) = delete;

    /// Never throws.
    void onPicture(const Picture& picture) override;

private:
    PictureShape shapeOf(const AVFrame& picture) const;
    bool ensureConnection(const PictureShape& shape, std::int64_t time);
    void connect(const PictureShape& shape);
    void sendHello(int socket) const;
    void takeReleases();
    std::optional<std::uint32_t> freeSlot() const;
    void deliver(const Picture& picture, const PictureShape& shape, std::uint32_t slot);
    void leave();
    void tell(const std::string& reason);

    const std::string path;
    const sockaddr_un address;
    const int camera;
    const std::optional<PictureShape> wanted;
    PictureConverter converter;
    std::optional<PictureMemory> memory;  // kept from one connection to the next
    PictureLink::Hello hello;             // of the connection
    FileDescriptor connection;            // none: away
    std::uint32_t taken = 0;              // bit n: slot n is the service's
    std::optional<std::int64_t> lastAttempt;
    bool failing = false;
};
