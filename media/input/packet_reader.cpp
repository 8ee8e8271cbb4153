#include "media/input/packet_reader.h"

#include "media/ffmpeg_log.h"
#include "media/media_error.h"

#include <algorithm>
#include <new>

namespace tintwell::media {
namespace {

constexpr AVRational kMicroseconds{1, AV_TIME_BASE};

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
    if (code != AVERROR_EOF) {
        failure_ = explainFailure(code);
    }
    ended_ = true;
    return nullptr;
}

void PacketReader::note(const AVPacket& packet) {
    if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0) {
        ++damaged_;
    }
    // A subtitle may say that it stays beyond where the file was cut off.
    const AVStream& stream = streamOf(packet);
    if (packet.pts != AV_NOPTS_VALUE && stream.codecpar->codec_type != AVMEDIA_TYPE_SUBTITLE) {
        lastTime_ = std::max(
            lastTime_, av_rescale_q(packet.pts + packet.duration, stream.time_base, kMicroseconds));
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

bool PacketReader::endedEarly(AVRational frameRate) const {
    const AVFormatContext& container = *file_.container;
    if (file_.images || !ended_ || lastTime_ == AV_NOPTS_VALUE || container.duration <= 0 ||
        container.start_time == AV_NOPTS_VALUE ||
        container.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return false;
    }
    const std::int64_t frame = av_rescale_q(1, av_inv_q(frameRate), kMicroseconds);
    return lastTime_ - container.start_time < container.duration / 20 * 19 - frame;
}

} // namespace tintwell::media
