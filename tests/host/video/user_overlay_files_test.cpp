#include "video/user_overlay_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>

#include "png_file.h"
#include "support/temporary_folder.h"
#include "video/overlay_snapshot.h"

namespace {

using testing::HasSubstr;

class UserOverlayFilesTest : public testing::Test {
protected:
    static UserOverlay text(int id) {
        UserOverlay overlay;
        overlay.id = id;
        overlay.camera = 2;
        overlay.text = "Gate \"3\" \xc3\xbc";
        overlay.position = "0.5,-0.25";
        overlay.height = 55;
        overlay.isScalable = false;
        return overlay;
    }
    static UserOverlay image(int id) {
        UserOverlay overlay;
        overlay.id = id;
        overlay.kind = UserOverlay::Kind::Image;
        overlay.imageFile = std::make_shared<const std::string>(PngFile::make(40, 30));
        overlay.position = "bottom";
        overlay.width = 80;
        overlay.height = 60;
        return overlay;
    }
    std::vector<UserOverlay> load() const { return files.load(2).overlays; }
    /// What is said of one file that is loaded, with its content.
    std::string complaintOf(const std::string& content) {
        std::filesystem::create_directories(folder.path("overlays"));
        folder.write("overlays/1.overlay", content);
        testing::internal::CaptureStderr();
        EXPECT_TRUE(load().empty());
        const std::string said = testing::internal::GetCapturedStderr();
        const std::string start = folder.path("overlays/1.overlay") + " is passed over: ";
        const std::size_t place = said.find(start);
        EXPECT_NE(place, std::string::npos) << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
        return said.substr(place + start.size());
    }

    TemporaryFolder folder;
    const UserOverlayFiles files{folder.path("overlays")};
};

TEST_F(UserOverlayFilesTest, AreNoneAtFirst) {
    EXPECT_TRUE(load().empty());
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(UserOverlayFilesTest, KeepATextAsItIs) {
    files.save(text(3));
    ASSERT_EQ(load().size(), 1U);
    const UserOverlay loaded = load()[0];
    EXPECT_EQ(loaded.id, 3);
    EXPECT_EQ(loaded.camera, 2);
    EXPECT_EQ(loaded.kind, UserOverlay::Kind::Text);
    EXPECT_EQ(loaded.text, text(3).text);
    EXPECT_EQ(loaded.position, "0.5,-0.25");
    EXPECT_EQ(loaded.width, 0);
    EXPECT_EQ(loaded.height, 55);
    EXPECT_FALSE(loaded.isScalable);
}

TEST_F(UserOverlayFilesTest, KeepAnImageWithItsFile) {
    files.save(image(4));
    ASSERT_EQ(load().size(), 1U);
    const UserOverlay loaded = load()[0];
    EXPECT_EQ(loaded.kind, UserOverlay::Kind::Image);
    EXPECT_EQ(*loaded.imageFile, *image(4).imageFile);
    EXPECT_EQ(loaded.width, 80);
    EXPECT_EQ(loaded.height, 60);
    EXPECT_TRUE(loaded.isScalable);
}

TEST_F(UserOverlayFilesTest, AreLoadedInTheOrderOfTheirIds) {
    for (const int id : {10, 9, 100}) {
        files.save(text(id));
    }
    const UserOverlayFiles::Content content = files.load(2);
    ASSERT_EQ(content.overlays.size(), 3U);
    EXPECT_EQ(content.overlays[0].id, 9);
    EXPECT_EQ(content.overlays[2].id, 100);
    EXPECT_EQ(content.greatestId, 100);
}

TEST_F(UserOverlayFilesTest, AreReplacedAndRemoved) {
    files.save(text(3));
    UserOverlay moved = text(3);
    moved.position = "bottom";
    files.save(moved);
    ASSERT_EQ(load().size(), 1U);
    EXPECT_EQ(load()[0].position, "bottom");
    files.remove(3);
    files.remove(3);
    EXPECT_TRUE(load().empty());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("overlays")));
}

TEST_F(UserOverlayFilesTest, PassOverWhatIsDamagedAndLeaveIt) {
    files.save(text(1));
    const std::string good = folder.read("overlays/1.overlay");
    EXPECT_EQ(complaintOf(""), "its line is cut off\n");
    EXPECT_EQ(complaintOf(good.substr(0, good.size() - 1)), "its line is cut off\n");
    EXPECT_EQ(complaintOf("{}\n"), "its line is damaged\n");
    EXPECT_EQ(complaintOf("\n"), "its line is damaged\n");
    EXPECT_EQ(complaintOf(std::string(100, '\0') + "\n"), "its line is damaged\n");
    EXPECT_EQ(complaintOf(R"({"camera":1,"type":"film","text":"a","position":"top","width":0,)"
                          R"("height":40,"scalable":true})"
                          "\n"),
              "its line is damaged\n");
    EXPECT_THAT(folder.read("overlays/1.overlay"), HasSubstr("film"));
}

TEST_F(UserOverlayFilesTest, PassOverWhatWouldNotBeTaken) {
    const auto line = [](const std::string& camera, const std::string& position,
                         const std::string& height, const std::string& type = "text") {
        return R"({"camera":)" + camera + R"(,"type":")" + type + R"(","text":"a","position":")" +
               position + R"(","width":0,"height":)" + height + ",\"scalable\":true}\n";
    };
    EXPECT_EQ(complaintOf(line("3", "top", "40")), "there is no camera 3\n");
    EXPECT_EQ(complaintOf(line("-1", "top", "40")), "there is no camera 0\n");
    EXPECT_EQ(complaintOf(line("1", "top", "99999999999")), "no size\n");
    EXPECT_THAT(complaintOf(line("1", "up", "40")), HasSubstr("the position \"up\""));
    EXPECT_EQ(complaintOf(line("1", "top", "40", "image")), "no size\n");
}

TEST_F(UserOverlayFilesTest, PassOverAnImageThatIsDamaged) {
    files.save(image(1));
    std::string content = folder.read("overlays/1.overlay");
    content.pop_back();
    EXPECT_EQ(complaintOf(content), "the PNG file is cut off\n");
}

TEST_F(UserOverlayFilesTest, KnowTheIdsOfDamagedFilesToo) {
    files.save(text(3));
    folder.write("overlays/7.overlay", "");
    EXPECT_EQ(files.load(2).greatestId, 7);
    EXPECT_EQ(load().size(), 1U);
}

TEST_F(UserOverlayFilesTest, LookAtNothingElse) {
    files.save(text(3));
    for (const char* name : {"4.overlay.Q3X1", "x.overlay", "05.overlay", "-1.overlay", "0.overlay",
                             "99999999999.overlay", "5"}) {
        folder.write(std::string("overlays/") + name, "");
    }
    std::filesystem::create_directory(folder.path("overlays/8.overlay"));
    ASSERT_EQ(mkfifo(folder.path("overlays/9.overlay").c_str(), 0600), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(load().size(), 1U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(UserOverlayFilesTest, SayWhenTheyCannotBeKept) {
    folder.write("overlays", "a file in the way");
    EXPECT_THROW(files.save(text(3)), std::runtime_error);
    EXPECT_THROW(files.remove(3), std::runtime_error);
}

}  // namespace
