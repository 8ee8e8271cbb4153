// Renders of random clips with controls at the borders of what numbers can say, by every variant of
// the kernels: whatever is asked for, the correction stays within its bounds.

#include "module/effect/commands.h"
#include "module/kernels/variants.h"
#include "module/temporal/frame_cache.h"
#include "raw_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace tintwell::test {
namespace {

using Random = std::mt19937;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kSliders[] = {std::numeric_limits<double>::quiet_NaN(),
                               kInfinity,
                               -kInfinity,
                               std::numeric_limits<double>::denorm_min(),
                               1e300,
                               -1e300,
                               -1.0,
                               -0.0,
                               0.05,
                               0.1,
                               3.0,
                               10.0,
                               99.99,
                               101.0};
constexpr std::int32_t kCheckboxes[] = {0, 1, -1, std::numeric_limits<std::int32_t>::min()};

std::uint32_t below(std::uint32_t bound, Random& random) {
    return static_cast<std::uint32_t>(random()) % bound;
}

template <class List>
auto oneOf(const List& list, Random& random) {
    return list[random() % std::size(list)];
}

template <class Sample>
struct Clip {
    using Frame = std::vector<Sample>;

    static constexpr bool kDeep = sizeof(Sample) == 2;
    static constexpr std::uint32_t kWhite = kDeep ? 32768 : 255;

    explicit Clip(Random& random)
        : width(static_cast<std::int32_t>(1 + below(70, random))),
          height(static_cast<std::int32_t>(1 + below(9, random))), alphaIndex(random() % 2 * 3),
          isFlat(random() % 8 == 0), frames(3) {
        const std::uint32_t spread = oneOf(std::array{kWhite / 40, kWhite / 3, kWhite}, random);
        for (Frame& frame : frames) {
            const std::uint32_t least[4] = {color(random), color(random), color(random),
                                            color(random)};
            frame.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
            for (std::size_t i = 0; i < frame.size(); ++i) {
                const bool isFree = i % 4 == alphaIndex || random() % 64 == 0;
                const std::uint32_t sample = isFlat   ? least[i % 4]
                                             : isFree ? color(random)
                                                      : least[i % 4] + below(spread + 1, random);
                // At 16 bits nothing keeps a host from sending more than white.
                const std::uint32_t most = random() % 512 == 0 ? Sample(-1) : kWhite;
                frame[i] = static_cast<Sample>(std::min(isFlat ? kWhite : most, sample));
            }
        }
    }

    static std::uint32_t color(Random& random) {
        const std::uint32_t colors[] = {0, kWhite, below(kWhite, random), kWhite / 2};
        return oneOf(colors, random);
    }

    EffectWorld worldOf(Frame& frame) const {
        EffectWorld world{};
        world.flags = kDeep ? kWorldFlag16Bit : 0;
        world.data = frame.data();
        world.width = width;
        world.height = height;
        world.rowBytes = width * 4 * static_cast<std::int32_t>(sizeof(Sample));
        return world;
    }

    std::int32_t width;
    std::int32_t height;
    std::size_t alphaIndex;
    bool isFlat; ///< nothing to correct
    std::vector<Frame> frames;
};

struct Controls {
    explicit Controls(Random& random) {
        for (double& slider : sliders) {
            slider = random() % 2 == 0 ? oneOf(kSliders, random) : below(1000, random) * 0.01;
        }
        for (std::int32_t& checkbox : checkboxes) {
            checkbox = oneOf(kCheckboxes, random);
        }
    }

    double sliders[4];          ///< smoothing, black clip, white clip, blend
    std::int32_t checkboxes[2]; ///< scene detect, snap
};

/// A sequence that is rendered by the code linked into this program, whose kernels can be chosen.
template <class Sample>
class Renderer : public RawHost {
public:
    Renderer(Clip<Sample>& source, const Controls& controls) {
        entry = runCommand;
        std::ranges::transform(source.frames, std::back_inserter(clip),
                               [&](auto& frame) { return source.worldOf(frame); });
        in.totalDuration = static_cast<std::int32_t>(clip.size()) * in.timeStep;
        in.applicationCode = source.alphaIndex == 3 ? kApplicationWithBgraPixels : 0;
        in.currentTime = in.timeStep;
        params[0].layer = clip[1];
        params[1].slider.value = controls.sliders[0];
        params[2].checkbox.value = controls.checkboxes[0];
        params[3].slider.value = controls.sliders[1];
        params[4].slider.value = controls.sliders[2];
        params[5].checkbox.value = controls.checkboxes[1];
        EXPECT_EQ(send(Command::SequenceSetup), 0);
    }

