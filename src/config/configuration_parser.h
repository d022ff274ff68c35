#pragma once

#include <string>
#include <vector>

#include "app/status.h"
#include "config/camera_record.h"
#include "config/configuration_parser_i.h"

struct AlarmOverlayConfigurationContainer;

/// The parser for a type of guard factory. T is constructed from (profile, rotation of its camera,
/// boundaries), reads the whole profile there and keeps a failure in its `status`.
///
/// It may be used again and starts clean each time. It has no lock: one thread at a time.
template <typename T>
class ConfigurationParser : public ConfigurationParserI {
public:
    ConfigurationParser() = default;
    ~ConfigurationParser() override;
    ConfigurationParser(const ConfigurationParser&) = delete;
    ConfigurationParser& operator=(const ConfigurationParser&) = delete;

    void parse(const std::string& json, const DataBoundaries& boundaries) override;
    CameraConfigurationContainer createConfiguration() const override;
    /// StatusMalformedJson before the first parse and while one runs.
    StatusCode_e getStatus() const override { return status; }

private:
    void clear();
    void parseDocument(const std::string& json, const DataBoundaries& boundaries);
    void createFactories(const json_t& profiles, const DataBoundaries& boundaries);
    void deactivateCamerasWithoutProfile();
    void checkUids() const;
    void checkNumberOfProfiles(const DataBoundaries& boundaries) const;
    void checkAlarmOverlays() const;
    const CameraRecord* findCamera(int id) const;
    bool hasProfile(const CameraRecord& camera) const;
    AlarmOverlayConfigurationContainer createAlarmOverlayConfiguration() const;

    StatusCode_e status = StatusMalformedJson;
    std::vector<CameraRecord> cameras;  // in document order
    std::vector<T*> factories;          // owned; one a profile, in document order
};
