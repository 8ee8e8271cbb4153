#pragma once

#include "effect/planar_image.h"
#include "kernels/kernels.h"

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

/// Pixels summed up by an index 0..255 whose high end is what is sought.
using ToneTable = std::array<kernels::ToneSums, 256>;

/// Which part of a tone table makes a colour, as shares of the table's weight.
struct ToneBand {
    double largestShare;  ///< how much the band may hold
    double smallestShare; ///< a band that holds less is rejected
    int lowestIndex;      ///< the band ends here at the latest
};

double totalWeight(const ToneTable& table);

/// The mean colour of the table's top: the entries from the band's lower end up, with a linearly
/// rising share, and full share for the outermost 0.5 %. None where the top is too thin.
std::optional<Rgb> averageTopBand(const ToneTable& table, double total, const ToneBand& band);

} // namespace tintwell
