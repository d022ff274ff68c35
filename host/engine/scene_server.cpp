#include "engine/scene_server.h"

#include <arpa/inet.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "engine/scene_client.h"
#include "engine/source_error.h"

namespace {

/// Small, so that what the kernel holds for a client adds little to how far behind it may be.
constexpr int sendBuffer = 8192;
constexpr std::size_t headSize = 12;
constexpr std::chrono::milliseconds acceptRest{100};

/// The frame of a scene: length, 8 bytes 0, payload.
std::shared_ptr<const std::string> makeFrame(SceneEncoder& encoder, const SceneRecord& scene,
                                             unsigned properties) {
    const ScenePayload payload = encoder.encode(scene, properties);
    const std::uint32_t length = htonl(static_cast<std::uint32_t>(payload.size()));
    auto frame = std::make_shared<std::string>(headSize, '\0');
    std::memcpy(frame->data(), &length, sizeof length);
    frame->append(payload.data(), payload.size());
    return frame;
}

bool isLowConfident(const SceneObjectRecord& object) {
    return object.confidence && *object.confidence < fullConfidence;
}

/// The scene as a client sees it that did not ask for low-confidence objects.
SceneRecord withoutLowConfident(const SceneRecord& scene) {
    SceneRecord rest;
    rest.time = scene.time;
    rest.events = scene.events;
    std::remove_copy_if(scene.objects.begin(), scene.objects.end(),
                        std::back_inserter(rest.objects), isLowConfident);
    return rest;
}

[[noreturn]] void failAt(const std::string& path) {
    throw SourceError(path + ": " + std::strerror(errno));
}

}  // namespace

SceneServer::SceneServer(const std::string& socketPath, int cameras, Opened opened,
                         Limits serverLimits)
    : path(socketPath),
      onOpened(std::move(opened)),
      limits(serverLimits),
      listener(socketPath, SOCK_STREAM) {
    for (int i = 0; i < cameras; ++i) {
        channels.push_back(std::make_unique<Channel>());
    }
    poller = FileDescriptor(epoll_create1(EPOLL_CLOEXEC));
    waker = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    for (const int descriptor : {listener.descriptor(), waker.get()}) {
        epoll_event event = {EPOLLIN, {.fd = descriptor}};
        if (epoll_ctl(poller.get(), EPOLL_CTL_ADD, descriptor, &event) != 0) {
            failAt(path);
        }
    }
    thread = std::thread(&SceneServer::serve, this);
}

SceneServer::~SceneServer() {
    {
        const std::lock_guard lock(inboxMutex);
        ending = true;
    }
    eventfd_write(waker.get(), 1);
    thread.join();
}

void SceneServer::publish(int camera, const SceneRecord& scene) {
    Channel& channel = *channels.at(static_cast<std::size_t>(camera - 1));
    const std::uint32_t wanted = channel.propertySets;
    if (wanted == 0) {
        return;
    }
    Delivery delivery = {camera, {}};
    const bool allConfident =
        std::none_of(scene.objects.begin(), scene.objects.end(), isLowConfident);
    SceneRecord confident;
    bool confidentMade = false;
    for (unsigned set = 0; set < propertySets; ++set) {
        if ((wanted >> set & 1) == 0) {
            continue;
        }
        const SceneRecord* served = &scene;
        if ((set & SceneConfidences) == 0 && !allConfident) {
            if (!std::exchange(confidentMade, true)) {
                confident = withoutLowConfident(scene);
            }
            served = &confident;
        }
        delivery.frames[set] = makeFrame(channel.encoder, *served, set);
    }
    {
        const std::lock_guard lock(inboxMutex);
        inbox.push_back(std::move(delivery));
    }
    eventfd_write(waker.get(), 1);
}

void SceneServer::serve() {
    std::array<epoll_event, 64> events;
    for (;;) {
        const int timeout = tendClients();
        const int count = epoll_wait(poller.get(), events.data(), events.size(), timeout);
        for (int i = 0; i < count; ++i) {
            handleEvent(events[static_cast<std::size_t>(i)].data.fd,
                        events[static_cast<std::size_t>(i)].events);
        }
        for (const Delivery& delivery : takeInbox()) {
            deliver(delivery);
        }
        const std::lock_guard lock(inboxMutex);
        if (ending) {
            break;
        }
    }
    clients.clear();
}

std::vector<SceneServer::Delivery> SceneServer::takeInbox() {
    const std::lock_guard lock(inboxMutex);
    return std::exchange(inbox, {});
}

