#include "module/apply/blend.h"
#include "module/apply/levels_application.h"
#include "module/frame/planar_image.h"
#include "module/render/frame_correction.h"
#include "module/render/frame_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

namespace tintwell {
namespace {

// Whole renders are held against a reference elsewhere, on frames of a band or two. Here are frames
// of many bands, and worlds that share memory or differ, against the steps on the frame as a whole.

using Bytes = std::vector<std::byte>;

struct Case {
    const char* what;
    std::int32_t inputWidth, inputHeight, outputWidth, outputHeight;
    std::int32_t padding;        ///< bytes after each row of both
    bool isBottomUp;             ///< rows of the output
    std::ptrdiff_t outputOffset; ///< of its memory from the input's; apart where it is none
};

constexpr std::ptrdiff_t kApart = -1;

constexpr Case kCases[] = {
    {"many bands", 700, 90, 700, 90, 0, false, kApart},
    {"rows longer than a band", 9000, 3, 9000, 3, 64, false, kApart},
    {"upside down", 700, 90, 700, 90, 16, true, kApart},
    {"an output of fewer rows", 700, 90, 700, 41, 0, false, kApart},
    {"a narrower output, filled in running order", 700, 90, 350, 90, 0, false, kApart},
    {"an empty output", 700, 90, 0, 90, 0, false, kApart},
    {"in place", 700, 90, 700, 90, 0, false, 0},
    {"in place, of fewer rows", 700, 90, 700, 33, 0, false, 0},
    {"rows apart by odd byte counts", 700, 90, 700, 90, 3, false, kApart},
    {"overlapping, the output behind", 700, 90, 700, 90, 0, false, 5 * 8},
    {"overlapping by whole rows", 700, 90, 700, 90, 0, false, 2 * 700 * 8},
};

/// Memory for both worlds of a case.
struct Worlds {
    Worlds(const Case& c, bool deep, const Bytes& content) : bytes(content) {
        const auto worldOf = [&](std::int32_t width, std::int32_t height, std::size_t start) {
            EffectWorld world{};
            world.flags = deep ? kWorldFlag16Bit : 0;
            world.width = width;
            world.height = height;
            world.rowBytes = width * (deep ? 8 : 4) + c.padding;
            world.data = bytes.data() + start;
            return world;
        };
        input = worldOf(c.inputWidth, c.inputHeight, 0);
        const bool isApart = c.outputOffset == kApart;
        output = worldOf(c.outputWidth, c.outputHeight,
                         isApart ? bytes.size() / 2 : static_cast<std::size_t>(c.outputOffset));
        if (c.isBottomUp) {
            output.data = static_cast<std::byte*>(output.data) +
                          std::ptrdiff_t{output.rowBytes} * (output.height - 1);
            output.rowBytes = -output.rowBytes;
        }
    }

    Bytes bytes;
    EffectWorld input{};
    EffectWorld output{};
};

InterleavedFrame rawView(const EffectWorld& world) {
    return {static_cast<std::byte*>(world.data), world.rowBytes, world.width, world.height,
            (world.flags & kWorldFlag16Bit) != 0 ? 16 : 8};
}

ErrorCode correctAsAWhole(Worlds& worlds, const FrameCorrection& correction) {
    const InterleavedFrame input = rawView(worlds.input);
    auto [code, store] = CreateFrameStore(input.bitDepth, correction.channelOrder, 1);
    EXPECT_EQ(store->Setup(&worlds.input), 0);
    EXPECT_EQ(store->SplitPlanes(), 0);
    applyLevels({.height = input.height,
                 .width = input.width,
                 .channelCount = 3,
                 .rowBytes = input.width * sampleBytes(input.bitDepth),
                 .bitDepth = input.bitDepth,
                 .data = store->InputBuffer()},
                correction.levels);
    EXPECT_EQ(store->MergePlanes(&worlds.output), 0);
    const InterleavedFrame output = rawView(worlds.output);
    return correction.blend == 0 ? error::kNone
                                 : blendWithOriginal(output, &input, correction.blend,
                                                     correction.channelOrder, &output);
}

TEST(FrameCorrection, BandsGiveWhatTheFrameAsAWholeGives) {
    std::mt19937 random(7);
    Bytes content(4 * 1024 * 1024);
    std::ranges::generate(content, [&] { return std::byte(random()); });
    FrameCorrection correction;
    correction.levels.entries[1] = {10, 200, 0, 255, 130};
    correction.levels.entries[2] = {0, 255, 20, 240, 90};
    correction.levels.entries[3] = {40, 180, 255, 0, 100};
    for (const Case& c : kCases) {
        for (const bool deep : {false, true}) {
            for (const std::int32_t blend : {0, 0x5000, kFullBlend}) {
                correction.blend = blend;
                correction.channelOrder = deep ? 1 : 0;
                Worlds expected(c, deep, content);
                Worlds corrected(c, deep, content);
                const ErrorCode code = correctAsAWhole(expected, correction);
                EXPECT_EQ(correctFrame(corrected.input, &corrected.output, correction), code);
                EXPECT_TRUE(corrected.bytes == expected.bytes)
                    << c.what << ", " << (deep ? 16 : 8) << " bits, blend " << blend;
            }
        }
    }
}

TEST(FrameCorrection, WritesNothingWhereTheOutputIsMissingOrDoesNotFit) {
    const Bytes content(1 << 20, std::byte{9});
    const Case c = {"", 20, 10, 20, 10, 0, false, kApart};
    const auto refuse = [&](auto change) {
        Worlds worlds(c, false, content);
        change(worlds.output);
        EXPECT_EQ(correctFrame(worlds.input, &worlds.output, {}), 512);
        EXPECT_TRUE(worlds.bytes == content);
    };
    refuse([](EffectWorld& world) { world.data = nullptr; });
    refuse([](EffectWorld& world) { world.flags = kWorldFlag16Bit; });
    refuse([](EffectWorld& world) { ++world.height; });
    Worlds worlds(c, false, content);
    EXPECT_EQ(correctFrame(worlds.input, nullptr, {}), 512);
}

} // namespace
} // namespace tintwell
