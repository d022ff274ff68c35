#include "engine/live_ids.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

SceneRecord showing(const std::vector<std::int32_t>& ids,
                    const std::vector<SceneEventRecord>& events = {}) {
    SceneRecord scene;
    for (const std::int32_t id : ids) {
        scene.objects.push_back({.id = id});
    }
    scene.events = events;
    return scene;
}

}  // namespace

TEST(LiveIds, HoldsWhatWasSeenUntilItIsDeleted) {
    LiveIds live;
    live.follow(showing({3, 1, 2}));
    live.follow(showing({}, {{SCENE_ACTION_DELETE, {1}, {}}}));
    EXPECT_THAT(live.end(), ElementsAre(2, 3));
    EXPECT_THAT(live.end(), IsEmpty());
}

TEST(LiveIds, ForgetsWhatWasMergedIntoAnother) {
    LiveIds live;
    live.follow(showing({1, 2}));
    live.follow(showing({1}, {{SCENE_ACTION_MERGE, {1}, {2}}}));
    EXPECT_THAT(live.end(), ElementsAre(1));
}

TEST(LiveIds, KeepsBothSidesOfASplit) {
    LiveIds live;
    live.follow(showing({1}));
    live.follow(showing({1, 2}, {{SCENE_ACTION_SPLIT, {1}, {1, 2}}}));
    EXPECT_THAT(live.end(), ElementsAre(1, 2));
}

TEST(LiveIds, HoldsWhatIsDeletedAndSeenAtOnce) {
    LiveIds live;
    live.follow(showing({1}, {{SCENE_ACTION_DELETE, {1}, {}}}));
    EXPECT_THAT(live.end(), ElementsAre(1));
}
