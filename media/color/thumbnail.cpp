#include "media/color/thumbnail.h"

#include "media/color/picture_samples.h"
#include "media/ffmpeg_log.h"
#include "media/media_error.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace tintwell::media {
namespace {

/// Quantiser of the encoder: 2 is the best and 31 the worst. Good for small pictures.
constexpr int kQuantiser = 4;
constexpr std::size_t kPixelBytes = 4;

PictureFormat rgbFormat(int width, int height) {
    return {width, height, AV_PIX_FMT_RGB24, {AVCOL_SPC_RGB, true}};
}

PictureFormat smallFormat(const ClipInfo& info, int side) {
    const double width = info.width * info.pixelAspect();
    const double height = info.height;
    const double scale = std::min(1.0, side / std::max(width, height));
    const auto scaled = [&](double length) {
        return static_cast<int>(std::lround(std::clamp(length * scale, 1.0, double(side))));
    };
    return rgbFormat(scaled(width), scaled(height));
}

/// The picture turned once, counterclockwise.
host::FrameBuffer turned(const host::FrameBuffer& world) {
    host::FrameBuffer result(world.height(), world.width(), world.depth());
    for (std::int32_t y = 0; y < result.height(); ++y) {
        const auto column = static_cast<std::size_t>(world.width() - 1 - y);
        for (std::int32_t x = 0; x < result.width(); ++x) {
            std::memcpy(result.row(y) + static_cast<std::size_t>(x) * kPixelBytes,
                        world.row(x) + column * kPixelBytes, kPixelBytes);
        }
    }
    return result;
}

CodecContextPtr openEncoder(int width, int height) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    if (codec == nullptr) {
        throw MediaError("FFmpeg's libraries have no encoder for JPEG here");
    }
    CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context) {
        throw std::bad_alloc();
    }
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUVJ420P;
    context->color_range = AVCOL_RANGE_JPEG;
    context->time_base = {1, 25};
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = kQuantiser * FF_QP2LAMBDA;
    const int code = avcodec_open2(context.get(), codec, nullptr);
    if (code < 0) {
        throw MediaError("a JPEG picture cannot be made (" +
                         explainFailure(code, FfmpegPart::Encoder) + ")");
    }
    return context;
}

} // namespace

ThumbnailMaker::ThumbnailMaker(const ClipInfo& info, host::SampleDepth depth, int side)
    : full_(rgbFormat(info.width, info.height)), small_(smallFormat(info, side)),
      quarterTurns_(info.quarterTurns()), toPicture_(depth, full_),
      toWorld_(small_, host::SampleDepth::Bits8),
      scaler_(sws_getContext(full_.width, full_.height, full_.pixelFormat, small_.width,
                             small_.height, small_.pixelFormat, SWS_AREA | SWS_ACCURATE_RND,
                             nullptr, nullptr, nullptr)),
      fullPicture_(makePicture(full_)), smallPicture_(makePicture(small_)) {
    if (!scaler_) {
        throw MediaError("pictures of this size cannot be made smaller");
    }
}

host::FrameBuffer ThumbnailMaker::shrink(const host::FrameBuffer& world) {
    toPicture_.convert(world, *fullPicture_);
    sws_scale(scaler_.get(), fullPicture_->data, fullPicture_->linesize, 0, full_.height,
              smallPicture_->data, smallPicture_->linesize);
    host::FrameBuffer result(small_.width, small_.height, host::SampleDepth::Bits8);
    toWorld_.convert(*smallPicture_, result);
    for (int i = 0; i < quarterTurns_; ++i) {
        result = turned(result);
    }
    return result;
}

Jpeg encodeJpeg(const host::FrameBuffer& world) {
    const PictureFormat format{
        world.width(), world.height(), AV_PIX_FMT_YUVJ420P, {AVCOL_SPC_SMPTE170M, true}};
    const FramePtr picture = makePicture(format);
    WorldToFrame(host::SampleDepth::Bits8, format).convert(world, *picture);
    picture->quality = kQuantiser * FF_QP2LAMBDA;
    picture->pts = 0;
    const CodecContextPtr encoder = openEncoder(format.width, format.height);
    const PacketPtr packet = makePacket();
    int code = avcodec_send_frame(encoder.get(), picture.get());
    code = code < 0 ? code : avcodec_send_frame(encoder.get(), nullptr);
    code = code < 0 ? code : avcodec_receive_packet(encoder.get(), packet.get());
    if (code < 0) {
        throw MediaError("a JPEG picture cannot be made (" +
                         explainFailure(code, FfmpegPart::Encoder) + ")");
    }
    return {packet->data, packet->data + packet->size};
}

} // namespace tintwell::media
