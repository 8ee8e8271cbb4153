#include "tool/findings/analysis_writer.h"
#include "tool/findings/summary_text.h"
#include "tool/terminal/printable.h"
#include "tool/values/control_values.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;

/// Times to the microsecond, as they are written elsewhere.
double roundedTime(double seconds) {
    return std::round(seconds * 1e6) / 1e6;
}

template <typename Value>
Json perChannel(Value value) {
    Json channels = Json::object();
    for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
        channels[std::string(kChannelNames[c])] = value(c);
    }
    return channels;
}

Json levelsJson(const LevelsRecord& levels) {
    return perChannel([&](std::size_t c) {
        Json entry = Json::object();
        for (const LevelsField& field : kLevelsFields) {
            const std::uint16_t number = levels.entries[c + 1].*field.member;
            entry[std::string(field.name)] =
                field.scale == 1.0 ? Json(number) : Json(number / field.scale);
        }
        return entry;
    });
}

Json frameJson(const inspect::FrameFindings& findings) {
    Json frame{{"frame", findings.frame}, {"time", roundedTime(findings.seconds)}};
    frame["cut"] = inspect::cutBefore(findings);
    frame["new_scene"] = findings.startsScene;
    frame["distance"] = nullptr;
    if (const auto& distance = findings.fromPrevious) {
        frame["distance"] = {
            {"red", distance->red}, {"green", distance->green}, {"blue", distance->blue}};
    }
    frame["clip_points"] = perChannel([&](std::size_t c) {
        return Json::array({findings.clipPoints[c].low, findings.clipPoints[c].high});
    });
    frame["found"] = levelsJson(findings.found);
    frame["smoothed"] = levelsJson(findings.smoothed);
    return frame;
}

Json endJson(const inspect::LevelsEnd& end) {
    return {{"input", perChannel([&](std::size_t c) { return end.input[c]; })},
            {"output", perChannel([&](std::size_t c) { return end.output[c]; })}};
}

Json summaryJson(const inspect::CorrectionSummary& summary) {
    Json cuts = Json::array();
    for (const inspect::SceneCut& cut : summary.cuts) {
        cuts.push_back(
            {{"frame", cut.frame}, {"time", roundedTime(cut.seconds)}, {"distance", cut.distance}});
    }
    Json document{
        {"frames", summary.frames},
        {"correction", changeJson(summary.change)},
        {"contrast", summary.contrast},
        {"black", endJson(summary.black)},
        {"white", endJson(summary.white)},
        {"flicker",
         {{"before", summary.before.flicker},
          {"found", summary.found.flicker},
          {"smoothed", summary.smoothed.flicker}}},
        {"levels_change",
         {{"found", summary.found.levelsChange}, {"smoothed", summary.smoothed.levelsChange}}},
        {"cuts", cuts},
        {"light_changes", summary.lightChanges},
        {"suggestion", nullptr},
    };
    if (summary.advice) {
        document["suggestion"] = {{"temporal_smoothing", summary.advice->smoothing.seconds},
                                  {"scene_detect", summary.advice->smoothing.sceneDetect},
                                  {"flicker", summary.advice->left.flicker}};
    }
    return document;
}

/// One object with a frame a line, so that a long clip need not be held in memory.
class JsonWriter : public AnalysisWriter {
public:
    explicit JsonWriter(std::ostream& stream) : stream_(stream) {}

    void begin(const AnalysisHeader& header) override {
        const Json head{{"version", 1},
                        {"input", header.input},
                        {"width", header.width},
                        {"height", header.height},
                        {"depth", header.depth},
                        {"frame_rate", header.frameRate},
                        {"controls", controlsJson(header.controls)}};
        std::string text = textOf(head);
        text.pop_back(); // the closing brace
        stream_ << text << ",\n\"frames\":[";
    }

    void add(const inspect::FrameFindings& findings) override {
        stream_ << (first_ ? "\n" : ",\n") << textOf(frameJson(findings));
        first_ = false;
    }

    void end(const inspect::CorrectionSummary& summary,
             const std::vector<std::string>& warnings) override {
        stream_ << "\n],\n\"summary\":" << textOf(summaryJson(summary))
                << ",\n\"warnings\":" << textOf(Json(warnings)) << "}\n";
    }

private:
    /// File names are bytes; those that are no UTF-8 must not make the output fail.
    static std::string textOf(const Json& value) {
        return printableJson(value.dump(-1, ' ', false, Json::error_handler_t::replace));
    }

    std::ostream& stream_;
    bool first_ = true;
};

} // namespace

std::unique_ptr<AnalysisWriter> makeJsonWriter(std::ostream& stream) {
    return std::make_unique<JsonWriter>(stream);
}

} // namespace tintwell::tool
