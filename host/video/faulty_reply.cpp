#include "video/faulty_reply.h"

#include <fcntl.h>
#include <gio/gunixfdlist.h>
#include <sys/mman.h>
#include <unistd.h>

#include "engine/file_descriptor.h"
#include "video/camera_memory.h"

namespace {

constexpr int kSmall = 4096;  // bytes

FileDescriptor makeMemory(int size, int seals) {
    FileDescriptor memory(memfd_create("camera", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    [[maybe_unused]] const bool isMade =
        ftruncate(memory.get(), size) == 0 && fcntl(memory.get(), F_ADD_SEALS, seals) == 0;
    return memory;
}

FileDescriptor makePipe() {
    int ends[2] = {-1, -1};
    [[maybe_unused]] const int failed = pipe2(ends, O_CLOEXEC);
    FileDescriptor(ends[1]).reset();
    return FileDescriptor(ends[0]);
}

FileDescriptor makeDescriptor(Fault::Kind kind) {
    switch (kind) {
        case Fault::Kind::NotASocket:
        case Fault::Kind::NotAMemory:
            return makePipe();
        case Fault::Kind::Unsealed:
            return makeMemory(CameraMemory::kSize, 0);
        case Fault::Kind::TooSmall:
            return makeMemory(kSmall, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
        default:
            return {};
    }
}

}  // namespace

GDBusMessage* FaultyReply::make(GDBusMessage* call, Fault::Kind kind) {
    if (kind == Fault::Kind::Error) {
        return g_dbus_message_new_method_error_literal(call, "com.orva.Host.Error.Failed",
                                                       "told to");
    }
    GDBusMessage* reply = g_dbus_message_new_method_reply(call);
    if (kind == Fault::Kind::Wrong) {
        g_dbus_message_set_body(reply, g_variant_new("(s)", "wrong"));
    } else if (kind != Fault::Kind::Empty) {
        g_dbus_message_set_body(reply, g_variant_new("(h)", 0));
    }
    if (const FileDescriptor descriptor = makeDescriptor(kind)) {
        g_autoptr(GUnixFDList) list = g_unix_fd_list_new();
        g_unix_fd_list_append(list, descriptor.get(), nullptr);
        g_dbus_message_set_unix_fd_list(reply, list);
    }
    return reply;
}
