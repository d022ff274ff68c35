#pragma once

#include <glib.h>

#include <string>

#include "support/temporary_folder.h"

/// A message bus on a socket of its own, which lets everybody own and send everything. It ends with
/// the object, or with the thread that made it.
///
/// GLib's own test bus leaves a copy of the test program behind, forked with whatever locks other
/// threads held then and looking for leaks at its end: it can hang for ever, and with it whoever
/// reads the program's output to the end.
class BusDaemon {
public:
    /// Returns when it accepts connections. Throws std::runtime_error.
    BusDaemon();
    ~BusDaemon();
    BusDaemon(const BusDaemon&) = delete;
    BusDaemon& operator=(const BusDaemon&) = delete;

    /// Returns when nobody answers at its address any more.
    void stop();

    const std::string& getAddress() const { return address; }

private:
    TemporaryFolder folder;
    GPid process = 0;
    int output = -1;  // owned
    std::string address;
};
