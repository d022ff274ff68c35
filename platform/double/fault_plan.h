#pragma once

#include <map>
#include <string>

/// Which calls of a platform double are to fail, and how often each function was called. Not
/// thread-safe: the double guards it.
class FaultPlan {
public:
    /// Lets the n-th call from now (from 1) of `function` fail.
    void failCall(const std::string& function, int n) {
        failing[function][calls(function) + n] = true;
    }
    /// Lets every call of `function` from now on fail.
    void failEveryCall(const std::string& function) { alwaysFailing[function] = true; }
    /// Lets the n-th call from now (from 1) of whatever function that can fail do so.
    void failAnyCall(int n) { failing[""][calls("") + n] = true; }

    /// Counts a call of `function` and tells whether it is to fail.
    bool fails(const std::string& function) {
        const int ofFunction = ++counts[function];
        const int ofAll = ++counts[""];
        return alwaysFailing.count(function) || failing[function].count(ofFunction) ||
               failing[""].count(ofAll);
    }
    /// Calls so far of a function that can fail; of all for the empty name.
    int calls(const std::string& function) const {
        const auto found = counts.find(function);
        return found == counts.end() ? 0 : found->second;
    }

private:
    std::map<std::string, int> counts;
    std::map<std::string, std::map<int, bool>> failing;
    std::map<std::string, bool> alwaysFailing;
};
