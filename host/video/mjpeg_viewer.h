#pragma once

#include <memory>
#include <string>

#include "video/viewer.h"

/// Gets one JPEG picture after the other, as parts of one answer. Of the pictures that come while
/// one is being written, the last is the next.
class MjpegViewer : public Viewer {
public:
    static constexpr const char* contentType = "multipart/x-mixed-replace; boundary=picture";

    MjpegViewer(SoupServerMessage* message, const VideoRequest& request, const Stream& first,
                std::function<void()> onGone)
        : Viewer(message, request, first, std::move(onGone)) {}

    StreamDemand getDemand() const override { return {true, false, false}; }
    void show(const ComposedPicture& picture) override;
    void changeTo(const Stream& other) override { stream = other; }

private:
    void onWritten() override;
    void send(const std::string& jpeg);

    bool hasBegun = false;
    std::shared_ptr<const std::string> next;  // null when none waits
};
