#include "engine/packet_stream.h"

#include <gmock/gmock.h>

using PacketStream::Head;
using PacketStream::Kind;
using PacketStream::Parser;
using PacketStream::Record;

namespace {

std::string packet(std::int64_t time, const std::string& data) {
    Head head;
    head.kind = Kind::Packet;
    head.time = time;
    return PacketStream::format(head, data);
}

std::vector<std::int64_t> timesOf(Parser& parser) {
    std::vector<std::int64_t> times;
    for (Record record; parser.next(record);) {
        times.push_back(record.head.time);
    }
    return times;
}

}  // namespace

TEST(PacketStream, BringsRecordsBack) {
    Head head;
    head.session = 7;
    head.codec = 27;
    head.width = 1920;
    Parser parser;
    parser.add(PacketStream::format(head, "codec data") + packet(5, "") + packet(6, "xyz"));
    Record record;
    ASSERT_TRUE(parser.next(record));
    EXPECT_EQ(record.head.kind, Kind::Stream);
    EXPECT_EQ(record.head.session, 7u);
    EXPECT_EQ(record.head.codec, 27u);
    EXPECT_EQ(record.head.width, 1920);
    EXPECT_EQ(record.data, "codec data");
    ASSERT_TRUE(parser.next(record));
    EXPECT_EQ(record.head.kind, Kind::Packet);
    EXPECT_EQ(record.data, "");
    ASSERT_TRUE(parser.next(record));
    EXPECT_EQ(record.head.time, 6);
    EXPECT_EQ(record.data, "xyz");
    EXPECT_FALSE(parser.next(record));
}

TEST(PacketStream, WaitsForARecordInPieces) {
    Parser parser;
    std::vector<std::int64_t> times;
    for (const char byte : packet(5, "abc") + packet(6, "def")) {
        parser.add({&byte, 1});
        for (const std::int64_t time : timesOf(parser)) {
            times.push_back(time);
        }
    }
    EXPECT_THAT(times, testing::ElementsAre(5, 6));
}

TEST(PacketStream, CanBeJoinedAnywhere) {
    const std::string stream = packet(5, std::string(100, 'a')) + packet(6, "b");
    for (std::size_t skipped = 1; skipped < 164; ++skipped) {
        Parser parser;
        parser.add(stream.substr(skipped));
        EXPECT_THAT(timesOf(parser), testing::ElementsAre(6)) << skipped;
    }
}

TEST(PacketStream, IsNotMisledByItsOwnMagicOrADamagedHead) {
    std::string damaged = packet(5, "TPK1TPK1TPK1" + std::string(100, '\0'));
    damaged[30] = static_cast<char>(damaged[30] ^ 1);
    Parser parser;
    parser.add("TPK1 nothing" + damaged + packet(6, "b"));
    EXPECT_THAT(timesOf(parser), testing::ElementsAre(6));
}

TEST(PacketStream, RefusesAHugeRecord) {
    Head head;
    head.kind = Kind::Packet;
    head.time = 5;
    std::string huge = PacketStream::format(head, std::string(PacketStream::mostBytes + 1, 'x'));
    Parser parser;
    parser.add(huge + packet(6, "b"));
    EXPECT_THAT(timesOf(parser), testing::ElementsAre(6));
}
