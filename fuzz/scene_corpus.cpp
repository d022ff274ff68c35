// Writes the corpus of scene payloads into a folder: scenes as they should be, and damaged ones.

#include <cstring>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "scene/frame.h"
#include "scene/scene.h"
#include "scene/scene_encoder.h"

namespace {

using Bytes = std::vector<char>;

class Corpus {
public:
    explicit Corpus(std::string targetFolder) : folder(std::move(targetFolder)) {}

    void add(const std::string& name, const Bytes& bytes) {
        std::ofstream(folder + "/" + name, std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    // The payload, and its body alone.
    void addScene(const std::string& name, const SceneRecord& scene) {
        const Bytes bytes = encode(scene);
        add(name, bytes);
        add(name + "_body",
            Bytes(bytes.begin() + scene_frame::headSize, bytes.end() - scene_frame::tailSize));
    }

    static Bytes encode(const SceneRecord& scene) {
        const ScenePayload payload = SceneEncoder().encode(scene);
        return Bytes(payload.data(), payload.data() + payload.size());
    }

private:
    std::string folder;
};

SceneObjectRecord walker(int id, std::size_t points = 8) {
    SceneObjectRecord object{.id = id, .polygon = std::vector<ScenePoint>{}};
    for (std::size_t i = 0; i < points; ++i) {
        object.polygon->push_back(
            {static_cast<std::int16_t>(i * 37 % 500), static_cast<std::int16_t>(i * i % 700)});
    }
    object.boundingBox = {{{0, 0}, {0, 700}, {500, 700}, {500, 0}}};
    object.velocity = SceneVelocity{35, -4};
    object.confidence = 4096;
    return object;
}

SceneRecord street() {
    return {.time = 1'234'567'890U,
            .objects = {walker(1), walker(2, 3), walker(2, 5), walker(3, 1), {.id = 4}},
            .events = {{SCENE_ACTION_DELETE, {3}, {}},
                       {SCENE_ACTION_SPLIT, {1}, {2, 5}},
                       {SCENE_ACTION_MERGE, {1}, {2, 1}}}};
}

Bytes withWord(Bytes bytes, std::size_t position, std::uint32_t word) {
    std::memcpy(bytes.data() + position, &word, sizeof word);
    return bytes;
}

void addWholeScenes(Corpus& corpus) {
    corpus.addScene("empty", {});
    corpus.addScene("time_only", {.time = 1999});
    corpus.addScene("street", street());
    corpus.addScene("ends_only", {.events = {{SCENE_ACTION_DELETE, {1, 2, 3}, {}}}});
    corpus.addScene(
        "odd_events",
        {.objects = {walker(1)},
         .events = {{SCENE_ACTION_MERGE, {1}, {}}, {SCENE_ACTION_SPLIT, {}, {1}}, {77, {1}, {1}}}});
    corpus.addScene("short_outlines", {.objects = {walker(1, 0), walker(2, 1), walker(3, 2)}});
    corpus.addScene("long_outline", {.objects = {walker(1, SCENE_MAX_POINTS)}});
}

void addDamagedScenes(Corpus& corpus) {
    const Bytes whole = Corpus::encode(street());
    for (const std::size_t length : {0U, 3U, 8U, 16U, 100U, 300U}) {
        corpus.add("cut_" + std::to_string(length),
                   Bytes(whole.begin(), whole.begin() + static_cast<long>(length)));
    }
    Bytes zeroed = whole;
    std::fill(zeroed.begin() + static_cast<long>(zeroed.size() / 2), zeroed.end(), '\0');
    corpus.add("cut_and_zeros", zeroed);
    for (const std::uint32_t length : {0U, 24U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        corpus.add("length_" + std::to_string(length),
                   withWord(whole, scene_frame::lengthOffset, length));
    }
    for (const std::size_t position : {16U, 24U, 40U, 60U, 80U}) {
        corpus.add("offset_" + std::to_string(position), withWord(whole, position, 0x00FFFFF0U));
        corpus.add("count_" + std::to_string(position), withWord(whole, position, 0xFFFFFFFFU));
    }
}

void addNoise(Corpus& corpus) {
    std::mt19937 random(1);
    for (const std::size_t size : {1U, 24U, 64U, 256U}) {
        Bytes noise(size);
        for (char& byte : noise) {
            byte = static_cast<char>(random());
        }
        corpus.add("random_" + std::to_string(size), noise);
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::cerr << "scene_corpus FOLDER\n";
        return 2;
    }
    Corpus corpus(arguments[1]);
    addWholeScenes(corpus);
    addDamagedScenes(corpus);
    addNoise(corpus);
}
