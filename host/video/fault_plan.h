#pragma once

#include <map>
#include <optional>
#include <string>

/// One thing done wrong on purpose.
struct Fault {
    enum class Kind {
        Error,         ///< the answer is an error
        Late,          ///< the right answer, after a while
        Short,         ///< half of the right answer
        Wrong,         ///< an answer of another type, or a buffer that is not there
        Empty,         ///< an answer with nothing in it
        NoDescriptor,  ///< an index without descriptors
        NotASocket,    ///< a descriptor of something else
        NotAMemory,    ///< a descriptor of something else
        Unsealed,      ///< memory that could become shorter
        TooSmall,      ///< memory that holds no buffer
        Exit           ///< the process ends at once
    };

    Kind kind;
    unsigned milliseconds;  ///< for Late
};

/// Says which of the calls to come are answered wrongly, so that clients can be tested. One thread
/// at a time.
class FaultPlan {
public:
    static constexpr unsigned kMostMilliseconds = 600000;

    /// Plans a fault of a kind ("error", "late", "short", "wrong", "empty", "nodescriptor",
    /// "notasocket", "notamemory", "unsealed", "toosmall", "exit") for the nth call (1 is the next)
    /// of `what` and the following, `count` in all, or all of them for 0. `what` is a method or a
    /// request, or "any" for each of them; its plan before is replaced. Throws
    /// std::invalid_argument with one line for what makes no sense.
    void set(const std::string& what, const std::string& kind, unsigned nth, unsigned count,
             unsigned milliseconds);
    void clear() { plans.clear(); }

    /// Counts a call and tells what is to go wrong with it.
    std::optional<Fault> countCall(const std::string& what);

private:
    struct Plan {
        Fault fault;
        unsigned before;  // calls that go well first
        unsigned count;   // calls that go wrong then
        bool isEndless;
    };

    std::optional<Fault> countCallFor(const std::string& name);

    std::map<std::string, Plan> plans;
};
