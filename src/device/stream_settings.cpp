#include "device/stream_settings.h"

namespace {

constexpr int kMacroBlock = 16;

bool isUpright(int rotation) {
    return rotation == 0 || rotation == 180;
}

int toWholeMacroBlocks(int size) {
    return size - size % kMacroBlock;
}

}  // namespace

StreamSettings::StreamSettings(int streamWidth, int streamHeight, int streamRotation,
                               bool isMirrored)
    : width(streamWidth), height(streamHeight), rotation(streamRotation), mirrored(isMirrored) {}

int StreamSettings::getRotationCorrectedHeight() const {
    return isUpright(rotation) ? height : width;
}

int StreamSettings::getRotationAndMacroBlockCorrectedWidth() const {
    return toWholeMacroBlocks(isUpright(rotation) ? width : height);
}

int StreamSettings::getRotationAndMacroBlockCorrectedHeight() const {
    return toWholeMacroBlocks(getRotationCorrectedHeight());
}
