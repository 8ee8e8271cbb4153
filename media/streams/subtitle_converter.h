#pragma once

#include "media/streams/stream_converter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::media {

/// Subtitles in another codec: text as text with its simple styles, pictures as pictures.
class SubtitleConverter : public StreamConverter {
public:
    /// `name` is what messages call the stream; the video's size is for pictures that do not tell
    /// what they lie on.
    SubtitleConverter(const AVStream& source, const AVCodec& encoder, const AVStream& video,
                      const std::string& name);

    const AVCodecContext& encoder() const override { return *encoder_; }

    std::vector<PacketPtr> convert(AVPacket* packet) override;

    std::int64_t damaged() const override { return damaged_; }

private:
    PacketPtr encode(AVSubtitle& subtitle, std::int64_t start, std::int64_t end);

    std::string name_;
    AVRational timeBase_;
    CodecContextPtr decoder_;
    CodecContextPtr encoder_;
    std::int64_t damaged_ = 0;
};

} // namespace tintwell::media
