#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "engine/file_descriptor.h"
#include "engine/picture_link.h"
#include "video/picture_pool.h"

class PictureSink;
class PictureSlots;

/// One engine's connection, see engine/picture_link.h. Used by the receiver's thread alone; never
/// blocks.
///
///     Waiting --hello--> Delivering --end--> (closed by the receiver)
///        '-------------------'------anything that is wrong---^
class PictureConnection {
public:
    enum class Event { Nothing, Opened, Picture, Ended };

    /// Takes `socket`, which does not block. Only cameras 1..`cameraCount` are let in.
    PictureConnection(FileDescriptor socket, int cameraCount);
    ~PictureConnection();
    PictureConnection(const PictureConnection&) = delete;
    PictureConnection& operator=(const PictureConnection&) = delete;

    /// Reads one packet, if there is one. A picture is copied, given back and handed to `sink`.
    /// Throws std::exception with what the engine did wrong: the connection is to be closed.
    Event read(PictureSink& sink);

    int descriptor() const { return socket.get(); }
    /// 0 before the hello.
    int camera() const { return hello ? hello->camera : 0; }
    /// In pixels, as the hello tells.
    int width() const { return hello ? hello->width : 0; }
    int height() const { return hello ? hello->height : 0; }

private:
    void open(const void* packet, std::size_t size, const FileDescriptor& memory);
    void show(const void* packet, std::size_t size, PictureSink& sink);
    void copyTo(AVFrame& frame, const PictureLink::Picture& picture) const;
    void release(std::uint32_t slot) const;

    const FileDescriptor socket;
    const int cameras;
    std::optional<PictureLink::Hello> hello;  // none: waiting
    std::unique_ptr<PictureSlots> slots;      // null: waiting
    PicturePool pool;
};
