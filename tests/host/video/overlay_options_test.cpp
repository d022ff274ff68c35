#include "video/overlay_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/usage_error.h"

namespace {

using Command = OverlayOptions::Command;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

std::string refusalOf(const std::vector<std::string>& arguments) {
    try {
        OverlayOptions::parse(arguments);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "taken";
}

TEST(OverlayOptions, TakeATextWithItsPosition) {
    const OverlayOptions options = OverlayOptions::parse({"text", "Gate 3", "top"});
    EXPECT_EQ(Command::Text, options.command);
    EXPECT_EQ("Gate 3", options.content);
    EXPECT_EQ("top", options.position);
    EXPECT_THAT(options.properties, IsEmpty());
}

TEST(OverlayOptions, TakeWordsThatBeginWithADash) {
    const OverlayOptions options = OverlayOptions::parse({"text", "-5 °C", "-1,-0.5"});
    EXPECT_EQ("-5 °C", options.content);
    EXPECT_EQ("-1,-0.5", options.position);
    EXPECT_EQ("--camera", OverlayOptions::parse({"text", "--", "--camera", "top"}).content);
    EXPECT_EQ("-", OverlayOptions::parse({"image", "-", "top"}).content);
}

TEST(OverlayOptions, TakeThePropertiesOfATextAndOfAnImageAnywhere) {
    EXPECT_THAT(
        OverlayOptions::parse({"--camera", "2", "text", "--height", "60", "Gate", "--fixed", "top"})
            .properties,
        ElementsAre(Pair("Camera", "2"), Pair("Height", "60"), Pair("Scalable", "false")));
    const OverlayOptions options =
        OverlayOptions::parse({"image", "logo.png", "0,0", "--width", "200"});
    EXPECT_EQ(Command::Image, options.command);
    EXPECT_EQ("logo.png", options.content);
    EXPECT_THAT(options.properties, ElementsAre(Pair("Width", "200")));
}

TEST(OverlayOptions, TakeIds) {
    const OverlayOptions moved = OverlayOptions::parse({"move", "3", "bottom"});
    EXPECT_EQ(Command::Move, moved.command);
    EXPECT_THAT(moved.ids, ElementsAre(3));
    EXPECT_EQ("bottom", moved.position);
    const OverlayOptions removed = OverlayOptions::parse({"remove", "3", "2147483647"});
    EXPECT_EQ(Command::Remove, removed.command);
    EXPECT_THAT(removed.ids, ElementsAre(3, 2147483647));
    EXPECT_EQ(Command::RemoveStream, OverlayOptions::parse({"stream", "remove", "9"}).command);
    EXPECT_EQ(Command::AddStream, OverlayOptions::parse({"stream", "add", "9"}).command);
    EXPECT_THAT(OverlayOptions::parse({"stream", "add", "9"}).ids, ElementsAre(9));
}

TEST(OverlayOptions, TakeAFaultWithItsTimes) {
    const OverlayOptions one = OverlayOptions::parse({"fault", "getBuffer", "error"});
    EXPECT_EQ(Command::Fault, one.command);
    EXPECT_EQ("getBuffer", one.what);
    EXPECT_EQ("error", one.kind);
    EXPECT_EQ(1U, one.nth);
    EXPECT_EQ(1U, one.count);
    EXPECT_EQ(1000U, one.milliseconds);
    const OverlayOptions all = OverlayOptions::parse(
        {"fault", "CreateOverlay", "late", "--nth", "5", "--count", "0", "--milliseconds", "0"});
    EXPECT_EQ(5U, all.nth);
    EXPECT_EQ(0U, all.count);
    EXPECT_EQ(0U, all.milliseconds);
    EXPECT_EQ(Command::ClearFaults, OverlayOptions::parse({"fault", "clear"}).command);
}

TEST(OverlayOptions, TakeCommandsWithoutMore) {
    EXPECT_EQ(Command::List, OverlayOptions::parse({"list"}).command);
    EXPECT_EQ(Command::Help, OverlayOptions::parse({"--help"}).command);
}

TEST(OverlayOptions, RefuseAWrongCommandLineInWords) {
    EXPECT_EQ("give a command", refusalOf({}));
    EXPECT_EQ("no command \"burn\"", refusalOf({"burn"}));
    EXPECT_EQ("no command \"stream\"", refusalOf({"stream"}));
    EXPECT_EQ("no command \"stream\"", refusalOf({"stream", "move", "1"}));
    EXPECT_EQ("give a text and a position", refusalOf({"text", "Gate"}));
    EXPECT_EQ("give a file and a position", refusalOf({"image"}));
    EXPECT_EQ("give an id and a position", refusalOf({"move", "1"}));
    EXPECT_EQ("give the ids of the overlays to remove", refusalOf({"remove"}));
    EXPECT_EQ("give what fails, and how", refusalOf({"fault", "getBuffer"}));
    EXPECT_EQ("give a stream's id", refusalOf({"stream", "add"}));
    EXPECT_EQ("\"3\" is too much", refusalOf({"text", "Gate", "top", "3"}));
    EXPECT_EQ("\"all\" is too much", refusalOf({"fault", "clear", "all"}));
    EXPECT_EQ("\"more\" is too much", refusalOf({"list", "more"}));
    EXPECT_EQ("no option --colour", refusalOf({"list", "--colour", "red"}));
    EXPECT_EQ("--camera takes a value", refusalOf({"text", "Gate", "top", "--camera"}));
}

TEST(OverlayOptions, RefuseWhatBelongsToAnotherCommand) {
    EXPECT_EQ("--nth does not belong to this command",
              refusalOf({"text", "Gate", "top", "--nth", "1"}));
    EXPECT_EQ("--width does not belong to this command",
              refusalOf({"text", "Gate", "top", "--width", "10"}));
    EXPECT_EQ("--fixed does not belong to this command", refusalOf({"list", "--fixed"}));
    EXPECT_EQ("--camera does not belong to this command",
              refusalOf({"fault", "getBuffer", "error", "--camera", "1"}));
}

TEST(OverlayOptions, RefuseNumbersOutOfTheirBounds) {
    for (const char* number : {"", "-1", "1x", "2147483648", "1.5"}) {
        EXPECT_EQ("ID takes a number from 0 to 2147483647, not \"" + std::string(number) + "\"",
                  refusalOf({"remove", "1", number}));
    }
    EXPECT_EQ("--camera takes a number from 1 to 2147483647, not \"0\"",
              refusalOf({"text", "Gate", "top", "--camera", "0"}));
    EXPECT_EQ("--height takes a number from 1 to 32767, not \"32768\"",
              refusalOf({"text", "Gate", "top", "--height", "32768"}));
    EXPECT_EQ("--nth takes a number from 1 to 2147483647, not \"0\"",
              refusalOf({"fault", "getBuffer", "error", "--nth", "0"}));
    EXPECT_EQ("--count takes a number from 0 to 2147483647, not \"-1\"",
              refusalOf({"fault", "getBuffer", "error", "--count", "-1"}));
}

TEST(OverlayOptions, RefuseWhatTheBusCannotCarry) {
    EXPECT_EQ("the text is not UTF-8 text", refusalOf({"text", "T\xfcr", "top"}));
    EXPECT_EQ("the position is not UTF-8 text", refusalOf({"move", "1", "\xff"}));
    EXPECT_EQ("what fails is not UTF-8 text", refusalOf({"fault", "\xff", "error"}));
}

}  // namespace
