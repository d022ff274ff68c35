#include "host/video/web_client.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>

WebClient::WebClient(const std::string& socketPath)
    : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ADD_FAILURE() << "no connection to " << socketPath << ": " << std::strerror(errno);
    }
}

void WebClient::request(const std::string& target, const std::string& method) {
    sendRaw(method + " " + target + " HTTP/1.1\r\nHost: camera\r\n\r\n");
}

void WebClient::sendRaw(const std::string& text) {
    EXPECT_EQ(send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(text.size()));
}

bool WebClient::readSome() {
    pollfd waiting = {socket.get(), POLLIN, 0};
    constexpr int patience = 20'000;
    if (poll(&waiting, 1, patience) != 1) {
        ADD_FAILURE() << "nothing came";
        return false;
    }
    char buffer[65536];
    const ssize_t count = recv(socket.get(), buffer, sizeof buffer, 0);
    if (count > 0) {
        received.append(buffer, static_cast<std::size_t>(count));
    }
    return count > 0;
}

std::string WebClient::readLine() {
    std::size_t end = received.find("\r\n");
    while (end == std::string::npos && readSome()) {
        end = received.find("\r\n");
    }
    if (end == std::string::npos) {
        return "";
    }
    const std::string line = received.substr(0, end);
    received.erase(0, end + 2);
    return line;
}

std::string WebClient::read(std::size_t size) {
    while (received.size() < size && readSome()) {
    }
    const std::string result = received.substr(0, size);
    received.erase(0, size);
    return result;
}

WebClient::Head WebClient::readHead() {
    head = {};
    hasBodyEnded = false;
    const std::string first = readLine();
    if (first.starts_with("HTTP/1.")) {
        head.status = std::stoi(first.substr(9));
    }
    for (std::string line = readLine(); !line.empty(); line = readLine()) {
        const std::size_t colon = line.find(':');
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        head.fields[name] = line.substr(std::min(line.size(), colon + 2));
    }
    return head;
}

std::optional<std::string> WebClient::readChunk() {
    if (hasBodyEnded) {
        return {};
    }
    const std::string line = readLine();
    const std::size_t size = line.empty() ? 0 : std::stoul(line, nullptr, 16);
    const std::string chunk = read(size);
    readLine();
    hasBodyEnded = size == 0 || chunk.size() < size;
    return hasBodyEnded ? std::nullopt : std::optional(chunk);
}

std::string WebClient::readBody() {
    if (head.fields.contains("content-length")) {
        return read(std::stoul(head.fields["content-length"]));
    }
    std::string body;
    while (const auto chunk = readChunk()) {
        body += *chunk;
    }
    return body;
}

bool WebClient::isEnded() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (readSome()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
    }
    pollfd waiting = {socket.get(), POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
}

bool WebClient::hasHungUp() const {
    pollfd waiting = {socket.get(), 0, 0};
    return poll(&waiting, 1, 0) == 1 && (waiting.revents & POLLHUP) != 0;
}
