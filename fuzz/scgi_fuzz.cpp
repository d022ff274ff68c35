// Random bytes where the web server hands requests over: whole, and in pieces.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "zqhttp/scgi_request.h"

namespace {

using State = ScgiRequest::State;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

State readInPieces(ScgiRequest& request, std::string_view bytes, std::size_t length) {
    State state = request.add({});
    while (!bytes.empty()) {
        state = request.add(bytes.substr(0, length));
        bytes.remove_prefix(std::min(length, bytes.size()));
    }
    return state;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    ScgiRequest whole;
    const State state = whole.add(bytes);
    for (const std::size_t length : {1, 7}) {
        ScgiRequest pieces;
        require(readInPieces(pieces, bytes, length) == state);
        require(state != State::Complete ||
                (pieces.body() == whole.body() && pieces.fields() == whole.fields()));
    }
    if (state == State::Complete) {
        require(whole.body().size() <= ScgiRequest::longestBody);
        require(whole.body().find('\0') == std::string::npos);
        require(std::to_string(whole.body().size()) == whole.field("CONTENT_LENGTH") ||
                whole.field("CONTENT_LENGTH")[0] == '0');
        require(whole.fields().find("") == whole.fields().end());
    }
    return 0;
}
