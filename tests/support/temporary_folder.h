#pragma once

#include <string>
#include <vector>

/// A folder of a test's own, emptied and removed with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return folder; }
    /// The path of an entry.
    std::string path(const std::string& name) const { return folder + "/" + name; }

    /// Makes or replaces a file and returns its path.
    std::string write(const std::string& name, const std::string& content) const;
    /// The content of a file; empty if there is none.
    std::string read(const std::string& name) const;
    /// The names of all entries, in alphabetical order.
    std::vector<std::string> names() const;

private:
    std::string folder;
};
