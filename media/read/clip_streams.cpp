#include "media/read/clip_streams.h"

#include "media/ffmpeg_log.h"
#include "media/media_error.h"
#include "media/metadata/picture_source.h"
#include "media/read/leap.h"

#include <algorithm>
#include <utility>

namespace tintwell::media {
namespace {

std::optional<std::int64_t> lengthOf(const InputFile& file) {
    return file.images ? std::optional(file.images->length()) : std::nullopt;
}

} // namespace

ClipStreams::ClipStreams(const std::string& name, InputFile file, bool copyOthers)
    : copyOthers_(copyOthers), packets_(std::move(file)),
      decoder_(name, *packets_.file().video, {packets_.file().maxPixels, packets_.file().memory}),
      standIns_(lengthOf(packets_.file())) {
    if (!copyOthers_) {
        packets_.keepOnly({});
    } else if (isImageFile(*packets_.file().container->iformat)) {
        decoder_.keepSources();
    }
    decodeFirstFrame(name);
}

void ClipStreams::decodeFirstFrame(const std::string& name) {
    while (!frame_) {
        if (!advance()) {
            const std::string& failure = packets_.failure();
            const std::string reason =
                failure.empty() ? takeFfmpegMessage(FfmpegPart::Decoder) : failure;
            throw MediaError(name + ": no picture in it can be decoded" +
                             (reason.empty() ? "" : " (" + reason + ")"));
        }
    }
    checkPictureSize(name, frame_->width, frame_->height, packets_.file().maxPixels);
    const auto format = static_cast<AVPixelFormat>(frame_->format);
    if (packets_.file().declared.matrix != AVCOL_SPC_UNSPECIFIED &&
        traitsOf(format).model != ColorModel::Yuv) {
        throw MediaError(name + ": its pixel format is " + nameOf(format) +
                         ", which has no matrix; leave --input-matrix out");
    }
}

void ClipStreams::keepOnly(const std::vector<int>& streams) {
    packets_.keepOnly(streams);
    copied_.keepOnly(streams);
}

bool ClipStreams::advance() {
    frame_ = standIns_.next();
    if (frame_) {
        return true;
    }
    if (FramePtr decoded = decoder_.receive()) {
        declareColor(*decoded, packets_.file().declared);
        standIns_.put(std::move(decoded));
    } else if (decoder_.ended()) {
        standIns_.end();
    } else {
        readPacket();
        return true;
    }
    frame_ = standIns_.next();
    return frame_ || !decoder_.ended();
}

std::int64_t ClipStreams::damaged() const {
    const auto& images = packets_.file().images;
    const std::int64_t undecoded = standIns_.count() - (images ? images->passedOver() : 0);
    return packets_.damaged() + std::max<std::int64_t>(0, decoder_.damaged() - undecoded);
}

void ClipStreams::readPacket() {
    PacketPtr packet = packets_.read();
    if (!packet || packet->stream_index == packets_.video().index) {
        decoder_.feed(packet.get());
    } else if (copyOthers_) {
        const AVStream& stream = packets_.streamOf(*packet);
        copied_.add(std::move(packet), stream);
    }
}

void ClipStreams::finish(const std::optional<Moment>& end) {
    frame_.reset();
    if (!end || !copyOthers_) {
        return;
    }
    // They may lie in the file behind the video that they accompany, but hardly by a second.
    const AVStream& video = packets_.video();
    const std::int64_t enough =
        ticksOf(*end, video.time_base) + av_rescale_q(1, {1, 1}, video.time_base);
    while (PacketPtr packet = packets_.read()) {
        const AVStream& stream = packets_.streamOf(*packet);
        if (&stream != &video) {
            copied_.add(std::move(packet), stream);
        } else if (packet->dts != AV_NOPTS_VALUE && packet->dts > enough) {
            return;
        }
    }
}

bool ClipStreams::seek(std::int64_t time) {
    if (!packets_.seek(time)) {
        return false;
    }
    decoder_.startAnew();
    standIns_.startAnew();
    frame_.reset();
    return true;
}

ClipStreams::Landing ClipStreams::leapTo(std::int64_t index) {
    const std::optional<Leap> leap = Leap::plan(packets_.video(), frame_->pts, index);
    if (!leap) {
        return Landing::Stayed;
    }
    if (!seek(leap->start())) {
        return Landing::Failed;
    }
    while (!frame_ || leap->isBefore(*frame_)) {
        if (!advance()) {
            return Landing::Failed;
        }
    }
    // Of pictures that lack what they were predicted from.
    packets_.forgetDamage();
    decoder_.forgetDamage();
    return leap->hasArrived(*frame_) ? Landing::Arrived : Landing::Failed;
}

} // namespace tintwell::media
