#pragma once

#include "module/interface/host_interface.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tintwell::host {

enum class SampleDepth : std::uint8_t { Bits8 = 8, Bits16 = 16 };

/// How the four channels of an interleaved pixel follow each other.
enum class ChannelOrder : std::uint8_t { Argb, Bgra };

/// Owns the pixels of one frame in the host's interleaved layout, four channels per pixel. Samples
/// are 0..255 at 8 bits and 0..32768 at 16 bits. Rows are `rowBytes` apart and start on a 64-byte
/// boundary of the block; what lies between the last pixel and the next row is padding.
class FrameBuffer {
public:
    /// Both sizes at least 1, and a row shorter than 2^31 bytes; throws std::invalid_argument
    /// otherwise, std::bad_alloc when there is no memory. The pixels are zero at first.
    FrameBuffer(std::int32_t width, std::int32_t height, SampleDepth depth);

    // A frame is megabytes: it moves, and is never copied by accident.
    FrameBuffer(FrameBuffer&&) noexcept = default;
    FrameBuffer& operator=(FrameBuffer&&) noexcept = default;
    FrameBuffer(const FrameBuffer&) = delete;
    FrameBuffer& operator=(const FrameBuffer&) = delete;
    ~FrameBuffer() = default;

    std::int32_t width() const { return width_; }

    std::int32_t height() const { return height_; }

    SampleDepth depth() const { return depth_; }

    std::size_t rowBytes() const { return rowBytes_; }

    /// First byte of row y; y in 0..height-1.
    std::byte* row(std::int32_t y) { return base_ + static_cast<std::size_t>(y) * rowBytes_; }

    const std::byte* row(std::int32_t y) const {
        return base_ + static_cast<std::size_t>(y) * rowBytes_;
    }

    /// The record through which the module sees these pixels; valid while this object lives.
    EffectWorld world() { return inputWorld(); }

    /// The same record for pixels the module may only read, which the record cannot express.
    EffectWorld inputWorld() const;

private:
    std::int32_t width_;
    std::int32_t height_;
    SampleDepth depth_;
    std::size_t rowBytes_;
    std::vector<std::byte> storage_;
    std::byte* base_;
};

} // namespace tintwell::host
