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
    double largestError = 0.0;  ///< of a cube between its points, of 1
    ColorDecisions decisions{}; ///< used by the formats that hold decisions
};

enum class LutKind : std::uint8_t {
    Table,    ///< of each channel by itself
    Cube,     ///< of all colours, as many points along each side as the table has entries
    Decision, ///< no table
};

struct LutFormat {
    std::string_view name;
    std::string_view extension; ///< empty where the extension stands for another format
    LutKind kind;
    void (*write)(std::ostream& stream, const LutContent& content);
};

/// Every format that is known.
const std::array<LutFormat, 6>& lutFormats();

/// The format that a file's extension names, in capitals or not; null where it names none.
const LutFormat* lutFormatOf(const std::string& path);

/// A number as it is written to a decision.
std::string decisionText(double value);

} // namespace tintwell::tool
