#pragma once

#include <string>
#include <utility>
#include <vector>

/// Requests in the form of SCGI.
namespace Scgi {

using Fields = std::vector<std::pair<std::string, std::string>>;

inline std::string packed(const std::string& head) {
    return std::to_string(head.size()) + ":" + head + ",";
}

inline std::string head(const Fields& fields) {
    std::string text;
    for (const auto& [name, value] : fields) {
        text += name + '\0' + value + '\0';
    }
    return packed(text);
}

/// A complete request with the fields that it needs, and further ones.
inline std::string request(const std::string& body, const Fields& further = {}) {
    Fields fields = {{"CONTENT_LENGTH", std::to_string(body.size())}, {"SCGI", "1"}};
    fields.insert(fields.end(), further.begin(), further.end());
    return head(fields) + body;
}

}  // namespace Scgi
