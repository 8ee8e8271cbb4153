#include "media/write/video_encoder.h"

#include "media/encoding/losses.h"
#include "media/ffmpeg_log.h"
#include "media/media_error.h"
#include "media/write/container_traits.h"
#include "media/write/picture_side_data.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <span>
#include <string_view>
#include <thread>

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

constexpr std::int64_t kLookaheadBytes = 130'000'000;
constexpr std::int64_t kThreadBytes = 12'600'000; ///< of one picture each, together
/// Seconds; finer time bases show no rounding that anybody would notice.
constexpr double kCoarseTimeBase = 1e-4;

} // namespace

VideoEncoder::VideoEncoder(const SourceVideo& source, const AVOutputFormat& container,
                           const std::string& output, const EncodingPlan& plan,
                           const NamedValues& options)
    : output_(output), source_(source.info), light_(lightParameters(source.first, *plan.codec)) {
    const OutputColor color = outputColor(source_.pixelFormat, source_.tags, plan.pixelFormat,
                                          source_.width, source_.height);
    pictureFormat_ = {source_.width, source_.height, plan.pixelFormat, color.encoding};
    tags_ = color.tags;
    for (const std::string& loss : plan.losses) {
        warnings_.push_back(output_ + ": " + loss);
    }
    int code = openFirst(plan, container, options, plan.asFields);
    if (code < 0 && plan.asFields) {
        code = openFirst(plan, container, options, false);
        warnings_.push_back(output_ + ": " + fieldsLoss(plan.codec->id) + " with these settings");
    }
    if (code < 0) {
        throw MediaError(output_ + ": the encoder " + plan.codec->name +
                         " does not accept its settings (" + explainFailure(code) + ")");
    }
    if (ticksPerFrame_ == 1 && source_.variableFrameRate) {
        warnings_.push_back(output_ + ": holds a constant frame rate only; the source's varies");
    }
}

/// With the first settings that the encoder accepts; otherwise an error of FFmpeg's.
int VideoEncoder::openFirst(const EncodingPlan& plan, const AVOutputFormat& container,
                            const NamedValues& options, bool asFields) {
    int code = 0;
    for (const EncoderSettings& settings : plan.settings) {
        makeContext(plan, container, asFields);
        code = open(*plan.codec, settings, options);
        if (code >= 0) {
            rate_ = settings.rate;
            break;
        }
    }
    return code;
}

