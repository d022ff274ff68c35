#pragma once

#include <glib.h>
#include <jansson.h>

#include <string>

/// The files of the application's own folder that hold JSON: reading and writing them whole.
///
/// Any thread may call; one mutex makes each operation one step. It is released between operations:
/// whoever reads, changes and writes back needs a lock of his own round the three.
class PersistentConfigHandler {
public:
    /// The file as a text with reals of four significant digits. Empty for a file that is missing
    /// or is not JSON; the latter is logged.
    static std::string load(const std::string& path);

    /// Replaces the file whole and durably, reals cut to four significant digits. False, with a
    /// line in the log, when the document is null, when its text could not be read again, or when
    /// the file could not be written; the file then is what it was.
    static bool save(const json_t* document, const std::string& path);

    /// The counter of accepted configurations that the file holds; 0 when it cannot be told.
    static int getConfigurationStatus(const std::string& path);

    /// Renames a file with content that is not JSON to the path with ".broken" behind it, replacing
    /// what was there, so that a new file does not overwrite what a user may want to mend. True if
    /// it was renamed; false for a file that is missing, empty or JSON, and when renaming fails.
    static bool setBrokenFileAside(const std::string& path);

    /// Deletes what a kill in the middle of a save leaves beside the file: files named like it with
    /// a dot and six mixed letters and digits behind. To be called before the first load.
    static void removeTemporaryFiles(const std::string& path);

private:
    static GMutex mutex;
};
