// Pictures in, scenes out.

#include "engine/scene_analyser.h"

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <opencv2/imgproc.hpp>
#include <set>

#include "engine/live_ids.h"
#include "engine/outline.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int width = 384;
constexpr int height = 288;
constexpr double rate = 10;

/// Ground with texture, the same in every picture but for a little noise.
class Stage {
public:
    Stage() : ground(height, width, CV_8UC3), random(7) {
        random.fill(ground, cv::RNG::UNIFORM, 60, 180);
        cv::GaussianBlur(ground, ground, {5, 5}, 0);
    }

    cv::Mat picture(const std::function<void(cv::Mat&)>& draw) {
        cv::Mat noise(ground.size(), CV_16SC3);
        random.fill(noise, cv::RNG::NORMAL, 0, 2);
        cv::Mat scene = ground.clone();
        draw(scene);
        cv::Mat wide;
        scene.convertTo(wide, CV_16SC3);
        wide += noise;
        wide.convertTo(scene, CV_8UC3);
        return scene;
    }

    cv::Mat ground;

private:
    cv::RNG random;
};

void drawBox(cv::Mat& picture, double x, double y, int boxWidth, int boxHeight,
             const cv::Scalar& colour = {20, 20, 230}) {
    cv::rectangle(picture, cv::Rect(cvRound(x), cvRound(y), boxWidth, boxHeight), colour,
                  cv::FILLED);
}

/// Plays drawn pictures and keeps the scenes.
class SceneAnalyserTest : public testing::Test {
protected:
    void SetUp() override { cv::setNumThreads(1); }

    /// Shows so many seconds; `draw` is told the seconds since the start of all.
    void play(double seconds, const std::function<void(cv::Mat&, double)>& draw) {
        const int count = cvRound(seconds * rate);
        for (int i = 0; i < count; ++i, ++shown) {
            const double t = shown / rate;
            scenes.push_back(analyser.analyse(
                stage.picture([&](cv::Mat& picture) { draw(picture, t); }), timeOf(shown)));
            check(scenes.back());
        }
    }

    void playNothing(double seconds) {
        play(seconds, [](cv::Mat&, double) {});
    }

    static std::int64_t timeOf(int picture) {
        return 5'000'000'000 + static_cast<std::int64_t>(picture / rate * 1e9);
    }

    /// Whatever is shown: nothing vanishes without an event, nothing comes back, outlines are good.
    void check(const SceneRecord& scene) {
        std::set<std::int32_t> present;
        for (const SceneObjectRecord& object : scene.objects) {
            EXPECT_GE(object.id, 1);
            EXPECT_TRUE(present.insert(object.id).second) << "twice: " << object.id;
            EXPECT_FALSE(gone.contains(object.id)) << "came back: " << object.id;
            EXPECT_TRUE(Outline::isSimple(object.polygon.value()));
            EXPECT_LE(object.polygon->size(), 20u);
            EXPECT_TRUE(object.boundingBox && object.velocity && object.confidence);
            EXPECT_LE(*object.confidence, 4096);
        }
        for (const SceneEventRecord& event : scene.events) {
            if (event.action == SCENE_ACTION_SPLIT) {
                EXPECT_THAT(event.relatedIds, testing::Contains(event.ids[0]));
                EXPECT_TRUE(live.contains(event.ids[0]));
                continue;
            }
            for (const std::int32_t id :
                 event.action == SCENE_ACTION_DELETE ? event.ids : event.relatedIds) {
                EXPECT_TRUE(live.contains(id)) << "ended, but never lived: " << id;
                gone.insert(id);
                live.erase(id);
            }
        }
        for (const std::int32_t id : live) {
            EXPECT_TRUE(present.contains(id)) << "vanished: " << id;
        }
        live = present;
    }

    std::set<std::int32_t> allIds() const {
        std::set<std::int32_t> ids;
        for (const SceneRecord& scene : scenes) {
            for (const SceneObjectRecord& object : scene.objects) {
                ids.insert(object.id);
            }
        }
        return ids;
    }

    std::vector<SceneEventRecord> events(scene_event_action_e action) const {
        std::vector<SceneEventRecord> found;
        for (const SceneRecord& scene : scenes) {
            std::copy_if(scene.events.begin(), scene.events.end(), std::back_inserter(found),
                         [&](const SceneEventRecord& event) { return event.action == action; });
        }
        return found;
    }

    Stage stage;
    SceneAnalyser analyser;
    std::vector<SceneRecord> scenes;
    int shown = 0;
    std::set<std::int32_t> live;
    std::set<std::int32_t> gone;
};

constexpr double begin = 4;  // seconds; the background is known by then

}  // namespace

TEST_F(SceneAnalyserTest, StampsEveryPictureAndSeesNothingInAnEmptyView) {
    playNothing(6);
    ASSERT_EQ(scenes.size(), 60u);
    for (std::size_t i = 0; i < scenes.size(); ++i) {
        EXPECT_EQ(sceneTime(scenes[i]), timeOf(static_cast<int>(i)));
        EXPECT_THAT(scenes[i].objects, IsEmpty());
        EXPECT_THAT(scenes[i].events, IsEmpty());
    }
}

