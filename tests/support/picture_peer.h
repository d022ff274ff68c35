#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "engine/file_descriptor.h"
#include "engine/unix_address.h"

/// The other end of a connection that carries pictures, in the hands of a test: it sends and takes
/// packets as they are, good or bad. Its reads end after 20 seconds.
class PicturePeer {
public:
    explicit PicturePeer(FileDescriptor connected) : socket(std::move(connected)) {
        fcntl(socket.get(), F_SETFL, fcntl(socket.get(), F_GETFL) & ~O_NONBLOCK);
        const timeval limit = {20, 0};
        setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }

    static PicturePeer connectTo(const std::string& path) {
        FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        const sockaddr_un address = unixAddress(path);
        if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0) {
            socket.reset();
        }
        return PicturePeer(std::move(socket));
    }

    explicit operator bool() const { return static_cast<bool>(socket); }

    /// Whether the packet went out, with a descriptor if one is given.
    bool sendBytes(const void* packet, std::size_t size, int descriptor = -1, int descriptors = 1) {
        iovec content = {const_cast<void*>(packet), size};
        alignas(cmsghdr) char control[CMSG_SPACE(8 * sizeof(int))] = {};
        msghdr message = {};
        message.msg_iov = &content;
        message.msg_iovlen = 1;
        if (descriptor >= 0) {
            message.msg_control = control;
            message.msg_controllen =
                CMSG_SPACE(static_cast<std::size_t>(descriptors) * sizeof(int));
            cmsghdr* const header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(static_cast<std::size_t>(descriptors) * sizeof(int));
            for (int i = 0; i < descriptors; ++i) {
                std::memcpy(CMSG_DATA(header) + static_cast<std::size_t>(i) * sizeof(int),
                            &descriptor, sizeof descriptor);
            }
        }
        return sendmsg(socket.get(), &message, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
    }

    template <typename Packet>
    bool send(const Packet& packet, int descriptor = -1) {
        return sendBytes(&packet, sizeof packet, descriptor);
    }

    /// The next packet is a Packet; `descriptor` takes what came with it.
    template <typename Packet>
    bool take(Packet& packet, FileDescriptor* descriptor = nullptr) {
        iovec content = {&packet, sizeof packet};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr message = {};
        message.msg_iov = &content;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t size = recvmsg(socket.get(), &message, MSG_CMSG_CLOEXEC);
        const cmsghdr* const header = CMSG_FIRSTHDR(&message);
        if (descriptor != nullptr && header != nullptr && size > 0) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(header), sizeof number);
            *descriptor = FileDescriptor(number);
        }
        return size == static_cast<ssize_t>(sizeof packet) && (message.msg_flags & MSG_TRUNC) == 0;
    }

    /// There is no packet now.
    bool isSilent() const {
        char byte = 0;
        return recv(socket.get(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == EAGAIN;
    }

    /// Waits for the other to close, past whatever it sent before.
    bool isClosed() {
        char rest[64];
        ssize_t size = 0;
        do {
            size = recv(socket.get(), rest, sizeof rest, 0);
        } while (size > 0);
        return size == 0 || errno == ECONNRESET;
    }

    void close() { socket.reset(); }

    FileDescriptor socket;
};

/// A memory file of `size` bytes with the seals.
inline FileDescriptor makeMemory(std::size_t size, int seals) {
    FileDescriptor file(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (ftruncate(file.get(), static_cast<off_t>(size)) != 0 ||
        fcntl(file.get(), F_ADD_SEALS, seals) != 0) {
        file.reset();
    }
    return file;
}
