#include "tracking/tracking_object.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "geometry/polygon.h"
#include "scene/nolt_object.h"
#include "tracking/tracking_object_external_data.h"

namespace {

constexpr int uprightRotation = 0;
constexpr float squarePixels = 1.0F;
constexpr double frameUnitsPerSceneUnit = 1.0 / 4096;

Polygon* cloneOrNull(const Polygon* polygon) {
    return polygon != nullptr ? polygon->clone() : nullptr;
}

void replace(Polygon*& owned, Polygon* polygon) {
    delete owned;
    owned = polygon;
}

}  // namespace

TrackingObject::TrackingObject() : TrackingObject(-1) {}

TrackingObject::TrackingObject(int objectId) : TrackingObject(objectId, nullptr) {}

TrackingObject::TrackingObject(int objectId, Polygon* newPolygon)
    : InvariantBox(0, 0, uprightRotation, squarePixels), id(objectId), polygon(newPolygon) {}

TrackingObject::TrackingObject(int boxWidth, int boxHeight)
    : InvariantBox(boxWidth, boxHeight, uprightRotation, squarePixels),
      maxWidth(boxWidth),
      maxHeight(boxHeight) {}

TrackingObject::TrackingObject(const NoltObject& object, int cameraRotation, float ratio)
    : InvariantBox(object.getWidth(), object.getHeight(), cameraRotation, ratio),
      id(object.id),
      firstSeen(object.timestamp),
      lastSeen(object.timestamp),
      maxWidth(isOnItsSide() ? height : width),
      maxHeight(isOnItsSide() ? width : height),
      position(object.polygon->getCentroid()),
      previousPosition(position),
      polygon(object.polygon->clone()),
      previousFootBox(getFootBox(position)),
      currentFootBox(getFootBox(position)),
      confident(object.confident) {
    takeVelocity(object);
}

TrackingObject::~TrackingObject() {
    for (const auto& [key, data] : externalData) {
        delete data;
    }
    delete currentFootBox;
    delete previousFootBox;
    delete polygon;
}

void TrackingObject::update(const NoltObject& object) {
    takeOutline(*object.polygon);
    previousPosition = position;
    position = polygon->getCentroid();
    lastSeen = object.timestamp;
    takeVelocity(object);
    replace(previousFootBox, currentFootBox);
    InvariantBox::update(object.getWidth(), object.getHeight());
    currentFootBox = getFootBox(position);
    confident = object.confident;
    growMaxima();
}

// In place: an outline seldom changes its number of points, and then no memory changes hands.
void TrackingObject::takeOutline(const Polygon& outline) {
    if (polygon != nullptr) {
        *polygon = outline;
    } else {
        polygon = outline.clone();
    }
}

// Narrows to the 16 bits that a tracked object keeps.
void TrackingObject::takeVelocity(const NoltObject& object) {
    velocityX = static_cast<std::int16_t>(object.velocity.x);
    velocityY = static_cast<std::int16_t>(object.velocity.y);
}

// At a rotation that is none of the four the maxima are those of the reported size, while
// getWidth() and getHeight() take it to be on its side. It is meant.
bool TrackingObject::isOnItsSide() const {
    return rotation == 90 || rotation == 270;
}

void TrackingObject::growMaxima() {
    maxWidth = std::max(maxWidth, isOnItsSide() ? height : width);
    maxHeight = std::max(maxHeight, isOnItsSide() ? width : height);
}

void TrackingObject::merge(const TrackingObject* source, bool isTargetAmongSources) {
    if (!mergeable || !source->mergeable) {
        return;
    }
    combineSizeProperties(source);
    combineFilterData(source);
    firstSeen = std::min(firstSeen, source->firstSeen);
    if (!isTargetAmongSources) {
        previousPosition = source->previousPosition;
        replace(previousFootBox, cloneOrNull(source->previousFootBox));
    }
}

void TrackingObject::merge(const std::vector<const TrackingObject*>& sources,
                           bool isTargetAmongSources) {
    for (const TrackingObject* source : sources) {
        if (source != nullptr && source->id != id) {
            merge(source, isTargetAmongSources);
        }
    }
}

void TrackingObject::split(std::vector<TrackingObject*>& destinations) const {
    for (TrackingObject* destination : destinations) {
        if (destination != nullptr && destination->id != id) {
            destination->splitFromSource(this);
        }
    }
}

void TrackingObject::splitFromSource(const TrackingObject* source) {
    if (mergeable && source->mergeable) {
        inheritFrom(*source);
    }
}

void TrackingObject::inheritFrom(const TrackingObject& source) {
    combineSizeProperties(&source);
    // As old as what it split from, even if that makes it younger; and its own filter data give
    // way, where a merge would combine them.
    firstSeen = source.firstSeen;
    replace(previousFootBox, cloneOrNull(source.previousFootBox));
    previousPosition = source.previousPosition;
    for (const auto& [key, data] : source.externalData) {
        TrackingObjectExternalData* inherited = data->clone();
        delete getData(key);
        externalData.set(key, inherited);
    }
}

void TrackingObject::combineSizeProperties(const TrackingObject* other) {
    InvariantBox::merge(*other);
    maxWidth = std::max(maxWidth, other->maxWidth);
    maxHeight = std::max(maxHeight, other->maxHeight);
}

void TrackingObject::combineFilterData(const TrackingObject* other) {
    for (const auto& [key, data] : other->externalData) {
        if (TrackingObjectExternalData* present = getData(key)) {
            present->merge(*data);
        } else {
            externalData.set(key, data->clone());
        }
    }
}

void TrackingObject::insertData(const std::string& key, TrackingObjectExternalData* data) {
    externalData.set(key, data);
}

TrackingObjectExternalData* TrackingObject::getData(std::string_view key) const {
    TrackingObjectExternalData* const* data = externalData.find(key);
    return data != nullptr ? *data : nullptr;
}

void TrackingObject::setPreviousPosition(const Point& newPosition) {
    previousPosition = newPosition;
    replace(previousFootBox, getFootBox(newPosition));
}

std::string TrackingObject::toNoltStringXML() const {
    char text[256];
    std::snprintf(text, sizeof text,
                  "<object confidence=\"%s\" id=\"%d\">"
                  "<box height=\"%.4g\" width=\"%.4g\" x=\"%.4g\" y=\"%.4g\"/></object>",
                  confident ? "1.0" : "0.0", id, polygon->height * frameUnitsPerSceneUnit,
                  polygon->width * frameUnitsPerSceneUnit, polygon->minX * frameUnitsPerSceneUnit,
                  polygon->minY * frameUnitsPerSceneUnit);
    return text;
}

std::string TrackingObject::toStringSvg(const std::string& style) const {
    return polygon->toBoundingBoxStringSvg(style, "");
}
