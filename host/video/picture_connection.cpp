#include "video/picture_connection.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

extern "C" {
#include <libavutil/imgutils.h>
}

#include "video/picture_sink.h"
#include "video/picture_slots.h"

namespace {

struct Received {
    ssize_t size;               // 0 at the end, -1 with errno
    bool isWhole;               // nothing had to be left out
    FileDescriptor descriptor;  // none if none came
};

/// Room for one descriptor: the kernel closes what comes beyond.
Received receive(int socket, void* buffer, std::size_t size) {
    iovec content = {buffer, size};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = CMSG_LEN(sizeof(int));
    Received received = {recvmsg(socket, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC), true, {}};
    if (received.size < 0) {
        return received;
    }
    received.isWhole = (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0;
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header != nullptr && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS &&
        header->cmsg_len >= CMSG_LEN(sizeof(int))) {
        int descriptor = -1;
        std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
        received.descriptor = FileDescriptor(descriptor);
    }
    return received;
}

}  // namespace

PictureConnection::PictureConnection(FileDescriptor connected, int cameraCount)
    : socket(std::move(connected)), cameras(cameraCount) {}

PictureConnection::~PictureConnection() = default;

PictureConnection::Event PictureConnection::read(PictureSink& sink) {
    char packet[sizeof(PictureLink::Hello)];
    const Received received = receive(socket.get(), packet, sizeof packet);
    if (received.size < 0 && errno == EAGAIN) {
        return Event::Nothing;
    }
    if (received.size <= 0) {
        return Event::Ended;
    }
    if (!received.isWhole) {
        throw std::runtime_error("it sent too large a packet");
    }
    const auto size = static_cast<std::size_t>(received.size);
    if (!hello) {
        open(packet, size, received.descriptor);
        return Event::Opened;
    }
    if (received.descriptor) {
        throw std::runtime_error("it handed over a descriptor with a picture");
    }
    show(packet, size, sink);
    return Event::Picture;
}

void PictureConnection::open(const void* packet, std::size_t size, const FileDescriptor& memory) {
    const auto told = PictureLink::readHello(packet, size, cameras);
    if (!told) {
        throw std::runtime_error("it sent no hello for a camera of this device");
    }
    if (!memory) {
        throw std::runtime_error("it handed over no memory");
    }
    slots = std::make_unique<PictureSlots>(memory.get(), *told);
    hello = told;
}

void PictureConnection::show(const void* packet, std::size_t size, PictureSink& sink) {
    const auto picture = PictureLink::readPicture(packet, size, *hello);
    if (!picture) {
        throw std::runtime_error("it sent a packet that is no picture");
    }
    AVFrame& frame = pool.take(picture->width, picture->height);
    copyTo(frame, *picture);
    release(picture->slot);
    sink.onPicture(hello->camera, frame, picture->time);
    av_frame_unref(&frame);  // now, not with the next picture: one frame less is in use
}

void PictureConnection::copyTo(AVFrame& frame, const PictureLink::Picture& picture) const {
    std::uint8_t* planes[4] = {};
    int rows[4] = {};
    av_image_fill_arrays(planes, rows, slots->getSlot(picture.slot), AV_PIX_FMT_YUV420P,
                         picture.width, picture.height, 1);
    const std::uint8_t* from[4] = {planes[0], planes[1], planes[2], nullptr};
    av_image_copy(frame.data, frame.linesize, from, rows, AV_PIX_FMT_YUV420P, picture.width,
                  picture.height);
}

// An engine that keeps to its slots always has room for their releases.
void PictureConnection::release(std::uint32_t slot) const {
    const PictureLink::Release packet = {slot};
    if (send(socket.get(), &packet, sizeof packet, MSG_DONTWAIT | MSG_NOSIGNAL) < 0 &&
        errno != EPIPE && errno != ECONNRESET) {
        throw std::runtime_error(std::string("it takes no slot back: ") + std::strerror(errno));
    }
}
