#include "media/input/video_decoder.h"

#include "media/clip_info.h"
#include "media/ffmpeg_log.h"
#include "media/input/decoder_threads.h"
#include "media/media_error.h"
#include "media/memory_estimate.h"
#include "media/metadata/picture_source.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

namespace tintwell::media {
namespace {

/// A decoder that fails this often without taking a packet will not recover.
constexpr int kMaximumFailuresInARow = 100;

/// Where a stream is damaged, decoders can leave parts of a picture as they find them. They must
/// not find what was there before: the same clip is to give the same pictures, always.
int getClearedBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
    const int code = avcodec_default_get_buffer2(decoder, frame, flags);
    for (AVBufferRef* buffer : frame->buf) {
        if (code == 0 && buffer != nullptr) {
            std::memset(buffer->data, 0, static_cast<std::size_t>(buffer->size));
        }
    }
    return code;
}

void clearNewPictures(AVCodecContext& decoder) {
    decoder.get_buffer2 = getClearedBuffer;
#if FF_API_THREAD_SAFE_CALLBACKS
    // FFmpeg 5 calls it from one thread at a time, and decodes more slowly, unless told not to.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    decoder.thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
}

/// FFmpeg's own decoders of VP8 and VP9 leave the transparency out.
const AVCodec* findDecoder(const AVStream& stream) {
    const AVCodecID id = stream.codecpar->codec_id;
    const AVDictionaryEntry* alpha = av_dict_get(stream.metadata, "alpha_mode", nullptr, 0);
    const AVCodec* codec = nullptr;
    if (alpha != nullptr && std::string_view(alpha->value) == "1") {
        codec = id == AV_CODEC_ID_VP9   ? avcodec_find_decoder_by_name("libvpx-vp9")
                : id == AV_CODEC_ID_VP8 ? avcodec_find_decoder_by_name("libvpx")
                                        : nullptr;
    }
    return codec != nullptr ? codec : avcodec_find_decoder(id);
}

/// Samples without compression, and most of lossless video, do not say whether they are fields.
bool saysNothingOfFields(AVCodecID codec) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec);
    constexpr int kBoth = AV_CODEC_PROP_LOSSY | AV_CODEC_PROP_LOSSLESS;
    return descriptor != nullptr && (descriptor->props & kBoth) == AV_CODEC_PROP_LOSSLESS;
}

} // namespace

VideoDecoder::VideoDecoder(const std::string& input, const AVStream& stream,
                           const DecoderLimits& limits) {
    const AVCodecParameters& parameters = *stream.codecpar;
    const AVCodec* codec = findDecoder(stream);
    if (codec == nullptr) {
        throw MediaError(input + ": there is no decoder for its video (" +
                         avcodec_get_name(parameters.codec_id) + ")");
    }
    checkPictureSize(input, parameters.width, parameters.height, limits.maxPixels);
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_ || avcodec_parameters_to_context(context_.get(), &parameters) < 0) {
        throw std::bad_alloc();
    }
    containersFields_ =
        saysNothingOfFields(parameters.codec_id) ? parameters.field_order : AV_FIELD_UNKNOWN;
    context_->pkt_timebase = stream.time_base;
    const std::int64_t memory =
        limits.memory > 0 ? limits.memory : usualMemory(parameters.width, parameters.height);
    const DecoderThreads threads =
        planDecoder(*codec, parameters, decoderShare(memory), processorCount());
    context_->thread_count = threads.count;
    context_->thread_type = threads.type;
    bytes_ = threads.bytes;
    context_->max_pixels = limits.maxPixels;
    clearNewPictures(*context_);
    if (const int code = avcodec_open2(context_.get(), codec, nullptr); code < 0) {
        throw MediaError(input + ": its video (" + codec->name + ") cannot be decoded (" +
                         explainFailure(code, FfmpegPart::Decoder) + ")");
    }
}

FramePtr VideoDecoder::receive() {
    FramePtr frame = makeFrame();
    while (true) {
        const int code = avcodec_receive_frame(context_.get(), frame.get());
        if (code == 0) {
            failuresInARow_ = 0;
            if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0) {
                ++damaged_;
            }
            takeSource(*frame);
            markFields(*frame);
            return frame;
        }
        if (code == AVERROR(ENOMEM)) {
            throw std::bad_alloc();
        }
        if (code == AVERROR(EAGAIN)) {
            return nullptr;
        }
        if (code == AVERROR_EOF || ++failuresInARow_ > kMaximumFailuresInARow) {
            ended_ = true;
            return nullptr;
        }
        ++damaged_;
    }
}

void VideoDecoder::takeSource(AVFrame& frame) {
    const auto source = sources_.find(frame.pts);
    if (source != sources_.end()) {
        keepSource(frame, *source->second);
        sources_.erase(sources_.begin(), std::next(source));
    }
}

/// So that rows share chroma within their field.
void VideoDecoder::markFields(AVFrame& frame) const {
    if (containersFields_ > AV_FIELD_PROGRESSIVE && frame.interlaced_frame == 0) {
        frame.interlaced_frame = 1;
        frame.top_field_first =
            containersFields_ == AV_FIELD_TT || containersFields_ == AV_FIELD_BT ? 1 : 0;
    }
}

void VideoDecoder::feed(const AVPacket* packet) {
    if (keepsSources_ && packet != nullptr && packet->pts != AV_NOPTS_VALUE) {
        sources_[packet->pts].reset(av_packet_clone(packet));
        if (!sources_[packet->pts]) {
            throw std::bad_alloc();
        }
    }
    const int code = avcodec_send_packet(context_.get(), packet);
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (code < 0 && code != AVERROR_EOF) {
        ++damaged_;
    }
}

void VideoDecoder::startAnew() {
    avcodec_flush_buffers(context_.get());
    sources_.clear();
    ended_ = false;
    failuresInARow_ = 0;
}

} // namespace tintwell::media
