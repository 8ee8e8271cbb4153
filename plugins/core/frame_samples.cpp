#include "plugins/core/frame_samples.h"

#include "plugins/core/pixel_rows.h"
#include "plugins/core/real_samples.h"

#include <algorithm>
#include <cmath>

namespace tintwell::plugins {
namespace {

constexpr std::uint32_t kModuleWhite = 32768;

// The kinds of whole numbers: how they are stored, their white, and the way to the module's samples
// and back, where both scales differ rounded, halves up.

struct ByteScale {
    using Sample = std::uint8_t;
    static constexpr std::uint32_t kWhite = 255;

    static constexpr std::uint32_t toModule(std::uint32_t value) { return value; }

    static constexpr std::uint32_t fromModule(std::uint32_t value) { return value; }
};

struct ShortScale {
    using Sample = std::uint16_t;
    static constexpr std::uint32_t kWhite = 65535;

    static constexpr std::uint32_t toModule(std::uint32_t value) { return (value + 1) / 2; }

    static constexpr std::uint32_t fromModule(std::uint32_t value) {
        return 2 * value - (value > kModuleWhite / 2 ? 1 : 0);
    }
};

struct ModuleShortScale {
    using Sample = std::uint16_t;
    static constexpr std::uint32_t kWhite = kModuleWhite;

    static constexpr std::uint32_t toModule(std::uint32_t value) { return value; }

    static constexpr std::uint32_t fromModule(std::uint32_t value) { return value; }
};

/// A pixel's alpha as far as its colour is concerned.
template <class Scale, bool kIsMultiplied>
class AlphaOfPixel {
public:
    explicit AlphaOfPixel(std::uint32_t alpha)
        : limit_(kIsMultiplied ? std::min(alpha, Scale::kWhite) : Scale::kWhite) {}

    /// What of a sample the module cannot be told.
    std::uint32_t excessOf(std::uint32_t sample) const { return sample - std::min(sample, limit_); }

    std::uint32_t divided(std::uint32_t sample) const {
        if (!kIsMultiplied || limit_ == Scale::kWhite || limit_ == 0) {
            return std::min(sample, Scale::kWhite);
        }
        return (std::min(sample, limit_) * Scale::kWhite + limit_ / 2) / limit_;
    }

