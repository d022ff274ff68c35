#include "app/utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> syncedPaths;  // as they were called at that moment

}  // namespace

// Stands before the C library's own, also for GLib.
extern "C" int fsync(int descriptor) {
    syncedPaths.push_back(
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)));
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

namespace {

TEST(IsNumber, WantsDigitsAfterAtMostOneSign) {
    for (const char* text : {"1", "0123", "+1", "-1", "-.5", "1.", ".", "+."}) {
        EXPECT_TRUE(utils::isNumber(text)) << text;
    }
    for (const char* text : {"", "+", "-", "1.2.3", "1a", "--1", " 1", "1e5"}) {
        EXPECT_FALSE(utils::isNumber(text)) << text;
    }
}

TEST(LengthInUtf8, CountsCharactersAndNotBytes) {
    EXPECT_EQ(0, utils::lengthInUtf8(""));
    EXPECT_EQ(3, utils::lengthInUtf8("abc"));
    EXPECT_EQ(2, utils::lengthInUtf8("\xE2\x82\xAC\xC3\xA4"));
}

TEST(SplitString, DropsEmptyPieces) {
    EXPECT_THAT(utils::splitString("a  b", ' '), ElementsAre("a", "b"));
    EXPECT_THAT(utils::splitString("  a b ", ' '), ElementsAre("a", "b"));
    EXPECT_THAT(utils::splitString("", ' '), IsEmpty());
    EXPECT_THAT(utils::splitString("   ", ' '), IsEmpty());
    EXPECT_THAT(utils::splitString("1.4", '.'), ElementsAre("1", "4"));
}

TEST(TrimString, RemovesTheSetFromBothEnds) {
    EXPECT_EQ("a b", utils::trimString("  a b ", " "));
    EXPECT_EQ("", utils::trimString("    ", " "));
    EXPECT_EQ("", utils::trimString("", " "));
    EXPECT_EQ(" a ", utils::trimString(" a ", ""));
    EXPECT_EQ("b", utils::trimString("xyxbyx", "xy"));
}

TEST(GetDirName, IsThePathWithoutItsLastPart) {
    EXPECT_EQ("/a/b", utils::getDirName("/a/b/c.json"));
    EXPECT_EQ(".", utils::getDirName("c.json"));
}

TEST(IsValidCameraRotation, KnowsTheFourMountings) {
    for (int rotation : {0, 90, 180, 270}) {
        EXPECT_TRUE(utils::isValidCameraRotation(rotation)) << rotation;
    }
    for (int rotation : {-90, 45, 360, 1}) {
        EXPECT_FALSE(utils::isValidCameraRotation(rotation)) << rotation;
    }
}

TEST(ConvertViewedCoordinate, TurnsThePointAndExchangesTheAxesAt180) {
    const Point point{10, 20};
    EXPECT_EQ((Point{-20, 10}), utils::convertViewedCoordinate(point, 90));
    EXPECT_EQ((Point{-20, -10}), utils::convertViewedCoordinate(point, 180));
    EXPECT_EQ((Point{20, -10}), utils::convertViewedCoordinate(point, 270));
    EXPECT_EQ(point, utils::convertViewedCoordinate(point, 0));
    EXPECT_EQ(point, utils::convertViewedCoordinate(point, 45));
}

TEST(ConvertViewedCoordinate, NegatesIn16Bits) {
    EXPECT_EQ((Point{-32768, 1}), utils::convertViewedCoordinate({1, -32768}, 90));
}

TEST(TimeConversion, GoesToUtcAndBack) {
    const long monotonic = g_get_monotonic_time() - 5000000;
    g_autoptr(GDateTime) utc = utils::convertMonotonicToUTC_Time(&monotonic);
    g_autoptr(GDateTime) now = g_date_time_new_now_utc();
    EXPECT_NEAR(5000000.0, static_cast<double>(g_date_time_difference(now, utc)), 100000.0);
    EXPECT_NEAR(static_cast<double>(monotonic),
                static_cast<double>(utils::convertUTC_ToMonotonicTime(utc)), 100000.0);
}

TEST(EventNames, AreMadeOfCameraAndProfile) {
    EXPECT_EQ("Camera1Profile2", utils::generateEventName(1, 2));
    EXPECT_EQ("Camera3ProfileANY", utils::generateAnyEventName(3));
    EXPECT_EQ("CameraANY", utils::generateGlobalEventName());
    EXPECT_EQ("KTW 4: Door_Camera1Profile2",
              utils::generateEventLookupKey("KTW 4: Door", "Camera1Profile2"));
    EXPECT_EQ("swaying_filter_7", utils::generateFilterDataKey("swaying_filter", 7));
    EXPECT_EQ("42", utils::intToString(42));
}

class SaveAndSyncFile : public testing::Test {
protected:
    SaveAndSyncFile() {
        char name[] = "/tmp/save-XXXXXX";
        folder = mkdtemp(name);
    }
    ~SaveAndSyncFile() override { std::filesystem::remove_all(folder); }

    static std::string contentOf(const std::string& path) {
        std::ifstream file(path);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }

    std::string folder;
};

TEST_F(SaveAndSyncFile, ReplacesTheFileWhole) {
    const std::string path = folder + "/config.json";
    EXPECT_TRUE(utils::saveAndSyncFile("a longer first content", path));
    EXPECT_TRUE(utils::saveAndSyncFile("short", path));
    EXPECT_EQ("short", contentOf(path));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST_F(SaveAndSyncFile, SyncsContentAndFolderOfAFirstSaveAsOfALaterOne) {
    for (const char* save : {"first", "later"}) {
        syncedPaths.clear();
        ASSERT_TRUE(utils::saveAndSyncFile(save, folder + "/config.json"));
        ASSERT_GE(syncedPaths.size(), 2U) << save;
        EXPECT_THAT(syncedPaths.front(), testing::StartsWith(folder + "/config.json.")) << save;
        EXPECT_EQ(folder, syncedPaths.back()) << save;
    }
}

TEST_F(SaveAndSyncFile, LogsAFailureAndKeepsWhatIsThere) {
    SyslogCapture log;
    const std::string path = folder + "/missing/config.json";
    EXPECT_FALSE(utils::saveAndSyncFile("x", path));
    ASSERT_EQ(1U, log.lines().size());
    EXPECT_EQ(LOG_WARNING, log.lines()[0].level);
    EXPECT_THAT(log.lines()[0].text, testing::StartsWith("Could not write file " + path + " : "));
}

TEST_F(SaveAndSyncFile, KeepsTheOldContentWhenThereIsNoRoom) {
    const std::string path = folder + "/config.json";
    ASSERT_TRUE(utils::saveAndSyncFile("old", path));
    // In a child, because the limit cannot be trusted to be taken back.
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        const std::string large(5000, 'x');
        _exit(utils::saveAndSyncFile(large.c_str(), path) ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ("old", contentOf(path));
}

TEST(Daemonize, EndsTheParentAndGoesOnInASessionOfItsOwn) {
    int channel[2];
    ASSERT_EQ(0, pipe(channel));
    const pid_t parent = fork();
    if (parent == 0) {
        utils::daemonize("test");
        const char leads = getsid(0) == getpid() ? '1' : '0';
        _exit(write(channel[1], &leads, 1) == 1 ? 7 : 8);
    }
    close(channel[1]);
    int status = 0;
    ASSERT_EQ(parent, waitpid(parent, &status, 0));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    char leads = '?';
    EXPECT_EQ(1, read(channel[0], &leads, 1));
    EXPECT_EQ('1', leads);
    close(channel[0]);
}

}  // namespace
