#include "cgi/cgi_responder.h"

#include <gio/gio.h>
#include <gio/gunixoutputstream.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace {

std::string written(GOutputStream* stream) {
    auto* memory = G_MEMORY_OUTPUT_STREAM(stream);
    return {static_cast<const char*>(g_memory_output_stream_get_data(memory)),
            g_memory_output_stream_get_data_size(memory)};
}

}  // namespace

TEST(CGI_Responder, WritesTheHeadThenTheBodyAndClosesTheStream) {
    g_autoptr(GOutputStream) stream = g_memory_output_stream_new_resizable();
    CGI_Responder::sendResponse("{\"a\":1}", *stream);

    EXPECT_TRUE(g_output_stream_is_closed(stream));
    EXPECT_EQ(written(stream), "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n{\"a\":1}");
}

TEST(CGI_Responder, WritesAllInOnePieceSoThatAKillLeavesAllOrNothing) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    {
        g_autoptr(GOutputStream) stream = g_unix_output_stream_new(ends[0], TRUE);
        CGI_Responder::sendResponse("{\"a\":1}", *stream);
    }
    char pieces[2][200];
    EXPECT_EQ(read(ends[1], pieces[0], sizeof pieces[0]), 57);
    EXPECT_EQ(read(ends[1], pieces[1], sizeof pieces[1]), 0);
    close(ends[1]);
}

TEST(CGI_Responder, SendsTheHeadOfAnEmptyBodyToo) {
    g_autoptr(GOutputStream) stream = g_memory_output_stream_new_resizable();
    CGI_Responder::sendResponse("", *stream);

    EXPECT_EQ(written(stream), "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n");
}

TEST(CGI_Responder, LosesWhatNobodyTakes) {
    char room[40];
    g_autoptr(GOutputStream) stream =
        g_memory_output_stream_new(room, sizeof room, nullptr, nullptr);
    CGI_Responder::sendResponse("{\"a\":1}", *stream);

    EXPECT_EQ(g_memory_output_stream_get_data_size(G_MEMORY_OUTPUT_STREAM(stream)), sizeof room);
    EXPECT_EQ(std::string(room, sizeof room), "Content-Type: application/json\r\nStatus: ");
}