TEST_F(SceneAnalyserTest, FollowsAMovingBoxAsOneObject) {
    playNothing(begin);
    play(6,
         [](cv::Mat& picture, double t) { drawBox(picture, 30 + (t - begin) * 40, 120, 30, 50); });
    playNothing(3);
    EXPECT_THAT(allIds(), ElementsAre(1));
    const auto deletes = events(SCENE_ACTION_DELETE);
    ASSERT_EQ(deletes.size(), 1u);
    EXPECT_THAT(deletes[0].ids, ElementsAre(1));
    EXPECT_THAT(events(SCENE_ACTION_SPLIT), IsEmpty());
    EXPECT_THAT(scenes.back().objects, IsEmpty());
}

TEST_F(SceneAnalyserTest, TellsPlaceSizeAndSpeed) {
    playNothing(begin);
    play(5, [](cv::Mat& picture, double t) {
        drawBox(picture, 30 + (t - begin) * 40, 200 - (t - begin) * 20, 30, 50);
    });
    ASSERT_EQ(scenes.back().objects.size(), 1u);
    const SceneObjectRecord& object = scenes.back().objects[0];
    const double x = 30 + 4.9 * 40;
    const double y = 200 - 4.9 * 20;
    const auto& box = *object.boundingBox;
    constexpr double unit = 8192.0 / width;
    EXPECT_NEAR(box[0].x, x * unit - 4096, 3 * unit);
    EXPECT_NEAR(box[2].x, (x + 30) * unit - 4096, 3 * unit);
    EXPECT_NEAR(box[2].y, 4096 - y * 8192 / height, 3 * unit);
    EXPECT_NEAR(box[0].y, 4096 - (y + 50) * 8192 / height, 3 * unit);
    EXPECT_NEAR(object.velocity->x, 40 * unit, 60);
    EXPECT_NEAR(object.velocity->y, 20.0 * 8192 / height, 60);
}

TEST_F(SceneAnalyserTest, TellsFullConfidenceOnlyOfWhatItMeasures) {
    playNothing(begin);
    play(3,
         [](cv::Mat& picture, double t) { drawBox(picture, 60 + (t - begin) * 40, 120, 30, 50); });
    ASSERT_EQ(scenes.back().objects.size(), 1u);
    EXPECT_EQ(scenes.back().objects[0].confidence, 4096);
    playNothing(0.5);
    ASSERT_EQ(scenes.back().objects.size(), 1u);  // believed to go on
    EXPECT_LT(*scenes.back().objects[0].confidence, 4096);
    EXPECT_THAT(events(SCENE_ACTION_DELETE), IsEmpty());
    playNothing(1);
    EXPECT_THAT(scenes.back().objects, IsEmpty());
    EXPECT_EQ(events(SCENE_ACTION_DELETE).size(), 1u);
}

TEST_F(SceneAnalyserTest, ConfirmsAnObjectOnceItWasSeenLongEnough) {
    playNothing(begin);
    play(0.4,
         [](cv::Mat& picture, double t) { drawBox(picture, 60 + (t - begin) * 40, 120, 30, 50); });
    EXPECT_THAT(scenes.back().objects, IsEmpty());  // seen for 0.3 s
    play(0.1,
         [](cv::Mat& picture, double t) { drawBox(picture, 60 + (t - begin) * 40, 120, 30, 50); });
    EXPECT_EQ(scenes.back().objects.size(), 1u);
}

TEST_F(SceneAnalyserTest, MergesAndSplitsTwoThatCross) {
    playNothing(begin);
    const auto cross = [](cv::Mat& picture, double t) {
        const double way = std::clamp((t - begin) * 40, 0.0, 1e9);
        const double pause =
            std::clamp(t - begin - 2.8, 0.0, 2.0) * 40;  // side by side for two seconds
        drawBox(picture, 40 + way - pause, 120, 30, 60, {20, 20, 230});
        drawBox(picture, 290 - way + pause, 125, 30, 60, {230, 20, 20});
    };
    play(8.5, cross);
    const auto merges = events(SCENE_ACTION_MERGE);
    const auto splits = events(SCENE_ACTION_SPLIT);
    ASSERT_EQ(merges.size(), 1u);
    EXPECT_EQ(merges[0].ids.size(), 1u);
    EXPECT_EQ(merges[0].relatedIds.size(), 1u);
    ASSERT_EQ(splits.size(), 1u);
    EXPECT_THAT(splits[0].ids, ElementsAre(merges[0].ids[0]));
    EXPECT_THAT(splits[0].relatedIds, ElementsAre(merges[0].ids[0], 3));
    EXPECT_EQ(scenes.back().objects.size(), 2u);
    EXPECT_THAT(allIds(), ElementsAre(1, 2, 3));
}

TEST_F(SceneAnalyserTest, HoldsAnObjectThatStandsStill) {
    playNothing(begin);
    play(14, [](cv::Mat& picture, double t) {
        drawBox(picture, 30 + std::min(t - begin, 4.0) * 40, 120, 30, 50);
    });
    EXPECT_THAT(allIds(), ElementsAre(1));
    EXPECT_EQ(scenes.back().objects.size(), 1u);
}

