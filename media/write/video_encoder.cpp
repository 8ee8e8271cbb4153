#include "media/write/video_encoder.h"

#include "media/encoding/losses.h"
#include "media/ffmpeg_log.h"
#include "media/media_error.h"
#include "media/memory_estimate.h"
#include "media/write/container_traits.h"
#include "media/write/encoder_memory.h"
#include "media/write/picture_side_data.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

/// Seconds; finer time bases show no rounding that anybody would notice.
constexpr double kCoarseTimeBase = 1e-4;

} // namespace

VideoEncoder::VideoEncoder(const SourceVideo& source, const AVOutputFormat& container,
                           const std::string& output, const EncodingPlan& plan,
                           const EncoderOptions& options)
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
                         " cannot be started with these settings (" +
                         explainFailure(code, FfmpegPart::Encoder) + ")");
    }
    if (ticksPerFrame_ == 1 && source_.variableFrameRate) {
        warnings_.push_back(output_ + ": holds a constant frame rate only; the source's varies");
    }
}

/// With the first settings that the encoder accepts; otherwise an error of FFmpeg's.
int VideoEncoder::openFirst(const EncodingPlan& plan, const AVOutputFormat& container,
                            const EncoderOptions& options, bool asFields) {
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
    if (!canReorder(container)) {
        context_->max_b_frames = 0; // readers would show all pictures later than the sound
    }
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
        requireFastEnough(codec, rate);
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

/// Of what an encoder offers, the greatest rate is the nearest to all above it.
void VideoEncoder::requireFastEnough(const AVCodec& codec, AVRational nearest) const {
    constexpr double kTolerance = 1.01;
    if (av_q2d(source_.frameRate) > kTolerance * av_q2d(nearest)) {
        const AVRational greatest = codec.supported_framerates[av_find_nearest_q_idx(
            {1'000'000, 1}, codec.supported_framerates)];
        if (av_cmp_q(nearest, greatest) == 0) {
            throw MediaError(output_ + ": the encoder " + codec.name + " takes at most " +
                             std::to_string(greatest.num / greatest.den) +
                             " frames per second, and the source has more; choose another encoder "
                             "or file format");
        }
    }
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

/// Options for the light that the pictures were made for, those of the plan, and the user's.
NamedValues VideoEncoder::withLight(const AVCodec& codec, NamedValues options) const {
    const std::string_view name = codec.name;
    if (light_.empty() || (name != "libx264" && name != "libx265")) {
        return options;
    }
    const std::string key = name == "libx264" ? "x264-params" : "x265-params";
    const auto own = std::ranges::find(options, key, &NamedValues::value_type::first);
    if (own != options.end()) {
        own->second = light_ + ":" + own->second;
    } else {
        options.emplace_back(key, light_);
    }
    return options;
}

/// What FFmpeg says; an error leaves the context of no use.
int VideoEncoder::open(const AVCodec& codec, const EncoderSettings& settings,
                       const EncoderOptions& options) {
    const std::int64_t room = options.memory > 0
                                  ? options.memory
                                  : usualMemory(pictureFormat_.width, pictureFormat_.height) / 2;
    NamedValues wanted = settings.options;
    std::ranges::copy(options.options, std::back_inserter(wanted));
    wanted = withLight(codec, std::move(wanted));
    const EncoderMemory memory =
        EncoderMemory::plan(codec, pictureFormat_, wanted, room, processorCount());
    bytes_ = memory.bytes;
    Dictionary all;
    all.set("threads", "auto");
    if (settings.quantiser > 0) {
        context_->flags |= AV_CODEC_FLAG_QSCALE;
        context_->global_quality = FF_QP2LAMBDA * settings.quantiser;
    }
    for (const auto& [key, value] : memory.settings) {
        all.set(key, value);
    }
    takeFfmpegMessage(FfmpegPart::Encoder);
    const int code = avcodec_open2(context_.get(), &codec, all.inOut());
    if (context_->profile == FF_PROFILE_UNKNOWN) {
        context_->profile = settings.profile;
    }
    const std::vector<std::string> left = all.keys();
    leftOptions_.clear();
    std::ranges::copy_if(
        options.options, std::back_inserter(leftOptions_),
        [&](const auto& option) { return std::ranges::find(left, option.first) != left.end(); });
    return code;
}

Moment VideoEncoder::start() const {
    return {firstPts_ == AV_NOPTS_VALUE ? 0 : firstPts_, source_.timeBase};
}

/// The picture's time in the encoder's time base, from the first one: later than that of the one
/// before.
std::int64_t VideoEncoder::nextTime(const AVFrame& picture) const {
    const AVRational timeBase = context_->time_base;
    if (picture.pts == AV_NOPTS_VALUE || firstPts_ == AV_NOPTS_VALUE) {
        const std::int64_t frame =
            std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(source_.frameRate), timeBase));
        return lastTime_ == AV_NOPTS_VALUE ? 0 : lastTime_ + frame;
    }
    const std::int64_t sinceFirst = picture.pts - firstPts_;
    std::int64_t time = av_rescale_q(sinceFirst, source_.timeBase, timeBase);
    if (ticksPerFrame_ > 1) {
        const std::int64_t onGrid =
            av_rescale_q(sinceFirst, source_.timeBase, av_inv_q(context_->framerate)) *
            ticksPerFrame_;
        if (std::abs(av_rescale_q(onGrid, timeBase, source_.timeBase) - sinceFirst) <= 1) {
            time = onGrid;
        }
    }
    return lastTime_ == AV_NOPTS_VALUE ? time : std::max(time, lastTime_ + 1);
}

void VideoEncoder::send(const AVFrame* picture, std::int64_t durationInSource) {
    FramePtr timed;
    if (picture != nullptr) {
        if (lastTime_ == AV_NOPTS_VALUE) {
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
        throw MediaError(output_ + ": a frame cannot be encoded (" +
                         explainFailure(code, FfmpegPart::Encoder) + ")");
    }
}

PacketPtr VideoEncoder::receive() {
    PacketPtr packet = makePacket();
    const int code = avcodec_receive_packet(context_.get(), packet.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) {
        return nullptr;
    }
    if (code < 0) {
        throw MediaError(output_ + ": a frame cannot be encoded (" +
                         explainFailure(code, FfmpegPart::Encoder) + ")");
    }
    if (const auto duration = durations_.find(packet->pts); duration != durations_.end()) {
        packet->duration = duration->second;
        durations_.erase(duration);
    }
    return packet;
}

} // namespace tintwell::media
