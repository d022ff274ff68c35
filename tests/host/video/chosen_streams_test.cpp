#include "video/chosen_streams.h"

#include <gmock/gmock.h>

#include "support/temporary_folder.h"
#include "video/stream_table.h"
#include "video/web_error.h"

namespace {

class ChosenStreamsTest : public testing::Test {
protected:
    void configure(const std::string& cameras) const {
        folder.write("config.json",
                     R"({"method": "setConfiguration", "params": {"cameras": )" + cameras + "}}");
    }

    std::string shown(const StreamWish& wish) const {
        return describe(ChosenStreams(table, folder.path("config.json")), wish);
    }

    static std::string describe(const ChosenStreams& chosen, const StreamWish& wish) {
        try {
            const Stream stream = chosen.find(wish);
            return std::to_string(stream.camera) + ": " + std::to_string(stream.width) + "x" +
                   std::to_string(stream.height) + " " + std::to_string(stream.rotation);
        } catch (const WebError& error) {
            return std::to_string(error.status) + " " + error.what();
        }
    }

    TemporaryFolder folder;
    const StreamTable table{{{768, 576}, {1920, 1080}}};
};

}  // namespace

TEST_F(ChosenStreamsTest, AreNativeAndUprightWithoutADocument) {
    EXPECT_EQ(shown({1, {}, {}}), "1: 768x576 0");
    EXPECT_EQ(shown({2, {}, {}}), "2: 1920x1080 0");
}

TEST_F(ChosenStreamsTest, AreThoseOfTheDocument) {
    configure(R"([{"id": 2, "rotation": 90},
                  {"id": 1, "rotation": 180, "overlayResolution": "640x480"}])");
    EXPECT_EQ(shown({1, {}, {}}), "1: 640x480 180");
    EXPECT_EQ(shown({2, {}, {}}), "2: 1920x1080 90");
}

TEST_F(ChosenStreamsTest, AreNativeWhereNoStreamHasTheSize) {
    for (const std::string size :
         {"\"123x77\"", "\"large\"", "\"\"", "\"640x481\"", "640", "null"}) {
        configure(R"([{"id": 1, "rotation": 270, "overlayResolution": )" + size + "}]");
        EXPECT_EQ(shown({1, {}, {}}), "1: 768x576 270") << size;
    }
}

TEST_F(ChosenStreamsTest, AreUprightWhereNoStreamHasTheRotation) {
    for (const std::string rotation : {"45", "-90", "360", "\"90\"", "90.0", "null"}) {
        configure(R"([{"id": 1, "overlayResolution": "640x480", "rotation": )" + rotation + "}]");
        EXPECT_EQ(shown({1, {}, {}}), "1: 640x480 0") << rotation;
    }
}

TEST_F(ChosenStreamsTest, AreNativeAndUprightWithADocumentThatIsBroken) {
    for (const std::string text : {"", "{", "[]", "7", R"({"params": 5})", R"({"params": {}})",
                                   R"({"params": {"cameras": {}}})", "\xff\xfe",
                                   R"({"params": {"cameras": [1, null, {}, {"id": "1"}]}})"}) {
        folder.write("config.json", text);
        EXPECT_EQ(shown({1, {}, {}}), "1: 768x576 0") << text;
    }
}

TEST_F(ChosenStreamsTest, GiveWayToWhatIsAskedFor) {
    configure(R"([{"id": 1, "rotation": 180, "overlayResolution": "640x480"}])");
    EXPECT_EQ(shown({1, StreamWish::Size{320, 240}, {}}), "1: 320x240 180");
    EXPECT_EQ(shown({1, {}, 90}), "1: 640x480 90");
    EXPECT_EQ(shown({1, StreamWish::Size{768, 576}, 0}), "1: 768x576 0");
}

TEST_F(ChosenStreamsTest, RefuseStreamsThatThereAreNot) {
    EXPECT_EQ(shown({1, StreamWish::Size{100, 75}, {}}),
              "404 camera 1 has no stream of 100x75 turned by 0 degrees");
    EXPECT_EQ(shown({1, {}, 45}), "404 camera 1 has no stream of 768x576 turned by 45 degrees");
    EXPECT_EQ(shown({3, {}, {}}), "404 there is no camera 3");
    EXPECT_EQ(shown({0, {}, {}}), "404 there is no camera 0");
}

TEST_F(ChosenStreamsTest, FollowTheDocumentWhenItIsReadAgain) {
    ChosenStreams chosen(table, folder.path("config.json"));
    configure(R"([{"id": 1, "rotation": 180, "overlayResolution": "640x480"}])");
    EXPECT_EQ(describe(chosen, {}), "1: 768x576 0");
    chosen.read();
    EXPECT_EQ(describe(chosen, {}), "1: 640x480 180");
    folder.write("config.json", "");
    chosen.read();
    EXPECT_EQ(describe(chosen, {}), "1: 768x576 0");
}
