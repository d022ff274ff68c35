#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "engine/file_descriptor.h"

/// One HTTP/1.1 connection over a Unix socket that reads answers as they come. Names of headers are
/// in lower case. What fails to come within 20 seconds fails the test and reads as an end.
class WebClient {
public:
    struct Head {
        int status = 0;
        std::map<std::string, std::string> fields;
    };

    explicit WebClient(const std::string& socketPath);

    /// Sends a request without a body.
    void request(const std::string& target, const std::string& method = "GET");
    void sendRaw(const std::string& text);
    Head readHead();

    /// The next piece of a chunked body; nothing at its end or when the connection ends.
    std::optional<std::string> readChunk();
    /// The rest of the body, chunked or of a told length.
    std::string readBody();
    /// Whether the server ends the connection, after whatever still comes.
    bool isEnded();
    /// Whether it has ended the connection, whatever is still unread.
    bool hasHungUp() const;

private:
    std::string readLine();
    std::string read(std::size_t size);
    bool readSome();

    FileDescriptor socket;
    std::string received;
    Head head;
    bool hasBodyEnded = false;
};
