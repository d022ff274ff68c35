#pragma once

#include <cstdint>
#include <string>

#include "geometry/point.h"

class Polygon;

/// A box as the sensor reports it, seen as the camera is mounted: sizes and feet are those of the
/// viewed, upright picture, whatever the rotation. All lengths are scene units.
class InvariantBox {
public:
    /// A rotation other than 0, 90, 180 and 270 degrees is logged and kept; it has the feet of 0
    /// and the sides of 90.
    InvariantBox(int width, int height, int rotation, float aspectRatio);

    /// Replaces the reported size.
    void update(int width, int height);
    /// Takes the larger width and height, as reported; boxes of another rotation or aspect ratio
    /// are logged and leave the size as it is.
    void merge(const InvariantBox& other);

    /// The viewed width.
    int getWidth() const;
    /// The viewed height.
    int getHeight() const;
    /// The viewed width in the units of the viewed height.
    int getAspectCorrectedWidth() const;
    /// The viewed height: there is no correction in this direction.
    int getAspectCorrectedHeight() const;

    /// The coordinate of the foot line of a box around `centre`, on the axis that is upright.
    int getFootPositionValue(Point centre) const;
    /// The corner that is lower left as viewed, of a box around `centre`; wraps to 16 bits.
    Point getViewedLowerLeft(Point centre) const;
    /// The quarter of a box around `centre` that lies on the side of the feet. Transferred to the
    /// caller.
    Polygon* getFootBox(Point centre) const;

    /// "{width: 1, height: 2}", the viewed size.
    std::string toString() const;

protected:
    std::int32_t width;   ///< as reported
    std::int32_t height;  ///< as reported
    std::int32_t rotation;
    float aspectRatio;

private:
    bool isUprightOrInverted() const;
};
