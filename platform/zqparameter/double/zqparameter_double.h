#pragma once

#include <map>
#include <string>
#include <vector>

#include "zqparameter/zqparameter.h"

/// A parameter store for tests: it holds what a test puts into it, records look-ups and fails on
/// demand. Process-wide, thread-safe. A name is the same with and without its leading "root.".
namespace ZQParameterDouble {

/// Forgets values, records and plans of failure. Connections from before stay usable.
void reset();

void set(const std::string& name, const std::string& value);
void set(const std::map<std::string, std::string>& values);
void remove(const std::string& name);

/// Lets the n-th call from now (from 1) of "zq_parameter_new" or "zq_parameter_get" fail.
void failCall(const std::string& function, int n);
void failEveryCall(const std::string& function);
/// Lets the n-th call from now (from 1) of either fail.
void failAnyCall(int n);
/// Calls of a function since reset(), of either for the empty name.
int calls(const std::string& function);

/// The names that were looked up, as given, in order.
std::vector<std::string> lookUps();
/// The names given to zq_parameter_new, in order.
std::vector<std::string> connected();
/// Connections made since reset() that were not freed.
int liveHandlers();
/// Wrong uses since reset(): handles freed twice, used after being freed, or unknown.
std::vector<std::string> misuses();

}  // namespace ZQParameterDouble
