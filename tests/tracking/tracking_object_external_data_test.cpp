#include "tracking/tracking_object_external_data.h"

#include <memory>

#include "support/syslog_capture.h"
#include "tracking/perspective_filter_external_data.h"
#include "tracking/tracking_object_external_data_no_merge.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

SyslogCapture::Line missing(const std::string& key) {
    return {LOG_ERR, "Could not find stored data for key " + key + "\n"};
}

// One value of each kind.
template <typename Data>
Data filled() {
    Data data;
    data.insert("flag", true);
    data.insert("number", 7);
    data.insert("place", Point{1, 2});
    data.insert("time", std::int64_t{9'000'000'000});
    return data;
}

void expectFilled(const TrackingObjectExternalData& data) {
    EXPECT_TRUE(data.getBool("flag"));
    EXPECT_EQ(data.getInt("number"), 7);
    EXPECT_EQ(data.getPoint("place"), (Point{1, 2}));
    EXPECT_EQ(data.getTimeVal("time", 0), 9'000'000'000);
}

PerspectiveFilterExternalData sizes(int height, int width) {
    PerspectiveFilterExternalData data;
    data.insert("maxRealWorldHeight", height);
    data.insert("maxRealWorldWidth", width);
    return data;
}

}  // namespace

TEST(TrackingObjectExternalData, KeepsValuesOfFourKinds) {
    expectFilled(filled<TrackingObjectExternalDataNoMerge>());
}

TEST(TrackingObjectExternalData, KeepsTheKindsApartUnderOneKey) {
    TrackingObjectExternalDataNoMerge data;
    data.insert("key", true);
    data.insert("key", 5);
    data.insert("key", Point{6, 7});
    data.insert("key", std::int64_t{8});
    EXPECT_TRUE(data.getBool("key"));
    EXPECT_EQ(data.getInt("key"), 5);
    EXPECT_EQ(data.getPoint("key"), (Point{6, 7}));
    EXPECT_EQ(data.getTimeVal("key", 0), 8);
}

TEST(TrackingObjectExternalData, StoresOverAnEarlierValue) {
    auto data = filled<TrackingObjectExternalDataNoMerge>();
    data.insert("flag", false);
    data.insert("number", -1);
    data.insert("place", Point{3, 4});
    data.insert("time", std::int64_t{1});
    EXPECT_FALSE(data.getBool("flag"));
    EXPECT_EQ(data.getInt("number"), -1);
    EXPECT_EQ(data.getPoint("place"), (Point{3, 4}));
    EXPECT_EQ(data.getTimeVal("time", 0), 1);
}

TEST(TrackingObjectExternalData, LogsMissingValuesAsErrorsAndGivesZeros) {
    const SyslogCapture log;
    const TrackingObjectExternalDataNoMerge data;
    EXPECT_FALSE(data.getBool("a"));
    EXPECT_EQ(data.getInt("b"), 0);
    EXPECT_EQ(data.getPoint("c"), (Point{0, 0}));
    EXPECT_THAT(log.lines(), ElementsAre(missing("a"), missing("b"), missing("c")));
}

TEST(TrackingObjectExternalData, GivesTheFallbackForAMissingTimeSilently) {
    const SyslogCapture log;
    const TrackingObjectExternalDataNoMerge data;
    EXPECT_EQ(data.getTimeVal("a", -5), -5);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TrackingObjectExternalDataNoMerge, ClonesAllValues) {
    const auto data = filled<TrackingObjectExternalDataNoMerge>();
    const std::unique_ptr<TrackingObjectExternalData> clone(data.clone());
    expectFilled(*clone);
    EXPECT_NE(dynamic_cast<TrackingObjectExternalDataNoMerge*>(clone.get()), nullptr);
}

TEST(TrackingObjectExternalDataNoMerge, TakesNothingInFromAMerge) {
    const SyslogCapture log;
    TrackingObjectExternalDataNoMerge data;
    data.insert("number", 1);
    data.merge(filled<TrackingObjectExternalDataNoMerge>());
    EXPECT_EQ(data.getInt("number"), 1);
    EXPECT_FALSE(data.getBool("flag"));
    EXPECT_THAT(log.lines(), ElementsAre(missing("flag")));
}

TEST(PerspectiveFilterExternalData, ClonesAllValues) {
    const auto data = filled<PerspectiveFilterExternalData>();
    const std::unique_ptr<TrackingObjectExternalData> clone(data.clone());
    expectFilled(*clone);
    EXPECT_NE(dynamic_cast<PerspectiveFilterExternalData*>(clone.get()), nullptr);
}

TEST(PerspectiveFilterExternalData, MergesIntoTheGreaterOfEachSize) {
    PerspectiveFilterExternalData data = sizes(10, 200);
    data.merge(sizes(20, 100));
    EXPECT_EQ(data.getInt("maxRealWorldHeight"), 20);
    EXPECT_EQ(data.getInt("maxRealWorldWidth"), 200);
}

TEST(PerspectiveFilterExternalData, MergesNothingElse) {
    PerspectiveFilterExternalData data = sizes(1, 1);
    PerspectiveFilterExternalData other = sizes(2, 2);
    data.insert("number", 1);
    other.insert("number", 5);
    data.merge(other);
    EXPECT_EQ(data.getInt("number"), 1);
}

TEST(PerspectiveFilterExternalData, TakesAMissingSizeInAMergeAsZeroWithAWord) {
    const SyslogCapture log;
    PerspectiveFilterExternalData data;
    data.merge(sizes(20, 100));
    EXPECT_EQ(data.getInt("maxRealWorldHeight"), 20);
    EXPECT_EQ(data.getInt("maxRealWorldWidth"), 100);
    EXPECT_THAT(log.lines(),
                ElementsAre(missing("maxRealWorldHeight"), missing("maxRealWorldWidth")));
}
