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
#include <string>
#include <utility>
#include <vector>

namespace tintwell::tool {
namespace {

/// What the .cube format, and FFmpeg, allow.
constexpr std::size_t kLeastSize = 2;
constexpr std::size_t kGreatestSize = 65536;
/// Points along a side: what editors read, and what they read at most.
constexpr std::size_t kUsualSide = 33;
constexpr std::size_t kGreatestSide = 129;

struct LutRequest {
    ClipOptions clip;
    EffectOptions effect;
    std::optional<double> seconds;     ///< empty: the first frame
    OutputOptions output;              ///< none without a path
    std::optional<std::size_t> size;   ///< empty: as many entries as the correction has
    const LutFormat* format = nullptr; ///< null: by the name of the file
    bool decision = false;
};

const LutFormat* checkedFormat(const LutRequest& request) {
    if (request.output.path.empty()) {
        if (!request.decision || request.size || request.format != nullptr) {
            throw UserError(request.size     ? "--size is for a table; name a file for it (-o)"
                            : request.format ? "--format is for a file; name it (-o)"
                                             : "nothing to do; name a file to write (-o), or ask "
                                               "for --cdl",
                            ExitCode::Usage);
        }
        return nullptr;
    }
    const LutFormat* const format =
        request.format != nullptr ? request.format : lutFormatOf(request.output.path);
    if (format == nullptr) {
        std::string known;
        for (const LutFormat& each : lutFormats()) {
            known +=
                (known.empty() || each.extension.empty() ? "" : ", ") + std::string(each.extension);
        }
        throw UserError(request.output.path +
                            ": its name does not tell what to write; the extensions known are " +
                            known + ", or name the format (--format)",
                        ExitCode::Usage);
    }
    if (request.size && format->kind == LutKind::Decision) {
        throw UserError(request.output.path + ": a colour decision has no --size; leave it out",
                        ExitCode::Usage);
    }
    if (format->kind == LutKind::Cube && request.size.value_or(kUsualSide) > kGreatestSide) {
        throw UserError(request.output.path + ": a cube has at most " +
                            std::to_string(kGreatestSide) +
                            " points along a side; give a smaller --size",
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
            0.0,
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

void resample(LutContent& content, const LutFormat& format, std::optional<std::size_t> size) {
    const bool isCube = format.kind == LutKind::Cube;
    const inspect::CorrectionTable exact = content.table;
    content.table = inspect::resampled(exact, size.value_or(isCube ? kUsualSide : exact[0].size()));
    content.largestError = inspect::largestDifference(exact, content.table);
}

void tellCube(const LutContent& content) {
    char text[128];
    std::snprintf(text, sizeof text,
                  "the cube is off by at most %.2f of 255 levels between its %zu points a side",
                  content.largestError * 255.0, content.table[0].size());
    printNote(text);
}

void runLut(LutRequest& request, const std::atomic<bool>& stop) {
    const LutFormat* const format = checkedFormat(request);
    request.clip.controls = resolveControls(request.effect, request.output.path);
    std::optional<TextOutput> output;
    if (format != nullptr) {
        output.emplace(request.output.path, request.clip.files, request.output.overwrite);
    }
    const bool toStandardOutput = output && output->isStandardOutput();
    if (request.decision && toStandardOutput) {
        throw UserError("--cdl and the output '" + request.output.path +
                            "' both want standard output; name a file, or leave --cdl out",
                        ExitCode::Usage);
    }
    LutContent content = contentFor(request, stop);
    std::string decisions;
    if (request.decision || format->kind == LutKind::Decision) {
        for (std::size_t c = 0; c < content.decisions.size(); ++c) {
            content.decisions[c] = inspect::fitDecision(content.table[c]);
        }
        decisions = decisionsText(content);
    }
    if (format != nullptr) {
        resample(content, *format, request.size);
        format->write(output->stream(), content);
        output->commit();
        if (format->kind == LutKind::Cube && !request.output.quiet) {
            tellCube(content);
        }
    }
    if (request.decision || (!request.output.quiet && !toStandardOutput)) {
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
    std::vector<std::pair<std::string, const LutFormat*>> formats;
    for (const LutFormat& format : lutFormats()) {
        formats.emplace_back(format.name, &format);
    }
    addChoiceOption(app, "--format", formats, request.format,
                    "What to write, whatever the file is called; cube3d is a .cube of three "
                    "dimensions, for programs that take no other")
        ->group(kOutputGroup);
    addValueOption(app, "--size", "NUMBER",
                   "Entries of a table, 2 to 65536; if not given, as many as the correction itself "
                   "has: 256 at 8 bits and 4097 at 16. Of a cube3d the points along a side, 2 to "
                   "129; 33 if not given, 17 and 65 are usual, too",
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
