#include "cgi/cgi_callback.h"

#include <syslog.h>

#include <exception>
#include <memory>
#include <string>

#include "app/status.h"
#include "cgi/cgi_handler.h"
#include "cgi/cgi_handler_result.h"
#include "cgi/cgi_header.h"
#include "cgi/cgi_responder.h"
#include "cgi/request_text.h"
#include "config/json_auto_ptr.h"
#include "config/json_parser.h"

GMutex CGI_Callback::mutex;
bool CGI_Callback::isRunning = true;

namespace {

/// The handler's result. Nothing may leave into the web server's library: a handler that throws has
/// no result.
std::unique_ptr<CGI_HandlerResult> run(CGI_Handler& handler, const std::string& request) {
    try {
        return handler.handleRequest(request.c_str());
    } catch (const std::exception& exception) {
        syslog(LOG_WARNING, "%s\n", exception.what());
        return nullptr;
    }
}

json_t* packError(const std::string& code, const std::string& message) {
    return json_pack("{s:s, s:s}", "code", code.c_str(), "message", message.c_str());
}

/// Both 0 or -1, as the JSON library tells it.
int appendError(json_t* answer, const std::string& code, const std::string& message) {
    return json_object_set_new(answer, "error", packError(code, message));
}

int appendData(json_t* answer, json_t* data) {
    return data != nullptr ? json_object_set(answer, "data", data)
                           : json_object_set_new(answer, "data", json_object());
}

int appendResult(json_t* answer, const CGI_HandlerResult* result) {
    if (result == nullptr) {
        return appendError(answer, utils::convertStatusToJsonCode(StatusInternalError),
                           utils::convertStatusToJsonMessage(StatusInternalError));
    }
    return result->status != StatusOk ? appendError(answer, result->code, result->message)
                                      : appendData(answer, result->data);
}

std::string answerTo(const std::string& request, CGI_Handler& handler) {
    const std::unique_ptr<CGI_HandlerResult> result = run(handler, request);
    const CGI_Header header = handler.extractHeader(request.c_str());
    const JsonAutoPtr answer(header.createResponseHeader());
    if (header.status == StatusOk && appendResult(answer.get(), result.get()) != 0) {
        syslog(LOG_WARNING, "Could not append handler data to CGI response\n");
    }
    return JsonParser::dump(answer.get(), JSON_COMPACT | JSON_REAL_PRECISION(4));
}

}  // namespace

void CGI_Callback::handle(const char*, const char*, const char* request, _GHashTable*,
                          _GOutputStream* out, void* userData) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    if (isRunning) {
        CGI_Responder::sendResponse(
            answerTo(RequestText::repair(request), *static_cast<CGI_Handler*>(userData)), *out);
    }
}

void CGI_Callback::shutDown() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    isRunning = false;
}
