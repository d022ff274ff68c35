// Runs a fuzz target over files and folders of inputs, without a fuzzer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> input{std::istreambuf_iterator<char>(stream), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

int replayAll(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) {
        replay(path);
        return 1;
    }
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        replay(entry.path());
        ++count;
    }
    return count;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    int count = 0;
    for (int i = 1; i < argumentCount; ++i) {
        count += replayAll(arguments[i]);
    }
    std::printf("%d inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}
