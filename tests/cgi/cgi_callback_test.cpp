#include "cgi/cgi_callback.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cgi/api_version_handler.h"
#include "cgi/cgi_handler.h"
#include "cgi/cgi_handler_result.h"
#include "scene/camera.h"
#include "scene/camera_container.h"
#include "support/failing_json_memory.h"
#include "support/own_process.h"
#include "support/syslog_capture.h"
#include "support/test_device.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const char* versionTexts[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};
const std::string head = "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n";

class NoCameras : public CameraContainer {
public:
    NoCameras() : CameraContainer(API_VersionHandler(), 0) {}

protected:
    Camera* createCamera(int, int, API_VersionHandler, int) override { return nullptr; }
    void shutDownSub() override {}
};

/// Notes what it is asked and says what it is told to say.
class FakeHandler : public CGI_Handler {
public:
    using Result = std::unique_ptr<CGI_HandlerResult>;

    FakeHandler(CameraContainer& cameras, const API_VersionHandler& versions)
        : CGI_Handler(cameras, versions, "", "", nullptr, nullptr, nullptr) {}

    Result handleRequestedCgi(const char* request, const std::string& method) override {
        requests.emplace_back(request);
        methods.push_back(method);
        return respond();
    }

    std::function<Result()> respond = [] { return std::make_unique<CGI_HandlerResult>(); };
    std::vector<std::string> requests;
    std::vector<std::string> methods;
};

class CGI_CallbackTest : public ::testing::Test {
protected:
    /// All that is written in answer.
    std::string ask(const std::string& text) {
        g_autoptr(GOutputStream) stream = g_memory_output_stream_new_resizable();
        CGI_Callback::handle("", "", text.c_str(), nullptr, stream,
                             static_cast<CGI_Handler*>(&handler));
        auto* memory = G_MEMORY_OUTPUT_STREAM(stream);
        const auto* data = static_cast<const char*>(g_memory_output_stream_get_data(memory));
        return data ? std::string(data, g_memory_output_stream_get_data_size(memory)) : "";
    }

    void responds(json_t* data, StatusCode_e status) {
        handler.respond = [=] {
            return std::make_unique<CGI_HandlerResult>(json_incref(data), status);
        };
    }

    static std::string answered(const std::string& members) {
        return head + R"({"apiVersion":"1.4","method":"m","context":"c",)" + members + "}";
    }
    static std::string refused(const std::string& method, const std::string& code,
                               const std::string& message) {
        return head + R"({"apiVersion":"1.4","method":")" + method + R"(","context":"",)" +
               R"("error":{"code":")" + code + R"(","message":")" + message + "\"}}";
    }

    const std::string request = R"({"apiVersion":"1.0","method":"m","context":"c"})";

    TestDevice device;
    const API_VersionHandler versions{versionTexts, std::size(versionTexts)};
    NoCameras container;
    FakeHandler handler{container, versions};
    SyslogCapture log;
};

const std::string missing = "A mandatory parameter is missing";
const std::string malformed =
    "The configuration was not formatted correctly, i.e. does not follow json-scheme";
const std::string internal =
    R"("error":{"code":"1000","message":"An error occurred inside the application."})";

}  // namespace

TEST_F(CGI_CallbackTest, AnswersASuccessWithItsData) {
    const JsonAutoPtr data(json_pack("{s:[s]}", "apiVersions", "1.0"));
    responds(data.get(), StatusOk);

    EXPECT_EQ(ask(request), answered(R"("data":{"apiVersions":["1.0"]})"));
    EXPECT_THAT(handler.methods, ElementsAre("m"));
    EXPECT_THAT(handler.requests, ElementsAre(request));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(data.get()->refcount, 1U);
}

TEST_F(CGI_CallbackTest, AnswersASuccessWithoutDataWithAnEmptyObject) {
    responds(nullptr, StatusOk);
    EXPECT_EQ(ask(request), answered(R"("data":{})"));
}

TEST_F(CGI_CallbackTest, WritesNumbersWithFourDigits) {
    const JsonAutoPtr data(json_pack("{s:f, s:f, s:i}", "a", 0.123456, "b", -0.97, "c", 123456));
    responds(data.get(), StatusOk);
    EXPECT_EQ(ask(request), answered(R"("data":{"a":0.1235,"b":-0.97,"c":123456})"));
}

TEST_F(CGI_CallbackTest, AnswersAFailureWithCodeAndMessageAndWithoutItsData) {
    const JsonAutoPtr data(json_object());
    responds(data.get(), StatusInvalidParameter);
    EXPECT_EQ(ask(request), answered(R"("error":{"code":"2004","message":)"
                                     R"("The configuration contains an invalid parameter"})"));
}

TEST_F(CGI_CallbackTest, AnswersNoResultAsAnInternalError) {
    handler.respond = [] { return nullptr; };
    EXPECT_EQ(ask(request), answered(internal));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_CallbackTest, AnswersAHandlerThatThrowsAsAnInternalErrorAndGoesOn) {
    handler.respond = []() -> FakeHandler::Result {
        throw StatusException("Could not extend", StatusSaveError);
    };
    EXPECT_EQ(ask(request), answered(internal));
    handler.respond = []() -> FakeHandler::Result { throw std::runtime_error("broken"); };
    EXPECT_EQ(ask(request), answered(internal));
    EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{LOG_WARNING, "Could not extend\n"},
                                         SyslogCapture::Line{LOG_WARNING, "broken\n"}));

    responds(nullptr, StatusOk);
    EXPECT_EQ(ask(request), answered(R"("data":{})"));
}

