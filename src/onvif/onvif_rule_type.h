#pragma once

#include <string>

/// How the motion-region rule is described to the device's analytics service.
namespace ONVIF {

/// The rule's description in XML: its parameters, its event, how many a camera may have.
std::string getRuleType();

/// The rule's options in XML: the limits of its polygon, and again how many a camera may have.
std::string getRuleOptions();

}  // namespace ONVIF
