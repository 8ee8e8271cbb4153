// How much memory the module holds during renders and between them, whatever their size.

#include "counted_memory.h"
#include "raw_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace tintwell::test {
namespace {

TEST(Memory, ARenderHoldsLessThanAMebibyteAndLeavesItsFindings) {
    constexpr std::size_t kMostOfRender = std::size_t{1} << 20U;
    constexpr std::size_t kMostOfFrame = 8192; // a histogram of 4096 bytes, levels, bookkeeping
    constexpr std::size_t kFrames = 6;
    constexpr std::int32_t kWidth = 3840;
    constexpr std::int32_t kHeight = 2160;
    for (const bool deep : {false, true}) {
        std::vector<std::byte> pixels(std::size_t{kWidth} * kHeight * (deep ? 8 : 4));
        std::generate(pixels.begin(), pixels.end(),
                      [i = 0U]() mutable { return std::byte((i++ * 2654435761U >> 25U) + 40); });
        std::vector<std::byte> rendered(pixels.size());
        bench::CountedMemory& memory = bench::countedMemory();
        const auto worldOf = [&](std::vector<std::byte>& memoryOfWorld) {
            EffectWorld world{};
            world.flags = deep ? kWorldFlag16Bit : 0;
            world.data = memoryOfWorld.data();
            world.width = kWidth;
            world.height = kHeight;
            world.rowBytes = kWidth * (deep ? 8 : 4);
            return world;
        };
        RawHost host;
        host.clip.assign(kFrames, worldOf(pixels));
        host.output = worldOf(rendered);
        host.in.totalDuration = static_cast<std::int32_t>(kFrames) * host.in.timeStep;
        ASSERT_EQ(host.send(Command::SequenceSetup), 0);
        host.params[0].layer = host.clip[0];
        host.params[1].slider.value = 10.0; // every frame in one window
        host.params[5].checkbox.value = 1;
        host.params[6].slider.value = 30.0;
        const std::size_t before = memory.held;
        memory.most = before;
        ASSERT_EQ(host.send(Command::Render), 0);
        EXPECT_LE(memory.most - before, kMostOfRender) << "bytes, deep: " << deep;
        EXPECT_LE(memory.held - before, kFrames * kMostOfFrame) << "bytes, deep: " << deep;
        ASSERT_EQ(host.send(Command::SequenceSetdown), 0);
    }
}

} // namespace
} // namespace tintwell::test
