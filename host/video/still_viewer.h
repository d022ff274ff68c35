#pragma once

#include "video/viewer.h"

/// Gets the next picture as a JPEG file.
class StillViewer : public Viewer {
public:
    StillViewer(SoupServerMessage* message, const VideoRequest& request, const Stream& first,
                std::function<void()> onGone)
        : Viewer(message, request, first, std::move(onGone)) {}

    StreamDemand getDemand() const override { return {!reply.isFinished(), false, false}; }
    void show(const ComposedPicture& picture) override;
    void changeTo(const Stream& other) override { stream = other; }

private:
    void onWritten() override {}
};
