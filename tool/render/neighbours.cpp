#include "tool/render/neighbours.h"

#include "inspect/correction_finder.h"
#include "media/image_sequence.h"
#include "media/input/input_file.h"
#include "media/memory_estimate.h"
#include "media/read/clip_for_effect.h"
#include "tool/options/clip_options.h"
#include "tool/terminal/user_error.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

extern "C" {
#include <libavutil/rational.h>
}

namespace tintwell::tool {
namespace {

/// The longest window that the effect uses anywhere in the clip, in seconds; 0 where it smooths
/// nothing.
double longestWindow(const ClipOptions& options) {
    return options.highQuality ? options.controls[host::Control::TemporalSmoothing].greatestValue()
                               : 0.0;
}

bool canBeReadAgain(const std::string& input) {
    std::error_code error;
    return std::filesystem::is_regular_file(input, error) ||
           (input != media::kStandardStream && media::parseSequence(input).has_value());
}

/// The frames before the current one are in the effect's own memory if it has rendered all of them.
bool needsEarlierFrames(const ClipOptions& options) {
    return (options.frames && options.frames->first > 0) ||
           options.controls[host::Control::TemporalSmoothing].isKeyframed();
}

[[noreturn]] void refuseWindow(const ClipOptions& options, const media::ClipInfo& info,
                               double seconds, const NeighbourWindow& window,
                               std::int64_t fitting) {
    const std::int64_t sides = window.needsEarlier ? 2 : 1;
    const std::int64_t side = (fitting - 1) / sides - 2;
    const double possible =
        std::floor(10.0 * 2.0 * static_cast<double>(side) / av_q2d(info.frameRate)) / 10.0;
    char text[64];
    std::snprintf(text, sizeof text, possible > 0.0 ? "up to %.1f seconds fit" : "no time fits",
                  possible);
    throw UserError(media::inputName(options.input) + ": smoothing over " +
                    std::to_string(seconds).substr(0, 4) + " seconds needs " +
                    std::to_string(window.frames()) +
                    " frames of the clip at once, which are too many to keep of an input that can "
                    "be read only once (" +
                    text + "); shorten the temporal smoothing, or render from a file");
}

} // namespace

NeighbourWindow neighbourWindow(const ClipOptions& options, const media::ClipInfo& info) {
    NeighbourWindow window;
    const double seconds = longestWindow(options);
    if (seconds <= 0.0) {
        return window;
    }
    window.reach = inspect::smoothingReach(media::timingForEffect(info), seconds);
    window.needsEarlier = needsEarlierFrames(options);
    const bool isFile = canBeReadAgain(options.input);
    const std::int64_t memory =
        options.memory > 0 ? options.memory : media::usualMemory(info.width, info.height);
    const std::int64_t fitting =
        media::FrameWindow::capacity(info, MemoryPlan::windowBytes(memory, isFile));
    const bool fits = window.frames() <= fitting;
    if (!fits && !isFile) {
        refuseWindow(options, info, seconds, window, fitting);
    }
    window.kind = fits ? NeighbourKind::Kept : NeighbourKind::ReadAgain;
    return window;
}

Neighbours::Neighbours(const ClipOptions& options, media::ClipReader& reader,
                       host::SampleDepth depth, const NeighbourWindow& window,
                       const media::FileNeighbours::Limits& limits)
    : range_(window) {
    if (range_.kind == NeighbourKind::ReadAgain) {
        source_ = std::make_unique<media::FileNeighbours>(options.input, inputOptions(options),
                                                          depth, limits);
    } else if (range_.kind == NeighbourKind::Kept) {
        auto source = std::make_unique<media::FrameWindow>(
            reader.info(), depth, firstNeeded(options.frames ? options.frames->first : 0));
        window_ = source.get();
        source_ = std::move(source);
        reader.readBeyondSpan(range_.reach);
    }
}

/// Which frames may still be asked for when this one is rendered.
std::int64_t Neighbours::firstNeeded(std::int64_t frame) const {
    return frame - (range_.needsEarlier ? range_.reach : 0);
}

std::string Neighbours::description() const {
    if (!source_) {
        return {};
    }
    return window_ != nullptr ? "pictures kept in memory" : "a second reading of the input";
}

void Neighbours::offer(const media::ReadItem& item) {
    const media::FramePtr& picture = item.frame ? item.frame : item.outside;
    if (window_ != nullptr && picture) {
        window_->add(item.index, *picture);
    }
}

void Neighbours::finish() {
    if (window_ != nullptr) {
        window_->finish();
    }
}

void Neighbours::moveTo(std::int64_t frame) {
    if (window_ != nullptr) {
        window_->moveTo(firstNeeded(frame));
    }
}

void Neighbours::cancel() {
    if (source_) {
        source_->cancel();
    }
}

} // namespace tintwell::tool
