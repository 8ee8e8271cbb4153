#include "host/frame_buffer.h"

#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

namespace tintwell::host {

namespace {

constexpr std::size_t kRowAlignment = 64;
constexpr std::size_t kChannels = 4;

std::size_t paddedRowBytes(std::int32_t width, std::int32_t height, SampleDepth depth) {
    if (width < 1 || height < 1) {
        throw std::invalid_argument("a frame of " + std::to_string(width) + " x " +
                                    std::to_string(height) + " pixels has no pixels");
    }
    const std::size_t bytesPerPixel = kChannels * static_cast<std::size_t>(depth) / 8;
    const std::size_t used = static_cast<std::size_t>(width) * bytesPerPixel;
    const std::size_t padded = (used + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    if (padded > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::invalid_argument("a row of " + std::to_string(width) +
                                    " pixels is too long for the effect interface");
    }
    return padded;
}

std::byte* firstAligned(std::vector<std::byte>& storage) {
    void* start = storage.data();
    std::size_t space = storage.size();
    return static_cast<std::byte*>(std::align(kRowAlignment, 1, start, space));
}

} // namespace

FrameBuffer::FrameBuffer(std::int32_t width, std::int32_t height, SampleDepth depth)
    : width_(width), height_(height), depth_(depth),
      rowBytes_(paddedRowBytes(width, height, depth)),
      storage_(rowBytes_ * static_cast<std::size_t>(height) + kRowAlignment - 1),
      base_(firstAligned(storage_)) {}

EffectWorld FrameBuffer::inputWorld() const {
    EffectWorld world{};
    world.flags = depth_ == SampleDepth::Bits16 ? kWorldFlag16Bit : 0;
    world.data = base_;
    world.rowBytes = static_cast<std::int32_t>(rowBytes_);
    world.width = width_;
    world.height = height_;
    return world;
}

} // namespace tintwell::host
