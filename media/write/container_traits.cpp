#include "media/write/container_traits.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tintwell::media {
namespace {

template <std::size_t Count>
bool isAnyOf(const AVOutputFormat& container, const std::array<std::string_view, Count>& names) {
    return std::ranges::find(names, container.name) != names.end();
}

bool isQuickTimeFamily(const AVOutputFormat& container) {
    constexpr std::array<std::string_view, 6> kNames{"mov", "mp4", "ipod", "3gp", "3g2", "ismv"};
    return isAnyOf(container, kNames);
}

bool holdsKind(const AVOutputFormat& container, AVMediaType kind) {
    return (kind == AVMEDIA_TYPE_AUDIO && container.audio_codec != AV_CODEC_ID_NONE) ||
           (kind == AVMEDIA_TYPE_VIDEO && container.video_codec != AV_CODEC_ID_NONE) ||
           (kind == AVMEDIA_TYPE_SUBTITLE && container.subtitle_codec != AV_CODEC_ID_NONE);
}

} // namespace

bool canHold(const AVOutputFormat& container, const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    if (parameters.codec_type == AVMEDIA_TYPE_ATTACHMENT) {
        return std::string_view(container.name) == "matroska";
    }
    const bool picturesOnly = container.audio_codec == AV_CODEC_ID_NONE;
    if (parameters.codec_id == AV_CODEC_ID_NONE || picturesOnly) {
        return false;
    }
    const int answer = avformat_query_codec(&container, parameters.codec_id, FF_COMPLIANCE_NORMAL);
    // Some containers do not say; then it is tried where they hold streams of this kind at all.
    return answer == 1 || (answer < 0 && holdsKind(container, parameters.codec_type));
}

bool canAttachPicture(const AVOutputFormat& container, const AVStream& stream) {
    const AVCodecID codec = stream.codecpar->codec_id;
    return std::string_view(container.name) == "matroska" && stream.attached_pic.size > 0 &&
           (codec == AV_CODEC_ID_PNG || codec == AV_CODEC_ID_MJPEG);
}

bool canHoldRotation(const AVOutputFormat& container) {
    return isQuickTimeFamily(container);
}

int greatestFrameRate(const AVOutputFormat& container) {
    // FFmpeg takes an AVI file's clock for one of 600 ticks a second above this.
    constexpr std::array<std::pair<std::string_view, int>, 5> kGreatest{
        {{"gif", 100}, {"avi", 1000}, {"asf", 1000}, {"mxf", 120}, {"swf", 255}}};
    const auto* found =
        std::ranges::find(kGreatest, container.name, &std::pair<std::string_view, int>::first);
    return found != kGreatest.end() ? found->second : 0;
}

bool canHoldVariableRate(const AVOutputFormat& container) {
    return (container.flags & AVFMT_VARIABLE_FPS) != 0 || isQuickTimeFamily(container);
}

AVCodecID usualVideoCodec(const AVOutputFormat& container, const std::string& url) {
    // These date from before H.264 and still say so.
    constexpr std::array<std::string_view, 3> kModernised{"avi", "mpegts", "flv"};
    if (isAnyOf(container, kModernised)) {
        return AV_CODEC_ID_H264;
    }
    // What goes into this container is on its way to another program.
    if (std::string_view(container.name) == "nut") {
        return AV_CODEC_ID_RAWVIDEO;
    }
    // Its own answer, MPEG-1, knows neither interlacing nor large pictures.
    if (std::string_view(container.name) == "mpeg") {
        return AV_CODEC_ID_MPEG2VIDEO;
    }
    return av_guess_codec(&container, nullptr, url.c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
}

} // namespace tintwell::media
