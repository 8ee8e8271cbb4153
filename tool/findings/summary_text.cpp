#include "tool/findings/summary_text.h"

#include "tool/findings/analysis_writer.h"
#include "tool/values/option_values.h"

#include <cstdarg>
#include <cstdio>

namespace tintwell::tool {
namespace {

/// How many cuts are named.
constexpr std::size_t kNamedCuts = 8;

__attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...) {
    char text[256];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

const char* strengthWord(double levels) {
    constexpr double kSlight = 3.0;
    constexpr double kStrong = 15.0;
    return levels < kSlight ? "slight" : levels < kStrong ? "moderate" : "strong";
}

std::string castText(const inspect::ColorChange& change) {
    return inspect::castSentence(change) +
           formatted(" (on average red %+.1f, green %+.1f, blue %+.1f)", change.shift[0],
                     change.shift[1], change.shift[2]);
}

std::string endText(const char* name, const inspect::LevelsEnd& end) {
    return formatted("%s %.0f, %.0f, %.0f to %.0f, %.0f, %.0f", name, end.input[0], end.input[1],
                     end.input[2], end.output[0], end.output[1], end.output[2]);
}

std::string flickerText(const inspect::CorrectionSummary& summary, bool smoothed) {
    if (summary.frames < 2) {
        return "one frame does not flicker";
    }
    std::string text = formatted("%.2f levels before, %.2f corrected frame by frame",
                                 summary.before.flicker, summary.found.flicker);
    if (smoothed) {
        text += formatted(", %.2f smoothed", summary.smoothed.flicker);
    }
    return text + " (mean change of the picture's mean colour from frame to frame)";
}

std::string levelsChangeText(const inspect::CorrectionSummary& summary, bool smoothed) {
    std::string text = formatted("%.2f levels", summary.found.levelsChange);
    if (smoothed) {
        text += formatted(" as found, %.2f smoothed", summary.smoothed.levelsChange);
    }
    return text + " (change that the levels make to the average pixel from frame to frame)";
}

std::string smoothingOptions(const inspect::SmoothingTrial& trial) {
    std::string seconds = "--temporal-smoothing " + numberText(trial.seconds);
    if (trial.seconds == 0.0) {
        return seconds;
    }
    return seconds + (trial.sceneDetect ? " --scene-detect" : " --no-scene-detect");
}

std::string cutsText(const inspect::CorrectionSummary& summary) {
    const std::vector<inspect::SceneCut>& cuts = summary.cuts;
    std::string text = cuts.empty() ? "none" : std::to_string(cuts.size()) + ":";
    for (std::size_t i = 0; i < cuts.size() && i < kNamedCuts; ++i) {
        text += (i == 0 ? " " : ", ") + formatted("%.3f", cuts[i].seconds) +
                formatted(" s (frame %lld, distance %.2f)", static_cast<long long>(cuts[i].frame),
                          cuts[i].distance);
    }
    text += cuts.size() > kNamedCuts ? ", ..." : "";
    if (summary.lightChanges > 0) {
        text += formatted("; Scene Detect also stops at %lld frames where only the light changes",
                          static_cast<long long>(summary.lightChanges));
    }
    return text;
}

} // namespace

AnalysisHeader headerOf(const ClipOptions& clip, const inspect::ClipWalk& walk) {
    const double window = clip.controls[host::Control::TemporalSmoothing].greatestValue();
    return {clip.input,
            walk.info().width,
            walk.info().height,
            static_cast<int>(walk.depth()),
            av_q2d(walk.info().frameRate),
            clip.controls,
            clip.highQuality && window > 0.0};
}

std::string timeText(double seconds) {
    return formatted("%.6f", seconds);
}

std::vector<std::pair<std::string, std::string>>
summaryLines(const inspect::CorrectionSummary& summary, bool smoothed) {
    std::vector<std::pair<std::string, std::string>> lines{
        {"Cast", castText(summary.change)},
        {"Strength", strengthWord(summary.change.strength) +
                         formatted(": the average pixel changes by %.1f of 255 levels, contrast "
                                   "by a factor of %.2f",
                                   summary.change.strength, summary.contrast)},
        {"Levels", endText("black", summary.black) + "; " + endText("white", summary.white) +
                       " (mean red, green, blue)"},
        {"Flicker", flickerText(summary, smoothed)},
        {"Levels move", levelsChangeText(summary, smoothed)},
        {"Cuts", cutsText(summary)},
    };
    if (summary.advice) {
        lines.emplace_back("Suggestion", smoothingOptions(summary.advice->smoothing) +
                                             formatted(", which would leave %.2f levels of flicker",
                                                       summary.advice->left.flicker));
    }
    return lines;
}

nlohmann::ordered_json changeJson(const inspect::ColorChange& change) {
    using Json = nlohmann::ordered_json;
    const inspect::ColorCast cast = inspect::removedCast(change);
    const auto& [red, green, blue] = change.shift;
    return {
        {"strength", change.strength},
        {"shift", {{"red", red}, {"green", green}, {"blue", blue}}},
        {"cast", {{"size", cast.size}, {"name", cast.name.empty() ? Json() : Json(cast.name)}}},
    };
}

} // namespace tintwell::tool
