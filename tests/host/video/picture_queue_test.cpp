#include "video/picture_queue.h"

#include <gmock/gmock.h>

#include "host/video/test_pictures.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

/// Pictures are told apart by their brightness; times count from the test's begin.
class PictureQueueTest : public testing::Test {
protected:
    void add(int luma, std::chrono::milliseconds now) {
        queue.add(TestPictures::plain(2, 2, luma), begin + now);
    }
    std::chrono::milliseconds next() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(queue.nextTime() - begin);
    }
    int take(std::chrono::milliseconds now) {
        const PictureQueue::Due due = queue.take(begin + now);
        lastDue = std::chrono::duration_cast<std::chrono::milliseconds>(due.time - begin);
        return TestPictures::at(*due.picture, 0, 0, 0);
    }

    const PictureQueue::Time begin = PictureQueue::Time(1h);
    PictureQueue queue{TestPictures::plain(2, 2, 1)};
    std::chrono::milliseconds lastDue{};
};

}  // namespace

TEST_F(PictureQueueTest, ShowsTheFirstPictureAtOnce) {
    EXPECT_LT(next(), 0ms);
    EXPECT_EQ(take(0ms), 1);
    EXPECT_EQ(lastDue, 0ms);
}

TEST_F(PictureQueueTest, HasAPictureDue60MillisecondsAfterItCame) {
    take(0ms);
    add(2, 30ms);
    EXPECT_EQ(next(), 90ms);
    EXPECT_EQ(take(95ms), 2);
    EXPECT_EQ(lastDue, 90ms);
}

TEST_F(PictureQueueTest, HasEachOfSeveralPicturesDueInTurn) {
    add(2, 0ms);
    add(3, 33ms);
    EXPECT_EQ(take(60ms), 2);
    EXPECT_EQ(next(), 93ms);
    EXPECT_EQ(take(93ms), 3);
}

TEST_F(PictureQueueTest, RepeatsTheLastPictureTenTimesASecond) {
    add(2, 0ms);
    take(60ms);
    EXPECT_EQ(next(), 160ms);
    EXPECT_EQ(take(160ms), 2);
    EXPECT_EQ(lastDue, 160ms);
    EXPECT_EQ(next(), 260ms);
}

TEST_F(PictureQueueTest, RepeatsNothingWhileANewPictureIsOnItsWay) {
    add(2, 0ms);
    take(60ms);
    add(3, 101ms);
    EXPECT_EQ(next(), 161ms);
}

TEST_F(PictureQueueTest, LeavesOutPicturesThatALaterOneHasOvertaken) {
    add(2, 0ms);
    add(3, 10ms);
    add(4, 20ms);
    EXPECT_EQ(take(75ms), 3);
    EXPECT_EQ(lastDue, 70ms);
    EXPECT_EQ(take(80ms), 4);
}

TEST_F(PictureQueueTest, HasTheLastPictureReadyForWhoComesLate) {
    take(0ms);
    add(2, 1000ms);
    add(3, 1040ms);
    add(4, 5000ms);  // the others have passed unseen
    EXPECT_EQ(next(), 1100ms);
    EXPECT_EQ(take(5010ms), 3);
    EXPECT_EQ(lastDue, 4910ms);  // not so long ago that a video would jump
    EXPECT_EQ(take(5060ms), 4);
}

TEST_F(PictureQueueTest, KeepsNoMorePicturesThanFit) {
    const AvFrame picture = TestPictures::plain(2, 2);
    for (int i = 0; i < 100; ++i) {
        AvFrame shared(av_frame_clone(picture.get()));
        queue.add(std::move(shared), begin + 1ms * (i % 50));
    }
    // The test's own, and those on their way.
    EXPECT_LE(av_buffer_get_ref_count(picture->buf[0]), 1 + int{PictureQueue::mostWaiting} + 1);
    EXPECT_GE(av_buffer_get_ref_count(picture->buf[0]), 1 + int{PictureQueue::mostWaiting});
}

TEST_F(PictureQueueTest, GivesPicturesBackWhileNobodyLooks) {
    const AvFrame picture = TestPictures::plain(2, 2);
    for (int i = 0; i < 100; ++i) {
        queue.add(AvFrame(av_frame_clone(picture.get())), begin + 40ms * i);
    }
    // The test's own, the last one that was due, and two on their way.
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 4);
}
