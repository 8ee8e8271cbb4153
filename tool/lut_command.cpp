#include "tool/lut_command.h"

#include "inspect/clip_walk.h"
#include "tool/analysis_writer.h"
#include "tool/clip_options.h"
#include "tool/control_values.h"
#include "tool/effect_options.h"
#include "tool/lut_formats.h"
#include "tool/option_values.h"
#include "tool/text_output.h"
#include "tool/user_error.h"

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
    std::string output;              ///< empty: none
    std::optional<std::size_t> size; ///< empty: as many entries as the correction has
    bool decision = false;
    bool overwrite = false;
    bool quiet = false;
};

const LutFormat* checkedFormat(const LutRequest& request) {
    if (request.output.empty()) {
        if (!request.decision || request.size) {
            throw UserError(request.size
                                ? "--size is for a table; name a file for it (-o)"
                                : "nothing to do; name a file to write (-o), or ask for --cdl",
                            ExitCode::Usage);
        }
        return nullptr;
    }
    const LutFormat* const format = lutFormatOf(request.output);
    if (format == nullptr) {
        std::string known;
        for (const LutFormat& each : lutFormats()) {
            known += (known.empty() ? "" : ", ") + std::string(each.extension);
        }
        throw UserError(request.output +
                            ": its name does not tell what to write; the extensions known are " +
                            known,
                        ExitCode::Usage);
    }
    if (request.size && format->holdsDecisions) {
        throw UserError(request.output + ": a colour decision has no --size; leave it out",
                        ExitCode::Usage);
    }
    return format;
}

LutContent contentFor(const LutRequest& request) {
    const inspect::WalkOptions options = walkOptions(request.clip);
    const std::int64_t index =
        request.seconds ? inspect::frameShownAt(options, *request.seconds) : 0;
    const inspect::InspectedFrame frame = inspect::inspectFrame(options, index);
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

void runLut(LutRequest& request) {
    if (request.seconds && request.clip.input == media::kStandardStream) {
        throw UserError("--at: standard input cannot be read twice, which finding a frame needs; "
                        "name a file, or leave --at out for the first frame",
                        ExitCode::Usage);
    }
    const LutFormat* const format = checkedFormat(request);
    request.clip.controls = resolveControls(request.effect);
    std::optional<TextOutput> output;
    if (format != nullptr) {
        output.emplace(request.output, request.clip.input, request.overwrite);
    }
    LutContent content = contentFor(request);
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
    if (request.decision || !request.quiet) {
        std::cout << decisions;
    }
    if (format != nullptr && !request.quiet) {
        std::cerr << "tintwell: wrote " << request.output << "\n";
    }
}

void addLutOptions(CLI::App& app, LutRequest& request) {
    constexpr const char* kGroup = "Output";
    addValueOption(app, "--at", "TIME",
                   "The frame shown at this time: seconds, or hours, minutes and seconds as in "
                   "1:02:03.5; the first frame if not given",
                   [&request](const std::string& text) { request.seconds = parseTime(text); });
    app.add_option("-o,--output", request.output,
                   "Write to this file, by its extension a table (.cube, .spi1d) or an ASC colour "
                   "decision (.cdl, .ccc, .cc)")
        ->type_name("FILE")
        ->group(kGroup);
    addValueOption(app, "--size", "NUMBER",
                   "Entries of a table, 2 to 65536; if not given, as many as the correction itself "
                   "has: 256 at 8 bits and 4097 at 16",
                   [&request](const std::string& text) {
                       request.size = parseCount(text, kLeastSize, kGreatestSize);
                   })
        ->group(kGroup);
    app.add_flag("--cdl", request.decision,
                 "Print slope, offset and power of each channel, fitted to the table by least "
                 "squares, and by how much the fit is wrong where it is wrong most")
        ->group(kGroup);
    app.add_flag("--overwrite", request.overwrite, "Replace the output if it exists")
        ->group(kGroup);
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
    app.add_flag("--quiet", request->quiet, "No messages but warnings and errors");
    app.footer(
        "The table holds all that the correction does to an opaque pixel, the blend with the\n"
        "original included, as rendered at the depth the clip is worked at; --depth 16 makes\n"
        "a smoother table of an 8-bit clip. It takes R,G,B as the clip's matrix and range\n"
        "give them, from 0 to 1; docs/lookup-tables.md tells how other programs do that.\n\n"
        "Example:\n"
        "  tintwell lut holiday.mp4 --at 1:02.5 -o holiday.cube\n"
        "  ffmpeg -i holiday.mp4 -vf format=gbrp,lut1d=file=holiday.cube look.mp4");
    return {&app, [request](const std::atomic<bool>&) { runLut(*request); }};
}

} // namespace tintwell::tool
