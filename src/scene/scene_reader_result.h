#pragma once

#include <string>

#include "cgi/api_version.h"

/// The answer to a handshake of the scene socket: two words, the version that the engine offers and
/// "OK" or another word. A refusal, too, tells the version.
class SceneReaderResult {
public:
    /// A failure without a version.
    SceneReaderResult() = default;
    /// Reads a reply; one that is not two words is a failure without a version.
    explicit SceneReaderResult(const std::string& reply);

    bool success = false;
    API_Version version;
};
