#include "engine/engine_options.h"

#include <charconv>
#include <utility>

#include "engine/source_error.h"

namespace {

/// Reads the command line from left to right.
class Reader {
public:
    explicit Reader(const std::vector<std::string>& all) : arguments(all) {}

    EngineOptions read() {
        while (next < arguments.size()) {
            readOption(arguments[next++]);
        }
        finish();
        return std::move(options);
    }

private:
    void readOption(const std::string& option) {
        using Kind = SourceOption::Kind;
        if (option == "--check") {
            options.action = EngineOptions::Action::Check;
        } else if (option == "--describe") {
            options.action = EngineOptions::Action::Describe;
        } else if (option == "--socket") {
            options.socket = value(option);
        } else if (option == "--scenes") {
            addSource(Kind::Scenes, {value(option), {}});
        } else if (option == "--scenes-fd") {
            addSource(Kind::Scenes, handedFile(option));
        } else if (option == "--video") {
            addSource(Kind::Video, {value(option), {}});
        } else if (option == "--video-fd") {
            addSource(Kind::Video, handedFile(option));
        } else if (option == "--pipe-fd") {
            addSource(Kind::Pipe, handedFile(option));
        } else if (option == "--loop" || option == "--once") {
            options.loop = option == "--loop";
        } else if (option == "--dump") {
            options.dump = value(option);
        } else if (option == "--pictures") {
            options.pictures = value(option);
        } else if (option == "--record") {
            record = value(option);
        } else if (option == "--record-fd") {
            options.records.push_back(handedFile(option));
        } else {
            throw SourceError(option + ": is no option");
        }
    }

    void addSource(SourceOption::Kind kind, FileOption file) {
        options.sources.push_back({kind, std::move(file)});
    }

    const std::string& value(const std::string& option) {
        if (next == arguments.size()) {
            throw SourceError(option + ": a value is missing");
        }
        return arguments[next++];
    }

    FileOption handedFile(const std::string& option) {
        const std::string& number = value(option);
        int descriptor = -1;
        const char* end = number.data() + number.size();
        const auto [stopped, error] = std::from_chars(number.data(), end, descriptor);
        if (error != std::errc() || stopped != end || descriptor < 0) {
            throw SourceError(option + ": " + number + " is no descriptor");
        }
        return {value(option), descriptor};
    }

    void finish() {
        if (options.sources.empty()) {
            throw SourceError("no source: give --scenes or --video");
        }
        if (options.action == EngineOptions::Action::Serve && options.socket.empty()) {
            throw SourceError("no socket: give --socket");
        }
        if (!record.empty()) {
            if (!options.records.empty()) {
                throw SourceError("--record and --record-fd exclude each other");
            }
            for (std::size_t camera = 1; camera <= options.sources.size(); ++camera) {
                options.records.push_back(
                    {camera == 1 ? record : record + "." + std::to_string(camera), {}});
            }
        }
        if (options.records.size() > options.sources.size()) {
            throw SourceError("--record-fd: there are more recordings than sources");
        }
    }

    const std::vector<std::string>& arguments;
    std::size_t next = 0;
    std::string record;
    EngineOptions options;
};

}  // namespace

EngineOptions EngineOptions::parse(const std::vector<std::string>& arguments) {
    return Reader(arguments).read();
}
