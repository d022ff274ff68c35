#include "video/still_viewer.h"

void StillViewer::show(const ComposedPicture& picture) {
    if (picture.jpeg && !reply.isFinished()) {
        reply.sendWhole(*picture.jpeg);
    }
}
