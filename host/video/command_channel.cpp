#include "video/command_channel.h"

#include <glib-unix.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "video/fault_plan.h"
#include "video/log.h"

namespace {

/// At the start of a page, in no memory of this service.
constexpr const char* kWrongBuffer = R"({"apiVersion":"1.0","data":{"buffer":2147479552}})";

}  // namespace

CommandChannel::CommandChannel(FileDescriptor theEnd, OverlayCommands theCommands, FaultPlan& plan,
                               std::function<void()> closed)
    : end(std::move(theEnd)),
      commands(std::move(theCommands)),
      faults(plan),
      onClosed(std::move(closed)) {
    listen();
}

CommandChannel::~CommandChannel() {
    for (const unsigned one : {source, timer}) {
        if (one != 0) {
            g_source_remove(one);
        }
    }
}

void CommandChannel::listen() {
    source = g_unix_fd_add(
        end.get(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
        [](gint, GIOCondition, gpointer data) -> gboolean {
            auto* self = static_cast<CommandChannel*>(data);
            if (!self->readRequest()) {
                const std::function<void()> closed = self->onClosed;
                closed();
                return G_SOURCE_REMOVE;
            }
            return self->source != 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
        },
        this);
}

bool CommandChannel::readRequest() {
    std::array<char, kMostRequestBytes> data;
    const ssize_t size = recv(end.get(), data.data(), data.size(), MSG_DONTWAIT | MSG_TRUNC);
    if (size < 0) {
        return errno == EAGAIN || errno == EINTR;
    }
    if (size == 0) {
        return false;
    }
    if (size > kMostRequestBytes) {
        return send(OverlayCommands::refuse("the request is too long"));
    }
    const bool isTerminated = data[static_cast<std::size_t>(size) - 1] == '\0';
    return handle({data.data(), static_cast<std::size_t>(size) - (isTerminated ? 1 : 0)});
}

bool CommandChannel::handle(const std::string& request) {
    try {
        return handleWithFault(OverlayCommand::parse(request));
    } catch (const std::exception& error) {
        return send(OverlayCommands::refuse(error.what()));
    }
}

bool CommandChannel::answer(const OverlayCommand& command) {
    try {
        return send(commands.execute(command));
    } catch (const std::exception& error) {
        return send(OverlayCommands::refuse(error.what()));
    }
}

bool CommandChannel::handleWithFault(const OverlayCommand& command) {
    const std::optional<Fault> fault = faults.countCall(command.method);
    if (!fault) {
        return answer(command);
    }
    switch (fault->kind) {
        case Fault::Kind::Exit:
            _exit(1);
        case Fault::Kind::Late:
            answerLate(command, fault->milliseconds);
            return true;
        case Fault::Kind::Short: {
            const std::string reply = commands.execute(command);
            return sendBytes(reply.data(), reply.size() / 2);
        }
        case Fault::Kind::Wrong:
            return send(kWrongBuffer);
        case Fault::Kind::Empty:
            return sendBytes("", 0);
        default:
            return send(OverlayCommands::refuse("told to"));
    }
}

/// Nothing more is read meanwhile, so that replies keep their order.
void CommandChannel::answerLate(const OverlayCommand& command, unsigned milliseconds) {
    late = command;
    g_source_remove(std::exchange(source, 0));
    timer = g_timeout_add(
        milliseconds,
        [](gpointer data) -> gboolean {
            auto* self = static_cast<CommandChannel*>(data);
            self->timer = 0;
            self->listen();
            if (!self->answer(self->late)) {
                const std::function<void()> closed = self->onClosed;
                closed();
            }
            return G_SOURCE_REMOVE;
        },
        this);
}

bool CommandChannel::send(const std::string& reply) {
    return sendBytes(reply.c_str(), reply.size() + 1);
}

bool CommandChannel::sendBytes(const char* bytes, std::size_t size) {
    if (::send(end.get(), bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
        return true;
    }
    if (errno == EAGAIN) {
        say("a command channel is closed: its client takes no replies");
    }
    return false;
}
