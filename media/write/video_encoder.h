#pragma once

#include "media/clip_info.h"
#include "media/color/frame_converter.h"
#include "media/ffmpeg_objects.h"
#include "media/moment.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tintwell::media {

struct EncoderOptions {
    std::string codec;       ///< encoder's or codec's name; empty: the container's usual one
    std::string pixelFormat; ///< empty: the source's
    NamedValues options;     ///< of the encoder; what it does not know is offered to the container
};

/// The encoder of a clip's video. For one thread at a time; errors are MediaErrors.
class VideoEncoder {
public:
    /// `output` names the target in messages, `url` tells the container's codec by its extension.
    VideoEncoder(const ClipInfo& source, AVFieldOrder fieldOrder, const AVOutputFormat& container,
                 const std::string& output, const std::string& url, const EncoderOptions& options);

    const AVCodecContext& context() const { return *context_; }

    /// What the frames given must be.
    const PictureFormat& pictureFormat() const { return pictureFormat_; }

    /// Options that the encoder does not know.
    const NamedValues& leftOptions() const { return leftOptions_; }

    const std::vector<std::string>& warnings() const { return warnings_; }

    /// Takes a frame, with pts in the source's time base; null at the end.
    void send(const AVFrame* picture, std::int64_t durationInSource);

    /// The next packet, in the context's time base and counted from the first frame; empty when
    /// there is none yet.
    PacketPtr receive();

    /// When the first frame is shown: containers tell it more finely than the frames' own clock.
    Moment start() const;

private:
    const AVCodec& chooseCodec(const AVOutputFormat& container, const std::string& url,
                               const EncoderOptions& options) const;
    void choosePixelFormat(const AVCodec& codec, const std::string& wanted);
    void chooseTimeBase(const AVCodec& codec, const AVOutputFormat& container);
    void describePictures(AVFieldOrder fieldOrder);
    void limitMemory(const AVCodec& codec, Dictionary& settings) const;
    void open(const AVCodec& codec, const NamedValues& options);
    std::int64_t nextTime(const AVFrame& picture) const;

    std::string output_;
    ClipInfo source_;
    CodecContextPtr context_;
    PictureFormat pictureFormat_;
    ColorTags tags_;
    NamedValues leftOptions_;
    std::vector<std::string> warnings_;
    std::int64_t ticksPerFrame_ = 0;         ///< 0: any number, the time base is the source's
    std::int64_t firstPts_ = AV_NOPTS_VALUE; ///< in the source's time base
    std::int64_t lastTime_ = AV_NOPTS_VALUE;
    std::map<std::int64_t, std::int64_t> durations_; ///< of the frames inside the encoder, by pts
};

} // namespace tintwell::media
