#include "engine/tracker.h"

#include <algorithm>
#include <utility>

#include "engine/assignment.h"
#include "engine/boxes.h"

void Tracker::predict(double interval) {
    for (ObjectTrack& track : tracks) {
        track.predict(interval);
    }
}

std::vector<SceneEventRecord> Tracker::update(const std::vector<Blob>& blobs, double time,
                                              double interval, cv::Size view) {
    Matching matching = {blobs, Assignment::solve(tracks, blobs),
                         std::vector<int>(blobs.size(), Assignment::none),
                         std::vector<bool>(tracks.size(), false)};
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        if (matching.blobOf[i] != Assignment::none) {
            matching.trackOf[static_cast<std::size_t>(matching.blobOf[i])] = static_cast<int>(i);
        }
    }
    std::vector<SceneEventRecord> events;
    mergeSwallowed(matching, interval, events);
    std::vector<ObjectTrack> fresh = startFresh(matching, time);
    std::vector<ObjectTrack> alive;
    std::vector<std::int32_t> lost;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        ObjectTrack& track = tracks[i];
        if (matching.merged[i]) {
            continue;
        }
        if (matching.blobOf[i] == Assignment::none) {
            track.miss(interval);
        } else {
            track.correct(blobs[static_cast<std::size_t>(matching.blobOf[i])], time, interval);
        }
        if (!track.isConfirmed() && track.isRipe(time, settings)) {
            confirm(track, alive, events);
        }
        if (!track.isLost(time, view, settings)) {
            alive.push_back(std::move(track));
        } else if (track.isConfirmed()) {
            lost.push_back(track.id);
        }
    }
    std::move(fresh.begin(), fresh.end(), std::back_inserter(alive));
    tracks = std::move(alive);
    if (!lost.empty()) {
        events.push_back({SCENE_ACTION_DELETE, std::move(lost), {}});
    }
    return events;
}

// A lost track that sits for a while inside another's blob has gone into it. The older one lives
// on.
void Tracker::mergeSwallowed(Matching& matching, double interval,
                             std::vector<SceneEventRecord>& events) {
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        if (matching.merged[i] || matching.blobOf[i] != Assignment::none ||
            !tracks[i].isConfirmed()) {
            continue;
        }
        for (std::size_t j = 0; j < matching.blobs.size(); ++j) {
            if (matching.trackOf[j] == Assignment::none) {
                continue;
            }
            const auto other = static_cast<std::size_t>(matching.trackOf[j]);
            if (matching.merged[other] ||
                !isSwallowed(tracks[i], tracks[other], matching.blobs[j])) {
                continue;
            }
            tracks[i].swallowed += interval;
            if (tracks[i].swallowed < settings.mergeAfter) {
                break;
            }
            std::size_t kept = other;
            std::size_t gone = i;
            if (tracks[i].born < tracks[other].born) {
                std::swap(kept, gone);
                matching.blobOf[kept] = static_cast<int>(j);
                matching.blobOf[gone] = Assignment::none;
                matching.trackOf[j] = static_cast<int>(kept);
            }
            matching.merged[gone] = true;
            events.push_back({SCENE_ACTION_MERGE, {tracks[kept].id}, {tracks[gone].id}});
            break;
        }
    }
}

// Whether `blob`, taken by `other`, is too big for that one alone and explained by both.
bool Tracker::isSwallowed(const ObjectTrack& track, const ObjectTrack& other,
                          const Blob& blob) const {
    if (!other.isConfirmed()) {
        return false;
    }
    const cv::Rect2d box = track.predicted();
    const bool explains = Boxes::overlap(box | other.predicted(), blob.box) >
                          Boxes::overlap(other.predicted(), blob.box);
    return explains && Boxes::shareInside(box, blob.box) >= 0.5 && blob.area >= 1.15 * other.area;
}

// Blobs that nobody expected begin new tracks.
std::vector<ObjectTrack> Tracker::startFresh(const Matching& matching, double time) {
    std::vector<ObjectTrack> fresh;
    for (std::size_t j = 0; j < matching.blobs.size(); ++j) {
        if (matching.trackOf[j] != Assignment::none) {
            continue;
        }
        ObjectTrack track(matching.blobs[j], time);
        const int source = sourceOf(matching.blobs[j], matching);
        if (source != Assignment::none) {
            ObjectTrack& parent = tracks[static_cast<std::size_t>(source)];
            const Blob& rest = matching.blobs[static_cast<std::size_t>(
                matching.blobOf[static_cast<std::size_t>(source)])];
            track.parent = parent.id;
            track.setVelocity(parent.velocity());
            parent.size = rest.box.size();
            parent.area = rest.area;
        }
        fresh.push_back(std::move(track));
    }
    return fresh;
}

// The track in whose last box the blob lies, and which has just become smaller.
int Tracker::sourceOf(const Blob& blob, const Matching& matching) const {
    int source = Assignment::none;
    double best = 0.5;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const int assigned = matching.blobOf[i];
        if (matching.merged[i] || !tracks[i].isConfirmed() || assigned == Assignment::none) {
            continue;
        }
        const double inside = Boxes::shareInside(blob.box, Boxes::grown(tracks[i].box, 0.05));
        const double left = matching.blobs[static_cast<std::size_t>(assigned)].area;
        if (inside > best && left < 0.85 * tracks[i].area && blob.area > 0.2 * tracks[i].area) {
            best = inside;
            source = static_cast<int>(i);
        }
    }
    return source;
}

// A split is told once its part is confirmed, and only while what it came out of lives.
void Tracker::confirm(ObjectTrack& track, const std::vector<ObjectTrack>& alive,
                      std::vector<SceneEventRecord>& events) {
    track.confirm(nextId++);
    const bool parentLives =
        track.parent != 0 && std::any_of(alive.begin(), alive.end(), [&](const ObjectTrack& other) {
            return other.id == track.parent;
        });
    if (parentLives) {
        events.push_back({SCENE_ACTION_SPLIT, {track.parent}, {track.parent, track.id}});
    }
}

std::vector<std::int32_t> Tracker::end() {
    std::vector<std::int32_t> ended;
    for (const ObjectTrack& track : tracks) {
        if (track.isConfirmed()) {
            ended.push_back(track.id);
        }
    }
    tracks.clear();
    return ended;
}

std::vector<Expectation> Tracker::expectations() const {
    std::vector<Expectation> expected;
    for (const ObjectTrack& track : tracks) {
        if (track.isConfirmed()) {
            expected.push_back({track.predicted(), track.size});
        }
    }
    return expected;
}

std::vector<cv::Rect2d> Tracker::held(double time) const {
    std::vector<cv::Rect2d> boxes;
    for (const ObjectTrack& track : tracks) {
        if (track.isConfirmed() && time - track.moved <= settings.hold) {
            boxes.push_back(track.box);
        }
    }
    return boxes;
}