void VideoEncoder::makeContext(const EncodingPlan& plan, const AVOutputFormat& container,
                               bool asFields) {
    context_.reset(avcodec_alloc_context3(plan.codec));
    if (!context_) {
        throw std::bad_alloc();
    }
    chooseTimeBase(*plan.codec, container);
    describePictures(asFields);
    context_->codec_tag = plan.tag;
    if ((container.flags & AVFMT_GLOBALHEADER) != 0) {
        context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
}

/// A clip that is known to have a constant rate counts frames. Others keep their own time base,
/// where codec and container let them. One that is coarse, as Matroska's milliseconds are, is
/// refined, so that frames which the rounding had moved come back to their places.
void VideoEncoder::chooseTimeBase(const AVCodec& codec, const AVOutputFormat& container) {
    AVRational rate = source_.frameRate;
    if (codec.supported_framerates != nullptr) {
        rate = codec.supported_framerates[av_find_nearest_q_idx(rate, codec.supported_framerates)];
    }
    const bool free = codec.supported_framerates == nullptr && canHoldVariableRate(container) &&
                      codec.id != AV_CODEC_ID_MPEG4;
    context_->framerate = rate;
    ticksPerFrame_ = 0;
    if (!free || source_.rateIsExact) {
        ticksPerFrame_ = 1;
    } else if (av_q2d(source_.timeBase) > kCoarseTimeBase && !source_.variableFrameRate) {
        ticksPerFrame_ =
            static_cast<std::int64_t>(std::ceil(1.0 / (kCoarseTimeBase * av_q2d(rate))));
    }
    context_->time_base = ticksPerFrame_ == 0
                              ? source_.timeBase
                              : av_mul_q(av_inv_q(rate), {1, static_cast<int>(ticksPerFrame_)});
}

void VideoEncoder::describePictures(bool asFields) {
    context_->width = pictureFormat_.width;
    context_->height = pictureFormat_.height;
    context_->pix_fmt = pictureFormat_.pixelFormat;
    context_->bits_per_raw_sample = traitsOf(pictureFormat_.pixelFormat).depth;
    context_->sample_aspect_ratio = source_.sampleAspectRatio;
    context_->colorspace = tags_.matrix;
    context_->color_range = tags_.range;
    context_->color_primaries = tags_.primaries;
    context_->color_trc = tags_.transfer;
    context_->chroma_sample_location = tags_.chromaLocation;
    context_->field_order = source_.fieldOrder;
    if (asFields) {
        context_->flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
    }
}

/// Frames that x264 looks ahead at, and threads that each hold more, are most of the memory of a
/// rendering. What the user sets is set after this.
void VideoEncoder::limitMemory(const AVCodec& codec, Dictionary& settings) const {
    const PixelFormatTraits traits = traitsOf(pictureFormat_.pixelFormat);
    const std::int64_t lumaBytes =
        std::int64_t{pictureFormat_.width} * pictureFormat_.height * (traits.depth > 8 ? 2 : 1);
    const bool grey = traits.model == ColorModel::Grey;
    const std::int64_t pictureBytes =
        lumaBytes + (grey ? 0 : (2 * lumaBytes) >> (traits.chromaShiftX + traits.chromaShiftY));
    if (std::string_view(codec.name) == "libx264") {
        // Such a frame is kept with all its chroma and once more at half size in four phases.
        const std::int64_t frames = kLookaheadBytes / (pictureBytes + lumaBytes);
        settings.set("rc-lookahead", std::to_string(std::clamp<std::int64_t>(frames, 3, 40)));
        if (!light_.empty()) {
            settings.set("x264-params", light_);
        }
        const std::int64_t threads = std::max<std::int64_t>(1, kThreadBytes / pictureBytes);
        if (threads == 1) {
            settings.set("thread_type", "slice"); // the threads share one picture
        } else {
            settings.set("threads", std::to_string(std::clamp<std::int64_t>(
                                        std::thread::hardware_concurrency(), 1, threads)));
        }
    } else if (std::string_view(codec.name) == "libx265") {
        // Its log does not go through FFmpeg's.
        settings.set("x265-params", "log-level=error" + (light_.empty() ? "" : ":" + light_));
    }
}

/// What FFmpeg says; an error leaves the context of no use.
int VideoEncoder::open(const AVCodec& codec, const EncoderSettings& settings,
                       const NamedValues& options) {
    Dictionary all;
    all.set("threads", "auto");
    limitMemory(codec, all);
    if (settings.quantiser > 0) {
        context_->flags |= AV_CODEC_FLAG_QSCALE;
        context_->global_quality = FF_QP2LAMBDA * settings.quantiser;
    }
    for (const auto& [key, value] : settings.options) {
        all.set(key, value);
    }
    for (const auto& [key, value] : options) {
        all.set(key, value);
    }
    takeFfmpegMessage();
    const int code = avcodec_open2(context_.get(), &codec, all.inOut());
    if (context_->profile == FF_PROFILE_UNKNOWN) {
        context_->profile = settings.profile;
    }
    const std::vector<std::string> left = all.keys();
    leftOptions_.clear();
    std::ranges::copy_if(options, std::back_inserter(leftOptions_), [&](const auto& option) {
        return std::ranges::find(left, option.first) != left.end();
    });
    return code;
}

/// The picture's time in the encoder's time base: later than that of the one before.
std::int64_t VideoEncoder::nextTime(const AVFrame& picture) const {
    const AVRational timeBase = context_->time_base;
    if (picture.pts == AV_NOPTS_VALUE) {
        const std::int64_t frame =
            std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(source_.frameRate), timeBase));
        return lastTime_ == AV_NOPTS_VALUE ? 0 : lastTime_ + frame;
    }
    std::int64_t time = av_rescale_q(picture.pts, source_.timeBase, timeBase);
    if (ticksPerFrame_ > 1) {
        // The grid starts at the first frame, which need not be at time 0.
        const std::int64_t sinceFirst = picture.pts - firstPts_;
        const std::int64_t onGrid =
            av_rescale_q(sinceFirst, source_.timeBase, av_inv_q(context_->framerate)) *
            ticksPerFrame_;
        if (std::abs(av_rescale_q(onGrid, timeBase, source_.timeBase) - sinceFirst) <= 1) {
            time = av_rescale_q(firstPts_, source_.timeBase, timeBase) + onGrid;
        }
    }
    return lastTime_ == AV_NOPTS_VALUE ? time : std::max(time, lastTime_ + 1);
}

void VideoEncoder::send(const AVFrame* picture, std::int64_t durationInSource) {
    FramePtr timed;
    if (picture != nullptr) {
        if (firstPts_ == AV_NOPTS_VALUE) {
            firstPts_ = picture->pts;
        }
        timed.reset(av_frame_clone(picture));
        if (!timed) {
            throw std::bad_alloc();
        }
        timed->pts = nextTime(*picture);
        firstTime_ = lastTime_ == AV_NOPTS_VALUE ? timed->pts : firstTime_;
        timed->pict_type = AV_PICTURE_TYPE_NONE;
        timed->colorspace = tags_.matrix;
        timed->color_range = tags_.range;
        timed->sample_aspect_ratio = context_->sample_aspect_ratio;
        lastTime_ = timed->pts;
        durations_[timed->pts] =
            ticksPerFrame_ == 1
                ? 1
                : av_rescale_q(durationInSource, source_.timeBase, context_->time_base);
    }
    const int code = avcodec_send_frame(context_.get(), timed.get());
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (code < 0) {
        throw MediaError(output_ + ": a frame cannot be encoded (" + explainFailure(code) + ")");
    }
}

PacketPtr VideoEncoder::receive() {
    PacketPtr packet = makePacket();
    const int code = avcodec_receive_packet(context_.get(), packet.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) {
        return nullptr;
    }
    if (code < 0) {
        throw MediaError(output_ + ": a frame cannot be encoded (" + explainFailure(code) + ")");
    }
    if (const auto duration = durations_.find(packet->pts); duration != durations_.end()) {
        packet->duration = duration->second;
        durations_.erase(duration);
    }
    return packet;
}

} // namespace tintwell::media
