#pragma once

#include <cstdint>

#include "engine/av_pointers.h"
#include "engine/file_descriptor.h"
#include "engine/source_url.h"

/// Fetches the video stream of a URL and writes its packets to a pipe, see PacketStream. What
/// cannot be had is tried again; only the end of the pipe's reader, or of a stream that is to be
/// read once, ends it.
///
/// A pipe that stays full is not waited for: packets are left out, up to the next key packet.
class UrlReader {
public:
    /// `output` is borrowed.
    UrlReader(SourceUrl source, bool readOnce, int output);

    /// Returns at the end of a stream that is read once, or when nobody reads the pipe any more.
    void run();

private:
    enum class End { Finished, Lost, NoReader };

    End readSession();
    void open();
    End forward();
    bool forwardPacket();
    void waitForItsTime();
    bool describe();
    bool write(const std::string& bytes);
    bool hasRoom();
    bool rest(std::int64_t milliseconds);
    void report(const std::string& text);
    static int isReaderGone(void* self);

    const SourceUrl url;
    const bool once;
    const int pipe;
    AvFormat format;
    AvPacket packet;
    int streamIndex = -1;
    std::uint32_t session = 0;
    bool skipping = true;        // up to the next key packet
    bool fetched = false;        // something came in this session
    bool paced = false;          // the stream comes as fast as it is taken
    std::int64_t paceStart = 0;  // microseconds: clock - stream
    std::string told;            // the last report
};
