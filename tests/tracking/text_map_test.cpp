#include "tracking/text_map.h"

using testing::ElementsAre;
using testing::Pair;

TEST(TextMap, FindsWhatWasSet) {
    TextMap<int> map;
    map.set("b", 2);
    map.set("a", 1);
    ASSERT_NE(map.find("a"), nullptr);
    EXPECT_EQ(*map.find("a"), 1);
    EXPECT_EQ(*map.find("b"), 2);
    EXPECT_EQ(map.find(""), nullptr);
    EXPECT_EQ(map.find("ab"), nullptr);
}

TEST(TextMap, SetsOverAnEarlierValue) {
    TextMap<int> map;
    map.set("a", 1);
    map.set("a", 2);
    EXPECT_THAT(map, ElementsAre(Pair("a", 2)));
}

TEST(TextMap, GoesInTheOrderOfTheTexts) {
    TextMap<int> map;
    for (const char* key : {"swaying_filter_2", "area_guard_10", "swaying_filter_1", "area_guard_2",
                            "\xC3\xA4", ""}) {
        map.set(key, 0);
    }
    EXPECT_THAT(map, ElementsAre(Pair("", 0), Pair("area_guard_10", 0), Pair("area_guard_2", 0),
                                 Pair("swaying_filter_1", 0), Pair("swaying_filter_2", 0),
                                 Pair("\xC3\xA4", 0)));
    EXPECT_EQ(map.size(), 6U);
    EXPECT_FALSE(map.empty());
}
