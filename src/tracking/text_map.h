#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A map from texts to values, in the order of the texts, for the few entries that hang on an
/// object: they lie side by side, and are looked up per object, filter and scene without a search
/// through a tree or a copy of the key.
template <typename Value>
class TextMap {
public:
    using value_type = std::pair<std::string, Value>;
    using const_iterator = typename std::vector<value_type>::const_iterator;

    /// The value under the key, or null.
    const Value* find(std::string_view key) const {
        for (const value_type& entry : entries) {
            if (isSame(entry.first, key)) {
                return &entry.second;
            }
        }
        return nullptr;
    }

    /// The value under the key, or null.
    Value* find(std::string_view key) { return const_cast<Value*>(std::as_const(*this).find(key)); }

    /// Stores the value under the key, over an earlier one.
    void set(std::string_view key, const Value& value) {
        if (Value* present = find(key)) {
            *present = value;
            return;
        }
        const auto behind = [](std::string_view wanted, const value_type& entry) {
            return wanted < entry.first;
        };
        entries.emplace(std::upper_bound(entries.begin(), entries.end(), key, behind), key, value);
    }

    const_iterator begin() const { return entries.begin(); }
    const_iterator end() const { return entries.end(); }
    std::size_t size() const { return entries.size(); }
    bool empty() const { return entries.empty(); }

private:
    // Keys of filters differ in the number of the profile at their end, so the last character is
    // looked at first.
    static bool isSame(std::string_view entry, std::string_view key) {
        return entry.size() == key.size() &&
               (key.empty() || (entry.back() == key.back() && entry == key));
    }

    std::vector<value_type> entries;
};
