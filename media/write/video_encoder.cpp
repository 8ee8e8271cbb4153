#include "media/write/video_encoder.h"

#include "media/ffmpeg_log.h"
#include "media/media_error.h"
#include "media/write/container_traits.h"

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

/// Quantiser of the older encoders: good, 1 being the best and 31 the worst.
constexpr int kUsualQuality = 3;
constexpr std::int64_t kLookaheadBytes = 130'000'000;
constexpr std::int64_t kThreadBytes = 12'600'000; ///< of one picture each, together
/// Seconds; finer time bases show no rounding that anybody would notice.
constexpr double kCoarseTimeBase = 1e-4;

const AVCodec* findEncoder(const std::string& name) {
    if (const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str())) {
        return codec;
    }
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get_by_name(name.c_str());
    return descriptor != nullptr ? avcodec_find_encoder(descriptor->id) : nullptr;
}

std::span<const AVPixelFormat> formatsOf(const AVCodec& codec) {
    std::size_t count = 0;
    while (codec.pix_fmts != nullptr && codec.pix_fmts[count] != AV_PIX_FMT_NONE) {
        ++count;
    }
    return {codec.pix_fmts, count};
}

/// Encoders that without a word about quality aim at a bit rate fit for thumbnails.
bool needsQuality(AVCodecID codec) {
    constexpr std::array kCodecs{
        AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_MPEG4, AV_CODEC_ID_MSMPEG4V2,
        AV_CODEC_ID_MSMPEG4V3,  AV_CODEC_ID_MJPEG,      AV_CODEC_ID_FLV1,  AV_CODEC_ID_WMV1,
        AV_CODEC_ID_WMV2,       AV_CODEC_ID_H263,       AV_CODEC_ID_H263P, AV_CODEC_ID_THEORA};
    return std::ranges::find(kCodecs, codec) != kCodecs.end();
}

bool names(const NamedValues& options, std::string_view key) {
    return std::ranges::any_of(options, [&](const auto& option) { return option.first == key; });
}

} // namespace

VideoEncoder::VideoEncoder(const ClipInfo& source, AVFieldOrder fieldOrder,
                           const AVOutputFormat& container, const std::string& output,
                           const std::string& url, const EncoderOptions& options)
    : output_(output), source_(source) {
    const AVCodec& codec = chooseCodec(container, url, options);
    choosePixelFormat(codec, options.pixelFormat);
    context_.reset(avcodec_alloc_context3(&codec));
    if (!context_) {
        throw std::bad_alloc();
    }
    chooseTimeBase(codec, container);
    describePictures(fieldOrder);
    if ((container.flags & AVFMT_GLOBALHEADER) != 0) {
        context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    open(codec, options.options);
}

const AVCodec& VideoEncoder::chooseCodec(const AVOutputFormat& container, const std::string& url,
                                         const EncoderOptions& options) const {
    const AVCodecID usual = usualVideoCodec(container, url);
    const AVCodec* codec =
        options.codec.empty() ? avcodec_find_encoder(usual) : findEncoder(options.codec);
    if (codec == nullptr && !options.codec.empty()) {
        throw MediaError("there is no video encoder '" + options.codec +
                         "'; 'ffmpeg -encoders' lists them");
    }
    if (codec == nullptr) {
        throw MediaError(output_ + ": the format " + container.name +
                         " has no usual video codec; name one (--video-codec)");
    }
    if (codec->type != AVMEDIA_TYPE_VIDEO) {
        throw MediaError("'" + options.codec + "' is not a video encoder");
    }
    if (avformat_query_codec(&container, codec->id, FF_COMPLIANCE_NORMAL) == 0) {
        throw MediaError(output_ + ": a " + container.name + " file cannot hold " +
                         avcodec_get_name(codec->id) +
                         " video; choose another codec or another file format");
    }
    return *codec;
}

void VideoEncoder::choosePixelFormat(const AVCodec& codec, const std::string& wanted) {
    const std::span<const AVPixelFormat> offered = formatsOf(codec);
    AVPixelFormat format = source_.pixelFormat;
    if (!wanted.empty()) {
        format = av_get_pix_fmt(wanted.c_str());
        if (format == AV_PIX_FMT_NONE) {
            throw MediaError("there is no pixel format '" + wanted + "'");
        }
        if (closestFormat(format, std::array{format}) == AV_PIX_FMT_NONE) {
            throw MediaError("pictures cannot be written in pixel format " + wanted +
                             "; choose another");
        }
        if (!offered.empty() && std::ranges::find(offered, format) == offered.end()) {
            std::string list;
            for (const AVPixelFormat choice : offered) {
                list += (list.empty() ? "" : ", ") + nameOf(choice);
            }
            throw MediaError(std::string("the encoder ") + codec.name +
                             " does not take pixel format " + wanted + "; it takes " + list);
        }
    } else if (!offered.empty()) {
        format = closestFormat(source_.pixelFormat, offered);
    }
    if (format == AV_PIX_FMT_NONE || directFormatFor(format) == AV_PIX_FMT_NONE) {
        throw MediaError(std::string("the encoder ") + codec.name +
                         " takes no pixel format that can be written");
    }
    if (wanted.empty() && format != source_.pixelFormat) {
        warnings_.push_back(output_ + ": the encoder " + codec.name + " does not take " +
                            nameOf(source_.pixelFormat) + "; " + nameOf(format) +
                            " is written instead" +
                            (traitsOf(source_.pixelFormat).alpha && !traitsOf(format).alpha
                                 ? ", without its transparency"
                                 : ""));
    }
    const OutputColor color =
        outputColor(source_.pixelFormat, source_.tags, format, source_.width, source_.height);
    pictureFormat_ = {source_.width, source_.height, format, color.encoding};
    tags_ = color.tags;
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
    if (!free && source_.variableFrameRate) {
        warnings_.push_back(output_ + ": holds a constant frame rate only; the source's varies");
    }
    context_->framerate = rate;
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

void VideoEncoder::describePictures(AVFieldOrder fieldOrder) {
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
    if (fieldOrder > AV_FIELD_PROGRESSIVE) {
        context_->field_order = fieldOrder;
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
        const std::int64_t threads = std::max<std::int64_t>(1, kThreadBytes / pictureBytes);
        if (threads == 1) {
            settings.set("thread_type", "slice"); // the threads share one picture
        } else {
            settings.set("threads", std::to_string(std::clamp<std::int64_t>(
                                        std::thread::hardware_concurrency(), 1, threads)));
        }
    } else if (std::string_view(codec.name) == "libx265") {
        // Its log does not go through FFmpeg's.
        settings.set("x265-params", "log-level=error");
    }
}

void VideoEncoder::open(const AVCodec& codec, const NamedValues& options) {
    Dictionary settings;
    settings.set("threads", "auto");
    limitMemory(codec, settings);
    if (needsQuality(codec.id) && !names(options, "b")) {
        context_->flags |= AV_CODEC_FLAG_QSCALE;
        context_->global_quality = FF_QP2LAMBDA * kUsualQuality;
    }
    for (const auto& [key, value] : options) {
        settings.set(key, value);
    }
    takeFfmpegMessage();
    if (const int code = avcodec_open2(context_.get(), &codec, settings.inOut()); code < 0) {
        throw MediaError(output_ + ": the encoder " + codec.name +
                         " does not accept its settings (" + explainFailure(code) + ")");
    }
    const std::vector<std::string> left = settings.keys();
    for (const auto& option : options) {
        if (std::ranges::find(left, option.first) != left.end()) {
            leftOptions_.push_back(option);
        }
    }
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
