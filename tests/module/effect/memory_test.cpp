// How much memory the module holds during renders and between them, whatever their size.

#include "raw_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

struct Memory {
    std::size_t held = 0; ///< bytes that the module has asked for and not given back
    std::size_t most = 0;
} memory;

/// In front of each block: its size where the module asked for it, else 0.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* allocate(std::size_t size) {
    auto* block = static_cast<std::byte*>(std::malloc(size + kHeader));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    const std::size_t counted = tintwell::test::RawHost::isModuleRunning ? size : 0;
    *reinterpret_cast<std::size_t*>(block) = counted;
    memory.held += counted;
    memory.most = std::max(memory.most, memory.held);
    return block + kHeader;
}

void release(void* memoryBlock) {
    if (memoryBlock != nullptr) {
        std::byte* const block = static_cast<std::byte*>(memoryBlock) - kHeader;
        memory.held -= *reinterpret_cast<std::size_t*>(block);
        std::free(block);
    }
}

} // namespace

// The module's allocations come here too: a program's functions go before those of libraries.
void* operator new(std::size_t size) {
    return allocate(size);
}

void* operator new[](std::size_t size) {
    return allocate(size);
}

void operator delete(void* block) noexcept {
    release(block);
}

void operator delete[](void* block) noexcept {
    release(block);
}

void operator delete(void* block, std::size_t) noexcept {
    release(block);
}

void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}

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
        memory.most = memory.held;
        ASSERT_EQ(host.send(Command::Render), 0);
        EXPECT_LE(memory.most, kMostOfRender + kFrames * kMostOfFrame) << "bytes, deep: " << deep;
        EXPECT_LE(memory.held, (kFrames + 2) * kMostOfFrame) << "bytes, deep: " << deep;
        ASSERT_EQ(host.send(Command::SequenceSetdown), 0);
        EXPECT_EQ(memory.held, 0U);
    }
}

} // namespace
} // namespace tintwell::test
