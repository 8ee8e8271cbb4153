#pragma once

#include "media/ffmpeg_objects.h"
#include "media/moment.h"

#include <cstdint>
#include <vector>

namespace tintwell::media {

/// A stream on its way into another codec. What cannot be decoded is passed over and counted; other
/// errors are MediaErrors.
class StreamConverter {
public:
    StreamConverter() = default;
    StreamConverter(const StreamConverter&) = delete;
    StreamConverter& operator=(const StreamConverter&) = delete;
    virtual ~StreamConverter() = default;

    /// Opened; describes the stream that comes out.
    virtual const AVCodecContext& encoder() const = 0;

    /// Takes the source's next packet, in its stream's time base; null is the end. Gives packets in
    /// the encoder's.
    virtual std::vector<PacketPtr> convert(AVPacket* packet) = 0;

    /// What comes out is to last until this moment; before the end is taken.
    virtual void lastUntil(const Moment& /*end*/) {}

    /// How many packets could not be decoded.
    virtual std::int64_t damaged() const = 0;
};

} // namespace tintwell::media
