#pragma once

#include <gio/gio.h>

#include <string>
#include <vector>

/// Where rules are called, and what kind they are.
struct RuleProvider {
    std::string name;  ///< on the bus
    std::string objectPath;
    std::string interface;
    std::string description;  ///< XML
    std::string options;      ///< XML
};

/// A client of the rule providers that have registered with the analytics service. Blocks in every
/// call and iterates the default main context meanwhile.
class RulesClient {
public:
    /// Connects to the system bus. Throws ServiceError.
    RulesClient();
    ~RulesClient();
    RulesClient(const RulesClient&) = delete;
    RulesClient& operator=(const RulesClient&) = delete;

    /// Who is registered. Waits for the first one, and for the analytics service itself, for at
    /// most so many seconds. Throws ServiceError when there is none by then.
    std::vector<RuleProvider> providers(double seconds);

    /// Calls a method of the provider's interface. The reply (transferred) is of the type; a
    /// floating reference of the parameters is consumed. Throws ServiceError.
    GVariant* call(const RuleProvider& provider, const char* method, GVariant* parameters,
                   const char* replyType);

private:
    std::vector<RuleProvider> registered();

    GDBusConnection* bus;
};
