// Finds the colour of a frame's shadows and of its highlights. Every pixel is entered into two
// tables: by its largest level, whose dark end holds pixels that are dark in every channel, and by
// its smallest level, whose light end holds pixels that are light in every channel. The colour is a
// weighted mean of the few per cent at that end. Which indices make that band is known from the
// number of pixels at each; only then are the levels of the pixels inside it summed up, in whole
// numbers and exact. No more of the tables is gathered than a sample of the rows lets expect to be
// enough; if it was not, everything.

#include "module/analysis/tone_colors.h"

#include "module/kernels/kernels.h"
#include "module/numeric/level_scale.h"
#include "module/numeric/rounding.h"

#include <algorithm>
#include <numeric>

namespace tintwell {
namespace {

constexpr ToneBand kColorBand = {0.05, 0.010000000000000002, 0};
constexpr std::int32_t kSampleStep = 16;

/// Up to where the low end reaches if the table is about like this sample.
std::uint8_t expectedLow(const LevelCounts& sample) {
    constexpr double kMargin = 1.5;
    const double pixels = std::accumulate(sample.begin(), sample.end(), 0.0);
    const int end = walkBudget(sample, 0, 1, kMargin * kEdgeShare * (pixels * 255.0));
    return clampTo<std::uint8_t>(end, 0, kTopLevel);
}

} // namespace

ToneTable::ToneTable() : highestLow_(kTopLevel), top_(kColorBand.largestShare) {}

ToneTable::ToneTable(const LevelCounts& sample)
    : highestLow_(expectedLow(sample)), top_(kColorBand.largestShare, 0, sample) {}

void ToneTable::add(const std::uint8_t* indices, const CountedPixels& row, std::size_t count) {
    kernels::levelKernels().countLowest(indices, highestLow_, count, low_.data());
    top_.add(indices, row, count);
}

bool ToneTable::suffices(std::size_t pixels) {
    constexpr double kForRounding = 1.0;
    const double low = std::accumulate(low_.begin(), low_.end(), 0.0);
    return low > kEdgeShare * static_cast<double>(pixels) + kForRounding && top_.suffices(pixels);
}

int ToneTable::extreme(std::size_t pixels) const {
    return walkBudget(low_, 0, 1, kEdgeShare * weightOf(pixels));
}

std::optional<Rgb> ToneTable::color(std::size_t pixels, int lowestIndex) {
    ToneBand band = kColorBand;
    band.lowestIndex = static_cast<std::uint8_t>(lowestIndex);
    return top_.color(pixels, band);
}

ToneSearch::ToneSearch(const PixelView& pixels)
    : levels_(pixels), pixels_(pixels.rowPixels * static_cast<std::size_t>(pixels.rows)),
      darkness_(pixels.rowPixels * static_cast<std::size_t>(levels_.bandRows())),
      lightness_(darkness_.size()), tables_(expectedTables()) {}

void ToneSearch::findIndices(const kernels::ColorRow& band, std::size_t count) {
    kernels::levelKernels().tones(band, count, darkness_.data(), lightness_.data());
}

ToneSearch::Tables ToneSearch::expectedTables() {
    const std::size_t count = levels_.rowPixels();
    SampleCounter darkness;
    SampleCounter lightness;
    for (std::int32_t y = 0; y < levels_.rows();) {
        findIndices(levels_.row(y), count);
        y += std::min(kSampleStep, levels_.rows() - y);
        darkness.add(darkness_.data(), count);
        lightness.add(lightness_.data(), count);
    }
    return {ToneTable(darkness.counts()), ToneTable(lightness.counts())};
}

void ToneSearch::add(const kernels::ColorRow& band, const CountedPixels& pixels,
                     std::size_t count) {
    findIndices(band, count);
    tables_.dark.add(darkness_.data(), pixels, count);
    tables_.light.add(lightness_.data(), pixels, count);
}

void ToneSearch::addAll() {
    forEachBand(levels_, [this](const kernels::ColorRow& band, std::size_t count) {
        add(band, levels_.countedPixels(), count);
    });
}

void ToneSearch::finish(ToneSearchContext& context) {
    context.searched = true;
    if (!tables_.dark.suffices(pixels_) || !tables_.light.suffices(pixels_)) {
        tables_ = {};
        addAll();
    }
    const int brightest = kTopLevel - tables_.dark.extreme(pixels_);
    const int darkest = tables_.light.extreme(pixels_);
    if (darkest >= brightest) {
        return;
    }
    if (const auto color = tables_.dark.color(pixels_, kTopLevel - (darkest + brightest) / 2)) {
        context.darkColor = *color;
        context.hasDarkColor = true;
    }
    if (const auto color = tables_.light.color(
            pixels_, kTopLevel - (kTopLevel - brightest + kTopLevel - darkest) / 2)) {
        context.lightColor = *color;
        context.hasLightColor = true;
    }
}

void findToneColors(ToneSearchContext& context) {
    if (context.searched) {
        return;
    }
    ToneSearch search(context.frame.pixels);
    search.addAll();
    search.finish(context);
}

} // namespace tintwell
