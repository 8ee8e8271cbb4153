// Renders frames through the module's entry point and compares every byte of the output with the
// reference.

#include "raw_host.h"
#include "reference_correction.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <ostream>
#include <random>

namespace tintwell::test {
namespace {

using reference::ChannelLevels;
using reference::Controls;
using reference::Frame;

/// How a frame lies in memory.
struct Layout {
    int padding = 0; ///< bytes between rows
    bool bottomUp = false;
};

/// A frame in a host's memory, among guard bytes.
class HostFrame {
public:
    HostFrame(int width, int height, bool deep, Layout layout)
        : sampleBytes_(deep ? 2 : 1), rowBytes_(width * (deep ? 8 : 4) + layout.padding),
          bytes(static_cast<std::size_t>(rowBytes_ * std::max(height, 0)) + kGuard * 2,
                std::byte{0xa5}) {
        world.flags = deep ? kWorldFlag16Bit : 0;
        world.width = width;
        world.height = height;
        world.rowBytes = layout.bottomUp ? -rowBytes_ : rowBytes_;
        world.data = bytes.data() + kGuard + (layout.bottomUp ? (height - 1) * rowBytes_ : 0);
    }

    HostFrame(const Frame& frame, Layout layout)
        : HostFrame(frame.width, frame.height, frame.deep, layout) {
        write(frame);
    }

    void write(const Frame& frame) {
        for (std::size_t i = 0; i < frame.pixels.size(); ++i) {
            const auto x = static_cast<int>(i) % world.width;
            const auto y = static_cast<int>(i) / world.width;
            auto* pixel = static_cast<std::byte*>(world.data) + y * world.rowBytes +
                          static_cast<std::ptrdiff_t>(sampleBytes_) * 4 * x;
            for (std::size_t s = 0; s < 4; ++s) {
                const auto sample = static_cast<std::uint16_t>(frame.pixels[i][s]);
                std::memcpy(pixel + s * sampleBytes_, &sample, sampleBytes_);
            }
        }
    }

private:
    static constexpr std::size_t kGuard = 64;
    std::size_t sampleBytes_;
    int rowBytes_;

public:
    std::vector<std::byte> bytes;
    EffectWorld world{};
};

/// A host with a sequence, and one module call per render.
class RenderHost : public RawHost {
public:
    RenderHost() { EXPECT_EQ(send(Command::SequenceSetup), 0); }

    ~RenderHost() { EXPECT_EQ(send(Command::SequenceSetdown), 0); }

    ErrorCode render(const EffectWorld& input, const EffectWorld& result,
                     const Controls& controls) {
        params[0].layer = input;
        params[1].slider.value = controls.smoothing;
        params[2].checkbox.value = controls.sceneDetect;
        params[3].slider.value = controls.blackClip;
        params[4].slider.value = controls.whiteClip;
        params[5].checkbox.value = controls.snap;
        params[6].slider.value = controls.blend;
        output = result;
        return send(Command::Render);
    }

