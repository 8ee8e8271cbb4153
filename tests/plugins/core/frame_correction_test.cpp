// Levels applied to a host's frames: in every layout what the module makes of them, and real
// numbers beyond its range.

#include "module/render/frame_correction.h"
#include "plugins/core/frame_correction.h"
#include "plugins/core/half.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace tintwell::plugins {
namespace {

constexpr std::int32_t kWidth = 7;
constexpr std::int32_t kHeight = 5;
constexpr std::size_t kPixels = kWidth * kHeight;
constexpr float kInfinity = std::numeric_limits<float>::infinity();

LevelsRecord someLevels() {
    LevelsRecord levels;
    levels.entries[1] = {20, 200, 0, 255, 100};
    levels.entries[2] = {0, 255, 10, 240, 130};
    levels.entries[3] = {5, 250, 30, 255, 80};
    return levels;
}

/// Where samples are: channels of a pixel by place, or planes; and whether rows go up.
struct Layout {
    const char* name;
    std::array<int, 4> places; ///< of red, green, blue, alpha
    bool isPlanar = false;
    bool isBottomUp = false;
    std::size_t padding = 0; ///< bytes of a row
};

constexpr Layout kLayouts[] = {
    {"RGBA", {0, 1, 2, 3}},
    {"BGRA, padded to odd rows", {2, 1, 0, 3}, false, false, 3},
    {"ARGB, bottom up", {1, 2, 3, 0}, false, true, 16},
    {"planes G,B,R,A", {2, 0, 1, 3}, true},
    {"planes, bottom up", {0, 1, 2, 3}, true, true, 1},
};

/// A frame in its own memory, each sample set and read by itself.
template <class Sample>
class TestFrame {
public:
    TestFrame(const Layout& layout, SampleType samples, Alpha alpha) {
        const std::ptrdiff_t size = sizeof(Sample);
        const std::ptrdiff_t pixelStep = layout.isPlanar ? size : 4 * size;
        const auto rowBytes = kWidth * pixelStep + static_cast<std::ptrdiff_t>(layout.padding);
        memory_.resize(static_cast<std::size_t>(rowBytes) * kHeight * (layout.isPlanar ? 4 : 1),
                       std::byte{0xee});
        const std::ptrdiff_t top = layout.isBottomUp ? (kHeight - 1) * rowBytes : 0;
        view_ = {memory_.data() + top,
                 {},
                 pixelStep,
                 layout.isBottomUp ? -rowBytes : rowBytes,
                 kWidth,
                 kHeight,
                 samples,
                 alpha};
        for (std::size_t c = 0; c < 4; ++c) {
            view_.channels[c] = layout.places[c] * (layout.isPlanar ? rowBytes * kHeight : size);
        }
    }

    Sample get(std::size_t pixel, std::size_t channel) const {
        Sample value;
        std::memcpy(&value, at(pixel, channel), sizeof value);
        return value;
    }

    void set(std::size_t pixel, std::size_t channel, Sample value) {
        std::memcpy(at(pixel, channel), &value, sizeof value);
    }

    const TargetFrame& view() const { return view_; }

    SourceFrame source() const {
        return {view_.data,  view_.channels, view_.pixelStep, view_.rowStep,
                view_.width, view_.height,   view_.samples,   view_.alpha};
    }

private:
    std::byte* at(std::size_t pixel, std::size_t channel) const {
        const auto x = static_cast<std::ptrdiff_t>(pixel % kWidth);
        return view_.row(channel, static_cast<std::int32_t>(pixel / kWidth)) + x * view_.pixelStep;
    }

