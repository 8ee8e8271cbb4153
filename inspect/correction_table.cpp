#include "inspect/correction_table.h"

#include "inspect/correction_finder.h"
#include "module/apply/levels_tables.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace tintwell::inspect {
namespace {

/// Corrects an opaque ramp of grey, whose samples are `step` apart.
template <class Sample>
CorrectionTable correctRamp(const FrameFindings& findings, host::SampleDepth depth,
                            std::size_t size, std::size_t step) {
    const auto top = static_cast<Sample>((size - 1) * step);
    host::FrameBuffer before(static_cast<std::int32_t>(size), 1, depth);
    host::FrameBuffer after(before.width(), 1, depth);
    for (std::size_t i = 0; i < size; ++i) {
        const auto sample = static_cast<Sample>(i * step);
        const std::array<Sample, 4> pixel{top, sample, sample, sample};
        std::memcpy(before.row(0) + i * sizeof pixel, pixel.data(), sizeof pixel);
    }
    correctPixels(findings, before, after);
    CorrectionTable table;
    for (std::size_t i = 0; i < size; ++i) {
        std::array<Sample, 4> pixel{};
        std::memcpy(pixel.data(), after.row(0) + i * sizeof pixel, sizeof pixel);
        for (std::size_t c = 0; c < table.size(); ++c) {
            table[c].push_back(static_cast<double>(pixel[c + 1]) / top);
        }
    }
    return table;
}

} // namespace

CorrectionTable correctionTable(const FrameFindings& findings, host::SampleDepth depth) {
    constexpr std::size_t kDeepStep = 8;
    return depth == host::SampleDepth::Bits8
               ? correctRamp<std::uint8_t>(findings, depth, 256, 1)
               : correctRamp<std::uint16_t>(findings, depth, LevelsTable::kDeepSize, kDeepStep);
}

CorrectionTable resampled(const CorrectionTable& table, std::size_t size) {
    CorrectionTable result;
    for (std::size_t c = 0; c < table.size(); ++c) {
        const std::vector<double>& channel = table[c];
        const std::size_t last = channel.size() - 1;
        for (std::size_t i = 0; i < size; ++i) {
            // Whole numbers as far as possible: entries that both tables have are the same.
            const std::size_t scaled = i * last;
            const std::size_t entry = std::min(scaled / (size - 1), last - 1);
            const double share =
                static_cast<double>(scaled - entry * (size - 1)) / static_cast<double>(size - 1);
            result[c].push_back(std::lerp(channel[entry], channel[entry + 1], share));
        }
    }
    return result;
}

double largestDifference(const CorrectionTable& table, const CorrectionTable& points) {
    const CorrectionTable between = resampled(points, table[0].size());
    double largest = 0.0;
    for (std::size_t c = 0; c < table.size(); ++c) {
        for (std::size_t i = 0; i < table[c].size(); ++i) {
            largest = std::max(largest, std::abs(between[c][i] - table[c][i]));
        }
    }
    return largest;
}

} // namespace tintwell::inspect
