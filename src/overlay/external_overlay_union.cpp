#include "overlay/external_overlay_union.h"

#include <algorithm>
#include <limits>

namespace {

constexpr int kMacroBlock = 16;
constexpr int kLargest = std::numeric_limits<int>::max() / kMacroBlock * kMacroBlock;

int toWholeMacroBlocks(int margin) {
    return margin > kLargest ? kLargest : (margin + kMacroBlock - 1) / kMacroBlock * kMacroBlock;
}

}  // namespace

void ExternalOverlayUnion::add(int otherTop, int otherBottom) {
    top = std::max(top, otherTop);
    bottom = std::max(bottom, otherBottom);
}

void ExternalOverlayUnion::clear() {
    *this = {};
}

void ExternalOverlayUnion::adjustMarginToMacroBlockSize() {
    top = toWholeMacroBlocks(top);
    bottom = toWholeMacroBlocks(bottom);
}
