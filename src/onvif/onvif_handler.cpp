#include "onvif/onvif_handler.h"

#include <syslog.h>

#include "cgi/cgi_handler_result.h"
#include "cgi/onvif_cgi_handler.h"
#include "device/stream_settings.h"
#include "onvif/onvif_config_converter.h"
#include "xmlnode/xmlnode.h"

namespace {

constexpr const char* kUnparsable = "Could not parse XML-data";
// These two texts lack their "not". They are meant to be so.
constexpr const char* kNoRules = "Could create rules from XML-data";
constexpr const char* kNotSavedByCreate = "Could save the configuration";

/// The rules of an XML text. Throws StatusException; `unparsable` is the status of a text that is
/// no XML document.
OnvifRules parseRules(const std::string& text, int camera, const StreamSettings& settings,
                      StatusCode_e unparsable) {
    g_autoptr(XmlNode) root = xmlnode_parse_string(text.c_str(), 0);
    utils::throwIf(root == nullptr, kUnparsable, unparsable);
    const Maybe<OnvifRules> rules =
        OnvifConfigConverter::createRulesFromXML(root, camera, settings);
    utils::throwIf(!rules.hasValue(), kNoRules, StatusInternalError);
    return rules.get();
}

/// The document of a conversion. Throws StatusException with the conversion's status.
const std::string& documentOf(const ConfigConversionResult& result, const char* failureText) {
    utils::throwIf(!result.text.hasValue(), failureText,
                   result.status.hasValue() ? result.status.get() : StatusInternalError);
    return result.text.get();
}

/// Makes a document the stored and the running one. Throws StatusException with the status of the
/// refusal.
void apply(Onvif_CGI_Handler& handler, const std::string& document, const char* failureText) {
    const auto result = handler.handleSetRequestWithoutDbusSignal(document.c_str());
    utils::throwIf(result->status != StatusOk, failureText, result->status);
}

/// Runs an operation; its failure is logged and becomes the status.
template <typename Operation>
StatusCode_e statusOf(const char* format, Operation operation) {
    try {
        operation();
        return StatusOk;
    } catch (const StatusException& failure) {
        syslog(LOG_WARNING, format, failure.what());
        return failure.status;
    }
}

}  // namespace

OnvifHandler::OnvifHandler(Onvif_CGI_Handler& theHandler) : handler(theHandler) {}

ConfigConversionResult OnvifHandler::handleGetRules(int camera, const StreamSettings& settings) {
    return OnvifConfigConverter::getRules(handler.getConfigurationPath(), camera, settings);
}

StatusCode_e OnvifHandler::handleCreateRules(const std::string& rules, int camera,
                                             const StreamSettings& settings) {
    return statusOf("[CreateRules] %s\n", [&] {
        // Unlike for a modify, an unparsable text is an internal error here. It is meant to be so.
        const OnvifRules parsed = parseRules(rules, camera, settings, StatusInternalError);
        const ConfigConversionResult changed =
            OnvifConfigConverter::createRules(parsed, handler.getConfigurationPath(), settings);
        apply(handler, documentOf(changed, "Could not create the configuration"),
              kNotSavedByCreate);
    });
}

StatusCode_e OnvifHandler::handleModifyRules(const std::string& rules, int camera,
                                             const StreamSettings& settings) {
    return statusOf("[ModifyRules] %s\n", [&] {
        const OnvifRules parsed = parseRules(rules, camera, settings, StatusMalformedXml);
        const ConfigConversionResult changed =
            OnvifConfigConverter::modifyRules(parsed, handler.getConfigurationPath(), settings);
        apply(handler, documentOf(changed, "Could not create the configuration"),
              "Could not save the configuration");
    });
}

StatusCode_e OnvifHandler::handleDeleteRules(const std::vector<std::string>& names, int camera) {
    return statusOf("[DeleteRules] %s\n", [&] {
        const ConfigConversionResult changed =
            OnvifConfigConverter::deleteRules(names, handler.getConfigurationPath(), camera);
        apply(handler, documentOf(changed, "Could not create configuration"),
              "Could not save configuration");
    });
}
