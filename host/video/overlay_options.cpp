#include "video/overlay_options.h"

#include <algorithm>
#include <array>
#include <limits>

#include "command/command_line.h"
#include "command/usage_error.h"

namespace {

using Command = OverlayOptions::Command;
using Words = std::vector<std::string>;

constexpr int kGreatest = std::numeric_limits<int>::max();
constexpr int kGreatestSize = std::numeric_limits<short>::max();

/// What stands before the words that a command takes.
struct Verb {
    const char* first;
    const char* second;  // null if the first is all
    Command command;

    std::size_t length() const { return second == nullptr ? 1 : 2; }
    bool isAt(const Words& words) const {
        return words.size() >= length() && words[0] == first &&
               (second == nullptr || words[1] == second);
    }
};

/// Of two that fit the earlier one counts.
constexpr std::array<Verb, 9> kVerbs = {{{"text", nullptr, Command::Text},
                                         {"image", nullptr, Command::Image},
                                         {"move", nullptr, Command::Move},
                                         {"remove", nullptr, Command::Remove},
                                         {"list", nullptr, Command::List},
                                         {"fault", "clear", Command::ClearFaults},
                                         {"fault", nullptr, Command::Fault},
                                         {"stream", "remove", Command::RemoveStream},
                                         {"stream", "add", Command::AddStream}}};

struct Option {
    const char* name;
    std::vector<Command> commands;

    bool belongsTo(Command command) const {
        return std::find(commands.begin(), commands.end(), command) != commands.end();
    }
};

const std::array<Option, 7> kOptions = {{{"--camera", {Command::Text, Command::Image}},
                                         {"--height", {Command::Text, Command::Image}},
                                         {"--width", {Command::Image}},
                                         {"--fixed", {Command::Text, Command::Image}},
                                         {"--nth", {Command::Fault}},
                                         {"--count", {Command::Fault}},
                                         {"--milliseconds", {Command::Fault}}}};

/// The options of a command line in order, with their values. What does not begin with two dashes
/// is a word: a text or a position may begin with one.
struct Given {
    explicit Given(const Words& arguments) {
        bool isOptionNext = true;
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            const std::string& argument = arguments[i];
            if (!isOptionNext || !argument.starts_with("--")) {
                words.push_back(argument);
            } else if (argument == "--") {
                isOptionNext = false;
            } else if (argument == "--fixed") {
                options.emplace_back(argument, "");
            } else if (++i < arguments.size()) {
                options.emplace_back(argument, arguments[i]);
            } else {
                throw UsageError(argument + " takes a value");
            }
        }
    }

    Words words;
    std::vector<std::pair<std::string, std::string>> options;
};

Command takeVerb(Words& words) {
    for (const Verb& verb : kVerbs) {
        if (verb.isAt(words)) {
            words.erase(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(verb.length()));
            return verb.command;
        }
    }
    throw UsageError(words.empty() ? "give a command" : "no command \"" + words.front() + "\"");
}

unsigned countOf(const std::string& option, const std::string& value, int least) {
    return static_cast<unsigned>(CommandLine::number(option, value, least, kGreatest));
}

std::string sizeOf(const std::string& option, const std::string& value) {
    return std::to_string(CommandLine::number(option, value, 1, kGreatestSize));
}

void setOption(OverlayOptions& options, const std::string& name, const std::string& value) {
    if (name == "--camera") {
        options.properties["Camera"] =
            std::to_string(CommandLine::number(name, value, 1, kGreatest));
    } else if (name == "--height") {
        options.properties["Height"] = sizeOf(name, value);
    } else if (name == "--width") {
        options.properties["Width"] = sizeOf(name, value);
    } else if (name == "--fixed") {
        options.properties["Scalable"] = "false";
    } else if (name == "--nth") {
        options.nth = countOf(name, value, 1);
    } else if (name == "--count") {
        options.count = countOf(name, value, 0);
    } else {
        options.milliseconds = countOf(name, value, 0);
    }
}

