#include "plugins/core/frame_samples.h"

#include "plugins/core/real_samples.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tintwell::plugins {
namespace {

constexpr std::uint32_t kModuleWhite = 32768;

template <class T>
T loadAs(const std::byte* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <class T>
void storeAs(std::byte* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

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
template <class Scale>
class Multiplied {
public:
    Multiplied(bool isMultiplied, std::uint32_t alpha)
        : limit_(isMultiplied ? std::min(alpha, Scale::kWhite) : Scale::kWhite) {}

    /// What of a sample the module cannot be told.
    std::uint32_t excessOf(std::uint32_t sample) const { return sample - std::min(sample, limit_); }

    std::uint32_t divided(std::uint32_t sample) const {
        if (limit_ == Scale::kWhite || limit_ == 0) {
            return std::min(sample, Scale::kWhite);
        }
        return (std::min(sample, limit_) * Scale::kWhite + limit_ / 2) / limit_;
    }

    std::uint32_t multiplied(std::uint32_t sample) const {
        return limit_ == Scale::kWhite ? sample
                                       : (sample * limit_ + Scale::kWhite / 2) / Scale::kWhite;
    }

private:
    std::uint32_t limit_; ///< below 2^16, so that products have 32 bits
};

template <class Scale>
Multiplied<Scale> alphaOf(const SourceFrame& frame, std::int32_t y, std::ptrdiff_t offset) {
    const bool isMultiplied = frame.alpha == Alpha::Premultiplied;
    return {isMultiplied,
            isMultiplied ? loadAs<typename Scale::Sample>(frame.row(3, y) + offset) : 0U};
}

template <class Scale>
void readWholeNumbers(const SourceFrame& frame, std::int32_t y, std::byte* pixels) {
    using Sample = typename Scale::Sample;
    const auto count = static_cast<std::ptrdiff_t>(frame.rowPixels());
    for (std::ptrdiff_t x = 0; x < count; ++x, pixels += 4 * sizeof(Sample)) {
        const std::ptrdiff_t offset = x * frame.pixelStep;
        const Multiplied<Scale> alpha = alphaOf<Scale>(frame, y, offset);
        const std::uint32_t alphaSample =
            frame.alpha == Alpha::None ? Scale::kWhite : loadAs<Sample>(frame.row(3, y) + offset);
        storeAs(pixels, static_cast<Sample>(Scale::toModule(std::min(alphaSample, Scale::kWhite))));
        for (std::size_t c = 0; c < 3; ++c) {
            const std::uint32_t color = alpha.divided(loadAs<Sample>(frame.row(c, y) + offset));
            storeAs(pixels + (c + 1) * sizeof(Sample), static_cast<Sample>(Scale::toModule(color)));
        }
    }
}

template <class Scale>
void writeWholeNumbers(const SourceFrame& source, const TargetFrame& target, std::int32_t y,
                       const std::byte* pixels) {
    using Sample = typename Scale::Sample;
    constexpr std::uint32_t kLargest = static_cast<Sample>(-1);
    const auto count = static_cast<std::ptrdiff_t>(source.rowPixels());
    for (std::ptrdiff_t x = 0; x < count; ++x, pixels += 4 * sizeof(Sample)) {
        const std::ptrdiff_t from = x * source.pixelStep;
        const std::ptrdiff_t to = x * target.pixelStep;
        const Multiplied<Scale> alpha = alphaOf<Scale>(source, y, from);
        for (std::size_t c = 0; c < 3; ++c) {
            const std::uint32_t excess = alpha.excessOf(loadAs<Sample>(source.row(c, y) + from));
            const std::uint32_t corrected =
                Scale::fromModule(loadAs<Sample>(pixels + (c + 1) * sizeof(Sample)));
            storeAs(target.row(c, y) + to,
                    static_cast<Sample>(std::min(alpha.multiplied(corrected) + excess, kLargest)));
        }
        if (source.alpha != Alpha::None) {
            storeAs(target.row(3, y) + to, loadAs<Sample>(source.row(3, y) + from));
        }
    }
}

/// 0..1 as a sample of the module's.
std::uint16_t deepSample(double value) {
    return value > 0.0 ? static_cast<std::uint16_t>(std::min(value, 1.0) * kModuleWhite + 0.5)
                       : std::uint16_t{0};
}

template <class Samples>
void readReals(const SourceFrame& frame, std::int32_t y, std::byte* pixels) {
    const auto count = static_cast<std::ptrdiff_t>(frame.rowPixels());
    for (std::ptrdiff_t x = 0; x < count; ++x, pixels += 4 * sizeof(std::uint16_t)) {
        const std::ptrdiff_t offset = x * frame.pixelStep;
        const double alpha =
            frame.alpha == Alpha::None ? 1.0 : Samples::load(frame.row(3, y) + offset);
        const bool divides =
            frame.alpha == Alpha::Premultiplied && alpha > 0.0 && std::isfinite(alpha);
        storeAs(pixels, deepSample(alpha));
        for (std::size_t c = 0; c < 3; ++c) {
            const double color = Samples::load(frame.row(c, y) + offset);
            storeAs(pixels + (c + 1) * sizeof(std::uint16_t),
                    deepSample(divides ? color / alpha : color));
        }
    }
}

} // namespace

void readModuleRow(const SourceFrame& frame, std::int32_t y, std::byte* pixels) {
    switch (frame.samples) {
    case SampleType::Byte:
        return readWholeNumbers<ByteScale>(frame, y, pixels);
    case SampleType::Short:
        return readWholeNumbers<ShortScale>(frame, y, pixels);
    case SampleType::ShortTo32768:
        return readWholeNumbers<ModuleShortScale>(frame, y, pixels);
    case SampleType::Half:
        return readReals<HalfSamples>(frame, y, pixels);
    case SampleType::Float:
        return readReals<FloatSamples>(frame, y, pixels);
    }
}

void writeModuleRow(const SourceFrame& source, const TargetFrame& target, std::int32_t y,
                    const std::byte* pixels) {
    switch (source.samples) {
    case SampleType::Byte:
        return writeWholeNumbers<ByteScale>(source, target, y, pixels);
    case SampleType::Short:
        return writeWholeNumbers<ShortScale>(source, target, y, pixels);
    case SampleType::ShortTo32768:
        return writeWholeNumbers<ModuleShortScale>(source, target, y, pixels);
    case SampleType::Half:
    case SampleType::Float:
        return; // reals are never made of the module's samples
    }
}

} // namespace tintwell::plugins
