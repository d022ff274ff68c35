#include "events/motion_level_settings.h"

#include <glib/gstdio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <fstream>
#include <sstream>

#include "support/syslog_capture.h"

namespace {

using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;
using testing::IsEmpty;

class MotionLevelSettingsTest : public testing::Test {
protected:
    MotionLevelSettingsTest() {
        g_autofree char* name = g_dir_make_tmp("motion-level-XXXXXX", nullptr);
        folder = name;
        path = folder + "/motion_level_config.json";
    }
    ~MotionLevelSettingsTest() override {
        g_unlink(path.c_str());
        g_rmdir(folder.c_str());
    }

    void write(const std::string& text) { std::ofstream(path) << text; }
    std::string read() {
        std::stringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    std::string folder;
    std::string path;
    SyslogCapture log;
};

TEST_F(MotionLevelSettingsTest, AreOneObjectWithOneBoolean) {
    EXPECT_TRUE(MotionLevelSettings::save(true, path));
    EXPECT_EQ(read(), "{\"active\": true}");
    EXPECT_TRUE(MotionLevelSettings::save(false, path));
    EXPECT_EQ(read(), "{\"active\": false}");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MotionLevelSettingsTest, AreReadAsSaved) {
    MotionLevelSettings::save(true, path);
    EXPECT_TRUE(MotionLevelSettings::load(path));
    MotionLevelSettings::save(false, path);
    EXPECT_FALSE(MotionLevelSettings::load(path));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MotionLevelSettingsTest, AreOffWithoutAFile) {
    EXPECT_FALSE(MotionLevelSettings::load(path));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MotionLevelSettingsTest, AreOffWithAFileThatIsNotJson) {
    write("{\"active\": tr");
    EXPECT_FALSE(MotionLevelSettings::load(path));
    EXPECT_EQ(log.lines(), (Lines{{LOG_WARNING, "Failed to read from file " + path + "\n"},
                                  {LOG_ERR, "Could not read the configuration file\n"}}));
}

TEST_F(MotionLevelSettingsTest, AreOffWithAnotherMember) {
    write("{\"enabled\": true}");
    EXPECT_FALSE(MotionLevelSettings::load(path));
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Failed to parse key: active\n"}}));
}

TEST_F(MotionLevelSettingsTest, AreOffWithAnotherType) {
    write("{\"active\": 1}");
    EXPECT_FALSE(MotionLevelSettings::load(path));
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Failed to parse key: active\n"}}));
}

TEST_F(MotionLevelSettingsTest, TellWhenTheyCouldNotBeWritten) {
    EXPECT_FALSE(MotionLevelSettings::save(true, folder + "/missing/file.json"));
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].level, LOG_WARNING);
    EXPECT_THAT(log.lines()[0].text,
                testing::StartsWith("Could not write file " + folder + "/missing/file.json : "));
}

TEST_F(MotionLevelSettingsTest, LogAnObjectThatCannotBeMade) {
    json_malloc_t allocate = nullptr;
    json_free_t release = nullptr;
    json_get_alloc_funcs(&allocate, &release);
    json_set_alloc_funcs([](std::size_t) -> void* { return nullptr; }, release);
    EXPECT_FALSE(MotionLevelSettings::save(true, path));
    json_set_alloc_funcs(allocate, release);
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Cannot create motion level active attribute\n"}}));
}

}  // namespace
