// A program that knows nothing but the header.

#include <gmock/gmock.h>

#include <cstdio>
#include <future>
#include <memory>

#include "engine_stage.h"

using testing::HasSubstr;

namespace {

/// What the program writes.
std::string outputOf(const std::string& module, const std::string& arguments) {
    const std::string command = ANY_PROGRAM " " + module + " " + arguments + " 2>&1";
    const std::unique_ptr<FILE, int (*)(FILE*)> program(popen(command.c_str(), "r"), pclose);
    std::string output;
    char buffer[4096];
    while (const std::size_t got = fread(buffer, 1, sizeof buffer, program.get())) {
        output.append(buffer, got);
    }
    return output;
}

class AnyProgram : public EngineStage {};

}  // namespace

TEST_F(AnyProgram, GetsScenes) {
    std::future<std::string> output =
        std::async(std::launch::async, [] { return outputOf(MODULE, "1 3"); });
    std::int64_t time = 0;
    while (output.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
        publish(++time, 2);
    }
    EXPECT_EQ(output.get(), "scene TWs1\nscene TWs1\nscene TWs1\nresult 0\n");
}

TEST_F(AnyProgram, SeesTheProviderGo) {
    std::future<std::string> output =
        std::async(std::launch::async, [] { return outputOf(MODULE, "0 1000000000"); });
    while (streams() == 0 &&
           output.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
    }
    stopEngine();
    EXPECT_EQ(output.get(), "result 0, disconnected\n");
}

TEST_F(AnyProgram, IsToldWhatIsMissing) {
    EXPECT_EQ(outputOf(MODULE, "5 1"), "result -3\n");
    stopEngine();
    EXPECT_EQ(outputOf(MODULE, "0 1"), "result -3\n");
    EXPECT_THAT(outputOf("./none.so", "0 1"), HasSubstr("none.so"));
}

TEST_F(AnyProgram, OpensTheDevicesModuleByItsName) {
    const std::string path = DEVICE_MODULE;
    EXPECT_THAT(path, testing::EndsWith("/libvideo_scene_subscriber.so.0"));
    // Nothing serves at the device's place here.
    EXPECT_EQ(outputOf(path, "0 1"), "result -3\n");
}
