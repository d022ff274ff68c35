#include "config/persistent_config_handler.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "support/json_support.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"

namespace {

/// One temporary file in a hundred has a name that could be a word or a date, and is left alone.
bool readsAsAWord(const std::string& suffix) {
    return suffix.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos ||
           suffix.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos ||
           suffix.find_first_not_of("0123456789") == std::string::npos;
}

class PersistentConfigHandlerTest : public testing::Test {
protected:
    bool save(const std::string& text) {
        return PersistentConfigHandler::save(json(text).get(), path);
    }

    TemporaryFolder folder;
    SyslogCapture log;
    const std::string path = folder.path("config.json");
    const std::string readFailure = "Failed to read from file " + path + "\n";
};

TEST_F(PersistentConfigHandlerTest, LoadsAMissingFileAsNothingWithoutAWord) {
    EXPECT_EQ(PersistentConfigHandler::load(path), "");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PersistentConfigHandlerTest, LoadsWhatIsNotJsonAsNothing) {
    for (const char* content : {"", "{", "not json", "7", "{} trailing", "{\"a\":\xff}"}) {
        log.clear();
        folder.write("config.json", content);
        EXPECT_EQ(PersistentConfigHandler::load(path), "") << content;
        EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{{LOG_WARNING, readFailure}}));
    }
}

TEST_F(PersistentConfigHandlerTest, LoadsANormalisedCopy) {
    folder.write("config.json", "{\n \"z\":0.123456,\"a\" : [1,-0.99996] }\n");
    EXPECT_EQ(PersistentConfigHandler::load(path), R"({"z": 0.1235, "a": [1, -1.0]})");
}

TEST_F(PersistentConfigHandlerTest, SavesRealsWithFourSignificantDigits) {
    EXPECT_TRUE(save(R"({"z":0.123456,"a":[1,12345.678]})"));
    EXPECT_EQ(folder.read("config.json"), R"({"z": 0.1235, "a": [1, 1.235e4]})");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PersistentConfigHandlerTest, ReplacesTheFileWhole) {
    EXPECT_TRUE(save(R"({"long":"a text that is longer than the next"})"));
    EXPECT_TRUE(save("[]"));
    EXPECT_EQ(folder.read("config.json"), "[]");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"config.json"});
}

TEST_F(PersistentConfigHandlerTest, DoesNotSaveNull) {
    EXPECT_FALSE(PersistentConfigHandler::save(nullptr, path));
    EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{
                               {LOG_WARNING, "Failed to write to file " + path + "\n"}}));
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(PersistentConfigHandlerTest, DoesNotSaveWhatIsNotADocument) {
    EXPECT_FALSE(PersistentConfigHandler::save(json_null(), path));
    EXPECT_TRUE(log.has(LOG_WARNING, "Failed to write to file " + path + "\n"));
}

TEST_F(PersistentConfigHandlerTest, DoesNotSaveWhatCouldNotBeReadAgain) {
    ASSERT_TRUE(save(R"({"old":1})"));
    EXPECT_TRUE(save(R"({"largest with four digits":1.797e308})"));
    EXPECT_FALSE(save(R"({"rounded up beyond all numbers":-1.79769e308})"));
    EXPECT_TRUE(log.has(LOG_WARNING, "Failed to write to file " + path + "\n"));
    EXPECT_EQ(folder.read("config.json"), R"({"largest with four digits": 1.797e308})");
}

TEST_F(PersistentConfigHandlerTest, TellsOfAPathThatCannotBeWritten) {
    folder.write("file", "");
    const std::string below = folder.path("file/config.json");
    EXPECT_FALSE(PersistentConfigHandler::save(json("{}").get(), below));
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].level, LOG_WARNING);
    EXPECT_EQ(log.lines()[0].text.find("Could not write file " + below + " : "), 0U)
        << log.lines()[0].text;
}

TEST_F(PersistentConfigHandlerTest, KeepsTheOldFileWhenTheDiskIsFull) {
    ASSERT_TRUE(save(R"({"old":1})"));
    const pid_t child = fork();
    if (child == 0) {
        // A limit of the file size is what a full disk looks like to a process of any user.
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{16, 16};
        setrlimit(RLIMIT_FSIZE, &limit);
        _exit(save(R"({"new":"a document of more than sixteen bytes"})") ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(folder.read("config.json"), R"({"old": 1})");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"config.json"});
}

TEST_F(PersistentConfigHandlerTest, AKillLeavesTheOldOrTheNewFileWhole) {
    const std::string first = R"({"a":")" + std::string(20000, 'x') + R"("})";
    const std::string second = R"({"b":")" + std::string(30000, 'y') + R"("})";
    ASSERT_TRUE(save(first));
    const std::string firstText = folder.read("config.json");
    ASSERT_TRUE(save(second));
    const std::string secondText = folder.read("config.json");
    for (int round = 0; round < 40; ++round) {
        int started[2];
        ASSERT_EQ(pipe(started), 0);
        const pid_t child = fork();
        if (child == 0) {
            for (bool isFirst = true;; isFirst = !isFirst) {
                if (!save(isFirst ? first : second) || write(started[1], "", 1) != 1) {
                    _exit(1);
                }
            }
        }
        char byte;
        for (int i = 0; i < 1 + round % 4; ++i) {
            ASSERT_EQ(read(started[0], &byte, 1), 1);
        }
        // Somewhere within the next save.
        usleep(static_cast<useconds_t>(37 * round));
        kill(child, SIGKILL);
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status));
        close(started[0]);
        close(started[1]);
        const std::string text = folder.read("config.json");
        EXPECT_TRUE(text == firstText || text == secondText) << text.size();
    }
    PersistentConfigHandler::removeTemporaryFiles(path);
    for (const std::string& name : folder.names()) {
        EXPECT_TRUE(name == "config.json" || readsAsAWord(name.substr(name.size() - 6))) << name;
    }
}

