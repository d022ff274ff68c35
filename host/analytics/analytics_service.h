#pragma once

#include <gio/gio.h>

#include <map>
#include <string>
#include <vector>

#include "analytics/rule_registry.h"

/// The analytics service of the host, com.orva.Onvif.Analytics1 on the system bus: providers
/// register their kinds of rules with it and tell it of changes. What it knows it tells by the
/// interface com.orva.Host.RuleTypes1, which is the host's own.
///
/// States: Away <-> Serving. While the bus is away it is tried again every 100 ms; what was known
/// goes with the bus, since every provider has another name afterwards. A provider that leaves the
/// bus is forgotten.
///
/// Threads: everything on the default main context. It calls nobody and never waits.
class AnalyticsService {
public:
    /// Comes to serve as soon as somebody iterates the default main context.
    AnalyticsService();
    ~AnalyticsService();
    AnalyticsService(const AnalyticsService&) = delete;
    AnalyticsService& operator=(const AnalyticsService&) = delete;

private:
    void connectLater(unsigned delay);
    void connect();
    bool serve();
    void leave();
    void withdraw();
    bool ownName();
    void registerObject(const char* interface);

    void handleCall(const std::string& method, GVariant* parameters, GDBusMethodInvocation* call);
    void registerRule(GVariant* parameters, GDBusMethodInvocation* call);
    void listRuleTypes(GDBusMethodInvocation* call);
    void watchProvider(const std::string& name);
    void forgetProvider(const std::string& name);
    void noteChange(const char* objectPath, const char* interface, GVariant* parameters);
    void tellOfChange();

    GDBusNodeInfo* introspection;
    GDBusConnection* bus = nullptr;  // owned; null while away
    unsigned retry = 0;              // source
    std::vector<unsigned> objects;   // registrations
    unsigned subscription = 0;
    std::map<std::string, unsigned> watches;  // by provider
    RuleRegistry registry;
};
