#pragma once

#include <glib.h>

#include <string>

#include "cgi/api_version.h"

/// The installation data file: a small persistent record of how an installation behaves in the
/// field. It has no influence on the detection.
///
/// The file is one line, a JSON object:
///
///     {"version":"1.0","oldestTimestamp":1200,"newestTimestamp":5300,"data":{"nbrNoltDisconnects":1}}
///
/// Timestamps are monotonic microseconds, of the file's making and of its last change; the
/// monotonic clock starts anew with the device, so the newest can be the smaller one.
///
/// Any thread may call; one mutex makes each operation one step.
class IDD {
public:
    /// Sets the version that new files get and the path. False, and nothing changes, for a version
    /// that is not valid.
    static bool initialize(const API_Version& version, const std::string& path);

    /// Forgets version and path; nothing is written any more.
    static void deinitialize();

    /// Adds one to the count of lost connections to the tracking engine, making the file if there
    /// is none. True when the count was handed to the file system, whether or not that could write
    /// it. False before initialize(), and when the version or the file does not allow it.
    static bool incrementNbrNoltDisconnects();

private:
    static GMutex mutex;
    // Guarded by mutex.
    static std::string path;
    static API_Version version;
    static bool initialized;
};
