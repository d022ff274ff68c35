#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "engine/source_error.h"
#include "engine/source_url.h"
#include "engine/url_reader.h"

namespace {

constexpr int badInput = 2;

void run(const std::vector<std::string>& arguments) {
    const bool check = arguments.size() == 2 && arguments[0] == "--check";
    const bool once = arguments.size() == 2 && arguments[0] == "--once";
    if (arguments.size() != 1 && !check && !once) {
        throw SourceError("usage: plinth-reader [--check | --once] URL");
    }
    SourceUrl url = SourceUrl::parse(arguments.back());
    if (check) {
        return;
    }
    av_log_set_level(AV_LOG_QUIET);
    UrlReader(std::move(url), once, STDOUT_FILENO).run();
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "plinth-reader: %s\n", error.what());
        return badInput;
    }
    return 0;
}
