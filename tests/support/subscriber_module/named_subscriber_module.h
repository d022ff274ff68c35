#pragma once

#include <string>

#include "support/subscriber_module/subscriber_module.h"

/// Makes the test's subscriber module the application's module while it lives. One at a time.
class NamedSubscriberModule {
public:
    explicit NamedSubscriberModule(const std::string& file = path());
    ~NamedSubscriberModule();
    NamedSubscriberModule(const NamedSubscriberModule&) = delete;
    NamedSubscriberModule& operator=(const NamedSubscriberModule&) = delete;

    SubscriberModule* operator->() const { return subscriber_module(); }

    static std::string path();
    /// The file of a module that lacks the n-th entry point, from 1 to 10.
    static std::string pathWithoutEntry(int n);

private:
    std::string name;
    const char* formerName;
};