    void expectReference(const Frame& frame, const Controls& controls, Layout layout = {}) {
        in.applicationCode = frame.alphaLast ? kApplicationWithBgraPixels : fourCharCode("ARGB");
        const HostFrame input(frame, layout);
        const std::vector<std::byte> inputBefore = input.bytes;
        HostFrame result(frame.width, frame.height, frame.deep,
                         {layout.padding + 8, !layout.bottomUp});
        HostFrame expected = result;
        expected.world.data = expected.bytes.data() +
                              (static_cast<std::byte*>(result.world.data) - result.bytes.data());
        expected.write(reference::render(frame, controls));
        ASSERT_EQ(render(input.world, result.world, controls), 0);
        EXPECT_EQ(input.bytes, inputBefore);
        const auto [at, wanted] =
            std::mismatch(result.bytes.begin(), result.bytes.end(), expected.bytes.begin());
        ASSERT_EQ(at, result.bytes.end())
            << "byte " << at - result.bytes.begin() << " is " << static_cast<int>(*at) << ", not "
            << static_cast<int>(*wanted) << "; frame " << frame.width << "x" << frame.height
            << (frame.deep ? " deep" : "") << (frame.alphaLast ? " alpha last" : "") << ", clips "
            << controls.blackClip << " " << controls.whiteClip << ", snap " << controls.snap
            << ", blend " << controls.blend;
    }
};

// ---- Scenes: red, green and blue between 0 and 1 at a place between 0 and 1

using Rgb = std::array<double, 3>;
using Random = std::mt19937;

double unit(Random& random) {
    return static_cast<double>(random()) / 4294967295.0;
}

struct Scene {
    const char* name;
    std::function<Rgb(double x, double y, Random&)> color;
};

const Scene kScenes[] = {
    {"tinted gradient",
     [](double x, double y, Random& r) {
         const double v = 0.3 + 0.25 * x + 0.1 * y + 0.05 * unit(r);
         return Rgb{v * 1.1, v, v * 0.8};
     }},
    {"dark cast",
     [](double x, double y, Random& r) {
         return Rgb{0.02 + 0.2 * x * y, 0.03 + 0.25 * x, 0.1 + 0.3 * y + 0.02 * unit(r)};
     }},
    {"bright cast",
     [](double x, double y, Random& r) {
         return Rgb{1.0 - 0.2 * x * unit(r), 0.95 - 0.3 * y, 0.8 - 0.3 * x};
     }},
    {"flat grey",
     [](double, double, Random&) {
         return Rgb{0.5, 0.5, 0.5};
     }},
    {"two levels",
     [](double x, double, Random&) {
         return x < 0.4 ? Rgb{0.2, 0.25, 0.3} : Rgb{0.7, 0.6, 0.65};
     }},
    {"random",
     [](double, double, Random& r) {
         return Rgb{unit(r), unit(r), unit(r)};
     }},
    {"tinted midtones",
     [](double x, double y, Random& r) {
         const double v = y < 0.2 ? 0.1 * x : y > 0.8 ? 0.9 + 0.1 * x : 0.44 + 0.02 * unit(r);
         return y < 0.2 || y > 0.8 ? Rgb{v, v, v} : Rgb{v + 0.03, v, v - 0.02};
     }},
    {"falling red",
     [](double x, double y, Random& r) {
         return Rgb{0.8 - 0.5 * x, 0.2 + 0.5 * x, 0.3 + 0.3 * y + 0.1 * unit(r)};
     }},
    {"one flat channel",
     [](double x, double y, Random&) {
         return Rgb{x, 0.4, y};
     }},
    {"narrow",
     [](double x, double y, Random& r) {
         return Rgb{0.4 + 0.022 * x, 0.41 + 0.02 * y, 0.42 + 0.018 * unit(r)};
     }},
    {"few outliers",
     [](double x, double, Random& r) {
         const double v = unit(r) < 0.02 ? unit(r) : 0.45 + 0.1 * x;
         return Rgb{v, v * 0.95, v * 0.9};
     }},
    {"four dots on grey",
     [](double x, double y, Random&) {
         const double v = y > 0.02 || x > 0.06 ? 0.5 : x < 0.03 ? 0.0 : 1.0;
         return Rgb{v, v, v};
     }},
    {"dark and light of the same blue", // level 127, midway between the extremes 0 and 254
     [](double x, double y, Random& r) {
         const double blue = 127.0 / 255;
         return y < 0.3   ? Rgb{0.08 + 0.1 * x, 0.1, blue}
                : y < 0.6 ? Rgb{0.7 + 0.1 * x, 0.9, blue}
                          : Rgb{0.0, 254.0 / 255, unit(r) * 254 / 255};
     }},
    {"dark red above light red", // four single pixels of it make lines that fall to the left
     [](double x, double, Random&) {
         return x < 0.25   ? Rgb{97.0 / 255, 99.0 / 255, 166.0 / 255}
                : x < 0.5  ? Rgb{142.0 / 255, 115.0 / 255, 100.0 / 255}
                : x < 0.75 ? Rgb{89.0 / 255, 197.0 / 255, 101.0 / 255}
                           : Rgb{185.0 / 255, 96.0 / 255, 141.0 / 255};
     }},
};

Frame paint(const Scene& scene, int width, int height, bool deep, bool alphaLast, Random& random) {
    Frame frame{width, height, deep, alphaLast, {}};
    const double white = deep ? 32768 : 255;
    const auto sample = [white](double v) {
        return static_cast<std::uint32_t>(std::clamp(v, 0.0, 1.0) * white + 0.5);
    };
    for (int i = 0; i < std::max(0, width) * std::max(0, height); ++i) {
        const int x = i % width;
        const int y = i / width;
        const Rgb c = scene.color((x + 0.5) / width, (y + 0.5) / height, random);
        const double alphas[] = {0.0, 1.0, unit(random), 1.0};
        const std::uint32_t a = sample(alphas[random() % 4]);
        const std::uint32_t r = sample(c[0]);
        const std::uint32_t g = sample(c[1]);
        const std::uint32_t b = sample(c[2]);
        frame.pixels.push_back(alphaLast ? std::array{b, g, r, a} : std::array{a, r, g, b});
    }
    return frame;
}

const Controls kControls[] = {
    {},
    {.blackClip = 0, .whiteClip = 0},
    {.snap = 1},
    {.blackClip = 0.29, .whiteClip = 5, .snap = 1, .blend = 37},
    {.blackClip = 10, .whiteClip = 10, .blend = 12.5},
    {.blackClip = 0, .whiteClip = 10, .snap = -3, .blend = 50},
    {.blackClip = 5, .whiteClip = 0.29, .blend = 100},
    {.snap = 1, .blend = 1e300},
    {.snap = 1, .blend = -5},
    {.blend = std::nan("")},
    {.blackClip = std::nan(""), .whiteClip = -1},
    {.sceneDetect = 1, .blackClip = 1e300},
};

class RenderTest : public testing::TestWithParam<std::tuple<bool, bool>> {
protected:
    bool deep() const { return std::get<0>(GetParam()); }

