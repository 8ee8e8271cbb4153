#pragma once

#include "module/analysis/level_counter.h"
#include "module/frame/planar_image.h"
#include "module/kernels/kernels.h"

#include <array>
#include <optional>

namespace tintwell {

/// Red, green and blue on the scale of levels, 0..255.
using Rgb = std::array<double, 3>;

/// What the search of one frame knows of its dark and its light colour.
struct ToneSearchContext {
    explicit ToneSearchContext(const PlanarImage& source) : image(source) {}

    bool searched = false; ///< a searched context is not searched again
    bool hasDarkColor = false;
    Rgb darkColor = {0.0, 0.0, 0.0};
    bool hasLightColor = false;
    Rgb lightColor = {255.0, 255.0, 255.0};
    const PlanarImage& image; ///< must outlive the context
};

/// Looks for the colours of the darkest and of the lightest parts of the image. Leaves a flag clear
/// where the image has no such part.
void findToneColors(ToneSearchContext& context);

/// Which part of a table of indices 0..255 makes a colour, as shares of the table's weight. Its
/// high end is what is sought.
struct ToneBand {
    double largestShare;  ///< how much the band may hold
    double smallestShare; ///< a band that holds less is rejected
    int lowestIndex;      ///< the band ends here at the latest
};

/// Where a band lies in a table: from `lowest` up, with full share from `edge` up.
struct TopBand {
    int lowest;
    int edge;
};

/// What that many pixels weigh in a table: 255 each.
double weightOf(std::size_t pixels);

/// The band of a table of the given weight. None where its top is too thin. Only the counts of the
/// band itself and of the entry below it are looked at.
std::optional<TopBand> findTopBand(const LevelCounts& counts, double total, const ToneBand& band);

/// The levels of the pixels at the top of a table, summed up row by row.
class TopSums {
public:
    /// Pixels whose index is below `lowest` are passed over.
    explicit TopSums(int lowest) : lowest_(static_cast<std::uint8_t>(lowest)) {}

    void add(const std::uint8_t* indices, const kernels::ColorRow& row, std::size_t count);

    /// Pixels per index; 0 below the lowest.
    LevelCounts counts();

    /// The mean colour of a band at or above the lowest; the share of an index rises linearly from
    /// the band's lower end to its edge. None of an empty band.
    std::optional<Rgb> mean(const TopBand& band);

private:
    struct Sums {
        std::uint64_t red = 0;
        std::uint64_t green = 0;
        std::uint64_t blue = 0;
        std::uint64_t count = 0;
    };

    void settle();

    std::uint8_t lowest_;
    std::array<kernels::ToneSums, 256> recent_{}; ///< not yet in sums_
    std::size_t recentPixels_ = 0;                ///< looked at since
    std::array<Sums, 256> sums_{};
};

} // namespace tintwell
