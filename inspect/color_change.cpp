#include "inspect/color_change.h"

#include "inspect/level_curves.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <numbers>

namespace tintwell::inspect {
namespace {

/// A cast of fewer levels is not seen.
constexpr double kSeenCast = 2.0;
constexpr std::int32_t kGridSide = 48;

/// Names of the hues 0, 30, 60 ... 330 degrees.
constexpr std::array<const char*, 12> kHues = {
    "red (warm)",  "orange (warm)", "yellow (warm)", "yellow-green", "green",   "blue-green",
    "cyan (cold)", "blue (cold)",   "blue (cold)",   "violet",       "magenta", "pink"};

const char* hueName(double red, double green, double blue) {
    const double degrees =
        std::atan2(std::numbers::sqrt3 * (green - blue), 2.0 * red - green - blue) * 180.0 /
        std::numbers::pi;
    const auto sector = static_cast<int>(std::lround(degrees / 30.0)) + 12;
    return kHues[static_cast<std::size_t>(sector) % kHues.size()];
}

/// A sample on the scale of levels; channel 0 is alpha.
double levelAt(const host::FrameBuffer& frame, std::int32_t x, std::int32_t y, int channel) {
    const auto position = static_cast<std::size_t>(x) * 4 + static_cast<std::size_t>(channel);
    if (frame.depth() == host::SampleDepth::Bits8) {
        return std::to_integer<int>(frame.row(y)[position]);
    }
    std::uint16_t sample = 0;
    std::memcpy(&sample, frame.row(y) + position * sizeof sample, sizeof sample);
    return sample * 255.0 / 32768.0;
}

} // namespace

ColorCast removedCast(const ColorChange& change) {
    const auto& [red, green, blue] = change.shift;
    const auto [least, greatest] = std::minmax({red, green, blue});
    ColorCast cast{greatest - least, ""};
    if (cast.size >= kSeenCast) {
        cast.name = hueName(-red, -green, -blue);
    }
    return cast;
}

std::string castSentence(const ColorChange& change) {
    const ColorCast cast = removedCast(change);
    if (cast.name.empty()) {
        return "found no colour cast to speak of";
    }
    const std::string article = std::string("aeiou").find(cast.name[0]) != std::string::npos //
                                    ? "an "
                                    : "a ";
    char size[48];
    std::snprintf(size, sizeof size, " cast of %.1f levels", cast.size);
    return "takes out " + article + cast.name + size;
}

void ChangeMeter::add(const FrameFindings& findings) {
    const LevelCurves curves = curvesOf(findings.smoothed);
    std::array<double, 3> shift{};
    double strength = 0.0;
    for (std::size_t c = 0; c < shift.size(); ++c) {
        const LevelCounts& counts = findings.histogram.channels[c + 1];
        double pixels = 0.0;
        double size = 0.0;
        for (std::size_t level = 0; level < counts.size(); ++level) {
            const double change = curves[c][level] - static_cast<double>(level);
            pixels += counts[level];
            shift[c] += change * counts[level];
            size += std::abs(change) * counts[level];
        }
        shift[c] /= std::max(pixels, 1.0);
        strength += size / std::max(pixels, 1.0) / 3.0;
    }
    addFrame(shift, strength);
}

void ChangeMeter::addSampled(const host::FrameBuffer& before, const host::FrameBuffer& after) {
    const std::int32_t columns = std::min(kGridSide, before.width());
    const std::int32_t rows = std::min(kGridSide, before.height());
    const double samples = static_cast<double>(columns) * rows;
    std::array<double, 3> shift{};
    double strength = 0.0;
    for (std::int32_t i = 0; i < columns * rows; ++i) {
        const std::int32_t x = (2 * (i % columns) + 1) * before.width() / (2 * columns);
        const std::int32_t y = (2 * (i / columns) + 1) * before.height() / (2 * rows);
        for (std::size_t c = 0; c < shift.size(); ++c) {
            const int channel = static_cast<int>(c) + 1;
            const double change = levelAt(after, x, y, channel) - levelAt(before, x, y, channel);
            shift[c] += change / samples;
            strength += std::abs(change) / samples / 3.0;
        }
    }
    addFrame(shift, strength);
}

void ChangeMeter::addFrame(const std::array<double, 3>& shift, double strength) {
    for (std::size_t c = 0; c < shift.size(); ++c) {
        sums_.shift[c] += shift[c];
    }
    sums_.strength += strength;
    ++frames_;
}

ColorChange ChangeMeter::change() const {
    const auto frames = static_cast<double>(std::max<std::int64_t>(frames_, 1));
    const auto& [red, green, blue] = sums_.shift;
    return {{red / frames, green / frames, blue / frames}, sums_.strength / frames};
}

} // namespace tintwell::inspect
