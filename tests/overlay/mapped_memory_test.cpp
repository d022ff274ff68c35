#include "overlay/mapped_memory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>

#include "support/failure_of.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kPage = 4096;

class MappedMemoryTest : public testing::Test {
protected:
    MappedMemoryTest() { EXPECT_EQ(ftruncate(file, 2 * kPage), 0); }
    ~MappedMemoryTest() override { close(file); }

    std::string failure(int length, int descriptor, int offset) {
        return failureOf([&] { const MappedMemory memory(length, descriptor, offset); });
    }

    const int file = memfd_create("buffers", MFD_CLOEXEC);
    SyslogCapture log;
};

TEST_F(MappedMemoryTest, IsSharedWithTheFileAtItsOffset) {
    {
        const MappedMemory memory(100, file, kPage);
        static_cast<char*>(memory.getPointer())[7] = 'x';
    }
    char byte = 0;
    EXPECT_EQ(pread(file, &byte, 1, kPage + 7), 1);
    EXPECT_EQ(byte, 'x');
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MappedMemoryTest, IsUnmappedWhole) {
    const auto isMapped = [] {
        std::ifstream maps("/proc/self/maps");
        const std::string all{std::istreambuf_iterator<char>(maps), {}};
        return all.find("memfd:buffers") != std::string::npos;
    };
    {
        const MappedMemory memory(kPage + 1, file, 0);
        EXPECT_TRUE(isMapped());
    }
    EXPECT_FALSE(isMapped());
}

TEST_F(MappedMemoryTest, CanBeRead) {
    EXPECT_EQ(pwrite(file, "y", 1, 3), 1);
    const MappedMemory memory(kPage, file, 0);
    EXPECT_EQ(static_cast<const char*>(memory.getPointer())[3], 'y');
}

TEST_F(MappedMemoryTest, FailsWithTheErrorNumber) {
    const auto text = [](int error) {
        return "Failed to mmap buffer handle: " + std::to_string(error);
    };
    EXPECT_EQ(failure(kPage, -1, 0), text(EBADF));
    EXPECT_EQ(failure(kPage, file, 1), text(EINVAL));
    EXPECT_EQ(failure(0, file, 0), text(EINVAL));
    EXPECT_EQ(failure(-1, file, 0), text(ENOMEM));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MappedMemoryTest, LogsAnUnmappingThatFails) {
    alignas(kPage) static char bytes[2];
    MappedMemory::unmap(bytes + 1, kPage);
    MappedMemory::unmap(nullptr, kPage);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(SyslogCapture::Line{LOG_WARNING, "Failed to unmap image buffer, errno: " +
                                                         std::to_string(EINVAL) + "\n"},
                    SyslogCapture::Line{LOG_ERR, "Cannot unmap memory, pointer is NULL\n"}));
}

}  // namespace
