#pragma once

#include <cstdint>

#include "overlay/external_overlay.h"
#include "overlay/overlay_properties.h"
#include "overlay/stream_properties.h"

enum AlarmOverlayMessageType_e : std::int32_t {
    StreamAdded = 0,
    StreamRemoved = 1,
    OverlayAdded = 2,
    OverlayRemoved = 3,
    OverlayPropertiesChanged = 4,
};

/// News of streams and overlays for the alarm overlay. What is called payload is borrowed where it
/// is a reference: a message is used within the call that brings it.
class AlarmOverlayMessage {
public:
    /// One of AlarmOverlayMessageType_e; the receiver copes with any other.
    explicit AlarmOverlayMessage(std::int32_t messageType) : type(messageType) {}
    virtual ~AlarmOverlayMessage() = default;
    AlarmOverlayMessage(const AlarmOverlayMessage&) = delete;
    AlarmOverlayMessage& operator=(const AlarmOverlayMessage&) = delete;

    const std::int32_t type;
};

class StreamAddedMessage : public AlarmOverlayMessage {
public:
    explicit StreamAddedMessage(const StreamProperties& stream)
        : AlarmOverlayMessage(StreamAdded), payload(stream) {}

    const StreamProperties& payload;
};

class StreamRemovedMessage : public AlarmOverlayMessage {
public:
    explicit StreamRemovedMessage(int streamId)
        : AlarmOverlayMessage(StreamRemoved), payload(streamId) {}

    const int payload;
};

class OverlayAddedMessage : public AlarmOverlayMessage {
public:
    explicit OverlayAddedMessage(const ExternalOverlay& overlay)
        : AlarmOverlayMessage(OverlayAdded), payload(overlay) {}

    const ExternalOverlay& payload;
};

class OverlayRemovedMessage : public AlarmOverlayMessage {
public:
    explicit OverlayRemovedMessage(int overlayId)
        : AlarmOverlayMessage(OverlayRemoved), payload(overlayId) {}

    const int payload;
};

class OverlayPropertiesChangedMessage : public AlarmOverlayMessage {
public:
    explicit OverlayPropertiesChangedMessage(const OverlayProperties& properties)
        : AlarmOverlayMessage(OverlayPropertiesChanged), payload(properties) {}

    const OverlayProperties payload;
};
