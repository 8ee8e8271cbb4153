#include "plugins/core/frame_correction.h"

#include "module/apply/blend.h"
#include "module/apply/levels_tables.h"
#include "module/render/frame_correction.h"
#include "plugins/core/frame_samples.h"
#include "plugins/core/level_curve.h"
#include "plugins/core/real_samples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

namespace tintwell::plugins {
namespace {

/// So much at a time that making the module's tables for it does not count.
constexpr std::size_t kBandBytes = std::size_t{1} << 20U;

std::int32_t bandRowsOf(const SourceFrame& frame) {
    const std::size_t rowBytes = std::max<std::size_t>(1, frame.rowPixels() * 8);
    return static_cast<std::int32_t>(std::clamp<std::size_t>(kBandBytes / rowBytes, 1, 4096));
}

/// Calls work(first, rows) for the frame's rows, band by band.
template <class Work>
void inBands(const SourceFrame& frame, const Checkpoint& checkpoint, Work work) {
    const std::int32_t most = bandRowsOf(frame);
    for (std::int32_t y = 0; y < frame.rows();) {
        checkpoint();
        const std::int32_t rows = std::min(most, frame.rows() - y);
        work(y, rows);
        y += rows;
    }
}

/// Some rows of a frame as A,R,G,B pixels of the module's.
class ModuleBand {
public:
    explicit ModuleBand(const SourceFrame& frame)
        : width_(frame.width), samples_(frame.samples),
          rowBytes_(frame.rowPixels() * modulePixelBytes(frame.samples)) {
        if (rowBytes_ > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
            throw std::bad_alloc();
        }
        pixels_.resize(rowBytes_ *
                       static_cast<std::size_t>(std::min(bandRowsOf(frame), frame.rows())));
    }

    std::byte* row(std::int32_t y) {
        return pixels_.data() + static_cast<std::size_t>(y) * rowBytes_;
    }

    EffectWorld world(std::int32_t rows) {
        EffectWorld world{};
        world.flags = moduleDepth(samples_) == 16 ? kWorldFlag16Bit : 0;
        world.data = pixels_.data();
        world.rowBytes = static_cast<std::int32_t>(rowBytes_);
        world.width = width_;
        world.height = rows;
        return world;
    }

private:
    std::int32_t width_;
    SampleType samples_;
    std::size_t rowBytes_;
    std::vector<std::byte> pixels_;
};

void correctWholeNumbers(const SourceFrame& source, const TargetFrame& target,
                         const Correction& correction, const Checkpoint& checkpoint) {
    ModuleBand input(source);
    ModuleBand output(source);
    inBands(source, checkpoint, [&](std::int32_t first, std::int32_t rows) {
        for (std::int32_t y = 0; y < rows; ++y) {
            readModuleRow(source, first + y, input.row(y));
        }
        EffectWorld corrected = output.world(rows);
        if (correctFrame(input.world(rows), &corrected, {correction.levels, correction.blend, 0}) !=
            error::kNone) {
            throw std::logic_error("the module refuses a band of pixels");
        }
        for (std::int32_t y = 0; y < rows; ++y) {
            writeModuleRow(source, target, first + y, output.row(y));
        }
    });
}

/// What becomes of real numbers, channel by channel.
class RealCorrection {
public:
    explicit RealCorrection(const Correction& correction)
        : curves_(curvesOf(correction.levels)), ofOriginal_(correction.blend / double{kFullBlend}) {
    }

    double operator()(std::size_t channel, double value) const {
        const double corrected = curves_[channel](value);
        return ofOriginal_ == 0.0 ? corrected
                                  : corrected * (1.0 - ofOriginal_) + value * ofOriginal_;
    }

private:
    static std::array<LevelCurve, 3> curvesOf(const LevelsRecord& levels) {
        std::array<LevelsTable, 4> tables = {LevelsTable(true), LevelsTable(true),
                                             LevelsTable(true), LevelsTable(true)};
        buildChannelTables(levels, tables);
        return {LevelCurve(tables[1]), LevelCurve(tables[2]), LevelCurve(tables[3])};
    }

    std::array<LevelCurve, 3> curves_;
    double ofOriginal_;
};

template <class Samples, class Multiplied, class Step>
void correctPixels(const SourceFrame& source, const TargetFrame& target, std::int32_t y,
                   const RealCorrection& correction, Step step) {
    const auto sources = channelRows(source, y);
    const auto targets = channelRows(target, y);
    const auto count = static_cast<std::ptrdiff_t>(source.rowPixels());
    for (std::ptrdiff_t x = 0; x < count; ++x) {
        const std::ptrdiff_t from = x * step.source;
        const std::ptrdiff_t to = x * step.target;
        const double alpha = sources[3] != nullptr ? Samples::load(sources[3] + from) : 1.0;
        const double scale = Multiplied::value ? alpha : 1.0;
        const bool divides = scale > 0.0 && std::isfinite(scale);
        for (std::size_t c = 0; c < 3; ++c) {
            const double color = Samples::load(sources[c] + from);
            Samples::store(targets[c] + to, divides ? correction(c, color / scale) * scale : color);
        }
        if (sources[3] != nullptr) {
            Samples::store(targets[3] + to, alpha);
        }
    }
}

template <class Samples>
void correctRealRow(const SourceFrame& source, const TargetFrame& target, std::int32_t y,
                    const RealCorrection& correction) {
    const AnyStep step = {source.pixelStep, target.pixelStep};
    withTypesOf<Samples::kBytes>(source.alpha, step, [&](auto isMultiplied, auto steps) {
        correctPixels<Samples, decltype(isMultiplied)>(source, target, y, correction, steps);
    });
}

void correctReals(const SourceFrame& source, const TargetFrame& target,
                  const Correction& correction, const Checkpoint& checkpoint) {
    const RealCorrection change(correction);
    const auto correctRow = source.samples == SampleType::Half ? correctRealRow<HalfSamples>
                                                               : correctRealRow<FloatSamples>;
    inBands(source, checkpoint, [&](std::int32_t first, std::int32_t rows) {
        for (std::int32_t y = first; y < first + rows; ++y) {
            correctRow(source, target, y, change);
        }
    });
}

} // namespace

void copyFrame(const SourceFrame& source, const TargetFrame& target) {
    const std::size_t channels = source.alpha == Alpha::None ? 3 : 4;
    const std::size_t bytes = bytesOf(source.samples);
    for (std::int32_t y = 0; y < source.rows(); ++y) {
        for (std::size_t c = 0; c < channels; ++c) {
            for (std::ptrdiff_t x = 0; x < source.width; ++x) {
                std::memmove(target.row(c, y) + x * target.pixelStep,
                             source.row(c, y) + x * source.pixelStep, bytes);
            }
        }
    }
}

void correct(const SourceFrame& source, const TargetFrame& target, const Correction& correction,
             const Checkpoint& checkpoint) {
    if (correction.blend >= kFullBlend) {
        copyFrame(source, target);
    } else if (isReal(source.samples)) {
        correctReals(source, target, correction, checkpoint);
    } else {
        correctWholeNumbers(source, target, correction, checkpoint);
    }
}

} // namespace tintwell::plugins
