#pragma once

#include <cstdint>
#include <string_view>

#include "geometry/point.h"
#include "tracking/text_map.h"

/// What one filter or guard keeps on a tracked object: named values of four kinds. What becomes of
/// them when objects merge is the subclass's word; when an object splits its parts get clones.
class TrackingObjectExternalData {
public:
    virtual ~TrackingObjectExternalData();
    TrackingObjectExternalData& operator=(const TrackingObjectExternalData&) = delete;

    /// A copy of all values, transferred to the caller.
    virtual TrackingObjectExternalData* clone() const = 0;
    /// Takes in the values of the same key on an object that merges into this one's.
    virtual void merge(const TrackingObjectExternalData& other) = 0;

    /// Each stores under the key, over an earlier value of its kind.
    void insert(std::string_view key, bool value);
    void insert(std::string_view key, std::int32_t value);
    void insert(std::string_view key, const Point& value);
    void insert(std::string_view key, std::int64_t time);

    /// The value under the key. A missing key is logged as an error and gives false, 0 or (0, 0).
    bool getBool(std::string_view key) const;
    std::int32_t getInt(std::string_view key) const;
    Point getPoint(std::string_view key) const;
    /// The time under the key, or the fallback, silently; microseconds.
    long getTimeVal(std::string_view key, long fallback) const;

protected:
    TrackingObjectExternalData() = default;
    TrackingObjectExternalData(const TrackingObjectExternalData&) = default;

private:
    TextMap<bool> bools;
    TextMap<std::int32_t> ints;
    TextMap<Point> points;
    TextMap<std::int64_t> times;
};
