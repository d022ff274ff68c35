// What no payload may do: make the library hand out, or read, anything that is not in its block.
// Each payload lies in a block of just its size, so a sanitizer sees a single byte too much.

#include <cstdlib>
#include <cstring>
#include <random>

#include "platform/scene/scene_walk.h"
#include "scene/frame_writer.h"
#include "scene/scene.h"
#include "scene_generated.h"

namespace {

struct FreeBlock {
    void operator()(char* block) const { std::free(block); }
};

using Block = std::unique_ptr<char, FreeBlock>;
using Bytes = std::vector<char>;

Block blockOf(const Bytes& bytes) {
    Block block(static_cast<char*>(std::calloc(1, bytes.size())));
    if (!bytes.empty()) {
        std::memcpy(block.get(), bytes.data(), bytes.size());
    }
    return block;
}

Bytes bytesOf(const ScenePayload& payload) {
    return Bytes(payload.data(), payload.data() + payload.size());
}

// Whether the library takes the payload; one that it takes is read whole.
bool isTaken(const Bytes& bytes) {
    const Block block = blockOf(bytes);
    const OwnedScene scene = readScene(block.get());
    if (scene) {
        readAll(scene.get());
    }
    return scene != nullptr;
}

SceneRecord everydayScene() {
    SceneRecord scene{.time = 123'456'789'000U};
    for (int id = 1; id <= 3; ++id) {
        scene.objects.push_back({
            .id = id,
            .polygon = {{{-100, -200}, {-100, 200}, {100, 200}, {100, -200}, {0, -300}}},
            .boundingBox = {{{{-100, -200}, {-100, 200}, {100, 200}, {100, -200}}}},
            .velocity = SceneVelocity{35, 0},
            .confidence = 4096,
        });
    }
    scene.events = {{SCENE_ACTION_DELETE, {3}, {}}, {SCENE_ACTION_SPLIT, {4}, {5, 6}}};
    return scene;
}

Bytes everydayPayload() {
    return bytesOf(SceneEncoder().encode(everydayScene()));
}

void putWord(Bytes& bytes, std::size_t position, std::uint32_t word) {
    std::memcpy(bytes.data() + position, &word, sizeof word);
}

// The body of a scene whose objects all share one outline.
Bytes sharedOutline(std::size_t objectCount, std::size_t pointCount) {
    flatbuffers::FlatBufferBuilder builder;
    const auto outline = builder.CreateVectorOfStructs(
        std::vector<scene_payload::Position>(pointCount, scene_payload::Position(1, 2)));
    std::vector<flatbuffers::Offset<scene_payload::Object>> objects;
    for (std::size_t i = 0; i < objectCount; ++i) {
        scene_payload::ObjectBuilder object(builder);
        object.add_polygon(outline);
        objects.push_back(object.Finish());
    }
    const auto list = builder.CreateVector(objects);
    builder.Finish(scene_payload::CreateScene(builder, flatbuffers::nullopt, list));
    return bytesOf(scene_frame::wrap(builder.GetBufferPointer(), builder.GetSize()));
}

}  // namespace

TEST(PayloadSafety, TakesAWholePayload) {
    EXPECT_TRUE(isTaken(everydayPayload()));
}

TEST(PayloadSafety, RefusesNull) {
    EXPECT_EQ(scene_copy_from_area(nullptr), nullptr);
}

TEST(PayloadSafety, RefusesAPayloadCutAnywhere) {
    const Bytes whole = everydayPayload();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(isTaken(Bytes(whole.begin(), whole.begin() + static_cast<long>(length))))
            << length;
    }
}

TEST(PayloadSafety, RefusesAPayloadThatIsZerosFromAnywhereOn) {
    const Bytes whole = everydayPayload();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Bytes cut = whole;
        std::fill(cut.begin() + static_cast<long>(length), cut.end(), '\0');
        EXPECT_FALSE(isTaken(cut)) << length;
    }
}

TEST(PayloadSafety, TakesAPayloadInALargerBlock) {
    Bytes larger = everydayPayload();
    larger.resize(larger.size() + 100, '\x55');
    EXPECT_TRUE(isTaken(larger));
}

TEST(PayloadSafety, RefusesEveryOtherLength) {
    const Bytes whole = everydayPayload();
    for (std::uint32_t length = 0; length < whole.size() + 64; ++length) {
        Bytes wrong = whole;
        putWord(wrong, 4, length);
        EXPECT_EQ(isTaken(wrong), length == whole.size()) << length;
    }
    for (const std::uint32_t length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
        Bytes wrong = whole;
        putWord(wrong, 4, length);
        EXPECT_FALSE(isTaken(wrong)) << length;
    }
}

TEST(PayloadSafety, RefusesAnotherMagic) {
    for (std::size_t i = 0; i < 4; ++i) {
        Bytes wrong = everydayPayload();
        wrong[i] = static_cast<char>(wrong[i] ^ 1);
        EXPECT_FALSE(isTaken(wrong)) << i;
    }
}

TEST(PayloadSafety, SurvivesEveryByteBeingAnother) {
    const Bytes whole = everydayPayload();
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (int value = 0; value < 256; ++value) {
            Bytes wrong = whole;
            wrong[i] = static_cast<char>(value);
            isTaken(wrong);
        }
    }
}

TEST(PayloadSafety, SurvivesEveryWordBeingAWildOffsetOrCount) {
    const Bytes whole = everydayPayload();
    for (std::size_t i = 16; i + 4 <= whole.size(); i += 2) {
        for (const std::uint32_t word :
             {0U, 1U, 1001U, 0xFFFFU, 0x3FFFFFFFU, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU,
              static_cast<std::uint32_t>(whole.size()), 0U - static_cast<std::uint32_t>(i)}) {
            Bytes wrong = whole;
            putWord(wrong, i, word);
            isTaken(wrong);
        }
    }
}

TEST(PayloadSafety, SurvivesRandomBodies) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        std::vector<std::uint8_t> body(random() % 300);
        for (std::uint8_t& byte : body) {
            byte = static_cast<std::uint8_t>(random() % 4 == 0 ? random() : random() % 8);
        }
        isTaken(bytesOf(scene_frame::wrap(body.data(), body.size())));
    }
}

TEST(PayloadSafety, SurvivesSeveralRandomChanges) {
    std::mt19937 random(11);
    const Bytes whole = everydayPayload();
    for (int round = 0; round < 50000; ++round) {
        Bytes wrong = whole;
        for (int change = 0; change < 4; ++change) {
            wrong[16 + random() % (wrong.size() - 16)] = static_cast<char>(random() % 16);
        }
        isTaken(wrong);
    }
}

TEST(PayloadSafety, RefusesMoreThanAThousandPoints) {
    EXPECT_TRUE(isTaken(sharedOutline(1, 1000)));
    EXPECT_FALSE(isTaken(sharedOutline(1, 1001)));
}

TEST(PayloadSafety, RefusesListsThatTogetherAreLongerThanThePayload) {
    // Sharing is well-formed, and 1,000 objects of 1,000 points in 30 kB would be 4 MB decoded.
    EXPECT_TRUE(isTaken(sharedOutline(2, 3)));
    EXPECT_FALSE(isTaken(sharedOutline(1000, 1000)));
}
