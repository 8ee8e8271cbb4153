#include "media/read/clip_reader.h"

#include "media/media_error.h"
#include "media/read/clip_description.h"
#include "media/read/clip_warnings.h"
#include "media/read/high_dynamic_range.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <ranges>
#include <utility>

namespace tintwell::media {
namespace {

/// Packets that may wait for the next frame before they are delivered without one.
constexpr std::size_t kPacketsPerItem = 64;

} // namespace

ClipReader::ClipReader(const std::string& input, const ReaderOptions& options)
    : name_(inputName(input)), gate_(options.frames),
      streams_(name_, openInput(input, options.input), options.copyOtherStreams),
      info_(describeClip(streams_.file(), *streams_.frame())) {
    handleHighDynamicRange(name_, options.input.hdr, info_);
    if (av_frame_copy_props(firstProperties_.get(), streams_.frame().get()) < 0) {
        throw std::bad_alloc();
    }
    if (!gate_.cuts()) {
        // What lies before 0 is what a codec needs before its first sample.
        const std::int64_t start = container().start_time;
        streams_.copied().setStart(
            {start != AV_NOPTS_VALUE ? std::max<std::int64_t>(0, start) : 0, {1, AV_TIME_BASE}});
    }
    if (info_.frameCount && info_.frameCount->exact) {
        gate_.check(name_, info_.frameCount->frames);
    }
}

std::optional<ReadItem> ClipReader::read() {
    if (finished_) {
        return {};
    }
    if (!streams_.frame() && !streams_.advance()) {
        if (!gate_.end()) {
            gate_.check(name_, nextIndex_);
        }
        return finish();
    }
    return streams_.frame() ? readFrame() : takePackets();
}

ReadItem ClipReader::readFrame() {
    const SpanGate::Side side = gate_.sideOf(nextIndex_);
    if (side == SpanGate::Side::Behind) {
        gate_.noteBehind(timeOfFrame());
        return gate_.passes(nextIndex_) && hasClipSize() ? passFrame() : finish();
    }
    checkSize();
    if (side == SpanGate::Side::Before) {
        streams_.copied().dropBefore(timeOfFrame());
        return passFrame();
    }
    return takeFrame();
}

bool ClipReader::hasClipSize() const {
    return streams_.frame()->width == info_.width && streams_.frame()->height == info_.height;
}

void ClipReader::checkSize() const {
    if (!hasClipSize()) {
        const auto size = [](int width, int height) {
            return std::to_string(width) + "x" + std::to_string(height);
        };
        throw MediaError(name_ + ": the picture size changes from " +
                         size(info_.width, info_.height) + " to " +
                         size(streams_.frame()->width, streams_.frame()->height) + " at frame " +
                         std::to_string(nextIndex_) + "; render the parts one by one");
    }
}

/// In the clip's own time; by the frame rate where there is no timestamp.
Moment ClipReader::timeOfFrame() const {
    if (streams_.frame()->best_effort_timestamp != AV_NOPTS_VALUE) {
        return {streams_.frame()->best_effort_timestamp, info_.timeBase};
    }
    return {nextIndex_, av_inv_q(info_.frameRate)};
}

ReadItem ClipReader::takeFrame() {
    missing_.note(streams_.frame()->best_effort_timestamp, info_);
    const Moment time = timeOfFrame();
    if (!streams_.copied().start()) {
        streams_.copied().dropBefore(time);
        streams_.copied().setStart(time);
        if (const auto frames = gate_.count()) {
            streams_.copied().setLength({*frames, av_inv_q(info_.frameRate)});
        }
    }
    ReadItem item;
    // Of a span, only what lies before this frame is sure to lie before the span's end too.
    item.copied = streams_.copied().take(gate_.cuts() ? std::optional(time) : std::nullopt);
    item.isStandIn = streams_.isStandIn();
    if (item.isStandIn) {
        missingImages_.push_back(nextIndex_);
    }
    item.frame = streams_.takeFrame();
    item.index = nextIndex_++;
    const bool timed = item.frame->best_effort_timestamp != AV_NOPTS_VALUE;
    item.frame->pts =
        timed ? time.ticks - ticksOf(*streams_.copied().start(), info_.timeBase) : AV_NOPTS_VALUE;
    return item;
}

ReadItem ClipReader::passFrame() {
    ReadItem item;
    item.isStandIn = streams_.isStandIn();
    item.outside = streams_.takeFrame();
    item.index = nextIndex_++;
    return item;
}

/// Those of the other streams, when many have come since the last frame.
ReadItem ClipReader::takePackets() {
    ReadItem item;
    if (!gate_.cuts() && streams_.copied().size() >= kPacketsPerItem) {
        item.copied = streams_.copied().take({});
    }
    return item;
}

/// The packets that lie before the end of the span, or all there are.
ReadItem ClipReader::finish() {
    finished_ = true;
    streams_.finish(gate_.end());
    ReadItem item;
    item.copied = streams_.copied().take(gate_.end());
    return item;
}

bool ClipReader::seek(std::int64_t pts) {
    if (!streams_.seek(pts + ticksOf(*start(), info_.timeBase))) {
        return false;
    }
    finished_ = false;
    return true;
}

bool ClipReader::leapTo(std::int64_t index) {
    const ClipStreams::Landing landing = streams_.leapTo(index);
    if (landing == ClipStreams::Landing::Arrived) {
        nextIndex_ = index;
    }
    return landing != ClipStreams::Landing::Failed;
}

std::int64_t ClipReader::framesMissing() const {
    const auto& images = streams_.file().images;
    const std::int64_t behind = images && !gate_.cuts() ? images->behind() : 0;
    return behind + static_cast<std::int64_t>(missingImages_.size());
}

/// A sentence for the user; empty where none is missing.
std::string ClipReader::missingImages() const {
    constexpr std::size_t kNamed = 8;
    std::string names;
    for (const std::int64_t index : std::views::take(missingImages_, kNamed)) {
        names += (names.empty() ? "" : ", ") + streams_.file().images->nameOf(index);
    }
    if (missingImages_.size() > kNamed) {
        names += " and " + std::to_string(missingImages_.size() - kNamed) + " more";
    }
    return names.empty() ? names : name_ + ": missing or not to be read as pictures: " + names;
}

std::vector<std::string> ClipReader::warnings() const {
    std::vector<std::string> warnings = streams_.file().warnings;
    if (const auto missing = missingImages(); !missing.empty()) {
        warnings.push_back(missing);
    }
    const ClipFlaws flaws{streams_.damaged(), missing_.count(), streams_.readFailure(),
                          streams_.endedEarly(info_.frameRate)};
    for (std::string& warning : warningsOf(name_, info_, flaws)) {
        warnings.push_back(std::move(warning));
    }
    return warnings;
}

} // namespace tintwell::media
