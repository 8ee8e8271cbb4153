#pragma once

// Tables of pixels by an index of 0..255 whose high end is sought, and the colour of that end: the
// outermost entries count fully, the rest of the band with a share that falls to its inner end, so
// that the mean moves smoothly as pixels cross the band's borders.

#include "module/counting/level_counter.h"
#include "module/counting/level_rows.h"
#include "module/kernels/kernels.h"

#include <array>
#include <optional>

namespace tintwell {

/// Red, green and blue on the scale of levels, 0..255.
using Rgb = std::array<double, 3>;

/// The budget that decides where a table's outermost entries end.
inline constexpr double kEdgeShare = 0.005;

/// Which part of a table makes a colour, as shares of the table's weight.
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

/// Walks from `index` in steps of 1 or -1 while the budget covers the entries; the index where it
/// stops, or one step outside the table.
int walkBudget(const LevelCounts& counts, int index, int step, double budget);

/// The band of a table of the given weight. None where its top is too thin. Only the counts of the
/// band itself and of the entry below it are looked at.
std::optional<TopBand> findTopBand(const LevelCounts& counts, double total, const ToneBand& band);

/// The levels of the pixels at the top of a table, summed up row by row.
class TopSums {
public:
    /// Pixels whose index is below `lowest` are passed over.
    explicit TopSums(int lowest) : lowest_(static_cast<std::uint8_t>(lowest)) {}

    /// All rows have alpha in the same place.
    void add(const std::uint8_t* indices, const CountedPixels& row, std::size_t count);

    int lowest() const { return lowest_; }

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
    bool isAlphaFirst_ = true;
    std::array<kernels::ToneSums, 2 * kernels::kToneIndices> recent_{}; ///< not yet in sums_
    std::size_t recentPixels_ = 0;                                      ///< looked at since
    std::array<Sums, kernels::kToneIndices> sums_{};
};

/// The top of a table for a band of the given largest share, of which no more is summed up than a
/// sample of the table lets expect to be enough. Most pixels are below it and cost a comparison.
class TableTop {
public:
    /// Everything that a band which ends at `floor` at the latest can reach.
    explicit TableTop(double largestShare, int floor = 0);
    /// What the band needs if the whole table is about like this sample of it.
    TableTop(double largestShare, int floor, const LevelCounts& sample);

    void add(const std::uint8_t* indices, const CountedPixels& row, std::size_t count) {
        sums_.add(indices, row, count);
    }

    /// Whether it holds all that the band needs, once `pixels` have been added.
    bool suffices(std::size_t pixels);

    /// The colour of the band of these pixels.
    std::optional<Rgb> color(std::size_t pixels, const ToneBand& band);

private:
    double largestShare_;
    int floor_;
    TopSums sums_;
};

} // namespace tintwell
