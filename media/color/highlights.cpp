#include "media/color/highlights.h"

#include "media/color/sample_rows.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tintwell::media {
namespace {

constexpr std::size_t kChannels = 4; ///< alpha first

/// From here on darkening fades out towards reference white.
constexpr double kShoulder = 0.8;

template <class Buffer>
auto* samplesOf(Buffer& world, std::int32_t row) {
    using Sample = std::conditional_t<std::is_const_v<Buffer>, const std::uint16_t, std::uint16_t>;
    return reinterpret_cast<Sample*>(world.row(row));
}

/// All in parts of reference white. Lifting is scaled by the room that the picture's peak leaves of
/// the room that there is: the corrected tone is a mean of the tone itself and the peak, and rises
/// with both.
double heldBack(double tone, double corrected, double peak) {
    if (corrected >= tone) {
        return tone + (corrected - tone) * std::max(0.0, peak - tone) / (1.0 - tone);
    }
    const double fade = std::max(0.0, (tone - kShoulder) / (1.0 - kShoulder));
    return corrected + fade * (tone - corrected);
}

} // namespace

Highlights::Highlights(double referenceWhite)
    : referenceWhite_(referenceWhite),
      whiteLevel_(static_cast<std::uint16_t>(std::lround(referenceWhite * kWorldWhite16))),
      stretched_(kWorldWhite16 + 1U) {
    for (std::size_t level = 0; level < stretched_.size(); ++level) {
        const double stretched = std::round(static_cast<double>(level) / referenceWhite);
        stretched_[level] =
            static_cast<std::uint16_t>(std::min(stretched, static_cast<double>(kWorldWhite16)));
    }
}

void Highlights::stretch(host::FrameBuffer& world) const {
    for (std::int32_t y = 0; y < world.height(); ++y) {
        std::uint16_t* row = samplesOf(world, y);
        for (std::size_t i = 0; i < kChannels * static_cast<std::size_t>(world.width()); ++i) {
            if (i % kChannels != 0) {
                row[i] = stretched_[std::min(row[i], kWorldWhite16)];
            }
        }
    }
}

void Highlights::restore(const host::FrameBuffer& whole, const host::FrameBuffer& stretched,
                         host::FrameBuffer& corrected) const {
    const std::size_t count = kChannels * static_cast<std::size_t>(whole.width());
    std::uint16_t brightest = 0;
    for (std::int32_t y = 0; y < whole.height(); ++y) {
        const std::uint16_t* row = samplesOf(stretched, y);
        for (std::size_t i = 0; i < count; ++i) {
            brightest = i % kChannels != 0 ? std::max(brightest, row[i]) : brightest;
        }
    }
    constexpr double kWhite = kWorldWhite16;
    for (std::int32_t y = 0; y < whole.height(); ++y) {
        const std::uint16_t* const original = samplesOf(whole, y);
        const std::uint16_t* const before = samplesOf(stretched, y);
        std::uint16_t* const after = samplesOf(corrected, y);
        for (std::size_t i = 0; i < count; ++i) {
            if (i % kChannels == 0) {
                continue;
            }
            if (after[i] == before[i] || original[i] >= whiteLevel_ || before[i] >= kWorldWhite16) {
                after[i] = original[i];
                continue;
            }
            const double tone =
                heldBack(before[i] / kWhite, std::min(after[i] / kWhite, 1.0), brightest / kWhite);
            after[i] = static_cast<std::uint16_t>(
                std::lround(std::clamp(tone, 0.0, 1.0) * referenceWhite_ * kWhite));
        }
    }
}

} // namespace tintwell::media
