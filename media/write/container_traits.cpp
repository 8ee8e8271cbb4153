#include "media/write/container_traits.h"

#include <algorithm>
#include <array>
#include <string_view>

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

} // namespace

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

bool needsSeeking(const AVOutputFormat& container) {
    constexpr std::array<std::string_view, 8> kNames{"avi", "mxf",  "mxf_d10", "mxf_opatom",
                                                     "gxf", "apng", "swf",     "ivf"};
    return (isQuickTimeFamily(container) && std::string_view(container.name) != "ismv") ||
           isAnyOf(container, kNames);
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
