#include "video/fault_plan.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <stdexcept>

namespace {

using Kind = Fault::Kind;

constexpr const char* kAny = "any";

struct KindName {
    const char* name;
    Kind kind;
};

constexpr std::array<KindName, 11> kKinds = {{{"error", Kind::Error},
                                              {"late", Kind::Late},
                                              {"short", Kind::Short},
                                              {"wrong", Kind::Wrong},
                                              {"empty", Kind::Empty},
                                              {"nodescriptor", Kind::NoDescriptor},
                                              {"notasocket", Kind::NotASocket},
                                              {"notamemory", Kind::NotAMemory},
                                              {"unsealed", Kind::Unsealed},
                                              {"toosmall", Kind::TooSmall},
                                              {"exit", Kind::Exit}}};

bool isOneOf(Kind kind, std::initializer_list<Kind> kinds) {
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

bool isForAll(Kind kind) {
    return isOneOf(kind, {Kind::Error, Kind::Late, Kind::Exit});
}

bool isForMethods(Kind kind) {
    return isForAll(kind) || isOneOf(kind, {Kind::Wrong, Kind::Empty});
}

bool isForRequests(Kind kind) {
    return isForMethods(kind) || kind == Kind::Short;
}

bool isForChannels(Kind kind) {
    return isForMethods(kind) || isOneOf(kind, {Kind::NoDescriptor, Kind::NotASocket});
}

bool isForMemory(Kind kind) {
    return isForMethods(kind) ||
           isOneOf(kind, {Kind::NoDescriptor, Kind::NotAMemory, Kind::Unsealed, Kind::TooSmall});
}

/// What can go wrong with each call.
struct Target {
    const char* name;
    bool (*takes)(Kind kind);
};

constexpr std::array<Target, 11> kTargets = {{{kAny, isForAll},
                                              {"CreateOverlay", isForMethods},
                                              {"RemoveOverlay", isForMethods},
                                              {"Get", isForMethods},
                                              {"SetProperties", isForMethods},
                                              {"SetColor", isForMethods},
                                              {"GetManagedObjects", isForMethods},
                                              {"GetCommandChannel", isForChannels},
                                              {"OpenCameraDevice", isForMemory},
                                              {"getBuffer", isForRequests},
                                              {"submitBuffer", isForRequests}}};

Kind kindOf(const std::string& name) {
    for (const KindName& kind : kKinds) {
        if (name == kind.name) {
            return kind.kind;
        }
    }
    throw std::invalid_argument("there is no fault \"" + name + "\"");
}

const Target* findTarget(const std::string& name) {
    const auto* found = std::find_if(kTargets.begin(), kTargets.end(),
                                     [&](const Target& target) { return name == target.name; });
    return found != kTargets.end() ? found : nullptr;
}

}  // namespace

void FaultPlan::set(const std::string& what, const std::string& kindName, unsigned nth,
                    unsigned count, unsigned milliseconds) {
    const Target* target = findTarget(what);
    if (target == nullptr) {
        throw std::invalid_argument("nothing is called \"" + what + "\"");
    }
    const Kind kind = kindOf(kindName);
    if (!target->takes(kind)) {
        throw std::invalid_argument("\"" + kindName + "\" makes no sense for " + what);
    }
    if (nth == 0) {
        throw std::invalid_argument("calls are counted from 1");
    }
    if (milliseconds > kMostMilliseconds) {
        throw std::invalid_argument("at most " + std::to_string(kMostMilliseconds) +
                                    " milliseconds");
    }
    plans[what] = {{kind, milliseconds}, nth - 1, count, count == 0};
}

std::optional<Fault> FaultPlan::countCall(const std::string& what) {
    if (plans.empty() || findTarget(what) == nullptr) {
        return std::nullopt;
    }
    const std::optional<Fault> ofAny = countCallFor(kAny);
    const std::optional<Fault> ofThis = countCallFor(what);
    return ofThis ? ofThis : ofAny;
}

std::optional<Fault> FaultPlan::countCallFor(const std::string& name) {
    const auto found = plans.find(name);
    if (found == plans.end()) {
        return std::nullopt;
    }
    Plan& plan = found->second;
    if (plan.before > 0) {
        --plan.before;
        return std::nullopt;
    }
    const Fault fault = plan.fault;
    if (!plan.isEndless && --plan.count == 0) {
        plans.erase(found);
    }
    return fault;
}
