#include "media/write/container_traits.h"

#include "media/encoding/container_video.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tintwell::media {
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

bool canReorder(const AVOutputFormat& container) {
    return std::string_view(container.name) != "avi";
}

bool needsSeeking(const AVOutputFormat& container) {
    constexpr std::array<std::string_view, 8> kNames{"avi", "mxf",  "mxf_d10", "mxf_opatom",
                                                     "gxf", "apng", "swf",     "ivf"};
    return (isQuickTimeFamily(container) && std::string_view(container.name) != "ismv") ||
           std::ranges::find(kNames, container.name) != kNames.end();
}

} // namespace tintwell::media
