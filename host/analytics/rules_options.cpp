#include "analytics/rules_options.h"

#include <limits>
#include <utility>

#include "command/command_line.h"
#include "command/usage_error.h"

namespace {

using Command = RulesOptions::Command;

constexpr std::pair<const char*, Command> kCommands[] = {
    {"list", Command::List},     {"types", Command::Types},   {"options", Command::Options},
    {"create", Command::Create}, {"modify", Command::Modify}, {"delete", Command::Delete},
};

// Points of rules are 16-bit integers.
constexpr int kGreatestSize = std::numeric_limits<short>::max();

Command commandOf(const std::string& word) {
    for (const auto& [name, command] : kCommands) {
        if (word == name) {
            return command;
        }
    }
    throw UsageError("no command \"" + word + "\"");
}

/// Takes the options out of the arguments; what stays are the words.
class OptionReader {
public:
    explicit OptionReader(const std::vector<std::string>& theArguments) : arguments(theArguments) {}

    std::vector<std::string> read(RulesOptions& options) {
        std::vector<std::string> words;
        while (next < arguments.size()) {
            const std::string& argument = arguments[next++];
            if (argument == "--") {
                words.insert(words.end(), arguments.begin() + static_cast<std::ptrdiff_t>(next),
                             arguments.end());
                break;
            }
            if (argument == "-" || !argument.starts_with('-')) {
                words.push_back(argument);
            } else {
                readOption(argument, options);
            }
        }
        setSize(options);
        return words;
    }

private:
    void readOption(const std::string& option, RulesOptions& options) {
        if (option == "--source") {
            options.source = CommandLine::number(option, value(option), 0, 65535);
        } else if (option == "--width") {
            width = CommandLine::number(option, value(option), 1, kGreatestSize);
        } else if (option == "--height") {
            height = CommandLine::number(option, value(option), 1, kGreatestSize);
        } else if (option == "--rotation") {
            options.rotation = CommandLine::number(option, value(option), 0, 270);
            if (options.rotation % 90 != 0) {
                throw UsageError("--rotation takes 0, 90, 180 or 270");
            }
        } else {
            throw UsageError("no option " + option);
        }
    }

    const std::string& value(const std::string& option) {
        if (next == arguments.size()) {
            throw UsageError(option + " takes a value");
        }
        return arguments[next++];
    }

    void setSize(RulesOptions& options) const {
        if (width.has_value() != height.has_value()) {
            throw UsageError("--width and --height go together");
        }
        if (width.has_value()) {
            options.size = RulesOptions::Size{*width, *height};
        }
    }

    const std::vector<std::string>& arguments;
    std::size_t next = 0;
    std::optional<int> width;
    std::optional<int> height;
};

/// The bus carries nothing else, and no rule has another name.
void checkNames(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        CommandLine::requireUtf8("a name is", name);
    }
}

/// Takes the words behind the command.
void takeOperands(RulesOptions& options, const std::vector<std::string>& operands) {
    switch (options.command) {
        case Command::Create:
        case Command::Modify:
            if (operands.size() != 1) {
                throw UsageError("give one file, or - for standard input");
            }
            options.file = operands.front();
            break;
        case Command::Delete:
            if (operands.empty()) {
                throw UsageError("give the names of the rules to delete");
            }
            options.names = operands;
            checkNames(options.names);
            break;
        default:
            if (!operands.empty()) {
                throw UsageError("\"" + operands.front() + "\" is too much");
            }
    }
}

}  // namespace

RulesOptions RulesOptions::parse(const std::vector<std::string>& arguments) {
    RulesOptions options;
    if (arguments == std::vector<std::string>{"--help"}) {
        return options;
    }
    const std::vector<std::string> words = OptionReader(arguments).read(options);
    if (words.empty()) {
        throw UsageError("give a command");
    }
    options.command = commandOf(words.front());
    takeOperands(options, {words.begin() + 1, words.end()});
    return options;
}

const char* RulesOptions::help() {
    return R"(usage: rules list [STREAM]            the rules of a video source, as XML
       rules create FILE [STREAM]     add the rules of an XML file
       rules modify FILE [STREAM]     replace rules by those of the same names in an XML file
       rules delete NAME... [--source N]
       rules types                    the kinds of rules that can be created
       rules options                  their limits

FILE may be - for standard input. What "list" prints can be given to "create" and "modify".

STREAM says in whose pixels points are told:
  --source N              video source, from 0 (default: 0)
  --width W --height H    size of the picture (default: the source's own)
  --rotation R            0, 90, 180 or 270 (default: 0)

Exit status: 0 when it was done, 1 when a service refused it or is not there, 2 for a wrong command
line or file.
)";
}
