#include "scripted_engine.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <stdexcept>
#include <utility>

ScriptedEngine::ScriptedEngine(const std::string& path, std::string answerText)
    : listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), answer(std::move(answerText)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.get(), 10) != 0) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
    thread = std::thread(&ScriptedEngine::serve, this);
}

ScriptedEngine::~ScriptedEngine() {
    shutdown(listener.get(), SHUT_RDWR);
    thread.join();
}

std::string ScriptedEngine::frame(std::uint32_t length, const std::string& content) {
    const std::uint32_t word = htonl(length);
    std::string bytes(12, '\0');
    std::memcpy(bytes.data(), &word, sizeof word);
    return bytes + content;
}

void ScriptedEngine::serve() {
    for (;;) {
        FileDescriptor connection(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!connection) {
            return;
        }
        std::string line;
        char byte = 0;
        while (byte != '\n' && recv(connection.get(), &byte, 1, 0) == 1) {
            line += byte;
        }
        // Noted and kept before it is answered: whoever has the answer finds both.
        const std::lock_guard lock(mutex);
        asked.push_back(line);
        const int descriptor = connection.get();
        connections.push_back(std::move(connection));
        ::send(descriptor, answer.data(), answer.size(), MSG_NOSIGNAL);
        if (hangingUp) {
            connections.pop_back();
        }
    }
}

void ScriptedEngine::hangUpAfterAnswers() {
    const std::lock_guard lock(mutex);
    hangingUp = true;
}

std::vector<std::string> ScriptedEngine::requests() const {
    const std::lock_guard lock(mutex);
    return asked;
}

void ScriptedEngine::send(const std::string& bytes) {
    const std::lock_guard lock(mutex);
    ::send(connections.back().get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

void ScriptedEngine::hangUp() {
    const std::lock_guard lock(mutex);
    connections.clear();
}
