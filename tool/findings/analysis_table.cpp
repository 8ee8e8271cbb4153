#include "tool/findings/analysis_writer.h"
#include "tool/findings/summary_text.h"

#include <cstdio>

namespace tintwell::tool {
namespace {

constexpr const char* kBold = "\033[1m";
constexpr const char* kDim = "\033[2m";
constexpr const char* kCutColor = "\033[1;33m";
constexpr const char* kPlain = "\033[0m";

std::string range(int low, int high) {
    char text[24];
    std::snprintf(text, sizeof text, "%3d-%-3d", low, high);
    return text;
}

/// Input and output levels and the gamma.
std::string levelsCells(const LevelsEntry& levels) {
    char gamma[16];
    std::snprintf(gamma, sizeof gamma, "%5.2f", levels.gamma / 100.0);
    return range(levels.inputBlack, levels.inputWhite) + " " +
           range(levels.outputBlack, levels.outputWhite) + " " + gamma;
}

/// What Scene Detect sees before the frame.
const char* markOf(const inspect::FrameFindings& findings) {
    return findings.startsScene ? "cut" : inspect::cutBefore(findings) ? "light" : "";
}

/// A line a frame, and with smoothing a second one.
class TableWriter : public AnalysisWriter {
public:
    TableWriter(std::ostream& stream, bool colored) : stream_(stream), colored_(colored) {}

    void begin(const AnalysisHeader& header) override {
        smoothed_ = header.smoothed;
        char line[160];
        std::snprintf(line, sizeof line, "%7s %12s %11s  %-29s  %-29s  %s\n", "", "", "", "Red",
                      "Green", "Blue");
        write(kBold, line);
        const char* cells = "clip    in      out     gamma";
        std::snprintf(line, sizeof line, "%7s %12s %11s  %s  %s  %s\n", "Frame", "Time", "Distance",
                      cells, cells, cells);
        write(kBold, line);
    }

    void add(const inspect::FrameFindings& findings) override {
        char distance[16] = "-";
        if (findings.fromPrevious) {
            std::snprintf(distance, sizeof distance, "%s %5.3f", markOf(findings),
                          inspect::greatestOf(*findings.fromPrevious));
        }
        char begin[64];
        std::snprintf(begin, sizeof begin, "%7lld %12s %11s",
                      static_cast<long long>(findings.frame), timeText(findings.seconds).c_str(),
                      distance);
        std::string line = begin;
        std::string second(25, ' ');
        second += "smoothed";
        for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
            const ClipPoints& clip = findings.clipPoints[c];
            line += "  " + range(clip.low, clip.high) + " " +
                    levelsCells(findings.found.entries[c + 1]);
            second += "          " + levelsCells(findings.smoothed.entries[c + 1]);
        }
        write(findings.startsScene ? kCutColor : "", line + "\n");
        if (smoothed_) {
            write(kDim, second + "\n");
        }
    }

    void end(const inspect::CorrectionSummary& summary,
             const std::vector<std::string>& /*warnings*/) override {
        stream_ << "\n";
        for (const auto& [label, text] : summaryLines(summary, smoothed_)) {
            write(kBold, label + ":" + std::string(12 - label.size(), ' '));
            stream_ << text << "\n";
        }
    }

private:
    void write(const char* color, const std::string& text) {
        if (colored_ && *color != '\0') {
            stream_ << color << text << kPlain;
        } else {
            stream_ << text;
        }
    }

    std::ostream& stream_;
    bool colored_;
    bool smoothed_ = false;
};

} // namespace

std::unique_ptr<AnalysisWriter> makeTableWriter(std::ostream& stream, bool colored) {
    return std::make_unique<TableWriter>(stream, colored);
}

} // namespace tintwell::tool
