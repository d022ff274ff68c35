#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "zqevent/event_keys.h"

/// A bus for tests: it records what was done with it, fails on demand, and delivers what a test
/// injects. Process-wide, thread-safe.
///
/// Handles that were freed stay recognisable until reset(), so a second free or a later use is
/// recorded as a problem instead of spoiling memory.
namespace ZQEventDouble {

/// An event that was declared.
struct Declaration {
    unsigned id;
    bool stateless;
    EventKeys keys;  ///< as declared
    bool declared;   ///< not yet undeclared
    ZQEventHandler* handler;
};

/// An event that was sent, successfully or not.
struct Sent {
    unsigned declaration;
    EventKeys values;              ///< in the order in which they were added
    std::int64_t utcMicroseconds;  ///< since the epoch
    bool accepted;
};

struct Subscription {
    unsigned id;
    EventKeys keys;
    bool subscribed;  ///< not yet unsubscribed
    ZQEventHandler* handler;
};

/// Forgets everything: records, plans of failure, handles. Handles from before must not be used any
/// more, except that an event handler from before may be freed or used (a process keeps one for
/// good).
void reset();

/// Lets the n-th call from now (from 1) of a function fail, as "zq_event_handler_declare". A
/// failing constructor gives null, any other function FALSE with an error "injected failure".
void failCall(const std::string& function, int n);
void failEveryCall(const std::string& function);
/// Lets the n-th call from now (from 1) of any function that can fail do so.
void failAnyCall(int n);
/// Calls of a function since reset(), of any function that can fail for the empty name.
int calls(const std::string& function);

/// Every call since reset(), in order, a line each, with what it was given and what it returned:
///   zq_event_handler_declare stateful 1: topic0=tns1:"VideoSource" Source=0 source [wstype:x]
///   zq_event_handler_send_event 1: active=true @1970-01-01T00:00:00.000000Z
/// A call that failed ends in " failed". Calls on sets and the making and freeing of handles are
/// recorded by their name alone.
std::vector<std::string> log();
/// The lines of log() that begin with `function`.
std::vector<std::string> log(const std::string& function);

std::vector<Declaration> declarations();
/// The declarations that stand.
std::vector<Declaration> declared();
std::vector<Sent> sent();
std::vector<Subscription> subscriptions();

int liveHandlers();
int liveSets();
int liveEvents();
/// Wrong uses since reset(): handles freed twice, used after being freed, or unknown.
std::vector<std::string> misuses();
/// misuses(), and a line for each kind of handle of which some live. Event handlers are not looked
/// at: a process may keep them.
std::vector<std::string> problems();

/// Hands an event with these data properties to a subscription's callback, on this thread. False if
/// there is no such subscription.
using Values = std::vector<std::pair<std::string, EventValue>>;
bool deliver(unsigned subscription, const Values& values, std::int64_t utcMicroseconds);

/// A set as log() writes it.
std::string describe(const EventKeys& keys);

}  // namespace ZQEventDouble
