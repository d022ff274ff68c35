#include "overlay/command_channel_handler.h"

#include <jansson.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstring>
#include <stdexcept>

#include "app/glib_utils.h"
#include "app/status.h"
#include "config/json_auto_ptr.h"
#include "device/dbus_utils.h"

namespace {

constexpr std::size_t kReplySize = 512;

constexpr auto kMethodsOnly = static_cast<GDBusProxyFlags>(
    G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES | G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS);

bool isSocket(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

CommandChannelHandler::CommandChannelHandler(unsigned seconds)
    : replySeconds(seconds),
      proxy(DBusUtils::createProxy("com.orva.Graphics1", "/com/orva/Graphics1",
                                   "com.orva.Graphics1.Overlay",
                                   "Failed to create overlay graphics proxy", kMethodsOnly)) {
    try {
        createCommandChannel();
    } catch (...) {
        g_object_unref(proxy);
        throw;
    }
}

CommandChannelHandler::~CommandChannelHandler() {
    g_clear_object(&channel);
    g_object_unref(proxy);
}

void CommandChannelHandler::createCommandChannel() {
    const int descriptor = DBusUtils::getFileDescriptor(
        proxy, "GetCommandChannel", "Failed to get command channel file descriptor");
    if (!isSocket(descriptor)) {
        if (close(descriptor) != 0) {
            syslog(LOG_WARNING, "Failed to close fd for socket\n");
        }
        throw std::runtime_error("Failed to create command channel socket");
    }
    // Takes the descriptor over, also when it fails: GLib closes it then.
    g_autoptr(GError) error = nullptr;
    GSocket* fresh = g_socket_new_from_fd(descriptor, &error);
    GlibUtils::throwIfNotOk(error, "Failed to create command channel socket");
    g_socket_set_timeout(fresh, replySeconds);
    g_clear_object(&channel);
    channel = fresh;
}

std::string CommandChannelHandler::exchange(const std::string& request) {
    g_autoptr(GError) error = nullptr;
    const std::size_t size = request.size() + 1;
    const gssize sent = g_socket_send(channel, request.c_str(), size, nullptr, &error);
    GlibUtils::throwIfNotOk(error, "Failed to submit the buffer");
    utils::throwIf(sent != static_cast<gssize>(size),
                   "Command channel socket could not send all data");
    std::array<char, kReplySize> reply;
    const gssize received = g_socket_receive(channel, reply.data(), reply.size(), nullptr, &error);
    GlibUtils::throwIfNotOk(error, "Failed to submit the buffer, no response after submitting");
    utils::throwIf(received <= 0, "bytesRead <= 0");
    return {reply.data(), strnlen(reply.data(), static_cast<std::size_t>(received))};
}

int CommandChannelHandler::getBufferHandle(const std::string& request) {
    const std::string reply = exchange(request);
    const JsonAutoPtr root(json_loadb(reply.data(), reply.size(), 0, nullptr));
    const json_t* handle = json_object_get(json_object_get(root.get(), "data"), "buffer");
    const json_int_t value = json_is_integer(handle) ? json_integer_value(handle) : -1;
    return value < 0 || value > INT_MAX ? -1 : static_cast<int>(value);
}

void CommandChannelHandler::submitBuffer(const std::string& request) {
    const std::string reply = exchange(request);
    utils::throwIf(reply.find("error") != std::string::npos,
                   "Error when submitting buffer: " + reply);
}
