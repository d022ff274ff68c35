#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The host's parameter store: a text file, read anew at each look-up, so a change is seen at once.
///
///   line   NAME=VALUE
///
/// A leading "root." of NAME does not count, in the file or in a look-up; blanks around NAME do not
/// either. VALUE is everything behind the first "=", up to the end of the line (a carriage return
/// before it is no part of it); it may be empty. The last line of a name holds. Empty lines and
/// lines that begin with "#" mean nothing; neither does a line without "=" or without a name. A
/// missing file is an empty store.
class ParameterFile {
public:
    explicit ParameterFile(std::string path);

    std::optional<std::string> find(std::string_view name) const;
    /// The number (from 1) of the first line that is not understood, 0 if there is none.
    unsigned firstBadLine() const;

private:
    std::string path;
};
