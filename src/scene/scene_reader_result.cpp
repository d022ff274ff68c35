#include "scene/scene_reader_result.h"

#include <vector>

#include "app/utils.h"

SceneReaderResult::SceneReaderResult(const std::string& reply) {
    const std::vector<std::string> words = utils::splitString(utils::trimString(reply, " "), ' ');
    if (words.size() != 2) {
        return;
    }
    version = API_Version(words[0]);
    success = words[1] == "OK";
}