TEST_F(PersistentConfigHandlerTest, OperationsOfSeveralThreadsAreEachWhole) {
    ASSERT_TRUE(save(R"({"params":{"configurationStatus":1}})"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 20; ++round) {
                EXPECT_TRUE(save(R"({"params":{"configurationStatus":1}})"));
                EXPECT_EQ(PersistentConfigHandler::load(path),
                          R"({"params": {"configurationStatus": 1}})");
                EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), 1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(PersistentConfigHandlerTest, ReadsTheConfigurationStatus) {
    folder.write("config.json", R"({"params":{"configurationStatus":2147483647}})");
    EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), 2147483647);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PersistentConfigHandlerTest, TheConfigurationStatusIsZeroWhenItCannotBeTold) {
    for (const char* content : {"[]", "{}", R"({"params":7})", R"({"params":{}})",
                                R"({"params":{"configurationStatus":"9"}})",
                                R"({"params":{"configurationStatus":9.5}})"}) {
        folder.write("config.json", content);
        EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), 0) << content;
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PersistentConfigHandlerTest, TheConfigurationStatusOfAnUnreadableFileIsLogged) {
    EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), 0);
    folder.write("config.json", "broken");
    EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), 0);
    EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{{LOG_WARNING, readFailure},
                                                             {LOG_WARNING, readFailure}}));
}

TEST_F(PersistentConfigHandlerTest, SetsAFileThatIsNotJsonAside) {
    folder.write("config.json", "{\"half\":");
    folder.write("config.json.broken", "an older one");
    EXPECT_TRUE(PersistentConfigHandler::setBrokenFileAside(path));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"config.json.broken"});
    EXPECT_EQ(folder.read("config.json.broken"), "{\"half\":");
    EXPECT_EQ(PersistentConfigHandler::load(path), "");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PersistentConfigHandlerTest, LeavesAJsonFileAnEmptyFileAndAMissingFileWhereTheyAre) {
    EXPECT_FALSE(PersistentConfigHandler::setBrokenFileAside(path));
    folder.write("config.json", "");
    EXPECT_FALSE(PersistentConfigHandler::setBrokenFileAside(path));
    folder.write("config.json", "{}");
    EXPECT_FALSE(PersistentConfigHandler::setBrokenFileAside(path));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"config.json"});
}

TEST_F(PersistentConfigHandlerTest, TellsWhenABrokenFileCannotBeSetAside) {
    folder.write("config.json", "broken");
    std::filesystem::create_directory(folder.path("config.json.broken"));
    folder.write("config.json.broken/inside", "");
    EXPECT_FALSE(PersistentConfigHandler::setBrokenFileAside(path));
    EXPECT_EQ(folder.read("config.json"), "broken");
}

TEST_F(PersistentConfigHandlerTest, RemovesTheTemporaryFilesOfThisFileOnly) {
    const std::vector<std::string> temporary = {"config.json.A1b2C3", "config.json.xYzXyZ",
                                                "config.json.a00000", "config.json.B52179"};
    const std::vector<std::string> others = {
        "config.json",           "config.json.A1b2C",       "config.json.A1b2C34",
        "config.json.A1b2C_",    "config.json.BACKUP",      "config.json.backup",
        "config.json.broken",    "config.json.20240101",    "config.json.240101",
        "config.json.",          "config.jsonXA1b2C3",      "idd.json.A1b2C3",
        "my.config.json.A1b2C3", "config.json.A1b2\xc3\xa9"};
    for (const auto& names : {temporary, others}) {
        for (const std::string& name : names) {
            folder.write(name, "{}");
        }
    }
    std::filesystem::create_directory(folder.path("config.json.D1rect"));
    std::filesystem::create_symlink("config.json", folder.path("config.json.L1nked"));

    PersistentConfigHandler::removeTemporaryFiles(path);

    for (const std::string& name : temporary) {
        EXPECT_FALSE(std::filesystem::exists(folder.path(name))) << name;
    }
    EXPECT_EQ(folder.names().size(), others.size() + 2);
}

TEST_F(PersistentConfigHandlerTest, RemovesWhatAKillInTheMiddleOfASaveLeaves) {
    // The library chooses among these letters for six places.
    const std::string name = folder.path("config.json.XXXXXX");
    std::string real = name;
    const int file = g_mkstemp(real.data());
    ASSERT_GE(file, 0);
    close(file);
    const std::string suffix = real.substr(real.size() - 6);
    PersistentConfigHandler::removeTemporaryFiles(path);
    EXPECT_EQ(std::filesystem::exists(real), readsAsAWord(suffix)) << real;
}

TEST_F(PersistentConfigHandlerTest, RemovingTemporaryFilesOfAMissingFolderDoesNothing) {
    PersistentConfigHandler::removeTemporaryFiles(folder.path("none/config.json"));
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
