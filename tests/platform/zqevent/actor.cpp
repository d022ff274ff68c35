// A process with a bus of its own, for tests of how a process ends. It does what its arguments say,
// never frees its handler, and returns from main():
//
//   zqevent_actor SOCKET FOLDER [declare NAME | active NAME | text NAME COUNT | undeclare NAME |
//   hold]...
//
// "text" sends COUNT stateless events, "hold" says so on standard output and waits for the end.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

#include "platform/zqevent/device.h"

namespace {

std::map<std::string, guint> ids;
ZQEventHandler* handler = nullptr;  // kept to the end, as the application keeps its own

void sendTexts(const std::string& name, int count) {
    const guint id = declare(handler, textKeys(name), true);
    for (int number = 1; number <= count; ++number) {
        // Refused until the broker is there.
        while (!send(handler, id, {{"text", "", std::to_string(number)}})) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

}  // namespace

int main(int count, char** arguments) {
    const ZQEventHostSettings settings = {arguments[1], 0, nullptr, arguments[2]};
    zq_event_host_configure(&settings);
    handler = zq_event_handler_new();
    for (int next = 3; next < count; ++next) {
        const std::string verb = arguments[next];
        if (verb == "hold") {
            std::puts("holding");
            std::fflush(stdout);
            pause();
        } else if (verb == "declare") {
            const std::string name = arguments[++next];
            ids[name] = declare(handler, alarmKeys(name, false), false);
        } else if (verb == "active") {
            send(handler, ids[arguments[++next]], {{"active", "", true}});
        } else if (verb == "undeclare") {
            zq_event_handler_undeclare(handler, ids[arguments[++next]], nullptr);
        } else if (verb == "text") {
            const std::string name = arguments[++next];
            sendTexts(name, std::atoi(arguments[++next]));
        } else {
            return 2;
        }
    }
    return 0;
}
