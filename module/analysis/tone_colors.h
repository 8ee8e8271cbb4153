#pragma once

#include "module/analysis/analyzed_frame.h"
#include "module/counting/level_rows.h"
#include "module/counting/top_sums.h"

#include <vector>

namespace tintwell {

/// What the search of one frame knows of its dark and its light colour.
struct ToneSearchContext {
    explicit ToneSearchContext(const AnalyzedFrame& analyzed) : frame(analyzed) {}

    bool searched = false; ///< a searched context is not searched again
    bool hasDarkColor = false;
    Rgb darkColor = {0.0, 0.0, 0.0};
    bool hasLightColor = false;
    Rgb lightColor = {255.0, 255.0, 255.0};
    AnalyzedFrame frame;
};

/// Looks for the colours of the darkest and of the lightest parts of the frame. Leaves a flag clear
/// where the frame has no such part.
void findToneColors(ToneSearchContext& context);

/// One of the two tables. What is asked of its low end is where a small budget runs out, of its
/// high end a band of a few per cent; most pixels are in neither and need no more than comparing.
class ToneTable {
public:
    /// Both ends reach over the whole table.
    ToneTable();
    /// Ends that hold enough if the whole frame is about like this sample of it.
    explicit ToneTable(const LevelCounts& sample);

    void add(const std::uint8_t* indices, const CountedPixels& row, std::size_t count);

    /// Whether the ends hold all that is asked of them, once `pixels` have been added.
    bool suffices(std::size_t pixels);

    /// Where the budget of the extremes runs out.
    int extreme(std::size_t pixels) const;

    std::optional<Rgb> color(std::size_t pixels, int lowestIndex);

private:
    std::uint8_t highestLow_;
    LevelCounts low_{};
    TableTop top_;
};

/// The same search for those who walk over the rows for other reasons too: made with a look at some
/// of the rows, it is handed all of them once and then finishes.
class ToneSearch {
public:
    explicit ToneSearch(const PixelView& pixels);

    /// A band of rows, at most LevelRows::bandRows() of them, and the same as pixels.
    void add(const kernels::ColorRow& band, const CountedPixels& pixels, std::size_t count);

    /// The same with all pixels of the frame.
    void addAll();

    /// Marks the context as searched.
    void finish(ToneSearchContext& context);

private:
    struct Tables {
        ToneTable dark;
        ToneTable light;
    };

    void findIndices(const kernels::ColorRow& band, std::size_t count);
    Tables expectedTables();

    LevelRows levels_;
    std::size_t pixels_;                  ///< of the frame
    std::vector<std::uint8_t> darkness_;  ///< of a band: 255 less the largest level
    std::vector<std::uint8_t> lightness_; ///< of a band: the smallest level
    Tables tables_;
};

} // namespace tintwell
