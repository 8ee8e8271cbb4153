#include "media/write/picture_side_data.h"

#include "media/encoding/container_video.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <string_view>

extern "C" {
#include <libavutil/mastering_display_metadata.h>
}

namespace tintwell::media {
namespace {

constexpr std::array kMissed{
    AV_FRAME_DATA_A53_CC,          AV_FRAME_DATA_AFD,
    AV_FRAME_DATA_S12M_TIMECODE,   AV_FRAME_DATA_MASTERING_DISPLAY_METADATA,
    AV_FRAME_DATA_DOVI_METADATA,   AV_FRAME_DATA_CONTENT_LIGHT_LEVEL,
    AV_FRAME_DATA_DOVI_RPU_BUFFER, AV_FRAME_DATA_DYNAMIC_HDR_PLUS,
};

/// Null where the picture has no such data, or less of it than the structure wants.
template <class Data>
const Data* dataOf(const AVFrame& picture, AVFrameSideDataType kind) {
    const AVFrameSideData* data = av_frame_get_side_data(&picture, kind);
    return data != nullptr && data->size >= sizeof(Data) ? reinterpret_cast<const Data*>(data->data)
                                                         : nullptr;
}

std::string inUnits(AVRational value, double unit) {
    return std::to_string(std::lround(value.den != 0 ? av_q2d(value) / unit : 0.0));
}

std::string masteringText(const AVMasteringDisplayMetadata& display) {
    constexpr double kChromaticity = 0.00002;
    constexpr double kLuminance = 0.0001;
    const auto point = [&](const char* name, const AVRational* xy) {
        return std::string(name) + "(" + inUnits(xy[0], kChromaticity) + "," +
               inUnits(xy[1], kChromaticity) + ")";
    };
    return point("G", display.display_primaries[1]) + point("B", display.display_primaries[2]) +
           point("R", display.display_primaries[0]) + point("WP", display.white_point) + "L(" +
           inUnits(display.max_luminance, kLuminance) + "," +
           inUnits(display.min_luminance, kLuminance) + ")";
}

void copyOne(const AVFrame& picture, AVFrameSideDataType kind, AVPacketSideDataType containers,
             AVStream& target) {
    const AVFrameSideData* data = av_frame_get_side_data(&picture, kind);
    if (data == nullptr || av_stream_get_side_data(&target, containers, nullptr) != nullptr) {
        return;
    }
    std::uint8_t* copy = av_stream_new_side_data(&target, containers, data->size);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(copy, data->data, data->size);
}

} // namespace

void noteSideData(const AVFrame& picture, std::set<AVFrameSideDataType>& kinds) {
    for (int i = 0; i < picture.nb_side_data; ++i) {
        const AVFrameSideDataType kind = picture.side_data[i]->type;
        if (std::ranges::find(kMissed, kind) != kMissed.end()) {
            kinds.insert(kind);
        }
    }
}

bool carries(AVFrameSideDataType kind, const AVCodec& codec, const AVOutputFormat& container) {
    const std::string_view encoder = codec.name;
    const std::string_view format = container.name;
    const bool isMatroska = format == "matroska" || format == "webm";
    switch (kind) {
    case AV_FRAME_DATA_MASTERING_DISPLAY_METADATA:
    case AV_FRAME_DATA_CONTENT_LIGHT_LEVEL:
        return isMatroska || isQuickTimeFamily(container) || encoder == "libx264" ||
               encoder == "libx265";
    case AV_FRAME_DATA_A53_CC:
        return encoder == "libx264" || encoder == "mpeg2video";
    case AV_FRAME_DATA_DYNAMIC_HDR_PLUS:
        return encoder == "libvpx-vp9" && isMatroska;
    default:
        return false;
    }
}

std::string lightParameters(const AVFrame& picture, const AVCodec& codec) {
    const bool isHevc = std::string_view(codec.name) == "libx265";
    if (!isHevc && std::string_view(codec.name) != "libx264") {
        return "";
    }
    std::string text;
    const auto* display =
        dataOf<AVMasteringDisplayMetadata>(picture, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
    if (display != nullptr && display->has_primaries != 0 && display->has_luminance != 0) {
        text += isHevc ? "master-display=" : "mastering-display=";
        text += masteringText(*display);
    }
    if (const auto* light =
            dataOf<AVContentLightMetadata>(picture, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL)) {
        text += text.empty() ? "" : ":";
        text += isHevc ? "max-cll=" : "cll=";
        text += std::to_string(light->MaxCLL) + "," + std::to_string(light->MaxFALL);
    }
    return text;
}

void copyLight(const AVFrame& picture, AVStream& target) {
    copyOne(picture, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA,
            AV_PKT_DATA_MASTERING_DISPLAY_METADATA, target);
    copyOne(picture, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, target);
}

} // namespace tintwell::media
