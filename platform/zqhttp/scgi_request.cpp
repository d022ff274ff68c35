#include "zqhttp/scgi_request.h"

#include <algorithm>

namespace {

constexpr const char* lengthName = "CONTENT_LENGTH";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Takes a text and the NUL behind it away from the bytes; false when there is no NUL.
bool takeText(std::string_view& bytes, std::string_view& text) {
    const std::size_t end = bytes.find('\0');
    if (end == std::string_view::npos) {
        return false;
    }
    text = bytes.substr(0, end);
    bytes.remove_prefix(end + 1);
    return true;
}

/// Moves to the text what it lacks of its length, as far as there is so much.
void fill(std::string& text, std::size_t length, std::string_view& bytes) {
    const std::size_t count = std::min(length - text.size(), bytes.size());
    text.append(bytes.substr(0, count));
    bytes.remove_prefix(count);
}

}  // namespace

ScgiRequest::State ScgiRequest::add(std::string_view bytes) {
    while (state == State::Incomplete && part == Part::Length && !bytes.empty()) {
        state = addToLength(bytes.front());
        bytes.remove_prefix(1);
    }
    if (state == State::Incomplete && part == Part::Head) {
        state = addToHead(bytes);
    }
    if (state == State::Incomplete && part == Part::Body) {
        state = addToBody(bytes);
    }
    return state;
}

const char* ScgiRequest::field(const char* name) const {
    const auto found = values.find(name);
    return found == values.end() ? "" : found->second.c_str();
}

ScgiRequest::State ScgiRequest::addToLength(char c) {
    if (c == ':' && hasDigits) {
        part = Part::Head;
        return State::Incomplete;
    }
    const bool hasLeadingZero = hasDigits && headLength == 0;
    if (!isDigit(c) || hasLeadingZero) {
        return State::Malformed;
    }
    hasDigits = true;
    headLength = headLength * 10 + static_cast<std::size_t>(c - '0');
    return headLength > longestHead ? State::TooLarge : State::Incomplete;
}

ScgiRequest::State ScgiRequest::addToHead(std::string_view& bytes) {
    const std::size_t lengthWithComma = headLength + 1;
    fill(text, lengthWithComma, bytes);
    if (text.size() < lengthWithComma) {
        return State::Incomplete;
    }
    if (text.back() != ',') {
        return State::Malformed;
    }
    const State outcome = readHead(std::string_view(text).substr(0, headLength));
    part = Part::Body;
    text.clear();
    text.reserve(bodyLength);
    return outcome;
}

ScgiRequest::State ScgiRequest::addToBody(std::string_view& bytes) {
    fill(text, bodyLength, bytes);
    if (text.size() < bodyLength) {
        return State::Incomplete;
    }
    // Not before all of it is here: a web server that is cut off while it sends reads no refusal.
    return text.find('\0') == std::string::npos ? State::Complete : State::Malformed;
}

ScgiRequest::State ScgiRequest::readHead(std::string_view head) {
    if (head.substr(0, head.find('\0')) != lengthName) {
        return State::Malformed;
    }
    std::string_view name;
    std::string_view value;
    while (!head.empty()) {
        if (!takeText(head, name) || !takeText(head, value) ||
            !addField(std::string(name), value)) {
            return State::Malformed;
        }
    }
    return field("SCGI") == std::string_view("1") ? readBodyLength(field(lengthName))
                                                  : State::Malformed;
}

bool ScgiRequest::addField(const std::string& name, std::string_view value) {
    if (name.empty()) {
        return false;
    }
    const auto [position, isNew] = values.emplace(name, value);
    if (!isNew) {
        position->second.append(", ").append(value);
    }
    return isNew || name.starts_with("HTTP_");
}

ScgiRequest::State ScgiRequest::readBodyLength(std::string_view digits) {
    if (digits.empty() || !std::all_of(digits.begin(), digits.end(), isDigit)) {
        return State::Malformed;
    }
    for (const char digit : digits) {
        bodyLength = bodyLength * 10 + static_cast<std::size_t>(digit - '0');
        if (bodyLength > longestBody) {
            bodyLength = 0;
            return State::TooLarge;
        }
    }
    return State::Incomplete;
}
