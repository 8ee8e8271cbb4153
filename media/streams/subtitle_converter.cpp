#include "media/streams/subtitle_converter.h"

#include "media/ffmpeg_log.h"
#include "media/media_error.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
}

namespace tintwell::media {
namespace {

constexpr AVRational kMilliseconds{1, 1000};
constexpr std::size_t kLargestPacket = 1 << 20;
/// Of subtitles that do not say when they end.
constexpr std::int64_t kUsualLength = 5000;

/// What was decoded into it goes with it.
struct DecodedSubtitle : AVSubtitle {
    DecodedSubtitle() : AVSubtitle{} {}

    DecodedSubtitle(const DecodedSubtitle&) = delete;
    DecodedSubtitle& operator=(const DecodedSubtitle&) = delete;

    ~DecodedSubtitle() { avsubtitle_free(this); }
};

bool endIsGiven(const AVSubtitle& subtitle) {
    return subtitle.end_display_time != 0 &&
           subtitle.end_display_time != std::numeric_limits<std::uint32_t>::max();
}

} // namespace

SubtitleConverter::SubtitleConverter(const AVStream& source, const AVCodec& encoder,
                                     const AVStream& video, const std::string& name)
    : name_(name), timeBase_(source.time_base) {
    const AVCodec* codec = avcodec_find_decoder(source.codecpar->codec_id);
    decoder_.reset(avcodec_alloc_context3(codec));
    encoder_.reset(avcodec_alloc_context3(&encoder));
    if (!decoder_ || !encoder_ ||
        avcodec_parameters_to_context(decoder_.get(), source.codecpar) < 0) {
        throw std::bad_alloc();
    }
    decoder_->pkt_timebase = source.time_base;
    takeFfmpegMessage(FfmpegPart::Decoder);
    takeFfmpegMessage(FfmpegPart::Encoder);
    int code = avcodec_open2(decoder_.get(), codec, nullptr);
    if (code >= 0) {
        const bool sized = decoder_->width > 0 && decoder_->height > 0;
        encoder_->width = sized ? decoder_->width : video.codecpar->width;
        encoder_->height = sized ? decoder_->height : video.codecpar->height;
        encoder_->time_base = kMilliseconds;
        if (decoder_->subtitle_header_size > 0) {
            const auto size = static_cast<std::size_t>(decoder_->subtitle_header_size);
            encoder_->subtitle_header = static_cast<std::uint8_t*>(av_mallocz(size + 1));
            if (encoder_->subtitle_header == nullptr) {
                throw std::bad_alloc();
            }
            std::memcpy(encoder_->subtitle_header, decoder_->subtitle_header, size);
            encoder_->subtitle_header_size = decoder_->subtitle_header_size;
        }
        code = avcodec_open2(encoder_.get(), &encoder, nullptr);
    }
    if (code < 0) {
        throw MediaError(name_ + ": cannot be converted to " + encoder.name + " (" +
                         explainFailure(code, FfmpegPart::Encoder) + ")");
    }
}

std::vector<PacketPtr> SubtitleConverter::convert(AVPacket* packet) {
    std::vector<PacketPtr> packets;
    if (packet == nullptr || packet->size == 0) {
        return packets; // nobody converts from a codec that has some left at the end
    }
    DecodedSubtitle subtitle;
    int got = 0;
    const int code = avcodec_decode_subtitle2(decoder_.get(), &subtitle, &got, packet);
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (code < 0 || packet->pts == AV_NOPTS_VALUE) {
        ++damaged_;
        return packets;
    }
    if (got == 0) {
        return packets;
    }
    const std::int64_t time = av_rescale_q(packet->pts, timeBase_, kMilliseconds);
    const std::int64_t start = time + subtitle.start_display_time;
    const std::int64_t end = packet->duration > 0
                                 ? time + av_rescale_q(packet->duration, timeBase_, kMilliseconds)
                             : endIsGiven(subtitle) ? time + subtitle.end_display_time
                                                    : start + kUsualLength;
    const bool text = subtitle.num_rects > 0 && subtitle.rects[0]->type == SUBTITLE_ASS;
    const bool endsByItself = text || encoder_->codec_id != AV_CODEC_ID_DVB_SUBTITLE;
    if (subtitle.num_rects == 0 && endsByItself) {
        return packets;
    }
    packets.push_back(encode(subtitle, start, end));
    if (!endsByItself && subtitle.num_rects > 0 && (packet->duration > 0 || endIsGiven(subtitle))) {
        const unsigned count = std::exchange(subtitle.num_rects, 0U);
        packets.push_back(encode(subtitle, end, end));
        subtitle.num_rects = count;
    }
    std::erase(packets, nullptr);
    return packets;
}

PacketPtr SubtitleConverter::encode(AVSubtitle& subtitle, std::int64_t start, std::int64_t end) {
    subtitle.pts = av_rescale_q(start, kMilliseconds, {1, AV_TIME_BASE});
    subtitle.start_display_time = 0;
    subtitle.end_display_time = static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(end - start, 0, std::numeric_limits<std::int32_t>::max()));
    std::vector<std::uint8_t> bytes(kLargestPacket);
    const int size = avcodec_encode_subtitle(encoder_.get(), bytes.data(),
                                             static_cast<int>(bytes.size()), &subtitle);
    if (size <= 0) {
        ++damaged_;
        return nullptr;
    }
    PacketPtr packet = makePacket();
    if (av_new_packet(packet.get(), size) < 0) {
        throw std::bad_alloc();
    }
    std::memcpy(packet->data, bytes.data(), static_cast<std::size_t>(size));
    packet->pts = packet->dts = start;
    packet->duration = end - start;
    packet->flags |= AV_PKT_FLAG_KEY;
    return packet;
}

} // namespace tintwell::media
