// Histograms, levels and pictures that need not belong together, in the analysis and the tables.

#include "check.h"
#include "fuzz_input.h"
#include "module/analysis/automatic_correction.h"
#include "module/analysis/clip_points.h"
#include "module/analysis/levels_lines.h"
#include "module/apply/levels_application.h"
#include "module/temporal/smoothing_tintwell.h"

#include <algorithm>
#include <vector>

using namespace tintwell;
using fuzz::check;
using fuzz::FuzzInput;

namespace {

constexpr std::uint16_t kMaxLevel = 255;

/// A picture of packed planes that owns its samples.
struct Planes {
    explicit Planes(FuzzInput& input) {
        const std::uint8_t shape = input.byte();
        image.bitDepth = shape % 2 == 0 ? 8 : 16;
        image.width = 1 + input.byte() % 40;
        image.height = shape / 2 % 8;
        image.channelCount = kColorPlanes;
        image.rowBytes = image.width * image.bitDepth / 8;
        image.blackClip = input.number(std::int32_t{10});
        image.whiteClip = input.number(std::int32_t{10});
        image.snapNeutralMidtones = input.number(std::int32_t{1});
        samples.resize(static_cast<std::size_t>(image.rowBytes * image.height) * 4);
        std::uint32_t seed = input.raw<std::uint32_t>();
        std::ranges::generate(samples, [&] {
            seed = seed * 1664525U + 1013904223U;
            return shape / 16 % 2 == 0 ? static_cast<std::uint8_t>(seed >> 24U) : input.byte();
        });
        image.data = samples.data();
    }

    std::vector<std::uint8_t> samples;
    PlanarImage image;
};

/// Few levels of any count, or no level at all.
ChannelHistogram anyHistogram(FuzzInput& input) {
    ChannelHistogram histogram;
    for (LevelCounts& counts : histogram.channels) {
        for (int used = input.byte() % 16; used > 0; --used) {
            const std::uint8_t level = input.byte();
            counts[level] = input.number(std::uint32_t{100});
        }
    }
    return histogram;
}

LevelsRecord anyLevels(FuzzInput& input) {
    LevelsRecord levels;
    for (LevelsEntry& entry : std::span(levels.entries).first(4)) {
        for (std::uint16_t* field : {&entry.inputBlack, &entry.inputWhite, &entry.outputBlack,
                                     &entry.outputWhite, &entry.gamma}) {
            *field = input.number(*field);
        }
    }
    return levels;
}

void checkClipPoints(const ChannelHistogram& histogram, FuzzInput& input) {
    AutoCorrectionOptions options;
    options.blackClip = input.number(options.blackClip);
    options.whiteClip = input.number(options.whiteClip);
    const auto& channels = histogram.channels;
    for (const ClipPoints& points :
         findClipPoints({&channels[1], nullptr, &channels[3]}, options)) {
        check(points.low <= points.high && points.high <= kMaxLevel, "clip points are in order");
    }
}

LevelsRecord findLevels(const ChannelHistogram& histogram, const PlanarImage& image,
                        FuzzInput& input) {
    const auto mode = static_cast<AutoCorrectionMode>(
        input.number(static_cast<std::int32_t>(AutoCorrectionMode::ColorSearch)));
    LevelsRecord levels;
    ToneSearchContext context(analyzedPlanes(image));
    computeAutoLevels(mode, levels, histogram, input.byte() % 8, context);
    for (const LevelsEntry& entry : levels.entries) {
        check(std::max({entry.inputBlack, entry.inputWhite, entry.outputBlack,
                        entry.outputWhite}) <= kMaxLevel,
              "found levels are in range");
        check(entry.inputBlack <= entry.inputWhite, "found inputs are in order");
        check(entry.gamma > 0, "found gammas are above 0");
    }
    return levels;
}

void checkApplication(Planes& planes, const LevelsRecord& levels) {
    const std::vector<std::uint8_t> before = planes.samples;
    applyLevels(planes.image, levels);
    const auto alpha = static_cast<std::ptrdiff_t>(before.size() / 4);
    check(std::equal(before.begin(), before.begin() + alpha, planes.samples.begin()),
          "alpha stays as it is");
    if (planes.image.bitDepth == 16) {
        const std::span samples(planeRow<std::uint16_t>(planes.image, 1, 0),
                                planes.samples.size() / 8 * 3);
        check(std::ranges::all_of(samples, [](auto sample) { return sample <= 32768; }),
              "corrected samples are in range");
    }
}

void checkDistance(const ChannelHistogram& previous, const ChannelHistogram& visited) {
    for (const auto mode :
         {AutoCorrectionMode::ColorSearch, AutoCorrectionMode::MonochromaticContrast}) {
        const NeighbourWeights distance = frameDistance(previous, visited, mode);
        for (const double weight : {distance.red, distance.green, distance.blue}) {
            check(weight >= 0.0, "distances are not below 0");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    Planes planes(input);
    ChannelHistogram histogram = anyHistogram(input);
    checkClipPoints(histogram, input);
    checkDistance(histogram, anyHistogram(input));
    const bool isOfPicture = input.byte() % 2 == 0;
    if (isOfPicture) {
        gatherHistogram(histogram, viewOfPlanes(planes.image), true,
                        AutoCorrectionMode::ColorSearch);
    }
    const LevelsRecord found = findLevels(histogram, planes.image, input);
    checkApplication(planes, input.byte() % 2 == 0 ? found : anyLevels(input));
    return 0;
}
