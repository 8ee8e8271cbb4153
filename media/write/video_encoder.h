#pragma once

#include "media/clip_info.h"
#include "media/color/frame_converter.h"
#include "media/encoding/encoding_plan.h"
#include "media/ffmpeg_objects.h"
#include "media/moment.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tintwell::media {

/// The encoder of a clip's video. For one thread at a time; errors are MediaErrors.
class VideoEncoder {
public:
    /// `output` names the target in messages; the options are the user's and come after the plan's.
    VideoEncoder(const SourceVideo& source, const AVOutputFormat& container,
                 const std::string& output, const EncodingPlan& plan,
                 const EncoderOptions& options);

    const AVCodecContext& context() const { return *context_; }

    /// What the frames given must be.
    const PictureFormat& pictureFormat() const { return pictureFormat_; }

    /// Options that the encoder does not know.
    const NamedValues& leftOptions() const { return leftOptions_; }

    const std::vector<std::string>& warnings() const { return warnings_; }

    /// What it takes, and the pictures that wait for it, estimated.
    std::int64_t bytes() const { return bytes_; }

    /// When the frame sent last is shown, from the first, in seconds.
    double secondsSent() const {
        return static_cast<double>(lastTime_ - firstTime_) * av_q2d(context_->time_base);
    }

    const ColorTags& tags() const { return tags_; }

    /// For people: at what rate or quality; empty where that is the encoder's own affair.
    const std::string& rate() const { return rate_; }

    /// Takes a frame, with pts in the source's time base; null at the end.
    void send(const AVFrame* picture, std::int64_t durationInSource);

    /// The next packet, in the context's time base and counted from the first frame; empty when
    /// there is none yet.
    PacketPtr receive();

    /// When the first frame is shown: containers tell it more finely than the frames' own clock.
    Moment start() const;

private:
    int openFirst(const EncodingPlan& plan, const AVOutputFormat& container,
                  const EncoderOptions& options, bool asFields);
    void makeContext(const EncodingPlan& plan, const AVOutputFormat& container, bool asFields);
    void chooseTimeBase(const AVCodec& codec, const AVOutputFormat& container);
    void requireFastEnough(const AVCodec& codec, AVRational nearest) const;
    void describePictures(bool asFields);
    NamedValues withLight(const AVCodec& codec, NamedValues options) const;
    int open(const AVCodec& codec, const EncoderSettings& settings, const EncoderOptions& options);
    std::int64_t nextTime(const AVFrame& picture) const;

    std::string output_;
    ClipInfo source_;
    CodecContextPtr context_;
    std::int64_t bytes_ = 0;
    PictureFormat pictureFormat_;
    ColorTags tags_;
    NamedValues leftOptions_;
    std::vector<std::string> warnings_;
    std::string rate_;
    std::string light_;                      ///< among the encoder's parameters
    std::int64_t ticksPerFrame_ = 0;         ///< 0: any number, the time base is the source's
    std::int64_t firstPts_ = AV_NOPTS_VALUE; ///< in the source's time base
    std::int64_t firstTime_ = 0;             ///< in the context's time base, as the next
    std::int64_t lastTime_ = AV_NOPTS_VALUE;
    std::map<std::int64_t, std::int64_t> durations_; ///< of the frames inside the encoder, by pts
};

} // namespace tintwell::media