    std::uint32_t multiplied(std::uint32_t sample) const {
        return !kIsMultiplied || limit_ == Scale::kWhite
                   ? sample
                   : (sample * limit_ + Scale::kWhite / 2) / Scale::kWhite;
    }

private:
    std::uint32_t limit_; ///< below 2^16, so that products have 32 bits
};

template <class Scale, class Multiplied, class Step>
void readWholeNumbers(const SourceFrame& frame, std::int32_t y, std::byte* pixels, Step step) {
    using Sample = typename Scale::Sample;
    const auto rows = channelRows(frame, y);
    const auto count = static_cast<std::ptrdiff_t>(frame.rowPixels());
    for (std::ptrdiff_t x = 0; x < count; ++x) {
        const std::ptrdiff_t from = x * step.source;
        std::byte* const pixel = pixels + x * std::ptrdiff_t{4 * sizeof(Sample)};
        const std::uint32_t alphaSample =
            rows[3] != nullptr ? loadAs<Sample>(rows[3] + from) : Scale::kWhite;
        const AlphaOfPixel<Scale, Multiplied::value> alpha(alphaSample);
        storeAs(pixel, static_cast<Sample>(Scale::toModule(std::min(alphaSample, Scale::kWhite))));
        for (std::size_t c = 0; c < 3; ++c) {
            const std::uint32_t color = alpha.divided(loadAs<Sample>(rows[c] + from));
            storeAs(pixel + (c + 1) * sizeof(Sample), static_cast<Sample>(Scale::toModule(color)));
        }
    }
}

template <class Scale, class Multiplied, class Step>
void writeWholeNumbers(const SourceFrame& source, const TargetFrame& target, std::int32_t y,
                       const std::byte* pixels, Step step) {
    using Sample = typename Scale::Sample;
    constexpr std::uint32_t kLargest = static_cast<Sample>(-1);
    const auto sources = channelRows(source, y);
    const auto targets = channelRows(target, y);
    const auto count = static_cast<std::ptrdiff_t>(source.rowPixels());
    for (std::ptrdiff_t x = 0; x < count; ++x) {
        const std::ptrdiff_t from = x * step.source;
        const std::ptrdiff_t to = x * step.target;
        const std::byte* const pixel = pixels + x * std::ptrdiff_t{4 * sizeof(Sample)};
        const auto alphaSample = sources[3] != nullptr ? loadAs<Sample>(sources[3] + from)
                                                       : static_cast<Sample>(Scale::kWhite);
        const AlphaOfPixel<Scale, Multiplied::value> alpha(alphaSample);
        for (std::size_t c = 0; c < 3; ++c) {
            const std::uint32_t excess = alpha.excessOf(loadAs<Sample>(sources[c] + from));
            const std::uint32_t corrected =
                Scale::fromModule(loadAs<Sample>(pixel + (c + 1) * sizeof(Sample)));
            storeAs(targets[c] + to,
                    static_cast<Sample>(std::min(alpha.multiplied(corrected) + excess, kLargest)));
        }
        if (sources[3] != nullptr) {
            storeAs(targets[3] + to, alphaSample);
        }
    }
}

/// 0..1 as a sample of the module's.
std::uint16_t deepSample(double value) {
    return value > 0.0 ? static_cast<std::uint16_t>(std::min(value, 1.0) * kModuleWhite + 0.5)
                       : std::uint16_t{0};
}

template <class Samples, class Multiplied, class Step>
void readReals(const SourceFrame& frame, std::int32_t y, std::byte* pixels, Step step) {
    const auto rows = channelRows(frame, y);
    const auto count = static_cast<std::ptrdiff_t>(frame.rowPixels());
    for (std::ptrdiff_t x = 0; x < count; ++x) {
        const std::ptrdiff_t from = x * step.source;
        std::byte* const pixel = pixels + x * std::ptrdiff_t{4 * sizeof(std::uint16_t)};
        const double alpha = rows[3] != nullptr ? Samples::load(rows[3] + from) : 1.0;
        const bool divides = Multiplied::value && alpha > 0.0 && std::isfinite(alpha);
        storeAs(pixel, deepSample(alpha));
        for (std::size_t c = 0; c < 3; ++c) {
            const double color = Samples::load(rows[c] + from);
            storeAs(pixel + (c + 1) * sizeof(std::uint16_t),
                    deepSample(divides ? color / alpha : color));
        }
    }
}

template <class Scale>
void readWholeRow(const SourceFrame& frame, std::int32_t y, std::byte* pixels) {
    constexpr std::size_t kBytes = sizeof(typename Scale::Sample);
    const AnyStep step = {frame.pixelStep, 4 * kBytes};
    withTypesOf<kBytes>(frame.alpha, step, [&](auto isMultiplied, auto steps) {
        readWholeNumbers<Scale, decltype(isMultiplied)>(frame, y, pixels, steps);
    });
}

template <class Scale>
void writeWholeRow(const SourceFrame& source, const TargetFrame& target, std::int32_t y,
                   const std::byte* pixels) {
    const AnyStep step = {source.pixelStep, target.pixelStep};
    withTypesOf<sizeof(typename Scale::Sample)>(
        source.alpha, step, [&](auto isMultiplied, auto steps) {
            writeWholeNumbers<Scale, decltype(isMultiplied)>(source, target, y, pixels, steps);
        });
}

template <class Samples>
void readRealRow(const SourceFrame& frame, std::int32_t y, std::byte* pixels) {
    const AnyStep step = {frame.pixelStep, 4 * Samples::kBytes};
    withTypesOf<Samples::kBytes>(frame.alpha, step, [&](auto isMultiplied, auto steps) {
        readReals<Samples, decltype(isMultiplied)>(frame, y, pixels, steps);
    });
}

} // namespace

void readModuleRow(const SourceFrame& frame, std::int32_t y, std::byte* pixels) {
    switch (frame.samples) {
    case SampleType::Byte:
        return readWholeRow<ByteScale>(frame, y, pixels);
    case SampleType::Short:
        return readWholeRow<ShortScale>(frame, y, pixels);
    case SampleType::ShortTo32768:
        return readWholeRow<ModuleShortScale>(frame, y, pixels);
    case SampleType::Half:
        return readRealRow<HalfSamples>(frame, y, pixels);
    case SampleType::Float:
        return readRealRow<FloatSamples>(frame, y, pixels);
    }
}

void writeModuleRow(const SourceFrame& source, const TargetFrame& target, std::int32_t y,
                    const std::byte* pixels) {
    switch (source.samples) {
    case SampleType::Byte:
        return writeWholeRow<ByteScale>(source, target, y, pixels);
    case SampleType::Short:
        return writeWholeRow<ShortScale>(source, target, y, pixels);
    case SampleType::ShortTo32768:
        return writeWholeRow<ModuleShortScale>(source, target, y, pixels);
    case SampleType::Half:
    case SampleType::Float:
        return; // reals are never made of the module's samples
    }
}

} // namespace tintwell::plugins
