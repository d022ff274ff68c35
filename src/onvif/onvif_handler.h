#pragma once

#include <string>
#include <vector>

#include "app/status.h"

class Onvif_CGI_Handler;
struct ConfigConversionResult;
struct StreamSettings;

/// The operations on rules: turns each request into a changed configuration document and applies
/// that the way a control request is applied, with the same checks, the same save and the same
/// change of the running cameras, but without the signal that tells of changed rules.
///
/// Failures are logged as warnings and come back as a status; until the document has been saved
/// nothing is changed. Operations read the stored document afresh and lock nothing from there to
/// the save: against a control request at the same time the last writer wins, by whole documents.
/// `camera` counts from 1; `settings` is the client's stream, in whose pixels rules are told.
class OnvifHandler {
public:
    /// Borrows the handler, for longer than this lives.
    explicit OnvifHandler(Onvif_CGI_Handler& handler);
    OnvifHandler(const OnvifHandler&) = delete;
    OnvifHandler& operator=(const OnvifHandler&) = delete;

    /// The camera's rules as XML text.
    ConfigConversionResult handleGetRules(int camera, const StreamSettings& settings);

    /// Adds the rules of an XML text. An unparsable text is an internal error here.
    StatusCode_e handleCreateRules(const std::string& rules, int camera,
                                   const StreamSettings& settings);

    /// Replaces the rules of an XML text, found by their names; unknown names are no failure. An
    /// unparsable text is malformed XML here.
    StatusCode_e handleModifyRules(const std::string& rules, int camera,
                                   const StreamSettings& settings);

    /// Removes all rules of these names; unknown names are no failure.
    StatusCode_e handleDeleteRules(const std::vector<std::string>& names, int camera);

private:
    Onvif_CGI_Handler& handler;  // borrowed
};
