#pragma once

#include "engine/file_descriptor.h"

/// One request to stop, for any number of threads: raised once, it stays. stop() may be called from
/// any thread and from a signal handler.
class StopSignal {
public:
    StopSignal();

    void stop() const;
    bool stopped() const;

    /// Readable once stopped, to wait for it together with other descriptors. Stays this object's.
    int descriptor() const { return event.get(); }

private:
    FileDescriptor event;
};
