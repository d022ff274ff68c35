#include "analytics/rule_registry.h"

#include <gio/gio.h>

#include <algorithm>
#include <utility>

#include "analytics/xml_text.h"

namespace {

using Reason = RegistrationError::Reason;

/// Throws RegistrationError.
XmlText::Root checkedRoot(const std::string& text, Reason reason) {
    if (text.size() > RuleRegistry::maxTextLength) {
        throw RegistrationError(reason, "the text is too long");
    }
    try {
        return XmlText::rootOf(text);
    } catch (const XmlError& error) {
        throw RegistrationError(reason, error.what());
    }
}

std::string nameIn(const std::string& description) {
    const XmlText::Root root = checkedRoot(description, Reason::InvalidType);
    const auto name = root.attributes.find("Name");
    if (root.tag != "RuleDescription" || name == root.attributes.end() || name->second.empty()) {
        throw RegistrationError(Reason::InvalidType, "not a RuleDescription with a Name");
    }
    return name->second;
}

bool isSame(const RuleType& one, const RuleType& other) {
    return one.provider == other.provider && one.objectPath == other.objectPath &&
           one.interface == other.interface && one.name == other.name;
}

}  // namespace

RegistrationError::RegistrationError(Reason why, const std::string& text)
    : std::runtime_error(text), reason(why) {}

const RuleType& RuleRegistry::add(RuleType type) {
    type.name = nameIn(type.description);
    checkedRoot(type.options, Reason::InvalidOptions);
    if (g_dbus_is_interface_name(type.interface.c_str()) == FALSE) {
        throw RegistrationError(Reason::InvalidInterface, "not the name of an interface");
    }
    const auto same = std::find_if(known.begin(), known.end(),
                                   [&type](const RuleType& other) { return isSame(type, other); });
    if (same != known.end()) {
        type.changes = same->changes;
        return *same = std::move(type);
    }
    if (known.size() == maxTypes) {
        throw RegistrationError(Reason::TooMany, "there are too many rule types");
    }
    return known.emplace_back(std::move(type));
}

bool RuleRegistry::removeProvider(const std::string& provider) {
    return std::erase_if(
               known, [&provider](const RuleType& type) { return type.provider == provider; }) != 0;
}

void RuleRegistry::clear() {
    known.clear();
}

bool RuleRegistry::noteChange(const std::string& objectPath, const std::string& interface,
                              int source) {
    bool isKnown = false;
    if (source < 0 || source >= maxSources) {
        return isKnown;
    }
    for (RuleType& type : known) {
        if (type.objectPath == objectPath && type.interface == interface) {
            ++type.changes[source];
            isKnown = true;
        }
    }
    return isKnown;
}
