#include "overlay/stream_overlay.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <memory>

#include "overlay/command_channel_handler.h"
#include "support/failure_of.h"
#include "support/overlay_device.h"
#include "support/syslog_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr int kWidth = 64;
constexpr int kHeight = 32;
constexpr int kImageSize = kWidth * kHeight / 2;
constexpr int kBufferSize = kImageSize + 96;
constexpr const char* kPath = "/com/orva/Overlay2/Overlay/7";

class StreamOverlayTest : public testing::Test {
protected:
    ~StreamOverlayTest() override { close(memory); }

    /// One round of an overlay with an image of one value.
    void show(unsigned char value, bool isChanged) {
        overlay.setupBuffer(memory, channel);
        const std::vector<unsigned char> image(kImageSize, value);
        overlay.insertData(image.data(), isChanged);
        overlay.submitBuffer(channel);
    }
    /// What is in the overlay's last buffer: the image, held between bytes of no part of it.
    std::vector<unsigned char> shown(int overlayId = 7) {
        const unsigned char* buffer = device.bufferOf(overlayId);
        return {buffer + 64, buffer + 64 + kImageSize};
    }
    std::string setupFailure() {
        return failureOf([this] { overlay.setupBuffer(memory, channel); });
    }

    PrivateBus bus;
    OverlayDevice device{bus};
    SyslogCapture log;
    int memory = device.duplicateMemory();
    CommandChannelHandler channel;
    StreamOverlay overlay{3, 7, kBufferSize, kWidth, kHeight, {.top = 16, .bottom = 32}, kPath};
};

TEST_F(StreamOverlayTest, IsWhatItIsMadeOf) {
    EXPECT_EQ(overlay.getStreamId(), 3);
    EXPECT_EQ(overlay.getObjectPath(), kPath);
    EXPECT_EQ(overlay.getExternalUnion(), (ExternalOverlayUnion{.top = 16, .bottom = 32}));
    EXPECT_EQ(overlay.getFrameCount(), 0);
    EXPECT_TRUE(overlay.isCreated());
    EXPECT_EQ(overlay.getImageOverlayMemory(), nullptr);
}

TEST_F(StreamOverlayTest, ExchangesABufferAsTold) {
    device.answerRequests([](const std::string& request) {
        return request.find("getBuffer") == std::string::npos ? "{}"
                                                              : R"({"data": {"buffer": 8192}})";
    });
    show(0x44, true);
    EXPECT_THAT(
        device.requests(),
        ElementsAre(std::string(R"({"apiVersion": "1.0", "method": "getBuffer", "context": "", )"
                                R"("params": {"overlayId": 7}})") +
                        '\0',
                    std::string(R"({"apiVersion": "1.0", "method": "submitBuffer", "context": "", )"
                                R"("params": {"overlayId": 7, "buffer": 8192}})") +
                        '\0'));
}

TEST_F(StreamOverlayTest, WritesTheImageBehindTheHeaderAndNotBeyondItsEnd) {
    std::fill_n(device.buffers(), 2 * kBufferSize, 0xEE);
    show(0x44, true);
    const unsigned char* buffer = device.bufferOf(7);
    EXPECT_THAT(std::vector<unsigned char>(buffer, buffer + 64), Each(0xEE));
    EXPECT_THAT(shown(), Each(0x44));
    EXPECT_THAT(std::vector<unsigned char>(buffer + 64 + kImageSize, buffer + 2 * kBufferSize),
                Each(0xEE));
}

TEST_F(StreamOverlayTest, MapsTheBufferAtItsHandle) {
    show(0x44, true);
    EXPECT_EQ(overlay.getImageOverlayMemory()[64], 0x44);
    show(0x55, true);
    EXPECT_EQ(device.bufferOf(7), device.buffers() + OverlayDevice::kBufferSize);
    EXPECT_THAT(shown(), Each(0x55));
    EXPECT_EQ(overlay.getImageOverlayMemory()[64], 0x55);
}

TEST_F(StreamOverlayTest, UnmapsTheBufferBefore) {
    const auto countMappings = [] {
        std::ifstream maps("/proc/self/maps");
        int count = 0;
        for (std::string line; std::getline(maps, line);) {
            count += line.find("memfd:buffers") != std::string::npos ? 1 : 0;
        }
        return count;
    };
    const int before = countMappings();
    for (int i = 0; i < 5; ++i) {
        show(0x44, true);
        EXPECT_EQ(countMappings(), before + 1);
    }
}

