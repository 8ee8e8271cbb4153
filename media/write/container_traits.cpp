#include "media/write/container_traits.h"

#include "media/encoding/container_video.h"

#include <string_view>

namespace tintwell::media {
namespace {

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
    constexpr int kHundredths = 100;
    return std::string_view(container.name) == "gif" ? kHundredths : 0;
}

bool canHoldVariableRate(const AVOutputFormat& container) {
    return (container.flags & AVFMT_VARIABLE_FPS) != 0 || isQuickTimeFamily(container);
}

} // namespace tintwell::media