TEST_F(SceneAnalyserTest, IsSilentAboutWhatSwaysInItsPlace) {
    play(30, [](cv::Mat& picture, double t) {
        // A twig, here or there in turn.
        drawBox(picture, 200 + 8 * (cvRound(t * rate) / 2 % 2), 100, 14, 16, {20, 230, 20});
    });
    EXPECT_THAT(allIds(), IsEmpty());
}

TEST_F(SceneAnalyserTest, TakesAChangeOfBrightnessForLight) {
    playNothing(begin);
    play(4, [](cv::Mat& picture, double t) {
        picture.convertTo(picture, -1, 1 + 0.1 * std::min(t - begin, 3.0));
    });
    playNothing(2);
    EXPECT_THAT(allIds(), IsEmpty());
}

TEST_F(SceneAnalyserTest, TakesASwitchedLampForLight) {
    playNothing(begin);
    play(4, [](cv::Mat& picture, double) { picture.convertTo(picture, -1, 0.35); });
    EXPECT_THAT(allIds(), IsEmpty());
}

TEST_F(SceneAnalyserTest, TakesAShadowOnTexturedGroundForLight) {
    playNothing(begin);
    play(4, [](cv::Mat& picture, double t) {
        cv::Mat shaded = picture(cv::Rect(cvRound(20 + (t - begin) * 50), 60, 90, 120));
        shaded.convertTo(shaded, -1, 0.7);
    });
    EXPECT_THAT(allIds(), IsEmpty());
}

TEST_F(SceneAnalyserTest, SeesNothingWhileItWarmsUp) {
    play(2.4, [](cv::Mat& picture, double t) { drawBox(picture, 30 + t * 60, 120, 30, 50); });
    EXPECT_THAT(allIds(), IsEmpty());
}

TEST_F(SceneAnalyserTest, DeletesAtAnInterruptionAndStartsAnewWithHigherIds) {
    playNothing(begin);
    const auto walk = [](cv::Mat& picture, double t) {
        drawBox(picture, 60 + std::fmod(t - begin, 3) * 40, 120, 30, 50);
    };
    play(3, walk);
    analyser.interrupt();
    play(0.1, walk);
    ASSERT_EQ(scenes.back().events.size(), 1u);
    EXPECT_EQ(scenes.back().events[0].action, SCENE_ACTION_DELETE);
    EXPECT_THAT(scenes.back().events[0].ids, ElementsAre(1));
    EXPECT_THAT(scenes.back().objects, IsEmpty());
    play(2, walk);  // no new warm-up: the view is the same
    EXPECT_THAT(allIds(), ElementsAre(1, 2));
}

TEST_F(SceneAnalyserTest, DeletesInAnEmptySceneOnce) {
    playNothing(begin);
    play(3,
         [](cv::Mat& picture, double t) { drawBox(picture, 60 + (t - begin) * 40, 120, 30, 50); });
    analyser.interrupt();
    const SceneRecord first = analyser.emptyScene(timeOf(shown));
    EXPECT_EQ(sceneTime(first), timeOf(shown));
    ASSERT_EQ(first.events.size(), 1u);
    EXPECT_THAT(first.events[0].ids, ElementsAre(1));
    EXPECT_THAT(analyser.emptyScene(timeOf(shown + 1)).events, IsEmpty());
}

TEST_F(SceneAnalyserTest, StartsAnewWithPicturesOfAnotherSize) {
    playNothing(begin);
    play(3,
         [](cv::Mat& picture, double t) { drawBox(picture, 60 + (t - begin) * 40, 120, 30, 50); });
    const cv::Mat other(200, 300, CV_8UC3, cv::Scalar(90, 90, 90));
    for (int i = 0; i < 40; ++i) {
        check(analyser.analyse(other, timeOf(shown + i)));
    }
    EXPECT_THAT(gone, ElementsAre(1));
}

TEST_F(SceneAnalyserTest, SurvivesPicturesOfNoise) {
    cv::RNG random(1);
    for (int i = 0; i < 60; ++i) {
        cv::Mat noise(height, width, CV_8UC3);
        random.fill(noise, cv::RNG::UNIFORM, 0, 255);
        check(analyser.analyse(noise, timeOf(i)));
    }
}

TEST_F(SceneAnalyserTest, SurvivesACrowdThatComesAndGoes) {
    playNothing(begin);
    cv::RNG random(3);
    play(12, [&](cv::Mat& picture, double) {
        for (int i = random.uniform(0, 60); i > 0; --i) {
            drawBox(picture, random.uniform(-20, width), random.uniform(-20, height), 16, 20);
        }
    });
}

TEST_F(SceneAnalyserTest, SurvivesTheSmallestPictures) {
    for (int i = 0; i < 60; ++i) {
        const cv::Mat small(16, 16, CV_8UC3, cv::Scalar::all(i % 2 == 0 ? 30 : 200));
        check(analyser.analyse(small, timeOf(i)));
    }
}
