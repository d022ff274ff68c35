#include "zqparameter/zqparameter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "support/syslog_capture.h"
#include "zqparameter/host/zqparameter_host.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ZQParameterTest : public ::testing::Test {
protected:
    ZQParameterTest() {
        std::string pattern = std::filesystem::temp_directory_path() / "zqparameter-XXXXXX";
        folder = mkdtemp(pattern.data());
        path = folder / "parameters.conf";
        zq_parameter_host_set_path(path.c_str());
    }
    ~ZQParameterTest() override {
        zq_parameter_free(handler);
        zq_parameter_host_set_path(nullptr);
        std::filesystem::remove_all(folder);
    }

    void write(const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

    std::optional<std::string> get(const char* name, GError** error = nullptr) {
        if (!handler) {
            handler = zq_parameter_new("KTW", nullptr);
        }
        g_autofree char* value = nullptr;
        if (!zq_parameter_get(handler, name, &value, error)) {
            return std::nullopt;
        }
        return value;
    }

    SyslogCapture log;
    std::filesystem::path folder;
    std::filesystem::path path;
    ZQParameter* handler = nullptr;
};

}  // namespace

TEST_F(ZQParameterTest, ReadsAValue) {
    write("root.Properties.EmbeddedDevelopment.Version=2.16\n");
    EXPECT_EQ(get("root.Properties.EmbeddedDevelopment.Version"), "2.16");
}

TEST_F(ZQParameterTest, TheLeadingRootIsOptionalInFileAndLookUp) {
    write("root.A=1\nB=2\n");
    EXPECT_EQ(get("A"), "1");
    EXPECT_EQ(get("root.A"), "1");
    EXPECT_EQ(get("B"), "2");
    EXPECT_EQ(get("root.B"), "2");
    EXPECT_EQ(get("root.root.B"), std::nullopt) << "only one";
}

TEST_F(ZQParameterTest, AMissingFileIsAnEmptyStore) {
    GError* error = nullptr;
    EXPECT_EQ(get("root.A", &error), std::nullopt);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, ZQ_PARAMETER_ERROR, ZQ_PARAMETER_ERROR_NOT_FOUND));
    EXPECT_STREQ(error->message, "No parameter 'root.A'");
    g_error_free(error);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ZQParameterTest, SeesAChangeAtTheNextLookUp) {
    EXPECT_EQ(get("A"), std::nullopt);
    write("A=1\n");
    EXPECT_EQ(get("A"), "1");
    write("A=2\n");
    EXPECT_EQ(get("A"), "2");
    std::filesystem::remove(path);
    EXPECT_EQ(get("A"), std::nullopt);
}

TEST_F(ZQParameterTest, AValueIsTheRestOfTheLineAsItStands) {
    write("A= x=y # z \nB=\nC=1\r\n D\t=2\nE=last");
    EXPECT_EQ(get("A"), " x=y # z ");
    EXPECT_EQ(get("B"), "") << "empty, but there";
    EXPECT_EQ(get("C"), "1");
    EXPECT_EQ(get("D"), "2");
    EXPECT_EQ(get("E"), "last");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ZQParameterTest, TheLastLineOfANameHolds) {
    write("A=1\nroot.A=2\n");
    EXPECT_EQ(get("A"), "2");
}

TEST_F(ZQParameterTest, NamesAreComparedWhole) {
    write("Network.Name=x\nnetwork=y\n");
    EXPECT_EQ(get("Network"), std::nullopt);
    EXPECT_EQ(get("Name"), std::nullopt);
    EXPECT_EQ(get(""), std::nullopt);
    EXPECT_EQ(get(nullptr), std::nullopt);
}

TEST_F(ZQParameterTest, LeavesOutLinesThatSayNothing) {
    write("\n# comment=1\n  \nA=1\n");
    EXPECT_EQ(get("A"), "1");
    EXPECT_EQ(get("# comment"), std::nullopt);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ZQParameterTest, LeavesOutBadLinesAndNamesTheFirstOnce) {
    write("A=1\nnonsense\n=2\nroot.=3\nB=4\n");
    EXPECT_EQ(get("A"), "1");
    EXPECT_EQ(get("B"), "4");
    EXPECT_EQ(get("nonsense"), std::nullopt);
    EXPECT_EQ(get(""), std::nullopt);

    EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{
                                 LOG_WARNING, "Parameters: " + path.string() +
                                                  ":2 is not NAME=VALUE and left out\n"}));
}

TEST_F(ZQParameterTest, SurvivesWhatIsNoText) {
    write(std::string("A=1\n\0\xFF\n\0=\0\nB=2\n", 15));
    EXPECT_EQ(get("A"), "1");
    EXPECT_EQ(get("B"), "2");
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(get("A"), std::nullopt);
}

TEST_F(ZQParameterTest, IsReadByManyThreadsWhileItIsReplaced) {
    write("A=1\n");
    EXPECT_EQ(get("A"), "1");
    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (int number = 0; number < 3; ++number) {
        readers.emplace_back([&] {
            while (!stop) {
                EXPECT_EQ(get("A"), "1");
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        const std::filesystem::path next = folder / "next";
        std::ofstream(next) << "A=1\n";
        std::filesystem::rename(next, path);
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
}
