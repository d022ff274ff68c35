#include "tracking/object_storage.h"

#include <memory>

#include "tracking/tracking_object.h"
#include "tracking/tracking_object_external_data_no_merge.h"

using testing::ElementsAre;

namespace {

TrackingObject* lastSeenAt(int id, long time) {
    auto* object = new TrackingObject(id);
    object->lastSeen = time;
    return object;
}

// The stored ones of the ids 1 to `last`.
std::vector<int> stored(const ObjectStorage& storage, int last) {
    std::vector<int> ids;
    for (int id = 1; id <= last; ++id) {
        if (storage.contains(id)) {
            ids.push_back(id);
        }
    }
    return ids;
}

}  // namespace

TEST(ObjectStorage, GivesWhatItTook) {
    ObjectStorage storage(10);
    auto* object = new TrackingObject(7);
    storage.insert(7, object);
    EXPECT_EQ(storage.getObject(7), object);
    EXPECT_TRUE(storage.contains(7));
    EXPECT_EQ(storage.getSize(), 1U);
    EXPECT_EQ(storage.getObject(8), nullptr);
    EXPECT_FALSE(storage.contains(8));
}

TEST(ObjectStorage, IgnoresNull) {
    ObjectStorage storage(10);
    storage.insert(7, nullptr);
    EXPECT_EQ(storage.getSize(), 0U);
}

TEST(ObjectStorage, NeitherTakesNorDestroysAnObjectOfAPresentId) {
    ObjectStorage storage(10);
    auto* first = new TrackingObject(7);
    const auto second = std::make_unique<TrackingObject>(7);
    storage.insert(7, first);
    storage.insert(7, second.get());
    EXPECT_EQ(storage.getObject(7), first);
    EXPECT_EQ(storage.getSize(), 1U);
    EXPECT_EQ(second->id, 7);
}

TEST(ObjectStorage, LeavesAFullStorageAloneWhenTheIdIsPresent) {
    ObjectStorage storage(5);
    for (int id = 1; id <= 5; ++id) {
        storage.insert(id, lastSeenAt(id, id));
    }
    const auto again = std::make_unique<TrackingObject>(3);
    storage.insert(3, again.get());
    storage.insert(6, nullptr);
    EXPECT_THAT(stored(storage, 6), ElementsAre(1, 2, 3, 4, 5));
}

TEST(ObjectStorage, HandsBackWhatIsRemoved) {
    ObjectStorage storage(10);
    storage.insert(7, new TrackingObject(7));
    const std::unique_ptr<TrackingObject> removed(storage.remove(7));
    EXPECT_EQ(removed->id, 7);
    EXPECT_EQ(storage.getSize(), 0U);
    EXPECT_EQ(storage.remove(7), nullptr);
}

TEST(ObjectStorage, DestroysWhatIsDeleted) {
    ObjectStorage storage(10);
    storage.insert(7, new TrackingObject(7));
    storage.insert(8, new TrackingObject(8));
    storage.deleteObj(7);
    storage.deleteObj(9);
    EXPECT_THAT(stored(storage, 9), ElementsAre(8));
    storage.deleteAll();
    EXPECT_EQ(storage.getSize(), 0U);
}

TEST(ObjectStorage, ShedsAFifthOfItsCapacityWhenItIsFull) {
    ObjectStorage storage(500);
    for (int id = 1; id <= 500; ++id) {
        storage.insert(id, lastSeenAt(id, 1000 - id));
    }
    EXPECT_EQ(storage.getSize(), 500U);
    storage.insert(501, lastSeenAt(501, 2000));
    EXPECT_EQ(storage.getSize(), 401U);
    EXPECT_TRUE(storage.contains(1));
    EXPECT_TRUE(storage.contains(400));
    EXPECT_FALSE(storage.contains(401));
    EXPECT_FALSE(storage.contains(500));
    EXPECT_TRUE(storage.contains(501));
}

TEST(ObjectStorage, CutsTheFifthToAWholeNumber) {
    ObjectStorage storage(9);
    for (int id = 1; id <= 10; ++id) {
        storage.insert(id, lastSeenAt(id, id));
    }
    EXPECT_THAT(stored(storage, 10), ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10));
}

TEST(ObjectStorage, ShedsNothingWhenAFifthIsLessThanOne) {
    ObjectStorage storage(4);
    for (int id = 1; id <= 6; ++id) {
        storage.insert(id, lastSeenAt(id, id));
    }
    EXPECT_EQ(storage.getSize(), 6U);
}

TEST(ObjectStorage, DeletesTheLongestUnseenFirst) {
    ObjectStorage storage(10);
    storage.insert(1, lastSeenAt(1, 50));
    storage.insert(2, lastSeenAt(2, 10));
    storage.insert(3, lastSeenAt(3, 40));
    storage.insert(4, lastSeenAt(4, 20));
    storage.deleteOldElements(2);
    EXPECT_THAT(stored(storage, 4), ElementsAre(1, 3));
}

TEST(ObjectStorage, DeletesByAscendingIdAmongThoseSeenTogether) {
    ObjectStorage storage(100);
    for (int id = 40; id >= 1; --id) {
        storage.insert(id, lastSeenAt(id, 10));
    }
    storage.deleteOldElements(37);
    EXPECT_THAT(stored(storage, 40), ElementsAre(38, 39, 40));
}

TEST(ObjectStorage, DeletesNoMoreThanThereAre) {
    ObjectStorage storage(10);
    storage.insert(1, lastSeenAt(1, 50));
    storage.deleteOldElements(5);
    EXPECT_EQ(storage.getSize(), 0U);
    storage.deleteOldElements(5);
}

TEST(IsSeenBefore, ComparesTheTimesAlone) {
    TrackingObject early(9);
    TrackingObject late(1);
    early.lastSeen = 1;
    late.lastSeen = 2;
    EXPECT_TRUE(isSeenBefore({9, &early}, {1, &late}));
    EXPECT_FALSE(isSeenBefore({1, &late}, {9, &early}));
    EXPECT_FALSE(isSeenBefore({1, &late}, {2, &late}));
}
