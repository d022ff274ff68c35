#pragma once

#include <vector>

class TrackingObject;

/// How the objects of a merge become one.
class TrackingObjectMerger {
public:
    virtual ~TrackingObjectMerger() = default;

    /// Merges the sources, in order, into the target, which keeps its identity. A null source, the
    /// target itself and objects that are not mergeable are left out.
    virtual void mergeTrackingObject(TrackingObject& target,
                                     const std::vector<const TrackingObject*>& sources,
                                     bool isTargetAmongSources) = 0;
};
