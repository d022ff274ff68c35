#include "engine/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "engine/source_error.h"

InputFile InputFile::open(const std::string& path) {
    // Without O_NONBLOCK a pipe by that name would hold up the start for ever.
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) {
        throw SourceError(path + ": " + std::strerror(errno));
    }
    return {std::move(file), path};
}

InputFile InputFile::fromDescriptor(int descriptor, const std::string& name) {
    FileDescriptor file(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    if (!file) {
        throw SourceError(name + ": descriptor " + std::to_string(descriptor) + ": " +
                          std::strerror(errno));
    }
    return {std::move(file), name};
}

InputFile::InputFile(FileDescriptor descriptor, std::string name)
    : file(std::move(descriptor)), label(std::move(name)) {
    struct stat status = {};
    if (fstat(file.get(), &status) != 0) {
        throw SourceError(label + ": " + std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw SourceError(label + ": is not a file");
    }
    bytes = status.st_size;
}

std::ptrdiff_t InputFile::readAt(std::int64_t position, void* buffer, std::size_t size) const {
    ssize_t got = 0;
    do {
        got = pread(file.get(), buffer, size, position);
    } while (got < 0 && errno == EINTR);
    return got;
}
