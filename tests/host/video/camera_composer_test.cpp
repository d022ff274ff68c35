#include "video/camera_composer.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

#include "host/video/fake_overlay_source.h"
#include "host/video/test_pictures.h"
#include "support/wait_for.h"

using namespace std::chrono_literals;
using TestPictures::at;
using TestPictures::decodeJpeg;
using TestPictures::plain;

namespace {

constexpr Stream stream = {1, 1, 64, 48, 0};
constexpr Stream other = {2, 1, 64, 48, 90};
constexpr StreamDemand jpeg = {true, false, false};
constexpr StreamDemand video = {false, true, false};

constexpr const char* failureLine = "a picture of camera 1 could not be shown: ";

int countOf(const std::string& part, const std::string& text) {
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

bool isToldOnce(const std::string& text) {
    return countOf(failureLine, text) == 1;
}

/// What a composer hands out.
class Results {
public:
    void put(CameraComposer::Result result) {
        const std::lock_guard lock(mutex);
        results.push_back(std::move(result));
        changed.notify_all();
    }

    std::optional<CameraComposer::Result> next() {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, 20s, [this] { return !results.empty(); })) {
            ADD_FAILURE() << "no picture came";
            return {};
        }
        CameraComposer::Result result = std::move(results.front());
        results.pop_front();
        return result;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<CameraComposer::Result> results;
};

class CameraComposerTest : public testing::Test {
protected:
    int nextLuma() {
        const auto result = results.next();
        const AvFrame picture = result ? decodeJpeg(*result->picture.jpeg) : nullptr;
        return picture ? at(*picture, 0, 10, 10) : -1;
    }

    FakeOverlaySource overlays;
    Results results;
    CameraComposer composer{1, plain(64, 48, 126), overlays,
                            [this](CameraComposer::Result result) { results.put(result); }};
};

}  // namespace

TEST_F(CameraComposerTest, ShowsTheFirstPictureUntilTheCameraHasOne) {
    composer.setDemand(stream, jpeg);
    EXPECT_NEAR(nextLuma(), 128, 1);
    EXPECT_NEAR(nextLuma(), 128, 1);
}

TEST_F(CameraComposerTest, ShowsAPictureNoSooner) {
    composer.setDemand(stream, jpeg);
    const auto before = std::chrono::steady_clock::now();
    composer.add(*plain(64, 48, 235));
    auto result = results.next();
    while (result && at(*decodeJpeg(*result->picture.jpeg), 0, 10, 10) < 250) {
        EXPECT_LT(result->time, before + 20s);
        result = results.next();
    }
    ASSERT_TRUE(result);
    EXPECT_GE(result->time, before + PictureQueue::delay);
}

TEST_F(CameraComposerTest, ComposesNothingWhileNobodyWatches) {
    for (int i = 0; i < 20; ++i) {
        composer.add(*plain(64, 48));
        std::this_thread::sleep_for(5ms);  // time enough to do what must not be done
    }
    EXPECT_EQ(overlays.countOfPictures(), 0);
    composer.setDemand(stream, jpeg);
    EXPECT_TRUE(results.next());
    composer.setDemand(stream, {});
    std::this_thread::sleep_for(50ms);  // one picture may have been on its way
    const int count = overlays.countOfPictures();
    std::this_thread::sleep_for(250ms);
    EXPECT_EQ(overlays.countOfPictures(), count);
}

TEST_F(CameraComposerTest, MakesOnlyTheStreamsThatAreWatched) {
    composer.setDemand(stream, jpeg);
    composer.setDemand(other, video);
    std::map<int, int> counts;
    while (counts[1] < 2 || counts[2] < 2) {
        const auto result = results.next();
        ASSERT_TRUE(result);
        ++counts[result->stream];
        EXPECT_EQ(result->picture.jpeg != nullptr, result->stream == 1);
        EXPECT_EQ(result->picture.video != nullptr, result->stream == 2);
    }
    EXPECT_LE(counts[1], 3);
}

TEST_F(CameraComposerTest, MakesTheKeyPictureThatWasWantedWhateverIsWantedSince) {
    composer.setDemand(stream, video);
    EXPECT_TRUE(results.next()->picture.video->isKey);
    EXPECT_FALSE(results.next()->picture.video->isKey);
    composer.setDemand(stream, {false, true, true});
    composer.setDemand(stream, {true, true, false});
    auto result = results.next();
    while (result && !result->picture.jpeg) {
        result = results.next();
    }
    EXPECT_TRUE(result->picture.video->isKey);
    EXPECT_FALSE(results.next()->picture.video->isKey);
}

TEST_F(CameraComposerTest, TellsOnceThatPicturesCannotBeShown) {
    const Stream impossible = {3, 1, 70000, 2, 0};
    testing::internal::CaptureStderr();
    composer.setDemand(impossible, jpeg);
    EXPECT_TRUE(waitFor([&] { return overlays.countOfPictures() >= 3; }));
    composer.setDemand(impossible, {});
    composer.setDemand(stream, jpeg);
    EXPECT_TRUE(results.next());
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(isToldOnce(told)) << told;
}

TEST_F(CameraComposerTest, TellsOnceOfAStreamThatFailsBesideOthersThatDoNot) {
    const Stream impossible = {3, 1, 70000, 2, 0};
    testing::internal::CaptureStderr();
    composer.setDemand(impossible, jpeg);
    composer.setDemand(stream, jpeg);
    composer.setDemand({4, 1, 64, 48, 180}, jpeg);
    for (int pictures = 0; pictures < 8; ++pictures) {
        EXPECT_TRUE(results.next());
    }
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(isToldOnce(told)) << told;
}

TEST_F(CameraComposerTest, TellsAgainOfAStreamThatFailsAnew) {
    const Stream impossible = {3, 1, 70000, 2, 0};
    testing::internal::CaptureStderr();
    for (int turn = 0; turn < 2; ++turn) {
        const int before = overlays.countOfPictures();
        composer.setDemand(impossible, jpeg);
        EXPECT_TRUE(waitFor([&] { return overlays.countOfPictures() >= before + 3; }));
        composer.setDemand(impossible, {});
        composer.setDemand(stream, jpeg);
        EXPECT_TRUE(results.next());
        EXPECT_TRUE(results.next());
        composer.setDemand(stream, {});
    }
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(countOf(failureLine, told), 2) << told;
}
