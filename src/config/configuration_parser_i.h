#pragma once

#include <string>

#include "app/status.h"

class CameraConfigurationContainer;
class DataBoundaries;

/// Turns the text of a configuration document into what a running camera container takes.
class ConfigurationParserI {
public:
    virtual ~ConfigurationParserI() = default;

    /// Checks the whole document and touches no running state. Every failure is in the log; the
    /// first is left in getStatus(). `boundaries` is borrowed until the next parse.
    virtual void parse(const std::string& json, const DataBoundaries& boundaries) = 0;

    /// Builds the guards, which are the receiver's. Only after a parse that ended with StatusOk.
    virtual CameraConfigurationContainer createConfiguration() const = 0;

    virtual StatusCode_e getStatus() const = 0;
};
