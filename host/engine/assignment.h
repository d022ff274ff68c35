#pragma once

#include <vector>

class ObjectTrack;
struct Blob;

/// Which track is which blob.
namespace Assignment {

inline constexpr int none = -1;

/// The blob of each track, or none, so that the sum of all differences in place, size and shape is
/// the least possible. No blob goes to two tracks.
std::vector<int> solve(const std::vector<ObjectTrack>& tracks, const std::vector<Blob>& blobs);

}  // namespace Assignment
