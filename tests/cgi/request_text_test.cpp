#include "cgi/request_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "config/json_auto_ptr.h"

namespace {

std::string repaired(const std::string& text) {
    return RequestText::repair(text.c_str());
}

bool isJson(const std::string& text) {
    return JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)).get() != nullptr;
}

/// The repair in so many words: a parse for each cut.
std::string repairedStepByStep(std::string text) {
    while (!isJson(text) && !text.empty()) {
        const std::size_t start = text.size() == 1 ? 0 : text.size() - 2;
        const std::size_t brace = text.rfind('}', start);
        if (brace == std::string::npos || text.size() == 1) {
            break;
        }
        text.resize(brace + 1);
    }
    return text;
}

std::string repeated(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

/// Random texts of the kind that matters: JSON, nearly JSON, and neither.
class TextGenerator {
public:
    std::size_t below(std::size_t limit) { return random() % limit; }

    /// Pieces that mean something to the parser, in any order.
    std::string pieces() {
        static const std::vector<std::string> known = {
            "{",           "{",       "}",         "}",
            "}",           "[",       "]",         "\"",
            "\"",          ":",       ",",         " ",
            "\t",          "\r\n",    "\\",        "\\\"",
            "1",           "-0.5",    "1e999",     "true",
            "nul",         "null",    "\"a\"",     "\"a\":",
            "{}",          "[]",      "\xc3\xa5",  "\xc3",
            "\xff",        "\\u0000", "\\ud800",   "99999999999999999999",
            "x",           "\x01",    "{\"a\":1}", "/*",
            "\xef\xbb\xbf"};
        std::string text;
        for (std::size_t count = below(12); count > 0; --count) {
            text += known[below(known.size())];
        }
        return text;
    }

    std::string value(int depth = 0) {
        switch (depth > 3 ? 2 + below(5) : below(7)) {
            case 0:
                return list("{", "}", depth, true);
            case 1:
                return list("[", "]", depth, false);
            case 2:
                return std::to_string(below(1000));
            case 3:
                return "-1.5e-2";
            case 4:
                return "\"a}\\\"b{\"";
            case 5:
                return "\"\xc3\xa5\\u00e5\"";
            default:
                return "null";
        }
    }

    /// The text with a few bytes changed, put in or taken out, and perhaps an end cut off.
    std::string mutated(std::string text) {
        static const std::string bytes = "{}[]\",:\\ \n0a\xff";
        for (std::size_t changes = below(4); changes > 0 && !text.empty(); --changes) {
            const std::size_t position = below(text.size());
            const std::string byte(1, bytes[below(bytes.size())]);
            text.replace(position, below(2), below(3) == 0 ? "" : byte);
        }
        if (below(3) == 0) {
            text.resize(below(text.size() + 1));
        }
        return text;
    }

private:
    std::string list(const char* open, const char* close, int depth, bool isNamed) {
        std::string text = open;
        for (std::size_t count = below(4); count > 0; --count) {
            // Names are few, so that some stand twice.
            text +=
                isNamed ? "\"" + std::string(1, static_cast<char>('a' + below(3))) + "\" :" : "";
            text += value(depth + 1) + (count > 1 ? "," : "");
        }
        return text + close;
    }

    std::minstd_rand random;
};

const std::vector<std::string> requests = {
    R"({"apiVersion":"1.4","method":"getConfiguration","context":"abc"})",
    R"({"apiVersion":"1.4","method":"startVisualConfirmation","params":{"profile":1,)"
    R"("transform":[1,0,0,0,1,0,0,0,1]}})",
    R"({"apiVersion":"1.2","method":"setConfiguration","params":{"cameras":[{"id":1,"rotation":0,)"
    R"("active":true}],"profiles":[{"name":"Profile {1}","uid":1,"camera":1,"filters":[],)"
    R"("triggers":[{"type":"includeArea","data":[[-0.97,-0.97],[-0.97,0.97],[0.97,0.97]]}]}]}})"};

/// How many bytes the JSON library asked for while this lives. One at a time.
class CountedJsonMemory {
public:
    CountedJsonMemory() {
        bytes = 0;
        json_set_alloc_funcs(allocate, std::free);
    }
    ~CountedJsonMemory() { json_set_alloc_funcs(std::malloc, std::free); }
    CountedJsonMemory(const CountedJsonMemory&) = delete;
    CountedJsonMemory& operator=(const CountedJsonMemory&) = delete;

    static inline std::size_t bytes = 0;

private:
    static void* allocate(std::size_t size) {
        bytes += size;
        return std::malloc(size);
    }
};

}  // namespace

TEST(RequestText, LeavesJsonAsItIs) {
    for (const char* text : {"{}", "[]", " {\"a\":1}\r\n", "[{}]", "{\"a\":1,\"a\":2}"}) {
        EXPECT_EQ(repaired(text), text);
    }
}

