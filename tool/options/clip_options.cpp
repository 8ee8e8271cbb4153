#include "tool/options/clip_options.h"

#include "tool/options/color_options.h"
#include "tool/options/command.h"
#include "tool/options/output_options.h"
#include "tool/terminal/stop_signal.h"
#include "tool/terminal/user_error.h"
#include "tool/values/option_values.h"

#include <memory>

namespace tintwell::tool {
namespace {

constexpr const char* kGroup = "Input";

void requireOrder(const media::TimeSpan& times) {
    if (times.to && *times.to <= times.from.value_or(0.0)) {
        throw std::invalid_argument("there is nothing between --from and --to");
    }
}

} // namespace

CLI::Option* addKeyValueOption(CLI::App& app, const std::string& name, const std::string& help,
                               std::vector<KeyValue>& target) {
    const auto read = [name, &target](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            try {
                target.push_back(parseKeyValue(text));
            } catch (const std::invalid_argument& error) {
                throw CLI::ValidationError(name, error.what());
            }
        }
    };
    return app.add_option_function<std::vector<std::string>>(name, read, help)
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void addInputArgument(CLI::App& app, ClipOptions& options) {
    const auto take = [&options](const std::string& text) { setInput(options, text); };
    app.add_option_function<std::string>(
           "INPUT", take,
           "Video file, image, image sequence (frame.%04d.png), or - for standard input")
        ->required()
        ->type_name("")
        ->check(requireText);
}

void setInput(ClipOptions& options, const std::string& input) {
    options.input = input;
    options.files = std::make_shared<media::InputFiles>(input);
    options.interruption = std::make_shared<media::Interruption>(stopRequested());
}

void addClipOptions(CLI::App& app, ClipOptions& options) {
    CLI::Option* const frames =
        addValueOption(
            app, "--frames", "FIRST-LAST",
            "Only these frames, counted from 0, both included; one number for one frame, 10- from "
            "frame 10 on, -20 up to frame 20",
            [&options](const std::string& text) { options.frames = parseFrameRange(text); })
            ->group(kGroup);
    addValueOption(app, "--from", "TIME",
                   "Only the frames that begin at this time or later: seconds, or hours, minutes "
                   "and seconds as in 1:02:03.5",
                   [&options](const std::string& text) {
                       options.times.from = parseTime(text);
                       requireOrder(options.times);
                   })
        ->excludes(frames)
        ->group(kGroup);
    addValueOption(app, "--to", "TIME",
                   "Only the frames that begin before this time; all where the clip ends earlier",
                   [&options](const std::string& text) {
                       options.times.to = parseTime(text);
                       requireOrder(options.times);
                   })
        ->excludes(frames)
        ->group(kGroup);
    addReadingOptions(app, options);
}

void addReadingOptions(CLI::App& app, ClipOptions& options) {
    app.add_option("--input-format", options.inputFormat,
                   "How the input is read, by FFmpeg's name of the format, where it cannot be told "
                   "from the file (for example rawvideo)")
        ->type_name("NAME")
        ->group(kGroup);
    addKeyValueOption(app, "--input-option",
                      "What a raw stream does not tell, as FFmpeg names it, for example "
                      "video_size=1920x1080 and pixel_format=yuv420p; may be given several times",
                      options.inputOptions)
        ->group(kGroup);
    addValueOption(
        app, "--frame-rate", "RATE",
        "Frames per second of an image sequence or raw stream, for example 25 or "
        "30000/1001",
        [&options](const std::string& text) { options.frameRate = parseFrameRate(text); })
        ->group(kGroup);
    addColorOptions(app, options.declared, kGroup);
    addValueOption(
        app, "--max-pixels", "NUMBER",
        "How many pixels a picture may have, as a small file can unpack to gigabytes; 67108864 if "
        "not given, at most 268435456",
        [&options](const std::string& text) {
            options.maxPixels = static_cast<std::int64_t>(
                parseCount(text, 1, static_cast<std::size_t>(media::kMaximumPixels)));
        })
        ->group(kGroup);
    app.add_flag("--allow-network", options.allowNetwork,
                 "Let the input be an address or, as a playlist, name addresses and files that are "
                 "not beside it")
        ->group(kGroup);
    using Hdr = media::HdrHandling;
    addChoiceOption<Hdr>(
        app, "--hdr",
        {{"refuse", Hdr::Refuse}, {"keep-peak", Hdr::KeepPeak}, {"treat-as-sdr", Hdr::TreatAsSdr}},
        options.hdr,
        "What becomes of high dynamic range (PQ, HLG): keep-peak corrects what lies below "
        "reference "
        "white and lifts nothing above the brightest of its frame, treat-as-sdr corrects the "
        "signal "
        "as if it were not; refused if not given")
        ->group(kGroup);
    using Depth = std::optional<host::SampleDepth>;
    addChoiceOption<Depth>(
        app, "--depth",
        {{"auto", Depth()}, {"8", host::SampleDepth::Bits8}, {"16", host::SampleDepth::Bits16}},
        options.depth, "Bits per channel to work at; auto takes 16 where the input has more than 8")
        ->group(kGroup);
    addChoiceOption<bool>(app, "--quality", {{"high", true}, {"draft", false}}, options.highQuality,
                          "A draft leaves the temporal smoothing out")
        ->group(kGroup);
}

media::NamedValues namedValues(const std::vector<KeyValue>& options) {
    media::NamedValues values;
    for (const KeyValue& option : options) {
        values.emplace_back(option.key, option.value);
    }
    return values;
}

media::InputOptions inputOptions(const ClipOptions& options) {
    return {options.inputFormat, options.frameRate, namedValues(options.inputOptions),
            options.maxPixels,   options.memory,    options.allowNetwork,
            options.hdr,         options.files,     options.interruption,
            options.declared};
}

std::optional<std::int64_t> totalFrames(const ClipOptions& options, const media::ClipInfo& info) {
    const auto count = media::framesToRead(info, options.frames);
    return count ? std::optional(count->frames) : std::nullopt;
}

void requireAllFrames(const inspect::ClipWalk& walk, const ClipOptions& options) {
    if (const std::int64_t missing = walk.framesMissing(); missing > 0) {
        throw UserError(media::inputName(options.input) + ": " + std::to_string(missing) +
                            (missing == 1 ? " frame is" : " frames are") +
                            " missing; what is told of them is that of those before",
                        ExitCode::Incomplete);
    }
    if (walk.failedToRead()) {
        throw UserError(media::inputName(options.input) +
                            ": could not be read to its end; what lies behind is missing",
                        ExitCode::Incomplete);
    }
}

inspect::WalkOptions walkOptions(const ClipOptions& options) {
    inspect::WalkOptions walk;
    walk.input = options.input;
    walk.reading = inputOptions(options);
    walk.frames = options.frames;
    walk.depth = options.depth;
    walk.controls = options.controls;
    walk.highQuality = options.highQuality;
    return walk;
}

} // namespace tintwell::tool
