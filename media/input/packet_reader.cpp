#include "media/input/packet_reader.h"

#include "media/ffmpeg_log.h"
#include "media/files/descriptor.h"
#include "media/media_error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <new>
#include <string_view>

extern "C" {
#include <libavutil/parseutils.h>
}

namespace tintwell::media {
namespace {

constexpr AVRational kMicroseconds{1, AV_TIME_BASE};

bool hasGifEnd(AVIOContext& io) {
    constexpr int kTrailer = 0x3B;
    return avio_seek(&io, avio_size(&io) - 1, SEEK_SET) >= 0 && avio_r8(&io) == kTrailer;
}

/// An index, which tells how long it is.
bool hasNutEnd(AVIOContext& io) {
    constexpr std::uint64_t kIndex = 0x4E58DD672F23E64E;
    constexpr std::int64_t kLengthAndChecksum = 12;
    const std::int64_t size = avio_size(&io);
    if (avio_seek(&io, size - kLengthAndChecksum, SEEK_SET) < 0) {
        return false;
    }
    const std::uint64_t length = avio_rb64(&io);
    return length <= static_cast<std::uint64_t>(size) &&
           avio_seek(&io, size - static_cast<std::int64_t>(length), SEEK_SET) >= 0 &&
           avio_rb64(&io) == kIndex;
}

} // namespace

void PacketReader::keepOnly(const std::vector<int>& streams) {
    for (unsigned i = 0; i < file_.container->nb_streams; ++i) {
        AVStream* stream = file_.container->streams[i];
        const bool kept = std::ranges::find(streams, stream->index) != streams.end();
        if (stream != file_.video && !kept) {
            stream->discard = AVDISCARD_ALL;
        }
    }
}

PacketPtr PacketReader::read() {
    if (file_.images) {
        PacketPtr image = file_.images->read();
        if (image) {
            image->stream_index = file_.video->index;
        }
        return image;
    }
    PacketPtr packet = makePacket();
    int code = AVERROR_EOF;
    if (!ended_) {
        takeFfmpegMessage(FfmpegPart::Demuxer); // what was said before is of other packets
        do {
            code = av_read_frame(file_.container.get(), packet.get());
        } while (code == AVERROR(EAGAIN));
    }
    if (code == 0) {
        note(*packet);
        return packet;
    }
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (file_.source->interruption().isSet()) {
        throw Interrupted();
    }
    file_.source->throwIfRefused();
    noteEnd(code);
    ended_ = true;
    return nullptr;
}

/// Demuxers may take what the system cannot read for the end of the file.
void PacketReader::noteEnd(int code) {
    const int error = file_.source->takeReadError();
    failedToRead_ = failedToRead_ || error != 0 || code == AVERROR(EIO);
    if (error != 0) {
        failure_ = systemMessage(error);
    } else if (code != AVERROR_EOF) {
        failure_ = explainFailure(code, FfmpegPart::Demuxer);
    }
}

void PacketReader::note(const AVPacket& packet) {
    if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0) {
        ++damaged_;
    }
    if (packet.pos >= 0) {
        lastByte_ = std::max(lastByte_, packet.pos + packet.size);
    }
    // A subtitle may say that it stays beyond where the file was cut off.
    const AVStream& stream = streamOf(packet);
    if (packet.pts != AV_NOPTS_VALUE) {
        const bool subtitle = stream.codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE;
        std::int64_t& last = subtitle ? subtitlesEnd_ : lastTime_;
        last = std::max(
            last, av_rescale_q(packet.pts + packet.duration, stream.time_base, kMicroseconds));
    }
}

bool PacketReader::seek(std::int64_t time) {
    if (file_.images) {
        file_.images->seek(time);
        return true;
    }
    if (av_seek_frame(file_.container.get(), file_.video->index, time, AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    ended_ = false;
    return true;
}

/// Of files that do not say how long they are: whether their last packet is not all there.
bool PacketReader::endsWithinPacket() const {
    const AVFormatContext& container = *file_.container;
    const std::string_view format = container.iformat->name;
    const std::int64_t end = container.pb != nullptr ? avio_tell(container.pb) : 0;
    if (format == "yuv4mpegpipe" || format == "dv") {
        return lastByte_ > 0 && lastByte_ != end;
    }
    if (format == "gif" || format == "nut") {
        const bool seekable = container.pb != nullptr && container.pb->seekable != 0;
        return seekable && !(format == "gif" ? hasGifEnd(*container.pb) : hasNutEnd(*container.pb));
    }
    constexpr std::array<int, 3> kPacketSizes{188, 192, 204};
    return format == "mpegts" &&
           std::ranges::none_of(kPacketSizes, [&](int size) { return end % size == 0; });
}

/// By what the container says of its streams, each for itself; AV_NOPTS_VALUE where it does not.
std::int64_t PacketReader::promisedByStreams() const {
    std::int64_t promised = AV_NOPTS_VALUE;
    for (unsigned i = 0; i < file_.container->nb_streams; ++i) {
        const AVStream& stream = *file_.container->streams[i];
        const AVMediaType kind = stream.codecpar->codec_type;
        const bool counts = kind == AVMEDIA_TYPE_VIDEO || kind == AVMEDIA_TYPE_AUDIO;
        const bool cover = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        if (!counts || cover || stream.discard == AVDISCARD_ALL) {
            continue;
        }
        const AVDictionaryEntry* tag = av_dict_get(stream.metadata, "DURATION", nullptr, 0);
        std::int64_t end = 0;
        if (stream.duration > 0) {
            const std::int64_t start = stream.start_time != AV_NOPTS_VALUE ? stream.start_time : 0;
            end = av_rescale_q(start + stream.duration, stream.time_base, kMicroseconds);
        } else if (tag == nullptr || av_parse_time(&end, tag->value, 1) < 0) {
            return AV_NOPTS_VALUE;
        }
        promised = std::max(promised, end);
    }
    return promised;
}

/// The time at which the clip ends, by what the container says; AV_NOPTS_VALUE where it does not.
std::int64_t PacketReader::promisedEnd() const {
    const AVFormatContext& container = *file_.container;
    const std::int64_t byStreams = promisedByStreams();
    if (byStreams != AV_NOPTS_VALUE || container.duration <= 0) {
        return byStreams;
    }
    // Matroska's length counts from 0, also where the clip begins later.
    const bool fromZero = std::string_view(container.iformat->name).starts_with("matroska");
    const std::int64_t end = container.duration + (fromZero ? 0 : container.start_time);
    // A subtitle that stays so long is what it may have been said of.
    return subtitlesEnd_ != AV_NOPTS_VALUE && subtitlesEnd_ >= end - AV_TIME_BASE ? AV_NOPTS_VALUE
                                                                                  : end;
}

bool PacketReader::endedEarly(AVRational frameRate) const {
    const AVFormatContext& container = *file_.container;
    if (ended_ && !file_.images && endsWithinPacket()) {
        return true;
    }
    if (file_.images || !ended_ || lastTime_ == AV_NOPTS_VALUE ||
        container.start_time == AV_NOPTS_VALUE ||
        container.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return false;
    }
    const std::int64_t promised = promisedEnd();
    const std::int64_t frame = av_rescale_q(1, av_inv_q(frameRate), kMicroseconds);
    return promised != AV_NOPTS_VALUE &&
           lastTime_ - container.start_time < (promised - container.start_time) / 20 * 19 - frame;
}

} // namespace tintwell::media
