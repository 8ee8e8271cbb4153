#include "media/memory_estimate.h"

#include <algorithm>
#include <thread>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/macros.h>
}

namespace tintwell::media {

std::int64_t pictureBytes(AVPixelFormat format, int width, int height) {
    constexpr int kAlignment = 64;
    constexpr int kBorder = 32;
    return std::max(0,
                    av_image_get_buffer_size(format, FFALIGN(width, kAlignment) + 2 * kBorder,
                                             FFALIGN(height, kBorder) + 2 * kBorder, kAlignment));
}

std::int64_t usualMemory(int width, int height) {
    constexpr std::int64_t kSmall = std::int64_t{600} << 20;
    constexpr std::int64_t kLarge = std::int64_t{1536} << 20;
    constexpr std::int64_t kSmallPixels = 1920 * 1200;
    constexpr std::int64_t kLargePixels = 4096 * 2176;
    const std::int64_t pixels = std::int64_t{width} * height;
    if (pixels <= kSmallPixels) {
        return kSmall;
    }
    return pixels <= kLargePixels ? kLarge : kLarge / kLargePixels * pixels;
}

int processorCount() {
    return static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

} // namespace tintwell::media
