#include <cstdio>
#include <exception>

#include "command/command_line.h"
#include "command/usage_error.h"
#include "video/overlay_client.h"
#include "video/overlay_options.h"

namespace {

using Command = OverlayOptions::Command;

constexpr int kRefused = 1;
constexpr int kBadUsage = 2;

// More than any picture that a camera's picture has room for.
constexpr std::size_t kGreatestImage = 16U << 20;

void list(OverlayClient& client) {
    for (const OverlayClient::Overlay& overlay : client.list()) {
        std::printf("%-4d camera %-2d %-14s %-16s %s\n", overlay.id, overlay.camera,
                    overlay.type.c_str(), overlay.position.c_str(), overlay.text.c_str());
    }
}

void run(const OverlayOptions& options) {
    if (options.command == Command::Help) {
        std::fputs(OverlayOptions::help(), stdout);
        return;
    }
    const std::string image = options.command == Command::Image
                                  ? CommandLine::readFile(options.content, kGreatestImage)
                                  : "";
    OverlayClient client;
    switch (options.command) {
        case Command::Help:
            break;
        case Command::Text:
            std::printf("%d\n",
                        client.addText(options.content, options.position, options.properties));
            break;
        case Command::Image:
            std::printf("%d\n", client.addImage(image, options.position, options.properties));
            break;
        case Command::Move:
            client.move(options.ids.front(), options.position);
            break;
        case Command::Remove:
            for (const int id : options.ids) {
                client.remove(id);
            }
            break;
        case Command::List:
            list(client);
            break;
        case Command::Fault:
            client.setFault(
                {options.what, options.kind, options.nth, options.count, options.milliseconds});
            break;
        case Command::ClearFaults:
            client.clearFaults();
            break;
        case Command::RemoveStream:
            client.removeStream(options.ids.front());
            break;
        case Command::AddStream:
            client.addStream(options.ids.front());
            break;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        run(OverlayOptions::parse({argv + 1, argv + argc}));
    } catch (const UsageError& error) {
        std::fprintf(stderr, "overlay: %s; overlay --help tells how\n", error.what());
        return kBadUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "overlay: %s\n", error.what());
        return kRefused;
    }
    return std::fflush(stdout) == 0 ? 0 : kRefused;
}
