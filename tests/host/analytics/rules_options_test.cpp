#include "analytics/rules_options.h"

#include <gtest/gtest.h>

#include "command/usage_error.h"

namespace {

using Command = RulesOptions::Command;

std::string refusalOf(const std::vector<std::string>& arguments) {
    try {
        RulesOptions::parse(arguments);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "taken";
}

TEST(RulesOptions, HaveDefaults) {
    const RulesOptions options = RulesOptions::parse({"list"});
    EXPECT_EQ(Command::List, options.command);
    EXPECT_EQ(0, options.source);
    EXPECT_FALSE(options.size.has_value());
    EXPECT_EQ(0, options.rotation);
}

TEST(RulesOptions, MayStandBeforeAndBehindTheWords) {
    const RulesOptions options = RulesOptions::parse(
        {"--source", "1", "create", "--width", "640", "-", "--height", "480", "--rotation", "270"});
    EXPECT_EQ(Command::Create, options.command);
    EXPECT_EQ("-", options.file);
    EXPECT_EQ(1, options.source);
    EXPECT_EQ((RulesOptions::Size{640, 480}), options.size);
    EXPECT_EQ(270, options.rotation);
}

TEST(RulesOptions, TakeEachCommand) {
    EXPECT_EQ(Command::Types, RulesOptions::parse({"types"}).command);
    EXPECT_EQ(Command::Options, RulesOptions::parse({"options"}).command);
    EXPECT_EQ("a.xml", RulesOptions::parse({"modify", "a.xml"}).file);
    EXPECT_EQ((std::vector<std::string>{"Door", "-Gate", "--"}),
              RulesOptions::parse({"delete", "Door", "--", "-Gate", "--"}).names);
    EXPECT_EQ(Command::Help, RulesOptions::parse({"--help"}).command);
}

TEST(RulesOptions, RefuseAWrongCommandLineInWords) {
    EXPECT_EQ("give a command", refusalOf({}));
    EXPECT_EQ("give a command", refusalOf({"--source", "1"}));
    EXPECT_EQ("no command \"remove\"", refusalOf({"remove"}));
    EXPECT_EQ("no option --colour", refusalOf({"list", "--colour"}));
    EXPECT_EQ("\"more\" is too much", refusalOf({"list", "more"}));
    EXPECT_EQ("give one file, or - for standard input", refusalOf({"create"}));
    EXPECT_EQ("give one file, or - for standard input", refusalOf({"modify", "a", "b"}));
    EXPECT_EQ("give the names of the rules to delete", refusalOf({"delete"}));
    EXPECT_EQ("--source takes a value", refusalOf({"list", "--source"}));
    EXPECT_EQ("--width and --height go together", refusalOf({"list", "--width", "640"}));
    EXPECT_EQ("--rotation takes 0, 90, 180 or 270", refusalOf({"list", "--rotation", "45"}));
    for (const char* number : {"", "-1", "1x", "65536", "99999999999"}) {
        EXPECT_EQ("--source takes a number from 0 to 65535, not \"" + std::string(number) + "\"",
                  refusalOf({"list", "--source", number}));
    }
    EXPECT_EQ("--width takes a number from 1 to 32767, not \"0\"",
              refusalOf({"list", "--width", "0", "--height", "1"}));
}

}  // namespace
