#pragma once

#include <map>
#include <string>
#include <vector>

#include "zqhttp/zqhttp.h"

/// A web server for tests: it records who answers, fails on demand and hands over what a test
/// requests. Process-wide, thread-safe.
///
/// Handlers that were freed stay recognisable, so a second free is recorded as a misuse.
namespace ZQHttpDouble {

/// Forgets records and plans of failure, and handlers that were freed. Handlers from before may
/// still be freed.
void reset();

/// Lets the n-th call from now (from 1) of "zq_http_handler_new" fail.
void failCall(const std::string& function, int n);
void failEveryCall(const std::string& function);
void failAnyCall(int n);
/// Calls of a function that can fail since reset(), of any for the empty name.
int calls(const std::string& function);

/// What came of a request.
struct Answer {
    /// Whether there was a handler that was not freed.
    bool isHandled = false;
    /// All that was written, head and body.
    std::string text;
};

/// Hands a request to the newest handler that was not freed, on this thread, one at a time.
Answer request(const std::string& body);
/// The same with the method, the URI and the fields that come with it.
Answer request(const std::string& method, const std::string& uri, const std::string& body,
               const std::map<std::string, std::string>& fields);

/// The calls since reset(), in order, by their names; a call that failed ends in " failed".
std::vector<std::string> log();
/// The `userData` of the handlers made since reset(), in order.
std::vector<void*> userData();
/// Handlers made since reset() that were not freed.
int liveHandlers();
/// Wrong uses since reset(): handles freed twice, freed from their callback, or unknown.
std::vector<std::string> misuses();

}  // namespace ZQHttpDouble
