#include "cgi/cgi_header.h"

#include <syslog.h>

#include "cgi/api_version.h"
#include "cgi/api_version_handler.h"
#include "config/json_auto_ptr.h"
#include "config/json_parser.h"

CGI_Header::CGI_Header(const char* request, const API_VersionHandler& versions)
    : apiVersion(versions.getHighestSupportedVersion().text) {
    const JsonAutoPtr root(JsonParser::decode(request));
    if (JsonParser::isValid(root.get())) {
        read(*root.get(), versions);
    } else {
        status = StatusMalformedJson;
    }
    if (status != StatusOk) {
        syslog(LOG_WARNING,
               "The request header is not ok.\n"
               "  Parsed request: [version: %s, method: %s, context: %s]\n"
               "  Supported version matching request: %s\n"
               "  Received request: %s\n",
               requestedVersion.c_str(), method.c_str(), context.c_str(), apiVersion.c_str(),
               request);
    }
}

void CGI_Header::read(json_t& request, const API_VersionHandler& versions) {
    method = getValue("method", request);
    context = getValue("context", request);
    hasContext = !context.empty();
    requestedVersion = getValue("apiVersion", request);
    const API_Version version(requestedVersion);
    if (!version.isValid() || method.empty()) {
        status = StatusMissingParameter;
    } else if (!versions.isSupported(version)) {
        status = StatusVersionNotSupported;
    } else {
        apiVersion = versions.getHighestSupportedVersion(version.major).text;
    }
}

json_t* CGI_Header::createResponseHeader() const {
    const char* answeredContext = hasContext ? context.c_str() : "";
    if (status == StatusOk) {
        return json_pack("{s:s, s:s, s:s}", "apiVersion", apiVersion.c_str(), "method",
                         method.c_str(), "context", answeredContext);
    }
    return json_pack("{s:s, s:s, s:s, s:{s:s, s:s}}", "apiVersion", apiVersion.c_str(), "method",
                     method.c_str(), "context", answeredContext, "error", "code",
                     utils::convertStatusToJsonCode(status).c_str(), "message",
                     utils::convertStatusToJsonMessage(status).c_str());
}

std::string CGI_Header::getValue(const std::string& key, json_t& object) {
    const char* value = nullptr;
    return JsonParser::unpack(&object, "{s:s}", key.c_str(), &value) ? value : "";
}
