#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

/// A registration that the analytics service refuses. what() is for people.
class RegistrationError : public std::runtime_error {
public:
    enum class Reason { InvalidType, InvalidOptions, InvalidInterface, TooMany };

    RegistrationError(Reason why, const std::string& text);

    Reason reason;
};

/// One kind of rule that a provider offers.
struct RuleType {
    std::string provider;             ///< its connection's unique name on the bus
    std::string objectPath;           ///< where its rules are called
    std::string interface;            ///< by which interface
    std::string description;          ///< XML: a RuleDescription
    std::string options;              ///< XML
    std::string name;                 ///< the description's own, "tt:MotionRegionDetector"
    std::map<int, unsigned> changes;  ///< changes told of so far, by video source from 0
};

/// The kinds of rules that are there, by their providers. Not thread-safe.
class RuleRegistry {
public:
    static constexpr std::size_t maxTextLength = 65536;  ///< bytes of either XML text
    static constexpr std::size_t maxTypes = 32;          ///< of all providers together
    static constexpr int maxSources = 64;                ///< changes of others are not noted

    /// Takes a type in; one of the same provider, object, interface and name is replaced and keeps
    /// its changes. `type.name` is read from the description. What is known now, until the next
    /// call. Throws RegistrationError.
    const RuleType& add(RuleType type);

    /// Forgets what a provider offered. Whether there was anything.
    bool removeProvider(const std::string& provider);

    /// Forgets everything.
    void clear();

    /// Notes that the rules of a video source changed behind the analytics service's back. Whether
    /// anybody is registered with that object and interface; the connection that tells may be
    /// another one of the provider's than that which registered.
    bool noteChange(const std::string& objectPath, const std::string& interface, int source);

    /// In the order of registration.
    const std::vector<RuleType>& types() const { return known; }

private:
    std::vector<RuleType> known;
};
