#pragma once

#include "host/control_track.h"
#include "inspect/clip_walk.h"
#include "inspect/correction_summary.h"
#include "inspect/frame_findings.h"
#include "tool/values/render_options.h"

#include <array>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tintwell::tool {

/// What an analysis says about the whole clip before its frames.
struct AnalysisHeader {
    std::string input;
    int width = 0;
    int height = 0;
    int depth = 8; ///< bits per channel that were looked at
    double frameRate = 0.0;
    host::ControlTracks controls;
    bool smoothed = false; ///< anywhere in the clip
};

AnalysisHeader headerOf(const ClipOptions& clip, const inspect::ClipWalk& walk);

/// Writes the frames of an analysis as they come.
class AnalysisWriter {
public:
    virtual ~AnalysisWriter() = default;
    virtual void begin(const AnalysisHeader& header) = 0;
    virtual void add(const inspect::FrameFindings& findings) = 0;
    virtual void end(const inspect::CorrectionSummary& summary,
                     const std::vector<std::string>& warnings) = 0;
};

// The stream outlives the writer.

/// Columns for people, with the summary below.
std::unique_ptr<AnalysisWriter> makeTableWriter(std::ostream& stream, bool colored);
/// Columns for spreadsheets, a summary left out.
std::unique_ptr<AnalysisWriter> makeCsvWriter(std::ostream& stream);
/// docs/json-output.md.
std::unique_ptr<AnalysisWriter> makeJsonWriter(std::ostream& stream);

/// A time as ffprobe writes it.
std::string timeText(double seconds);

inline constexpr std::array<std::string_view, 3> kChannelNames{"red", "green", "blue"};

/// The numbers of one channel's levels, in the order in which they are written.
struct LevelsField {
    std::string_view name;
    std::uint16_t LevelsEntry::*member;
    double scale = 1.0; ///< what the stored number is divided by
};

inline constexpr std::array<LevelsField, 5> kLevelsFields{{
    {"input_black", &LevelsEntry::inputBlack},
    {"input_white", &LevelsEntry::inputWhite},
    {"output_black", &LevelsEntry::outputBlack},
    {"output_white", &LevelsEntry::outputWhite},
    {"gamma", &LevelsEntry::gamma, 100.0},
}};

} // namespace tintwell::tool
