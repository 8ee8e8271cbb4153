#include "tool/commands/lut_command.h"

#include "inspect/clip_walk.h"
#include "tool/findings/analysis_writer.h"
#include "tool/findings/lut_formats.h"
#include "tool/options/clip_options.h"
#include "tool/options/effect_options.h"
#include "tool/options/output_options.h"
#include "tool/render/frame_search.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/text_output.h"
#include "tool/terminal/user_error.h"
#include "tool/values/control_values.h"
#include "tool/values/option_values.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>

namespace tintwell::tool {
namespace {

/// What the .cube format, and FFmpeg, allow.
constexpr std::size_t kLeastSize = 2;
constexpr std::size_t kGreatestSize = 65536;

struct LutRequest {
    ClipOptions clip;
    EffectOptions effect;
    std::optional<double> seconds;   ///< empty: the first frame
    OutputOptions output;            ///< none without a path
    std::optional<std::size_t> size; ///< empty: as many entries as the correction has
    bool decision = false;
};

const LutFormat* checkedFormat(const LutRequest& request) {
    if (request.output.path.empty()) {
        if (!request.decision || request.size) {
            throw UserError(request.size
                                ? "--size is for a table; name a file for it (-o)"
                                : "nothing to do; name a file to write (-o), or ask for --cdl",
                            ExitCode::Usage);
        }
        return nullptr;
    }
    const LutFormat* const format = lutFormatOf(request.output.path);
    if (format == nullptr) {
        std::string known;
        for (const LutFormat& each : lutFormats()) {
            known += (known.empty() ? "" : ", ") + std::string(each.extension);
        }
        throw UserError(request.output.path +
                            ": its name does not tell what to write; the extensions known are " +
                            known,
                        ExitCode::Usage);
    }
    if (request.size && format->holdsDecisions) {
        throw UserError(request.output.path + ": a colour decision has no --size; leave it out",
                        ExitCode::Usage);
    }
    return format;
}

LutContent contentFor(const LutRequest& request, const std::atomic<bool>& stop) {
    FrameSearch search(walkOptions(request.clip), progressStyle(request.output), stop);
    const std::int64_t index = search.shownAt(request.seconds);
    const inspect::InspectedFrame frame = search.inspect(index);
    printWarnings(frame.warnings);
    const host::SampleDepth depth = frame.before.depth();
    return {index,
            frame.findings.seconds,
            static_cast<int>(depth),
            controlsText(request.clip.controls),
            inspect::correctionTable(frame.findings, depth),
            {}};
}

/// A line for each channel, with the error of the numbers as they are written.
std::string decisionsText(const LutContent& content) {
    constexpr double kLevels = 255.0;
    std::string text = "           slope    offset     power  largest error (levels of 255)\n";
    for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
        const inspect::ColorDecision& decision = content.decisions[c];
        char line[128];
        std::snprintf(line, sizeof line, "%-6s %9s %9s %9s  %.2f\n", kChannelNames[c].data(),
                      decisionText(decision.slope).c_str(), decisionText(decision.offset).c_str(),
                      decisionText(decision.power).c_str(),
                      inspect::largestError(decision, content.table[c]) * kLevels);
        text += line;
    }
    return text;
}

void runLut(LutRequest& request, const std::atomic<bool>& stop) {
    const LutFormat* const format = checkedFormat(request);
    request.clip.controls = resolveControls(request.effect, request.output.path);
    std::optional<TextOutput> output;
    if (format != nullptr) {
        output.emplace(request.output.path, request.clip.files, request.output.overwrite);
    }
    LutContent content = contentFor(request, stop);
    std::string decisions;
    if (request.decision || format->holdsDecisions) {
        for (std::size_t c = 0; c < content.decisions.size(); ++c) {
            content.decisions[c] = inspect::fitDecision(content.table[c]);
        }
        decisions = decisionsText(content);
    }
    if (format != nullptr) {
        content.table =
            inspect::resampled(content.table, request.size.value_or(content.table[0].size()));
        format->write(output->stream(), content);
        output->commit();
    }
    if (request.decision || !request.output.quiet) {
        std::cout << decisions;
    }
    tellWritten(request.output);
}

void addLutOptions(CLI::App& app, LutRequest& request) {
    addTimeOption(app, request.seconds, "the first frame");
    addOutputOptions(
        app, request.output,
        "Write to this file, by its extension a table (.cube, .spi1d) or an ASC colour "
        "decision (.cdl, .ccc, .cc)");
    addValueOption(app, "--size", "NUMBER",
                   "Entries of a table, 2 to 65536; if not given, as many as the correction itself "
                   "has: 256 at 8 bits and 4097 at 16",
                   [&request](const std::string& text) {
                       request.size = parseCount(text, kLeastSize, kGreatestSize);
                   })
        ->group(kOutputGroup);
    app.add_flag("--cdl", request.decision,
                 "Print slope, offset and power of each channel, fitted to the table by least "
                 "squares, and by how much the fit is wrong where it is wrong most")
        ->group(kOutputGroup);
}

} // namespace

Command addLutCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand(
        "lut", "Write a frame's correction as a lookup table for other programs");
    const auto request = std::make_shared<LutRequest>();
    addInputArgument(app, request->clip);
    addLutOptions(app, *request);
    addControlOptions(app, request->effect);
    addReadingOptions(app, request->clip);
    app.footer(
        "The table holds all that the correction does to an opaque pixel, the blend with the\n"
        "original included, as rendered at the depth the clip is worked at; --depth 16 makes\n"
        "a smoother table of an 8-bit clip. It takes R,G,B as the clip's matrix and range\n"
        "give them, from 0 to 1; docs/lookup-tables.md tells how other programs do that.\n\n"
        "Example:\n"
        "  tintwell lut holiday.mp4 --at 1:02.5 -o holiday.cube\n"
        "  ffmpeg -i holiday.mp4 -vf format=gbrp,lut1d=file=holiday.cube look.mp4");
    return {&app, [request](const std::atomic<bool>& stop) { runLut(*request, stop); }};
}

} // namespace tintwell::tool