    bool alphaLast() const { return std::get<1>(GetParam()); }

    Random random_{20240611};
    RenderHost host_;
};

INSTANTIATE_TEST_SUITE_P(, RenderTest, testing::Combine(testing::Bool(), testing::Bool()),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param) ? "Deep" : "Bytes") +
                                    (std::get<1>(info.param) ? "Bgra" : "Argb");
                         });

TEST_P(RenderTest, EqualsTheReferenceForEveryKindOfScene) {
    const Layout layouts[] = {{}, {12, false}, {4, true}};
    for (const Scene& scene : kScenes) {
        SCOPED_TRACE(scene.name);
        for (const auto& [width, height] : {std::pair(61, 47), {4, 1}}) {
            const Frame frame = paint(scene, width, height, deep(), alphaLast(), random_);
            std::size_t layout = 0;
            for (const Controls& controls : kControls) {
                host_.expectReference(frame, controls, layouts[layout++ % 3]);
            }
        }
    }
}

TEST_P(RenderTest, EqualsTheReferenceForSmallAndOddFrames) {
    for (int round = 0; round < 1500 && !HasFatalFailure(); ++round) {
        // A few pure colours and random ones around a random centre reach the rare branches.
        const Rgb centre{unit(random_), unit(random_), unit(random_)};
        const Rgb spread{unit(random_) * 0.6, unit(random_) * 0.6, unit(random_) * 0.3};
        const double extremes = random_() % 2 == 0 ? 0.0 : 0.03;
        const bool graded = random_() % 2 == 0;
        const std::size_t pinched = random_() % 6; // a channel that hardly tells dark from light
        const int pinchedAt = 120 + static_cast<int>(random_() % 12);
        const int pinchedBy = static_cast<int>(random_() % 4);
        const Scene scene{
            "", [&](double x, double y, Random& r) {
                if (pinched < 3 && unit(r) < 0.7) {
                    const bool dark = random_() % 2 == 0;
                    Rgb c{dark ? 0.1 : 0.9, dark ? 0.3 : 0.8, dark ? 0.2 : 0.7};
                    c[pinched] = (pinchedAt + (dark ? 0 : pinchedBy)) / 255.0;
                    return c;
                }
                if (unit(r) < extremes || pinched < 3) {
                    return Rgb{int(r() % 2) * 1.0, int(r() % 3) / 2.0, int(r() % 4) / 3.0};
                }
                const double t = graded ? x * 0.7 + y * 0.3 - 0.5 : unit(r) - 0.5;
                const auto at = [&](std::size_t c) {
                    return centre[c] + spread[c] * (t + 0.2 * unit(r));
                };
                return Rgb{at(0), at(1), at(2)};
            }};
        const auto side = [&] { return 1 + static_cast<int>(random_() % (random_() % 40 + 1)); };
        Frame frame = paint(scene, side(), side(), deep(), alphaLast(), random_);
        if (deep() && round % 8 == 0) {
            frame.pixels.back() = {65535, 32769, 40000, 65535}; // no host sends them
        }
        const Controls controls{.blackClip = unit(random_) * unit(random_) * 10,
                                .whiteClip = unit(random_) * unit(random_) * 10,
                                .snap = static_cast<int>(random_() % 2),
                                .blend = random_() % 3 == 0 ? unit(random_) * 100 : 0.0};
        host_.expectReference(frame, controls,
                              {static_cast<int>(random_() % 3) * 2, random_() % 2 == 0});
    }
}