TEST_F(StreamOverlayTest, MayHaveAnyIdAndHandle) {
    device.answerRequests([](const std::string&) { return R"({"data": {"buffer": 0}})"; });
    StreamOverlay zero(4, 0, kBufferSize, kWidth, kHeight, {}, kPath);
    EXPECT_TRUE(zero.isCreated());
    zero.setupBuffer(memory, channel);
    const std::vector<unsigned char> image(kImageSize, 0x44);
    zero.insertData(image.data(), true);
    EXPECT_EQ(device.buffers()[64], 0x44);
}

TEST_F(StreamOverlayTest, IsMadeVisibleAfterEachSubmission) {
    device.forgetCalls();
    show(0x44, true);
    show(0x44, true);
    const std::string call = std::string("SetProperties ") + kPath + " ({'Visible': 'true'},)";
    EXPECT_THAT(device.calls(), ElementsAre(call, call));
    EXPECT_THAT(device.interfaces(), Each("com.orva.Overlay2.Overlay"));
}

TEST_F(StreamOverlayTest, SkipsTheCopyOnceTheBuffersAreBlank) {
    // A device that goes through two buffers sees both made blank: the copy after the last change
    // is not skipped either.
    show(0x44, true);
    show(0x55, true);
    show(0x66, false);
    EXPECT_THAT(shown(), Each(0x66));
    show(0x77, false);
    EXPECT_THAT(shown(), Each(0x00));
    EXPECT_THAT(device.requests(), SizeIs(8));
    show(0x44, true);
    EXPECT_THAT(shown(), Each(0x44));
}

TEST_F(StreamOverlayTest, CopiesUntilItIsVisible) {
    overlay.setupBuffer(memory, channel);
    const std::vector<unsigned char> image(kImageSize, 0x55);
    overlay.insertData(image.data(), false);
    EXPECT_THAT(shown(), Each(0x55));
}

TEST_F(StreamOverlayTest, CountsFramesOfBothKinds) {
    const std::vector<unsigned char> image(kImageSize, 0x55);
    overlay.insertData(image.data(), true);
    overlay.copyDataFromStreamOverlay(overlay, true);
    EXPECT_EQ(overlay.getFrameCount(), 2);
    EXPECT_EQ(overlay.getImageOverlayMemory(), nullptr);
}

TEST_F(StreamOverlayTest, CopiesFromAnotherJustTheImage) {
    StreamOverlay other(4, 8, kBufferSize, kWidth, kHeight, {}, "/com/orva/Overlay2/Overlay/8");
    std::fill_n(device.buffers(), OverlayDevice::kBufferSize * 2, 0xEE);
    overlay.setupBuffer(memory, channel);
    std::vector<unsigned char> image(kImageSize);
    for (int i = 0; i < kImageSize; ++i) {
        image[static_cast<std::size_t>(i)] = static_cast<unsigned char>(i % 251);
    }
    overlay.insertData(image.data(), true);
    other.setupBuffer(memory, channel);
    other.copyDataFromStreamOverlay(overlay, true);
    EXPECT_EQ(shown(8), image);
    const unsigned char* buffer = device.bufferOf(8);
    EXPECT_THAT(std::vector<unsigned char>(buffer, buffer + 64), Each(0xEE));
    EXPECT_THAT(std::vector<unsigned char>(buffer + 64 + kImageSize, buffer + 4 * kBufferSize),
                Each(0xEE));
}

TEST_F(StreamOverlayTest, CopiesNothingFromOneWithoutABufferOrOfAnotherSize) {
    overlay.setupBuffer(memory, channel);
    const StreamOverlay without(4, 8, kBufferSize, kWidth, kHeight, {}, kPath);
    overlay.copyDataFromStreamOverlay(without, true);
    overlay.copyDataFromStreamOverlay(StreamOverlay(5), true);
    StreamOverlay smaller(6, 9, kBufferSize, kWidth, kHeight - 16, {}, kPath);
    smaller.setupBuffer(memory, channel);
    overlay.copyDataFromStreamOverlay(smaller, true);
    EXPECT_THAT(shown(), Each(0x00));
    EXPECT_EQ(overlay.getFrameCount(), 3);
}

