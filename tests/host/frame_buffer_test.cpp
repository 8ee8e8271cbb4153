#include "host/frame_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>

namespace tintwell::host {
namespace {

TEST(FrameBuffer, laysRowsOutAsTheWorldSays) {
    for (const SampleDepth depth : {SampleDepth::Bits8, SampleDepth::Bits16}) {
        const std::size_t bytesPerPixel = depth == SampleDepth::Bits16 ? 8 : 4;
        for (const std::int32_t width : {1, 7, 8, 16, 17}) {
            FrameBuffer made(width, 3, depth);
            FrameBuffer frame = std::move(made); // the rows move along
            const EffectWorld world = frame.world();
            EXPECT_EQ(world.width, width);
            EXPECT_EQ(world.height, 3);
            EXPECT_EQ((world.flags & kWorldFlag16Bit) != 0, depth == SampleDepth::Bits16);
            EXPECT_GE(frame.rowBytes(), static_cast<std::size_t>(width) * bytesPerPixel);
            for (std::int32_t y = 0; y < 3; ++y) {
                auto* row =
                    static_cast<std::byte*>(world.data) + std::ptrdiff_t{y} * world.rowBytes;
                EXPECT_EQ(row, frame.row(y));
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(row) % 64, 0U);
                row[frame.rowBytes() - 1] = std::byte{1}; // the sanitizer sees a short block
            }
        }
    }
}

} // namespace
} // namespace tintwell::host
