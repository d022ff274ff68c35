#include "events/visual_confirmation_handler.h"

#include <glib.h>
#include <syslog.h>

#include "events/sdk_wrapper.h"
#include "events/svg_doc.h"

VisualConfirmationHandler::VisualConfirmationHandler(const std::string& event, long duration)
    : eventName(event), maxDuration(duration) {}

VisualConfirmationHandler::~VisualConfirmationHandler() {
    disable();
}

bool VisualConfirmationHandler::enable() {
    enabledTime = g_get_monotonic_time();
    hasDeadline = true;
    emptyFrames = 0;
    if (enabled) {
        return true;
    }
    // Stays set when the declaration fails, and is meant to: a client that asks again is then told
    // that all is well, and frames are tried.
    enabled = true;
    if (!declareEvent()) {
        syslog(LOG_WARNING, "FAILED to create event %s \n", eventName.c_str());
        return false;
    }
    return true;
}

void VisualConfirmationHandler::disable() {
    if (!enabled) {
        return;
    }
    sendDisablingEvent();
    undeclareEvent();
    enabled = false;
    emptyFrames = 0;
}

bool VisualConfirmationHandler::declareEvent() {
    const char* name = eventName.c_str();
    return sdk_wrapper_event_add(name, name, name,
                                 SdkWrapperEventQuiet | SdkWrapperEventApplicationData,
                                 "svgframe") != 0;
}

bool VisualConfirmationHandler::undeclareEvent() {
    return sdk_wrapper_event_remove(eventName.c_str()) != 0;
}

bool VisualConfirmationHandler::sendEvent(const SvgDoc& document, const long& time) {
    if (!isAllowedToSend(time)) {
        // Off or timed out: empty data, which is not an empty picture.
        return sendOnlyOnce("", time);
    }
    if (!document.hasElements()) {
        return sendOnlyOnce(document.toString(), time);
    }
    if (!send(document.toString(), time)) {
        return false;
    }
    emptyFrames = 0;
    return true;
}

bool VisualConfirmationHandler::sendEvent(const std::string& svg, const long& time) {
    return sendEvent(SvgDoc("", svg), time);
}

bool VisualConfirmationHandler::sendEvent(const std::string& text) {
    return send(text, g_get_monotonic_time());
}

bool VisualConfirmationHandler::sendEmptyEvent() {
    if (!sendEvent(SvgDoc().toString())) {
        return false;
    }
    ++emptyFrames;
    return true;
}

bool VisualConfirmationHandler::sendDisablingEvent() {
    return sendEvent(std::string());
}

void VisualConfirmationHandler::clearScreen() {
    if (!enabled) {
        return;
    }
    if (emptyFrames < 1) {
        sendEmptyEvent();
    }
    emptyFrames = 0;
}

bool VisualConfirmationHandler::isAllowedToSend() const {
    return isAllowedToSend(g_get_monotonic_time());
}

bool VisualConfirmationHandler::isAllowedToSend(const long& time) const {
    return enabled && (!hasDeadline || time - enabledTime <= maxDuration);
}

bool VisualConfirmationHandler::send(const std::string& data, const long& time) {
    return sdk_wrapper_event_send(eventName.c_str(), 0, data.c_str(), &time) != 0;
}

/// Sends what shows nothing, unless the last frame showed nothing already. Counts whether the send
/// worked or not.
bool VisualConfirmationHandler::sendOnlyOnce(const std::string& data, const long& time) {
    if (emptyFrames > 0) {
        return false;
    }
    const bool sent = send(data, time);
    ++emptyFrames;
    return sent;
}
