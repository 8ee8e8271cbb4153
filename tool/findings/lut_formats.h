#pragma once

#include "inspect/color_decision.h"
#include "inspect/correction_table.h"

#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace tintwell::tool {

/// Red, green and blue.
using ColorDecisions = std::array<inspect::ColorDecision, 3>;

/// One frame's correction, to be written for other programs.
struct LutContent {
    std::int64_t frame = 0;
    double seconds = 0.0;
    int depth = 8; ///< bits per channel that the table stands for
    std::string controls;
    inspect::CorrectionTable table;
    ColorDecisions decisions{}; ///< used by the formats that hold decisions
};

struct LutFormat {
    std::string_view extension;
    bool holdsDecisions; ///< no table
    void (*write)(std::ostream& stream, const LutContent& content);
};

/// Every format that is known.
const std::array<LutFormat, 5>& lutFormats();

/// The format that a file's extension names, in capitals or not; null where it names none.
const LutFormat* lutFormatOf(const std::string& path);

/// A number as it is written to a decision.
std::string decisionText(double value);

} // namespace tintwell::tool
