#include "media/color/highlights.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace tintwell::media {
namespace {

constexpr std::int32_t kWhite = 32768;
constexpr double kReference = 0.58;

host::FrameBuffer worldOf(const std::vector<std::uint16_t>& tones) {
    host::FrameBuffer world(static_cast<std::int32_t>(tones.size()), 1, host::SampleDepth::Bits16);
    auto* samples = reinterpret_cast<std::uint16_t*>(world.row(0));
    for (std::size_t i = 0; i < 4 * tones.size(); ++i) {
        samples[i] = i % 4 == 0 ? std::uint16_t{kWhite} : tones[i / 4];
    }
    return world;
}

/// What becomes of a ramp from black to `peak`, all parts of the whole signal, when the correction
/// does this to what it sees.
std::vector<int> corrected(double peak, const std::function<double(double)>& correction) {
    std::vector<std::uint16_t> ramp;
    for (int tone = 0; tone <= std::lround(peak * kWhite); tone += 8) {
        ramp.push_back(static_cast<std::uint16_t>(tone));
    }
    const Highlights highlights(kReference);
    const host::FrameBuffer whole = worldOf(ramp);
    host::FrameBuffer stretched = worldOf(ramp);
    highlights.stretch(stretched);
    host::FrameBuffer output = worldOf(ramp);
    const auto* seen = reinterpret_cast<const std::uint16_t*>(stretched.row(0));
    auto* made = reinterpret_cast<std::uint16_t*>(output.row(0));
    for (std::size_t i = 0; i < 4 * ramp.size(); ++i) {
        const double tone = std::clamp(correction(seen[i] / double{kWhite}), 0.0, 1.0);
        made[i] = i % 4 == 0 ? seen[i] : static_cast<std::uint16_t>(std::lround(tone * kWhite));
    }
    highlights.restore(whole, stretched, output);
    std::vector<int> tones;
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        tones.push_back(made[4 * i + 1]);
    }
    return tones;
}

TEST(HighlightsTest, TonesStayInOrderBelowThePeakAndHighlightsAsTheyWere) {
    const std::vector<std::function<double(double)>> corrections{
        [](double tone) { return tone; },
        [](double tone) { return 1.6 * tone - 0.05; }, // what stretches a dark white
        [](double tone) { return 0.7 * tone; },
        [](double tone) { return std::sqrt(tone); },
        [](double tone) { return tone < 0.5 ? 0.8 * tone : 1.2 * tone - 0.2; },
    };
    for (const double peak : {0.45, 0.57, 0.75, 1.0}) { // 0.45 is about 62 cd/m² in PQ
        for (std::size_t which = 0; which < corrections.size(); ++which) {
            const std::vector<int> tones = corrected(peak, corrections[which]);
            for (std::size_t i = 0; i < tones.size(); ++i) {
                const int before = static_cast<int>(8 * i);
                if (which == 0 || before >= kReference * kWhite) {
                    ASSERT_EQ(tones[i], before) << peak << " " << which;
                }
                ASSERT_LE(tones[i], std::max<long>(before, std::lround(peak * kWhite)) + 1);
                if (i > 200) { // a root is steep at first
                    ASSERT_GE(tones[i], tones[i - 1] - 1) << peak << " " << which << " " << i;
                    ASSERT_LE(tones[i], tones[i - 1] + 100) << peak << " " << which << " " << i;
                }
            }
        }
    }
    EXPECT_GT(corrected(1.0, corrections[1])[1000], 8000 + 1000); // it is a correction still
}

} // namespace
} // namespace tintwell::media
