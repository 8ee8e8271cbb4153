#pragma once

#include "media/input/input_file.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tintwell::media {

/// Reads the packets of an opened input as the file has them, to its end or to where it cannot be
/// read any further.
class PacketReader {
public:
    explicit PacketReader(InputFile file) : file_(std::move(file)) {}

    const InputFile& file() const { return file_; }

    /// Not const: FFmpeg's questions about its index are asked of streams that may be changed.
    AVStream& video() const { return *file_.video; }

    const AVStream& streamOf(const AVPacket& packet) const {
        return *file_.container->streams[packet.stream_index];
    }

    /// From now on only packets of the video and of these streams are read.
    void keepOnly(const std::vector<int>& streams);

    /// Of whichever stream; empty at the end.
    PacketPtr read();

    /// Goes to a key frame of the video at or before this time, in its time base. False where the
    /// input cannot.
    bool seek(std::int64_t time);

    /// Why reading ended before the end of the file; empty where it did not.
    const std::string& failure() const { return failure_; }

    /// Whether the system could not read on; else it was what is in the file.
    bool failedToRead() const { return failedToRead_; }

    /// Whether the container promised clearly more than was found before its end.
    bool endedEarly(AVRational frameRate) const;

    /// Packets that the container knows to be damaged.
    std::int64_t damaged() const { return damaged_; }

    void forgetDamage() { damaged_ = 0; }

private:
    void note(const AVPacket& packet);
    void noteEnd(int code);
    bool endsWithinPacket() const;
    std::int64_t promisedByStreams() const;
    std::int64_t promisedEnd() const;

    InputFile file_;
    std::string failure_;
    bool failedToRead_ = false;
    bool ended_ = false;
    std::int64_t lastByte_ = 0; ///< behind the packets that were read so far, in the file
    std::int64_t lastTime_ = AV_NOPTS_VALUE;     ///< end of what was read so far, in microseconds
    std::int64_t subtitlesEnd_ = AV_NOPTS_VALUE; ///< the same of subtitles
    std::int64_t damaged_ = 0;
};

} // namespace tintwell::media
