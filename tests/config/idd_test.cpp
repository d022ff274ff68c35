#include "config/idd.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/fake_clock.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"

namespace {

const std::string kTooLow =
    "IDD: Cannot increment number of NOLT diconnects because the IDD version of the file is too "
    "low\n";
const std::string kNoVersion = "Could not unpack the version of the IDD data\n";
const std::string kNoCounter = "IDD: Cannot increment number of NOLT diconnects\n";

class IddTest : public testing::Test {
protected:
    ~IddTest() override { IDD::deinitialize(); }

    bool initialize(const std::string& version = "1.0") {
        return IDD::initialize(API_Version(version), path);
    }

    TemporaryFolder folder;
    SyslogCapture log;
    FakeClock clock{5000};
    const std::string path = folder.path("idd.json");
};

TEST_F(IddTest, TheFirstDisconnectMakesTheFile) {
    EXPECT_TRUE(initialize());
    EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(folder.read("idd.json"),
              R"({"version":"1.0","oldestTimestamp":5000,"newestTimestamp":5000,)"
              R"("data":{"nbrNoltDisconnects":1}})");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(IddTest, LaterDisconnectsCountOnAndKeepTheOldestTimestamp) {
    initialize();
    IDD::incrementNbrNoltDisconnects();
    clock.set(7000);
    EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(folder.read("idd.json"),
              R"({"version":"1.0","oldestTimestamp":5000,"newestTimestamp":7000,)"
              R"("data":{"nbrNoltDisconnects":2}})");
}

TEST_F(IddTest, AfterARebootTheNewestTimestampCanBeTheSmallerOne) {
    folder.write("idd.json", R"({"version":"1.0","oldestTimestamp":90000,"newestTimestamp":95000,)"
                             R"("data":{"nbrNoltDisconnects":41}})");
    initialize();
    EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(folder.read("idd.json"),
              R"({"version":"1.0","oldestTimestamp":90000,"newestTimestamp":5000,)"
              R"("data":{"nbrNoltDisconnects":42}})");
}

TEST_F(IddTest, AFileKeepsItsOwnVersionAndWhatElseItHolds) {
    folder.write("idd.json",
                 R"({"version":"3.7","other":[1],"data":{"nbrNoltDisconnects":0,"x":2}})"
                 "\nsecond line");
    initialize();
    EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(folder.read("idd.json"),
              R"({"version":"3.7","other":[1],"data":{"nbrNoltDisconnects":1,"x":2},)"
              R"("newestTimestamp":5000})");
}

TEST_F(IddTest, AnEmptyFirstLineIsANewFile) {
    folder.write("idd.json", "\n{\"version\":\"1.0\",\"data\":{\"nbrNoltDisconnects\":8}}");
    initialize("2.1");
    EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(folder.read("idd.json"),
              R"({"version":"2.1","oldestTimestamp":5000,"newestTimestamp":5000,)"
              R"("data":{"nbrNoltDisconnects":1}})");
}

TEST_F(IddTest, WritesNothingBeforeInitialize) {
    EXPECT_FALSE(IDD::incrementNbrNoltDisconnects());
    EXPECT_TRUE(folder.names().empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(IddTest, WritesNothingAfterDeinitialize) {
    initialize();
    IDD::deinitialize();
    EXPECT_FALSE(IDD::incrementNbrNoltDisconnects());
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(IddTest, RefusesAVersionThatIsNotValidAndChangesNothing) {
    initialize();
    EXPECT_FALSE(IDD::initialize(API_Version(), folder.path("other.json")));
    EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(folder.names(), std::vector<std::string>{"idd.json"});
}

TEST_F(IddTest, ASetUpVersionBeforeTheDataWritesNothing) {
    EXPECT_TRUE(initialize("0.9"));
    EXPECT_FALSE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(log.lines(),
              (std::vector<SyslogCapture::Line>{
                  {LOG_INFO,
                   "IDD: Cannot write incrementNbrNoltDisconnects because the IDD is set up with "
                   "a version that is too low"}}));
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(IddTest, AFileOfAVersionBeforeTheDataIsLeftAlone) {
    const std::string content = R"({"version":"0.9","data":{"nbrNoltDisconnects":1}})";
    folder.write("idd.json", content);
    initialize();
    EXPECT_FALSE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{{LOG_INFO, kTooLow}}));
    EXPECT_EQ(folder.read("idd.json"), content);
}

TEST_F(IddTest, AFileWhoseVersionIsNoVersionIsLeftAlone) {
    const std::string content = R"({"version":"new","data":{"nbrNoltDisconnects":1}})";
    folder.write("idd.json", content);
    initialize();
    EXPECT_FALSE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(log.lines(),
              (std::vector<SyslogCapture::Line>{
                  {LOG_WARNING, "unsupported format on version new, it should be major.minor\n"},
                  {LOG_INFO, kTooLow}}));
    EXPECT_EQ(folder.read("idd.json"), content);
}

TEST_F(IddTest, CountsOnAfterARestart) {
    initialize();
    IDD::incrementNbrNoltDisconnects();
    IDD::deinitialize();
    initialize("1.3");
    IDD::incrementNbrNoltDisconnects();
    EXPECT_EQ(folder.read("idd.json"),
              R"({"version":"1.0","oldestTimestamp":5000,"newestTimestamp":5000,)"
              R"("data":{"nbrNoltDisconnects":2}})");
}

TEST_F(IddTest, AnUnreadableFileIsLeftAlone) {
    for (const char* content : {"not json", "{\"version\":", "[]", "{}", "{\"version\":1}"}) {
        log.clear();
        folder.write("idd.json", content);
        initialize();
        EXPECT_FALSE(IDD::incrementNbrNoltDisconnects()) << content;
        EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{{LOG_WARNING, kNoVersion},
                                                                 {LOG_INFO, kTooLow}}));
        EXPECT_EQ(folder.read("idd.json"), content);
    }
}

TEST_F(IddTest, AFileWithoutACounterIsLeftAlone) {
    for (const char* content : {R"({"version":"1.0"})", R"({"version":"1.0","data":[]})",
                                R"({"version":"1.0","data":{}})",
                                R"({"version":"1.0","data":{"nbrNoltDisconnects":"1"}})"}) {
        log.clear();
        folder.write("idd.json", content);
        initialize();
        EXPECT_FALSE(IDD::incrementNbrNoltDisconnects()) << content;
        EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{{LOG_INFO, kNoCounter}}));
        EXPECT_EQ(folder.read("idd.json"), content);
    }
}

TEST_F(IddTest, TheGreatestCountStays) {
    folder.write("idd.json",
                 R"({"version":"1.0","data":{"nbrNoltDisconnects":9223372036854775807}})");
    initialize();
    EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
    EXPECT_EQ(folder.read("idd.json"),
              R"({"version":"1.0","data":{"nbrNoltDisconnects":9223372036854775807},)"
              R"("newestTimestamp":5000})");
}

TEST_F(IddTest, AFailedSaveStillCounts) {
    folder.write("file", "");
    IDD::initialize(API_Version("1.0"), folder.path("file/idd.json"));
    EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].text.find("Could not write file "), 0U);
}

TEST_F(IddTest, NoCountIsLostBetweenThreads) {
    initialize();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 10; ++round) {
                EXPECT_TRUE(IDD::incrementNbrNoltDisconnects());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_NE(folder.read("idd.json").find(R"("nbrNoltDisconnects":40)"), std::string::npos);
}

}  // namespace