TEST_P(RenderTest, ReadsClipsToTheHundredth) {
    // 10000 pixels, two a level on the dark flank: one hundredth of a percent is one pixel.
    const Scene steps{"", [](double x, double y, Random&) {
                          const double v = std::floor(y * 100) * 50 + std::floor(x * 100) / 2;
                          return Rgb{v / 5000, v / 6000 + 0.01, v / 7000 + 0.02};
                      }};
    const Frame frame = paint(steps, 100, 100, deep(), alphaLast(), random_);
    for (const double clip : {0.0, 0.005, 0.1, 0.28, 0.29, 0.57, 1.15, 9.99, 10.0}) {
        host_.expectReference(frame, {.blackClip = clip, .whiteClip = 10 - clip});
    }
}

TEST_P(RenderTest, LeavesEmptyFramesAlone) {
    for (const auto& [width, height] : {std::pair(0, 5),
                                        {5, 0},
                                        {-3, 4},
                                        {4, -3},
                                        {std::numeric_limits<int>::min(), 3},
                                        {std::numeric_limits<int>::max(), 0}}) {
        Frame frame{width, height, deep(), alphaLast(), {}};
        HostFrame input(4, 4, deep(), {});
        HostFrame result(4, 4, deep(), {});
        input.world.width = result.world.width = width;
        input.world.height = result.world.height = height;
        const auto before = result.bytes;
        EXPECT_EQ(host_.render(input.world, result.world, {.snap = 1, .blend = 30}), 0);
        input.world.data = result.world.data = nullptr;
        EXPECT_EQ(host_.render(input.world, result.world, {.snap = 1}), 0);
        EXPECT_EQ(host_.render(input.world, result.world, {.blend = 30}), 512);
        EXPECT_EQ(result.bytes, before);
    }
}

