#include <csignal>
#include <cstdio>
#include <exception>

#include <opencv2/core.hpp>

#include "engine/av_pointers.h"
#include "engine/engine.h"
#include "engine/engine_options.h"

namespace {

constexpr int badInput = 2;

/// Every thread inherits this: the main thread alone waits for the end, and a client that went away
/// is no reason for one.
void prepareSignals() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

void run(const EngineOptions& options) {
    Engine engine(options);
    switch (options.action) {
        case EngineOptions::Action::Serve:
            engine.serve();
            break;
        case EngineOptions::Action::Describe:
            std::fputs(engine.describe().c_str(), stdout);
            break;
        case EngineOptions::Action::Check:
            break;
    }
}

}  // namespace

int main(int argc, char** argv) {
    prepareSignals();
    av_log_set_level(AV_LOG_QUIET);
    cv::setNumThreads(1);  // each source has a thread of its own
    try {
        run(EngineOptions::parse({argv + 1, argv + argc}));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "plinth: %s\n", error.what());
        return badInput;
    }
    return 0;
}
