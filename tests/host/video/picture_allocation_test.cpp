// Apart from the others: under ThreadSanitizer allocations cannot be counted.

#include <gtest/gtest.h>

#include <atomic>

#include "picture_engine.h"
#include "support/allocation_counter.h"
#include "support/temporary_folder.h"
#include "video/picture_receiver.h"
#include "video/picture_sink.h"

namespace {

class Counter : public PictureSink {
public:
    void onPicture(int, const AVFrame&, std::int64_t) override { ++pictures; }

    std::atomic<int> pictures = 0;
};

}  // namespace

TEST(PictureReceiver, AsksForNoMemoryAfterTheFirstPicture) {
    const TemporaryFolder folder;
    const std::string path = folder.path("pictures.sock");
    Counter counter;
    PictureReceiver receiver(path, 1, counter);
    PictureEngine engine(path, 1);
    const auto showOne = [&] { return engine.show(0, 1) && engine.waitForRelease(0); };
    ASSERT_TRUE(showOne());
    ASSERT_TRUE(showOne());  // the first has been handed on
    const std::size_t before = allocationCount;
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(showOne());
    }
    EXPECT_EQ(allocationCount - before, 0u);
    EXPECT_GE(counter.pictures, 101);
}
