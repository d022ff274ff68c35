#include "video_scene_subscriber/scene_subscriber.h"

#include <pthread.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <utility>

#include "video_scene_subscriber/result.h"

namespace {

/// Blocks all signals while it lives, so that a thread that is started meanwhile handles none of
/// the program's.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &former);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t former = {};
};

}  // namespace

SceneSubscriber::SceneSubscriber(const char* socketPath, int channel, int format,
                                 void* callbackData)
    : path(socketPath),
      dataFormat(format),
      userData(callbackData),
      request{channel, false, false, false, false} {}

SceneSubscriber::~SceneSubscriber() {
    // Whoever deletes has ended the subscription. A thread still there is this very one, deleted in
    // its callback, or one whose last act is over.
    if (isOwnCallback()) {
        thread.detach();
    } else if (thread.joinable()) {
        thread.join();
    }
}

template <typename Change>
int SceneSubscriber::changeWhenIdle(Change change) {
    const Lock lock(mutex);
    if (state != State::Idle) {
        return result::invalidState;
    }
    change();
    return result::success;
}

int SceneSubscriber::setDisconnectCallback(video_scene_subscriber_disconnect_t callback) {
    return changeWhenIdle([&] { onDisconnect = callback; });
}

int SceneSubscriber::setMessageCallback(video_scene_subscriber_message_t callback) {
    return changeWhenIdle([&] { onMessage = callback; });
}

int SceneSubscriber::enable(bool SceneStream::Request::*property) {
    return changeWhenIdle([&] { request.*property = true; });
}

int SceneSubscriber::subscribe() {
    if (dataFormat != SCENE_FORMAT_AREA) {
        return result::invalidFormat;
    }
    Lock lock(mutex);
    changed.wait(lock, [this] { return state != State::Connecting; });
    if (state != State::Idle) {
        return state == State::Subscribed ? result::success : result::invalidState;
    }
    auto fresh = std::make_unique<SceneStream>();
    state = State::Connecting;
    joinEndedThread(lock);
    int code = open(*fresh, lock);
    if (code == result::success) {
        stream = std::move(fresh);
        code = startThread();
    }
    state = code == result::success ? State::Subscribed : State::Idle;
    changed.notify_all();
    return code;
}

// Connects without the mutex; the state keeps others out.
int SceneSubscriber::open(SceneStream& fresh, Lock& lock) const {
    const SceneStream::Request asked = request;
    lock.unlock();
    const int code = fresh.open(path, asked);
    lock.lock();
    return code;
}

int SceneSubscriber::startThread() {
    const BlockedSignals blocked;
    try {
        thread = std::thread([self = shared_from_this()] { self->run(); });
        return result::success;
    } catch (const std::exception&) {
        stream.reset();
        return result::outOfResources;
    }
}

int SceneSubscriber::unsubscribe() {
    Lock lock(mutex);
    changed.wait(lock, [this] { return state != State::Connecting; });
    endSubscription();
    if (isOwnCallback()) {
        return result::success;
    }
    changed.wait(lock, [this] { return state != State::Ending; });
    if (state == State::Idle) {
        joinEndedThread(lock);
    }
    return result::success;
}

void SceneSubscriber::endSubscription() {
    if (state == State::Subscribed) {
        state = State::Ending;
        stream->shutDown();
    }
}

// The thread has nothing left to do but to end.
void SceneSubscriber::joinEndedThread(Lock& lock) {
    std::thread ended = std::exchange(thread, {});
    lock.unlock();
    if (ended.joinable()) {
        ended.join();
    }
    lock.lock();
}

void SceneSubscriber::run() {
    while (char* payload = stream->read()) {
        if (!deliver(payload)) {
            break;
        }
    }
    tellDisconnect();
    const Lock lock(mutex);
    stream.reset();
    state = State::Idle;
    changed.notify_all();
}

// False when the subscription is to end; whoever ends it waits for a callback that has begun.
bool SceneSubscriber::deliver(char* payload) {
    {
        const Lock lock(mutex);
        if (state != State::Subscribed) {
            std::free(payload);
            return false;
        }
    }
    if (onMessage == nullptr) {
        std::free(payload);
    } else {
        onMessage(payload, userData);
    }
    return true;
}

void SceneSubscriber::tellDisconnect() {
    {
        const Lock lock(mutex);
        if (state != State::Subscribed) {
            return;
        }
        state = State::Ending;
    }
    if (onDisconnect != nullptr) {
        onDisconnect(userData);
    }
}