TEST(RequestText, LosesWhatFollowsTheObject) {
    EXPECT_EQ(repaired("{\"a\":1} and more"), "{\"a\":1}");
    EXPECT_EQ(repaired("{\"a\":1}}"), "{\"a\":1}");
    EXPECT_EQ(repaired("{\"a\":1}}}}"), "{\"a\":1}");
    EXPECT_EQ(repaired("{\"a\":1}{\"b\":2}"), "{\"a\":1}");
    EXPECT_EQ(repaired(" {\"a\":{}}\xff"), " {\"a\":{}}");
    EXPECT_EQ(repaired("{\"a\":\"}\"}\""), "{\"a\":\"}\"}");
}

TEST(RequestText, IsCutBehindItsFirstBraceWhenNoCutMakesItJson) {
    EXPECT_EQ(repaired("a}b}c}d"), "a}");
    EXPECT_EQ(repaired("{\"a\":{}"), "{\"a\":{}");
    EXPECT_EQ(repaired("{\"a\":{},}"), "{\"a\":{}");
    EXPECT_EQ(repaired("}}"), "}");
    // Cuts are made behind braces alone.
    EXPECT_EQ(repaired("[{\"a\":1}] and more"), "[{\"a\":1}");
    EXPECT_EQ(repaired("[1] and more"), "[1] and more");
}

TEST(RequestText, IsSearchedFromBeforeItsLastCharacter) {
    EXPECT_EQ(repaired("{\"a\":}"), "{\"a\":}");
    EXPECT_EQ(repaired("{\"a\":}}"), "{\"a\":}");
    EXPECT_EQ(repaired("x}"), "x}");
}

TEST(RequestText, OfOneCharacterOrNoneStaysAsItIs) {
    for (const char* text : {"", "}", "{", "x", " ", "1"}) {
        EXPECT_EQ(repaired(text), text);
    }
}

TEST(RequestText, WithoutABraceStaysAsItIs) {
    EXPECT_EQ(repaired("getConfiguration"), "getConfiguration");
    EXPECT_EQ(repaired("{\"a\":1"), "{\"a\":1");
}

TEST(RequestText, IsNoScalar) {
    EXPECT_EQ(repaired("1 }2"), "1 }");
    EXPECT_EQ(repaired("\"}\" "), "\"}");
}

TEST(RequestText, IsTheSameAsStepByStepAtTheLimitsOfTheParser) {
    for (const int depth : {2046, 2047, 2048, 2049, 2050}) {
        const std::string arrays = repeated("[", depth) + repeated("]", depth);
        const std::string object = "{\"a\":" + arrays + "}";
        for (const std::string& text : {arrays, arrays + "}x", object, object + "}", object + "}x}",
                                        "{\"a\":" + object + "}}"}) {
            EXPECT_EQ(repaired(text), repairedStepByStep(text)) << depth;
        }
    }
}

TEST(RequestText, IsTheSameAsStepByStepForRandomPieces) {
    TextGenerator generator;
    int json = 0;
    int changed = 0;
    for (int i = 0; i < 60'000; ++i) {
        const std::string text = generator.pieces();
        const std::string expected = repairedStepByStep(text);
        ASSERT_EQ(repaired(text), expected) << text;
        json += isJson(expected) ? 1 : 0;
        changed += expected != text ? 1 : 0;
    }
    // Otherwise the texts say nothing.
    EXPECT_GT(json, 1000);
    EXPECT_GT(changed, 10'000);
}

TEST(RequestText, IsTheSameAsStepByStepForJsonWithSomethingBehind) {
    TextGenerator generator;
    int cutToJson = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::string text = generator.value() + generator.pieces();
        const std::string expected = repairedStepByStep(text);
        ASSERT_EQ(repaired(text), expected) << text;
        cutToJson += expected != text && isJson(expected) ? 1 : 0;
    }
    EXPECT_GT(cutToJson, 1000);
}

TEST(RequestText, IsTheSameAsStepByStepForSpoiledRequests) {
    TextGenerator generator;
    int cutToJson = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::string& request = requests[generator.below(requests.size())];
        const std::string text =
            generator.mutated(request + (generator.below(2) == 0 ? generator.pieces() : ""));
        const std::string expected = repairedStepByStep(text);
        ASSERT_EQ(repaired(text), expected) << text;
        cutToJson += expected != text && isJson(expected) ? 1 : 0;
    }
    EXPECT_GT(cutToJson, 1000);
}

TEST(RequestText, OfHostileBracesIsReadOnce) {
    const std::size_t size = 256 * 1024;
    const auto filled = [](std::string text, const std::string& piece) {
        while (text.size() + piece.size() <= size) {
            text += piece;
        }
        return text;
    };
    for (const std::string& text :
         {filled("", "}"), filled("", "{"), filled("{}x", "}"), filled("{\"a\":\"", "}"),
          filled("{\"a\":[1", ",{}"), filled("[", "{},"), filled("", "{\"a\":1}")}) {
        const CountedJsonMemory memory;
        repaired(text);
        // What one parse takes; each cut that is tried would take as much again.
        const std::size_t ofRepair = CountedJsonMemory::bytes;
        CountedJsonMemory::bytes = 0;
        json_decref(json_loads(text.c_str(), JSON_DISABLE_EOF_CHECK, nullptr));
        EXPECT_EQ(ofRepair, CountedJsonMemory::bytes) << text.substr(0, 20);
    }
}
