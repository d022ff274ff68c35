#pragma once

#include <string>
#include <vector>

#include "engine/recording_writer.h"
#include "engine/source.h"

/// Keeps what a source yields.
class SceneCollector : public SourceListener {
public:
    void onScene(const SceneRecord& scene) override { scenes.push_back(scene); }

    std::vector<std::int64_t> times(std::int64_t start) const {
        std::vector<std::int64_t> all;
        for (const SceneRecord& scene : scenes) {
            all.push_back(sceneTime(scene) - start);
        }
        return all;
    }

    /// The scenes as lines of a recording that began at `start`.
    std::vector<std::string> lines(std::int64_t start) const {
        std::vector<std::string> all;
        for (const SceneRecord& scene : scenes) {
            all.push_back(RecordingWriter::format(scene, sceneTime(scene) - start));
        }
        return all;
    }

    std::vector<SceneRecord> scenes;
};
