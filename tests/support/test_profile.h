#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/json_support.h"

/// Texts of configuration documents for tests.
namespace TestProfile {

inline const std::string kSquare = "[[-0.5,-0.5],[-0.5,0.5],[0.5,0.5],[0.5,-0.5]]";

/// A list of that many points.
inline std::string points(int count) {
    std::string list;
    for (int i = 0; i < count; ++i) {
        list += (i > 0 ? ",[" : "[") + std::to_string(i / 100.0) + ",0.5]";
    }
    return "[" + list + "]";
}

inline std::string includeArea(const std::string& data = kSquare) {
    return R"({"type":"includeArea","data":)" + data + "}";
}

inline std::string excludeArea(const std::string& data = kSquare) {
    return R"({"type":"excludeArea","data":)" + data + "}";
}

inline std::string filter(const std::string& type, const std::string& data, bool active = true) {
    return R"({"type":")" + type + R"(","data":)" + data + R"(,"active":)" +
           (active ? "true}" : "false}");
}

inline std::string array(const std::vector<std::string>& elements) {
    std::string list;
    for (const std::string& element : elements) {
        list += (list.empty() ? "" : ",") + element;
    }
    return "[" + list + "]";
}

/// A valid profile of camera 1, with members changed; an empty text removes one.
inline std::string profile(const std::vector<std::pair<std::string, std::string>>& changes = {}) {
    return with(
        R"({"uid":1,"camera":1,"name":"Door","filters":[],"triggers":[)" + includeArea() + "]}",
        changes);
}

inline std::string camera(int id, bool active = true, int rotation = 0) {
    return R"({"id":)" + std::to_string(id) + R"(,"active":)" + (active ? "true" : "false") +
           R"(,"rotation":)" + std::to_string(rotation) + "}";
}

/// A whole document.
inline std::string document(const std::vector<std::string>& cameras,
                            const std::vector<std::string>& profiles,
                            const std::string& apiVersion = "1.4") {
    return R"({"apiVersion":")" + apiVersion + R"(","method":"setConfiguration","params":{)" +
           R"("cameras":)" + array(cameras) + R"(,"profiles":)" + array(profiles) + "}}";
}

}  // namespace TestProfile