void takeOption(OverlayOptions& options, const std::string& name, const std::string& value) {
    for (const Option& option : kOptions) {
        if (name == option.name) {
            if (!option.belongsTo(options.command)) {
                throw UsageError(name + " does not belong to this command");
            }
            setOption(options, name, value);
            return;
        }
    }
    throw UsageError("no option " + name);
}

std::string utf8(const std::string& name, const std::string& word) {
    CommandLine::requireUtf8(name, word);
    return word;
}

int idOf(const std::string& word) {
    return CommandLine::number("ID", word, 0, kGreatest);
}

/// Throws UsageError unless there are just so many words.
void require(const Words& words, std::size_t count, const std::string& what) {
    if (words.size() < count) {
        throw UsageError("give " + what);
    }
    if (words.size() > count) {
        throw UsageError("\"" + words[count] + "\" is too much");
    }
}

void takeIds(OverlayOptions& options, const Words& words) {
    if (words.empty()) {
        throw UsageError("give the ids of the overlays to remove");
    }
    std::transform(words.begin(), words.end(), std::back_inserter(options.ids), idOf);
}

/// Takes the words behind the command's own.
void takeOperands(OverlayOptions& options, const Words& words) {
    switch (options.command) {
        case Command::Text:
            require(words, 2, "a text and a position");
            options.content = utf8("the text is", words[0]);
            options.position = utf8("the position is", words[1]);
            break;
        case Command::Image:
            require(words, 2, "a file and a position");
            options.content = words[0];
            options.position = utf8("the position is", words[1]);
            break;
        case Command::Move:
            require(words, 2, "an id and a position");
            options.ids = {idOf(words[0])};
            options.position = utf8("the position is", words[1]);
            break;
        case Command::Remove:
            takeIds(options, words);
            break;
        case Command::Fault:
            require(words, 2, "what fails, and how");
            options.what = utf8("what fails is", words[0]);
            options.kind = utf8("how it fails is", words[1]);
            break;
        case Command::RemoveStream:
        case Command::AddStream:
            require(words, 1, "a stream's id");
            options.ids = {idOf(words[0])};
            break;
        default:
            require(words, 0, "");
    }
}

}  // namespace

OverlayOptions OverlayOptions::parse(const std::vector<std::string>& arguments) {
    OverlayOptions options;
    if (arguments == Words{"--help"}) {
        return options;
    }
    Given given(arguments);
    options.command = takeVerb(given.words);
    for (const auto& [name, value] : given.options) {
        takeOption(options, name, value);
    }
    takeOperands(options, given.words);
    return options;
}

const char* OverlayOptions::help() {
    return R"(usage: overlay text TEXT POSITION [--camera N] [--height LINES] [--fixed]
       overlay image FILE POSITION [--camera N] [--width N] [--height LINES] [--fixed]
       overlay move ID POSITION
       overlay remove ID...
       overlay list                   id, camera, type, position and text of each overlay
       overlay fault WHAT KIND [--nth N] [--count N] [--milliseconds N]
       overlay fault clear
       overlay stream remove ID       takes a stream from the list
       overlay stream add ID          puts it back

A text or an image (a PNG file, - for standard input) lies over the picture of a camera until it is
removed. Its id is printed.

POSITION  top, topleft, topright, bottom, bottomleft, bottomright, or X,Y: the upper left corner,
          each from -1 (left, top) to 1
  --camera N          the camera's number, from 1 (default: 1)
  --height LINES      of a picture of 1080 lines (default: 40; an image's own)
  --width N           an image's width, by the same measure (default: its own)
  --fixed             sizes are pixels of every picture, however large it is

Faults are for tests. WHAT is a method that an application calls (CreateOverlay, GetCommandChannel and so
on), getBuffer, submitBuffer, or any for each of them; KIND is error, late, short, wrong, empty, nodescriptor, notasocket,
notamemory, unsealed, toosmall or exit.
  --nth N             the first call that fails, counted from now (default: 1)
  --count N           how many calls fail, 0 for all (default: 1)
  --milliseconds N    how late a late answer is (default: 1000)

Exit status: 0 when it was done, 1 when the service refused it or is not there, 2 for a wrong command
line or file.
)";
}
