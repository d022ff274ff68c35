#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

/// One request in the form in which a web server hands it over, SCGI:
///
///     request = length ":" *( name NUL value NUL ) "," body
///     length  = the number of bytes between ":" and ",", decimal
///
/// The first field is CONTENT_LENGTH, the number of bytes of the body; another is SCGI, with the
/// value "1". For example, with a point for NUL:
///
///     39:CONTENT_LENGTH.2.SCGI.1.REQUEST_URI./a.,{}
///
/// A name stands once. Only a client's own header lines, whose names begin with HTTP_, may be
/// repeated, as they may in HTTP; their values are then joined by ", ". The body holds no NUL.
class ScgiRequest {
public:
    enum class State { Incomplete, Complete, Malformed, TooLarge };

    static constexpr std::size_t longestHead = std::size_t{64} * 1024;
    static constexpr std::size_t longestBody = std::size_t{256} * 1024;

    /// Takes up bytes as they arrive, in whatever pieces. Bytes behind the end are left out, and so
    /// are all that follow a request that is refused.
    State add(std::string_view bytes);

    // Of a request that is complete:

    /// The values by name.
    const std::map<std::string, std::string>& fields() const { return values; }
    /// The value of a field; empty when there is none.
    const char* field(const char* name) const;
    const std::string& body() const { return text; }

private:
    enum class Part { Length, Head, Body };

    State addToLength(char c);
    State addToHead(std::string_view& bytes);
    State addToBody(std::string_view& bytes);
    State readHead(std::string_view head);
    State readBodyLength(std::string_view digits);
    bool addField(const std::string& name, std::string_view value);

    State state = State::Incomplete;
    Part part = Part::Length;
    bool hasDigits = false;
    std::size_t headLength = 0;
    std::size_t bodyLength = 0;
    /// The head as far as it has arrived, then the body.
    std::string text;
    std::map<std::string, std::string> values;
};
