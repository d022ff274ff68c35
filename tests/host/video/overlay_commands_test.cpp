#include "video/overlay_commands.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "video/overlay_store.h"

namespace {

std::string request(const std::string& method, const std::string& parameters,
                    const std::string& context = "") {
    return R"({"apiVersion": "1.0", "method": ")" + method + R"(", "context": ")" + context +
           R"(", "params": {)" + parameters + "}}";
}

std::string errorOf(const std::string& message) {
    return R"({"apiVersion":"1.0","error":{"code":1,"message":")" + message + "\"}}";
}

class OverlayCommandsTest : public testing::Test {
protected:
    std::string execute(const std::string& text) {
        return commands.execute(OverlayCommand::parse(text));
    }
    std::string getBuffer() {
        return execute(request("getBuffer", R"("overlayId": )" + std::to_string(id)));
    }
    std::string submitBuffer(int buffer) {
        return execute(request("submitBuffer", R"("overlayId": )" + std::to_string(id) +
                                                   R"(, "buffer": )" + std::to_string(buffer)));
    }
    static std::string refusalOf(const std::string& text) {
        try {
            OverlayCommand::parse(text);
            return "taken";
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    }

    OverlayStore store;
    std::string user = ":1.7";
    const OverlayCommands commands{store,
                                   [this](const std::string& owner) { return owner == user; }};
    const PaletteRequest palette{{1, 1, 1280, 720, 0}, 32, 16, {-1, -1}, "-1,-1", true, ":1.7"};
    const int id = store.addPalette(palette);
};

TEST_F(OverlayCommandsTest, HandOutAndTakeBackBuffers) {
    EXPECT_EQ(getBuffer(),
              R"({"apiVersion":"1.0","method":"getBuffer","context":"","data":{"buffer":0}})");
    EXPECT_EQ(submitBuffer(0), R"({"apiVersion":"1.0","method":"submitBuffer","context":""})");
    EXPECT_EQ(getBuffer(),
              R"({"apiVersion":"1.0","method":"getBuffer","context":"","data":{"buffer":4096}})");
    EXPECT_EQ(store.getSnapshot(palette.stream).bands.size(), 1U);
}

TEST_F(OverlayCommandsTest, RefuseABufferThatIsNotHandedOut) {
    EXPECT_EQ(submitBuffer(0), errorOf("the buffer is not handed out"));
    getBuffer();
    EXPECT_EQ(submitBuffer(4096), errorOf("the buffer is not handed out"));
    EXPECT_EQ(submitBuffer(0).find("error"), std::string::npos);
    EXPECT_EQ(submitBuffer(0), errorOf("the buffer is not handed out"));
}

TEST_F(OverlayCommandsTest, KnowNoOtherOverlays) {
    EXPECT_EQ(execute(request("getBuffer", R"("overlayId": 99)")), errorOf("no such overlay"));
    UserOverlay text;
    text.id = 5;
    store.putUser(text);
    EXPECT_EQ(execute(request("getBuffer", R"("overlayId": 5)")), errorOf("no such overlay"));
}

TEST_F(OverlayCommandsTest, KeepOverlaysOfOthersFromAClient) {
    user = ":1.8";
    EXPECT_EQ(getBuffer(), errorOf("the overlay is somebody else's"));
    EXPECT_EQ(submitBuffer(0), errorOf("the overlay is somebody else's"));
}

TEST_F(OverlayCommandsTest, SayWhenMemoryIsShort) {
    PaletteRequest large = palette;
    large.width = large.height = 8192;
    std::string answer;
    for (int overlay = 0; overlay < 5; ++overlay) {
        const int one = store.addPalette(large);
        answer = execute(request("getBuffer", R"("overlayId": )" + std::to_string(one)));
    }
    EXPECT_EQ(answer, errorOf("no memory is left for buffers"));
}

TEST_F(OverlayCommandsTest, GiveTheContextBackWithinTheLengthOfAReply) {
    EXPECT_EQ(
        execute(request("getBuffer", R"("overlayId": 1)", "frame 7")),
        R"({"apiVersion":"1.0","method":"getBuffer","context":"frame 7","data":{"buffer":0}})");
    // Each of these takes six bytes when it is printed.
    std::string longest;
    for (int character = 0; character < 64; ++character) {
        longest += "\\u0001";
    }
    const std::string answer = execute(request("getBuffer", R"("overlayId": 1)", longest));
    EXPECT_NE(answer.find("data"), std::string::npos);
    EXPECT_LT(answer.size(), static_cast<std::size_t>(OverlayCommands::kMostReplyBytes));
    EXPECT_EQ(refusalOf(request("getBuffer", R"("overlayId": 1)", longest + "a")),
              "the context is too long");
}

TEST(OverlayCommand, IsRefusedWithAReason) {
    const auto refusalOf = [](const std::string& text) -> std::string {
        try {
            OverlayCommand::parse(text);
            return "taken";
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    };
    EXPECT_EQ(refusalOf(""), "no JSON");
    EXPECT_EQ(refusalOf("getBuffer"), "no JSON");
    EXPECT_EQ(refusalOf(request("getBuffer", R"("overlayId": 1)") + "x"), "no JSON");
    EXPECT_EQ(refusalOf(std::string(4000, '[')), "no JSON");
    EXPECT_EQ(refusalOf("[]"), "no object");
    EXPECT_EQ(refusalOf("{}"), "method is no text");
    EXPECT_EQ(refusalOf(R"({"method": 1})"), "method is no text");
    EXPECT_EQ(refusalOf(R"({"method": "getBuffer", "context": null})"), "context is no text");
    EXPECT_EQ(refusalOf(R"({"method": "getBuffer", "context": ""})"), "apiVersion is no text");
    EXPECT_EQ(refusalOf(R"({"method": "getBuffer", "context": "", "apiVersion": "2.0"})"),
              "no such apiVersion");
    EXPECT_EQ(refusalOf(request("freeBuffer", "")), "no such method");
    EXPECT_EQ(refusalOf(request("getBuffer", "")), "overlayId is no number that could be one");
    for (const char* number : {"-1", "1.0", "2147483648", "\"1\"", "null"}) {
        EXPECT_EQ(refusalOf(request("getBuffer", std::string("\"overlayId\": ") + number)),
                  "overlayId is no number that could be one");
    }
    EXPECT_EQ(refusalOf(request("submitBuffer", R"("overlayId": 1)")),
              "buffer is no number that could be one");
    EXPECT_EQ(refusalOf(request("submitBuffer", R"("overlayId": 1, "buffer": 0)")), "taken");
}

}  // namespace
