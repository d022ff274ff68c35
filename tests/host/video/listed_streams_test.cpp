#include "video/listed_streams.h"

#include <gtest/gtest.h>

#include "video/stream_table.h"

namespace {

class ListedStreamsTest : public testing::Test {
protected:
    std::vector<int> ids() const {
        std::vector<int> all;
        for (const Stream& stream : streams.getAll()) {
            all.push_back(stream.id);
        }
        return all;
    }

    const StreamTable table{{{1366, 768}}};
    ListedStreams streams{table};
};

TEST_F(ListedStreamsTest, AreThoseOfTheTable) {
    EXPECT_EQ(streams.getAll(), table.getStreams());
    EXPECT_EQ(streams.find(2), table.find(2));
    EXPECT_EQ(streams.find(5), std::nullopt);
}

TEST_F(ListedStreamsTest, CanBeTakenAwayAndPutBack) {
    EXPECT_TRUE(streams.remove(2));
    EXPECT_FALSE(streams.remove(2));
    EXPECT_EQ(streams.find(2), std::nullopt);
    EXPECT_EQ(ids(), (std::vector<int>{1, 3, 4}));
    EXPECT_TRUE(streams.add(2));
    EXPECT_FALSE(streams.add(2));
    EXPECT_EQ(ids(), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(ListedStreamsTest, AreNeverOthers) {
    EXPECT_FALSE(streams.remove(5));
    EXPECT_FALSE(streams.add(5));
    EXPECT_FALSE(streams.add(1));
}

}  // namespace
