#include "tracking/parsed_scene.h"

#include <memory>
#include <utility>

#include "tracking/tracking_object.h"
#include "tracking/tracking_object_external_data_no_merge.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Tells of the end of the object that it hangs on.
class Witness : public TrackingObjectExternalDataNoMerge {
public:
    explicit Witness(bool& isDestroyed) : destroyed(isDestroyed) {}
    ~Witness() override { destroyed = true; }

private:
    bool& destroyed;
};

TrackingObject* witnessed(bool& isDestroyed) {
    auto* object = new TrackingObject(1);
    object->insertData("witness", new Witness(isDestroyed));
    return object;
}

}  // namespace

TEST(ParsedScene, KeepsWhatItIsGivenInOrder) {
    TrackingObject first(1);
    TrackingObject second(2);
    ParsedScene scene(99, false);
    scene.insertActiveObject(&second);
    scene.insertActiveObject(&first);
    scene.insertActiveObject(&second);
    EXPECT_EQ(scene.timestamp, 99);
    EXPECT_FALSE(scene.ownsActiveObjects);
    EXPECT_THAT(scene.activeObjects, ElementsAre(&second, &first, &second));
    EXPECT_THAT(scene.deletedObjects, IsEmpty());
}

TEST(ParsedScene, IgnoresNull) {
    ParsedScene scene(99, true);
    scene.insertActiveObject(nullptr);
    scene.insertDeletedObject(nullptr);
    EXPECT_THAT(scene.activeObjects, IsEmpty());
    EXPECT_THAT(scene.deletedObjects, IsEmpty());
}

TEST(ParsedScene, DestroysDeletedObjectsAlways) {
    bool isDestroyed = false;
    {
        ParsedScene scene(99, false);
        scene.insertDeletedObject(witnessed(isDestroyed));
        EXPECT_FALSE(isDestroyed);
    }
    EXPECT_TRUE(isDestroyed);
}

TEST(ParsedScene, DestroysActiveObjectsOnlyWhenItOwnsThem) {
    bool isBorrowedDestroyed = false;
    const std::unique_ptr<TrackingObject> borrowed(witnessed(isBorrowedDestroyed));
    { ParsedScene(99, false).insertActiveObject(borrowed.get()); }
    EXPECT_FALSE(isBorrowedDestroyed);

    bool isOwnedDestroyed = false;
    { ParsedScene(99, true).insertActiveObject(witnessed(isOwnedDestroyed)); }
    EXPECT_TRUE(isOwnedDestroyed);
}

TEST(ParsedScene, HandsItsObjectsOnWhenItIsMoved) {
    bool isDestroyed = false;
    {
        ParsedScene source(99, true);
        source.insertActiveObject(witnessed(isDestroyed));
        const ParsedScene target(std::move(source));
        EXPECT_EQ(target.timestamp, 99);
        EXPECT_EQ(target.activeObjects.size(), 1U);
        EXPECT_FALSE(isDestroyed);
    }
    EXPECT_TRUE(isDestroyed);
}
