#pragma once

#include <set>
#include <string>

/// The topics this device has put on the bus, a line each, kept in a file of the state folder: what
/// the next run has to clear if this one ends without doing so itself.
///
/// The file is replaced as a whole, so a reader sees the old or the new list. Used by one thread.
class TopicFile {
public:
    /// `prefix` is what a line must begin with to be taken for a topic of ours.
    TopicFile(const std::string& folder, const std::string& prefix);

    /// The topics in the file; none if there is no file. Lines that are no topics are left out.
    std::set<std::string> load();
    /// Writes the topics unless the file holds just these; an empty list removes the file. A
    /// failure is logged, once until a save succeeds.
    void save(const std::set<std::string>& topics);

private:
    /// The reason of a failure, empty for none.
    std::string write(const std::set<std::string>& topics) const;

    const std::string path;
    const std::string prefix;
    std::set<std::string> saved;
    bool failed = false;
};
