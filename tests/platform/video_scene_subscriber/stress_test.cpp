// Subscribers that come and go on several threads while the engine is restarted and scenes run.

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "engine_stage.h"
#include "support/wait_for.h"

namespace {

/// Rounds of each thread: in full 10,000.
int rounds() {
    const char* asked = std::getenv("TARNWATCH_SUBSCRIBER_ROUNDS");
    return asked == nullptr ? 300 : std::atoi(asked);
}

int countOfThreads() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return static_cast<int>(std::distance(begin(threads), end(threads)));
}

/// Pipes are not counted: a sanitizer has some to its helper.
int countOfDescriptors() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone);
        count += target.starts_with("pipe:") ? 0 : 1;
    }
    return count;
}

class Stress : public OwnFolder {
protected:
    /// Serves scenes and is started anew again and again, until the subscribers are done.
    void runEngine() {
        std::int64_t time = 0;
        while (!done) {
            SceneServer engine(socket, 2, [](int) {});
            for (int i = 0; i < 20 && !done; ++i) {
                SceneRecord scene;
                setSceneTime(scene, ++time);
                engine.publish(1, scene);
                engine.publish(2, scene);
                std::this_thread::sleep_for(std::chrono::microseconds(300));
            }
        }
    }

    /// Subscribes and ends in a way of its own each round.
    void comeAndGo(unsigned seed) {
        std::mt19937 random(seed);
        for (int round = 0; round < rounds(); ++round) {
            SubscriberRecorder subscriber(static_cast<int>(random() % 2));
            subscriber.enableAll();
            const unsigned way = random() % 6;
            if (way == 0) {
                subscriber.whenScene([](SubscriberRecorder& self) { self.unsubscribe(); });
            }
            const int code = subscriber.subscribe();
            ++results[code == 0 ? 0 : 1];
            if (way == 1 && code == 0) {
                EXPECT_TRUE(subscriber.waitForCallback());
            } else if (way == 2) {
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
            } else if (way == 3) {
                subscriber.unsubscribe();
                subscriber.subscribe();
            } else if (way == 4) {
                std::thread other([&] { subscriber.unsubscribe(); });
                subscriber.unsubscribe();
                other.join();
            } else if (way == 5 && code == 0) {
                EXPECT_TRUE(subscriber.waitForDisconnects(1));
            }
            subscriber.remove();
            const std::size_t scenes = subscriber.times().size();
            const int disconnects = subscriber.disconnects();
            EXPECT_LE(disconnects, way == 3 ? 2 : 1);
            EXPECT_EQ(subscriber.overlaps(), 0);
            std::this_thread::yield();
            EXPECT_EQ(subscriber.times().size(), scenes);
            EXPECT_EQ(subscriber.disconnects(), disconnects);
        }
    }

    std::atomic<bool> done{false};
    std::atomic<int> results[2] = {};
};

}  // namespace

TEST_F(Stress, LeavesNothingBehind) {
    // What the first use of the module and of threads keeps; a sanitizer has a thread of its own.
    { SubscriberRecorder first; }
    std::thread([] {}).join();
    const int threads = countOfThreads();
    const int descriptors = countOfDescriptors();
    std::thread engine([this] { runEngine(); });
    std::vector<std::thread> users;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        users.emplace_back([this, seed] { comeAndGo(seed); });
    }
    for (std::thread& user : users) {
        user.join();
    }
    done = true;
    engine.join();
    EXPECT_GT(results[0], 0);
    EXPECT_TRUE(waitFor([&] { return countOfThreads() == threads; }))
        << countOfThreads() << " threads instead of " << threads;
    EXPECT_EQ(countOfDescriptors(), descriptors);
    RecordProperty("subscribed", results[0]);
    RecordProperty("refused", results[1]);
}
