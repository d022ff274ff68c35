#pragma once

#include <map>
#include <string>
#include <vector>

/// What the command `overlay` is asked for.
struct OverlayOptions {
    enum class Command {
        Help,
        Text,
        Image,
        Move,
        Remove,
        List,
        Fault,
        ClearFaults,
        RemoveStream,
        AddStream
    };

    Command command = Command::Help;
    std::string content;   ///< for Text, the text; for Image, a file: "-" is standard input
    std::string position;  ///< for Text, Image and Move
    std::vector<int> ids;  ///< of overlays or streams; one for Move and streams, or more for Remove
    std::map<std::string, std::string> properties;  ///< of a Text or an Image, as the service takes
    std::string what;                               ///< for Fault
    std::string kind;                               ///< for Fault
    unsigned nth = 1;                               ///< for Fault: from which call on
    unsigned count = 1;                             ///< for Fault: of how many calls, 0 for all
    unsigned milliseconds = 1000;                   ///< for Fault

    /// Throws UsageError.
    static OverlayOptions parse(const std::vector<std::string>& arguments);

    static const char* help();
};
