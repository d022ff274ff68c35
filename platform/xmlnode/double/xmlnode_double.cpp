#include "xmlnode/double/xmlnode_double.h"

#include <cstring>
#include <limits>
#include <mutex>
#include <set>
#include <utility>

#include "double/fault_plan.h"
#include "xmlnode/element.h"
#include "xmlnode/parser.h"

namespace {

std::mutex mutex;

struct State {
    FaultPlan plan;
    std::set<int> nullEntries;  // calls of xmlnode_find_tags
    std::vector<std::string> texts;
    std::vector<std::string> misuses;
};

State state;
std::set<const XmlNode*> trees;  // they outlive a reset

bool fails(const std::string& function) {
    const std::lock_guard lock(mutex);
    return state.plan.fails(function);
}

/// Counts a call of xmlnode_find_tags and tells whether it fails and has a null entry.
std::pair<bool, bool> planSearch() {
    const std::lock_guard lock(mutex);
    const bool isFailing = state.plan.fails("xmlnode_find_tags");
    return {isFailing, state.nullEntries.contains(state.plan.calls("xmlnode_find_tags"))};
}

}  // namespace

void XmlnodeDouble::reset() {
    const std::lock_guard lock(mutex);
    state = State();
}

void XmlnodeDouble::failCall(const std::string& function, int n) {
    const std::lock_guard lock(mutex);
    state.plan.failCall(function, n);
}

void XmlnodeDouble::failEveryCall(const std::string& function) {
    const std::lock_guard lock(mutex);
    state.plan.failEveryCall(function);
}

void XmlnodeDouble::giveNullEntry(int n) {
    const std::lock_guard lock(mutex);
    state.nullEntries.insert(state.plan.calls("xmlnode_find_tags") + n);
}

int XmlnodeDouble::calls(const std::string& function) {
    const std::lock_guard lock(mutex);
    return state.plan.calls(function);
}

std::vector<std::string> XmlnodeDouble::parsedTexts() {
    const std::lock_guard lock(mutex);
    return state.texts;
}

int XmlnodeDouble::liveTrees() {
    const std::lock_guard lock(mutex);
    return static_cast<int>(trees.size());
}

std::vector<std::string> XmlnodeDouble::misuses() {
    const std::lock_guard lock(mutex);
    return state.misuses;
}

XmlNode* xmlnode_parse_string(const char* text, gsize length) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = length != 0 ? length : std::strlen(text);
    auto root = parser::parse(text, size);
    const std::lock_guard lock(mutex);
    state.texts.emplace_back(text, size);
    if (state.plan.fails("xmlnode_parse_string") || root == nullptr) {
        return nullptr;
    }
    trees.insert(root.get());
    return root.release();
}

GList* xmlnode_find_tags(XmlNode* node, const char* tag) {
    const auto [isFailing, hasNullEntry] = planSearch();
    if (isFailing) {
        return nullptr;
    }
    GList* list = nullptr;
    for (XmlNode* found : elements::find(node, tag, std::numeric_limits<std::size_t>::max())) {
        list = g_list_prepend(list, found);
    }
    list = g_list_reverse(list);
    return hasNullEntry ? g_list_prepend(list, nullptr) : list;
}

XmlNode* xmlnode_find_tag(XmlNode* node, const char* tag) {
    if (fails("xmlnode_find_tag")) {
        return nullptr;
    }
    const auto found = elements::find(node, tag, 1);
    return found.empty() ? nullptr : found.front();
}

const char* xmlnode_get_attribute_value(XmlNode* node, const char* name) {
    return fails("xmlnode_get_attribute_value") ? nullptr : elements::findAttribute(node, name);
}

void xmlnode_free(XmlNode* root) {
    if (root == nullptr) {
        return;
    }
    {
        const std::lock_guard lock(mutex);
        if (trees.erase(root) == 0) {
            state.misuses.emplace_back("xmlnode_free: not a tree, or no more");
            return;
        }
    }
    delete root;
}
