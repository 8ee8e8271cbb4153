#pragma once

#include "module/counting/channel_histogram.h"
#include "tool/findings/level_series.h"

#include <nlohmann/json.hpp>

#include <vector>

namespace tintwell::tool {

// What the report's page draws, as the values its template (tool/report/page.html) asks for.

struct LevelCharts {
    nlohmann::ordered_json charts = nlohmann::ordered_json::array();
    /// Fields that stay the same all along, for which a sentence says more than a curve.
    nlohmann::ordered_json constants = nlohmann::ordered_json::array();
};

/// Curves of the levels as found, where they are smoothed, and as rendered; `cuts` in seconds.
LevelCharts levelCharts(const LevelSeries& series, bool smoothed, const std::vector<double>& cuts);

/// The same values for the script: per field and channel a list of numbers, or of the lowest and
/// highest number where a place stands for frames that differ.
nlohmann::ordered_json levelsData(const LevelSeries& series);

/// One histogram per channel, both on one scale.
nlohmann::ordered_json histogramCharts(const ChannelHistogram& before,
                                       const ChannelHistogram& after, const LevelsRecord& levels);

/// "12.48 s", "1:02:03.40".
std::string clockText(double seconds);

} // namespace tintwell::tool
