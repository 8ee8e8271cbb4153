#pragma once

#include "inspect/correction_summary.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

namespace tintwell::tool {

/// The summary in words: a label and a sentence a line.
std::vector<std::pair<std::string, std::string>>
summaryLines(const inspect::CorrectionSummary& summary, bool smoothed);

/// Strength, shift and cast of a change (docs/json-output.md).
nlohmann::ordered_json changeJson(const inspect::ColorChange& change);

} // namespace tintwell::tool
