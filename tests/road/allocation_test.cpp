// What guards allocate for a scene. This program counts every operator new, but under sanitizers,
// which bring their own.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "filters/object_lifetime_filter.h"
#include "filters/size_filter_percent.h"
#include "filters/swaying_filter.h"
#include "geometry/polygon.h"
#include "guard/area_guard.h"
#include "support/sanitizers.h"
#include "support/scene_stage.h"
#include "support/state_event_recorder.h"
#include "support/watched_device.h"
#include "tracking/nolt_scene_parser.h"
#include "tracking/parsed_scene.h"

namespace {

std::atomic<long> allocations{0};

[[maybe_unused]] void* counted(std::size_t size) {
    ++allocations;
    if (void* block = malloc(size)) {
        return block;
    }
    throw std::bad_alloc();
}

}  // namespace

#if !IS_SANITIZED
void* operator new(std::size_t size) {
    return counted(size);
}
void* operator new[](std::size_t size) {
    return counted(size);
}
void operator delete(void* block) noexcept {
    free(block);
}
void operator delete[](void* block) noexcept {
    free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    free(block);
}
#endif

using namespace std::chrono_literals;

namespace {

class Allocations : public testing::Test {
protected:
    void SetUp() override {
        if (isSanitized) {
            GTEST_SKIP() << "nothing is counted under sanitizers";
        }
    }

    Allocations()
        : guard(Polygon(-4000, 4000, -1000, 1000), "Door", 3, 1, 3000000, "KTW 4", events,
                Guard::anyPosition) {
        guard.addExcludeArea(Polygon(-200, 200, -200, 200));
        guard.addExclusionFilter(new SizeFilterPercent(5, 5, true));
        guard.addExclusionFilter(new ObjectLifetimeFilter(1000000, true));
        guard.addExclusionFilter(new SwayingFilter(5, 3, true));
    }

    /// Lets that many objects be seen at the given height and returns what the guard allocates for
    /// a scene of them that is not their first.
    long forObjectsAt(int count, short height) {
        for (int id = 1; id <= count; ++id) {
            stage.track(id).enters({static_cast<short>(-3000 + 100 * id), height}, {500, 500});
        }
        judge(1s);
        return judge(1100ms);
    }

    long judge(SceneStage::Time time) {
        ParsedScene parsed = parser.parse(stage.at(time));
        const long before = allocations;
        verdict.reset(guard.checkObjects(parsed));
        return allocations - before;
    }

    WatchedDevice device;
    StateEventRecorder events;
    AreaGuard guard;
    NoltSceneParser parser{0, 1.0F};
    SceneStage stage;
    std::unique_ptr<AlarmData> verdict;
};

}  // namespace

TEST_F(Allocations, AreTwoForASceneOfObjectsThatAreClearOfTheArea) {
    EXPECT_EQ(forObjectsAt(1, 3000), 2);
    EXPECT_EQ(forObjectsAt(50, 3000), 2);
    EXPECT_EQ(verdict->objects.size(), 50U);
}

TEST_F(Allocations, AreOneForASceneWithoutObjects) {
    EXPECT_EQ(judge(1s), 1);
}
