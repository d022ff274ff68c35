#pragma once

#include <string>

class SvgDoc;

/// Sends what a guard sees as SVG frames, one for every scene that has something to show, while a
/// client watches. An empty picture is sent once; then nothing until there is something to show.
/// Frames end by themselves when the maximum duration has passed since the last enable(): the next
/// scene sends one event with empty data, and enabled stays set.
///
/// Not locked: the camera's lock covers it. Times are monotonic microseconds. A failed frame is
/// dropped: the next scene brings a new one.
///
///     off --enable--> on --scene later than enabledTime + maxDuration--> timed out --enable--> on
///     on, timed out --disable--> off
class VisualConfirmationHandler {
public:
    VisualConfirmationHandler(const std::string& eventName, long maxDuration);
    /// As disable().
    ~VisualConfirmationHandler();
    VisualConfirmationHandler(const VisualConfirmationHandler&) = delete;
    VisualConfirmationHandler& operator=(const VisualConfirmationHandler&) = delete;

    /// Starts, or begins the duration anew. Returns false when the event could not be declared;
    /// enabled is set nevertheless.
    bool enable();
    /// If enabled, sends one event with empty data and gives the declaration up.
    void disable();

    bool declareEvent();
    bool undeclareEvent();

    /// Sends a frame, or nothing where the rules above say so. Returns whether something went out.
    bool sendEvent(const SvgDoc& document, const long& time);
    /// The same for a frame of one element without a group.
    bool sendEvent(const std::string& svg, const long& time);
    /// Sends the text as it is, stamped now.
    bool sendEvent(const std::string& text);
    /// Sends an empty picture, stamped now.
    bool sendEmptyEvent();
    /// Sends empty data, stamped now.
    bool sendDisablingEvent();
    /// If enabled, sends an empty picture unless the last one was empty, and lets the next empty
    /// one be sent again.
    void clearScreen();

    bool isEnabled() const { return enabled; }
    /// Whether frames go out at this time; without an argument, now.
    bool isAllowedToSend() const;
    bool isAllowedToSend(const long& time) const;
    bool wasLastEventEmpty() const { return emptyFrames > 0; }

private:
    bool send(const std::string& data, const long& time);
    bool sendOnlyOnce(const std::string& data, const long& time);

    const std::string eventName;
    bool enabled = false;
    bool hasDeadline = false;
    long enabledTime = 0;
    const long maxDuration;
    /// Empty frames sent since the last frame with content.
    int emptyFrames = 0;
};