void SceneServer::handleEvent(int descriptor, std::uint32_t events) {
    if (descriptor == waker.get()) {
        eventfd_t count = 0;
        eventfd_read(waker.get(), &count);
        return;
    }
    if (descriptor == listener.descriptor()) {
        acceptClients();
        return;
    }
    const auto found = clients.find(descriptor);
    if (found == clients.end()) {
        return;
    }
    SceneClient& client = *found->second;
    if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        close(descriptor);
        return;
    }
    if ((events & EPOLLIN) != 0) {
        readFrom(client);
    } else if (!client.flush()) {
        close(descriptor);
    } else {
        watch(client);
    }
}

void SceneServer::acceptClients() {
    for (;;) {
        FileDescriptor socket = listener.accept();
        if (!socket) {
            if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
                // Out of descriptors or memory: look again later instead of at once and for ever.
                acceptAgain = std::chrono::steady_clock::now() + acceptRest;
                epoll_ctl(poller.get(), EPOLL_CTL_DEL, listener.descriptor(), nullptr);
            }
            return;
        }
        if (clients.size() >= limits.clients) {
            if (!std::exchange(fullTold, true)) {
                std::fprintf(stderr, "plinth: clients are turned away, there are %zu\n",
                             clients.size());
            }
            continue;
        }
        fullTold = false;
        setsockopt(socket.get(), SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer);
        auto client = std::make_unique<SceneClient>(
            std::move(socket), std::chrono::steady_clock::now() + limits.handshake);
        const int descriptor = client->descriptor();
        watch(*clients.emplace(descriptor, std::move(client)).first->second);
    }
}

void SceneServer::readFrom(SceneClient& client) {
    const bool asked = client.state() == SceneClient::State::Asking;
    bool alive = client.read(static_cast<int>(channels.size()));
    const bool opened = asked && client.state() == SceneClient::State::Streaming;
    alive = client.flush() && alive;
    if (!alive) {
        close(client.descriptor());
        return;
    }
    watch(client);
    if (opened) {
        // Known to the publishers before the camera starts: the first scene is not missed.
        updatePropertySets();
        onOpened(client.camera());
    }
}

void SceneServer::deliver(const Delivery& delivery) {
    std::vector<int> lost;
    for (const auto& [descriptor, client] : clients) {
        if (client->state() != SceneClient::State::Streaming ||
            client->camera() != delivery.camera) {
            continue;
        }
        const Frame& frame = delivery.frames[client->properties()];
        if (!frame) {
            continue;  // the client came while the scene was on its way
        }
        client->enqueue(frame);
        if (!client->flush()) {
            lost.push_back(descriptor);
        } else if (client->backlog() >= limits.scenesBehind) {
            std::fprintf(stderr, "plinth: camera %d: a client %zu scenes behind was closed\n",
                         client->camera(), client->backlog());
            lost.push_back(descriptor);
        } else {
            watch(*client);
        }
    }
    for (const int descriptor : lost) {
        close(descriptor);
    }
}

void SceneServer::close(int descriptor) {
    clients.erase(descriptor);
    updatePropertySets();
}

void SceneServer::updatePropertySets() {
    std::vector<std::uint32_t> sets(channels.size(), 0);
    for (const auto& [descriptor, client] : clients) {
        if (client->state() == SceneClient::State::Streaming) {
            sets[static_cast<std::size_t>(client->camera() - 1)] |= 1u << client->properties();
        }
    }
    for (std::size_t i = 0; i < channels.size(); ++i) {
        channels[i]->propertySets = sets[i];
    }
}

void SceneServer::watch(SceneClient& client) {
    const std::uint32_t wanted =
        (client.wantsToRead() ? EPOLLIN : 0u) | (client.wantsToWrite() ? EPOLLOUT : 0u);
    if (client.watched == static_cast<int>(wanted)) {
        return;
    }
    epoll_event event = {wanted, {.fd = client.descriptor()}};
    epoll_ctl(poller.get(), client.watched < 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, client.descriptor(),
              &event);
    client.watched = static_cast<int>(wanted);
}

void SceneServer::listenAgain() {
    acceptAgain = Time::max();
    epoll_event event = {EPOLLIN, {.fd = listener.descriptor()}};
    epoll_ctl(poller.get(), EPOLL_CTL_ADD, listener.descriptor(), &event);
}

// Does what is due by now; milliseconds until something else is, -1 for never.
int SceneServer::tendClients() {
    const Time now = std::chrono::steady_clock::now();
    if (acceptAgain <= now) {
        listenAgain();
    }
    Time next = acceptAgain;
    std::vector<int> late;
    for (const auto& [descriptor, client] : clients) {
        if (client->state() == SceneClient::State::Streaming) {
            continue;
        }
        if (client->deadline() <= now) {
            late.push_back(descriptor);
        } else {
            next = std::min(next, client->deadline());
        }
    }
    for (const int descriptor : late) {
        close(descriptor);
    }
    if (next == Time::max()) {
        return -1;
    }
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(next - now).count());
}
