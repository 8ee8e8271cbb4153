#include "tool/commands/render_account.h"

#include "inspect/color_change.h"
#include "tool/findings/summary_text.h"
#include "tool/options/color_options.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/printable.h"
#include "tool/values/control_values.h"
#include "tool/values/option_values.h"

#include <cstdio>
#include <iostream>
#include <vector>

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;

Json streamsJson(const std::vector<media::StreamFate>& streams) {
    Json list = Json::array();
    for (const media::StreamFate& stream : streams) {
        list.push_back({{"index", stream.index},
                        {"kind", stream.kind},
                        {"codec", stream.codec},
                        {"fate", stream.fate}});
        if (!stream.target.empty()) {
            list.back()["converted_to"] = stream.target;
        }
        if (!stream.reason.empty()) {
            list.back()["reason"] = stream.reason;
        }
    }
    return list;
}

Json declaredJson(const media::ColorTags& declared) {
    Json colors = Json::object();
    for (const auto& [what, name] : declaredColors(declared)) {
        colors[what] = name;
    }
    return colors;
}

Json planJson(const RenderOptions& options, const RenderPlan& plan) {
    return {
        {"version", 1},
        {"input", options.input},
        {"output", plan.output},
        {"frames", plan.frames ? Json(*plan.frames) : Json()},
        {"seconds", nullptr},
        {"width", plan.width},
        {"height", plan.height},
        {"depth", plan.worldDepth},
        {"input_pixel_format", plan.inputPixelFormat},
        {"output_pixel_format", plan.outputPixelFormat},
        {"video_codec", plan.videoCodec},
        {"video_quality", plan.videoQuality},
        {"color_matrix", plan.colorMatrix},
        {"color_range", plan.colorRange},
        {"streams", streamsJson(plan.streams)},
        {"notes", plan.notes},
        {"color_declared", declaredJson(options.declared)},
        {"warnings", plan.warnings},
    };
}

/// "libx264, yuv420p, crf 17".
std::string encodingText(const RenderPlan& plan) {
    return plan.videoCodec + ", " + plan.outputPixelFormat +
           (plan.videoQuality.empty() ? "" : ", " + plan.videoQuality);
}

} // namespace

void printJson(const Json& document) {
    // File names are bytes; those that are no UTF-8 must not make it fail.
    using ErrorHandler = Json::error_handler_t;
    std::cout << printableJson(document.dump(2, ' ', false, ErrorHandler::replace)) << "\n";
}

Json summaryJson(const RenderOptions& options, const RenderSummary& summary) {
    Json document = planJson(options, summary);
    document["frames"] = summary.framesDone;
    document["frames_missing"] = summary.framesMissing;
    document["seconds"] = summary.seconds;
    document["video_bit_rate"] = summary.videoBitRate;
    document["correction"] = changeJson(summary.change);
    return document;
}

Json dryRunJson(const RenderOptions& options, const RenderPlan& plan) {
    Json document = planJson(options, plan);
    document.erase("seconds");
    document["dry_run"] = true;
    document["controls"] = controlsJson(options.controls);
    document["neighbours"] = plan.neighbours;
    document["memory"] = plan.memory;
    return document;
}

std::string framesText(const RenderSummary& summary) {
    char numbers[128];
    const double rate =
        summary.seconds > 0.0 ? static_cast<double>(summary.framesDone) / summary.seconds : 0.0;
    std::snprintf(numbers, sizeof numbers,
                  "%lld frames of %dx%d at %d bits per channel in %.1f s (%.1f per second)",
                  static_cast<long long>(summary.framesDone), static_cast<int>(summary.width),
                  static_cast<int>(summary.height), summary.worldDepth, summary.seconds, rate);
    return numbers;
}

void printSummaryLines(const RenderOptions& options, const RenderSummary& summary) {
    printNote(summary.output + ": " + framesText(summary));
    if (const std::string colors = declaredText(options.declared); !colors.empty()) {
        printNote("the input's colour was taken as declared: " + colors);
    }
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, "%.2f Mbit/s", summary.videoBitRate / 1e6);
    printNote("encoded as " + encodingText(summary) + ", " + numbers);
    std::snprintf(numbers, sizeof numbers, "changed the average pixel by %.1f of 255 levels",
                  summary.change.strength);
    printNote(std::string("the correction ") + numbers + " and " +
              inspect::castSentence(summary.change));
}

void printPlan(const RenderOptions& options, const RenderPlan& plan) {
    char size[64];
    std::snprintf(size, sizeof size, "%dx%d, %.6g frames per second", static_cast<int>(plan.width),
                  static_cast<int>(plan.height), plan.frameRate);
    const std::string range = options.frames ? frameRangeText(*options.frames) : "all";
    const std::string colors = declaredText(options.declared);
    const std::string declared = colors.empty() ? "" : " (declared: " + colors + ")";
    const std::string count = plan.frames ? std::to_string(*plan.frames) : "number not known";
    std::cout << "Input:       " << printable(options.input) << " (" << plan.inputFormat << ", "
              << plan.inputCodec << ", " << plan.inputPixelFormat << ", " << plan.colorMatrix << " "
              << plan.colorRange << " range" << declared << ", " << size << ")\n"
              << "Output:      " << printable(plan.output) << " (" << plan.outputFormat << ", "
              << encodingText(plan) << ")\n"
              << "Frames:      " << range << " (" << count << ")\n"
              << "Controls:    " << controlsText(options.controls) << "\n"
              << "Neighbours:  ";
    if (plan.neighbours == 0) {
        std::cout << "none\n";
    } else {
        std::cout << "up to " << plan.neighbours << " to each side, from " << plan.neighbourSource
                  << "\n";
    }
    std::cout << "Depth:       " << plan.worldDepth << " bits per channel\n"
              << "Memory:      up to about " << (plan.memory >> 20) << " MiB\n"
              << "Module:      " << printable(options.modulePath) << "\n"
              << "Nothing was written.\n";
}

std::string incompleteText(const RenderSummary& summary) {
    if (summary.framesMissing == 0) {
        return summary.inputFailed
                   ? summary.output + ": is written, but only as far as the input can be read"
                   : std::string();
    }
    const std::string count =
        std::to_string(summary.framesMissing) + (summary.framesMissing == 1 ? " frame" : " frames");
    return summary.output + ": is written, but lacks " + count + " of the input; " +
           (summary.leavesNumbersOut ? "no files were written for the numbers"
                                     : "those before stand in for what is missing");
}

} // namespace tintwell::tool
