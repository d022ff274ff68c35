#include "video/camera_memory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <set>
#include <system_error>

namespace {

constexpr int kPage = 4096;

struct stat statusOf(const CameraMemory& memory) {
    struct stat status {};
    fstat(memory.descriptor(), &status);
    return status;
}

void fill(const CameraMemory& memory, int offset, int size, char value) {
    const std::string content(static_cast<std::size_t>(size), value);
    ASSERT_EQ(pwrite(memory.descriptor(), content.data(), content.size(), offset), size);
}

std::vector<std::uint8_t> read(const CameraMemory& memory, int offset, std::size_t size) {
    std::vector<std::uint8_t> content(size);
    memory.read(offset, content.data(), size);
    return content;
}

TEST(CameraMemory, IsAFileThatNobodyCanMakeShorterOrLonger) {
    const CameraMemory memory;
    EXPECT_TRUE(S_ISREG(statusOf(memory).st_mode));
    EXPECT_EQ(statusOf(memory).st_size, CameraMemory::kSize);
    EXPECT_EQ(fcntl(memory.descriptor(), F_GET_SEALS), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
    EXPECT_NE(ftruncate(memory.descriptor(), 0), 0);
    EXPECT_NE(fcntl(memory.descriptor(), F_ADD_SEALS, F_SEAL_WRITE), 0);
}

TEST(CameraMemory, GivesBuffersAtPagesThatDoNotOverlap) {
    CameraMemory memory(8 * kPage);
    EXPECT_EQ(memory.allocate(1), 0);
    EXPECT_EQ(memory.allocate(kPage + 1), kPage);
    EXPECT_EQ(memory.allocate(kPage), 3 * kPage);
    EXPECT_EQ(memory.allocate(4 * kPage), 4 * kPage);
    EXPECT_EQ(memory.allocate(1), std::nullopt);
}

TEST(CameraMemory, GivesFreedRoomAgainAndNothingTwice) {
    CameraMemory memory(4 * kPage);
    memory.allocate(kPage);
    memory.allocate(2 * kPage);
    memory.allocate(kPage);
    memory.free(kPage);
    memory.free(kPage);
    memory.free(2 * kPage);
    EXPECT_EQ(memory.allocate(3 * kPage), std::nullopt);
    EXPECT_EQ(memory.allocate(kPage), kPage);
    EXPECT_EQ(memory.allocate(kPage), 2 * kPage);
}

TEST(CameraMemory, GivesNothingThatIsNoLength) {
    CameraMemory memory(kPage);
    EXPECT_EQ(memory.allocate(0), std::nullopt);
    EXPECT_EQ(memory.allocate(-1), std::nullopt);
    EXPECT_EQ(memory.allocate(kPage + 1), std::nullopt);
    EXPECT_EQ(memory.allocate(0x7fffffff), std::nullopt);
}

TEST(CameraMemory, ReadsWhatAClientWrote) {
    CameraMemory memory;
    memory.allocate(kPage);
    fill(memory, 64, 3, 'D');
    EXPECT_EQ(read(memory, 63, 5), (std::vector<std::uint8_t>{0, 'D', 'D', 'D', 0}));
}

TEST(CameraMemory, TakesMemoryOnlyForWhatIsWrittenAndUntilItIsFreed) {
    CameraMemory memory;
    const int buffer = memory.allocate(64 * kPage).value();
    read(memory, buffer, 64 * kPage);
    EXPECT_EQ(statusOf(memory).st_blocks, 0);
    fill(memory, buffer, 64 * kPage, 'D');
    EXPECT_GT(statusOf(memory).st_blocks, 0);
    memory.free(buffer);
    EXPECT_EQ(statusOf(memory).st_blocks, 0);
    EXPECT_EQ(memory.allocate(64 * kPage), buffer);
    EXPECT_EQ(read(memory, buffer, 1), (std::vector<std::uint8_t>{0}));
}

TEST(CameraMemory, SaysSoWhenItCannotBeRead) {
    const CameraMemory memory(kPage);
    std::uint8_t byte = 0;
    EXPECT_THROW(memory.read(kPage, &byte, 1), std::system_error);
}

}  // namespace