    std::vector<std::byte> memory_;
    TargetFrame view_;
};

void correctQuietly(const SourceFrame& source, const TargetFrame& target,
                    const Correction& correction) {
    correct(source, target, correction, [] {});
}

/// What the module makes of the pixels, given and answered as its own samples A,R,G,B.
template <class Sample>
std::vector<Sample> renderedByModule(std::vector<Sample> pixels, const Correction& correction) {
    std::vector<Sample> output(pixels.size());
    EffectWorld world{};
    world.flags = sizeof(Sample) == 2 ? kWorldFlag16Bit : 0;
    world.data = pixels.data();
    world.rowBytes = kWidth * 4 * static_cast<std::int32_t>(sizeof(Sample));
    world.width = kWidth;
    world.height = kHeight;
    EffectWorld target = world;
    target.data = output.data();
    EXPECT_EQ(correctFrame(world, &target, {correction.levels, correction.blend, 0}), 0);
    return output;
}

/// `white` is that of the samples; the module's scale is reached by its own rules.
template <class Sample>
void expectTheModulesSamples(SampleType type, std::uint32_t white, std::int32_t blend) {
    const auto toModule = [&](std::uint32_t v) { return white == 65535 ? (v + 1) / 2 : v; };
    const auto fromModule = [&](std::uint32_t v) {
        return white == 65535 ? (v * 65535U + 16384U) / 32768U : v;
    };
    const Correction correction = {someLevels(), blend};
    const auto sampleOf = [&](std::size_t pixel, std::size_t channel) {
        return static_cast<std::uint32_t>((pixel * 7919 + channel * 104729 + 1) * 31) % (white + 1);
    };
    std::vector<Sample> world;
    for (std::size_t pixel = 0; pixel < kPixels; ++pixel) {
        for (const std::size_t c : {3U, 0U, 1U, 2U}) {
            world.push_back(static_cast<Sample>(toModule(sampleOf(pixel, c))));
        }
    }
    const std::vector<Sample> rendered = renderedByModule(world, correction);
    for (const Layout& layout : kLayouts) {
        SCOPED_TRACE(layout.name);
        TestFrame<Sample> source(layout, type, Alpha::Straight);
        for (std::size_t i = 0; i < kPixels * 4; ++i) {
            source.set(i / 4, i % 4, static_cast<Sample>(sampleOf(i / 4, i % 4)));
        }
        TestFrame<Sample> target(kLayouts[0], type, Alpha::Straight);
        correctQuietly(source.source(), target.view(), correction);
        correctQuietly(source.source(), source.view(), correction); // in place
        for (std::size_t i = 0; i < kPixels * 4; ++i) {
            const std::size_t channel = i % 4;
            const std::uint32_t expected =
                channel == 3 ? sampleOf(i / 4, 3) : fromModule(rendered[i + 1]);
            ASSERT_EQ(target.get(i / 4, channel), expected) << "sample " << i;
            ASSERT_EQ(source.get(i / 4, channel), expected) << "in place, sample " << i;
        }
    }
}

TEST(FrameCorrection, GivesTheModulesBytesAndShortsInEveryLayout) {
    for (const std::int32_t blend : {0, 20000}) {
        expectTheModulesSamples<std::uint8_t>(SampleType::Byte, 255, blend);
        expectTheModulesSamples<std::uint16_t>(SampleType::Short, 65535, blend);
        expectTheModulesSamples<std::uint16_t>(SampleType::ShortTo32768, 32768, blend);
    }
}

/// One pixel's red through levels of its own, in the first pixel of a frame.
template <class Sample>
Sample corrected(SampleType type, Alpha alpha, Sample red, Sample alphaSample,
                 const Correction& correction) {
    TestFrame<Sample> frame(kLayouts[0], type, alpha);
    frame.set(0, 0, red);
    frame.set(0, 3, alphaSample);
    correctQuietly(frame.source(), frame.view(), correction);
    const bool isNumber = alphaSample == alphaSample;
    EXPECT_TRUE(!isNumber || frame.get(0, 3) == alphaSample);
    return frame.get(0, 0);
}

TEST(FrameCorrection, MultipliedBytesSurviveNeutralLevels) {
    for (int alpha = 0; alpha < 256; ++alpha) {
        for (int red = 0; red < 256; ++red) { // above alpha, too: light that covers nothing
            ASSERT_EQ(corrected<std::uint8_t>(SampleType::Byte, Alpha::Premultiplied,
                                              static_cast<std::uint8_t>(red),
                                              static_cast<std::uint8_t>(alpha), {}),
                      red)
                << "alpha " << alpha;
        }
    }
}

TEST(FrameCorrection, MultipliedColorIsCorrectedAsItIsWithoutAlpha) {
    const Correction correction = {someLevels(), 0};
    const auto straight =
        corrected<std::uint8_t>(SampleType::Byte, Alpha::Straight, 100, 128, correction);
    const auto multiplied =
        corrected<std::uint8_t>(SampleType::Byte, Alpha::Premultiplied, 50, 128, correction);
    EXPECT_NEAR(multiplied, straight * 128.0 / 255.0, 1.0);
    EXPECT_NEAR(corrected(SampleType::Float, Alpha::Premultiplied, 0.2F, 0.5F, correction),
                0.5F * corrected(SampleType::Float, Alpha::Straight, 0.4F, 0.5F, correction), 1e-7);
}

TEST(FrameCorrection, BlendAtItsEndIsTheOriginalToTheBit) {
    for (const std::uint16_t sample : std::initializer_list<std::uint16_t>{1, 40001, 65535}) {
        EXPECT_EQ(corrected<std::uint16_t>(SampleType::Short, Alpha::Straight, sample, 777,
                                           {someLevels(), 65536}),
                  sample);
    }
}

struct RealCase {
    const char* name;
    float input;
    float expected;
};

TEST(FrameCorrection, RealNumbersFollowTheTableAndKeepWhatIsBeyondIt) {
    const LevelsRecord levels = someLevels();
    const auto redOf = [&](float value) {
        return corrected(SampleType::Float, Alpha::Straight, value, 1.0F, {levels, 0});
    };
    // Between two of the table's entries, whose outputs the module's samples have.
    const double low = redOf(2000.0F / 4096.0F);
    const double high = redOf(2001.0F / 4096.0F);
    EXPECT_EQ(low * 32768.0, std::round(low * 32768.0));
    EXPECT_NEAR(redOf(2000.25F / 4096.0F), low + 0.25 * (high - low), 1e-7);
    EXPECT_NEAR(low, (2000.0 / 4096.0 * 255.0 - 20.0) / 180.0, 1e-3);
    const RealCase cases[] = {
        {"black", 0.0F, 0.0F},
        {"white", 1.0F, 1.0F},
        {"highlight", 7.5F, 7.5F},
        {"below black", -0.25F, -0.25F},
        {"infinite", kInfinity, kInfinity},
        {"minus infinite", -kInfinity, -kInfinity},
    };
    for (const RealCase& test : cases) {
        EXPECT_EQ(redOf(test.input), test.expected) << test.name;
    }
    EXPECT_TRUE(std::isnan(redOf(std::nanf(""))));
    for (const float alpha : {0.0F, -1.0F, std::nanf(""), kInfinity, 1e-45F}) {
        EXPECT_EQ(corrected(SampleType::Float, Alpha::Premultiplied, 3e38F, alpha, {levels, 0}),
                  3e38F)
            << "alpha " << alpha;
    }
    for (const float value : {0.1F, 0.7310585F, 1.0F, -3.0F, 1e30F}) {
        EXPECT_EQ(corrected(SampleType::Float, Alpha::Premultiplied, value, 0.3F, {}), value);
    }
}

TEST(Half, GoesToFloatAndBackAndRoundsToTheNearest) {
    for (std::uint32_t bits = 0; bits < 65536; ++bits) {
        const auto half = static_cast<std::uint16_t>(bits);
        const float value = floatOfHalf(half);
        if (std::isnan(value)) {
            EXPECT_TRUE(std::isnan(floatOfHalf(halfOfFloat(value))));
            continue;
        }
        ASSERT_EQ(halfOfFloat(value), half);
        const float next = floatOfHalf(static_cast<std::uint16_t>(half + 1));
        if ((half & 0x7fffU) < 0x7bff) { // halfway between two finite ones it is the even one
            const float middle = (value + next) / 2.0F;
            ASSERT_EQ(halfOfFloat(middle), half + (half & 1U)) << value;
            ASSERT_EQ(halfOfFloat(std::nextafter(middle, next)), half + 1U) << value;
        }
    }
    EXPECT_EQ(floatOfHalf(0x3555), 0x1.554p-2F);
    EXPECT_EQ(floatOfHalf(0x8001), -0x1p-24F);
    EXPECT_EQ(floatOfHalf(halfOfFloat(65520.0F)), kInfinity);
    EXPECT_EQ(floatOfHalf(halfOfFloat(65519.0F)), 65504.0F);
}

} // namespace
} // namespace tintwell::plugins
