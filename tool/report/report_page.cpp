#include "tool/report/report_page.h"

#include "tool/findings/summary_text.h"
#include "tool/report/page_template.h"
#include "tool/report/report_charts.h"
#include "tool/report/report_files.h"
#include "tool/terminal/printable.h"
#include "tool/values/control_values.h"
#include "tool/values/option_values.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <stdexcept>

extern "C" {
#include <libavutil/base64.h>
}

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string dataUri(const media::Jpeg& jpeg) {
    const auto bytes = static_cast<int>(jpeg.size());
    std::string text(AV_BASE64_SIZE(jpeg.size()), '\0');
    if (av_base64_encode(text.data(), static_cast<int>(text.size()), jpeg.data(), bytes) ==
        nullptr) {
        throw std::runtime_error("a picture is too large for the report");
    }
    text.pop_back(); // the terminating zero
    return "data:image/jpeg;base64," + text;
}

std::string nameOf(const std::string& input) {
    return input == media::kStandardStream ? "standard input"
                                           : std::filesystem::path(input).filename().string();
}

std::string clipText(const Report& report) {
    const AnalysisHeader& header = report.header;
    return std::to_string(header.width) + " × " + std::to_string(header.height) + " pixels, " +
           numberText(std::round(header.frameRate * 1000.0) / 1000.0) + " frames per second, " +
           std::to_string(report.levels.frameCount()) +
           (report.levels.frameCount() == 1 ? " frame" : " frames") + ", corrected at " +
           std::to_string(header.depth) + " bits per channel";
}

Json pairJson(const inspect::FramePair& pair) {
    return {
        {"frame", pair.frame},   {"time", clockText(pair.seconds)}, {"width", pair.width},
        {"height", pair.height}, {"before", dataUri(pair.before)},  {"after", dataUri(pair.after)}};
}

/// What happens between a picture of the strip and the one before it.
std::string cutText(const std::vector<inspect::SceneCut>& cuts, std::int64_t previous,
                    std::int64_t frame) {
    std::size_t count = 0;
    const inspect::SceneCut* last = nullptr;
    for (const inspect::SceneCut& cut : cuts) {
        if (cut.frame > previous && cut.frame <= frame) {
            ++count;
            last = &cut;
        }
    }
    if (count == 0) {
        return {};
    }
    return count == 1 ? "cut at " + clockText(last->seconds)
                      : std::to_string(count) + " cuts, the last at " + clockText(last->seconds);
}

Json stripJson(const Report& report) {
    Json strip = Json::array();
    std::int64_t previous = report.levels.frameAt(0);
    for (const inspect::FramePair& pair : report.strip) {
        Json entry = pairJson(pair);
        const std::string cut = cutText(report.summary.cuts, previous, pair.frame);
        entry["cut"] = cut.empty() ? Json() : Json(cut);
        strip.push_back(std::move(entry));
        previous = pair.frame;
    }
    return strip;
}

Json linesJson(const std::vector<std::pair<std::string, std::string>>& lines,
               const std::string& first, const std::string& second) {
    Json list = Json::array();
    for (const auto& [name, text] : lines) {
        list.push_back({{first, name}, {second, text}});
    }
    return list;
}

Json textsJson(const std::vector<std::string>& texts) {
    Json list = Json::array();
    for (const std::string& text : texts) {
        list.push_back({{"text", text}});
    }
    return list;
}

Json scriptData(const LevelSeries& series) {
    Json data{{"frames", Json::array()}, {"times", Json::array()}, {"levels", levelsData(series)}};
    for (std::size_t i = 0; i < series.placeCount(); ++i) {
        data["frames"].push_back(series.frameAt(i));
        data["times"].push_back(std::round(series.secondsAt(i) * 1e6) / 1e6);
    }
    return data;
}

Json closeUpJson(const inspect::FrameCloseUp& closeUp) {
    Json json = pairJson(closeUp.pair);
    json["histograms"] = histogramCharts(closeUp.before, closeUp.after, closeUp.findings.smoothed);
    return json;
}

/// How many frames a place of the curves stands for, where that is more than one.
Json reducedText(const LevelSeries& series) {
    const std::size_t most = (series.frameCount() - 1) / series.placeCount() + 1;
    return most > 1 ? Json("up to " + std::to_string(most) + " frames in a row") : Json();
}

} // namespace

std::string reportPage(const Report& report) {
    std::vector<double> cuts;
    for (const inspect::SceneCut& cut : report.summary.cuts) {
        cuts.push_back(cut.seconds);
    }
    const bool smoothed = report.header.smoothed;
    const LevelCharts charts = levelCharts(report.levels, smoothed, cuts);
    return fillTemplate(
        kReportPage,
        {{"name", nameOf(report.header.input)},
         {"version", TINTWELL_VERSION},
         {"style", kReportStyle},
         {"script", kReportScript},
         {"clip", clipText(report)},
         {"summary", linesJson(summaryLines(report.summary, smoothed), "label", "text")},
         {"hasWarnings", !report.warnings.empty()},
         {"warnings", textsJson(report.warnings)},
         {"strip", stripJson(report)},
         {"smoothed", smoothed},
         {"hasCuts", !cuts.empty()},
         {"charts", charts.charts},
         {"constants", charts.constants},
         {"reduced", reducedText(report.levels)},
         {"closeUp", closeUpJson(report.closeUp)},
         {"controls", linesJson(controlLines(report.header.controls), "name", "value")},
         {"command", textsJson(report.command)},
         {"inexact",
          std::ranges::any_of(report.command,
                              [](const std::string& word) { return printable(word) != word; })},
         {"data", scriptJson(scriptData(report.levels))}});
}

} // namespace tintwell::tool
