#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "engine/file_descriptor.h"
#include "engine/packet_stream.h"
#include "engine/source.h"

class MonotonicClock;
class PicturePlayer;
class VideoDecoder;

/// Plays what plinth-reader sends down a pipe. Live: pictures are shown as they come, at the pace
/// their own times tell.
///
/// While no picture comes, for whatever reason, empty scenes follow, the first of which deletes
/// what there was; a new stream, or the old one again, is played as soon as it begins with a key
/// packet.
class PipeSource : public Source {
public:
    /// Takes a copy of `descriptor`, which stays the caller's. `time` is borrowed. Throws
    /// SourceError.
    PipeSource(int descriptor, std::string name, MonotonicClock& time);
    ~PipeSource() override;

    /// Waits until the stream is described, at most until `time`, nanoseconds on the monotonic
    /// clock.
    void awaitStream(std::int64_t time);

    void run(std::int64_t start, SourceListener& listener) override;
    SourceDescription describe() const override;
    bool isLive() const override { return true; }

private:
    enum class Arrival { Bytes, Nothing, Ended };
    Arrival readPipe();
    bool take(const PacketStream::Record& record, PicturePlayer& player);
    void takeStream(const PacketStream::Record& record, PicturePlayer& player);
    bool takePacket(const PacketStream::Record& record, PicturePlayer& player);
    void openDecoder(const PacketStream::Record& record);

    const std::string label;
    MonotonicClock& clock;
    FileDescriptor pipe;
    PacketStream::Parser parser;
    std::optional<PacketStream::Record> stream;  // as described last
    std::unique_ptr<VideoDecoder> decoder;       // null until there is a stream to decode
    bool waitingForKey = true;
    std::int64_t lastPicture = 0;  // when it came
};
