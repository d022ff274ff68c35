#include "zqhttp/zqhttp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "scgi.h"
#include "support/own_process.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"
#include "web_server.h"
#include "zqhttp/host/zqhttp_host.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

const std::string head = "Content-Type: text/plain\r\nStatus: 200 OK\r\n\r\n";

/// An application that answers each request by its own text, until it is told otherwise.
class Application {
public:
    using Respond = std::function<void(const std::string& request, GOutputStream* out)>;

    ~Application() { end(); }
    Application() = default;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    bool start() {
        handler = zq_http_handler_new(handle, this);
        return handler != nullptr;
    }
    void end() { zq_http_handler_free(std::exchange(handler, nullptr)); }

    std::vector<std::string> requests() const {
        const std::lock_guard lock(mutex);
        return seen;
    }

    static void write(GOutputStream* out, const std::string& text) {
        g_output_stream_write_all(out, text.data(), text.size(), nullptr, nullptr, nullptr);
    }

    /// Told before start.
    Respond respond = [](const std::string& request, GOutputStream* out) {
        write(out, head + request);
    };
    /// The arguments of the last call.
    std::string method;
    std::string uri;
    std::string address;
    unsigned fieldCount = 0;

private:
    static void handle(const char* method, const char* uri, const char* request, GHashTable* fields,
                       GOutputStream* out, void* self) {
        auto& application = *static_cast<Application*>(self);
        {
            const std::lock_guard lock(application.mutex);
            application.seen.emplace_back(request);
            application.method = method;
            application.uri = uri;
            const auto* value = g_hash_table_lookup(fields, "REMOTE_ADDR");
            application.address = value ? static_cast<const char*>(value) : "";
            application.fieldCount = g_hash_table_size(fields);
        }
        application.respond(request, out);
    }

    ZQHttpHandler* handler = nullptr;
    mutable std::mutex mutex;
    std::vector<std::string> seen;
};

class ZQHttp : public ::testing::Test {
protected:
    ZQHttp() { zq_http_host_set_socket(path.c_str()); }
    ~ZQHttp() override {
        application.end();
        zq_http_host_set_socket(nullptr);
        zq_http_host_set_patience(0, 0);
    }

    WebServerConnection connect() const { return WebServerConnection(path); }
    std::string answerTo(const std::string& bytes) const {
        const WebServerConnection connection = connect();
        connection.send(bytes);
        return connection.receive();
    }
    std::string ask(const std::string& body) const { return answerTo(Scgi::request(body)); }
    bool isServing() const { return ask("still there") == head + "still there"; }

    TemporaryFolder folder;
    const std::string path = folder.path("http.sock");
    SyslogCapture log;
    Application application;
};

}  // namespace

