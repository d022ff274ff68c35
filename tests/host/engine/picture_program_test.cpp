// What the program does with the pictures of a video.

#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>

#include "engine/listening_socket.h"
#include "engine/picture_link.h"
#include "engine_program.h"
#include "support/picture_peer.h"
#include "video_clip.h"

namespace {

/// A device whose video service is the test.
class PictureProgram : public EngineProgram {
protected:
    /// The engine's next connection; none after 20 seconds.
    PicturePeer accept() {
        pollfd waiting = {service.descriptor(), POLLIN, 0};
        poll(&waiting, 1, 20'000);
        return PicturePeer(service.accept());
    }

    /// Plays the stream of a camera, which waits for a client.
    FileDescriptor open(int camera) {
        FileDescriptor client = connectWhenReady();
        const std::string request = "1.0 OPEN 0 0 0 " + std::to_string(camera) + "\n";
        EXPECT_EQ(write(client.get(), request.data(), request.size()),
                  static_cast<ssize_t>(request.size()));
        return client;
    }

    int end() {
        kill(process, SIGTERM);
        return wait();
    }

    const std::string pictures = folder.path("pictures.sock");
    ListeningSocket service{pictures, SOCK_SEQPACKET};
};

}  // namespace

TEST_F(PictureProgram, DeliversWhatItAlsoKeeps) {
    const std::string clip = folder.path("clip.avi");
    VideoClip{}.write(clip);
    const std::string kept = folder.path("kept");
    mkdir(kept.c_str(), 0700);
    start({"--socket", socket, "--scenes",
           folder.write("empty.jsonl", R"({"time":0,"objects":[]})"), "--video", clip, "--dump",
           kept, "--pictures", pictures});
    const FileDescriptor recording = open(1);
    const FileDescriptor video = open(2);
    PicturePeer peer = accept();
    PictureLink::Hello hello;
    FileDescriptor memory;
    ASSERT_TRUE(peer.take(hello, &memory));
    EXPECT_EQ(hello.camera, 2);
    EXPECT_EQ(hello.width, 192);
    EXPECT_EQ(hello.height, 144);
    std::int64_t last = 0;
    for (int i = 0; i < 3; ++i) {
        PictureLink::Picture picture;
        ASSERT_TRUE(peer.take(picture));
        EXPECT_GT(picture.time, last);
        last = picture.time;
        std::uint8_t point = 0;  // the clip's ground is neither black nor white
        ASSERT_EQ(pread(memory.get(), &point, 1, off_t{picture.slot} * hello.slotSize + 100), 1);
        EXPECT_GT(point, 40);
        EXPECT_LT(point, 200);
        peer.send(PictureLink::Release{picture.slot});
    }
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(peer.isClosed());
    EXPECT_EQ(folder.read("err"), "");
    const std::filesystem::directory_iterator files(kept);
    EXPECT_GE(std::distance(begin(files), std::filesystem::end(files)), 3);
}

TEST_F(PictureProgram, PlaysOnWithoutAService) {
    const std::string clip = folder.path("clip.avi");
    VideoClip{}.write(clip);
    start({"--socket", socket, "--video", clip, "--pictures", folder.path("nobody.sock")});
    const FileDescriptor client = open(1);
    char buffer[4096];
    for (int got = 0; got < 500;) {  // several scenes
        const ssize_t count = read(client.get(), buffer, sizeof buffer);
        ASSERT_GT(count, 0);
        got += static_cast<int>(count);
    }
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(folder.read("err"), "plinth: camera 1: pictures cannot be delivered to " +
                                      folder.path("nobody.sock") + ": No such file or directory\n");
}