TEST_P(RenderTest, RefusesFramesThatDoNotFit) {
    const Frame frame = paint(kScenes[0], 9, 7, deep(), alphaLast(), random_);
    const HostFrame input(frame, {});

    struct {
        int width;
        int height;
        bool deep;
    } const cases[] = {{10, 7, deep()}, {9, 8, deep()}, {9, 7, !deep()}, {4, 4, !deep()}};

    for (const auto& c : cases) {
        HostFrame result(c.width, c.height, c.deep, {});
        const auto before = result.bytes;
        host_.out = {};
        EXPECT_EQ(host_.render(input.world, result.world, {.blend = 40}), 512);
        EXPECT_EQ(host_.out.outFlags, kOutFlagShowError);
        EXPECT_EQ(result.bytes, before);
    }
    HostFrame result(9, 7, deep(), {});
    const auto before = result.bytes;
    EffectWorld missing = input.world;
    missing.data = nullptr;
    EXPECT_EQ(host_.render(missing, result.world, {}), 512);
    EXPECT_EQ(host_.render(input.world, missing, {}), 512);
    EXPECT_EQ(result.bytes, before);
}

TEST_P(RenderTest, FillsASmallerOutputInRunningOrder) {
    const Frame frame = paint(kScenes[0], 9, 7, deep(), alphaLast(), random_);
    host_.in.applicationCode = alphaLast() ? kApplicationWithBgraPixels : 0;
    Frame whole = reference::render(frame, {});
    whole.width = 5;
    whole.height = 4;
    whole.pixels.resize(20);
    HostFrame result(5, 4, deep(), {});
    ASSERT_EQ(host_.render(HostFrame(frame, {}).world, result.world, {}), 0);
    EXPECT_EQ(result.bytes, HostFrame(whole, {}).bytes);
}

TEST_P(RenderTest, CorrectsInPlace) {
    const Frame frame = paint(kScenes[0], 33, 20, deep(), alphaLast(), random_);
    host_.in.applicationCode = alphaLast() ? kApplicationWithBgraPixels : 0;
    HostFrame shared(frame, {});
    ASSERT_EQ(host_.render(shared.world, shared.world, {.snap = 1}), 0);
    EXPECT_EQ(shared.bytes, HostFrame(reference::render(frame, {.snap = 1}), {}).bytes);
}

// The comparisons above prove little if the scenes never reach the corrections they are made for.
TEST(RenderScenes, ReachTheCorrections) {
    Random random(7);
    const auto levels = [&](std::size_t scene, const Controls& controls) {
        return reference::findLevels(paint(kScenes[scene], 61, 47, false, false, random), controls);
    };
    const ChannelLevels neutral;
    EXPECT_EQ(levels(3, {})[0], neutral);
    EXPECT_EQ(levels(8, {})[1], neutral);
    for (const std::size_t corrected : {0U, 1U, 2U, 4U, 7U, 10U, 12U}) {
        EXPECT_NE(levels(corrected, {})[0], neutral) << kScenes[corrected].name;
    }
    const Frame falling = paint(kScenes[13], 4, 1, false, false, random);
    EXPECT_EQ(reference::findLevels(falling, {})[0], (ChannelLevels{118, 122, 0, 255, 100}));
    const reference::Levels snapped = levels(6, {.snap = 1});
    EXPECT_LT(snapped[0].gamma, 98);
    EXPECT_GT(snapped[2].gamma, 102);
    EXPECT_EQ(levels(6, {})[2].gamma, 100);
}

// Figures worked out by hand, so that the reference itself stands on something.
TEST(RenderScenes, ReferenceStretchesAGreyRampToFullRange) {
    Random random(7);
    const Scene ramp{"", [](double x, double, Random&) {
                         const double v = (20 + std::floor(x * 211)) / 255;
                         return Rgb{v, v, v};
                     }};
    const auto levels = reference::findLevels(paint(ramp, 211, 8, false, false, random),
                                              {.blackClip = 0, .whiteClip = 0});
    for (const ChannelLevels& channel : levels) {
        EXPECT_EQ(channel, (ChannelLevels{20, 230, 0, 255, 100}));
    }
}

} // namespace
} // namespace tintwell::test
