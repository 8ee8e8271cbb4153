#include "media/check/written_video.h"

#include "media/clip_info.h"
#include "media/ffmpeg_log.h"
#include "media/media_error.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <string_view>

namespace tintwell::media {

WrittenVideo::WrittenVideo(const std::string& name, int descriptor,
                           const Interruption& interruption)
    : io_(descriptor, DescriptorIo::Direction::Read, true, interruption) {
    AVFormatContext* container = avformat_alloc_context();
    if (container == nullptr) {
        throw std::bad_alloc();
    }
    container->pb = io_.context();
    container->flags |= AVFMT_FLAG_CUSTOM_IO;
    int code = avformat_open_input(&container, "", nullptr, nullptr); // frees it where it fails
    if (code >= 0) {
        container_.reset(container);
        code = avformat_find_stream_info(container, nullptr);
    }
    if (code < 0) {
        throw MediaError(name + ": what was written cannot be read back (" +
                         explainFailure(code, FfmpegPart::Demuxer) + ")");
    }
    for (unsigned i = 0; i < container->nb_streams && stream_ == nullptr; ++i) {
        AVStream* stream = container->streams[i];
        const bool isCover = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !isCover) {
            stream_ = stream;
        } else {
            stream->discard = AVDISCARD_ALL;
        }
    }
    if (stream_ == nullptr) {
        throw MediaError(name + ": what was written has no video when it is read back");
    }
    constexpr std::int64_t kAsLittleAsPossible =
        1; // for a few frames; the encoder still holds its own
    decoder_.emplace(name, *stream_, DecoderLimits{kMaximumPixels, kAsLittleAsPossible});
}

/// False where there is nothing more to give to the decoder.
bool WrittenVideo::feed() {
    const PacketPtr packet = makePacket();
    int code = 0;
    do {
        av_packet_unref(packet.get());
        code = av_read_frame(container_.get(), packet.get());
    } while (code >= 0 && packet->stream_index != stream_->index);
    decoder_->feed(code >= 0 ? packet.get() : nullptr);
    return code >= 0;
}

FramePtr WrittenVideo::next() {
    FramePtr frame = decoder_->receive();
    for (bool more = true; !frame && more && !decoder_->ended();) {
        more = feed();
        frame = decoder_->receive();
    }
    return frame;
}

bool WrittenVideo::seek(double seconds) {
    const std::int64_t start = stream_->start_time != AV_NOPTS_VALUE ? stream_->start_time : 0;
    const auto offset = static_cast<std::int64_t>(std::floor(seconds / av_q2d(stream_->time_base)));
    if (av_seek_frame(container_.get(), stream_->index, start + offset, AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    decoder_->startAnew();
    decoder_->forgetDamage();
    return true;
}

bool canBeReadBack(const AVOutputFormat& container) {
    constexpr std::array<std::string_view, 7> kByOtherNames{"image2", "ipod", "ismv",      "vob",
                                                            "dvd",    "svcd", "mpeg2video"};
    constexpr std::array<std::string_view, 3> kUntold{"rawvideo", "null", "image2pipe"};
    const std::string_view name = container.name;
    return std::ranges::find(kByOtherNames, name) != kByOtherNames.end() ||
           (std::ranges::find(kUntold, name) == kUntold.end() &&
            av_find_input_format(container.name) != nullptr);
}

} // namespace tintwell::media
