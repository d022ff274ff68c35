#include "engine/recording_reader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <zlib.h>

#include "engine/file_descriptor.h"
#include "engine/input_file.h"
#include "engine/source_error.h"
#include "support/temporary_folder.h"

namespace {

const std::string emptyScene = R"({"time":0,"objects":[]})";

std::string pack(const std::string& text) {
    z_stream stream = {};
    deflateInit2(&stream, 9, Z_DEFLATED, 16 + MAX_WBITS, 9, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&stream, text.size()) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

class RecordingReaderTest : public testing::Test {
protected:
    std::size_t scenesOf(const std::string& content, const std::string& name = "walk.jsonl") {
        return RecordingReader::read(InputFile::open(folder.write(name, content))).scenes.size();
    }

    /// The refusal without the folder's name.
    std::string refusal(const std::string& content, const std::string& name = "walk.jsonl") {
        try {
            scenesOf(content, name);
        } catch (const SourceError& error) {
            return std::string(error.what()).substr(folder.path("").size());
        }
        return "accepted";
    }

    TemporaryFolder folder;
};

}  // namespace

TEST_F(RecordingReaderTest, ReadsLines) {
    EXPECT_EQ(scenesOf(emptyScene + "\n" + emptyScene + "\n"), 2u);
}

TEST_F(RecordingReaderTest, NeedsNoLineEndAtTheEnd) {
    EXPECT_EQ(scenesOf(emptyScene + "\n" + emptyScene), 2u);
}

TEST_F(RecordingReaderTest, AcceptsCarriageReturns) {
    EXPECT_EQ(scenesOf(emptyScene + "\r\n" + emptyScene + "\r\n"), 2u);
}

TEST_F(RecordingReaderTest, RefusesAnEmptyFile) {
    EXPECT_EQ(refusal(""), "walk.jsonl:1: there is no scene");
}

TEST_F(RecordingReaderTest, RefusesAnEmptyLine) {
    EXPECT_THAT(refusal(emptyScene + "\n\n" + emptyScene),
                testing::StartsWith("walk.jsonl:2: is not JSON: "));
}

TEST_F(RecordingReaderTest, UnpacksByName) {
    EXPECT_EQ(scenesOf(pack(emptyScene + "\n" + emptyScene), "walk.jsonl.gz"), 2u);
}

TEST_F(RecordingReaderTest, UnpacksMembersOneAfterTheOther) {
    EXPECT_EQ(scenesOf(pack(emptyScene + "\n") + pack(emptyScene), "walk.jsonl.gz"), 2u);
}

TEST_F(RecordingReaderTest, UnpacksMoreThanOneChunk) {
    std::string text;
    for (int i = 0; i < 20'000; ++i) {
        text += emptyScene + "\n";
    }
    EXPECT_EQ(scenesOf(pack(text), "walk.jsonl.gz"), 20'000u);
}

TEST_F(RecordingReaderTest, RefusesAPlainFileByAPackedName) {
    EXPECT_THAT(refusal(emptyScene, "walk.jsonl.gz"),
                testing::StartsWith("walk.jsonl.gz:1: is not packed by gzip: "));
}

TEST_F(RecordingReaderTest, RefusesAnEmptyPackedFile) {
    EXPECT_EQ(refusal("", "walk.jsonl.gz"), "walk.jsonl.gz:1: packed data end in the middle");
}

TEST_F(RecordingReaderTest, RefusesAPackedFileThatWasCut) {
    const std::string packed = pack(emptyScene + "\n" + emptyScene);
    EXPECT_EQ(refusal(packed.substr(0, packed.size() - 4), "walk.jsonl.gz"),
              "walk.jsonl.gz:2: packed data end in the middle");
}

TEST_F(RecordingReaderTest, RefusesAPackedFileThatWasDamaged) {
    std::string packed = pack(emptyScene + "\n" + emptyScene);
    packed[packed.size() - 5] = static_cast<char>(packed[packed.size() - 5] ^ 1);  // checksum
    EXPECT_THAT(refusal(packed, "walk.jsonl.gz"),
                testing::HasSubstr(": is not packed by gzip: incorrect data check"));
}

TEST_F(RecordingReaderTest, RefusesALineWithoutEnd) {
    EXPECT_EQ(refusal(emptyScene + "\n" + std::string(17u << 20, ' ')),
              "walk.jsonl:2: line is longer than 16 MiB");
}

TEST_F(RecordingReaderTest, RefusesWhatIsNotAFile) {
    try {
        InputFile::open(folder.path(""));
        FAIL() << "accepted";
    } catch (const SourceError& error) {
        EXPECT_EQ(error.what(), folder.path("") + ": is not a file");
    }
    EXPECT_THROW(InputFile::open(folder.path("missing")), SourceError);
    mkfifo(folder.path("pipe").c_str(), 0600);
    EXPECT_THROW(InputFile::open(folder.path("pipe")), SourceError);
    EXPECT_THROW(InputFile::fromDescriptor(-1, "nothing"), SourceError);
}

TEST_F(RecordingReaderTest, ReadsADescriptorAtAPositionOfItsOwn) {
    const FileDescriptor file(open(folder.write("a", emptyScene).c_str(), O_RDONLY));
    lseek(file.get(), 10, SEEK_SET);
    for (int i = 0; i < 2; ++i) {
        const Recording recording =
            RecordingReader::read(InputFile::fromDescriptor(file.get(), "handed.jsonl"));
        EXPECT_EQ(recording.scenes.size(), 1u);
        EXPECT_EQ(recording.name, "handed.jsonl");
    }
    EXPECT_EQ(lseek(file.get(), 0, SEEK_CUR), 10);
}

TEST(RecordingReader, ReadsTheRecordingsOfRealVideo) {
    const auto read = [](const char* name) { return RecordingReader::read(InputFile::open(name)); };
    const Recording pedestrians = read(RECORDINGS "/pedestrians.scenes.jsonl.gz");
    EXPECT_EQ(pedestrians.scenes.size(), 795u);
    EXPECT_EQ(pedestrians.medianInterval(), 100'000'000);
    EXPECT_EQ(read(RECORDINGS "/swaying_tree.scenes.jsonl.gz").scenes.size(), 68u);
}
