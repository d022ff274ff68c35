#include "engine/picture_feed.h"

#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

extern "C" {
#include <libavutil/imgutils.h>
}

#include "engine/unix_address.h"

namespace {

/// The connection has failed, as errno or `error` tells.
[[noreturn]] void fail(int error = errno) {
    throw std::system_error(error, std::generic_category());
}

bool isFull(int error) {
    return error == EAGAIN || error == ENOBUFS;
}

/// The size itself, or the one of the same form that the link carries.
PictureShape bounded(const PictureShape& shape) {
    const int longest = std::max(shape.width, shape.height);
    if (longest <= PictureLink::longestSide) {
        return shape;
    }
    const double factor = double{PictureLink::longestSide} / longest;
    return {std::max(1, static_cast<int>(std::lround(shape.width * factor))),
            std::max(1, static_cast<int>(std::lround(shape.height * factor)))};
}

}  // namespace

PictureFeed::PictureFeed(const std::string& socketPath, int cameraNumber,
                         std::optional<PictureShape> size)
    : path(socketPath), address(unixAddress(socketPath)), camera(cameraNumber), wanted(size) {}

PictureFeed::~PictureFeed() = default;

void PictureFeed::onPicture(const Picture& picture) {
    try {
        const PictureShape shape = shapeOf(*picture.frame);
        if (!ensureConnection(shape, picture.time)) {
            return;
        }
        if (const auto slot = freeSlot()) {
            deliver(picture, shape, *slot);
        }
    } catch (const std::system_error& error) {
        leave();
        tell(error.code().message());
    } catch (const std::exception& error) {
        tell(error.what());
    }
}

PictureShape PictureFeed::shapeOf(const AVFrame& picture) const {
    return bounded(
        wanted ? *wanted
               : PictureShape::of(picture.width, picture.height, picture.sample_aspect_ratio));
}

bool PictureFeed::ensureConnection(const PictureShape& shape, std::int64_t time) {
    if (connection) {
        takeReleases();
        if (PictureLink::pictureBytes(shape.width, shape.height) <= hello.slotSize) {
            return true;
        }
        leave();
        lastAttempt.reset();
    }
    if (lastAttempt && time - *lastAttempt < retryInterval) {
        return false;
    }
    lastAttempt = time;
    connect(shape);
    return true;
}

void PictureFeed::connect(const PictureShape& shape) {
    FileDescriptor fresh(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fresh ||
        ::connect(fresh.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail();
    }
    hello.camera = camera;
    hello.width = shape.width;
    hello.height = shape.height;
    hello.slots = slots;
    hello.slotSize =
        static_cast<std::uint32_t>(PictureLink::pictureBytes(shape.width, shape.height));
    if (!memory || memory->size() != hello.memorySize()) {
        memory.reset();
        memory.emplace(hello.memorySize());
    }
    sendHello(fresh.get());
    connection = std::move(fresh);
}

void PictureFeed::sendHello(int socket) const {
    PictureLink::Hello packet = hello;
    iovec content = {&packet, sizeof packet};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = memory->descriptor();
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    if (sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        fail();
    }
}

// A slot is given back once each time: so a service that sends without end is soon left.
void PictureFeed::takeReleases() {
    for (;;) {
        char packet[sizeof(PictureLink::Release) + 1];  // a longer packet is seen to be longer
        const ssize_t size = recv(connection.get(), packet, sizeof packet, MSG_DONTWAIT);
        if (size < 0 && errno == EAGAIN) {
            return;
        }
        if (size <= 0) {
            fail(size == 0 ? ECONNRESET : errno);
        }
        const auto release =
            PictureLink::readRelease(packet, static_cast<std::size_t>(size), hello);
        if (!release || (taken >> release->slot & 1) == 0) {
            fail(EPROTO);
        }
        taken &= ~(1u << release->slot);
        failing = false;
    }
}

// The lowest: memory that is never needed is never used.
std::optional<std::uint32_t> PictureFeed::freeSlot() const {
    const auto slot = static_cast<std::uint32_t>(std::countr_one(taken));
    return slot < slots ? std::optional(slot) : std::nullopt;
}

void PictureFeed::deliver(const Picture& picture, const PictureShape& shape, std::uint32_t slot) {
    const AVFrame& ready = converter.convert(*picture.frame, shape.width, shape.height);
    if (av_image_copy_to_buffer(memory->data() + std::size_t{slot} * hello.slotSize,
                                static_cast<int>(hello.slotSize), ready.data, ready.linesize,
                                AV_PIX_FMT_YUV420P, shape.width, shape.height, 1) < 0) {
        throw std::runtime_error("its form is unknown");
    }
    const PictureLink::Picture packet = {slot, shape.width, shape.height, 0, picture.time};
    if (send(connection.get(), &packet, sizeof packet, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
        taken |= 1u << slot;
    } else if (!isFull(errno)) {
        fail();
    }
}

void PictureFeed::leave() {
    connection.reset();
    taken = 0;
}

// One line, not one for each picture.
void PictureFeed::tell(const std::string& reason) {
    if (!std::exchange(failing, true)) {
        std::fprintf(stderr, "plinth: camera %d: pictures cannot be delivered to %s: %s\n", camera,
                     path.c_str(), reason.c_str());
    }
}
