#include "video/listed_streams.h"

#include <algorithm>
#include <iterator>

#include "video/stream_table.h"

ListedStreams::ListedStreams(const StreamTable& theTable) : table(theTable) {}

std::optional<Stream> ListedStreams::find(int id) const {
    return removed.contains(id) ? std::nullopt : table.find(id);
}

std::vector<Stream> ListedStreams::getAll() const {
    std::vector<Stream> all;
    std::copy_if(table.getStreams().begin(), table.getStreams().end(), std::back_inserter(all),
                 [this](const Stream& stream) { return !removed.contains(stream.id); });
    return all;
}

bool ListedStreams::remove(int id) {
    return find(id).has_value() && removed.insert(id).second;
}

bool ListedStreams::add(int id) {
    return removed.erase(id) > 0;
}