TEST_F(StreamOverlayTest, TakesNoPartAsAPlaceholder) {
    StreamOverlay placeholder(5);
    device.forgetCalls();
    placeholder.setupBuffer(memory, channel);
    placeholder.insertData(nullptr, true);
    placeholder.copyDataFromStreamOverlay(overlay, true);
    placeholder.submitBuffer(channel);
    EXPECT_THAT(device.calls(), IsEmpty());
    EXPECT_THAT(device.requests(), IsEmpty());
    EXPECT_EQ(placeholder.getStreamId(), 5);
    EXPECT_EQ(placeholder.getFrameCount(), 2);
    EXPECT_FALSE(placeholder.isCreated());
    EXPECT_EQ(placeholder.getExternalUnion(), ExternalOverlayUnion{});
}

TEST_F(StreamOverlayTest, FailsWithoutAHandle) {
    device.answerRequests([](const std::string&) { return "{}"; });
    EXPECT_EQ(setupFailure(), "Failed to get buffer handle");
}

TEST_F(StreamOverlayTest, FailsWithABufferThatIsNotInTheMemory) {
    const auto failureAt = [this](int handle) {
        device.answerRequests([handle](const std::string&) {
            return R"({"data": {"buffer": )" + std::to_string(handle) + "}}";
        });
        return setupFailure();
    };
    const int end = OverlayDevice::kBuffers * OverlayDevice::kBufferSize;
    EXPECT_EQ(failureAt(end - 4096), "");
    EXPECT_EQ(failureAt(end), "Failed to mmap buffer handle: " + std::to_string(ENXIO));
    EXPECT_EQ(failureAt(2147483647), "Failed to mmap buffer handle: " + std::to_string(ENXIO));
    EXPECT_EQ(failureAt(100), "Failed to mmap buffer handle: " + std::to_string(EINVAL));
}

TEST_F(StreamOverlayTest, FailsWithMemoryThatIsTooSmallOrCouldBecomeSo) {
    const auto failureWith = [this](int size, int seals) {
        const int other = OverlayDevice::makeMemory(size, seals);
        const std::string failure = failureOf([&] {
            StreamOverlay(1, 7, kBufferSize, kWidth, kHeight, {}, kPath)
                .setupBuffer(other, channel);
        });
        close(other);
        return failure;
    };
    device.answerRequests([](const std::string&) { return R"({"data": {"buffer": 0}})"; });
    EXPECT_EQ(failureWith(kBufferSize, F_SEAL_SHRINK), "");
    EXPECT_EQ(failureWith(kBufferSize - 1, F_SEAL_SHRINK),
              "Failed to mmap buffer handle: " + std::to_string(ENXIO));
    EXPECT_EQ(failureWith(kBufferSize, F_SEAL_GROW),
              "Failed to mmap buffer handle: " + std::to_string(EPERM));
}

TEST_F(StreamOverlayTest, FailsWithADeviceThatIsNone) {
    close(memory);
    memory = -1;
    EXPECT_EQ(setupFailure(), "Failed to mmap buffer handle: " + std::to_string(EBADF));
}

TEST_F(StreamOverlayTest, FailsWhenItCannotBeMadeVisible) {
    device.failAt(3);
    EXPECT_EQ(failureOf([this] { show(0x44, true); }),
              "Failed to set visibility for overlay: GDBus.Error:com.orva.Error: told to\n");
    // It was not visible yet: a blank image is copied.
    show(0x55, false);
    show(0x66, false);
    EXPECT_THAT(shown(), Each(0x00));
}

TEST_F(StreamOverlayTest, FailsToBeMadeVisibleWithoutABus) {
    bus.stop();
    EXPECT_THAT(failureOf([this] { overlay.setVisible(); }), StartsWith("Failed to "));
}

TEST_F(StreamOverlayTest, FailsAtEachStepAndGoesOnAfter) {
    for (int n = 1; n <= 3; ++n) {
        device.failAt(n);
        EXPECT_NE(failureOf([this] { show(0x44, true); }), "") << n;
        EXPECT_EQ(failureOf([this] { show(0x44, true); }), "") << n;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
