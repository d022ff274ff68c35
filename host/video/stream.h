#pragma once

/// A video stream of a camera, as the graphics service lists it. A plain value.
struct Stream {
    int id;      ///< from 1, unique on the device
    int camera;  ///< from 1
    /// In pixels, of the picture before it is turned.
    int width;
    int height;
    int rotation;  ///< clockwise: 0, 90, 180 or 270 degrees

    bool isUpright() const { return rotation == 0 || rotation == 180; }
    /// In pixels, of the picture as it is seen.
    int shownWidth() const { return isUpright() ? width : height; }
    int shownHeight() const { return isUpright() ? height : width; }

    friend bool operator==(const Stream&, const Stream&) = default;
};
