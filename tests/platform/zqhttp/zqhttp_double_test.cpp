#include "zqhttp/double/zqhttp_double.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/// Answers with all that it was given.
void tellAll(const char* method, const char* uri, const char* request, GHashTable* fields,
             GOutputStream* out, void* userData) {
    const auto* field = static_cast<const char*>(g_hash_table_lookup(fields, "A"));
    g_output_stream_printf(out, nullptr, nullptr, nullptr, "%s %s %s A=%s %s", method, uri, request,
                           field ? field : "", static_cast<const char*>(userData));
}

void freeItself(const char*, const char*, const char*, GHashTable*, GOutputStream*,
                void* userData) {
    zq_http_handler_free(*static_cast<ZQHttpHandler**>(userData));
}

struct Visit {
    std::atomic<bool> isInside = false;
    std::atomic<bool> mayLeave = false;
    bool hasLeft = false;  // plain: nothing but the freeing orders the threads
};

void stay(const char*, const char*, const char*, GHashTable*, GOutputStream*, void* userData) {
    auto& visit = *static_cast<Visit*>(userData);
    visit.isInside = true;
    visit.isInside.notify_all();
    visit.mayLeave.wait(false);
    visit.hasLeft = true;
}

class ZQHttpDoubleTest : public ::testing::Test {
protected:
    ZQHttpDoubleTest() { ZQHttpDouble::reset(); }
    ~ZQHttpDoubleTest() override { ZQHttpDouble::reset(); }

    char name[5] = "name";
};

}  // namespace

TEST_F(ZQHttpDoubleTest, HandsRequestsToTheHandler) {
    EXPECT_FALSE(ZQHttpDouble::request("{}").isHandled);
    ZQHttpHandler* handler = zq_http_handler_new(tellAll, name);

    const ZQHttpDouble::Answer plain = ZQHttpDouble::request("{}");
    EXPECT_TRUE(plain.isHandled);
    EXPECT_EQ(plain.text, "POST /control {} A= name");
    EXPECT_EQ(ZQHttpDouble::request("GET", "/a", "", {{"A", "1"}}).text, "GET /a  A=1 name");

    EXPECT_EQ(ZQHttpDouble::liveHandlers(), 1);
    zq_http_handler_free(handler);
    EXPECT_EQ(ZQHttpDouble::liveHandlers(), 0);
    EXPECT_FALSE(ZQHttpDouble::request("{}").isHandled);
    EXPECT_THAT(ZQHttpDouble::log(), ElementsAre("zq_http_handler_new", "zq_http_handler_free"));
    EXPECT_THAT(ZQHttpDouble::userData(), ElementsAre(name));
    EXPECT_THAT(ZQHttpDouble::misuses(), IsEmpty());
}

TEST_F(ZQHttpDoubleTest, FailsTheCallAskedFor) {
    ZQHttpDouble::failCall("zq_http_handler_new", 2);
    ZQHttpHandler* handler = zq_http_handler_new(tellAll, name);
    EXPECT_NE(handler, nullptr);
    EXPECT_EQ(zq_http_handler_new(tellAll, name), nullptr);
    zq_http_handler_free(handler);

    ZQHttpDouble::failAnyCall(1);
    EXPECT_EQ(zq_http_handler_new(tellAll, name), nullptr);
    ZQHttpDouble::failEveryCall("zq_http_handler_new");
    EXPECT_EQ(zq_http_handler_new(tellAll, name), nullptr);
    EXPECT_EQ(ZQHttpDouble::calls("zq_http_handler_new"), 4);
    EXPECT_THAT(
        ZQHttpDouble::log(),
        ElementsAre("zq_http_handler_new", "zq_http_handler_new failed", "zq_http_handler_free",
                    "zq_http_handler_new failed", "zq_http_handler_new failed"));
}

TEST_F(ZQHttpDoubleTest, NoticesWrongUses) {
    zq_http_handler_free(nullptr);
    ZQHttpHandler* handler = zq_http_handler_new(tellAll, name);
    zq_http_handler_free(handler);
    zq_http_handler_free(handler);
    zq_http_handler_free(reinterpret_cast<ZQHttpHandler*>(name));
    ZQHttpHandler* suicidal = nullptr;
    suicidal = zq_http_handler_new(freeItself, &suicidal);
    ZQHttpDouble::request("{}");
    zq_http_handler_free(suicidal);

    EXPECT_THAT(ZQHttpDouble::misuses(),
                ElementsAre("zq_http_handler_free: handle was freed before",
                            "zq_http_handler_free: unknown handle",
                            "zq_http_handler_free: called from the callback"));
}

TEST_F(ZQHttpDoubleTest, FreesBehindTheCallbackThatRuns) {
    Visit visit;
    ZQHttpHandler* handler = zq_http_handler_new(stay, &visit);
    std::thread client([] { ZQHttpDouble::request("{}"); });
    visit.isInside.wait(false);
    std::thread freeing([&] {
        visit.mayLeave = true;
        visit.mayLeave.notify_all();
        zq_http_handler_free(handler);
        EXPECT_TRUE(visit.hasLeft);
    });
    freeing.join();
    client.join();
    EXPECT_THAT(ZQHttpDouble::misuses(), IsEmpty());
}
