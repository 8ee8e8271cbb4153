#pragma once

#include "media/ffmpeg_objects.h"
#include "media/input/input_file.h"

#include <cstdint>
#include <map>
#include <string>

namespace tintwell::media {

struct DecoderLimits {
    std::int64_t maxPixels = kUsualPixels; ///< larger pictures are not decoded
    std::int64_t memory = 0;               ///< of a whole rendering, bytes; 0: usualMemory
};

/// Turns the packets of a video stream into frames in the order of presentation. What cannot be
/// decoded is passed over and counted. The same packets always give the same pictures.
class VideoDecoder {
public:
    /// `input` is what messages call the file. Throws MediaError where there is no decoder for its
    /// video.
    VideoDecoder(const std::string& input, const AVStream& stream, const DecoderLimits& limits);

    /// What the pictures that it holds take at most, estimated.
    std::int64_t bytes() const { return bytes_; }

    /// From now on every frame keeps the packet that it was decoded from (keepSource); for image
    /// files, whose packets are pictures of their own.
    void keepSources() { keepsSources_ = true; }

    /// Empty where more packets are needed, and at the end.
    FramePtr receive();

    /// Whether no more frames will come: those before the end of the video are delivered, or the
    /// decoder has given up.
    bool ended() const { return ended_; }

    /// After an empty receive(); nullptr is the end of the video.
    void feed(const AVPacket* packet);

    /// What is fed next belongs to another place of the stream.
    void startAnew();

    /// Packets that could not be decoded, and frames with flaws.
    std::int64_t damaged() const { return damaged_; }

    void forgetDamage() { damaged_ = 0; }

private:
    void takeSource(AVFrame& frame);
    void markFields(AVFrame& frame) const;

    CodecContextPtr context_;
    std::int64_t bytes_ = 0;
    bool keepsSources_ = false;
    std::map<std::int64_t, PacketPtr> sources_; ///< of the frames inside the decoder, by pts
    AVFieldOrder containersFields_ =
        AV_FIELD_UNKNOWN; ///< of pictures that do not say it themselves
    bool ended_ = false;
    int failuresInARow_ = 0;
    std::int64_t damaged_ = 0;
};

} // namespace tintwell::media
