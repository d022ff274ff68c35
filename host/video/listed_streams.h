#pragma once

#include <optional>
#include <set>
#include <vector>

#include "video/stream.h"

class StreamTable;

/// The streams that are told of: all of the table, except those that were taken from the list. One
/// thread at a time.
class ListedStreams {
public:
    /// The table is borrowed.
    explicit ListedStreams(const StreamTable& table);

    std::optional<Stream> find(int id) const;
    std::vector<Stream> getAll() const;
    /// False when it is not listed.
    bool remove(int id);
    /// False when there is none, or none that was taken from the list.
    bool add(int id);

private:
    const StreamTable& table;  // borrowed
    std::set<int> removed;     // ids
};