    ~Renderer() { EXPECT_EQ(send(Command::SequenceSetdown), 0); }

    /// The frame in the middle.
    std::vector<Sample> render(Clip<Sample>& source, double blend) {
        std::vector<Sample> rendered(source.frames[1].size());
        output = source.worldOf(rendered);
        params[6].slider.value = blend;
        EXPECT_EQ(send(Command::Render), 0);
        return rendered;
    }

    void expectLevelsInRange() const {
        for (const FrameCache::Slot& slot : frameCacheOf(in)->slots()) {
            for (const LevelsEntry& levels : slot.entry->levels->entries) {
                EXPECT_LT(levels.inputBlack, levels.inputWhite);
                EXPECT_LE(levels.inputWhite, 255);
                EXPECT_LE(std::max(levels.outputBlack, levels.outputWhite), 255);
                EXPECT_TRUE(levels.gamma >= 1 && levels.gamma <= 32767) << levels.gamma;
            }
        }
    }
};

/// Whether samples keep their order in the channel, or all turn it round.
template <class Sample>
bool isOneCurve(const std::vector<Sample>& from, const std::vector<Sample>& to, std::size_t index) {
    std::vector<std::pair<int, int>> points;
    for (std::size_t i = index; i < from.size(); i += 4) {
        points.emplace_back(from[i], to[i]);
    }
    std::ranges::sort(points);
    if (std::ranges::is_sorted(points, {}, &std::pair<int, int>::second)) {
        return true;
    }
    std::ranges::sort(points, [](auto a, auto b) {
        return std::pair(a.first, -a.second) < std::pair(b.first, -b.second);
    });
    return std::ranges::is_sorted(points, std::ranges::greater(), &std::pair<int, int>::second);
}

template <class Sample>
void expectWithinBounds(const Clip<Sample>& clip, const std::vector<Sample>& corrected,
                        const std::vector<Sample>& blended) {
    const std::vector<Sample>& input = clip.frames[1];
    for (std::size_t i = 0; i < input.size(); ++i) {
        if (i % 4 == clip.alphaIndex) {
            ASSERT_TRUE(corrected[i] == input[i] && blended[i] == input[i]) << "alpha changed";
            continue;
        }
        const auto [least, most] = std::minmax(corrected[i], input[i]);
        ASSERT_TRUE(blended[i] >= least && blended[i] <= most) << "the blend lies outside";
        ASSERT_LE(corrected[i], clip.kWhite);
        if (clip.isFlat) {
            ASSERT_EQ(corrected[i], clip.kDeep ? input[i] / 8 * 8 : input[i]);
        }
    }
    for (std::size_t index = 0; index < 4; ++index) {
        EXPECT_TRUE(index == clip.alphaIndex || isOneCurve(input, corrected, index));
    }
}

/// Whether the correction changed anything.
template <class Sample>
bool renderSomething(Random& random) {
    Clip<Sample> clip(random);
    const Controls controls(random);
    std::vector<std::vector<Sample>> first;
    for (const kernels::Variant& variant : kernels::availableVariants()) {
        kernels::useKernels(variant.kernels);
        Renderer<Sample> renderer(clip, controls);
        const std::vector<std::vector<Sample>> renders = {
            renderer.render(clip, 0.0), renderer.render(clip, controls.sliders[3])};
        if (first.empty()) {
            first = renders;
            expectWithinBounds(clip, renders[0], renders[1]);
            renderer.expectLevelsInRange();
        }
        EXPECT_EQ(renders, first) << variant.name;
    }
    return first[0] != clip.frames[1];
}

TEST(Extremes, CorrectionsStayWithinTheirBoundsByEveryVariant) {
    Random random(17);
    int changed = 0;
    for (int round = 0; round < 300 && !testing::Test::HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        changed += renderSomething<std::uint8_t>(random);
        renderSomething<std::uint16_t>(random);
    }
    kernels::useKernels(kernels::availableVariants().back().kernels);
    EXPECT_GT(changed, 40) << "the rounds reach corrections";
}

} // namespace
} // namespace tintwell::test
