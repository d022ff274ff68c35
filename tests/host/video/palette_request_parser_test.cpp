#include "video/palette_request_parser.h"

#include <gtest/gtest.h>

#include "video/bus_error.h"
#include "video/listed_streams.h"
#include "video/stream_table.h"

namespace {

using PaletteRequestParser::Properties;

class PaletteRequestParserTest : public testing::Test {
protected:
    PaletteRequest parse() const {
        return PaletteRequestParser::parse(properties, streams, ":1.7");
    }
    std::string refusal() const {
        try {
            parse();
            return "taken";
        } catch (const BusError& error) {
            return std::string(error.name()).substr(20) + ": " + error.what();
        }
    }
    std::string refusalWith(const std::string& name, const std::string& value) {
        const std::string before = properties[name];
        properties[name] = value;
        const std::string answer = refusal();
        properties[name] = before;
        return answer;
    }

    const StreamTable table{{{1280, 720}, {720, 1280}}};
    ListedStreams streams{table};
    Properties properties = {{"Size", "1280x688"}, {"Position", "-1.0000,-0.9111"},
                             {"Visible", "false"}, {"OverlayFormat", "palette"},
                             {"Stream", "1"},      {"Camera", "1"}};
};

TEST_F(PaletteRequestParserTest, ReadsWhatApplicationsSend) {
    const PaletteRequest request = parse();
    EXPECT_EQ(request.stream, (Stream{1, 1, 1280, 720, 0}));
    EXPECT_EQ(request.width, 1280);
    EXPECT_EQ(request.height, 688);
    EXPECT_EQ(request.position.x, -1.0);
    EXPECT_EQ(request.position.y, -0.9111);
    EXPECT_EQ(request.positionText, "-1.0000,-0.9111");
    EXPECT_FALSE(request.isVisible);
    EXPECT_EQ(request.owner, ":1.7");
}

TEST_F(PaletteRequestParserTest, TakesVisibleAsAnOption) {
    properties["Visible"] = "true";
    EXPECT_TRUE(parse().isVisible);
    properties.erase("Visible");
    EXPECT_FALSE(parse().isVisible);
    EXPECT_EQ(refusalWith("Visible", "yes"), "BadInput: Visible is true or false, not \"yes\"");
}

TEST_F(PaletteRequestParserTest, NeedsAllOthers) {
    for (const char* name : {"Size", "Position", "OverlayFormat", "Stream", "Camera"}) {
        const auto taken = properties.extract(name);
        EXPECT_EQ(refusal(), std::string("BadInput: the property ") + name + " is missing");
        properties[name] = taken.mapped();
    }
    EXPECT_EQ(refusal(), "taken");
}

TEST_F(PaletteRequestParserTest, KnowsNoFurtherProperties) {
    properties["Colour"] = "red";
    EXPECT_EQ(refusal(), "BadInput: there is no property \"Colour\"");
}

TEST_F(PaletteRequestParserTest, KnowsNoOtherFormat) {
    EXPECT_EQ(refusalWith("OverlayFormat", "argb"),
              "BadInput: there is no format \"argb\", only palette");
}

TEST_F(PaletteRequestParserTest, NeedsAListedStreamOfTheCamera) {
    for (const char* stream : {"", "0", "-1", "99", "1x", "99999999999"}) {
        EXPECT_EQ(refusalWith("Stream", stream),
                  std::string("NotFound: there is no stream \"") + stream + "\"");
    }
    EXPECT_EQ(refusalWith("Camera", "2"), "BadInput: stream 1 is of camera 1");
    EXPECT_EQ(refusalWith("Camera", "01"), "BadInput: stream 1 is of camera 1");
    streams.remove(1);
    EXPECT_EQ(refusal(), "NotFound: there is no stream \"1\"");
}

TEST_F(PaletteRequestParserTest, RefusesSizesThatCannotBe) {
    for (const char* size : {"", "x", "1280", "1280x", "x688", "1280x-1", "0x688", "1280x688x2",
                             "1280 x688", "99999999999x2"}) {
        EXPECT_EQ(refusalWith("Size", size),
                  std::string("BadInput: the size \"") + size + "\" is no WIDTHxHEIGHT");
    }
    EXPECT_EQ(refusalWith("Size", "1282x688"),
              "BadInput: the size 1282x688 is more than the stream's");
    EXPECT_EQ(refusalWith("Size", "16x1281"),
              "BadInput: the size 16x1281 is more than the stream's");
    EXPECT_EQ(refusalWith("Size", "15x16"), "BadInput: the width 15 is odd");
}

TEST_F(PaletteRequestParserTest, TakesTheHeightBeforeTurningOnATurnedStream) {
    properties["Camera"] = "2";
    properties["Stream"] = std::to_string(table.findNative(2, 90)->id);
    properties["Size"] = "1280x1280";
    EXPECT_EQ(parse().height, 1280);
}

TEST_F(PaletteRequestParserTest, RefusesPositionsThatCannotBe) {
    EXPECT_EQ(refusalWith("Position", "top"),
              "BadInput: the position \"top\" is no X,Y from -1 to 1");
    EXPECT_EQ(refusalWith("Position", "0,-1.2"),
              "BadInput: the position \"0,-1.2\" is no X,Y from -1 to 1");
}

}  // namespace