TEST_F(ZQHttp, HandsARequestOverAndItsAnswerBack) {
    ASSERT_TRUE(application.start());
    EXPECT_EQ(answerTo(Scgi::request("{\"a\":1}", {{"REQUEST_METHOD", "POST"},
                                                   {"REQUEST_URI", "/control?a=b"},
                                                   {"REMOTE_ADDR", "127.0.0.1"}})),
              head + "{\"a\":1}");
    EXPECT_EQ(application.method, "POST");
    EXPECT_EQ(application.uri, "/control?a=b");
    EXPECT_EQ(application.address, "127.0.0.1");
    EXPECT_EQ(application.fieldCount, 5U);
    EXPECT_THAT(application.requests(), ElementsAre("{\"a\":1}"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ZQHttp, HandsEmptyTextsOverForWhatIsNotTold) {
    ASSERT_TRUE(application.start());
    EXPECT_EQ(ask(""), head);
    EXPECT_EQ(application.method, "");
    EXPECT_EQ(application.uri, "");
    EXPECT_THAT(application.requests(), ElementsAre(""));
}

TEST_F(ZQHttp, TakesABodyOf256KiBAndAnswersAsMuch) {
    ASSERT_TRUE(application.start());
    const std::string body(256 * 1024, 'x');
    EXPECT_EQ(ask(body), head + body);
}

TEST_F(ZQHttp, AnswersAClientThatHasEndedSending) {
    ASSERT_TRUE(application.start());
    const WebServerConnection connection = connect();
    connection.send(Scgi::request("{}"));
    connection.endSending();
    EXPECT_EQ(connection.receive(), head + "{}");
}

TEST_F(ZQHttp, EndsTheConnectionWhenTheCallbackWritesNothing) {
    application.respond = [](const std::string&, GOutputStream*) {};
    ASSERT_TRUE(application.start());
    EXPECT_EQ(ask("{}"), "");
}

TEST_F(ZQHttp, LeavesTheStreamToACallbackThatClosesIt) {
    application.respond = [](const std::string& request, GOutputStream* out) {
        Application::write(out, head + request);
        g_output_stream_close(out, nullptr, nullptr);
    };
    ASSERT_TRUE(application.start());
    EXPECT_EQ(ask("{}"), head + "{}");
    EXPECT_TRUE(isServing());
}

TEST_F(ZQHttp, CallsBackOnOneThreadThatTakesNoSignals) {
    std::vector<std::thread::id> threads;
    std::vector<int> blocked;
    application.respond = [&](const std::string& request, GOutputStream* out) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        threads.push_back(std::this_thread::get_id());
        blocked.push_back(sigismember(&mask, SIGTERM));
        Application::write(out, head + request);
    };
    ASSERT_TRUE(application.start());
    std::vector<std::thread> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back([this] {
            for (int k = 0; k < 25; ++k) {
                EXPECT_EQ(ask("{}"), head + "{}");
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    application.end();
    EXPECT_THAT(threads, SizeIs(100));
    EXPECT_THAT(threads, ::testing::Each(threads.front()));
    EXPECT_NE(threads.front(), std::this_thread::get_id());
    EXPECT_THAT(blocked, ::testing::Each(1));
}

// What is no request

TEST_F(ZQHttp, RefusesWhatIsNoRequestAndGoesOn) {
    // A refusal that waited for the rest of the request would come too late.
    zq_http_host_set_patience(60'000, 1);
    ASSERT_TRUE(application.start());
    const std::string refusal =
        "Content-Type: application/json\r\n\r\n"
        "{\"error\":\"the request is not acceptable\"}\n";
    const std::string badRequest = "Status: 400 Bad Request\r\n" + refusal;
    const std::string tooLarge = "Status: 413 Content Too Large\r\n" + refusal;

    EXPECT_EQ(answerTo("GET / HTTP/1.1\r\n\r\n"), badRequest);
    EXPECT_EQ(answerTo("0:,"), badRequest);
    EXPECT_EQ(answerTo(Scgi::head({{"SCGI", "1"}, {"CONTENT_LENGTH", "0"}})), badRequest);
    EXPECT_EQ(ask(std::string("{}\0{}", 5)), badRequest);
    EXPECT_EQ(answerTo("65537:"), tooLarge);
    EXPECT_EQ(answerTo(Scgi::head({{"CONTENT_LENGTH", "262145"}, {"SCGI", "1"}})), tooLarge);
    EXPECT_THAT(application.requests(), IsEmpty());
    EXPECT_TRUE(isServing());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ZQHttp, GoesOnWhenAClientHangsUpAnywhere) {
    ASSERT_TRUE(application.start());
    const std::string bytes = Scgi::request("{\"a\":1}");
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        connect().send(std::string_view(bytes).substr(0, length));
    }
    for (int i = 0; i < 50; ++i) {
        // The answer finds nobody.
        connect().send(Scgi::request("gone"));
    }
    EXPECT_TRUE(isServing());
    EXPECT_THAT(application.requests(), ::testing::Not(::testing::Contains("{\"a\":1}")));
}

TEST_F(ZQHttp, GoesOnWhenAClientHangsUpInTheMiddleOfItsAnswer) {
    std::atomic<bool> isWriting = false;
    const std::string much(8 * 1024 * 1024, 'x');
    application.respond = [&](const std::string& request, GOutputStream* out) {
        isWriting = true;
        isWriting.notify_all();
        Application::write(out, request == "much" ? much : head + request);
    };
    ASSERT_TRUE(application.start());
    WebServerConnection connection = connect();
    connection.send(Scgi::request("much"));
    isWriting.wait(false);
    connection.hangUp();
    EXPECT_TRUE(isServing());
}

TEST_F(ZQHttp, DiesOfNoSIGPIPE) {
    const auto answerNobody = [this] {
        // Whatever the process does with the signal, the library does not raise it.
        application.respond = [](const std::string& request, GOutputStream* out) {
            signal(SIGPIPE, SIG_DFL);
            for (int i = 0; i < 64; ++i) {
                Application::write(out, head + request);
            }
        };
        if (!application.start()) {
            _exit(1);
        }
        const std::string large(100'000, 'x');
        for (int i = 0; i < 20; ++i) {
            connect().send(Scgi::request(large));
        }
        const bool areAnswered = waitFor([this] { return application.requests().size() == 20; });
        application.end();
        _exit(areAnswered ? 0 : 2);
    };
    EXPECT_EQ(exitStatusOf(answerNobody), 0);
}

TEST_F(ZQHttp, ReadsTheRestOfWhatItRefuses) {
    ASSERT_TRUE(application.start());
    const std::string rest(512 * 1024, 'x');
    for (const char* bytes : {"GET / HTTP/1.1\r\n\r\n", "65537:"}) {
        const WebServerConnection connection = connect();
        connection.send(bytes);
        ASSERT_TRUE(connection.hasSomethingWithin(20'000));
        EXPECT_TRUE(connection.send(rest)) << bytes;
        EXPECT_THAT(connection.receive(), StartsWith("Status: 4"));
    }
}

TEST_F(ZQHttp, EndsAConnectionThatNeverEndsToSendWhatIsNoRequest) {
    ASSERT_TRUE(application.start());
    const WebServerConnection flooding = connect();
    const std::string junk(64 * 1024, 'x');
    std::size_t sent = 0;
    while (sent < 64 * 1024 * 1024 && flooding.send(junk)) {
        sent += junk.size();
    }
    EXPECT_LT(sent, 2 * 1024 * 1024);
    EXPECT_TRUE(isServing());
}

// Slow clients

TEST_F(ZQHttp, AnswersOthersWhileASlowClientSends) {
    ASSERT_TRUE(application.start());
    const WebServerConnection slow = connect();
    const std::string bytes = Scgi::request("slow");
    for (const char byte : bytes) {
        slow.send(std::string(1, byte));
        if (&byte != &bytes.back()) {
            EXPECT_TRUE(isServing());
        }
    }
    EXPECT_EQ(slow.receive(), head + "slow");
}

TEST_F(ZQHttp, EndsAConnectionWhoseRequestDoesNotArriveInTime) {
    zq_http_host_set_patience(100, 1);
    ASSERT_TRUE(application.start());
    const WebServerConnection silent = connect();
    const WebServerConnection slow = connect();
    slow.send("30:CONTENT");
    EXPECT_EQ(silent.receive(), "");
    EXPECT_EQ(slow.receive(), "");
    EXPECT_TRUE(isServing());
    EXPECT_THAT(application.requests(), ElementsAre("still there"));
}

TEST_F(ZQHttp, CountsWhatHasArrivedInTimeHoweverLateItIsLookedAt) {
    zq_http_host_set_patience(100, 1);
    std::atomic<bool> isInside = false;
    std::atomic<bool> mayLeave = false;
    application.respond = [&](const std::string& request, GOutputStream* out) {
        if (request == "long") {
            isInside = true;
            isInside.notify_all();
            mayLeave.wait(false);
        }
        Application::write(out, head + request);
    };
    ASSERT_TRUE(application.start());
    const WebServerConnection busy = connect();
    const WebServerConnection other = connect();
    const std::string bytes = Scgi::request("in time");
    busy.send(Scgi::request("long"));
    isInside.wait(false);
    other.send(bytes);
    g_usleep(150'000);  // its time is up
    mayLeave = true;
    mayLeave.notify_all();
    EXPECT_EQ(other.receive(), head + "in time");
}

TEST_F(ZQHttp, WaitsForNoReaderOfAnAnswerOfTheUsualSize) {
    zq_http_host_set_patience(10'000, 1);
    const std::string answer(300'000, 'x');
    std::atomic<int> failures = 0;
    application.respond = [&](const std::string& request, GOutputStream* out) {
        if (request != "much") {
            Application::write(out, head + request);
        } else if (!g_output_stream_write_all(out, answer.data(), answer.size(), nullptr, nullptr,
                                              nullptr)) {
            ++failures;
        }
    };
    ASSERT_TRUE(application.start());
    const WebServerConnection reader = connect();
    reader.send(Scgi::request("much"));
    EXPECT_TRUE(isServing());
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(reader.receive(), answer);
}

TEST_F(ZQHttp, GivesUpAReaderThatStalls) {
    zq_http_host_set_patience(10'000, 1);
    std::atomic<bool> hasFailed = false;
    const std::string much(8 * 1024 * 1024, 'x');
    application.respond = [&](const std::string& request, GOutputStream* out) {
        if (request == "much") {
            hasFailed = !g_output_stream_write_all(out, much.data(), much.size(), nullptr, nullptr,
                                                   nullptr);
        } else {
            Application::write(out, head + request);
        }
    };
    ASSERT_TRUE(application.start());
    const WebServerConnection stalled = connect();
    stalled.send(Scgi::request("much"));
    EXPECT_TRUE(isServing());
    EXPECT_TRUE(hasFailed);
}

TEST_F(ZQHttp, TakesNoMoreConnectionsThanItHolds) {
    ASSERT_TRUE(application.start());
    std::vector<WebServerConnection> silent;
    for (int i = 0; i < 32; ++i) {
        silent.push_back(connect());
    }
    const WebServerConnection late = connect();
    late.send(Scgi::request("late"));
    EXPECT_FALSE(late.hasSomethingWithin(100));
    silent.pop_back();
    EXPECT_EQ(late.receive(), head + "late");
}

TEST_F(ZQHttp, TakesTheConnectionsThatHadToWaitLater) {
    zq_http_host_set_patience(300, 1);
    ASSERT_TRUE(application.start());
    std::vector<WebServerConnection> silent;
    for (int i = 0; i < 80; ++i) {
        silent.push_back(connect());
    }
    // Behind them all: they run out of time, 32 by 32.
    EXPECT_TRUE(isServing());
    for (const WebServerConnection& connection : silent) {
        EXPECT_EQ(connection.receive(), "");
    }
}

TEST_F(ZQHttp, GoesOnWhenItHadNoDescriptorLeft) {
    const auto runOut = [this] {
        if (!application.start() || !isServing()) {
            _exit(1);
        }
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlim_t before = limit.rlim_cur;
        const int lowestFree = dup(STDERR_FILENO);
        close(lowestFree);
        limit.rlim_cur = static_cast<rlim_t>(lowestFree) + 1;
        setrlimit(RLIMIT_NOFILE, &limit);
        const WebServerConnection late = connect();
        late.send(Scgi::request("late"));
        const bool isAnsweredWithout = late.hasSomethingWithin(150);
        limit.rlim_cur = before;
        setrlimit(RLIMIT_NOFILE, &limit);
        const bool isAnsweredLater = late.receive() == head + "late";
        _exit(!isAnsweredWithout && isAnsweredLater && isServing() ? 0 : 2);
    };
    EXPECT_EQ(exitStatusOf(runOut), 0);
}

// The end

TEST_F(ZQHttp, IsFreedBehindTheCallbackThatRuns) {
    for (int round = 0; round < 20; ++round) {
        std::atomic<bool> isInside = false;
        std::atomic<bool> mayLeave = false;
        // Plain: nothing but the freeing orders the two threads.
        bool hasLeft = false;
        Application own;
        own.respond = [&](const std::string& request, GOutputStream* out) {
            isInside = true;
            isInside.notify_all();
            mayLeave.wait(false);
            Application::write(out, head + request);
            hasLeft = true;
        };
        ASSERT_TRUE(own.start());
        const WebServerConnection running = connect();
        const WebServerConnection waiting = connect();
        running.send(Scgi::request("running"));
        isInside.wait(false);
        waiting.send(Scgi::request("waiting"));
        std::thread freeing([&] {
            mayLeave = true;
            mayLeave.notify_all();
            own.end();
            EXPECT_TRUE(hasLeft);
        });
        freeing.join();
        EXPECT_EQ(running.receive(), head + "running");
        EXPECT_THAT(waiting.receive(), ::testing::AnyOf("", head + "waiting"));
    }
}

TEST_F(ZQHttp, CallsBackNoMoreOnceItIsFreed) {
    for (int round = 0; round < 20; ++round) {
        // Freed storage, should a callback still come.
        auto shortLived = std::make_unique<Application>();
        ASSERT_TRUE(shortLived->start());
        std::atomic<bool> isOver = false;
        std::vector<std::thread> clients;
        for (int i = 0; i < 3; ++i) {
            clients.emplace_back([&] {
                while (!isOver) {
                    try {
                        ask("{}");
                    } catch (const std::runtime_error&) {
                        // Nobody listens any more.
                    }
                }
            });
        }
        EXPECT_TRUE(waitFor([&] { return shortLived->requests().size() > 5; }));
        shortLived.reset();
        isOver = true;
        for (std::thread& client : clients) {
            client.join();
        }
    }
}

TEST_F(ZQHttp, EndsConnectionsThatSendNothingWhenItIsFreed) {
    ASSERT_TRUE(application.start());
    const WebServerConnection silent = connect();
    const WebServerConnection half = connect();
    half.send("30:CONT");
    EXPECT_TRUE(isServing());
    application.end();
    EXPECT_EQ(silent.receive(), "");
    EXPECT_EQ(half.receive(), "");
}

TEST_F(ZQHttp, MayBeFreedWithoutAHandler) {
    zq_http_handler_free(nullptr);
}

// The socket file

TEST_F(ZQHttp, TakesThePlaceOfAStaleSocketAndRemovesItsOwn) {
    const auto leaveSocket = [this] {
        const bool isStarted = application.start();
        _exit(isStarted ? 0 : 1);  // as if it were killed
    };
    ASSERT_EQ(exitStatusOf(leaveSocket), 0);
    ASSERT_THAT(folder.names(), ElementsAre("http.sock"));
    EXPECT_THROW(connect(), std::runtime_error);

    ASSERT_TRUE(application.start());
    EXPECT_TRUE(isServing());
    EXPECT_THAT(folder.names(), ElementsAre("http.sock"));
    application.end();
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(ZQHttp, TakesThePlaceOfWhateverFileStandsThere) {
    folder.write("http.sock", "text");
    folder.write("http.sock.new", "text");
    ASSERT_TRUE(application.start());
    EXPECT_TRUE(isServing());
    EXPECT_THAT(folder.names(), ElementsAre("http.sock"));
}

TEST_F(ZQHttp, LeavesTheSocketOfItsSuccessor) {
    ASSERT_TRUE(application.start());
    Application successor;
    ASSERT_TRUE(successor.start());
    application.end();
    EXPECT_TRUE(isServing());
    EXPECT_THAT(successor.requests(), SizeIs(1));
}

TEST_F(ZQHttp, GivesNothingWhereThereIsNoPlace) {
    const std::string absent = folder.path("absent/http.sock");
    zq_http_host_set_socket(absent.c_str());
    EXPECT_FALSE(application.start());
    EXPECT_THAT(log.lines(),
                ElementsAre(SyslogCapture::Line{
                    LOG_ERR, "Web server: " + absent + ": No such file or directory\n"}));

    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    zq_http_host_set_socket(path.c_str());
    EXPECT_FALSE(application.start());
    EXPECT_THAT(log.texts(), SizeIs(2));
    EXPECT_THAT(log.texts().back(), StartsWith("Web server: " + path + ": "));
    EXPECT_THAT(folder.names(), ElementsAre("http.sock"));
    rmdir(path.c_str());

    const std::string tooLong = folder.path(std::string(200, 'x'));
    zq_http_host_set_socket(tooLong.c_str());
    EXPECT_FALSE(application.start());
    EXPECT_THAT(log.texts().back(), HasSubstr("File name too long"));
    EXPECT_THAT(folder.names(), IsEmpty());
}