TEST_F(CGI_CallbackTest, AsksNoHandlerForABadHead) {
    for (const char* bad : {"", "x", "{}", R"({"method":"m","apiVersion":"1.9"})"}) {
        ask(bad);
    }
    EXPECT_THAT(handler.methods, IsEmpty());
}

TEST_F(CGI_CallbackTest, AnswersTheMethodWithTheRequestsTextRepaired) {
    EXPECT_EQ(ask(request + " and garbage"), answered(R"("data":{})"));
    EXPECT_EQ(ask(request + "}}"), answered(R"("data":{})"));
    EXPECT_THAT(handler.requests, ElementsAre(request, request));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CGI_CallbackTest, RepairsAnObjectOfAnotherKindAndMissesItsMethod) {
    EXPECT_EQ(ask(R"({"a":1}})"), refused("", "2003", missing));
    EXPECT_THAT(log.texts(),
                ::testing::Contains(::testing::HasSubstr("Received request: {\"a\":1}\n")));
}

TEST_F(CGI_CallbackTest, AnswersWhatIsNoJson) {
    EXPECT_EQ(ask(""), refused("", "2001", malformed));
    EXPECT_EQ(ask("garbage } more } garbage"), refused("", "2001", malformed));
    // Once to be dispatched and once to be answered.
    EXPECT_EQ(log.lines().size(), 4U);
    EXPECT_THAT(log.texts().back(), ::testing::EndsWith("Received request: garbage }\n"));
}

TEST_F(CGI_CallbackTest, AnswersAnArrayAsLackingItsMethod) {
    EXPECT_EQ(ask("[]"), refused("", "2003", missing));
}

TEST_F(CGI_CallbackTest, AnswersByTheVersionAskedFor) {
    const auto askVersion = [this](const std::string& version) {
        return ask(R"({"method":"m","apiVersion":")" + version + "\"}");
    };
    const std::string unsupported = "The requested version of the application is not supported.";
    EXPECT_EQ(askVersion("1.0"),
              head + R"({"apiVersion":"1.4","method":"m","context":"","data":{}})");
    for (const char* version : {"1.9", "2.0"}) {
        EXPECT_EQ(askVersion(version), refused("m", "2000", unsupported));
    }
    for (const char* version : {"1", "1.x"}) {
        EXPECT_EQ(askVersion(version), refused("m", "2003", missing));
    }
}

TEST_F(CGI_CallbackTest, AnswersAnEmptyContextLikeNone) {
    EXPECT_EQ(ask(R"({"method":"m","apiVersion":"1.0","context":""})"),
              ask(R"({"method":"m","apiVersion":"1.0"})"));
}

TEST_F(CGI_CallbackTest, SendsAHeadAloneWhenMemoryIsShort) {
    bool isComplete = false;
    for (int n = 1; !isComplete; ++n) {
        ASSERT_LT(n, 1000);
        const FailingJsonMemory memory(n);
        const std::string answer = ask(request);
        EXPECT_THAT(answer, ::testing::StartsWith(head));
        isComplete = memory.hasNotFailed();
        EXPECT_TRUE(!isComplete || answer == answered(R"("data":{})"));
    }
    EXPECT_TRUE(log.has(LOG_WARNING, "Could not append handler data to CGI response\n"));
}

TEST_F(CGI_CallbackTest, AnswersOneRequestAtATime) {
    bool isBusy = false;
    int answers = 0;
    handler.respond = [&] {
        EXPECT_FALSE(std::exchange(isBusy, true));
        std::this_thread::yield();
        isBusy = false;
        ++answers;
        return std::make_unique<CGI_HandlerResult>();
    };
    std::vector<std::thread> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back([this] {
            for (int k = 0; k < 100; ++k) {
                EXPECT_THAT(ask(request), ::testing::StartsWith(head));
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(answers, 400);
}

// What is shut down stays so: in processes of their own.

TEST_F(CGI_CallbackTest, WritesNothingAfterShutDown) {
    const auto shutDownAndAsk = [this] {
        CGI_Callback::shutDown();
        const bool isSilent = ask(request).empty() && ask("garbage").empty();
        _exit(isSilent && handler.methods.empty() ? 0 : 1);
    };
    EXPECT_EQ(exitStatusOf(shutDownAndAsk), 0);
    EXPECT_THAT(ask(request), ::testing::StartsWith(head));
}

TEST_F(CGI_CallbackTest, ShutsDownBehindTheRequestThatRuns) {
    const auto shutDownMeanwhile = [this] {
        std::thread stopper;
        std::atomic<bool> hasBegun = false;
        // Plain: nothing but the callback's mutex orders the two threads.
        bool isResponded = false;
        bool wasResponded = false;
        handler.respond = [&] {
            stopper = std::thread([&] {
                hasBegun = true;
                hasBegun.notify_all();
                CGI_Callback::shutDown();
                wasResponded = isResponded;
            });
            hasBegun.wait(false);
            isResponded = true;
            return std::make_unique<CGI_HandlerResult>();
        };
        const bool isAnswered = ask(request) == answered(R"("data":{})");
        stopper.join();
        _exit(isAnswered && wasResponded && ask(request).empty() ? 0 : 1);
    };
    EXPECT_EQ(exitStatusOf(shutDownMeanwhile), 0);
}
