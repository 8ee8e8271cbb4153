#pragma once

#include "inspect/close_up.h"
#include "inspect/correction_summary.h"
#include "inspect/film_strip.h"
#include "tool/findings/analysis_writer.h"
#include "tool/findings/level_series.h"

#include <optional>
#include <string>
#include <vector>

namespace tintwell::tool {

/// Everything that a report tells.
struct Report {
    AnalysisHeader header;
    inspect::CorrectionSummary summary;
    LevelSeries levels; ///< at least one frame
    std::vector<inspect::FramePair> strip;
    inspect::FrameCloseUp closeUp;
    std::vector<std::string> warnings;
    std::vector<std::string> command; ///< that renders the clip, fit for a shell
};

/// One HTML page that needs nothing beside it.
std::string reportPage(const Report& report);

} // namespace tintwell::tool
